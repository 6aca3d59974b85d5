/// The sequences of elements along one dimension of an array.
#pragma once

#include <cstddef>

#include "qfcore/fi/fi.h"

namespace embedded {

/// `count` sequences of `length` elements that stand `stride` apart.
struct Fibers {
  std::size_t stride, length, count;

  /// Along `dimension`, from 1.
  static Fibers along(const fi& x, unsigned dimension) {
    Fibers fibers{1, x.getDimension(dimension), 1};
    for (unsigned d = 1; d <= x.numDims(); ++d) {
      if (d < dimension) fibers.stride *= x.dims()[d - 1];
      if (d != dimension) fibers.count *= x.dims()[d - 1];
    }
    return fibers;
  }
  std::size_t first(std::size_t k) const { return k % stride + k / stride * stride * length; }
};

}  // namespace embedded
