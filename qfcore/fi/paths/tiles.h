/// Parts of a matrix product, which threads form independently.
#pragma once

#include <algorithm>
#include <cstddef>

#include "qfcore/math/parallel.h"

namespace embedded {

/// Multiply-adds that are worth a thread's while, where each is rounded or is one of integers.
inline constexpr std::size_t kSharedRounded = std::size_t{1} << 16;

/// Some rows of some columns.
struct Tile {
  std::size_t row, rows, column, columns;
};

/// Calls `work(tile, own...)` for tiles that together are a result of that size, each of whose elements takes
/// `inner` multiply-adds. `quantizers`, if given, are as for `shareLoop`.
template <class Work, class... Quantizers>
void shareTiles(std::size_t rows, std::size_t columns, std::size_t inner, std::size_t worthwhile, Work work,
                const Quantizers&... quantizers) {
  // Nearly always, and without the divisions that follow.
  if (rows * columns * inner < worthwhile && !detail::sharesShortLoops)
    return work(Tile{0, rows, 0, columns}, quantizers...);
  constexpr std::size_t kRowUnit = 64;
  const bool byColumns = columns >= rows / kRowUnit;
  const std::size_t each = std::max<std::size_t>((byColumns ? rows : columns) * inner, 1);
  shareLoop(
      byColumns ? columns : rows, std::max<std::size_t>(worthwhile / each, 1), quantizers...,
      [&](std::size_t first, std::size_t size, const auto&... own) {
        work(byColumns ? Tile{0, rows, first, size} : Tile{first, size, 0, columns}, own...);
      },
      byColumns ? std::size_t{1} : kRowUnit);
}

}  // namespace embedded
