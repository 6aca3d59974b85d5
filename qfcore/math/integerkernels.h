/// Quantization of stored integers in native ones of 64 and 128 bits: the rules of kernels.h and widekernels.h,
/// as shifts, sums and comparisons that every mode shares.
///
/// Values are integers in units of a grid of their own, finer or coarser than that of the format they are
/// brought to. Integers are std::int64_t and Int128: `Carrier` holds a value on its way, `Stored` a word.
#pragma once

#include <cstddef>

#include "qfcore/math/quantizer.h"
#include "qfcore/math/widekernels.h"
#include "qfcore/number/int256.h"

namespace embedded {

/// -1 for a negative integer, else 0.
template <class Integer>
constexpr Integer signOf(Integer x) {
  return x >> (8 * sizeof x - 1);
}

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
  /// The value without its low `shift` bits, at most all but two, rounded.
  Integer rounded(Integer value, int shift) const {
    const Integer sign = signOf(value), below = value >> shift;
    // Added to these bits alone the addend cannot leave the integer.
    const Integer dropped = value & ((Integer{1} << shift) - 1);
    return below + ((dropped + base + (sign & ifNegative) + (below & ifOdd)) >> shift);
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

/// The least and the largest stored integer of a format.
template <class Integer>
struct IntegerRangeOf {
  Integer max, min;

  IntegerRangeOf(int wordLength, bool isSigned) {
    using U = Unsigned<Integer>;
    const U half = U{1} << (wordLength - 1);
    const U least = isSigned ? U{0} - half : U{0};
    max = static_cast<Integer>(least + (half - 1) + half);
    min = static_cast<Integer>(least);
  }
  Integer saturated(Integer x) const {
    const Integer notAbove = x > max ? max : x;
    return notAbove < min ? min : notAbove;
  }
  Integer wrapped(Integer x) const {
    using U = Unsigned<Integer>;
    const U least = static_cast<U>(min), mask = static_cast<U>(max) - least;
    return static_cast<Integer>(((static_cast<U>(x) - least) & mask) + least);
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

/// Hands it to the logger of the quantizer whose stored integers they are.
void record(const IntegerTally<std::int64_t>& tally, const quantizer& q);
void record(const IntegerTally<Int128>& tally, const quantizer& q);
void record(const IntegerTally<Int256>& tally, const quantizer& q);

/// How a format's words are cut from values.
template <class Carrier>
struct IntegerFormat {
  int drop;   ///< bits behind the format's grid, which rounding takes off
  int raise;  ///< bits by which a coarser value is short of that grid
  RoundingAddend<Carrier> addend;
  IntegerRangeOf<Carrier> range;
};

/// Brings values to the format of a quantizer. What they meet is recorded when `record` is called.
template <class Carrier, class Stored = Carrier>
class IntegerQuantizer {
 public:
  /// Bits more than which no rounding may take off.
  static constexpr long kMaxDrop = kBitsOf<Carrier> - 2;

  /// For values in units of 2^-fractionLength. A carrier must hold them in units of the finer of both grids,
  /// and `kMaxDrop` must suffice. The quantizer must be one of fixed point and outlive this.
  IntegerQuantizer(const quantizer& q, long fractionLength);
  /// Both may be the same where carriers are what is stored.
  void operator()(const Carrier* from, Stored* to, std::size_t count) {
    kernel_(format_, from, to, count, counts_ ? &tally_ : nullptr);
  }
  void record() const { embedded::record(tally_, *q_); }

 private:
  using Kernel = void (*)(const IntegerFormat<Carrier>& format, const Carrier* from, Stored* to,
                          std::size_t count, IntegerTally<Stored>* tally);

  const quantizer* q_;
  IntegerFormat<Carrier> format_;
  Kernel kernel_;
  bool counts_;
  IntegerTally<Stored> tally_;
};

extern template class IntegerQuantizer<std::int64_t>;
extern template class IntegerQuantizer<Int128, std::int64_t>;
extern template class IntegerQuantizer<Int128>;

}  // namespace embedded
