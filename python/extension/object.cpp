#include "python/extension/object.h"

#include <algorithm>
#include <new>
#include <unordered_map>

#include "python/extension/calls.h"
#include "python/extension/construction.h"
#include "python/extension/elements.h"
#include "python/extension/names.h"
#include "python/extension/operators.h"
#include "qfcore/host/exchange.h"

namespace face {

namespace {

PyTypeObject* theObjectType = nullptr;
PyTypeObject* theArrayType = nullptr;

struct ShownClasses {
  std::unordered_map<const HostClass*, PyTypeObject*> types;
  std::unordered_map<PyTypeObject*, const HostClass*> classes;
};
ShownClasses& shown() {
  static auto* all = new ShownClasses;  // types outlive the interpreter's end
  return *all;
}

void deallocate(PyObject* self) {
  PyTypeObject* type = Py_TYPE(self);
  asObject(self).array.~HostArray();
  type->tp_free(self);
  Py_DECREF(type);
}

/// As Python does it, but an unknown name brings a proposal.
PyObject* getAttribute(PyObject* self, PyObject* name) {
  PyObject* value = PyObject_GenericGetAttr(self, name);
  if (value != nullptr || !PyErr_ExceptionMatches(PyExc_AttributeError)) return value;
  return guarded<PyObject*>(nullptr, [&]() -> PyObject* {
    const py::error_already_set unknown;
    const auto wanted = py::reinterpret_borrow<py::str>(name).cast<std::string>();
    if (wanted.starts_with("_")) throw unknown;
    const auto known =
        py::module_::import("builtins").attr("dir")(py::handle(reinterpret_cast<PyObject*>(Py_TYPE(self))));
    throw py::attribute_error("'" + std::string(Py_TYPE(self)->tp_name) + "' has no attribute '" + wanted +
                              "'" + suggestion(wanted, known.cast<std::vector<std::string>>()));
  });
}

int setAttribute(PyObject* self, PyObject* name, PyObject* value) {
  // Reading first finds the proposal for a name that does not exist.
  if (_PyType_Lookup(Py_TYPE(self), name) == nullptr) {
    PyObject* found = getAttribute(self, name);
    if (found == nullptr) return -1;
    Py_DECREF(found);
  }
  return PyObject_GenericSetAttr(self, name, value);
}

PyObject* shapeTuple(PyObject* self, void*) {
  return guarded<PyObject*>(
      nullptr, [&] { return py::tuple(py::cast(pythonSizes(shapeOf(asObject(self))))).release().ptr(); });
}
PyObject* dimensionCount(PyObject* self, void*) { return PyLong_FromLong(asObject(self).ndim); }
PyObject* elementCount(PyObject* self, void*) {
  return PyLong_FromUnsignedLong(embedded::heldArray(asObject(self).array)->numel());
}

PyGetSetDef arrayAttributes[] = {
    {"shape", shapeTuple, nullptr, "The sizes in each dimension.", nullptr},
    {"ndim", dimensionCount, nullptr, "The number of dimensions; 0 for a single value.", nullptr},
    {"size", elementCount, nullptr, "The number of elements.", nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr},
};

PyTypeObject* makeType(const char* name, const char* help, std::vector<PyType_Slot> slots, PyTypeObject* base) {
  slots.push_back({Py_tp_doc, const_cast<char*>(help)});
  slots.push_back({0, nullptr});
  PyType_Spec spec{name, sizeof(Object), 0, Py_TPFLAGS_DEFAULT | Py_TPFLAGS_BASETYPE, slots.data()};
  PyObject* type = PyType_FromSpecWithBases(&spec, reinterpret_cast<PyObject*>(base));
  if (type == nullptr) throw py::error_already_set();
  return reinterpret_cast<PyTypeObject*>(type);
}

template <class Function>
void* slot(Function* function) {
  return reinterpret_cast<void*>(function);
}

}  // namespace

void addBaseTypes(py::module_& module) {
  std::vector<PyType_Slot> common = operatorSlots();
  common.insert(common.end(), {{Py_tp_new, slot(construct)},
                               {Py_tp_dealloc, slot(deallocate)},
                               {Py_tp_getattro, slot(getAttribute)},
                               {Py_tp_setattro, slot(setAttribute)},
                               {Py_tp_hash, slot(PyObject_HashNotImplemented)}});
  theObjectType = makeType("qfcore.Object", "An object of the system.", common, &PyBaseObject_Type);
  std::vector<PyType_Slot> ofArrays = elementSlots();
  ofArrays.push_back({Py_tp_getset, arrayAttributes});
  theArrayType = makeType("qfcore.Array", "An object that is an array.", ofArrays, theObjectType);
  module.add_object("Object", py::reinterpret_borrow<py::object>(reinterpret_cast<PyObject*>(theObjectType)));
  module.add_object("Array", py::reinterpret_borrow<py::object>(reinterpret_cast<PyObject*>(theArrayType)));
}

PyTypeObject* objectType() { return theObjectType; }
PyTypeObject* arrayType() { return theArrayType; }

void showAs(const HostClass& hostClass, PyTypeObject* type) {
  Py_INCREF(type);
  shown().types[&hostClass] = type;
  shown().classes[type] = &hostClass;
}

const HostClass& hostClassOf(PyTypeObject* type) {
  for (PyTypeObject* each = type; each != nullptr; each = each->tp_base) {
    const auto found = shown().classes.find(each);
    if (found != shown().classes.end()) return *found->second;
  }
  throw py::type_error("objects of this class cannot be made");
}

// ----------------------------------------------------------------------------------------------------- shapes

Shape shapeOf(const HostArray& array, int ndim) {
  const embedded::fi* values = embedded::heldArray(array);
  Shape shape{ndim, values ? values->dims() : embedded::fi::Shape(array.dims().begin(), array.dims().end())};
  // Results of operations may keep dimensions of size 1 behind the others.
  while (shape.dims.size() > 2 && shape.dims.back() == 1) shape.dims.pop_back();
  return shape;
}

Shape shapeOf(const Object& object) { return shapeOf(object.array, object.ndim); }

std::vector<std::size_t> pythonSizes(const Shape& shape) {
  std::vector<std::size_t> sizes(shape.dims.begin(), shape.dims.end());
  sizes.resize(static_cast<std::size_t>(shape.ndim), 1);
  return sizes;
}

int resultDimensions(const embedded::fi::Shape& dims, const Shape& like) {
  if (like.ndim >= 0 && dims == like.dims) return like.ndim;
  const bool isVector = dims.size() == 2 && (dims[0] == 1 || dims[1] == 1);
  if (isVector && dims[0] == 1 && dims[1] == 1) return 0;
  // Operands of which Python sees one dimension are columns, and so are selections of them.
  if (isVector && like.ndim < 2) return 1;
  return static_cast<int>(dims.size());
}

int dimensionsFor(const embedded::fi::Shape& dims, int ndim) {
  const bool isColumn = dims.size() == 2 && dims[1] == 1;
  if (ndim == 0 && isColumn && dims[0] == 1) return 0;
  if (ndim == 1 && isColumn) return 1;
  return std::max(ndim, static_cast<int>(dims.size()));
}

py::object wrap(HostArray object, int ndim) {
  PyTypeObject* type = shown().types.at(&object.objectAt()->hostClass());
  PyObject* made = type->tp_alloc(type, 0);
  if (made == nullptr) throw py::error_already_set();
  new (&asObject(made).array) HostArray(std::move(object));
  asObject(made).ndim = ndim;
  return py::reinterpret_steal<py::object>(made);
}

py::object wrapLike(HostArray object, const Shape& like) {
  const embedded::fi* values = embedded::heldArray(object);
  const int ndim = values ? resultDimensions(shapeOf(object, -1).dims, like) : -1;
  if (ndim == 1 && values->dims()[1] != 1) {
    const unsigned column[] = {values->numel(), 1};
    object.mutableObject();
    embedded::heldArray(object)->copyDimensions(column, 2);
  }
  return wrap(std::move(object), ndim);
}

}  // namespace face
