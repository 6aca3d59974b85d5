/// Makes the body that a precision asks for.
#pragma once

#include "qfcore/number/doublenumber.h"
#include "qfcore/number/numberrepbody.h"
#include "qfcore/number/precision.h"

namespace embedded {

/// Every body is newly allocated and owned by the caller. Failing allocations raise "numforge:fi:outofmemory".
class QFCORE_API numberfactory {
 public:
  numberfactory() = delete;

  /// A double body, of precision 52, when `precision` allows it and multiprecision is not forced.
  static numberrepbody* createnumberScalar(double value, unsigned precision, bool forceMultiplePrecision);
  /// `count` zeros.
  static numberrepbody* createnumberVector(unsigned count, unsigned precision);
  static numberrepbody* createnumberVector(unsigned count, unsigned precision, Unset tag) {
    if (precision > kMaxDoublePrecision) return createWideVector(count, precision);
    return new doublenumber(count, precision, tag);
  }
  /// A view that shares the storage of `source`. Null for a body that is neither double nor multiprecision.
  static numberrepbody* createnumber(const numberrepbody* source, CopyIndex);
  /// A reader of what `source` sees. Null likewise.
  static numberrepbody* createnumber(const numberrepbody* source, Reading);
  /// A deep copy. Null for a body that is neither double nor multiprecision.
  static numberrepbody* createnumberVector(const numberrepbody* source);

 private:
  static numberrepbody* createWideVector(unsigned count, unsigned precision);
};

}  // namespace embedded
