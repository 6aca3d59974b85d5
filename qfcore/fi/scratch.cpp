#include "qfcore/fi/scratch.h"

#include <algorithm>
#include <cmath>

#include "qfcore/fi/exactness.h"
#include "qfcore/number/precision.h"

namespace embedded {

using exactness::fractionBits;
using exactness::integerBits;

namespace {

/// Values whose bits lie further apart than this are rounded before their quantization.
constexpr long kMaxScratchPrecision = 1L << 20;

unsigned limited(long bits) { return static_cast<unsigned>(std::clamp(bits, 1L, kMaxScratchPrecision)); }

/// The exponents of all doubles.
constexpr BitRange kDoubleRange{-1074, 1024};

}  // namespace

unsigned sumPrecision(const NumericType& a, const NumericType& b, const NumericType& result,
                      bool castBeforeSum) {
  const unsigned precision = std::max({fi::precisionOf(a), fi::precisionOf(b), fi::precisionOf(result)});
  if (castBeforeSum || !a.isFixed() || !b.isFixed()) return precision;
  const long fraction = std::max(fractionBits(a), fractionBits(b));
  const unsigned bits = limited(std::max(integerBits(a), integerBits(b)) + fraction + 1);
  return std::max(precision, carryingPrecision(bits, fraction));
}

unsigned productPrecision(const NumericType& a, const NumericType& b, const NumericType& product) {
  const unsigned precision = fi::precisionOf(product);
  if (!product.isFixed()) return precision;
  return std::max(precision,
                  carryingPrecision(a.wordLength() + b.wordLength(), fractionBits(a) + fractionBits(b)));
}

unsigned productPrecision(const fi& a, const fi& b, const NumericType& product, const NumericType& sum) {
  const unsigned precision = productPrecision(a.getNumericType(), b.getNumericType(), product);
  if (a.isreal() || b.isreal()) return precision;
  return std::max(precision, sumPrecision(product, product, sum, a.getFimath().castBeforeSum()));
}

BitRange BitRange::of(double value) {
  if (value == 0) return {0, 0};
  int exponent;
  std::frexp(value, &exponent);
  return {exponent - static_cast<int>(kDoubleBits), exponent};
}

BitRange BitRange::ofHeld(const NumericType& type) {
  return type.isFixed() ? BitRange{-fractionBits(type), integerBits(type)} : kDoubleRange;
}

BitRange BitRange::ofRealWorld(const NumericType& type) {
  if (!type.isSlopeBias()) return ofHeld(type);
  return ofHeld(type) * of(type.slopeAdjustmentFactor()) + of(type.bias());
}

BitRange BitRange::operator+(const BitRange& other) const {
  return {std::min(lowest, other.lowest), std::max(highest, other.highest) + 1};
}

unsigned BitRange::bits() const { return limited(highest - lowest); }

RealWorldScaling::RealWorldScaling(const NumericType& type)
    : isSlopeBias_(type.isSlopeBias()),
      factorRange_(BitRange::of(type.slopeAdjustmentFactor())),
      biasRange_(BitRange::of(type.bias())),
      halfStep_(BitRange::ofHeld(type).lowest - 1),
      factor_(type.slopeAdjustmentFactor(), kDoubleBits, true),
      bias_(type.bias(), kDoubleBits, true) {}

void RealWorldScaling::fromHeld(number& value) const {
  if (!isSlopeBias_) return;
  value *= factor_;
  value += bias_;
}

void RealWorldScaling::toHeld(number& value) const {
  if (!isSlopeBias_) return;
  value -= bias_;
  value /= factor_;
}

unsigned RealWorldScaling::heldPrecision(const BitRange& values) const {
  const BitRange numerator = isSlopeBias_ ? values + biasRange_ : values;
  // A quotient that is no multiple of half a step is off one by at least 2^smallest divided by the factor,
  // below 2.
  const long smallest = std::min(numerator.lowest, halfStep_ + factorRange_.lowest);
  return limited(numerator.highest - smallest + 6);
}

}  // namespace embedded
