#include "qfcore/host/binding.h"

#include <algorithm>
#include <cctype>
#include <set>

#include "tessel/registries.h"

namespace embedded::host {

tessel::FunctionInfo functionOf(const Method& row) {
  const auto call = [call = row.call](Arrays& inputs, int outputCount) {
    if (call.ofTwo) return arraysOf(call.ofTwo(inputs[0], inputs[1]));
    return translated([&] { return call.ofLists(inputs, outputCount); });
  };
  return {.name = row.name,
          .call = call,
          .minInputs = row.minInputs,
          .maxInputs = row.maxInputs,
          .maxOutputs = row.maxOutputs,
          .help = row.help,
          .ofTwo = row.call.ofTwo};
}

void addMethods(HostClass& hostClass, std::span<const Method> rows) {
  for (const Method& row : rows) hostClass.addMethod({functionOf(row), row.changesObject, row.hidden});
}

const std::string& registeredEnum(const EmbeddedTypeSystem::EnumTable& table) {
  if (const tessel::EnumeratedType* known = tessel::findEnumeratedType(table.lookupName)) return known->name;
  if (const tessel::EnumeratedType* known = tessel::findEnumeratedType(table.createdName)) return known->name;
  tessel::EnumeratedType type{table.createdName, {}};
  for (const EmbeddedTypeSystem::EnumRow& row : table.rows) type.values.emplace_back(row.text, row.value);
  return tessel::registerEnumeratedType(std::move(type)).name;
}

namespace {

std::string shown(const HostArray& value) {
  return value.isText() ? value.toText() : std::to_string(value.realAt(0));
}

/// Takes the first of some names, with blanks between them, off their front.
std::string_view takeName(std::string_view& names) {
  const std::string_view name = names.substr(0, names.find(' '));
  names.remove_prefix(std::min(name.size() + 1, names.size()));
  return name;
}

}  // namespace

HiddenValues::HiddenValues(HostObject& object) : object_(object) {
  if (!object.hasListeners()) return;
  for (const tessel::PropertyInfo* property : object.hostClass().properties()) {
    if (property->hidden) values_.emplace_back(property, shown(property->get(object)));
  }
}

void HiddenValues::signalChanges(std::string_view set, std::string_view dependents) const {
  if (!object_.hasListeners()) return;
  std::set<std::string_view> told{set};
  object_.signalPropertyChange(set);
  while (!dependents.empty()) {
    const std::string_view name = takeName(dependents);
    told.insert(name);
    object_.signalPropertyChange(name);
  }
  for (const auto& [property, before] : values_) {
    if (told.contains(property->name) || shown(property->get(object_)) == before) continue;
    object_.signalPropertyChange(property->name);
  }
}

bool equalIgnoringCase(std::string_view a, std::string_view b) {
  const auto lower = [](char c) { return std::tolower(static_cast<unsigned char>(c)); };
  return std::ranges::equal(a, b, {}, lower, lower);
}

}  // namespace embedded::host
