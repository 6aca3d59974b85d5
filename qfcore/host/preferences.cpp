#include "qfcore/host/preferences.h"

#include <algorithm>

#include <fmt/format.h>
#include "qfcore/fi/display.h"
#include "qfcore/logging/qlogger.h"

namespace embedded::host {

namespace {

constexpr Message kBadSignature{"numforge:fipref:badsignature",
                                "FIPREF takes no arguments, names each with a value, or a structure of them."};
constexpr Message kBadName{"numforge:fipref:badsignature", "FIPREF has no setting '%s'; there are %s."};
constexpr Message kBadValue{"numforge:fipref:badsignature", "The setting '%s' is one of %s."};

bool warns = false;

enum class Switch { Off, On };
constexpr EmbeddedTypeSystem::EnumRow kSwitchRows[] = {{static_cast<int>(Switch::Off), "Off"},
                                                       {static_cast<int>(Switch::On), "On"}};
constexpr EmbeddedTypeSystem::EnumTable kSwitch{"Switch", "Switch", kSwitchRows};

struct Preference {
  const char* name;
  const EmbeddedTypeSystem::EnumTable& values;
  int (*get)();
  void (*set)(int value);
};

template <auto Member>
Preference shown(const char* name) {
  using Value = std::remove_cvref_t<decltype(displaySettings().*Member)>;
  return {name, tableOf(Value{}), [] { return static_cast<int>(displaySettings().*Member); },
          [](int value) { displaySettings().*Member = static_cast<Value>(value); }};
}

const Preference kPreferences[] = {
    shown<&DisplaySettings::values>("NumberDisplay"),
    shown<&DisplaySettings::type>("NumericTypeDisplay"),
    shown<&DisplaySettings::math>("FimathDisplay"),
    {"LoggingMode", kSwitch, [] { return static_cast<int>(qlogger::getLogging()); },
     [](int on) { qlogger::setLogging(on != 0); }},
    {"OverflowWarning", kSwitch, [] { return static_cast<int>(warns); }, [](int on) { warns = on != 0; }},
};

template <class Rows, class TextOf>
std::string listed(const Rows& rows, TextOf textOf) {
  std::string list;
  for (const auto& row : rows) list += fmt::format("{}'{}'", list.empty() ? "" : ", ", textOf(row));
  return list;
}

using Setting = std::pair<const Preference*, int>;

Setting settingFrom(const std::string& name, const HostArray& value) {
  const auto* row = std::find_if(std::begin(kPreferences), std::end(kPreferences),
                                 [&](const Preference& p) { return equalIgnoringCase(p.name, name); });
  if (row == std::end(kPreferences)) {
    fail<kBadName>(name.c_str(), listed(kPreferences, [](const Preference& p) { return p.name; }).c_str());
  }
  for (const auto& choice : row->values.rows) {
    if (value.isText() && equalIgnoringCase(choice.text, value.toText())) return {row, choice.value};
  }
  const auto text = [](const EmbeddedTypeSystem::EnumRow& choice) { return choice.text; };
  fail<kBadValue>(row->name, listed(row->values.rows, text).c_str());
}

std::vector<Setting> settingsFrom(const Arrays& inputs) {
  std::vector<Setting> settings;
  if (inputs.size() == 1 && inputs[0].isStruct() && inputs[0].isScalar()) {
    for (const std::string& name : inputs[0].fieldNames())
      settings.push_back(settingFrom(name, inputs[0].fieldAt(name)));
    return settings;
  }
  if (inputs.size() % 2 != 0) fail<kBadSignature>();
  for (std::size_t i = 0; i < inputs.size(); i += 2) {
    if (!inputs[i].isText()) fail<kBadSignature>();
    settings.push_back(settingFrom(inputs[i].toText(), inputs[i + 1]));
  }
  return settings;
}

}  // namespace

bool warnsOfOverflow() { return warns; }

Arrays fiPreferences(Arrays& inputs, int outputCount) {
  HostArray before = HostArray::structure();
  for (const Preference& row : kPreferences)
    before.mutableFieldAt(row.name) = HostArray::text(row.values.textOf(row.get()));
  for (const auto& [row, value] : settingsFrom(inputs)) row->set(value);
  if (!inputs.empty() && outputCount == 0) return {};
  return {std::move(before)};
}

}  // namespace embedded::host
