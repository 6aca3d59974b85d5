/// What an array has logged, as plain values, for pickling.
#pragma once

#include "python/extension/python.h"

namespace face {

void addRecordFunctions(py::module_& module);

}  // namespace face
