/// Makes the body that a precision asks for.
#pragma once

#include "qfcore/number/doublenumber.h"
#include "qfcore/number/numberrepbody.h"
#include "qfcore/number/precision.h"

namespace embedded {

/// Every body is a new one, owned by the caller, who deletes or drops it. Failing allocations raise
/// "numforge:fi:outofmemory".
class QFCORE_API numberfactory {
 public:
  numberfactory() = delete;

  /// A double body, of precision 52, when `precision` allows it and multiprecision is not forced.
  static numberrepbody* createnumberScalar(double value, unsigned precision, bool forceMultiplePrecision);
  /// `count` zeros.
  static numberrepbody* createnumberVector(unsigned count, unsigned precision);
  static numberrepbody* createnumberVector(unsigned count, unsigned precision, Unset tag) {
    if (count == 1) return createnumberSingle(0.0, precision);
    if (precision > kMaxDoublePrecision) return createWideVector(count, precision);
    return new doublenumber(count, precision, tag);
  }
  /// A vector of one value: `value` where doubles carry it, 0 for the caller to set where they do not.
  static numberrepbody* createnumberSingle(double value, unsigned precision) {
    if (precision > kMaxDoublePrecision) return createWideVector(1, precision);
    return doublenumber::single(value, precision);
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
