#include "qfcore/fi/resulttypes.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdlib>

#include "qfcore/fi/arithmeticstate.h"
#include "qfcore/fi/exactness.h"
#include "qfcore/fi/fi.h"
#include "qfcore/types/numerictype_messages.h"

namespace embedded {

using EmbeddedTypeSystem::DataTypeEnum;
using EmbeddedTypeSystem::ScalingEnum;
using EmbeddedTypeSystem::SignedEnum;
using exactness::fractionBits;
using exactness::growthBits;
using exactness::integerBits;

namespace {

constexpr Message kNoBooleanMath{"numforge:fi:nobooleanmath",
                                 "Math operations are not allowed on FI objects with boolean data type."};
constexpr Message kMixedMath{"numforge:fi:mixedmath",
                             "Math operations are not allowed on FI objects with different data types."};
constexpr Message kFimathMismatch{"numforge:fi:fimathmismatch", "FIMATH of both operands must be equal."};
constexpr Message kOnlyBinaryPoint{"numforge:fi:onlybinarypointmath",
                                   "Math is supported only for binary-point scaling."};
constexpr Message kScaledDoubleSlopeBias{
    "numforge:fi:scaleddoubleslopebiasmathnotdefined",
    "Math is not supported for slope-bias FIs when DataTypeMode is 'Scaled double: slope and bias scaling'"};
constexpr Message kScaledDoubleNotDefined{
    "numforge:fi:scaleddoublenotdefined",
    "Function '%s' is not defined for FI objects with data type ScaledDouble."};
constexpr Message kSlopeBiasMode{"numforge:fi:mathmodeslopebiasnotdefined",
                                 "Math is not supported for slope-bias FIs when the %sMode is %s."};
constexpr Message kMaxSumWordLength{"numforge:fi:MaxSumWordLengthExceeded",
                                    "MaxSumWordLength is %ld bits and a minimum word length of %ld bits is "
                                    "necessary to guarantee that this sum or "
                                    "difference can be computed with no loss of precision.  Increase "
                                    "MaxSumWordLength if you want the sum to grow to "
                                    "a larger word length."};
constexpr Message kMaxProductWordLength{
    "numforge:fi:MaxProductWordLengthExceeded",
    "MaxProductWordLength is %ld bits and a minimum word length of %ld bits "
    "is necessary to guarantee that this product "
    "can be computed with no loss of precision.  Increase "
    "MaxProductWordLength if you want the product to grow to a "
    "larger word length."};

constexpr Message kFractionLengthBeyondInt{
    "numforge:fi:fractionLengthOutOfRange",
    "The fraction length of the result is %ld; no numeric type has one beyond 2147483647 in magnitude."};

/// What a register needs to hold every value without loss, from which the four modes choose.
struct Growth {
  long wordLength;      ///< FullPrecision
  long fractionLength;  ///< FullPrecision and KeepLSB
  long integerBits;     ///< KeepMSB
};

int exponentOf(long fractionLength) { return -resulttypes::checkedFractionLength(fractionLength); }

template <const Message& MaxExceeded>
NumericType registerType(DataTypeEnum dataType, bool isSigned, bool isSlopeBias,
                         const RegisterSettings& settings, const char* registerName, const Growth& growth) {
  if (isSlopeBias && settings.mode != ArithmeticModeEnum::SpecifyPrecision) {
    fail<kSlopeBiasMode>(registerName, EmbeddedTypeSystem::textOf(settings.mode));
  }
  long wordLength = settings.wordLength, fractionLength = growth.fractionLength;
  double factor = 1, bias = 0;
  switch (settings.mode) {
    case ArithmeticModeEnum::FullPrecision:
      wordLength = growth.wordLength;
      if (settings.maxWordLength < wordLength)
        fail<MaxExceeded>(static_cast<long>(settings.maxWordLength), wordLength);
      break;
    case ArithmeticModeEnum::KeepLSB: break;
    case ArithmeticModeEnum::KeepMSB: fractionLength = wordLength - growth.integerBits; break;
    case ArithmeticModeEnum::SpecifyPrecision:
      fractionLength = settings.fractionLength();
      if (isSlopeBias) {
        factor = settings.slopeAdjustmentFactor;
        bias = settings.bias;
      }
      break;
  }
  const bool binaryPoint = factor == 1 && bias == 0;
  return NumericType(dataType, binaryPoint ? ScalingEnum::BinaryPoint : ScalingEnum::SlopeBias,
                     isSigned ? SignedEnum::Signed : SignedEnum::Unsigned, static_cast<int>(wordLength), factor,
                     exponentOf(fractionLength), bias);
}

bool isFixedPoint(DataTypeEnum dataType) {
  return dataType == DataTypeEnum::Fixed || dataType == DataTypeEnum::ScaledDouble;
}

/// The type of a data type without fixed-point properties.
NumericType builtIn(DataTypeEnum dataType) {
  NumericType type;
  type.setDataType(dataType);
  return type;
}

NumericType sumRegisterType(DataTypeEnum dataType, bool isSigned, bool isSlopeBias, const fimath& math,
                            const Growth& growth) {
  if (!isFixedPoint(dataType)) return builtIn(dataType);
  return registerType<kMaxSumWordLength>(dataType, isSigned, isSlopeBias, math.sum(), "Sum", growth);
}

Growth grown(const NumericType& type, int bits) {
  return {type.wordLength() + bits, fractionBits(type), integerBits(type) + bits};
}

}  // namespace

namespace resulttypes {

int checkedFractionLength(long fractionLength) {
  if (std::abs(fractionLength) > INT_MAX) fail<kFractionLengthBeyondInt>(fractionLength);
  return static_cast<int>(fractionLength);
}

void errorIfUnfit(const NumericType& type) {
  type.errorIfBadWordLength();
  if (!type.isFixedOrScaledDouble()) return;
  checkedFractionLength(-long{type.fixedExponent()});
  if (!std::isfinite(type.slopeAdjustmentFactor()))
    fail<EmbeddedTypeSystem::msg::invalidSlopeAdjustmentFactor>();
  if (!std::isfinite(type.bias())) fail<EmbeddedTypeSystem::msg::biasNotFinite>();
}

DataTypeEnum dataType(const NumericType& a, const NumericType& b) {
  return b.isScaledDouble() ? DataTypeEnum::ScaledDouble : a.dataType();
}

NumericType sum(const NumericType& a, const NumericType& b, const fimath& math) {
  const long integer = std::max(integerBits(a), integerBits(b)) + 1;
  const long fraction = std::max(fractionBits(a), fractionBits(b));
  const bool slopeBias = a.isSlopeBias() || math.isSumSlopeBiasScaled() || b.isSlopeBias();
  return sumRegisterType(dataType(a, b), a.isSigned() || b.isSigned(), slopeBias, math,
                         {integer + fraction, fraction, integer});
}

NumericType product(const NumericType& a, const NumericType& b, const fimath& math) {
  const DataTypeEnum type = dataType(a, b);
  if (!isFixedPoint(type)) return builtIn(type);
  const bool slopeBias = a.isSlopeBias() || math.isProductSlopeBiasScaled() || b.isSlopeBias();
  const Growth growth{a.wordLength() + b.wordLength(), fractionBits(a) + fractionBits(b),
                      integerBits(a) + integerBits(b)};
  return registerType<kMaxProductWordLength>(type, a.isSigned() || b.isSigned(), slopeBias, math.product(),
                                             "Product", growth);
}

NumericType sumOfTwoProducts(DataTypeEnum dataType, const NumericType& product, const fimath& math) {
  return sumRegisterType(dataType, product.isSigned(), false, math, grown(product, 1));
}

NumericType sumOfProducts(const NumericType& a, const NumericType& b, const NumericType& product,
                          unsigned terms, const fimath& math) {
  const bool slopeBias = a.isSlopeBias() || math.isProductSlopeBiasScaled() || b.isSlopeBias();
  return sumRegisterType(dataType(a, b), product.isSigned(), slopeBias, math,
                         grown(product, growthBits(terms)));
}

NumericType sumOfTerms(const NumericType& a, unsigned terms, const fimath& math) {
  if (!a.isFixedOrScaledDouble()) return a;
  return sumOfEither(a, a, terms, math);
}

NumericType sumOfEither(const NumericType& a, const NumericType& b, unsigned terms, const fimath& math) {
  const bool isSigned = a.isSigned() || b.isSigned();
  // Beside signed values unsigned ones need a bit for the sign that they have not.
  const auto integer = [&](const NumericType& type) {
    return integerBits(type) + (isSigned && !type.isSigned());
  };
  const long fraction = std::max(fractionBits(a), fractionBits(b));
  const long grown = std::max(integer(a), integer(b)) + growthBits(terms);
  return sumRegisterType(dataType(a, b), isSigned, false, math, {grown + fraction, fraction, grown});
}

NumericType quotient(const NumericType& a, const NumericType& b) {
  const DataTypeEnum type = dataType(a, b);
  if (!isFixedPoint(type)) return builtIn(type);
  return NumericType(
      type, ScalingEnum::BinaryPoint, a.isSigned() || b.isSigned() ? SignedEnum::Signed : SignedEnum::Unsigned,
      std::max(a.wordLength(), b.wordLength()), 1.0, exponentOf(fractionBits(a) - fractionBits(b)), 0.0);
}

NumericType squareRoot(const NumericType& a) {
  if (!a.isFixedOrScaledDouble()) return builtIn(a.dataType());
  // Shifting right rounds down, also for negative counts, so adding one first rounds half of them up.
  const int wordLength = (a.wordLength() + 1) / 2;
  const long integer = (integerBits(a) + 1) >> 1;
  return NumericType(a.dataType(), ScalingEnum::BinaryPoint, a.signedEnum(), wordLength, 1.0,
                     exponentOf(wordLength - integer), 0.0);
}

}  // namespace resulttypes

void fi::errorIfBooleanMath(const fi& x) {
  if (x.getNumericType().isBoolean()) fail<kNoBooleanMath>();
}

void fi::errorIfMixedMath(const fi& a, const fi& b) {
  const NumericType &ta = a.getNumericType(), &tb = b.getNumericType();
  if (ta.isFixedOrScaledDouble() && tb.isFixedOrScaledDouble()) return;
  if (ta.dataType() != tb.dataType()) fail<kMixedMath>();
}

void fi::errorIfFimathMismatch(const fi& a, const fi& b) {
  if (!a.getFimath().matches(b.getFimath())) fail<kFimathMismatch>();
}

void fi::errorIfMathMismatch(const fi& a, const fi& b) {
  errorIfBooleanMath(a);
  errorIfBooleanMath(b);
  errorIfMixedMath(a, b);
  if (a.getNumericType().isFixed() && b.getNumericType().isFixed()) errorIfFimathMismatch(a, b);
}

void fi::errorIfSlopeBiasMath(const fi& x) {
  if (x.isSlopeBias()) fail<kOnlyBinaryPoint>();
}

void fi::errorIfScaledDoubleSlopeBiasMath(const fi& a, const fi& b) {
  for (const fi* x : {&a, &b}) {
    if (x->getNumericType().isScaledDouble() && x->isSlopeBias()) fail<kScaledDoubleSlopeBias>();
  }
}

void fi::errorIfScaledDouble(const fi& x, const char* functionName) {
  if (x.getNumericType().isScaledDouble()) fail<kScaledDoubleNotDefined>(functionName);
}

DataTypeEnum fi::getDataTypeForMathOp(const fi& a, const fi& b) {
  errorIfMathMismatch(a, b);
  return resulttypes::dataType(a.getNumericType(), b.getNumericType());
}

namespace {

/// Of operands that need, or get, slope-bias scaling.
bool involvesSlopeBias(const NumericType& a, const NumericType& b, const RegisterSettings& settings) {
  return a.isSlopeBias() || b.isSlopeBias() || settings.isSlopeBiasScaled();
}

}  // namespace

ArrayFormat::Result fi::sumWith(const fi& b, ArrayFormat::Operation operation) const {
  const ArrayFormat &left = *format(), &right = *b.format();
  return left.result(operation, right, [&]() -> ArrayFormat::Result {
    errorIfMathMismatch(*this, b);
    const NumericType &ta = left.type(), &tb = right.type();
    const NumericType type = resulttypes::sum(ta, tb, left.math());
    return {ArrayFormat::of(type, left.math()),
            !involvesSlopeBias(ta, tb, left.math().sum()) &&
                exactness::holdsSums(type, ta, tb, operation == ArrayFormat::Operation::Difference)};
  });
}

ArrayFormat::Result fi::productWith(const fi& b) const {
  const ArrayFormat &left = *format(), &right = *b.format();
  return left.result(ArrayFormat::Operation::Product, right, [&]() -> ArrayFormat::Result {
    errorIfMathMismatch(*this, b);
    const NumericType &ta = left.type(), &tb = right.type();
    const NumericType type = resulttypes::product(ta, tb, left.math());
    const bool slopeBias =
        involvesSlopeBias(ta, tb, left.math().product()) || left.math().isSumSlopeBiasScaled();
    return {ArrayFormat::of(type, left.math()), !slopeBias && exactness::holdsProducts(type, ta, tb)};
  });
}

const NumericType& fi::getNumericTypeForAddOp(const fi& b) const {
  return arithmeticState().sumType = sumWith(b, ArrayFormat::Operation::Sum).format->type();
}

const NumericType& fi::getProductTypeForMpyOp(const fi& b) const {
  return arithmeticState().productType = productWith(b).format->type();
}

NumericType fi::sumTypeOfProductsWith(const fi& b, const NumericType& productType) const {
  return resulttypes::sumOfTwoProducts(getDataTypeForMathOp(*this, b), productType, getFimath());
}

NumericType fi::matrixSumTypeWith(const fi& b, const NumericType& productType) const {
  errorIfMathMismatch(*this, b);
  const unsigned terms = cols_ + (iscomplex() && b.iscomplex());
  return resulttypes::sumOfProducts(getNumericType(), b.getNumericType(), productType, std::max(terms, 1U),
                                    getFimath());
}

const NumericType& fi::getSumTypeForMpyOp(const fi& b, const NumericType& productType) const {
  return arithmeticState().sumType = sumTypeOfProductsWith(b, productType);
}

const NumericType& fi::getSumNumericTypeForMatrixMultiply(const fi& b, const NumericType& productType) const {
  return arithmeticState().sumType = matrixSumTypeWith(b, productType);
}

const NumericType& fi::getNumericTypeForLeadingDimensionSum() const {
  errorIfBooleanMath(*this);
  errorIfSlopeBiasMath(*this);
  return arithmeticState().sumType =
             resulttypes::sumOfTerms(getNumericType(), std::max(rows_, 1U), getFimath());
}

NumericType fi::getNumericTypeForSqrtBisection() const { return resulttypes::squareRoot(getNumericType()); }

}  // namespace embedded
