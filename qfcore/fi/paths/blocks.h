/// Array paths over doubles: operands in blocks that stay in the first-level cache, each step one vectorised
/// pass.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <type_traits>

#include "qfcore/fi/paths/path.h"
#include "qfcore/math/parallel.h"
#include "qfcore/number/vectorised.h"

namespace embedded {

inline constexpr std::size_t kBlock = 1024;
using Block = std::array<double, kBlock>;

/// The contiguous values of one part; null when there are none.
inline const double* valuesOf(const fi& x, const number& part) {
  return part.isempty() || x.isempty() ? nullptr : part.doubles();
}

/// One part of an operand: an array, or one value that stands for every element. A missing part is 0.
struct BlockOperand {
  const double* values;
  bool isScalar;

  static BlockOperand real(const fi& x) { return of(x, x.realPart()); }
  static BlockOperand imag(const fi& x) {
    return x.isreal() ? BlockOperand{&kZero, true} : of(x, x.imagPart());
  }
  const double* at(std::size_t first) const { return isScalar ? values : values + first; }
  BlockOperand from(std::size_t first) const { return {at(first), isScalar}; }

 private:
  static BlockOperand of(const fi& x, const number& part) { return {valuesOf(x, part), x.isscalar()}; }
  static constexpr double kZero = 0;
};

/// Calls `step(first, size)` for each block of `count` elements.
template <class Step>
void forEachBlock(std::size_t count, Step step) {
  for (std::size_t first = 0; first < count; first += kBlock) step(first, std::min(kBlock, count - first));
}

/// to[i] = operation(from[i]), in place or apart.
template <class Operation, class From, class To>
QFCORE_VECTORISED void transformValues(const From* from, To* to, std::size_t count, Operation operation) {
  for (std::size_t i = 0; i < count; ++i) to[i] = operation(from[i]);
}

/// Whether `holds` is true of any value. Never stops early: the test then is one vectorised pass.
template <class Value, class Predicate>
QFCORE_VECTORISED bool anyInBlock(const Value* values, std::size_t count, Predicate holds) {
  unsigned found = 0;
  for (std::size_t i = 0; i < count; ++i) found |= static_cast<unsigned>(holds(values[i]));
  return found != 0;
}

template <class Value, class Predicate>
bool anyOf(const Value* values, std::size_t count, Predicate holds) {
  for (std::size_t first = 0; first < count; first += kBlock) {
    if (anyInBlock(values + first, std::min(kBlock, count - first), holds)) return true;
  }
  return false;
}

/// Both parts of an operand; `im` is null for a real one.
struct OperandParts {
  const double *re, *im;
  bool isScalar;

  static OperandParts of(const fi& x) {
    return {valuesOf(x, x.realPart()), x.isreal() ? nullptr : valuesOf(x, x.imagPart()), x.isscalar()};
  }
  OperandParts at(std::size_t first) const {
    return isScalar ? *this : OperandParts{re + first, im ? im + first : im, false};
  }
  /// The first element for all.
  OperandParts asScalar() const { return {re, im, true}; }
};

/// Calls `visit` with both flags as constants.
template <class Visit>
void withFlags(bool a, bool b, Visit visit) {
  const auto withBoth = [&](auto first) {
    if (b) return visit(first, std::true_type());
    visit(first, std::false_type());
  };
  if (a) return withBoth(std::true_type());
  withBoth(std::false_type());
}

/// result[i] = operation(a[i], b[i]); the result may be an operand.
template <bool AIsScalar, bool BIsScalar, class Operation>
QFCORE_VECTORISED void combineBy(double* result, const double* a, const double* b, std::size_t count,
                                 Operation operation) {
  for (std::size_t i = 0; i < count; ++i) result[i] = operation(a[AIsScalar ? 0 : i], b[BIsScalar ? 0 : i]);
}

template <class Operation>
void combineBy(double* result, const double* a, bool aIsScalar, const double* b, bool bIsScalar,
               std::size_t count, Operation operation) {
  if (aIsScalar && bIsScalar) {
    std::fill_n(result, count, count == 0 ? 0 : operation(*a, *b));
    return;
  }
  if (aIsScalar) return combineBy<true, false>(result, a, b, count, operation);
  if (bIsScalar) return combineBy<false, true>(result, a, b, count, operation);
  combineBy<false, false>(result, a, b, count, operation);
}

// The same for operations that are classes with `static double apply(double, double)`.

template <class Operation>
struct Applied {
  double operator()(double a, double b) const { return Operation::apply(a, b); }
};

template <class Operation, bool AIsScalar, bool BIsScalar>
void combine(double* result, const double* a, const double* b, std::size_t count) {
  combineBy<AIsScalar, BIsScalar>(result, a, b, count, Applied<Operation>());
}

template <class Operation>
void combine(double* result, const double* a, bool aIsScalar, const double* b, bool bIsScalar,
             std::size_t count) {
  combineBy(result, a, aIsScalar, b, bIsScalar, count, Applied<Operation>());
}

// ------------------------------------------------------------------------------------------ range without grid

/// Brings values on the grid of a format that lie beyond its range, by less than that range, back into it.
template <bool Wraps>
struct InRange {
  explicit InRange(const DoubleFormat& format) : max(format.max), min(format.min), range(format.range) {}
  double operator()(double x) const {
    const double notAbove = x > max ? (Wraps ? x - range : max) : x;
    return notAbove < min ? (Wraps ? notAbove + range : min) : notAbove;
  }
  double max, min, range;
};

/// Adding one half to a stored integer of such a word, or of one beyond its range, does not round it.
inline constexpr int kMaxInRangeWordLength = 51;

/// Whether that is all that quantizing does to such values, and nothing is logged.
inline bool onlyBringsIntoRange(const quantizer& q) {
  return !q.logger().isOn() && q.isDoubleBacked() && q.numericType().isFixed() &&
         q.wordLength() <= kMaxInRangeWordLength;
}

template <class Visit>
void withInRange(const quantizer& q, Visit visit) {
  if (q.overflowMode() == OverflowModeEnum::wrap) return visit(InRange<true>(q.doubleFormat()));
  visit(InRange<false>(q.doubleFormat()));
}

}  // namespace embedded
