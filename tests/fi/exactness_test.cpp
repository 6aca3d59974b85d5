// Proofs of exactness against enumeration: every type of few bits, every pair of values.
#include "qfcore/fi/exactness.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "qfcore/number/precision.h"

namespace {

using namespace embedded;

/// Values are counted in units of 2^-kUnit, which is a step of every type here and of every product.
constexpr int kUnit = 8;
using Values = std::set<std::int64_t>;

std::vector<NumericType> typesUpTo(int wordLength, const std::vector<int>& fractionLengths) {
  std::vector<NumericType> types;
  for (int w = 1; w <= wordLength; ++w)
    for (const int f : fractionLengths)
      for (const bool isSigned : {false, true}) types.emplace_back(isSigned, w, f);
  return types;
}

/// The units of one step, and the stored integers at both ends.
struct Range {
  explicit Range(const NumericType& type)
      : step(std::int64_t{1} << (kUnit - type.fractionLength())),
        min(type.isSigned() ? -(std::int64_t{1} << (type.wordLength() - 1)) : 0),
        max((std::int64_t{1} << (type.wordLength() - type.isSigned())) - 1) {}
  bool holds(std::int64_t value) const {
    return value % step == 0 && value / step >= min && value / step <= max;
  }
  std::int64_t step, min, max;
};

Values valuesOf(const NumericType& type) {
  Values values;
  const Range range(type);
  for (std::int64_t stored = range.min; stored <= range.max; ++stored) values.insert(stored * range.step);
  return values;
}

template <class Operation>
Values combined(const Values& a, const Values& b, Operation operation) {
  Values results;
  for (const std::int64_t x : a)
    for (const std::int64_t y : b) results.insert(operation(x, y));
  return results;
}

Values sums(const Values& a, const Values& b) { return combined(a, b, std::plus<>()); }
Values differences(const Values& a, const Values& b) { return combined(a, b, std::minus<>()); }
/// Of values in units; exact, for no type here has more than half of the unit's bits behind the point.
Values products(const Values& a, const Values& b) {
  return combined(a, b, [](std::int64_t x, std::int64_t y) { return x * y >> kUnit; });
}

bool areAllIn(const NumericType& type, const Values& values) {
  const Range range(type);
  return std::all_of(values.begin(), values.end(), [&](std::int64_t value) { return range.holds(value); });
}

std::string textOf(const NumericType& type) {
  return (type.isSigned() ? "s" : "u") + std::to_string(type.wordLength()) + "," +
         std::to_string(type.fractionLength());
}

/// What is claimed of all values of a set, for every outer type: never what does not hold. With `spareBits`,
/// what holds at the latest of a word with so many bits more: bounds are powers of two.
template <class Claim>
void checkClaims(const std::string& what, const Values& values, std::optional<int> spareBits, Claim claim) {
  static const std::vector<NumericType> outerTypes = typesUpTo(13, {-1, 0, 1, 2, 4, 6});
  for (const NumericType& outer : outerTypes) {
    const bool holds = areAllIn(outer, values);
    ASSERT_TRUE(holds || !claim(outer)) << what << " is not in " << textOf(outer);
    if (!spareBits || !holds) continue;
    ASSERT_TRUE(claim(NumericType(outer.isSigned(), outer.wordLength() + *spareBits, outer.fractionLength())))
        << what << " is in " << textOf(outer);
  }
}

/// Nothing is asked where signed words of one bit, which have no value above 0, are combined.
std::optional<int> spareBits(int bits, const NumericType& a, const NumericType& b) {
  const bool haveBothSides = (!a.isSigned() || a.wordLength() > 1) && (!b.isSigned() || b.wordLength() > 1);
  return haveBothSides ? std::optional(bits) : std::nullopt;
}

TEST(Exactness, ClaimsWhatEnumerationConfirms) {
  const std::vector<NumericType> types = typesUpTo(4, {-1, 0, 2, 3});
  for (const NumericType& a : types) {
    const Values x = valuesOf(a);
    checkClaims(textOf(a), x, 0, [&](const auto& outer) { return exactness::holds(outer, a); });
    Values total = x;
    for (unsigned terms = 1; terms <= 5; ++terms, total = sums(total, x)) {
      checkClaims(std::to_string(terms) + " of " + textOf(a), total, spareBits(terms > 1, a, a),
                  [&](const auto& outer) { return exactness::holdsSumsOf(outer, a, terms); });
    }
    for (const NumericType& b : types) {
      const std::string pair = " of " + textOf(a) + " and " + textOf(b);
      const Values y = valuesOf(b), xy = products(x, y);
      for (const bool isDifference : {false, true}) {
        checkClaims((isDifference ? "difference" : "sum") + pair, isDifference ? differences(x, y) : sums(x, y),
                    spareBits(2, a, b),
                    [&](const auto& outer) { return exactness::holdsSums(outer, a, b, isDifference); });
      }
      checkClaims("product" + pair, xy, spareBits(1, a, b),
                  [&](const auto& outer) { return exactness::holdsProducts(outer, a, b); });
      Values part = differences(xy, xy), totals = sums(xy, xy);
      part.insert(totals.begin(), totals.end());
      checkClaims("complex product" + pair, part, spareBits(1, a, b),
                  [&](const auto& outer) { return exactness::holdsSumsOfProducts(outer, a, b, 1, true); });
      for (unsigned terms = 2; terms <= 3; ++terms, totals = sums(totals, xy)) {
        checkClaims(
            std::to_string(terms) + " products" + pair, totals, spareBits(2, a, b),
            [&](const auto& outer) { return exactness::holdsSumsOfProducts(outer, a, b, terms, false); });
      }
      for (const NumericType& outer : types) {
        Values rounded;
        for (const std::int64_t product : xy) {
          const double steps = static_cast<double>(product) / static_cast<double>(Range(outer).step);
          rounded.insert(static_cast<std::int64_t>(std::floor(steps)) * Range(outer).step);
          rounded.insert(static_cast<std::int64_t>(std::ceil(steps)) * Range(outer).step);
        }
        ASSERT_TRUE(areAllIn(outer, rounded) || !exactness::holdsRoundedProducts(outer, a, b))
            << pair << textOf(outer);
      }
      if (HasFatalFailure()) return;
    }
  }
}

TEST(Exactness, ClaimsNothingOfOtherTypes) {
  using EmbeddedTypeSystem::DataTypeEnum;
  using EmbeddedTypeSystem::ScalingEnum;
  const NumericType small(true, 4, 2), big(true, 50, 20);
  for (const NumericType& other :
       {NumericType(DataTypeEnum::Fixed, ScalingEnum::SlopeBias, true, 4, 1.5, -2, 0),
        NumericType(DataTypeEnum::ScaledDouble, ScalingEnum::BinaryPoint, true, 4, 1, -2, 0),
        NumericType(true, 4, 400)}) {
    for (int place = 0; place < 3; ++place) {
      const NumericType &outer = place == 0 ? other : big, &a = place == 1 ? other : small,
                        &b = place == 2 ? other : small;
      const bool claims[] = {
          place < 2 && exactness::holds(outer, a),
          place < 2 && exactness::holdsSumsOf(outer, a, 3),
          exactness::holdsSums(outer, a, b, false),
          exactness::holdsProducts(outer, a, b),
          exactness::holdsSumsOfProducts(outer, a, b, 2, false),
          exactness::holdsSumsOfEither(outer, a, 2, b, 2),
          exactness::holdsRoundedProducts(outer, a, b),
          place > 0 && exactness::doublesHoldSumsOfProducts(a, b, 2, false),
      };
      for (int k = 0; k < 8; ++k) {
        // What is far finer than a grid is rounded to values of any type on it.
        EXPECT_FALSE(claims[k] && (k != 6 || other.fractionLength() != 400)) << k << place << textOf(other);
      }
    }
  }
  EXPECT_FALSE(exactness::integersOf(64, 1L << 31) || exactness::integersOf(64, -(1L << 31)));
}

__extension__ using Wide = __int128;

/// The largest magnitude of a stored integer.
Wide largestOf(const NumericType& type) {
  return (Wide{1} << (type.wordLength() - type.isSigned())) - (type.isSigned() ? 0 : 1);
}

TEST(Exactness, DoublesHoldIntegersUpTo2To53) {
  constexpr Wide kLimit = Wide{1} << kDoubleBits;
  for (const NumericType& a : typesUpTo(static_cast<int>(kMaxDoublePrecision), {0})) {
    for (int bits = 1; bits < 8; ++bits) {
      const bool isHeld = exactness::holds(*exactness::integersOf(bits, a.fractionLength()), a);
      EXPECT_EQ(exactness::integersHold(bits, a), isHeld) << textOf(a) << bits;
    }
    EXPECT_TRUE(!exactness::doublesHoldSquaredMagnitudes(a) || 2 * largestOf(a) * largestOf(a) <= kLimit);
    for (const NumericType& b : typesUpTo(static_cast<int>(kMaxDoublePrecision), {0})) {
      const Wide product = largestOf(a) * largestOf(b);
      EXPECT_TRUE(!exactness::doublesHoldProducts(a, b) || 2 * product + 1 <= kLimit) << textOf(a) << textOf(b);
      for (const unsigned terms : {1U, 2U, 3U, 1000U, 1024U, 1025U}) {
        for (const bool bothComplex : {false, true}) {
          const bool holds = product * terms * (bothComplex ? 2 : 1) <= kLimit;
          const bool isClaimed = exactness::doublesHoldSumsOfProducts(a, b, terms, bothComplex);
          ASSERT_TRUE(holds || !isClaimed) << terms << textOf(a) << textOf(b) << bothComplex;
          const bool isPowerOfTwo = std::has_single_bit(terms) && a.isSigned() && b.isSigned();
          ASSERT_TRUE(isClaimed || !(holds && isPowerOfTwo)) << terms << textOf(a) << textOf(b) << bothComplex;
        }
      }
    }
  }
}

}  // namespace
