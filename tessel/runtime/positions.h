/// Positions of selected elements, counted from 0, and how subscripts become them.
#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "tessel/array.h"

namespace tessel {

/// Positions in the order in which they are selected: a run of neighbours, or a list.
struct Positions {
  std::size_t first = 0;
  std::size_t count = 0;
  std::size_t needed = 0;         ///< one more than the largest; 0 when there is none
  std::vector<std::size_t> list;  ///< empty for a run

  static Positions run(std::size_t first, std::size_t count) {
    return {first, count, count == 0 ? 0 : first + count, {}};
  }
  static Positions of(std::vector<std::size_t> list);
  bool isRun() const { return list.empty(); }
  std::size_t operator[](std::size_t i) const { return isRun() ? first + i : list[i]; }
};

/// The positions that one subscript selects; `extent` is what a colon stands for. Raises "Tessel:badsubscript".
Positions readSubscript(const HostArray& subscript, std::size_t extent);

/// The shape that a linear subscript which selects `count` elements has itself.
Dimensions subscriptShape(const HostArray& subscript, std::size_t count);

/// `dims` as seen by `count` subscripts: the last of fewer runs over the product of what is left, further ones
/// over 1.
Dimensions folded(const Dimensions& dims, std::size_t count);

/// Linear positions in an array of size `extents` from one list of positions a dimension; the first runs
/// fastest.
Positions combined(const std::vector<Positions>& subscripts, const Dimensions& extents);

/// The position that one or two real double scalars select in `array`; nothing when they need a closer look.
std::optional<std::size_t> scalarPosition(const HostArray& array, const Arrays& subscripts);

}  // namespace tessel
