/// Matrices whose elements are elements of another array: which ones, said once for every kind of array.
#pragma once

#include <algorithm>
#include <cstddef>
#include <limits>

namespace tessel {

/// A position that names no element: a zero stands there.
inline constexpr std::size_t kNoElement = std::numeric_limits<std::size_t>::max();

/// A matrix of `rows` by `columns`. `source(row, column)`, both from 0, is the position from 0 of the element
/// that stands there, in column-major order, or `kNoElement`.
template <class Source>
struct Arrangement {
  std::size_t rows, columns;
  Source source;
};
template <class Source>
Arrangement(std::size_t, std::size_t, Source) -> Arrangement<Source>;

/// The square matrix with `count` elements on its diagonal `k`: 0 is the main one, 1 the one above it.
inline auto matrixOfDiagonal(std::size_t count, std::ptrdiff_t k) {
  const auto right = static_cast<std::size_t>(std::max<std::ptrdiff_t>(k, 0));
  const auto down = static_cast<std::size_t>(std::max<std::ptrdiff_t>(-k, 0));
  const std::size_t side = count + right + down;
  return Arrangement{side, side, [=](std::size_t row, std::size_t column) {
                       return row >= down && column >= right && row - down == column - right ? row - down
                                                                                             : kNoElement;
                     }};
}

/// Diagonal `k` of a matrix, as a column.
inline auto diagonalOf(std::size_t rows, std::size_t columns, std::ptrdiff_t k) {
  const auto right = static_cast<std::size_t>(std::max<std::ptrdiff_t>(k, 0));
  const auto down = static_cast<std::size_t>(std::max<std::ptrdiff_t>(-k, 0));
  const std::size_t below = rows > down ? rows - down : 0, beside = columns > right ? columns - right : 0;
  return Arrangement{std::min(below, beside), 1,
                     [=](std::size_t place, std::size_t) { return (place + right) * rows + place + down; }};
}

/// A matrix without what stands above its diagonal `k`, which may lie outside it.
inline auto lowerTriangle(std::size_t rows, std::size_t columns, double k) {
  return Arrangement{rows, columns, [=](std::size_t row, std::size_t column) {
                       const double diagonal = static_cast<double>(column) - static_cast<double>(row);
                       return diagonal <= k ? column * rows + row : kNoElement;
                     }};
}

/// A matrix without what stands below its diagonal `k`, which may lie outside it.
inline auto upperTriangle(std::size_t rows, std::size_t columns, double k) {
  return Arrangement{rows, columns, [=](std::size_t row, std::size_t column) {
                       const double diagonal = static_cast<double>(column) - static_cast<double>(row);
                       return diagonal >= k ? column * rows + row : kNoElement;
                     }};
}

/// The matrix with constant diagonals that has a given first column and first row, of elements that stand one
/// after the other, the column first. Where both meet, the column's or else the row's is taken.
inline auto constantDiagonals(std::size_t rows, std::size_t columns, bool columnWins) {
  return Arrangement{rows, columns, [=](std::size_t row, std::size_t column) {
                       return row > column || (row == column && columnWins) ? row - column
                                                                            : rows + (column - row);
                     }};
}

/// The matrix with constant antidiagonals that has a given first column and last row, of elements that stand
/// one after the other, the column first; its last element wins over the row's first. Without a row zeros
/// follow.
inline auto constantAntiDiagonals(std::size_t rows, std::size_t columns, bool hasRow) {
  return Arrangement{rows, columns, [=](std::size_t row, std::size_t column) {
                       const std::size_t place = row + column;
                       if (place < rows) return place;
                       return hasRow ? place + 1 : kNoElement;
                     }};
}

}  // namespace tessel
