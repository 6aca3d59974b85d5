/// Filters on stored integers: for real values, words and states that native integers hold.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "qfcore/fi/fi.h"

namespace embedded {

/// The formats of a filter and the quantizers of its registers, which must outlive the kernel.
struct FilterFormats {
  NumericType b, a, x;
  /// How many products of b and of a meet in one sum.
  unsigned forwardTerms, backwardTerms;
  const quantizer &forward, &backward, &sums, &output;
  bool castBeforeSum;
};

/// The loops that filter.h tells, over whole signals. What the registers meet is recorded where they log.
class FilterKernel {
 public:
  using Stored = std::vector<std::int64_t>;

  /// Null where the integers might not hold all that is formed on the way, or where the element path rounds
  /// otherwise.
  static std::unique_ptr<FilterKernel> madeFor(const FilterFormats& formats);
  virtual ~FilterKernel() = default;

  /// The stored integers of `count` elements of a real array from `first` on, `stride` apart.
  static Stored stored(const fi& x, std::size_t first, std::size_t stride, std::size_t count);
  static void store(const Stored& stored, fi& x, std::size_t first, std::size_t stride);

  /// In place; `a` has the leading 1. The states, one more than there are and the last one 0, begin with those
  /// given and end with those that are left.
  virtual void recursive(const Stored& b, const Stored& a, Stored& signal, fi& states) const = 0;
  /// Without feedback: into elements of `y`, which has the type of sums.
  virtual void direct(const Stored& b, const Stored& signal, fi& states, fi& y, std::size_t first,
                      std::size_t stride) const = 0;
  /// y[n] = Σ u[k]·v[n + skipped - k], for every element of y.
  virtual void convolve(const Stored& u, const Stored& v, std::size_t skipped, fi& y) const = 0;
};

}  // namespace embedded
