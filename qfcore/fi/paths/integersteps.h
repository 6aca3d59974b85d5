/// Quantization of stored integers in native ones of 64 and 128 bits: the rules of rounding.h and of overflow
/// as shifts, sums and comparisons that every mode shares.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "qfcore/math/quantizer.h"
#include "qfcore/math/widekernels.h"

namespace embedded {

__extension__ typedef __int128 Int128;
__extension__ typedef unsigned __int128 UnsignedInt128;

template <class Integer>
inline constexpr int kBitsOf = 8 * static_cast<int>(sizeof(Integer));

/// Values on a grid of 2^-fraction: two's-complement integers of at most `bits` bits, the sign among them.
struct IntegerValues {
  long fraction;
  int bits;
  bool areSigned;

  static IntegerValues of(const NumericType& type) {
    return {type.fractionLength(), type.wordLength() + !type.isSigned(), type.isSigned()};
  }
  IntegerValues operator*(const IntegerValues& other) const {
    return {fraction + other.fraction, bits + other.bits, areSigned || other.areSigned};
  }
  /// The same values on a grid that is no coarser.
  IntegerValues onGrid(long finer) const {
    return {finer, bits + static_cast<int>(finer - fraction), areSigned};
  }
  /// Sums, or differences.
  IntegerValues plus(const IntegerValues& other, bool subtracts) const {
    return {fraction, std::max(bits, other.bits) + 1, areSigned || other.areSigned || subtracts};
  }
};

/// What rounding adds to an integer before its low bits are shifted out. Of `Cut` only a few cases differ, so
/// that one sum serves every rule: `base`, `ifNegative` besides, and `ifOdd` where what is left is odd.
template <class Integer>
struct RoundingAddend {
  Integer base = 0, ifNegative = 0, ifOdd = 0;

  RoundingAddend() = default;
  RoundingAddend(const WideRounding& rounding, int shift) {
    base = ofCase(rounding, false, false, shift);
    ifNegative = ofCase(rounding, true, false, shift) - base;
    ifOdd = ofCase(rounding, false, true, shift) - base;
  }

 private:
  /// `isOdd` is the last bit of the integer below. Of a negative value that is no integer the magnitude below
  /// has the other one, and it grows where the value goes down.
  static Integer ofCase(const WideRounding& rounding, bool isNegative, bool isOdd, int shift) {
    const auto goesUp = [&](bool half, bool rest) {
      return rounding.grows(Cut(isNegative, isOdd != isNegative, half, rest)) != isNegative;
    };
    const Integer half = Integer{1} << (shift - 1);
    if (goesUp(isNegative, true)) return half + (half - 1);  // less than half a step above
    if (goesUp(true, false)) return half;
    return goesUp(!isNegative, true) ? half - 1 : 0;
  }
};

/// What quantizations met, in stored integers.
template <class Integer>
struct IntegerTally {
  std::size_t values = 0, overflows = 0, underflows = 0;
  Integer min = 0, max = 0;

  void take(Integer value) {
    min = values == 0 || value < min ? value : min;
    max = values == 0 || value > max ? value : max;
    ++values;
  }
};

/// Brings integers on one grid into a fixed-point type.
template <class Integer>
class IntegerStep {
 public:
  /// Identity.
  IntegerStep() = default;
  IntegerStep(const IntegerValues& from, const quantizer& to) {
    const NumericType& type = to.numericType();
    const IntegerValues target = IntegerValues::of(type);
    shift_ = static_cast<int>(from.fraction - target.fraction);
    if (shift_ > 0) addend_ = RoundingAddend<Integer>(WideRounding::of(to.roundMode()), shift_);
    const int rest = std::max(from.bits - shift_, 1) + (shift_ > 0);
    const bool fits = rest <= target.bits && (target.areSigned || !from.areSigned);
    range_ = fits                                          ? Range::Holds
             : to.overflowMode() == OverflowModeEnum::wrap ? Range::Wraps
                                                           : Range::Saturates;
    using Unsigned = std::conditional_t<sizeof(Integer) == 8, std::uint64_t, UnsignedInt128>;
    const int magnitudeBits = type.wordLength() - type.isSigned();
    max_ = static_cast<Integer>((Unsigned{1} << magnitudeBits) - 1);
    min_ = type.isSigned() ? static_cast<Integer>(-max_ - 1) : 0;
  }

  /// Bits that integers of the loop need for it; as many as no integer has where it cannot be taken.
  static int bitsFor(const IntegerValues& from, const NumericType& to) {
    constexpr int kNone = 1000, kMaxShift = 126;
    const IntegerValues target = IntegerValues::of(to);
    const long shift = from.fraction - target.fraction;
    if (shift > kMaxShift || shift < -kMaxShift) return kNone;
    const int places = static_cast<int>(shift);
    const int moved = places > 0 ? std::max(from.bits, places + 1) + 1 : from.bits - places;
    // A word's modulus is one bit longer than its largest value.
    return std::max(moved, target.bits) + 1;
  }
  bool isIdentity() const { return shift_ == 0 && range_ == Range::Holds; }
  /// For values that are known to be in range once they are on the grid.
  void leaveRangeUnchecked() { range_ = Range::Holds; }

  template <bool Counts>
  Integer apply(Integer value, [[maybe_unused]] IntegerTally<Integer>* tally) const {
    Integer rounded = value;
    if (shift_ > 0) {
      const Integer sign = value >> (kBitsOf<Integer> - 1);
      rounded =
          (value + addend_.base + (sign & addend_.ifNegative) + ((value >> shift_) & addend_.ifOdd)) >> shift_;
    } else if (shift_ < 0) {
      rounded = value << -shift_;
    }
    Integer landed = rounded;
    if (range_ == Range::Saturates) {
      landed = rounded > max_ ? max_ : rounded;
      landed = landed < min_ ? min_ : landed;
    } else if (range_ == Range::Wraps) {
      landed = ((rounded - min_) & (max_ - min_)) + min_;
    }
    if constexpr (Counts) {
      tally->underflows += rounded == 0 && value != 0;
      tally->overflows += landed != rounded;
      tally->take(landed);
    }
    return landed;
  }

 private:
  enum class Range { Holds, Saturates, Wraps };
  int shift_ = 0;
  Range range_ = Range::Holds;
  RoundingAddend<Integer> addend_;
  Integer min_ = 0, max_ = 0;
};

}  // namespace embedded
