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
