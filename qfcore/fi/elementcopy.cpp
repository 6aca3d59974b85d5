#include "qfcore/fi/elementcopy.h"

#include <algorithm>
#include <cassert>

#include "qfcore/fi/fi.h"
#include "qfcore/number/mpnumber.h"
#include "qfcore/number/nativeinteger.h"

namespace embedded {

void copyPart(number& to, const number& from, const ElementVisit& targets, const ElementVisit& sources,
              unsigned count) {
  double* target = to.doubles();
  const double* source = from.doubles();
  if (target && source && targets.isInStep() && sources.isInStep()) {
    std::copy_n(source + sources[0], count, target + targets[0]);
  } else if (target && source) {
    for (unsigned k = 0; k < count; ++k) {
      if (const unsigned s = sources[k]; s != kNoElement) target[targets[k]] = source[s];
    }
  } else {
    for (unsigned k = 0; k < count; ++k) {
      if (const unsigned s = sources[k]; s != kNoElement) to[targets[k]] = from[s];
    }
  }
}

namespace {

/// `copyPart` for both parts of `x` where stored integers such as `Integer` stand for the values of `into`, or
/// for its own, and then in `into` may. Whether it has.
template <class Integer>
bool copyIntegers(fi& into, const fi& x, const ElementVisit& targets, const ElementVisit& sources,
                  unsigned count) {
  const long fractionLength = x.getNumericType().fractionLength();
  const auto read = [&](const number& part) -> const Integer* {
    const mpnumber* values = part.isempty() ? nullptr : part.multiprecision();
    return values ? values->integers<Integer>(fractionLength) : nullptr;
  };
  const auto written = [&](number& part) -> Integer* {
    mpnumber* values = part.multiprecision();
    return values ? values->template modifiableIntegers<Integer>(fractionLength) : nullptr;
  };
  const bool isComplex = x.iscomplex();
  const Integer *re = read(x.realPart()), *im = isComplex ? read(x.imagPart()) : nullptr;
  if (!re && !isComplex && read(into.realPart()) && x.realPart().multiprecision()) {
    const mpnumber& values = *x.realPart().multiprecision();
    Integer* to = written(into.realPart());
    // Integers stand there already: arrays are being joined, which leaves no place as it is.
    for (unsigned k = 0; k < count; ++k) {
      assert(sources[k] != kNoElement);
      to[targets[k]] = storedInteger<Integer>(values.getelement(sources[k]), fractionLength);
    }
    return true;
  }
  if (!re || (isComplex && !im)) return false;
  Integer *toRe = written(into.realPart()), *toIm = isComplex ? written(into.imagPart()) : nullptr;
  if (!toRe || (isComplex && !toIm)) return false;
  if (!isComplex && sources.isInStep()) {
    std::copy_n(re + sources[0], count, toRe + targets[0]);
    return true;
  }
  for (unsigned k = 0; k < count; ++k) {
    const unsigned source = sources[k], target = targets[k];
    if (source == kNoElement) continue;
    toRe[target] = re[source];
    if (isComplex) toIm[target] = im[source];
  }
  return true;
}

}  // namespace

void fi::copyElements(fi& into, const ElementVisit& targets, const ElementVisit& sources,
                      unsigned count) const {
  assert(targets.isInStep());
  if (into.realPart_.doubles() && realPart_.doubles()) {
    copyPart(into.realPart_, realPart_, targets, sources, count);
    if (iscomplex()) copyPart(into.imagPart_, imagPart_, targets, sources, count);
    return;
  }
  if (copyIntegers<std::int64_t>(into, *this, targets, sources, count) ||
      copyIntegers<Int128>(into, *this, targets, sources, count))
    return;
  // Both are made before the first is used: they may need memory.
  const number real(realPart_, Reading{}), imaginary(imagPart_, Reading{});
  copyPart(into.realPart_, real, targets, sources, count);
  if (iscomplex()) copyPart(into.imagPart_, imaginary, targets, sources, count);
}

}  // namespace embedded
