/// Subscripts that need no list of positions: scalars, equal steps and colons, from the program to the
/// elements.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <optional>
#include <span>

namespace tessel {

/// Positions, counted from 0, in equal steps.
struct IndexRange {
  std::size_t first = 0;
  std::ptrdiff_t step = 1;
  std::size_t count = 1;
  bool isColon = false;  ///< stands for all positions of its dimension, and counts as a column of them

  /// The position that a subscript names; nothing for one that is no whole number from 1 on.
  static std::optional<IndexRange> at(double subscript) {
    constexpr double kLimit = 9007199254740992.0;  // from 2^53 on, doubles do not hold every integer
    if (!(subscript >= 1 && subscript <= kLimit && subscript == std::floor(subscript))) return std::nullopt;
    return IndexRange{static_cast<std::size_t>(subscript) - 1};
  }
  static IndexRange all(std::size_t extent) { return {0, 1, extent, true}; }

  std::size_t operator[](std::size_t k) const { return first + k * static_cast<std::size_t>(step); }
  bool isWithin(std::size_t extent) const {
    return count == 0 || (first < extent && (*this)[count - 1] < extent);
  }
};

/// One a subscript: a single one is linear, over all dimensions; the last of several runs over the dimensions
/// that are left, folded into one.
using IndexRanges = std::span<const IndexRange>;

/// The size of the dimension that subscript `place`, from 0, of `count` names in an array of size `dims`.
template <class Sizes>
std::size_t extentOf(const Sizes& dims, std::size_t place, std::size_t count) {
  std::size_t extent = place < dims.size() ? dims[place] : 1;
  if (place + 1 == count) {
    for (std::size_t d = place + 1; d < dims.size(); ++d) extent *= dims[d];
  }
  return extent;
}

/// Whether an array of size `dims` has all the positions.
template <class Sizes>
bool hasPositions(const Sizes& dims, IndexRanges ranges) {
  for (std::size_t k = 0; k < ranges.size(); ++k) {
    if (!ranges[k].isWithin(extentOf(dims, k, ranges.size()))) return false;
  }
  return true;
}

inline std::size_t selectedCount(IndexRanges ranges) {
  std::size_t count = 1;
  for (const IndexRange& range : ranges) count *= range.count;
  return count;
}

/// The size of what ranges select from an array of size `dims`: of several, one dimension each; of one, the
/// orientation of the array where that is a vector, else a row, or a column for a colon.
template <class Sizes>
Sizes selectedSizes(const Sizes& dims, IndexRanges ranges) {
  using Size = typename Sizes::value_type;
  if (ranges.size() > 1) {
    Sizes sizes;
    for (const IndexRange& range : ranges) sizes.push_back(static_cast<Size>(range.count));
    while (sizes.size() > 2 && sizes.back() == 1) sizes.pop_back();
    return sizes;
  }
  const Size count = static_cast<Size>(ranges[0].count);
  if (ranges[0].isColon) return Sizes{count, 1};
  const auto isLong = [](Size size) { return size != 1; };
  const bool isLine = std::count_if(dims.begin(), dims.end(), isLong) == 1;
  if (!isLine || count == 1) return Sizes{1, count};
  Sizes line = dims;
  *std::find_if(line.begin(), line.end(), isLong) = count;
  return line;
}

/// Whether an array of size `dims` can be assigned to what ranges select: one element to all of it, or as many
/// as it has, whose sizes are those of several ranges but for ones.
template <class Sizes>
bool fitsInto(IndexRanges ranges, const Sizes& dims) {
  std::size_t count = 1, d = 0;
  for (const std::size_t size : dims) count *= size;
  if (count == 1) return true;
  if (count != selectedCount(ranges)) return false;
  if (ranges.size() == 1) return true;
  for (const IndexRange& range : ranges) {
    if (range.count == 1) continue;
    while (d < dims.size() && dims[d] == 1) ++d;
    if (d == dims.size() || dims[d++] != range.count) return false;
  }
  return true;
}

/// Calls `visit(first, step, count)` for the positions that ranges select from an array of size `dims`, in the
/// order of the result, a stretch along the first dimension at a time.
template <class Sizes, class Visit>
void forEachStretch(const Sizes& dims, IndexRanges ranges, const Visit& visit, std::size_t offset = 0) {
  if (ranges.size() == 1) {
    const IndexRange& range = ranges[0];
    if (range.count > 0) visit(offset + range.first, range.step, range.count);
    return;
  }
  std::size_t stride = 1;
  for (std::size_t d = 0; d + 1 < ranges.size(); ++d) stride *= d < dims.size() ? dims[d] : 1;
  const IndexRange& last = ranges.back();
  const IndexRanges others = ranges.first(ranges.size() - 1);
  if (last.step == 1 && std::ranges::all_of(others, &IndexRange::isColon)) {
    if (last.count * stride > 0) visit(offset + last.first * stride, 1, last.count * stride);
    return;
  }
  for (std::size_t k = 0; k < last.count; ++k) forEachStretch(dims, others, visit, offset + last[k] * stride);
}

}  // namespace tessel
