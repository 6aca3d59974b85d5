/// Quantization of stored integers value by value, for loops in which each depends on the one before.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "qfcore/math/integerkernels.h"

namespace embedded {

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
  using Unsigned = embedded::Unsigned<Integer>;
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
