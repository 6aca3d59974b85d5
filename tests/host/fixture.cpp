#include "tests/host/fixture.h"

#include <cstdio>
#include <cstdlib>

#include "tessel/interpreter.h"

namespace host_tests {

namespace {

HostArray evaluate(const std::string& text) { return HostArray::scalar(std::strtod(text.c_str(), nullptr)); }

std::string number(double value) {
  char buffer[40];
  std::snprintf(buffer, sizeof buffer, "%.17g ", value + 0.0);  // zeros of either sign are one value
  return buffer;
}

}  // namespace

std::vector<std::string>& hostStack() {
  static std::vector<std::string> places{"inner:3", "outer:7"};
  return places;
}

void startModule() {
  tessel::attachLanguage({evaluate, [] { return hostStack(); }, {}});
  TesselInitialize_qfcore();
  tessel::setWarningEnabled("all", false);
}

HostArray row(const std::vector<double>& values) {
  HostArray array = HostArray::zeros(ArrayClass::Double, {1, values.size()});
  for (std::size_t i = 0; i < values.size(); ++i) array.mutableReal<double>()[i] = values[i];
  return array;
}

const HostClass& classNamed(const std::string& name) { return *tessel::findClass("embedded." + name); }

std::vector<const HostClass*> concreteClasses() {
  std::vector<const HostClass*> all;
  for (const HostClass* each : tessel::getPackage("embedded").classes()) {
    if (each->name() != "type") all.push_back(each);
  }
  return all;
}

HostArray freshObject(const HostClass& hostClass) {
  if (hostClass.name() == "fi") return hostClass.create({row({0.25, -0.5, 0.75})});
  HostArray object = hostClass.create({});
  if (hostClass.name() == "enumtype") {
    HostArray names = HostArray::cell({1, 2});
    names.mutableCellAt(0) = HostArray::text("a");
    names.mutableCellAt(1) = HostArray::text("b");
    tessel::setProperty(object, "Strings", names);
  }
  return object;
}

std::string textOf(const HostArray& value) {
  std::string text;
  if (value.isText() && !value.isEmpty()) return value.toText();
  if (value.isFunction()) return value.functionValue()->text();
  for (const std::size_t size : value.dims()) text += std::to_string(size) + "x";
  text += ": ";
  for (std::size_t i = 0; i < value.numel(); ++i) {
    if (value.isCell()) {
      text += "{" + textOf(value.cellAt(i)) + "}";
    } else if (value.isStruct()) {
      for (const std::string& field : value.fieldNames())
        text += field + "=" + textOf(value.fieldAt(field, i)) + " ";
    } else if (value.isObject()) {
      for (const auto& [name, content] : stateOf(HostArray::object(value.objectAt(i))))
        text += name + "=" + content + ";";
    } else {
      text += number(value.realAt(i));
      if (value.isComplex()) text += "i" + number(value.imagAt(i));
    }
  }
  return text;
}

std::map<std::string, std::string> stateOf(const HostArray& object) {
  std::map<std::string, std::string> state;
  for (const tessel::PropertyInfo* property : object.objectAt()->hostClass().properties()) {
    const std::string error =
        errorOf([&] { state[property->name] = textOf(tessel::getProperty(object, property->name)); });
    if (!error.empty()) state[property->name] = "error " + error;
  }
  return state;
}

}  // namespace host_tests
