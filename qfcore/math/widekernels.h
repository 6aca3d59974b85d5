/// Quantization of one number of either kind: the same rules as kernels.h, for words beyond the double
/// threshold.
#pragma once

#include <cstdint>
#include <vector>

#include "qfcore/math/modes.h"
#include "qfcore/number/number.h"
#include "qfcore/number/rounding.h"

namespace embedded {

/// A rounding rule for wide words.
struct WideRounding {
  using Member = number& (number::*)(int);

  static WideRounding of(RoundModeEnum roundMode);
  bool grows(const Cut& cut) const { return (growths >> cut.index() & 1) != 0; }

  Member member = nullptr;  ///< rounds a number to a given count of fraction bits, such as `number::floor(int)`
  std::uint16_t growths = 0;  ///< one bit for each `Cut`
};

/// The constants of a format as numbers precise enough to hold them exactly; see DoubleFormat. The largest
/// magnitudes of stored integers on either side of zero stand beside them, for words of up to `kMaxLimbs`
/// limbs.
struct WideFormat {
  using Magnitude = std::vector<std::uint64_t>;  // least significant limb first

  int fractionLength = 0;
  int fractionBits = 0;
  int exponentMin = 0;
  number eps, max, min, range;
  int wordLength = 0;
  bool isSigned = false;
  Magnitude maxMagnitude{}, minMagnitude{};  ///< `kMaxStoredLimbs` limbs, or none

  static WideFormat ofFixedPoint(bool isSigned, int wordLength, int fractionLength);
  static WideFormat ofFloatingPoint(int fractionBits, int exponentMin, int exponentBias);
};

struct WideOutcome {
  bool overflow = false, underflow = false;
};

enum class LimbOutcome { NotDone, InRange, Overflow };

/// Quantizes the current element of `value` in place and says what it met.
using WideKernel = WideOutcome (*)(const WideFormat& format, const WideRounding& rounding,
                                   OverflowModeEnum overflowMode, number& value);

/// On stored integers where that can be done, else by floating-point arithmetic.
WideOutcome quantizeFixedWide(const WideFormat& format, const WideRounding& rounding,
                              OverflowModeEnum overflowMode, number& value);
WideOutcome quantizeFloatWide(const WideFormat& format, const WideRounding& rounding,
                              OverflowModeEnum overflowMode, number& value);

// Modes that have no grid: the value stays, but for single, which rounds it once, and boolean.
WideOutcome quantizeDoubleWide(const WideFormat& format, const WideRounding& rounding,
                               OverflowModeEnum overflowMode, number& value);
WideOutcome quantizeSingleWide(const WideFormat& format, const WideRounding& rounding,
                               OverflowModeEnum overflowMode, number& value);
WideOutcome quantizeBooleanWide(const WideFormat& format, const WideRounding& rounding,
                                OverflowModeEnum overflowMode, number& value);
WideOutcome quantizeNoneWide(const WideFormat& format, const WideRounding& rounding,
                             OverflowModeEnum overflowMode, number& value);
WideOutcome quantizeScaledDoubleWide(const WideFormat& format, const WideRounding& rounding,
                                     OverflowModeEnum overflowMode, number& value);

/// The rule itself, for values of every kind, range and precision.
WideOutcome quantizeFixedByFloats(const WideFormat& format, const WideRounding& rounding,
                                  OverflowModeEnum overflowMode, number& value);
/// The same for multiprecision values, faster; from one value into another or in place. Not done, and `to` as
/// it was, where the value or the outcome asks for more: values that are not regular, too large, or beyond the
/// limbs; outcomes that are zero or take more bits than the value has.
LimbOutcome quantizeFixedByLimbs(const WideFormat& format, const WideRounding& rounding,
                                 OverflowModeEnum overflowMode, const MpFloat& from, MpFloat& to);

}  // namespace embedded
