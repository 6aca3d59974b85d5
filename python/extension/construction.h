/// What calling a class makes.
#pragma once

#include "python/extension/object.h"
#include "python/extension/python.h"
#include "tessel/objects.h"

namespace face {

/// The `tp_new` of every class: the host's function of the class's name, or else its factory, makes the object.
/// Texts such as "s16,15" stand for numeric types; keywords are names of properties, in Python's or the host's
/// spelling.
PyObject* construct(PyTypeObject* type, PyObject* arguments, PyObject* keywords);

/// What a property is set to: texts of enumerations may be spelled in Python's way. Raises with a proposal for
/// others.
HostArray propertyValue(const tessel::PropertyInfo& property, py::handle value);

}  // namespace face
