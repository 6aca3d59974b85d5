/// Filters on stored integers: for real values of up to 64 bits, and states that integers of up to 256 bits
/// hold.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "qfcore/fi/fi.h"
#include "qfcore/fi/paths/fibers.h"

namespace embedded {

/// The formats of a filter and the quantizers of its registers, which must outlive the kernel.
struct FilterFormats {
  NumericType b, a, x;
  /// How many products of b and of a meet in one sum; without any of a there is no feedback.
  unsigned forwardTerms, backwardTerms;
  const quantizer &forward, &backward, &sums, &output;
  bool castBeforeSum;
};

/// The loops that filter.h tells, over whole signals, fibers and stretches of results on all threads. What the
/// registers meet is recorded where they log.
class FilterKernel {
 public:
  using Stored = std::vector<std::int64_t>;
  /// Coefficients; `a` has the leading 1.
  struct Section {
    Stored b, a;
  };

  /// Null where the integers might not hold all that is formed on the way, or where the element path rounds
  /// otherwise.
  static std::unique_ptr<FilterKernel> madeFor(const FilterFormats& formats);
  virtual ~FilterKernel() = default;

  /// The stored integers of a real array.
  static Stored stored(const fi& x);

  /// Fibers of x into those of y, through the sections one after the other. `states` has those of each section
  /// and fiber, fiber by fiber: to begin with those given, zeros where the filter is at rest, in the end those
  /// that are left.
  virtual void filter(const std::vector<Section>& sections, const fi& x, const Fibers& fibers, bool isAtRest,
                      fi& states, fi& y) const = 0;
  /// y[n] = Σ u[k]·v[n + skipped - k], for every element of y.
  virtual void convolve(const Stored& u, const Stored& v, std::size_t skipped, fi& y) const = 0;
  /// y[k] = the sum of the products of the k-th fibers of a and b.
  virtual void dot(const fi& a, const fi& b, const Fibers& fibers, fi& y) const = 0;
};

}  // namespace embedded
