/// Values between Python and the host.
#pragma once

#include <string>
#include <utility>

#include "python/extension/object.h"
#include "python/extension/python.h"
#include "tessel/array.h"

namespace face {

/// What an argument is to the host, and how many dimensions Python sees in it (-1: no array).
struct Argument {
  HostArray array;
  int ndim = -1;
  bool isExact = false;  ///< values that no class of the host holds, as an array wide enough for them
};

/// The host's value of a Python value: numbers, truth values, texts, `None` (empty), dictionaries (structures),
/// lists of texts (cells), lists of objects, and everything NumPy makes an array of. Buffers in column order
/// are adopted, not copied. Raises TypeError for the rest.
Argument fromPython(py::handle value);

/// The Python value of a host value; scalars become Python's own, arrays NumPy's over the host's buffer, with
/// the dimensions that operands of the shape `like` ask for.
py::object toPython(HostArray array, const Shape& like, bool isWritable = true);

/// A NumPy array over the elements of a real numeric, logical or char array, which it keeps alive.
py::object overElements(const HostArray& array, const Shape& shape, bool isWritable);

/// A NumPy array over `data`, column by column, that keeps `owner` alive.
py::array overBuffer(const py::dtype& type, const Shape& shape, const void* data, py::object owner,
                     bool isWritable);

/// Something of the host that Python keeps alive as the base of an array.
template <class T>
py::capsule keeping(T value) {
  return py::capsule(new T(std::move(value)), [](void* held) { delete static_cast<T*>(held); });
}

/// Functions of the package above that the extension calls by name, such as for numbers that are not doubles.
void setHook(const std::string& name, py::object function);
const py::object& hook(const std::string& name);

}  // namespace face
