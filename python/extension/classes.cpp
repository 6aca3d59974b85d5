#include "python/extension/classes.h"

#include <structmember.h>

#include <algorithm>
#include <map>
#include <set>

#include "python/extension/calls.h"
#include "python/extension/construction.h"
#include "python/extension/convert.h"
#include "python/extension/names.h"
#include "python/extension/object.h"
#include "tessel/interpreter.h"
#include "tessel/registries.h"

namespace face {

namespace {

/// A row of a table as a descriptor: a property, or a method that Python binds to its object.
template <class Info>
struct Row {
  PyObject ob_base;
  vectorcallfunc vectorcall;
  const Info* info;
  PyObject* name;
};
using PropertyRow = Row<tessel::PropertyInfo>;
using MethodRow = Row<tessel::MethodInfo>;

template <class Info>
const Info& infoOf(PyObject* self) {
  return *reinterpret_cast<Row<Info>*>(self)->info;
}

/// Members of enumerations by the host's texts.
std::map<std::string, std::map<std::string, py::object>>& members() {
  static auto* all = new std::map<std::string, std::map<std::string, py::object>>;
  return *all;
}

// -------------------------------------------------------------------------------------------------- properties

py::object shownAs(const tessel::PropertyInfo& property, HostArray value, const Shape& like) {
  if (const auto type = members().find(property.type); type != members().end() && value.isText()) {
    const auto member = type->second.find(value.toText());
    if (member != type->second.end()) return member->second;
  }
  // Only values of any class may be one an element.
  const bool isArray = property.type == tessel::property_type::kArray;
  return toPython(std::move(value), isArray ? like : Shape{}, false);
}

PyObject* getProperty(PyObject* self, PyObject* object, PyObject* /*type*/) {
  if (object == nullptr) {
    Py_INCREF(self);
    return self;
  }
  return guarded<PyObject*>(nullptr, [&] {
    const Object& shown = asObject(object);
    const auto& property = infoOf<tessel::PropertyInfo>(self);
    HostArray value = called([&] { return property.get(*shown.array.objectAt()); });
    return shownAs(property, std::move(value), shown.ndim < 0 ? Shape{} : shapeOf(shown)).release().ptr();
  });
}

int setProperty(PyObject* self, PyObject* object, PyObject* value) {
  return guarded(-1, [&] {
    Object& shown = asObject(object);
    const auto& property = infoOf<tessel::PropertyInfo>(self);
    if (value == nullptr) throw py::type_error("properties cannot be deleted");
    const HostArray hostValue = propertyValue(property, value);
    const Shape before = shapeOf(shown);
    called([&] {
      tessel::setProperty(shown.array, property.name, hostValue);
      return 0;
    });
    if (shown.ndim >= 0 && shapeOf(shown).dims != before.dims)
      shown.ndim = dimensionsFor(shapeOf(shown).dims, fromPython(value).ndim);
    return 0;
  });
}

// ----------------------------------------------------------------------------------------------------- methods

/// The shape of the argument in which Python sees most dimensions.
void widen(Shape& like, const Argument& argument) {
  if (argument.ndim > like.ndim) like = shapeOf(argument.array, argument.ndim);
}

/// The count of results asked for with the keyword `outputs`.
int outputCount(PyObject* const* values, Py_ssize_t count, PyObject* names,
                const tessel::FunctionInfo& function) {
  const int usual = function.maxOutputs == 0 ? 0 : 1;
  if (names == nullptr || PyTuple_GET_SIZE(names) == 0) return usual;
  if (PyTuple_GET_SIZE(names) > 1 ||
      PyUnicode_CompareWithASCIIString(PyTuple_GET_ITEM(names, 0), "outputs") != 0)
    throw py::type_error(function.name + "() takes no keyword but `outputs`, the count of results");
  return py::handle(values[count]).cast<int>();
}

PyObject* callMethod(PyObject* self, PyObject* const* values, std::size_t flags, PyObject* names) {
  return guarded<PyObject*>(nullptr, [&] {
    const auto& method = infoOf<tessel::MethodInfo>(self);
    const Py_ssize_t count = PyVectorcall_NARGS(flags);
    if (count == 0 || !isObject(values[0])) throw py::type_error(method.function.name + "() needs an object");
    Object& object = asObject(values[0]);
    const int wanted = outputCount(values, count, names, method.function);
    Arrays inputs;
    Shape like;
    for (Py_ssize_t i = 0; i < count; ++i) {
      Argument argument = fromPython(values[i]);
      widen(like, argument);
      inputs.push_back(std::move(argument.array));
    }
    if (method.changesObject) {
      inputs[0] = {};
      object.array.mutableObject();
      inputs[0] = object.array;
    }
    Arrays results =
        called([&] { return tessel::callFunction(method.function.name, std::move(inputs), wanted); });
    if (method.changesObject && object.ndim >= 0)
      object.ndim = dimensionsFor(shapeOf(object).dims, object.ndim);
    if (wanted == 0 || results.empty()) return py::none().release().ptr();
    // What a single number tells of an array is no element of it.
    if (object.ndim >= 0 && !results[0].isObject() && results[0].isScalar()) like = {};
    if (wanted == 1) return toPython(std::move(results[0]), like).release().ptr();
    py::list all;
    for (HostArray& result : results) all.append(toPython(std::move(result), like));
    return py::tuple(all).release().ptr();
  });
}

PyObject* bindMethod(PyObject* self, PyObject* object, PyObject* /*type*/) {
  if (object != nullptr) return PyMethod_New(self, object);
  Py_INCREF(self);
  return self;
}

// ------------------------------------------------------------------------------------------------- descriptors

template <class Info>
void deallocateRow(PyObject* self) {
  PyTypeObject* type = Py_TYPE(self);
  Py_XDECREF(reinterpret_cast<Row<Info>*>(self)->name);
  type->tp_free(self);
  Py_DECREF(type);
}

template <class Info>
PyObject* rowName(PyObject* self, void*) {
  PyObject* name = reinterpret_cast<Row<Info>*>(self)->name;
  Py_INCREF(name);
  return name;
}

const std::string& helpOf(const tessel::PropertyInfo& info) { return info.help; }
const std::string& helpOf(const tessel::MethodInfo& info) { return info.function.help; }
const std::string& nameOf(const tessel::PropertyInfo& info) { return info.name; }
const std::string& nameOf(const tessel::MethodInfo& info) { return info.function.name; }

template <class Info>
PyObject* rowHelp(PyObject* self, void*) {
  return PyUnicode_FromString(helpOf(infoOf<Info>(self)).c_str());
}

PyObject* signatureText(PyObject* self, void*) {
  const tessel::FunctionInfo& function = infoOf<tessel::MethodInfo>(self).function;
  std::string text = "($self";
  for (int i = 1; i < function.maxInputs; ++i) {
    text += ", x" + std::to_string(i);
    if (i >= function.minInputs) text += "=None";
  }
  if (function.maxInputs < 0) text += ", *values";
  return PyUnicode_FromString((text + (function.maxInputs < 0 ? ")" : ", /)")).c_str());
}

template <class Info>
PyTypeObject* rowType(const char* name, std::vector<PyType_Slot> slots, unsigned long flags) {
  static PyGetSetDef attributes[] = {
      {"__name__", rowName<Info>, nullptr, nullptr, nullptr},
      {"__qualname__", rowName<Info>, nullptr, nullptr, nullptr},
      {"__doc__", rowHelp<Info>, nullptr, nullptr, nullptr},
      {std::is_same_v<Info, tessel::MethodInfo> ? "__text_signature__" : nullptr,
       std::is_same_v<Info, tessel::MethodInfo> ? signatureText : nullptr, nullptr, nullptr, nullptr},
      {nullptr, nullptr, nullptr, nullptr, nullptr},
  };
  static PyMemberDef places[] = {
      {"__vectorcalloffset__", T_PYSSIZET, offsetof(Row<Info>, vectorcall), READONLY, nullptr},
      {nullptr, 0, 0, 0, nullptr},
  };
  slots.insert(slots.end(), {{Py_tp_getset, attributes},
                             {Py_tp_members, places},
                             {Py_tp_dealloc, reinterpret_cast<void*>(deallocateRow<Info>)},
                             {0, nullptr}});
  PyType_Spec spec{name, sizeof(Row<Info>), 0, static_cast<unsigned>(Py_TPFLAGS_DEFAULT | flags), slots.data()};
  PyObject* type = PyType_FromSpec(&spec);
  if (type == nullptr) throw py::error_already_set();
  return reinterpret_cast<PyTypeObject*>(type);
}

PyTypeObject* propertyType() {
  static PyTypeObject* type =
      rowType<tessel::PropertyInfo>("qfcore.Property",
                                    {{Py_tp_descr_get, reinterpret_cast<void*>(getProperty)},
                                     {Py_tp_descr_set, reinterpret_cast<void*>(setProperty)}},
                                    0);
  return type;
}

PyTypeObject* methodType() {
  static PyTypeObject* type =
      rowType<tessel::MethodInfo>("qfcore.Method",
                                  {{Py_tp_descr_get, reinterpret_cast<void*>(bindMethod)},
                                   {Py_tp_call, reinterpret_cast<void*>(PyVectorcall_Call)}},
                                  Py_TPFLAGS_HAVE_VECTORCALL | Py_TPFLAGS_METHOD_DESCRIPTOR);
  return type;
}

template <class Info>
py::object descriptor(PyTypeObject* type, const Info& info) {
  PyObject* made = type->tp_alloc(type, 0);
  if (made == nullptr) throw py::error_already_set();
  auto* row = reinterpret_cast<Row<Info>*>(made);
  row->vectorcall = callMethod;
  row->info = &info;
  row->name = py::str(snakeCase(nameOf(info))).release().ptr();
  return py::reinterpret_steal<py::object>(made);
}

// ----------------------------------------------------------------------------------------------------- classes

py::object typeObject(PyTypeObject* type) {
  return py::reinterpret_borrow<py::object>(reinterpret_cast<PyObject*>(type));
}

/// Rows of the superclass come again in a class's lists; Python inherits them. A property hides a method of its
/// name.
py::dict contentOf(const HostClass& hostClass) {
  py::dict content;
  const HostClass* above = hostClass.superclass();
  for (const tessel::MethodInfo* row : hostClass.methods()) {
    if (above == nullptr || above->findMethod(row->function.name) != row)
      content[py::str(snakeCase(row->function.name))] = descriptor(methodType(), *row);
  }
  for (const tessel::PropertyInfo* row : hostClass.properties()) {
    if (above == nullptr || above->findProperty(row->name) != row)
      content[py::str(snakeCase(row->name))] = descriptor(propertyType(), *row);
  }
  content["__slots__"] = py::tuple();
  content["__module__"] = "qfcore";
  content["__doc__"] = hostClass.help();
  return content;
}

py::object makeClass(const HostClass& hostClass, std::map<const HostClass*, py::object>& made) {
  if (const auto found = made.find(&hostClass); found != made.end()) return found->second;
  const py::object base = hostClass.superclass() != nullptr
                              ? makeClass(*hostClass.superclass(), made)
                              : typeObject(hostClass.elementAccess() ? arrayType() : objectType());
  const py::object type =
      typeObject(&PyType_Type)(hostClass.name(), py::make_tuple(base), contentOf(hostClass));
  showAs(hostClass, reinterpret_cast<PyTypeObject*>(type.ptr()));
  made.emplace(&hostClass, type);
  return type;
}

/// Enumerated types that properties name, as classes below `base`, which reads their texts in any spelling.
py::dict makeEnumerations(const py::object& base) {
  py::dict made;
  for (const HostClass* hostClass : tessel::getPackage("embedded").classes()) {
    for (const tessel::PropertyInfo* property : hostClass->properties()) {
      const tessel::EnumeratedType* type = tessel::findEnumeratedType(property->type);
      if (type == nullptr || members().contains(type->name)) continue;
      py::list rows;
      for (const auto& value : type->values) rows.append(py::make_tuple(memberName(value.first), value.first));
      const py::object enumeration = base(enumerationName(type->name), rows, py::arg("module") = "qfcore");
      for (const auto& value : type->values) members()[type->name][value.first] = enumeration(value.first);
      made[py::str(enumerationName(type->name))] = enumeration;
    }
  }
  return made;
}

// ------------------------------------------------------------------------------------------------------ tables

py::dict describedProperty(const tessel::PropertyInfo& row) {
  const tessel::EnumeratedType* type = tessel::findEnumeratedType(row.type);
  py::dict described;
  described["name"] = snakeCase(row.name);
  described["host_name"] = row.name;
  described["type"] = type != nullptr ? enumerationName(type->name) : row.type;
  described["is_enumeration"] = type != nullptr;
  described["is_writable"] = static_cast<bool>(row.set);
  described["is_hidden"] = row.hidden;
  described["help"] = row.help;
  return described;
}

py::dict describedMethod(const tessel::MethodInfo& row) {
  py::dict described;
  described["name"] = snakeCase(row.function.name);
  described["min_inputs"] = row.function.minInputs;
  described["max_inputs"] = row.function.maxInputs;
  described["max_outputs"] = row.function.maxOutputs;
  described["is_hidden"] = row.hidden;
  described["help"] = row.function.help;
  return described;
}

/// Every class with the rows that are its own, in order of registration.
py::dict tables() {
  py::dict all;
  for (const HostClass* hostClass : tessel::getPackage("embedded").classes()) {
    py::dict table;
    py::list properties, methods;
    const HostClass* above = hostClass->superclass();
    for (const tessel::PropertyInfo* row : hostClass->properties()) {
      if (above == nullptr || above->findProperty(row->name) != row) properties.append(describedProperty(*row));
    }
    for (const tessel::MethodInfo* row : hostClass->methods()) {
      if (above == nullptr || above->findMethod(row->function.name) != row)
        methods.append(describedMethod(*row));
    }
    table["superclass"] = above != nullptr ? py::object(py::str(above->name())) : py::none();
    table["help"] = hostClass->help();
    table["properties"] = properties;
    table["methods"] = methods;
    all[py::str(hostClass->name())] = table;
  }
  return all;
}

/// Shows objects of a class as those of a class of the package above.
void showClassAs(const py::type& type) {
  auto* shown = reinterpret_cast<PyTypeObject*>(type.ptr());
  showAs(hostClassOf(shown), shown);
}

/// A function of the host by name.
py::object callByName(const std::string& name, const py::args& values) {
  Arrays inputs;
  Shape like;
  for (const py::handle value : values) {
    Argument argument = fromPython(value);
    widen(like, argument);
    inputs.push_back(std::move(argument.array));
  }
  Arrays results = called([&] { return tessel::callFunction(name, std::move(inputs)); });
  return results.empty() ? py::none() : toPython(std::move(results[0]), like);
}

/// The state of a feature switch, which a second argument sets first.
py::object feature(const std::string& name, const py::object& value) {
  const tessel::FeatureSetter setter = tessel::findFeature(name);
  if (setter == nullptr)
    raise("qfcore:unknownfeature",
          "There is no feature '" + name + "'" + suggestion(name, tessel::featureNames()));
  const HostArray input = fromPython(value).array;
  HostArray output;
  called([&] {
    setter(1, &output, value.is_none() ? 0 : 1, &input);
    return 0;
  });
  return toPython(std::move(output), {});
}

}  // namespace

void addClasses(py::module_& module) {
  std::map<const HostClass*, py::object> made;
  py::dict classes;
  for (const HostClass* hostClass : tessel::getPackage("embedded").classes())
    classes[py::str(hostClass->name())] = makeClass(*hostClass, made);
  module.attr("classes") = classes;
  module.def("make_enumerations", makeEnumerations);
  module.def("tables", tables);
  module.def("show_as", showClassAs);
  module.def("call", callByName);
  module.def("feature", feature, py::arg("name"), py::arg("value") = py::none(),
             "The state of a feature switch; with a value, sets it first.");
}

}  // namespace face
