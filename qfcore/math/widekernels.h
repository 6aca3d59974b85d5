/// Quantization of one number of either kind: the same rules as kernels.h, for words beyond the double
/// threshold.
#pragma once

#include "qfcore/math/modes.h"
#include "qfcore/number/number.h"

namespace embedded {

/// A rounding operation of numbers to a given count of fraction bits, such as `number::floor(int)`.
using RoundingMember = number& (number::*)(int);
RoundingMember roundingMember(RoundModeEnum roundMode);

/// The constants of a format as numbers precise enough to hold them exactly; see DoubleFormat.
struct WideFormat {
  int fractionLength = 0;
  int fractionBits = 0;
  int exponentMin = 0;
  number eps, max, min, range;
};

struct WideOutcome {
  bool overflow = false, underflow = false;
};

/// Quantizes the current element of `value` in place and says what it met.
using WideKernel = WideOutcome (*)(const WideFormat& format, RoundingMember rounding,
                                   OverflowModeEnum overflowMode, number& value);

WideOutcome quantizeFixedWide(const WideFormat& format, RoundingMember rounding, OverflowModeEnum overflowMode,
                              number& value);
WideOutcome quantizeFloatWide(const WideFormat& format, RoundingMember rounding, OverflowModeEnum overflowMode,
                              number& value);

}  // namespace embedded
