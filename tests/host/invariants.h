/// Random settings in random order: whatever is set or refused, an object's properties fit together.
#pragma once

#include <cmath>
#include <functional>

#include "qfcore/host/FiObjClass.h"
#include "qfcore/host/FimathObjClass.h"
#include "qfcore/host/NumericTypeObjClass.h"
#include "tests/host/fixture.h"

namespace host_tests {

using namespace embedded;
using EmbeddedTypeSystem::DataTypeEnum;
using EmbeddedTypeSystem::ScalingEnum;

/// Gives random numbers.
using Random = std::function<unsigned()>;

/// A value for a property, legal or not.
inline HostArray anyValue(const tessel::PropertyInfo& property, const Random& random) {
  const auto pick = [&](auto... values) {
    const HostArray choices[] = {values...};
    return choices[random() % std::size(choices)];
  };
  const auto num = [](double value) { return HostArray::scalar(value); };
  if (const tessel::EnumeratedType* type = tessel::findEnumeratedType(property.type)) {
    return HostArray::text(type->values[random() % type->values.size()].first);
  }
  namespace property_type = tessel::property_type;
  if (property.type == property_type::kInt32) return num(static_cast<double>(random() % 80) - 10);
  if (property.type == property_type::kBool) return HostArray::logical(random() % 2 == 0);
  if (property.type == property_type::kDouble)
    return pick(num(0.25), num(1), num(1.5), num(0), num(-3), num(0.3), num(2));
  if (property.name == "Signed") return pick(HostArray::logical(true), HostArray::logical(false), HostArray());
  if (property.name == "CStyle") return pick(num(1), num(0), num(24), HostArray::text("x"));
  return pick(row({0.5, -1.25, 3}), num(100), num(1e9), HostArray());
}

inline void checkType(const NumericType& type) {
  ASSERT_EQ(NumericType::convertDataTypeToDataTypeMode(type.dataType(), type.scaling()), type.dataTypeMode());
  ASSERT_EQ(type.isBuiltIn(), type.scaling() == ScalingEnum::Unused);
  ASSERT_GE(type.wordLength(), 1);
  ASSERT_LE(type.wordLength(), NumericType::kMaxWordLength);
  ASSERT_EQ(type.slope(), std::ldexp(type.slopeAdjustmentFactor(), type.fixedExponent()));
  ASSERT_GE(type.slopeAdjustmentFactor(), 1);
  ASSERT_LT(type.slopeAdjustmentFactor(), 2);
  if (!type.isSlopeBiasScalingSet()) {
    ASSERT_FALSE(type.isSlopeBias());
  }
  if (type.isBuiltIn() || type.isScalingUnspecified()) {
    ASSERT_EQ(type.fixedExponent(), 0);
  }
}

inline void checkRegister(const RegisterSettings& settings) {
  ASSERT_GE(settings.wordLength, 1);
  ASSERT_LE(settings.wordLength, 65535);
  ASSERT_GE(settings.maxWordLength, 1);
  ASSERT_EQ(settings.slope(), std::ldexp(settings.slopeAdjustmentFactor, settings.fixedExponent));
  ASSERT_GE(settings.slopeAdjustmentFactor, 1);
  ASSERT_LT(settings.slopeAdjustmentFactor, 2);
}

inline void checkMath(const fimath& math) {
  checkRegister(math.product());
  checkRegister(math.sum());
  if (!math.isCStyle()) return;
  ASSERT_EQ(math.productWordLength(), math.sumWordLength());
  ASSERT_EQ(math.roundMode(), RoundModeEnum::floor);
}

/// The assignment quantizer is that of type and settings, and every value lies in the type.
inline void checkArray(const fi& x) {
  checkType(x.getNumericType());
  checkMath(x.getFimath());
  ASSERT_FALSE(x.getNumericType().isScalingUnspecified());
  const quantizer expected(x.getNumericType(), x.getFimath().roundMode(), x.getFimath().overflowMode());
  ASSERT_TRUE(x.getAssignmentQuantizer().isequal(expected));
  ASSERT_EQ(x.realPart().numel(), x.numel());
  fi again(x);
  again.quantizeAll();
  ASSERT_EQ(textOf(again.getDoubleHostArray()), textOf(x.getDoubleHostArray()));
}

/// Sets properties of a fresh object of class `className`, `steps` times.
template <class Value>
void setAnything(const char* className, void (*check)(const Value&), int steps, const Random& random) {
  const HostClass& hostClass = classNamed(className);
  HostArray handle = freshObject(hostClass);
  std::string history;
  for (int step = 0; step < steps; ++step) {
    const auto properties = hostClass.properties();
    const tessel::PropertyInfo& property = *properties[random() % properties.size()];
    if (property.hidden || property.name == "LastPropertySet") continue;
    const HostArray value = anyValue(property, random);
    const auto before = stateOf(handle);
    const std::string error = errorOf([&] { tessel::setProperty(handle, property.name, value); });
    history += "\n  " + property.name + " = " + textOf(value) + " " + error;
    if (!error.empty()) {
      ASSERT_EQ(stateOf(handle), before) << history;
    }
    check(*host::unwrapped<Value>(handle));
    if (testing::Test::HasFatalFailure()) FAIL() << history;
  }
}

}  // namespace host_tests
