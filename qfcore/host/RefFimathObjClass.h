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
  /// Raises "numforge:fimath:nargchk:tooManyInputs" for any argument.
  static std::shared_ptr<HostObject> createClassSpecificObject(Arrays& arguments);
  void init();

 private:
  friend ObjClass;
  RefFimathObjClass();
};

}  // namespace embedded::host
