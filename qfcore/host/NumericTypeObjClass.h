/// Host class `embedded.numerictype`.
#pragma once

#include "qfcore/host/objclass.h"
#include "qfcore/types/numerictype.h"

namespace embedded::host {

using EmbeddedTypeSystem::NumericType;

class NumericTypeObjClass : public ObjClass<NumericTypeObjClass, NumericType> {
 public:
  static constexpr const char* kName = "numerictype";
  /// Properties in registration order.
  static std::span<const Property<NumericType>> properties();
  /// Takes no arguments; for any, the host raises "numforge:numerictype:nargchk:tooManyInputs".
  static std::shared_ptr<HostObject> createClassSpecificObject(Arrays& arguments);
  // Between numeric types and arrays of the host.
  /// The type that an array wraps. Raises "numforge:numerictype:mustBeNumerictype".
  static NumericType& convertFromTesselArray(const HostArray& array);
  /// The object that holds `type`; one that refers to it, and must not outlive it, where none does.
  static HostArray convertToInternalTesselArray(NumericType& type);
  /// A new object that holds a copy.
  static HostArray convertToExternalTesselArray(const NumericType& type);
  /// The class `numerictype` of the package `embedded`.
  static const HostClass& getTesselPackageClassName() { return getInstance().hostClass(); }
  void init();
  /// The methods that make arrays; added when the array class exists.
  void init_fi_methods();

 private:
  friend ObjClass;
  NumericTypeObjClass();
};

/// The numeric type that an argument wraps. Raises "numforge:numerictype:mustBeNumerictype" / "This parameter
/// must be a numerictype.".
NumericType& numericTypeArgument(const HostArray& array);

}  // namespace embedded::host
