/// Operations on each value of one array.
#pragma once

#include <algorithm>
#include <cmath>
#include <utility>

#include "qfcore/fi/paths/blocks.h"
#include "qfcore/fi/scratch.h"
#include "qfcore/number/rounding.h"

namespace embedded {

// Operations on one part's values return the image of a double and change a number in place; both must be the
// same function. Loops over doubles take them by value, so they are small and hold no numbers.

/// Multiplication by a power of two that is a normal double.
struct NearPow2 {
  int exponent;
  double factor;
  double operator()(double x) const { return x * factor; }
  void operator()(number& x) const { x.pow2(exponent); }
};

/// Multiplication by any power of two.
struct FarPow2 {
  int exponent;
  double operator()(double x) const { return std::ldexp(x, exponent); }
  void operator()(number& x) const { x.pow2(exponent); }
};

/// Calls `visit` with the multiplication by 2^exponent and that by 2^-exponent.
template <class Visit>
auto withPow2(int exponent, Visit visit) {
  if (!GridFactors::exist(exponent))
    return visit(FarPow2{exponent}, FarPow2{EmbeddedTypeSystem::negatedExponent(exponent)});
  const GridFactors factors(exponent);
  return visit(NearPow2{exponent, factors.unitsPerOne}, NearPow2{-exponent, factors.unit});
}

/// target[k] = quantized(operation(source's element k)), for one part of `x`.
template <class Operation>
void mapPart(const fi& x, const number& source, number& target, const quantizer& q,
             const Operation& operation) {
  const unsigned count = x.numel();
  if (choosePath({.hasBlocks = q.isDoubleBacked()}, x, target) == Path::Blocks) {
    const double* from = valuesOf(x, source);
    double* to = target.doubles();
    return shareLoop(count, kSharedDoubles, std::array{&q},
                     [&](std::size_t begin, std::size_t length, const auto& own) {
                       forEachBlock(length, [&](std::size_t offset, std::size_t size) {
                         const std::size_t first = begin + offset;
                         transformValues(from + first, to + first, size, operation);
                         own[0]->quantize(to + first, size);
                       });
                     });
  }
  Scratch scratch(std::max(source.getprecision(), target.getprecision()));
  const number reader(source, Reading{});
  for (unsigned k = 0; k < count; ++k) {
    scratch = reader[k];
    operation(scratch);
    target[k] = q.quantize(scratch);
  }
}

/// The same where the operation gives values on the grid of `q`, beyond its range by less than that.
template <class Operation>
void mapPartOnGrid(const fi& x, const number& source, number& target, const quantizer& q,
                   const Operation& operation) {
  if (choosePath({.hasBlocks = onlyBringsIntoRange(q)}, x, target) != Path::Blocks) {
    return mapPart(x, source, target, q, operation);
  }
  withInRange(q, [&](auto inRange) {
    const double* from = valuesOf(x, source);
    double* const to = target.doubles();
    shareLoop(x.numel(), kSharedDoubles, [&](std::size_t first, std::size_t size) {
      transformValues(from + first, to + first, size, [=](double value) { return inRange(operation(value)); });
    });
  });
}

/// target[k] = operation(source's element k), for one part of `x`, where the operation gives values of the
/// target's type.
template <class Operation>
void transformPart(const fi& x, const number& source, number& target, const Operation& operation) {
  const unsigned count = x.numel();
  if (takesBlocks(x, target)) {
    const double* from = valuesOf(x, source);
    double* const to = target.doubles();
    return shareLoop(count, kSharedDoubles, [&](std::size_t first, std::size_t size) {
      transformValues(from + first, to + first, size, operation);
    });
  }
  // A double could not hold a wide value on its way.
  const bool isWide = areDoubles(target) && !areDoubles(source);
  Scratch scratch(isWide ? source.getprecision() : target.getprecision());
  const number reader(source, Reading{});
  for (unsigned k = 0; k < count; ++k) {
    number& value = isWide ? scratch : target[k];
    value = reader[k];
    operation(value);
    if (isWide) target[k] = value;
  }
}

template <class Operation>
void transformParts(const fi& x, fi& result, const Operation& operation) {
  transformPart(x, x.realPart(), result.realPart(), operation);
  if (x.iscomplex()) transformPart(x, x.imagPart(), result.imagPart(), operation);
}

/// A host array of that shape, whose parts `exportPart(part, target)` fills with what it makes of those of `x`.
template <class Element, class ExportPart>
tessel::HostArray exportedParts(const fi& x, tessel::Dimensions&& dims, ExportPart exportPart) {
  tessel::HostArray result =
      tessel::HostArray::unset(tessel::arrayClassOf<Element>(), std::move(dims), x.iscomplex());
  if (x.isempty()) return result;
  exportPart(x.realPart(), result.mutableReal<Element>());
  if (x.iscomplex()) exportPart(x.imagPart(), result.mutableImag<Element>());
  return result;
}

/// As `mapPart` for both parts of `x`; `result` is complex where `x` is.
template <class Operation>
void mapParts(const fi& x, fi& result, const quantizer& q, const Operation& operation) {
  mapPart(x, x.realPart(), result.realPart(), q, operation);
  if (x.iscomplex()) mapPart(x, x.imagPart(), result.imagPart(), q, operation);
}

}  // namespace embedded
