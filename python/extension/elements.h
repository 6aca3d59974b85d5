/// Elements of arrays by position.
#pragma once

#include <vector>

#include "python/extension/object.h"
#include "python/extension/python.h"

namespace face {

/// Slots of arrays: length and subscripts. Integers that name one element go straight to it, all other
/// subscripts to the hooks "getitem" and "setitem".
std::vector<PyType_Slot> elementSlots();

/// Adds the functions on elements that the package above builds its conventions from.
void addElementFunctions(py::module_& module);

}  // namespace face
