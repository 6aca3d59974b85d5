/// The Python object of a host object, and what is common to all its classes.
#pragma once

#include <vector>

#include "python/extension/python.h"
#include "qfcore/fi/fi.h"
#include "tessel/array.h"
#include "tessel/objects.h"

namespace face {

using tessel::Arrays;
using tessel::HostArray;
using tessel::HostClass;

/// A Python object that shows a host object.
///
/// Arrays of the host have two dimensions at least. `ndim` says how many Python sees: with one, `array` is a
/// column; with none, it has one element; with more than the host counts, the others are 1. It is -1 for what
/// is no array.
struct Object {
  PyObject ob_base;
  HostArray array;
  int ndim;
};

/// Makes the base types `Object` and `Array`, the latter for classes whose objects are arrays, and puts them
/// into `module`.
void addBaseTypes(py::module_& module);
PyTypeObject* objectType();
PyTypeObject* arrayType();

inline bool isObject(PyObject* value) { return PyObject_TypeCheck(value, objectType()) != 0; }
inline bool isArray(PyObject* value) { return PyObject_TypeCheck(value, arrayType()) != 0; }
inline Object& asObject(PyObject* value) { return *reinterpret_cast<Object*>(value); }

/// Objects of `hostClass` are shown as `type` from now on; a subclass of the type that was, where there was
/// one.
void showAs(const HostClass& hostClass, PyTypeObject* type);
/// What `type`, or else the nearest of its bases, shows.
const HostClass& hostClassOf(PyTypeObject* type);

/// Sizes as Python sees them.
struct Shape {
  int ndim = -1;
  embedded::fi::Shape dims;  ///< the host's: two at least
};
/// The shape of an array of fixed-point values, or of the elements of another array, seen with `ndim`
/// dimensions.
Shape shapeOf(const HostArray& array, int ndim);
Shape shapeOf(const Object& object);
/// The sizes that Python sees, `ndim` of them.
std::vector<std::size_t> pythonSizes(const Shape& shape);
/// How many dimensions Python sees in a result with these sizes of an operation on operands of shape `like`: as
/// many as in them where they agree, one for a vector and none for a scalar where the operands do not have
/// more.
int resultDimensions(const embedded::fi::Shape& dims, const Shape& like);

/// `ndim` where the host's sizes allow so many, else their own number.
int dimensionsFor(const embedded::fi::Shape& dims, int ndim);

/// A new Python object.
py::object wrap(HostArray object, int ndim);
py::object wrapLike(HostArray object, const Shape& like);

}  // namespace face
