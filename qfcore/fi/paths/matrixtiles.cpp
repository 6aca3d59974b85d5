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

/// totals += products, or = where these are the first; left factors in units of a product's step. `sums` is the
/// format of the sums.
template <class Rounding, class Overflow, bool Wraps>
QFCORE_VECTORISED void addRounded(const DoubleFormat& products, const DoubleFormat& sums,
                                  const MatrixTiles::Factors& factors, std::size_t depth, bool isFirst,
                                  MatrixTiles::Sums& totals) {
  const DoubleFormat f = products;
  InRange<Wraps> inRange(sums);
  for (double* bound : {&inRange.max, &inRange.min, &inRange.range}) *bound *= f.grid.unitsPerOne;
  MatrixTiles::Sums sum;
  for (std::size_t j = 0; j < kColumns; ++j) {
    for (std::size_t i = 0; i < kLanes; ++i) sum[j][i] = isFirst ? 0 : totals[j][i] * f.grid.unitsPerOne;
  }
  for (std::size_t k = 0; k < depth; ++k) {
    for (std::size_t j = 0; j < kColumns; ++j) {
      const double right = factors.right[j][k];
      const double* left = factors.left[j] + k * kLanes;
      for (std::size_t i = 0; i < kLanes; ++i) {
        sum[j][i] = inRange(sum[j][i] + Overflow::stored(Rounding::integer(left[i] * right), f));
      }
    }
  }
  for (std::size_t j = 0; j < kColumns; ++j) {
    for (std::size_t i = 0; i < kLanes; ++i) totals[j][i] = sum[j][i] * f.grid.unit;
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

MatrixTiles::Kernel MatrixTiles::kernelFor(const QuantizerSettings& settings, bool productsFit) {
  return withRounding(settings.roundMode, [&](auto rounding) -> Kernel {
    using Rounding = decltype(rounding);
    if (settings.overflowMode == OverflowModeEnum::saturate)
      return addRounded<Rounding, SaturateInteger, false>;
    // In range saturating and wrapping are the same, and saturating costs less.
    return productsFit ? addRounded<Rounding, SaturateInteger, true> : addRounded<Rounding, WrapInteger, true>;
  });
}

void MatrixTiles::run(const Tile& part) const {
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
    kernel_(products_, sums_, factors, depth, first == 0, totals);
    for (std::size_t j = 0; j < count; ++j) copyFew(totals[j], places[j].rows, places[j].start);
  }
}

}  // namespace embedded
