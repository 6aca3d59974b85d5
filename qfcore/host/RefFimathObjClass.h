/// Host class `embedded.reffimath`: a fimath with data of the host's editing dialog.
#pragma once

#include "qfcore/host/objclass.h"
#include "qfcore/math/fimathUserData.h"

namespace embedded::host {

template <>
struct HeldBase<fimathUserData> {
  using type = fimath;
};

/// A subclass of `embedded.fimath`, whose properties and methods serve it.
class RefFimathObjClass : public ObjClass<RefFimathObjClass, fimathUserData> {
 public:
  static constexpr const char* kName = "reffimath";
  /// Takes no arguments; for any, the host raises "numforge:fimath:nargchk:tooManyInputs".
  static std::shared_ptr<HostObject> createClassSpecificObject(Arrays& arguments);
  void init();

 private:
  friend ObjClass;
  RefFimathObjClass();
};

}  // namespace embedded::host
