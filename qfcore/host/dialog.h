/// What the host's property dialog shows of an object.
#pragma once

#include <vector>

#include "tessel/array.h"

namespace embedded::host {

/// The dialog for some properties of a scalar object, in their order: a 1-by-1 structure with "DialogTitle",
/// the name of the object's class, and "Items", a cell column with a structure an item: "Name", its label;
/// "Type", "combobox" for an enumerated property, "checkbox" for a truth value, "edit" for all others;
/// "ObjectProperty"; "Entries", a cell row of what a combobox offers; "Value".
tessel::HostArray dialogSchema(const tessel::HostArray& object, const std::vector<const char*>& properties);

}  // namespace embedded::host
