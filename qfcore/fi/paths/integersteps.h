/// Quantization of stored integers value by value, for loops in which each depends on the one before.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "qfcore/math/integerkernels.h"

namespace embedded {

/// Values on a grid of 2^-fraction, none beyond 2^reach steps: two's-complement integers of at most `bits`
/// bits, the sign among them.
struct IntegerValues {
  long fraction;
  int bits, reach;
  bool areSigned;

  static IntegerValues of(const NumericType& type) {
    const int reach = type.wordLength() - type.isSigned();
    return {type.fractionLength(), reach + 1, reach, type.isSigned()};
  }
  IntegerValues operator*(const IntegerValues& other) const {
    // Of two that have a sign the least ones have the product 2^reach itself.
    const int both = reach + other.reach;
    return {fraction + other.fraction, both + 1 + (areSigned && other.areSigned), both,
            areSigned || other.areSigned};
  }
  /// Whether all of them are values of the type.
  bool areOf(const NumericType& type) const {
    const IntegerValues target = of(type);
    return fraction <= target.fraction && bits + target.fraction - fraction <= target.bits &&
           (target.areSigned || !areSigned);
  }
  /// The same values on a grid that is no coarser.
  IntegerValues onGrid(long finer) const {
    const int places = static_cast<int>(finer - fraction);
    return {finer, bits + places, reach + places, areSigned};
  }
  /// Sums and differences.
  IntegerValues plusOrMinus(const IntegerValues& other) const {
    return {fraction, std::max(bits, other.bits) + 1, std::max(reach, other.reach) + 1, true};
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
    const int shift = static_cast<int>(from.fraction - target.fraction);
    down_ = std::max(shift, 0);
    up_ = std::max(-shift, 0);
    if (down_ > 0) addend_ = RoundingAddend<Integer>(WideRounding::of(to.roundMode()), down_);
    endsInHigh_ = down_ >= kHigh && target.bits <= kHigh;
    isShort_ = std::max(down_, down_ > 0 ? from.reach : 0) <= kBitsOf<Integer> - 2;
    const int rest = std::max(from.bits - shift, 1) + (down_ > 0);
    if (rest <= target.bits && (target.areSigned || !from.areSigned)) return;
    range_ = to.overflowMode() == OverflowModeEnum::wrap ? Range::Wraps : Range::Saturates;
    span_ = (Unsigned{2} << (type.wordLength() - 1)) - Unsigned{1};
    min_ = type.isSigned() ? static_cast<Integer>(~Unsigned{0} << (type.wordLength() - 1)) : Integer{0};
  }

  /// Bits that integers need for it; as many as no integer has where it cannot be taken.
  static int bitsFor(const IntegerValues& from, const NumericType& to) {
    constexpr int kNone = 1000, kMaxShift = 254;
    const IntegerValues target = IntegerValues::of(to);
    const long shift = from.fraction - target.fraction;
    if (shift > kMaxShift || shift < -kMaxShift) return kNone;
    const int places = static_cast<int>(shift);
    return std::max({from.bits, target.bits, from.bits - places + (places > 0), places + 2});
  }
  /// Whether values stay the same but for zeros behind them.
  bool isExact() const { return down_ == 0 && range_ == Range::Holds; }
  bool isIdentity() const { return isExact() && up_ == 0; }
  int raise() const { return up_; }
  /// Whether `applyShort` does it, and whether its rounding looks at the value.
  bool isShort() const { return isShort_; }
  bool dependsOnValue() const { return addend_.dependsOnValue(); }

  template <bool Counts>
  Integer apply(Integer value, [[maybe_unused]] IntegerTally<Integer>* tally) const {
    // Of long integers every shift is several, and none is often enough.
    const bool losesNothing = kBitsOf<Integer> > kHigh && down_ == 0;
    const Integer rounded = losesNothing ? value << up_
                            : isShort_   ? roundedShort<true>(value)
                                         : roundedLong(value);
    const Integer landed = inRange(rounded);
    if constexpr (Counts) {
      tally->underflows += rounded == 0 && value != 0;
      tally->overflows += landed != rounded;
      tally->take(landed);
    }
    return landed;
  }
  template <bool DependsOnValue>
  [[gnu::always_inline]] Integer applyShort(Integer value) const {
    if constexpr (std::is_same_v<Integer, Int128>) {
      if (endsInHigh_) {
        // Its upper half alone tells whether what is left is odd.
        const auto high = static_cast<std::int64_t>(value >> kHigh);
        Integer addend = addend_.base;
        if constexpr (DependsOnValue)
          addend += ((high >> (down_ - kHigh)) & static_cast<std::int64_t>(addend_.ifOdd)) +
                    (signOf(value) & addend_.ifNegative);
        const auto rounded = static_cast<std::int64_t>((value + addend) >> kHigh) >> (down_ - kHigh);
        if (static_cast<std::uint64_t>(rounded) - static_cast<std::uint64_t>(min_) >
            static_cast<std::uint64_t>(span_)) [[unlikely]]
          return broughtIntoRange(rounded);
        return rounded;
      }
    }
    return inRange(roundedShort<DependsOnValue>(value));
  }
  /// A sum or difference of integers of the type, on its grid, brought into range.
  template <bool Subtracts>
  [[gnu::always_inline]] Integer added(Integer sum, Integer term) const {
    if constexpr (std::is_class_v<Integer>) {
      return inRange(Subtracts ? sum - term : sum + term);
    } else {
      Integer total;
      // The words may fill the integer, or but for a sign that they have not.
      const bool isLost =
          Subtracts ? __builtin_sub_overflow(sum, term, &total) : __builtin_add_overflow(sum, term, &total);
      if (isLost) [[unlikely]]
        return range_ == Range::Wraps ? broughtIntoRange(total) : sum < 0 ? min_ : largest();
      return inRange(total);
    }
  }

