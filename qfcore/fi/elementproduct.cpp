#include "qfcore/fi/elementproduct.h"

#include "qfcore/fi/arithmeticstate.h"
#include "qfcore/fi/exactness.h"
#include "qfcore/fi/paths/path.h"
#include "qfcore/number/mpvalue.h"

namespace embedded {

namespace {

/// scratch = x · y at the bits of the scratch value.
void setProduct(number& scratch, const number& x, const number& y) {
  mpnumber* product = scratch.multiprecision();
  const mpnumber *left = x.multiprecision(), *right = y.multiprecision();
  if (product && left && right && left->getelement().bits() <= product->getmodifiableelement().bits()) {
    return product->getmodifiableelement().setProduct(left->getelement(), right->getelement());
  }
  scratch = x;
  scratch *= y;
}

}  // namespace

number& quantizedProduct(number& scratch, const number& x, const number& y, const quantizer& q) {
  setProduct(scratch, x, y);
  return q.quantize(scratch);
}

void complexProduct(const number& ar, const number& ai, const number& br, const number& bi,
                    const quantizer& products, const quantizer& sums, bool cast, number& scratch1,
                    number& scratch2, number& re, number& im) {
  const auto castBoth = [&] {
    if (!cast) return;
    sums.quantize(scratch1);
    sums.quantize(scratch2);
  };
  quantizedProduct(scratch1, ar, br, products);
  quantizedProduct(scratch2, ai, bi, products);
  castBoth();
  scratch1 -= scratch2;
  sums.quantize(scratch1);
  // The last use of the real part that the result may overwrite.
  quantizedProduct(scratch2, ar, bi, products);
  re = scratch1;
  quantizedProduct(scratch1, ai, br, products);
  castBoth();
  scratch1 += scratch2;
  sums.quantize(scratch1);
  im = scratch1;
}

namespace {

number exactHeld(const RealWorldScaling& result, const NumericType& a, const NumericType& b) {
  return number(0.0, result.heldPrecision(BitRange::ofRealWorld(a) * BitRange::ofRealWorld(b)), true);
}

}  // namespace

SlopeBiasProduct::SlopeBiasProduct(const NumericType& a, const NumericType& b, const NumericType& result)
    : a_(a), b_(b), result_(result), left_(exactHeld(result_, a, b)), right_(exactHeld(result_, a, b)) {}

const number& SlopeBiasProduct::operator()(const number& a, const number& b, const quantizer& q) {
  left_ = a;
  a_.fromHeld(left_);
  right_ = b;
  b_.fromHeld(right_);
  left_ *= right_;
  result_.toHeld(left_);
  return q.quantize(left_);
}

void fi::initSlopeCorrectionFactorForTimes(const fi& b, const NumericType& product) const {
  arithmeticState().slopeBiasTimes.correction = getNumericType().slopeAdjustmentFactor() *
                                                b.getNumericType().slopeAdjustmentFactor() /
                                                product.slopeAdjustmentFactor();
}

unsigned fi::initParamsForWorstCaseSlopeBiasTimes(const fi& b) const {
  const NumericType &ta = getNumericType(), &tb = b.getNumericType();
  SlopeBiasTimes& times = arithmeticState().slopeBiasTimes;
  times.leftBias = ta.bias() / ta.slopeAdjustmentFactor();
  times.rightBias = tb.bias() / tb.slopeAdjustmentFactor();
  return (BitRange::ofRealWorld(ta) * BitRange::ofRealWorld(tb)).bits();
}

double fi::getFscForTimes() const { return arithmeticState().slopeBiasTimes.correction; }
double fi::getAForSlopeBiasTimes() const { return arithmeticState().slopeBiasTimes.leftBias; }
double fi::getBForSlopeBiasTimes() const { return arithmeticState().slopeBiasTimes.rightBias; }

ElementProduct::ElementProduct(const fi& a, const fi& b, const quantizer& products, const quantizer& sums)
    : products_(products),
      sums_(sums),
      cast_(a.getFimath().castBeforeSum()),
      isExact_(!elementPathOnly() && !products.logger().isOn() &&
               exactness::holdsProducts(products.numericType(), a.getNumericType(), b.getNumericType())),
      scratch1_(productPrecision(a, b, products.numericType(), sums.numericType())),
      scratch2_(productPrecision(a, b, products.numericType(), sums.numericType())) {
  const NumericType &ta = a.getNumericType(), &tb = b.getNumericType(), &tp = products.numericType();
  if (ta.isSlopeBias() || tb.isSlopeBias() || tp.isSlopeBias()) slopeBias_.emplace(ta, tb, tp);
}

void ElementProduct::form(const number& x, const number& y, number& result) {
  if (isExact_ && result.gettype() == kMultiprecisionRepresentation) {
    setProduct(result, x, y);
  } else {
    setProduct(scratch1_, x, y);
    products_.quantize(scratch1_, result);
  }
}

void ElementProduct::operator()(const fi& a, const fi& b, number& re, number& im) {
  if (slopeBias_) {
    re = (*slopeBias_)(a.realPart(), b.realPart(), products_);
  } else if (a.iscomplex() && b.iscomplex()) {
    complexProduct(a.realPart(), a.imagPart(), b.realPart(), b.imagPart(), products_, sums_, cast_, scratch1_,
                   scratch2_, re, im);
  } else {
    if (a.iscomplex()) form(a.imagPart(), b.realPart(), im);
    if (b.iscomplex()) form(a.realPart(), b.imagPart(), im);
    form(a.realPart(), b.realPart(), re);
  }
}

}  // namespace embedded
