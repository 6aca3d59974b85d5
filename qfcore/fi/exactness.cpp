#include "qfcore/fi/exactness.h"

#include <algorithm>
#include <bit>
#include <climits>
#include <cstdint>
#include <cstdlib>

#include "qfcore/number/precision.h"

namespace embedded::exactness {

namespace {

/// Bits of two words whose product is exact in a double, with the room that adding one half takes.
constexpr int kMaxProductBits = 52;
/// Fraction lengths with which neither products of words carried in doubles nor their errors leave the normal
/// doubles.
constexpr int kMaxFractionLength = 300;

bool isBinaryPoint(const NumericType& type) { return type.isFixed() && !type.isSlopeBias(); }

/// How far values lie from 0 on one side of it: at most 2^exponent, or less than that where it is not reached.
class Bound {
 public:
  /// Of no values: nearer than any power of two, also after operations.
  Bound() = default;
  Bound(std::int64_t exponent, bool isReached) : rank_(2 * exponent + isReached) {}

  std::int64_t exponent() const { return rank_ >> 1; }
  Bound reached() const { return Bound(rank_ | 1); }
  bool isNone() const { return rank_ < kNone / 2; }
  bool operator<=(const Bound& other) const { return rank_ <= other.rank_; }
  Bound further(const Bound& other) const { return Bound(std::max(rank_, other.rank_)); }
  /// Of sums of values on this side; one bit more than needed where there are no others.
  Bound operator+(const Bound& other) const {
    return Bound(rank_ == other.rank_ ? rank_ + 2 : (std::max(rank_, other.rank_) | 1) + 1);
  }
  Bound operator*(const Bound& other) const {
    return {exponent() + other.exponent(), (rank_ & other.rank_ & 1) != 0};
  }
  Bound times(unsigned terms) const {
    return {exponent() + growthBits(terms), (rank_ & 1) != 0 && std::has_single_bit(terms)};
  }

 private:
  /// Beyond what exponents add up to.
  static constexpr std::int64_t kNone = -(std::int64_t{1} << 48);
  explicit Bound(std::int64_t rank) : rank_(rank) {}

  /// Twice the exponent, and one more where the bound is reached: so the further bound has the higher rank.
  std::int64_t rank_ = kNone;
};

/// The values of a type lie from -2^e, or 0, to below 2^e.
std::int64_t rangeExponent(const NumericType& type) {
  return std::int64_t{type.fixedExponent()} + type.wordLength() - type.isSigned();
}

/// Where the values of a type, or what operations make of them, lie: multiples of 2^grid, bounded below and
/// above 0.
struct Reach {
  std::int64_t grid;
  Bound below, above;

