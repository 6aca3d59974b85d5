/// What the runtime's tests share: short ways to make arrays, a class of objects, and errors as texts.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tessel/array.h"
#include "tessel/messages.h"
#include "tessel/objects.h"

namespace tessel {

inline HostArray matrix(Dimensions dims, const std::vector<double>& values) {
  HostArray a = HostArray::zeros(ArrayClass::Double, std::move(dims));
  for (std::size_t i = 0; i < values.size(); ++i) a.mutableReal<double>()[i] = values[i];
  return a;
}
inline HostArray row(const std::vector<double>& values) { return matrix({1, values.size()}, values); }
inline HostArray num(double value) { return HostArray::scalar(value); }
inline HostArray colon() { return HostArray::text(":"); }
inline HostArray mask(Dimensions dims, const std::vector<int>& flags) {
  HostArray a = HostArray::zeros(ArrayClass::Logical, std::move(dims));
  for (std::size_t i = 0; i < flags.size(); ++i) a.mutableReal<bool>()[i] = flags[i] != 0;
  return a;
}
inline std::vector<double> valuesOf(const HostArray& a) {
  std::vector<double> values;
  for (std::size_t i = 0; i < a.numel(); ++i) values.push_back(a.realAt(i));
  return values;
}

/// The identifier of the host error that `action` raises; empty when it raises none.
template <class Action>
std::string errorOf(Action&& action) {
  try {
    action();
  } catch (const HostError& e) {
    return e.identifier();
  }
  return {};
}

/// An object that holds a number; "test.Box" is a value class, "test.Handle" is not.
class Box : public HostObject {
 public:
  Box(const HostClass& hostClass, double number) : HostObject(hostClass), value(number) {}
  std::shared_ptr<HostObject> clone() const override { return std::make_shared<Box>(*this); }
  double value;
};

inline HostClass& boxClass(bool isValueClass) {
  const char* name = isValueClass ? "Box" : "Handle";
  Package& package = getPackage("test");
  if (HostClass* existing = package.findClass(name)) return *existing;
  HostClass& c = package.createClass(name);
  c.setValueClass(isValueClass);
  c.setFactory([&c](Arrays& arguments) {
    return std::make_shared<Box>(c, arguments.empty() ? 0.0 : arguments[0].scalarValue());
  });
  c.addProperty({"Value", "double", [](HostObject& o) { return HostArray::scalar(static_cast<Box&>(o).value); },
                 [](HostObject& o, const HostArray& v) {
                   if (v.scalarValue() < 0) raiseError("test:negative", "Negative.");
                   static_cast<Box&>(o).value = v.scalarValue();
                   o.signalPropertyChange("Value");
                 },
                 "The number."});
  c.addMethod({{"sum",
                [](Arrays& in, int) -> Arrays {
                  double total = 0;
                  for (const HostArray& a : in) {
                    total += a.isObject() ? static_cast<Box&>(*a.objectAt()).value : a.scalarValue();
                  }
                  return {HostArray::scalar(total)};
                },
                1, 3, 1, "Sum of boxes and numbers."}});
  return c;
}
inline HostArray box(double value, bool isValueClass = true) {
  return boxClass(isValueClass).create({num(value)});
}
inline double valueOf(const HostArray& object, std::size_t i = 0) {
  return static_cast<const Box&>(*object.objectAt(i)).value;
}

}  // namespace tessel
