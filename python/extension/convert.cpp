#include "python/extension/convert.h"

#include <algorithm>
#include <complex>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>

#include "python/extension/names.h"

namespace face {

using tessel::ArrayClass;
using tessel::Dimensions;

namespace {

constexpr long long kExactIntegers = 1LL << 53;

std::map<std::string, py::object>& hooks() {
  static auto* all = new std::map<std::string, py::object>;
  return *all;
}

/// The class of the host whose elements are those of a NumPy type in the machine's byte order.
std::optional<ArrayClass> classOf(char kind, py::ssize_t size) {
  switch (kind) {
    case 'b': return ArrayClass::Logical;
    case 'f':
    case 'c': {
      const py::ssize_t part = kind == 'c' ? size / 2 : size;
      if (part == 8) return ArrayClass::Double;
      if (part == 4) return ArrayClass::Single;
      return std::nullopt;
    }
    case 'i':
    case 'u':
      for (int step = 0; step < 4; ++step) {
        if (size != 1 << step) continue;
        return static_cast<ArrayClass>(static_cast<int>(ArrayClass::Int8) + 2 * step + (kind == 'u'));
      }
      return std::nullopt;
    default: return std::nullopt;
  }
}

Dimensions dimensionsOf(const py::array& array) {
  Dimensions dims(array.shape(), array.shape() + array.ndim());
  dims.resize(std::max<std::size_t>(dims.size(), 2), 1);
  return dims;
}

template <class Part>
HostArray splitComplex(const py::array& array) {
  HostArray split = HostArray::unset(tessel::arrayClassOf<Part>(), dimensionsOf(array), true);
  const auto* from = static_cast<const std::complex<Part>*>(array.data());
  Part *re = split.mutableReal<Part>(), *im = split.mutableImag<Part>();
  for (std::size_t i = 0; i < split.numel(); ++i) {
    re[i] = from[i].real();
    im[i] = from[i].imag();
  }
  return split;
}

/// Values that are no doubles and no integers of 64 bits, as an array that holds them exactly.
Argument exactly(py::handle value) {
  const py::object made = hook("exact")(value);
  if (!isArray(made.ptr())) throw py::type_error("values must be numbers");
  return {asObject(made.ptr()).array, asObject(made.ptr()).ndim, true};
}

Argument fromNumPy(py::array array) {
  const py::object numpy = py::module_::import("numpy");
  if (array.dtype().kind() == 'f' && array.itemsize() == 2) array = array.attr("astype")("f8");
  const char kind = array.dtype().kind();
  const auto arrayClass = classOf(kind, array.itemsize());
  if (!arrayClass) {
    if (kind == 'O' || kind == 'f' || kind == 'c') return exactly(array);
    throw py::type_error("values must be numbers, not of NumPy's type '" +
                         py::str(array.dtype()).cast<std::string>() + "'");
  }
  const int ndim = static_cast<int>(array.ndim());
  // In column order, aligned and in the machine's byte order, without a copy where it is so already.
  const py::object own = array.attr("dtype").attr("newbyteorder")("=");
  array = numpy.attr("require")(array, own, py::make_tuple("F", "A"));
  if (kind == 'c') {
    return {*arrayClass == ArrayClass::Double ? splitComplex<double>(array) : splitComplex<float>(array), ndim};
  }
  const void* data = array.data();
  Dimensions dims = dimensionsOf(array);
  const std::shared_ptr<const void> owner(new py::array(std::move(array)),
                                          [](const void* held) { delete static_cast<const py::array*>(held); });
  return {HostArray::adopt(*arrayClass, std::move(dims), owner, data), ndim};
}

Argument fromInteger(py::handle value) {
  int overflow = 0;
  const long long number = PyLong_AsLongLongAndOverflow(value.ptr(), &overflow);
  if (overflow == 0 && number >= -kExactIntegers && number <= kExactIntegers)
    return {HostArray::scalar(static_cast<double>(number)), 0};
  if (overflow == 0) return {HostArray::scalarOf<std::int64_t>(number), 0};
  return exactly(value);
}

HostArray fromDictionary(const py::dict& dictionary) {
  HostArray structure = HostArray::structure();
  for (const auto& [name, value] : dictionary) {
    structure.mutableFieldAt(name.cast<std::string>()) = fromPython(value).array;
  }
  return structure;
}

/// A list as a cell where it holds texts, as a vector of objects where it holds objects only; nothing for
/// numbers.
std::optional<HostArray> fromList(const py::sequence& list) {
  const auto all = [&](auto test) {
    return py::len(list) > 0 &&
           std::all_of(list.begin(), list.end(), [&](py::handle item) { return test(item.ptr()); });
  };
  if (all([](PyObject* item) { return PyUnicode_Check(item) != 0; })) {
    HostArray cell = HostArray::cell({1, py::len(list)});
    for (std::size_t i = 0; i < py::len(list); ++i) {
      cell.mutableCellAt(i) = HostArray::text(list[i].cast<std::string>());
    }
    return cell;
  }
  if (all([](PyObject* item) { return isObject(item) && !isArray(item); })) {
    std::vector<std::shared_ptr<tessel::HostObject>> objects;
    for (const py::handle item : list) objects.push_back(asObject(item.ptr()).array.objectAt());
    const std::size_t count = objects.size();
    return HostArray::objects(std::move(objects), {1, count});
  }
  return std::nullopt;
}

}  // namespace

void setHook(const std::string& name, py::object function) { hooks()[name] = std::move(function); }
const py::object& hook(const std::string& name) { return hooks().at(name); }

Argument fromPython(py::handle value) {
  PyObject* object = value.ptr();
  if (isObject(object)) return {asObject(object).array, asObject(object).ndim};
  if (PyFloat_Check(object)) return {HostArray::scalar(PyFloat_AS_DOUBLE(object)), 0};
  if (PyBool_Check(object)) return {HostArray::logical(object == Py_True), 0};
  if (PyLong_Check(object)) return fromInteger(value);
  if (PyUnicode_Check(object)) return {HostArray::text(value.cast<std::string>())};
  if (value.is_none()) return {};
  if (PyDict_Check(object)) return {fromDictionary(py::reinterpret_borrow<py::dict>(value))};
  if (PyList_Check(object) || PyTuple_Check(object)) {
    if (auto list = fromList(py::reinterpret_borrow<py::sequence>(value))) return {std::move(*list)};
    if (py::len(value) > 0 && hook("holds_arrays")(value).cast<bool>()) return fromPython(hook("stack")(value));
    return fromNumPy(hook("as_array")(value));
  }
  return fromNumPy(py::module_::import("numpy").attr("asarray")(value));
}

// --------------------------------------------------------------------------------------------------- to Python

py::array overBuffer(const py::dtype& type, const Shape& shape, const void* data, py::object owner,
                     bool isWritable) {
  const std::vector<std::size_t> sizes = pythonSizes(shape);
  std::vector<py::ssize_t> extents(sizes.begin(), sizes.end()), strides;
  py::ssize_t stride = type.itemsize();
  for (const py::ssize_t extent : extents) {
    strides.push_back(stride);
    stride *= std::max<py::ssize_t>(extent, 1);
  }
  py::array array(type, extents, strides, data, std::move(owner));
  if (!isWritable) array.attr("setflags")(py::arg("write") = false);
  return array;
}

py::object overElements(const HostArray& array, const Shape& shape, bool isWritable) {
  return tessel::visitElementType(array.arrayClass(), [&](auto zero) -> py::object {
    using T = decltype(zero);
    py::capsule owner = keeping(array);
    const void* data = owner.get_pointer<HostArray>()->realData();
    if constexpr (std::is_same_v<T, char>)
      return overBuffer(py::dtype("S1"), shape, data, std::move(owner), isWritable);
    else
      return overBuffer(py::dtype::of<T>(), shape, data, std::move(owner), isWritable);
  });
}

namespace {

py::object joinComplex(const HostArray& array, const Shape& shape) {
  std::vector<std::complex<double>> joined(array.numel());
  for (std::size_t i = 0; i < joined.size(); ++i) joined[i] = {array.realAt(i), array.imagAt(i)};
  py::capsule owner = keeping(std::move(joined));
  const void* data = owner.get_pointer<std::vector<std::complex<double>>>()->data();
  return overBuffer(py::dtype::of<std::complex<double>>(), shape, data, std::move(owner), true);
}

py::object fromNumbers(HostArray array, const Shape& like, bool isWritable) {
  const embedded::fi::Shape dims(array.dims().begin(), array.dims().end());
  if (like.ndim < 0 && array.numel() == 0 && array.arrayClass() == ArrayClass::Double) return py::none();
  Shape shape{resultDimensions(dims, like), dims};
  if (shape.ndim == 1) shape.dims = {static_cast<unsigned>(array.numel()), 1};
  if (shape.ndim == 0 && array.isComplex())
    return py::cast(std::complex<double>(array.realAt(0), array.imagAt(0)));
  if (shape.ndim == 0) {
    return tessel::visitElementType(
        array.arrayClass(), [&](auto zero) -> py::object { return py::cast(*array.real<decltype(zero)>()); });
  }
  return array.isComplex() ? joinComplex(array, shape) : overElements(array, shape, isWritable);
}

}  // namespace

py::object toPython(HostArray array, const Shape& like, bool isWritable) {
  switch (array.arrayClass()) {
    case ArrayClass::Object: {
      if (array.numel() == 1) return wrapLike(std::move(array), like);
      py::list objects;
      for (std::size_t i = 0; i < array.numel(); ++i)
        objects.append(wrapLike(HostArray::object(array.objectAt(i)), like));
      return objects;
    }
    case ArrayClass::Char:
      if (array.isText()) return py::str(array.toText());
      return py::cast(array.textRows());
    case ArrayClass::Cell: {
      py::list items;
      for (std::size_t i = 0; i < array.numel(); ++i) items.append(toPython(array.cellAt(i), {}));
      return items;
    }
    case ArrayClass::Struct: {
      py::list elements;
      for (std::size_t i = 0; i < array.numel(); ++i) {
        py::dict fields;
        for (const std::string& name : array.fieldNames())
          fields[py::str(name)] = toPython(array.fieldAt(name, i), {});
        elements.append(fields);
      }
      return array.numel() == 1 ? py::object(elements[0]) : elements;
    }
    case ArrayClass::Function: throw py::type_error("functions of the host have no meaning in Python");
    default: return fromNumbers(std::move(array), like, isWritable);
  }
}

}  // namespace face