 private:
  using Unsigned = embedded::Unsigned<Integer>;
  enum class Range { Holds, Saturates, Wraps };

  /// Adds what rounding adds to the whole value, which leaves room for it.
  template <bool DependsOnValue>
  [[gnu::always_inline]] Integer roundedShort(Integer value) const {
    return withAddend<DependsOnValue>(value << up_) >> down_;
  }
  template <bool DependsOnValue>
  [[gnu::always_inline]] Integer withAddend(Integer value) const {
    if constexpr (!DependsOnValue) return value + addend_.base;
    return value + ((signOf(value) & addend_.ifNegative) + ((value >> down_) & addend_.ifOdd) + addend_.base);
  }
  /// What is shifted out and what rounding adds to it carry 0 or 1; mostly in one machine word.
  Integer roundedLong(Integer value) const {
    const Integer below = value >> down_;
    if constexpr (kHigh < kBitsOf<Integer>) {
      if (down_ >= kHigh - 1) return below + carry<Unsigned>(value, below);
    }
    return below + carry<std::uint64_t>(value, below);
  }
  template <class Word>
  [[gnu::always_inline]] Integer carry(Integer value, Integer below) const {
    Word addend = static_cast<Word>(addend_.base);
    if (addend_.dependsOnValue())
      addend += static_cast<Word>((signOf(value) & addend_.ifNegative) + (below & addend_.ifOdd));
    const Word rest = static_cast<Word>(value) & ((Word{1} << down_) - Word{1});
    return static_cast<Integer>((rest + addend) >> down_);
  }

  [[gnu::always_inline]] Integer inRange(Integer value) const {
    // A branch, which is foreseen: the next sample need not wait for the comparison.
    if (static_cast<Unsigned>(value) - static_cast<Unsigned>(min_) > span_) [[unlikely]]
      return broughtIntoRange(value);
    return value;
  }
  [[gnu::noinline]] Integer broughtIntoRange(Integer value) const {
    if (range_ == Range::Wraps)
      return static_cast<Integer>(((static_cast<Unsigned>(value) - static_cast<Unsigned>(min_)) & span_) +
                                  static_cast<Unsigned>(min_));
    return value < min_ ? min_ : largest();
  }
  Integer largest() const { return static_cast<Integer>(static_cast<Unsigned>(min_) + span_); }

  static constexpr int kHigh = 64;

  int up_ = 0, down_ = 0;
  bool isShort_ = true;
  bool endsInHigh_ = false;  // no bit of the lower half is left of 128
  Range range_ = Range::Holds;
  RoundingAddend<Integer> addend_;
  Integer min_ = 0;
  Unsigned span_ = ~Unsigned{0};  // from the smallest value to the largest
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
    isNarrow_ = isNarrow_ && narrow_.isShort();
  }
  const IntegerStep<Integer>& whole() const { return wide_; }
  template <bool Counts>
  Integer apply(Integer value, IntegerTally<Integer>* tally) const {
    if (Counts || !isNarrow_) return wide_.template apply<Counts>(value, tally);
    return narrow_.template apply<false>(static_cast<std::int64_t>(value), nullptr);
  }
  template <bool DependsOnValue>
  [[gnu::always_inline]] Integer applyShort(Integer value) const {
    if (!isNarrow_) return wide_.template applyShort<DependsOnValue>(value);
    return narrow_.template applyShort<DependsOnValue>(static_cast<std::int64_t>(value));
  }
  bool isShort() const { return isNarrow_ || wide_.isShort(); }

 private:
  IntegerStep<Integer> wide_;
  IntegerStep<std::int64_t> narrow_;
  bool isNarrow_ = false;
};

}  // namespace embedded
