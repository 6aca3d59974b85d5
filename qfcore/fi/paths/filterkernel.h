/// Filters on stored integers: for words of up to 128 bits, and products and sums that integers of up to 256
/// bits hold.
#pragma once

#include <memory>
#include <vector>

#include "qfcore/fi/fi.h"
#include "qfcore/fi/paths/fibers.h"

namespace embedded {

/// Which factors of products are complex.
enum class Factors { Real, LeftComplex, RightComplex, BothComplex };

/// The products of one kind: of which factors, how many meet in one sum, the quantizer of each and, where both
/// factors are complex, that of the sums of two of them.
struct FilterProducts {
  Factors factors;
  unsigned terms;
  const quantizer &each, &pairs;

  /// The type that joins sums.
  const NumericType& type() const { return (factors == Factors::BothComplex ? pairs : each).numericType(); }
};

/// The formats of a filter and the quantizers of its registers, which must outlive the kernel. Without terms
/// backward, of a, there is no feedback.
struct FilterFormats {
  NumericType b, a, x;
  FilterProducts forward, backward;
  const quantizer &sums, &output;
  bool castBeforeSum, isComplex;
};

/// The loops that filter.h tells, over whole signals, fibers and stretches of results on all threads. What the
/// registers meet is recorded where they log.
class FilterKernel {
 public:
  /// Coefficients; `a` has the leading 1.
  struct Section {
    fi b, a;
  };

  /// Null where the integers might not hold all that is formed on the way, or where the element path rounds
  /// otherwise.
  static std::unique_ptr<FilterKernel> madeFor(const FilterFormats& formats);
  virtual ~FilterKernel() = default;

  /// Fibers of x into those of y, through the sections one after the other. `states` has those of each section
  /// and fiber, fiber by fiber: to begin with those given, zeros where the filter is at rest, in the end those
  /// that are left.
  virtual void filter(const std::vector<Section>& sections, const fi& x, const Fibers& fibers, bool isAtRest,
                      fi& states, fi& y) const = 0;
  /// y[n] = Σ u[k]·v[n + skipped - k], for every element of y.
  virtual void convolve(const fi& u, const fi& v, std::size_t skipped, fi& y) const = 0;
  /// y[k] = the sum of the products of the k-th fibers of a and b.
  virtual void dot(const fi& a, const fi& b, const Fibers& fibers, fi& y) const = 0;
};

}  // namespace embedded
