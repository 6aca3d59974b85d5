#include "qfcore/math/widekernels.h"

#include <algorithm>
#include <limits>

namespace embedded {

RoundingMember roundingMember(RoundModeEnum roundMode) {
  // In the order of RoundModeEnum.
  static constexpr RoundingMember kMembers[] = {&number::ceil,  &number::convergent, &number::fix,
                                                &number::floor, &number::nearest,    &number::round};
  return kMembers[static_cast<int>(roundMode)];
}

WideOutcome quantizeFixedWide(const WideFormat& format, RoundingMember rounding, OverflowModeEnum overflowMode,
                              number& x) {
  WideOutcome outcome;
  if (x.iszero()) return outcome;
  (x.*rounding)(format.fractionLength);
  outcome.underflow = x.iszero();
  const bool above = x > format.max;
  outcome.overflow = above || x < format.min;
  if (!outcome.overflow) return outcome;
  if (overflowMode == OverflowModeEnum::saturate) {
    x = above ? format.max : format.min;
  } else {
    x.mod(format.range);
    x -= format.min;
    x.mod(format.range);
    x += format.min;
  }
  return outcome;
}

WideOutcome quantizeFloatWide(const WideFormat& format, RoundingMember rounding, OverflowModeEnum, number& x) {
  if (x.iszero()) return {};
  if (!x.isFinite()) return {true, false};
  const bool above = x > format.max;
  if (above || x < format.min) {
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    x = above ? kInfinity : -kInfinity;
    return {true, false};
  }
  (x.*rounding)(format.fractionBits - std::max(x.unbiasedexponent(), format.exponentMin));
  return {false, x.iszero()};
}

}  // namespace embedded
