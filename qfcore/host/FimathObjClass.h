/// Host class `embedded.fimath`.
#pragma once

#include "qfcore/host/objclass.h"
#include "qfcore/math/fimath.h"

namespace embedded::host {

class FimathObjClass : public ObjClass<FimathObjClass, fimath> {
 public:
  static constexpr const char* kName = "fimath";
  /// Properties in registration order.
  static std::span<const Property<fimath>> properties();
  /// Takes no arguments; for any, the host raises "numforge:fimath:nargchk:tooManyInputs".
  static std::shared_ptr<HostObject> createClassSpecificObject(Arrays& arguments);
  void init();
  /// The methods that compute on arrays; added when the array class exists.
  void init_fi_methods();

 private:
  friend ObjClass;
  FimathObjClass() = default;
};

/// The math settings that an argument wraps. Raises "numforge:fimath:mustBeFimath".
fimath& fimathArgument(const HostArray& array);

}  // namespace embedded::host
