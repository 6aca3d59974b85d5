/// Host class `embedded.quantizer`.
#pragma once

#include "qfcore/host/objclass.h"
#include "qfcore/math/quantizer.h"

namespace embedded::host {

class QuantizerObjClass : public ObjClass<QuantizerObjClass, quantizer> {
 public:
  static constexpr const char* kName = "quantizer";
  /// Properties in registration order.
  static std::span<const Property<quantizer>> properties();
  /// Takes what the function `quantizer` takes. Raises "numforge:quantizer:constructor:badsignature".
  static std::shared_ptr<HostObject> createClassSpecificObject(Arrays& arguments);
  void init();

 private:
  friend ObjClass;
  QuantizerObjClass() = default;
};

/// Methods that write values as digits and read them.
std::span<const Method> quantizerRadixMethods();

/// The quantizer that an argument wraps. Raises "numforge:quantizer:mustBeQuantizer".
quantizer& quantizerArgument(const HostArray& array);

/// The quantizer that the arguments of a constructor ask for, its own logging switch on. In any order: words of
/// the modes, a format of two numbers, a numerictype, a quantizer, pairs of a property's name and its value.
/// Raises "numforge:quantizer:constructor:badsignature" and what the setters raise.
quantizer quantizerFrom(const Arrays& arguments);

}  // namespace embedded::host
