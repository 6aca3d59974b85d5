#include "python/extension/elements.h"

#include <algorithm>
#include <optional>

#include "python/extension/calls.h"
#include "python/extension/convert.h"
#include "qfcore/host/exchange.h"
#include "tessel/interpreter.h"

namespace face {

namespace {

const embedded::fi& heldBy(const Object& object) { return *embedded::heldArray(object.array); }

Object& arrayArgument(py::handle value) {
  if (!isArray(value.ptr())) throw py::type_error("an array of fixed-point values is needed");
  return asObject(value.ptr());
}

// ------------------------------------------------------------------------------------------------- one element

/// Adds `index`, which may count from the end, to a linear position; false for what is no integer in range.
bool advance(PyObject* index, std::size_t extent, std::size_t& stride, std::size_t& position) {
  if (!PyLong_CheckExact(index)) return false;
  Py_ssize_t k = PyLong_AsSsize_t(index);
  if (k == -1 && PyErr_Occurred()) {
    PyErr_Clear();
    return false;
  }
  const auto size = static_cast<Py_ssize_t>(extent);
  if (k < 0) k += size;
  if (k < 0 || k >= size) return false;
  position += static_cast<std::size_t>(k) * stride;
  stride *= extent;
  return true;
}

/// The place, column by column, of the one element that a subscript names, if it names one that exists.
std::optional<std::size_t> elementPlace(const Object& object, PyObject* key) {
  const embedded::fi::Shape& dims = heldBy(object).dims();
  std::size_t stride = 1, place = 0;
  if (object.ndim == 1) return advance(key, dims[0], stride, place) ? std::optional(place) : std::nullopt;
  if (!PyTuple_CheckExact(key) || PyTuple_GET_SIZE(key) != object.ndim || object.ndim < 1) return std::nullopt;
  for (int d = 0; d < object.ndim; ++d) {
    const auto at = static_cast<std::size_t>(d);
    if (!advance(PyTuple_GET_ITEM(key, d), at < dims.size() ? dims[at] : 1, stride, place)) return std::nullopt;
  }
  return place;
}

PyObject* getItem(PyObject* self, PyObject* key) {
  return guarded<PyObject*>(nullptr, [&]() -> PyObject* {
    const Object& object = asObject(self);
    if (const auto place = elementPlace(object, key)) {
      const tessel::IndexRange position{*place};
      tessel::HostObject& held = *object.array.objectAt();
      auto element = called([&] { return held.hostClass().elementAccess()->elements(held, {&position, 1}); });
      if (element) return wrap(std::move(*element), 0).release().ptr();
    }
    return hook("getitem")(py::handle(self), py::handle(key)).release().ptr();
  });
}

int setItem(PyObject* self, PyObject* key, PyObject* value) {
  return guarded(-1, [&] {
    if (value == nullptr) throw py::type_error("elements cannot be deleted: an array keeps its shape");
    Object& object = asObject(self);
    const auto place = elementPlace(object, key);
    const bool isSingle = PyFloat_CheckExact(value) || PyLong_CheckExact(value) ||
                          (isArray(value) && asObject(value).ndim == 0 && value != self);
    if (place && isSingle) {
      const tessel::IndexRange position{*place};
      const HostArray element = fromPython(value).array;
      const bool isAssigned = called([&] {
        tessel::HostObject& held = object.array.mutableObject();
        return held.hostClass().elementAccess()->assign(held, {&position, 1}, element);
      });
      if (isAssigned) return 0;
    }
    hook("setitem")(py::handle(self), py::handle(key), py::handle(value));
    return 0;
  });
}

Py_ssize_t length(PyObject* self) {
  const Object& object = asObject(self);
  if (object.ndim == 0) {
    PyErr_SetString(PyExc_TypeError, "a single value has no length");
    return -1;
  }
  return static_cast<Py_ssize_t>(heldBy(object).dims()[0]);
}

// ----------------------------------------------------------------------------------------------- many elements

using Positions = py::array_t<double, py::array::f_style | py::array::forcecast>;

/// Positions from 0 as the host counts them, from 1.
Argument hostPositions(const Positions& positions) {
  tessel::Dimensions dims(positions.shape(), positions.shape() + positions.ndim());
  dims.resize(std::max<std::size_t>(dims.size(), 2), 1);
  HostArray array = HostArray::unset(tessel::ArrayClass::Double, std::move(dims));
  double* to = array.mutableReal<double>();
  const double* from = positions.data();
  for (std::size_t i = 0; i < array.numel(); ++i) to[i] = from[i] + 1;
  return {std::move(array), static_cast<int>(positions.ndim())};
}

py::object take(py::handle self, const Positions& positions) {
  const Object& object = arrayArgument(self);
  Argument at = hostPositions(positions);
  HostArray taken = called([&] {
    return std::move(tessel::callFunction("subscriptedreference",
                                          tessel::arraysOf(HostArray(object.array), std::move(at.array)))
                         .at(0));
  });
  const Shape shape = shapeOf(taken, -1);
  return wrap(std::move(taken), dimensionsFor(shape.dims, at.ndim));
}

void put(py::handle self, const Positions& positions, py::handle value) {
  Object& object = arrayArgument(self);
  HostArray index = HostArray::structure();
  index.mutableFieldAt("type") = HostArray::text("()");
  HostArray subscripts = HostArray::cell({1, 1});
  subscripts.mutableCellAt(0) = hostPositions(positions).array;
  index.mutableFieldAt("subs") = std::move(subscripts);
  HostArray right = fromPython(value).array;
  called([&] {
    const tessel::MethodInfo* assign = object.array.objectAt()->hostClass().findMethod("subsasgn");
    // The arguments alone hold the object while it changes, so that nothing is copied.
    Arrays inputs = tessel::arraysOf(std::move(object.array), std::move(index), std::move(right));
    try {
      object.array = std::move(assign->function.call(inputs, 1).at(0));
    } catch (...) {
      object.array = std::move(inputs[0]);
      throw;
    }
    return 0;
  });
}

/// Type, settings and record stay; where the host sees the sizes that it saw, so does the object itself.
py::object reshaped(py::handle self, const std::vector<unsigned>& sizes) {
  const Object& object = arrayArgument(self);
  std::vector<unsigned> dims = sizes;
  dims.resize(std::max<std::size_t>(dims.size(), 2), 1);
  while (dims.size() > 2 && dims.back() == 1) dims.pop_back();
  const embedded::fi& before = heldBy(object);
  std::size_t count = 1;
  for (const unsigned extent : dims) count *= extent;
  if (count != before.numel())
    throw py::value_error("an array cannot be brought into sizes of another count of elements");
  HostArray result = object.array;
  if (!std::ranges::equal(dims, before.dims())) {
    result.mutableObject();
    embedded::heldArray(result)->copyDimensions(dims.data(), static_cast<unsigned>(dims.size()));
  }
  return wrap(std::move(result), static_cast<int>(sizes.size()));
}

/// Whether the doubles that an array keeps are its real-world values.
bool storesRealWorld(const embedded::fi& values) {
  const auto& type = values.getNumericType();
  return values.isreal() && type.isFixed() && !type.isSlopeBias() && values.realPart().doubles();
}

/// The real-world values: a read-only view of what the array keeps, or else a copy. The view keeps the object
/// as it is now: who changes the array afterwards changes an object of its own.
py::object values(py::handle self) {
  const Object& object = arrayArgument(self);
  const embedded::fi& held = heldBy(object);
  // A single value may move within its object.
  if (held.numel() < 2 || !storesRealWorld(held)) {
    HostArray copied = called([&] { return held.getDataHostArray(); });
    if (!copied.isComplex()) return overElements(copied, shapeOf(object), true);
    const py::object numpy = py::module_::import("numpy");
    const py::tuple sizes = py::cast(pythonSizes(shapeOf(object)));
    return numpy.attr("reshape")(toPython(std::move(copied), shapeOf(object)), sizes, "F");
  }
  py::capsule owner = keeping(object.array);
  return overBuffer(py::dtype::of<double>(), shapeOf(object), held.realPart().doubles(), std::move(owner),
                    false);
}

/// Another object with the same values, settings and record; what both hold is copied when one is changed.
py::object copied(py::handle self) { return wrap(arrayArgument(self).array, arrayArgument(self).ndim); }

/// The Python object that shows one array shows what another holds; who refers to it sees that.
void become(py::handle self, py::handle other) {
  const Object& source = arrayArgument(other);
  Object& object = arrayArgument(self);
  object.array = source.array;
  object.ndim = source.ndim;
}

}  // namespace

std::vector<PyType_Slot> elementSlots() {
  return {{Py_mp_subscript, reinterpret_cast<void*>(getItem)},
          {Py_mp_ass_subscript, reinterpret_cast<void*>(setItem)},
          {Py_mp_length, reinterpret_cast<void*>(length)}};
}

void addElementFunctions(py::module_& module) {
  module.def("take", take, "The elements at positions from 0, column by column, in their shape.");
  module.def("put", put, "Assigns to the elements at positions from 0, column by column.");
  module.def("reshaped", reshaped, "The elements, column by column, in other sizes.");
  module.def("values", values, "The real-world values: a read-only view, or a copy where none is possible.");
  module.def("copied", copied, "Another array with the same content.");
  module.def("become", become, "Gives an array the content of another.");
}

}  // namespace face
