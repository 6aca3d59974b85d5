/// Python classes made from the tables of the host's classes.
#pragma once

#include "python/extension/python.h"

namespace face {

/// Makes one Python class for each class of the module, with a descriptor for each row of its tables, and puts
/// them into `module`, together with functions that tell what the rows are.
void addClasses(py::module_& module);

}  // namespace face
