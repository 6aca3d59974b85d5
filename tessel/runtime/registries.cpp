#include "tessel/registries.h"

#include <strings.h>

#include <algorithm>
#include <memory>

#include "tessel/messages.h"

namespace tessel {

namespace {

std::vector<std::unique_ptr<EnumeratedType>>& enumeratedTypes() {
  static std::vector<std::unique_ptr<EnumeratedType>> all;
  return all;
}

struct Feature {
  std::string name;
  FeatureSetter setter;
};

std::vector<Feature>& features() {
  static std::vector<Feature> all;
  return all;
}

std::vector<Theme>& allThemes() {
  static std::vector<Theme> all;
  return all;
}

}  // namespace

const std::pair<std::string, int>* EnumeratedType::find(std::string_view text) const {
  const auto found = std::find_if(values.begin(), values.end(), [&](const auto& row) {
    return row.first.size() == text.size() && strncasecmp(row.first.data(), text.data(), text.size()) == 0;
  });
  return found == values.end() ? nullptr : &*found;
}

const std::string* EnumeratedType::textOf(int value) const {
  const auto found =
      std::find_if(values.begin(), values.end(), [&](const auto& row) { return row.second == value; });
  return found == values.end() ? nullptr : &found->first;
}

const EnumeratedType& registerEnumeratedType(EnumeratedType type) {
  if (findEnumeratedType(type.name) != nullptr) {
    raiseError("Tessel:enumExists", "There is an enumerated type '" + type.name + "' already.");
  }
  return *enumeratedTypes().emplace_back(std::make_unique<EnumeratedType>(std::move(type)));
}

const EnumeratedType* findEnumeratedType(std::string_view name) {
  const auto& all = enumeratedTypes();
  const auto found = std::find_if(all.begin(), all.end(), [&](const auto& each) { return each->name == name; });
  return found == all.end() ? nullptr : found->get();
}

void registerFeature(std::string_view name, double defaultValue, FeatureSetter setter) {
  const HostArray value = HostArray::scalar(defaultValue);
  HostArray state;
  setter(0, &state, 1, &value);
  const auto found = std::find_if(features().begin(), features().end(),
                                  [&](const Feature& each) { return each.name == name; });
  if (found != features().end())
    found->setter = setter;
  else
    features().push_back({std::string(name), setter});
}

FeatureSetter findFeature(std::string_view name) {
  for (const Feature& feature : features()) {
    if (feature.name == name) return feature.setter;
  }
  return nullptr;
}

std::vector<std::string> featureNames() {
  std::vector<std::string> names;
  for (const Feature& feature : features()) names.push_back(feature.name);
  return names;
}

void registerThemes(std::span<const Theme> added) {
  auto& all = allThemes();
  const auto isKnown = [&](const Theme& theme) { return theme.title == added[0].title; };
  if (std::none_of(all.begin(), all.end(), isKnown)) all.insert(all.end(), added.begin(), added.end());
}

const std::vector<Theme>& themes() { return allThemes(); }

const char* findExample(std::string_view name) {
  for (const Theme& theme : allThemes()) {
    for (const Example& example : theme.examples) {
      if (example.name == name) return example.code;
    }
  }
  return nullptr;
}

void raiseTooManyInputs() { raiseError("Tessel:TooManyInputs", "Too many input arguments."); }

void raiseTooManyOutputs() { raiseError("Tessel:TooManyOutputs", "Too many output arguments."); }

}  // namespace tessel