  /// A signed word of one bit has no values above 0 and gets the bound of those below.
  static Reach of(const NumericType& type) {
    const int sign = type.isSigned();
    const std::int64_t grid = type.fixedExponent(), top = rangeExponent(type);
    return {grid, sign ? Bound(top, true) : Bound(), Bound(top, false)};
  }
  bool liesWithin(const NumericType& type) const {
    const Reach outer = of(type);
    return grid >= outer.grid && above <= outer.above && (below <= outer.below || below.isNone());
  }
  Reach operator-() const { return {grid, above, below}; }
  Reach operator+(const Reach& other) const {
    return {std::min(grid, other.grid), below + other.below, above + other.above};
  }
  Reach operator*(const Reach& other) const {
    return {grid + other.grid, (below * other.above).further(above * other.below),
            (above * other.above).further(below * other.below)};
  }
  /// Sums of so many values.
  Reach times(unsigned terms) const { return {grid, below.times(terms), above.times(terms)}; }
  std::int64_t bits() const { return below.further(above).exponent() - grid; }
};

bool haveOneFormat(const NumericType& a, const NumericType& b) {
  return a.wordLength() == b.wordLength() && a.fixedExponent() == b.fixedExponent() &&
         a.isSigned() == b.isSigned();
}

/// A part of the product of two values, each perhaps complex: real or imaginary, whichever lies further from 0.
Reach partOfProduct(const NumericType& a, const NumericType& b, bool bothComplex) {
  const Reach product = Reach::of(a) * Reach::of(b);
  if (!bothComplex) return product;
  const Reach re = product + -product, im = product + product;
  return {product.grid, re.below.further(im.below), re.above.further(im.above)};
}

}  // namespace

int growthBits(unsigned terms) { return static_cast<int>(std::bit_width(std::max(terms, 1U) - 1)); }

bool holds(const NumericType& outer, const NumericType& inner) {
  return isBinaryPoint(outer) && isBinaryPoint(inner) && Reach::of(inner).liesWithin(outer);
}

bool holdsSums(const NumericType& outer, const NumericType& a, const NumericType& b, bool isDifference) {
  if (!isBinaryPoint(outer) || !isBinaryPoint(a) || !isBinaryPoint(b)) return false;
  // Sums of values of one type are what most programs form: one bit more holds them.
  if (haveOneFormat(a, b) && (a.isSigned() || !isDifference))
    return outer.fixedExponent() <= a.fixedExponent() && rangeExponent(outer) > rangeExponent(a) &&
           (outer.isSigned() || !a.isSigned());
  const Reach right = Reach::of(b);
  return (Reach::of(a) + (isDifference ? -right : right)).liesWithin(outer);
}

bool holdsSumsOf(const NumericType& outer, const NumericType& term, unsigned terms) {
  return isBinaryPoint(outer) && isBinaryPoint(term) && Reach::of(term).times(terms).liesWithin(outer);
}

bool holdsProducts(const NumericType& outer, const NumericType& a, const NumericType& b) {
  return isBinaryPoint(outer) && isBinaryPoint(a) && isBinaryPoint(b) &&
         (Reach::of(a) * Reach::of(b)).liesWithin(outer);
}

bool holdsSumsOfProducts(const NumericType& outer, const NumericType& a, const NumericType& b, unsigned terms,
                         bool bothComplex) {
  return isBinaryPoint(outer) && isBinaryPoint(a) && isBinaryPoint(b) &&
         partOfProduct(a, b, bothComplex).times(terms).liesWithin(outer);
}

bool holdsSumsOfEither(const NumericType& outer, const NumericType& a, unsigned added, const NumericType& b,
                       unsigned subtracted) {
  if (!isBinaryPoint(outer) || !isBinaryPoint(a) || !isBinaryPoint(b)) return false;
  const Reach sums = Reach::of(a).times(added);
  return (subtracted == 0 ? sums : sums + (-Reach::of(b)).times(subtracted)).liesWithin(outer);
}

bool holdsRoundedProducts(const NumericType& outer, const NumericType& a, const NumericType& b) {
  if (!isBinaryPoint(outer) || !isBinaryPoint(a) || !isBinaryPoint(b)) return false;
  // Rounding moves no product past a power of two that is on the grid, and none further than one step.
  const Reach products = Reach::of(a) * Reach::of(b), range = Reach::of(outer);
  const Reach rounded{range.grid, products.below.reached(), products.above.reached()};
  return range.grid < range.above.exponent() && rounded.liesWithin(outer);
}

std::optional<NumericType> integersOf(int bits, long fractionLength) {
  if (std::abs(fractionLength) > INT_MAX) return std::nullopt;
  return NumericType(true, bits, static_cast<int>(fractionLength));
}

bool integersHold(int bits, const NumericType& type) {
  return isBinaryPoint(type) && type.wordLength() <= bits - !type.isSigned();
}

bool doublesHoldProducts(const NumericType& a, const NumericType& b) {
  if (!a.isFixed() || !b.isFixed()) return true;
  const int bits = a.wordLength() + b.wordLength();
  return bits <= kMaxProductBits && doublesCarry(bits, fractionBits(a) + fractionBits(b));
}

bool doublesHoldSumsOfProducts(const NumericType& a, const NumericType& b, unsigned terms, bool bothComplex) {
  return isBinaryPoint(a) && isBinaryPoint(b) && isNearOne(a) && isNearOne(b) &&
         partOfProduct(a, b, bothComplex).times(terms).bits() <= static_cast<int>(kDoubleBits);
}

bool doublesHoldSquaredMagnitudes(const NumericType& type) {
  return type.isFixed() && isNearOne(type) && 2 * type.wordLength() + 1 <= static_cast<int>(kDoubleBits);
}

bool isNearOne(const NumericType& type) { return std::abs(type.fractionLength()) <= kMaxFractionLength; }

}  // namespace embedded::exactness
