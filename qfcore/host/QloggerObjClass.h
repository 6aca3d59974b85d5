/// Host class `embedded.qlogger`.
#pragma once

#include "qfcore/host/objclass.h"
#include "qfcore/logging/qlogger.h"

namespace embedded::host {

class QloggerObjClass : public ObjClass<QloggerObjClass, qlogger> {
 public:
  static constexpr const char* kName = "qlogger";
  /// Properties in registration order.
  static std::span<const Property<qlogger>> properties();
  /// Without an argument a logger that has recorded nothing; with a fi, a quantizer or a qlogger a copy of its
  /// logger. Raises "numforge:qlogger:constructor:badsignature".
  static std::shared_ptr<HostObject> createClassSpecificObject(Arrays& arguments);
  void init();

 private:
  friend ObjClass;
  QloggerObjClass() = default;
};

}  // namespace embedded::host
