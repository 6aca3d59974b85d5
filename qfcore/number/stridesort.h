/// Sorting along one dimension of an array.
#pragma once

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

namespace embedded {

/// Calls `sortOne(start)` for every sequence of `length` elements `stride` apart in an array of `count`
/// elements.
template <class SortOne>
void forEachSequence(std::size_t count, std::size_t stride, std::size_t length, SortOne sortOne) {
  if (length == 0 || stride == 0) return;
  for (std::size_t block = 0; block + stride * length <= count; block += stride * length) {
    for (std::size_t offset = 0; offset < stride; ++offset) sortOne(block + offset);
  }
}

/// Order of values in which NaN comes after all others and equals itself.
template <class Value>
bool sortsBefore(const Value& a, const Value& b) {
  return a < b || (b != b && a == a);
}

/// Sorts every sequence of `values`.
inline void sortSequences(double* values, std::size_t count, bool ascending, std::size_t stride,
                          std::size_t length) {
  std::vector<double> sequence(length);
  forEachSequence(count, stride, length, [&](std::size_t start) {
    for (std::size_t i = 0; i < length; ++i) sequence[i] = values[start + i * stride];
    std::sort(sequence.begin(), sequence.end(), sortsBefore<double>);
    if (!ascending) std::reverse(sequence.begin(), sequence.end());
    for (std::size_t i = 0; i < length; ++i) values[start + i * stride] = sequence[i];
  });
}

/// Sorts every sequence and fills `index` with the positions from 1 that its elements came from.
inline void sortSequences(double* values, double* index, std::size_t count, bool ascending, std::size_t stride,
                          std::size_t length) {
  std::vector<std::pair<double, std::size_t>> sequence(length);
  forEachSequence(count, stride, length, [&](std::size_t start) {
    for (std::size_t i = 0; i < length; ++i) sequence[i] = {values[start + i * stride], i};
    std::stable_sort(sequence.begin(), sequence.end(), [&](const auto& a, const auto& b) {
      return ascending ? sortsBefore(a.first, b.first) : sortsBefore(b.first, a.first);
    });
    for (std::size_t i = 0; i < length; ++i) {
      values[start + i * stride] = sequence[i].first;
      index[start + i * stride] = static_cast<double>(sequence[i].second + 1);
    }
  });
}

}  // namespace embedded
