/// Host class `embedded.filog`.
#pragma once

#include "qfcore/host/objclass.h"
#include "qfcore/logging/filog.h"

namespace embedded::host {

class filogObjClass : public ObjClass<filogObjClass, filog> {
 public:
  static constexpr const char* kName = "filog";
  /// Properties in registration order.
  static std::span<const Property<filog>> properties();
  /// Without arguments an empty record; with a tag and a qlogger, that logger's. Raises
  /// "numforge:filog:constructor:badsignature".
  static std::shared_ptr<HostObject> createClassSpecificObject(Arrays& arguments);
  void init();

 private:
  friend ObjClass;
  filogObjClass() = default;
};

/// Records as a column cell of `embedded.filog` objects; 0-by-0 when there are none.
HostArray cellOfFilogs(std::vector<filog> records);

/// getglobalfilogs, clearglobalfilogs: methods of every class that takes part in logging.
std::span<const Method> globalFilogMethods();

}  // namespace embedded::host
