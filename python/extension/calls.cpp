#include "python/extension/calls.h"

#include <string_view>
#include <vector>

namespace face {

namespace {

struct Category {
  std::string_view identifier;
  PyObject* type = nullptr;
};

PyObject* errorType = nullptr;
Category categories[] = {{"fi:overflow"}, {"fi:underflow"}, {"fi:divideByZero"}};
PyObject* otherWarnings = nullptr;
// Nothing of Python is called in the middle of an operation.
std::vector<tessel::Warning> pending;

PyObject* newType(py::module_& module, const char* name, const char* help, PyObject* base) {
  PyObject* type = PyErr_NewExceptionWithDoc((std::string("qfcore.") + name).c_str(), help, base, nullptr);
  if (type == nullptr) throw py::error_already_set();
  module.add_object(name, py::reinterpret_borrow<py::object>(type));
  return type;
}

PyObject* categoryOf(std::string_view identifier) {
  for (const Category& row : categories) {
    if (row.identifier == identifier) return row.type;
  }
  return otherWarnings;
}

py::object instance(PyObject* type, const std::string& identifier, const std::string& text) {
  py::object made = py::reinterpret_borrow<py::object>(type)(text);
  made.attr("identifier") = identifier;
  return made;
}

/// How far up the stack the first line stands that is not the package's own.
int levelOfUser() {
  int level = 1;
  py::object frame = py::module_::import("sys").attr("_getframe")();
  while (!frame.is_none()) {
    const py::object name = frame.attr("f_globals").attr("get")("__name__", "");
    const auto module = py::str(name).cast<std::string>();
    if (module != "qfcore" && !module.starts_with("qfcore.")) break;
    frame = frame.attr("f_back");
    ++level;
  }
  return level;
}

}  // namespace

void addMessages(py::module_& module) {
  errorType =
      newType(module, "Error", "An error of the system; `identifier` names it, such as 'numforge:fi:badindex'.",
              PyExc_ValueError);
  otherWarnings = newType(module, "FixedPointWarning", "A warning of the system; `identifier` names it.",
                          PyExc_UserWarning);
  categories[0].type = newType(module, "OverflowWarning", "Values were out of range.", otherWarnings);
  categories[1].type = newType(module, "UnderflowWarning", "Values became 0.", otherWarnings);
  categories[2].type = newType(module, "DivideByZeroWarning", "A divisor was 0.", otherWarnings);
  tessel::setWarningHandler([](const tessel::Warning& warning) { pending.push_back(warning); });
}

void raise(const std::string& identifier, const std::string& text) {
  PyErr_SetObject(errorType, instance(errorType, identifier, text).ptr());
  throw py::error_already_set();
}

void passOnMessages(const tessel::ConsoleRedirect& console) {
  if (!console.text().empty()) py::module_::import("sys").attr("stdout").attr("write")(console.text());
  if (pending.empty()) return;
  const std::vector<tessel::Warning> warnings = std::exchange(pending, {});
  const py::object warn = py::module_::import("warnings").attr("warn");
  const int level = levelOfUser();
  for (const tessel::Warning& warning : warnings) {
    PyObject* category = categoryOf(warning.identifier);
    warn(instance(category, warning.identifier, warning.text), py::none(), level);
  }
}

}  // namespace face
