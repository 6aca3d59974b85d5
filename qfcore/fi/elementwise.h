/// Operations on each value of one array.
#pragma once

#include <algorithm>

#include "qfcore/fi/blocks.h"
#include "qfcore/fi/scratch.h"

namespace embedded {

/// target[k] = quantized(operation(source's element k)), for one part of `x`. The operation returns the image
/// of a double, and changes a number in place; both must be the same function.
template <class Operation>
void mapPart(const fi& x, const number& source, number& target, const quantizer& q,
             const Operation& operation) {
  const unsigned count = x.numel();
  if (areDoubles(x) && target.gettype() == kDoubleRepresentation && q.isDoubleBacked()) {
    const double* from = valuesOf(x, source);
    double* to = target.doubles();
    for (unsigned k = 0; k < count; ++k) to[k] = operation(from[k]);
    return q.quantize(to, count);
  }
  Scratch scratch(std::max(source.getprecision(), target.getprecision()));
  for (unsigned k = 0; k < count; ++k) {
    x.setIndex(k);
    scratch = source;
    operation(scratch);
    target[k] = q.quantize(scratch);
  }
}

/// target[k] = operation(source's element k), for one part of `x`, where the operation gives values of the
/// target's type.
template <class Operation>
void transformPart(const fi& x, const number& source, number& target, const Operation& operation) {
  const unsigned count = x.numel();
  if (areDoubles(x) && target.gettype() == kDoubleRepresentation) {
    const double* from = valuesOf(x, source);
    double* to = target.doubles();
    for (unsigned k = 0; k < count; ++k) to[k] = operation(from[k]);
    return;
  }
  for (unsigned k = 0; k < count; ++k) {
    x.setIndex(k);
    target[k] = source;
    operation(target);
  }
}

template <class Operation>
void transformParts(const fi& x, fi& result, const Operation& operation) {
  transformPart(x, x.realPart(), result.realPart(), operation);
  if (x.iscomplex()) transformPart(x, x.imagPart(), result.imagPart(), operation);
}

/// As `mapPart` for both parts of `x`; `result` is complex where `x` is.
template <class Operation>
void mapParts(const fi& x, fi& result, const quantizer& q, const Operation& operation) {
  mapPart(x, x.realPart(), result.realPart(), q, operation);
  if (x.iscomplex()) mapPart(x, x.imagPart(), result.imagPart(), q, operation);
}

}  // namespace embedded
