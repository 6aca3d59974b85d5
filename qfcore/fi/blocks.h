/// Array paths over doubles: operands in blocks that stay in the first-level cache, each step one vectorised
/// pass.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>

#include "qfcore/fi/fi.h"
#include "qfcore/number/vectorised.h"

namespace embedded {

inline constexpr std::size_t kBlock = 1024;
using Block = std::array<double, kBlock>;

/// Whether array paths may read the values as contiguous doubles.
inline bool areDoubles(const fi& x) {
  return x.realPart().gettype() == kDoubleRepresentation && !fi::elementPathOnly();
}

/// The contiguous values of one part; null when there are none. A column view starts in the middle. Moves the
/// cursor.
inline const double* valuesOf(const fi& x, const number& part) {
  if (part.isempty() || x.isempty()) return nullptr;
  x.setIndex(0);
  return part.doubles() + part.getIndex();
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

 private:
  static BlockOperand of(const fi& x, const number& part) { return {valuesOf(x, part), x.isscalar()}; }
  static constexpr double kZero = 0;
};

/// Both parts of an operand; `im` is null for a real one.
struct Factor {
  const double *re, *im;
  bool isScalar;

  static Factor of(const fi& x) {
    return {valuesOf(x, x.realPart()), x.isreal() ? nullptr : valuesOf(x, x.imagPart()), x.isscalar()};
  }
  Factor at(std::size_t first) const {
    return isScalar ? *this : Factor{re + first, im ? im + first : im, false};
  }
};

// Operations are classes with `static double apply(double, double)`, local to their source file. The result may
// be an operand.

template <class Operation, bool AIsScalar, bool BIsScalar>
QFCORE_VECTORISED void combine(double* result, const double* a, const double* b, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    result[i] = Operation::apply(a[AIsScalar ? 0 : i], b[BIsScalar ? 0 : i]);
  }
}

template <class Operation>
void combine(double* result, const double* a, bool aIsScalar, const double* b, bool bIsScalar,
             std::size_t count) {
  if (aIsScalar && bIsScalar) return combine<Operation, true, true>(result, a, b, count);
  if (aIsScalar) return combine<Operation, true, false>(result, a, b, count);
  if (bIsScalar) return combine<Operation, false, true>(result, a, b, count);
  combine<Operation, false, false>(result, a, b, count);
}

}  // namespace embedded
