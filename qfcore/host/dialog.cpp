#include "qfcore/host/dialog.h"

#include <string>

#include "tessel/objects.h"
#include "tessel/registries.h"

namespace embedded::host {

using tessel::HostArray;

namespace {

/// "WordLength" for "PrivDlgWordLengthString": the property that a text of the dialog shows.
std::string labelOf(std::string property) {
  constexpr std::string_view kPrefix = "PrivDlg", kSuffix = "String";
  if (!property.starts_with(kPrefix)) return property;
  property.erase(0, kPrefix.size());
  if (property.ends_with(kSuffix)) property.resize(property.size() - kSuffix.size());
  return property;
}

HostArray itemFor(const HostArray& object, const tessel::PropertyInfo& property) {
  const tessel::EnumeratedType* enumerated = tessel::findEnumeratedType(property.type);
  const bool isTruth = property.type == tessel::property_type::kBool;
  HostArray entries = HostArray::cell({enumerated ? 1U : 0U, enumerated ? enumerated->values.size() : 0U});
  for (std::size_t i = 0; i < entries.numel(); ++i) {
    entries.mutableCellAt(i) = HostArray::text(enumerated->values[i].first);
  }
  HostArray item = HostArray::structure();
  item.mutableFieldAt("Name") = HostArray::text(labelOf(property.name));
  item.mutableFieldAt("Type") = HostArray::text(enumerated ? "combobox" : isTruth ? "checkbox" : "edit");
  item.mutableFieldAt("ObjectProperty") = HostArray::text(property.name);
  item.mutableFieldAt("Entries") = std::move(entries);
  item.mutableFieldAt("Value") = tessel::getProperty(object, property.name);
  return item;
}

}  // namespace

HostArray dialogSchema(const HostArray& object, const std::vector<const char*>& properties) {
  const tessel::HostClass& hostClass = object.objectAt()->hostClass();
  HostArray items = HostArray::cell({properties.size(), 1});
  for (std::size_t i = 0; i < properties.size(); ++i) {
    items.mutableCellAt(i) = itemFor(object, *hostClass.findProperty(properties[i]));
  }
  HostArray dialog = HostArray::structure();
  dialog.mutableFieldAt("DialogTitle") = HostArray::text(hostClass.name());
  dialog.mutableFieldAt("Items") = std::move(items);
  return dialog;
}

}  // namespace embedded::host
