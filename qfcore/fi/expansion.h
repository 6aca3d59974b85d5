/// Scalar expansion: which operand of an element-wise operation gives the result its shape.
#pragma once

#include "qfcore/fi/fi.h"

namespace embedded {

/// The operand that is no scalar. Raises "numforge:fi:dimagree" where both are none and their sizes differ.
inline const fi& shapeOfResult(const fi& a, const fi& b) {
  if (!a.isscalar() && !b.isscalar()) a.checkElementwiseSize(b);
  return a.isscalar() ? b : a;
}

}  // namespace embedded
