/// Math settings with data of the host's editing dialog.
#pragma once

#include "qfcore/math/fimath.h"
#include "tessel/array.h"

namespace embedded {

/// The `fimath` behind the host class `reffimath`. It owns one host array for the host's editing dialog.
class QFCORE_API fimathUserData : public fimath {
 public:
  const tessel::HostArray& getDlgUserData() const { return userData_; }
  void setDlgUserData(const tessel::HostArray& data) { userData_ = data; }

 private:
  tessel::HostArray userData_;
};

}  // namespace embedded
