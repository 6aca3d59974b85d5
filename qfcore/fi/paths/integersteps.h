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

/// What rounding adds to the low bits of an integer that are shifted out. Of `Cut` only a few cases differ, so
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
  bool dependsOnValue() const { return ifNegative != 0 || ifOdd != 0; }

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
    addsFirst_ = !addend_.dependsOnValue() && std::max(from.bits, shift_ + 1) < kBitsOf<Integer>;
    const int rest = std::max(from.bits - shift_, 1) + (shift_ > 0);
    const bool fits = rest <= target.bits && (target.areSigned || !from.areSigned);
    range_ = fits                                          ? Range::Holds
             : to.overflowMode() == OverflowModeEnum::wrap ? Range::Wraps
                                                           : Range::Saturates;
    span_ = (Unsigned{2} << (type.wordLength() - 1)) - 1;
    min_ = type.isSigned() ? static_cast<Integer>(~Unsigned{0} << (type.wordLength() - 1)) : 0;
  }

  /// Bits that integers need for it; as many as no integer has where it cannot be taken.
  static int bitsFor(const IntegerValues& from, const NumericType& to) {
    constexpr int kNone = 1000, kMaxShift = 126;
    const IntegerValues target = IntegerValues::of(to);
    const long shift = from.fraction - target.fraction;
    if (shift > kMaxShift || shift < -kMaxShift) return kNone;
    const int places = static_cast<int>(shift);
    return std::max({from.bits, target.bits, from.bits - places + (places > 0), places + 2});
  }
  bool isIdentity() const { return shift_ == 0 && range_ == Range::Holds; }
  /// For values that are known to be in range once they are on the grid.
  void leaveRangeUnchecked() { range_ = Range::Holds; }

  template <bool Counts>
  Integer apply(Integer value, [[maybe_unused]] IntegerTally<Integer>* tally) const {
    Integer rounded = value;
    if (shift_ > 0) {
      if (addsFirst_) {
        rounded = (value + addend_.base) >> shift_;
      } else {
        rounded >>= shift_;
        // What was shifted out and what rounding adds to it carry 0 or 1; mostly in one machine word.
        rounded += shift_ < 63 ? carry<std::uint64_t>(value, rounded) : carry<Unsigned>(value, rounded);
      }
    } else if (shift_ < 0) {
      rounded <<= -shift_;
    }
    Integer landed = rounded;
    // A branch, which is foreseen: the next sample need not wait for the comparison.
    if (range_ != Range::Holds && static_cast<Unsigned>(rounded) - static_cast<Unsigned>(min_) > span_)
        [[unlikely]]
      landed = broughtIntoRange(rounded);
    if constexpr (Counts) {
      tally->underflows += rounded == 0 && value != 0;
      tally->overflows += landed != rounded;
      tally->take(landed);
    }
    return landed;
  }

 private:
  using Unsigned = std::conditional_t<sizeof(Integer) == 8, std::uint64_t, UnsignedInt128>;
  enum class Range { Holds, Saturates, Wraps };

  template <class Word>
  [[gnu::always_inline]] Integer carry(Integer value, Integer below) const {
    Word addend = static_cast<Word>(addend_.base);
    if (addend_.dependsOnValue())
      addend += static_cast<Word>((value < 0 ? addend_.ifNegative : 0) + (below & addend_.ifOdd));
    const Word rest = static_cast<Word>(value) & ((Word{1} << shift_) - 1);
    return static_cast<Integer>((rest + addend) >> shift_);
  }

  [[gnu::noinline]] Integer broughtIntoRange(Integer value) const {
    if (range_ == Range::Wraps)
      return static_cast<Integer>((static_cast<Unsigned>(value) - static_cast<Unsigned>(min_)) & span_) + min_;
    return value < min_ ? min_ : min_ + static_cast<Integer>(span_);
  }

  int shift_ = 0;
  Range range_ = Range::Holds;
  RoundingAddend<Integer> addend_;
  bool addsFirst_ = false;
  Integer min_ = 0;
  Unsigned span_ = 0;  // from the smallest value to the largest
};

/// A step that is taken in 64 bits where these suffice.
template <class Integer>
class CheapestStep {
 public:
  CheapestStep() = default;
  CheapestStep(const IntegerValues& from, const quantizer& to) : wide_(from, to) {
    constexpr int kNarrow = kBitsOf<std::int64_t>;
    isNarrow_ = kBitsOf<Integer> > kNarrow && wide_.bitsFor(from, to.numericType()) <= kNarrow;
    if (isNarrow_) narrow_ = IntegerStep<std::int64_t>(from, to);
  }
  bool isIdentity() const { return wide_.isIdentity(); }
  template <bool Counts>
  Integer apply(Integer value, IntegerTally<Integer>* tally) const {
    if (Counts || !isNarrow_) return wide_.template apply<Counts>(value, tally);
    return narrow_.template apply<false>(static_cast<std::int64_t>(value), nullptr);
  }

 private:
  IntegerStep<Integer> wide_;
  IntegerStep<std::int64_t> narrow_;
  bool isNarrow_ = false;
};

}  // namespace embedded
