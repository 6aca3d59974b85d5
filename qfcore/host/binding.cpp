#include "qfcore/host/binding.h"

#include <algorithm>
#include <cctype>

#include "tessel/registries.h"

namespace embedded::host {

void addMethods(HostClass& hostClass, std::span<const Method> rows) {
  for (const Method& row : rows) {
    tessel::FunctionInfo function;
    function.name = row.name;
    function.minInputs = row.minInputs;
    function.maxInputs = row.maxInputs;
    function.maxOutputs = row.maxOutputs;
    function.help = row.help;
    function.call = [call = row.call](Arrays& inputs, int outputCount) {
      return translated([&] { return call(inputs, outputCount); });
    };
    hostClass.addMethod({std::move(function), row.changesObject, row.hidden});
  }
}

const std::string& registeredEnum(const EmbeddedTypeSystem::EnumTable& table) {
  if (const tessel::EnumeratedType* known = tessel::findEnumeratedType(table.lookupName)) return known->name;
  if (const tessel::EnumeratedType* known = tessel::findEnumeratedType(table.createdName)) return known->name;
  tessel::EnumeratedType type{table.createdName, {}};
  for (const EmbeddedTypeSystem::EnumRow& row : table.rows) type.values.emplace_back(row.text, row.value);
  return tessel::registerEnumeratedType(std::move(type)).name;
}

void signalChanges(HostObject& object, std::string_view names) {
  while (!names.empty()) {
    const std::size_t end = std::min(names.find(' '), names.size());
    object.signalPropertyChange(names.substr(0, end));
    names.remove_prefix(std::min(end + 1, names.size()));
  }
}

bool equalIgnoringCase(std::string_view a, std::string_view b) {
  const auto lower = [](char c) { return std::tolower(static_cast<unsigned char>(c)); };
  return std::ranges::equal(a, b, {}, lower, lower);
}

}  // namespace embedded::host
