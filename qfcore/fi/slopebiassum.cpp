/// Sums of slope-bias values: of both operands in the scaling of the result, and of what their biases make.
#include <algorithm>
#include <cmath>

#include "qfcore/fi/arithmeticstate.h"

namespace embedded {

namespace {

double quantizedToDouble(double value, const NumericType& type) {
  const quantizer q(type, RoundModeEnum::nearest, OverflowModeEnum::saturate);
  number x(value, fi::precisionOf(type), false);
  return q.quantize(x).todouble();
}

/// (a's bias ± b's bias − result's bias) in held units of the result.
double netBias(double difference, const NumericType& result) {
  const double net = difference / result.slopeAdjustmentFactor();
  // An unsigned register has no negative values; the magnitude is what it adds.
  return quantizedToDouble(result.isSigned() ? net : std::abs(net), result);
}

/// The ratio of two slopes as a value of the operand's word at best precision.
double correctionFactor(const NumericType& result, const NumericType& operand) {
  const double ratio = operand.slopeAdjustmentFactor() / result.slopeAdjustmentFactor();
  NumericType type(operand.isSigned(), operand.wordLength(), 0);
  type.setBestPrecisionFromMaxAbs(ratio);
  return quantizedToDouble(ratio, type);
}

/// The constants, if those at hand are of sums in place.
const SlopeBiasFactors* factorsForEquals(const ArithmeticState& state, const NumericType& own) {
  return state.slopeBias && state.slopeBias->result.isequivalent(own) ? &*state.slopeBias : nullptr;
}

}  // namespace

bool fi::needToInitSlopeBiasCorrectionFactorsForPlus(const fi& b, const fi& result) const {
  const auto& factors = arithmeticState().slopeBias;
  return !factors || !factors->left.isequivalent(getNumericType()) ||
         !factors->right.isequivalent(b.getNumericType()) ||
         !factors->result.isequivalent(result.getNumericType());
}

void fi::initSlopeBiasCorrectionFactorsForPlus(const fi& b, const fi& result) const {
  if (!needToInitSlopeBiasCorrectionFactorsForPlus(b, result)) return;
  const NumericType &ta = getNumericType(), &tb = b.getNumericType(), &tr = result.getNumericType();
  SlopeBiasFactors factors{ta, tb, tr};
  factors.netBiasPlus = netBias(ta.bias() + tb.bias() - tr.bias(), tr);
  factors.netBiasMinus = netBias(ta.bias() - tb.bias() - tr.bias(), tr);
  factors.leftFactor = correctionFactor(tr, ta);
  factors.rightFactor = correctionFactor(tr, tb);
  arithmeticState().slopeBias = factors;
}

void fi::initSlopeBiasCorrectionFactorsForEquals(const fi& b) const {
  initSlopeBiasCorrectionFactorsForPlus(b, *this);
}

double fi::getBnetForSlopeBiasPlus() const {
  return arithmeticState().slopeBias ? arithmeticState().slopeBias->netBiasPlus : 0;
}

double fi::getBnetForSlopeBiasMinus() const {
  return arithmeticState().slopeBias ? arithmeticState().slopeBias->netBiasMinus : 0;
}

double fi::getBnetForEquals() const {
  const SlopeBiasFactors* factors = factorsForEquals(arithmeticState(), getNumericType());
  return factors ? factors->netBiasPlus : 0;
}

double fi::getFsxForEquals() const {
  const SlopeBiasFactors* factors = factorsForEquals(arithmeticState(), getNumericType());
  return factors ? factors->rightFactor : 0;
}

void fi::oneSlopeBiasSum(const fi& a, const fi& b, fi& sumRegister, bool subtracts) {
  a.initSlopeBiasCorrectionFactorsForPlus(b, sumRegister);
  const SlopeBiasFactors& factors = *a.arithmeticState().slopeBias;
  const quantizer& q = *sumRegister.assignmentQuantizerInUse_;
  const auto scaled = [&](const fi& operand, double factor) {
    const unsigned own = std::max(operand.getPrecision(), 1U);
    // The factor has the operand's word length: the product fits, so that the quantization rounds first.
    number term(0.0, own + std::max(own, sumRegister.getPrecision()), false);
    term = operand.realPart_;
    term *= number(factor, number::getDefaultPrecision(), false);
    return q.quantize(term);
  };
  number& sum = sumRegister.realPart_;
  number right = scaled(b, factors.rightFactor);
  sum = scaled(a, factors.leftFactor);
  if (subtracts) {
    sum -= right;
  } else {
    sum += right;
  }
  q.quantize(sum);
  number bias(subtracts ? factors.netBiasMinus : factors.netBiasPlus, sumRegister.realPart_.getprecision(),
              false);
  sum += q.quantize(bias);
  q.quantize(sum);
}

}  // namespace embedded
