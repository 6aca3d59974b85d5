/// Element-wise sums, sums along one dimension and casts over native integers.
#pragma once

#include <array>
#include <cstddef>

#include "qfcore/fi/paths/integerblocks.h"

namespace embedded {

/// For sums or differences of elements.
inline IntegerSizes integersForSums(const NumericType& a, const NumericType& b, const NumericType& sum,
                                    bool casts, bool isDifference) {
  return smallestIntegers([&](auto, auto stored) {
    using Stored = decltype(stored);
    return exactness::integersHold(kBitsOf<Stored>, a) && exactness::integersHold(kBitsOf<Stored>, b) &&
           exactness::integersHold(kBitsOf<Stored>, sum) &&
           IntegerSum<Stored>::fits(a, b, sum, casts, isDifference);
  });
}

/// Both parts of sums or differences, brought to the type of `q`, which is the result's.
[[gnu::noinline]] inline void sumByIntegers(const fi& a, const fi& b, const quantizer& q, bool casts,
                                            bool isDifference, IntegerSizes sizes, fi& result) {
  withIntegers(sizes, [&](auto, auto stored) {
    using Stored = decltype(stored);
    const IntegerOperands x(a), y(b);
    const IntegerResult to(result);
    const auto sumRange = [&](std::size_t begin, std::size_t count, const auto& own) {
      IntegerSum<Stored> add(a.getNumericType(), b.getNumericType(), *own[0], casts, isDifference);
      IntegerOperands::Room<Stored> roomA, roomB;
      IntegerBlock<Stored> re, im;
      forEachIntegerBlock(begin, count, [&](std::size_t first, std::size_t size) {
        const auto left = x.read(roomA, first, size), right = y.read(roomB, first, size);
        add(left.re, right.re, re.data(), size);
        if (to.isComplex()) add(left.im, right.im, im.data(), size);
        to.write(first, re.data(), im.data(), size);
      });
      add.record();
    };
    shareLoop(result.numel(), kSharedIntegers, std::array{&q}, sumRange);
  });
}

/// For elements brought to another type.
inline IntegerSizes integersForCast(const NumericType& from, const NumericType& to) {
  // Words on one grid, such as those of one type, need no more bits on their way.
  if (exactness::integersHold(kBitsOf<std::int64_t>, from) &&
      exactness::integersHold(kBitsOf<std::int64_t>, to) && from.fractionLength() == to.fractionLength())
    return IntegerSizes::Short;
  return smallestIntegers([&](auto, auto stored) {
    constexpr int kBits = kBitsOf<decltype(stored)>;
    return exactness::integersHold(kBits, from) && exactness::integersHold(kBits, to) &&
           integersCarry(kBits, exactness::fractionBits(from), to,
                         [&](const NumericType& outer) { return exactness::holds(outer, from); });
  });
}

/// Neighbouring elements of one part of `x`, from place `source` on, become those of `target` from `first` on.
/// The stored integers of `x` have so many fraction bits: those of its type, or others, which scales them.
[[gnu::noinline]] inline void castByIntegers(const fi& x, long fractionLength, const number& part,
                                             std::size_t source, const quantizer& q, IntegerSizes sizes,
                                             number& target, std::size_t first, std::size_t count) {
  withIntegers(sizes, [&](auto, auto stored) {
    using Stored = decltype(stored);
    const IntegerOperand from(x, part);
    const IntegerTarget to(target, q.numericType());
    const auto castRange = [&](std::size_t begin, std::size_t length, const auto& own) {
      IntegerQuantizer<Stored> cast(*own[0], fractionLength);
      IntegerBlock<Stored> room, cut;
      forEachIntegerBlock(begin, length, [&](std::size_t place, std::size_t size) {
        cast(from.read(room, source + place, size), cut.data(), size);
        to.write(first + place, cut.data(), size);
      });
      cast.record();
    };
    shareLoop(count, kSharedIntegers, std::array{&q}, castRange);
  });
}

}  // namespace embedded
