#include "qfcore/fi/paths/matrixtiles.h"

#include <algorithm>
#include <type_traits>

#include "qfcore/fi/exactness.h"
#include "qfcore/fi/paths/blocks.h"
#include "qfcore/math/doublerules.h"
#include "tessel/interruption.h"

namespace embedded {

namespace {

constexpr std::size_t kLanes = MatrixTiles::kLanes, kColumns = MatrixTiles::kColumns;
/// Rows and columns of the first matrix whose elements are used together, from the first-level cache.
constexpr std::size_t kRows = 4 * kLanes, kDepth = 64;
/// So many are formed between two looks at whether the user has interrupted.
constexpr std::size_t kColumnsAtOnce = 64;

/// What each product does to a sum, both in units of a product's step.
template <class Rounding, class Overflow, bool Wraps>
struct RoundedSum {
  RoundedSum(const DoubleFormat& products, const DoubleFormat& sums) : f(products), inRange(sums) {
    for (double* bound : {&inRange.max, &inRange.min, &inRange.range}) *bound *= f.grid.unitsPerOne;
  }
  double operator()(double sum, double product) const {
    return inRange(sum + Overflow::stored(Rounding::integer(product), f));
  }
  DoubleFormat f;
  InRange<Wraps> inRange;
};

/// totals += products, or = where these are the first; left factors in units of a product's step. `sums` is the
/// format of the sums.
template <class Rounding, class Overflow, bool Wraps>
QFCORE_VECTORISED void addRounded(const DoubleFormat& products, const DoubleFormat& sums,
                                  const MatrixTiles::Factors& factors, std::size_t depth, bool isFirst,
                                  MatrixTiles::Sums& totals) {
  const RoundedSum<Rounding, Overflow, Wraps> add(products, sums);
  MatrixTiles::Sums sum;
  for (std::size_t j = 0; j < kColumns; ++j) {
    for (std::size_t i = 0; i < kLanes; ++i) sum[j][i] = isFirst ? 0 : totals[j][i] * add.f.grid.unitsPerOne;
  }
  for (std::size_t k = 0; k < depth; ++k) {
    for (std::size_t j = 0; j < kColumns; ++j) {
      const double right = factors.right[j][k];
      const double* left = factors.left[j] + k * kLanes;
      for (std::size_t i = 0; i < kLanes; ++i) sum[j][i] = add(sum[j][i], left[i] * right);
    }
  }
  for (std::size_t j = 0; j < kColumns; ++j) {
    for (std::size_t i = 0; i < kLanes; ++i) totals[j][i] = sum[j][i] * add.f.grid.unit;
  }
}

/// The whole product of matrices the first of which has `kRows` rows, for so many columns of the second.
template <class Rounding, class Overflow, bool Wraps, std::size_t kRows>
QFCORE_VECTORISED void multiplyRounded(const DoubleFormat& products, const DoubleFormat& sums,
                                       const double* __restrict a, const double* __restrict b,
                                       std::size_t inner, std::size_t columns, double* __restrict result) {
  const RoundedSum<Rounding, Overflow, Wraps> add(products, sums);
  for (std::size_t column = 0; column < columns; column += kColumns) {
    // Columns beyond the last do what that one does, and nobody looks.
    const double* right[kColumns] = {b + column * inner};
    double sum[kColumns][kRows];
    for (std::size_t j = 0; j < kColumns; ++j) {
      if (j > 0) right[j] = right[j - 1] + (column + j < columns ? inner : 0);
      for (std::size_t i = 0; i < kRows; ++i) sum[j][i] = 0;
    }
    for (std::size_t k = 0; k < inner; ++k) {
      double left[kRows];
      for (std::size_t i = 0; i < kRows; ++i) left[i] = a[k * kRows + i] * add.f.grid.unitsPerOne;
      for (std::size_t j = 0; j < kColumns; ++j) {
        const double factor = right[j][k];
        // Left to unroll this loop, g++ takes neighbouring columns for vectors and turns them at each step.
#pragma GCC unroll 1
        for (std::size_t i = 0; i < kRows; ++i) sum[j][i] = add(sum[j][i], left[i] * factor);
      }
    }
    for (std::size_t j = 0; j < std::min(kColumns, columns - column); ++j) {
      for (std::size_t i = 0; i < kRows; ++i) result[(column + j) * kRows + i] = sum[j][i] * add.f.grid.unit;
    }
  }
}

/// Copies rows of some neighbouring columns, times `factor`, in strips of `kLanes` rows; the last one is filled
/// up with zeros.
QFCORE_VECTORISED void packStrips(const double* from, std::size_t stride, std::size_t rows, std::size_t depth,
                                  double factor, double* to) {
  for (; rows >= kLanes; rows -= kLanes, from += kLanes) {
    for (std::size_t k = 0; k < depth; ++k, to += kLanes) {
      for (std::size_t i = 0; i < kLanes; ++i) to[i] = from[k * stride + i] * factor;
    }
  }
  for (std::size_t k = 0; k < depth && rows > 0; ++k, to += kLanes) {
    for (std::size_t i = 0; i < kLanes; ++i) to[i] = i < rows ? from[k * stride + i] * factor : 0;
  }
}

/// Copies at most `kLanes` values, in the powers of two that make up their count: a load and a store each.
void copyFew(const double* __restrict from, std::size_t count, double* __restrict to) {
  const auto copyIfIn = [&](auto size) {
    if ((count & size) == 0) return;
    for (std::size_t i = 0; i < size; ++i) to[i] = from[i];
    from += size, to += size;
  };
  static_assert(kLanes == 8);
  copyIfIn(std::integral_constant<std::size_t, 8>());
  copyIfIn(std::integral_constant<std::size_t, 4>());
  copyIfIn(std::integral_constant<std::size_t, 2>());
  copyIfIn(std::integral_constant<std::size_t, 1>());
}

}  // namespace

bool MatrixTiles::apply(const NumericType& a, const NumericType& b, const NumericType& product,
                        const NumericType& sum) {
  // Products and factors in units of a product's step are normal doubles then.
  for (const NumericType* type : {&a, &b, &product, &sum}) {
    if (!type->isFixed() || type->isSlopeBias() || !exactness::isNearOne(*type)) return false;
  }
  return exactness::doublesHoldProducts(a, b) &&
         product.wordLength() <= static_cast<int>(kMaxDoublePrecision) &&
         sum.wordLength() <= kMaxInRangeWordLength && exactness::holds(sum, product);
}

/// The loops for a rounding rule and two overflow rules.
template <class Rounding, class Overflow, bool Wraps>
constexpr MatrixTiles::Kernels MatrixTiles::kKernels{addRounded<Rounding, Overflow, Wraps>,
                                                     {multiplyRounded<Rounding, Overflow, Wraps, kLanes / 2>,
                                                      multiplyRounded<Rounding, Overflow, Wraps, kLanes>}};

const MatrixTiles::Kernels& MatrixTiles::kernelsFor(const QuantizerSettings& settings, bool productsFit) {
  return *withRounding(settings.roundMode, [&](auto rounding) {
    using Rounding = decltype(rounding);
    if (settings.overflowMode == OverflowModeEnum::saturate) return &kKernels<Rounding, SaturateInteger, false>;
    // In range saturating and wrapping are the same, and saturating costs less.
    return productsFit ? &kKernels<Rounding, SaturateInteger, true> : &kKernels<Rounding, WrapInteger, true>;
  });
}

void MatrixTiles::run(const Tile& part) const {
  if (matrices_.rows > kLanes || matrices_.inner > kDepth) return runStrips(part);
  const auto& [ofHalf, ofWhole] = kernels_.ofFewRows;
  if (matrices_.rows == kLanes / 2) return runFewRows(part, ofHalf);
  if (matrices_.rows == kLanes) return runFewRows(part, ofWhole);
  runPadded(part);
}

void MatrixTiles::runFewRows(const Tile& part, FewRows multiply) const {
  const std::size_t end = part.column + part.columns;
  for (std::size_t column = part.column; column < end; column += kColumnsAtOnce) {
    tessel::raiseIfInterrupted();
    multiply(products_, sums_, matrices_.a, matrices_.b + column * matrices_.inner, matrices_.inner,
             std::min(kColumnsAtOnce, end - column), matrices_.result + column * matrices_.rows);
  }
}

// Apart from `run`, as the next one: their room on the stack takes longer to make than small products.
[[gnu::noinline]] void MatrixTiles::runPadded(const Tile& part) const {
  const bool isHalf = matrices_.rows < kLanes / 2;
  const std::size_t rows = matrices_.rows, lanes = isHalf ? kLanes / 2 : kLanes;
  double left[kLanes * kDepth] = {}, sums[kLanes * kColumnsAtOnce];
  for (std::size_t k = 0; k < matrices_.inner; ++k) copyFew(matrices_.a + k * rows, rows, left + k * lanes);
  MatrixTiles padded = *this;
  padded.matrices_.a = left;
  padded.matrices_.rows = lanes;
  for (std::size_t column = 0; column < part.columns; column += kColumnsAtOnce) {
    const std::size_t columns = std::min(kColumnsAtOnce, part.columns - column);
    padded.matrices_.b = matrices_.b + (part.column + column) * matrices_.inner;
    padded.matrices_.result = sums;
    padded.run({0, lanes, 0, columns});
    double* const to = matrices_.result + (part.column + column) * rows;
    for (std::size_t j = 0; j < columns; ++j) copyFew(sums + j * lanes, rows, to + j * rows);
  }
}

[[gnu::noinline]] void MatrixTiles::runStrips(const Tile& part) const {
  alignas(kLanes * sizeof(double)) double strips[kRows * kDepth];
  for (std::size_t row = 0; row < part.rows; row += kRows) {
    const Tile rows{part.row + row, std::min(kRows, part.rows - row), part.column, part.columns};
    std::size_t first = 0;
    do {
      const std::size_t depth = std::min(kDepth, matrices_.inner - first);
      packStrips(matrices_.a + first * matrices_.rows + rows.row, matrices_.rows, rows.rows, depth,
                 products_.grid.unitsPerOne, strips);
      addProducts(rows, first, depth, strips);
      first += depth;
    } while (first < matrices_.inner);
  }
}

void MatrixTiles::addProducts(const Tile& part, std::size_t first, std::size_t depth,
                              const double* strips) const {
  struct Place {
    double* start;
    std::size_t rows;
  };
  std::size_t row = 0, column = 0;
  while (column < part.columns) {
    tessel::raiseIfInterrupted();
    Factors factors;
    Place places[kColumns];
    alignas(kLanes * sizeof(double)) Sums totals;
    std::size_t count = 0;
    const double *left = strips, *right = matrices_.b;
    for (std::size_t j = 0; j < kColumns; ++j) {
      if (column < part.columns) {
        left = strips + row * depth;
        right = matrices_.b + (part.column + column) * matrices_.inner + first;
        places[count++] = {matrices_.result + (part.column + column) * matrices_.rows + part.row + row,
                           std::min(kLanes, part.rows - row)};
        row += kLanes;
        if (row >= part.rows) row = 0, ++column;
      }
      // Columns beyond the last do what the one before them does, and nobody looks.
      factors.left[j] = left;
      factors.right[j] = right;
    }
    for (std::size_t j = 0; j < count && first > 0; ++j) copyFew(places[j].start, places[j].rows, totals[j]);
    kernels_.ofTile(products_, sums_, factors, depth, first == 0, totals);
    for (std::size_t j = 0; j < count; ++j) copyFew(totals[j], places[j].rows, places[j].start);
  }
}

}  // namespace embedded
