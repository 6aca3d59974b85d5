/// Addition and subtraction: element by element through the sum register, and by blocks over doubles.
#include <algorithm>
#include <array>

#include "qfcore/fi/arithmeticstate.h"
#include "qfcore/fi/fi.h"
#include "qfcore/number/vectorised.h"

namespace embedded {

namespace {

constexpr Message kComplexSlopeBias{
    "numforge:fi:complexslopebiasnotdefined",
    "Function '%s' is not defined for complex-value FI objects with slope and bias scaling."};
constexpr Message kCastBeforeSumFalse{
    "numforge:fi:castbeforesumfalseslopebiasnotdefined",
    "Function '%s' is not defined for FI objects with slope and bias scaling when CastBeforeSum is false."};

/// A sum of operands whose grids lie further apart than this is rounded before its quantization.
constexpr int kMaxSumPrecision = 1 << 20;

struct Add {
  static constexpr const char* kName = "plus";
  static double apply(double a, double b) { return a + b; }
  static void apply(number& a, const number& b) { a += b; }
  static double netBias(const SlopeBiasFactors& factors) { return factors.netBiasPlus; }
};

struct Subtract {
  static constexpr const char* kName = "minus";
  static double apply(double a, double b) { return a - b; }
  static void apply(number& a, const number& b) { a -= b; }
  static double netBias(const SlopeBiasFactors& factors) { return factors.netBiasMinus; }
};

/// Bits that hold both operands, the register's values, and where nothing is cast first their exact sum.
unsigned sumPrecision(const NumericType& a, const NumericType& b, const NumericType& result, bool castBeforeSum) {
  unsigned precision = std::max({fi::precisionOf(a), fi::precisionOf(b), fi::precisionOf(result)});
  if (!castBeforeSum && a.isFixed() && b.isFixed()) {
    const int integer = std::max(a.wordLength() - a.fractionLength(), b.wordLength() - b.fractionLength());
    const int exact = integer + std::max(a.fractionLength(), b.fractionLength()) + 1;
    precision = std::max(precision, static_cast<unsigned>(std::min(exact, kMaxSumPrecision)));
  }
  return precision;
}

void refuseSlopeBias(const fi& a, const fi& b, bool isComplex, const char* name) {
  if (isComplex) fail<kComplexSlopeBias>(name);
  if (!a.getFimath().castBeforeSum() || !b.getFimath().castBeforeSum()) fail<kCastBeforeSumFalse>(name);
}

// ------------------------------------------------------------------------------------------------ blocks of doubles

/// One part of an operand: an array, or one value that stands for every element.
struct Addend {
  const double* values;
  bool isScalar;

  Addend(const number& part, bool isMissing, bool isScalarOperand)
      : values(isMissing ? &kZero : part.doubles()), isScalar(isMissing || isScalarOperand) {}
  const double* at(std::size_t first) const { return isScalar ? values : values + first; }

 private:
  static constexpr double kZero = 0;
};

template <class Operation, bool AIsScalar, bool BIsScalar>
QFCORE_VECTORISED void combine(double* result, const double* a, const double* b, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    result[i] = Operation::apply(a[AIsScalar ? 0 : i], b[BIsScalar ? 0 : i]);
  }
}

template <class Operation>
void combine(double* result, const double* a, bool aIsScalar, const double* b, bool bIsScalar, std::size_t count) {
  if (aIsScalar && bIsScalar) return combine<Operation, true, true>(result, a, b, count);
  if (aIsScalar) return combine<Operation, true, false>(result, a, b, count);
  if (bIsScalar) return combine<Operation, false, true>(result, a, b, count);
  combine<Operation, false, false>(result, a, b, count);
}

/// Whether every value of `inner` is one of `outer`, both double-backed fixed-point formats.
bool contains(const quantizer& outer, const quantizer& inner) {
  return outer.fractionLength() >= inner.fractionLength() && outer.doubleFormat().min <= inner.doubleFormat().min &&
         outer.doubleFormat().max >= inner.doubleFormat().max;
}

/// Which quantizations of a sum change nothing and have nothing to record.
struct Identities {
  bool castA = false, castB = false, sum = false;
};

template <class Operation>
Identities identities(const fi& a, const fi& b, const fi& sumRegister) {
  const quantizer &qa = a.getAssignmentQuantizer(), &qb = b.getAssignmentQuantizer();
  const quantizer& q = sumRegister.getAssignmentQuantizer();
  const bool cast = a.getFimath().castBeforeSum();
  const bool provable = !q.logger().isOn() && q.numericType().isFixed() && a.getNumericType().isFixed() &&
                        b.getNumericType().isFixed();
  if (!provable) return {!cast, !cast, false};
  const bool aFits = contains(q, qa), bFits = contains(q, qb);
  const DoubleFormat &fa = qa.doubleFormat(), &fb = qb.doubleFormat();
  const double low = std::min(Operation::apply(fa.min, fb.min), Operation::apply(fa.min, fb.max));
  const double high = std::max(Operation::apply(fa.max, fb.min), Operation::apply(fa.max, fb.max));
  const bool sumFits = aFits && bFits && low >= q.doubleFormat().min && high <= q.doubleFormat().max;
  return {!cast || aFits, !cast || bFits, sumFits};
}

/// result = quantized(cast(a) ± cast(b)), in blocks that stay in the first-level cache.
template <class Operation>
void sumArrays(const Addend& a, const Addend& b, const Identities& identity, const quantizer& q, double* result,
               std::size_t count) {
  constexpr std::size_t kBlock = 1024;
  std::array<double, kBlock> castA, castB;
  for (std::size_t first = 0; first < count; first += kBlock) {
    const std::size_t size = std::min(kBlock, count - first);
    const auto prepared = [&](const Addend& addend, bool isIdentity, double* buffer) {
      const double* source = addend.at(first);
      if (isIdentity) return source;
      if (addend.isScalar) {
        std::fill_n(buffer, size, *source);
      } else {
        std::copy_n(source, size, buffer);
      }
      q.quantize(buffer, size);
      return static_cast<const double*>(buffer);
    };
    const double* left = prepared(a, identity.castA, castA.data());
    const double* right = prepared(b, identity.castB, castB.data());
    combine<Operation>(result + first, left, a.isScalar && identity.castA, right, b.isScalar && identity.castB, size);
    if (!identity.sum) q.quantize(result + first, size);
  }
}

bool areDoubles(const fi& x) {
  return x.realPart().gettype() == kDoubleRepresentation && !fi::elementPathOnly();
}

}  // namespace

fi fi::initializeSumRegister(const NumericType& type, const fimath& math, unsigned operandPrecision,
                             bool isComplex) const {
  return fi(1, 1, type, math, isComplex, tag(), OperationTypeEnum::Sum,
            std::max(operandPrecision, precisionOf(type)));
}

void fi::finishSum(fi& result, fi& sumRegister, const char* name) const {
  const qlogger& record = sumRegister.getQlogger();
  if (!record.isOn()) return;
  const qlogger& own = result.getQlogger();
  own.merge(record);
  own.takeNewOverflows();
  own.takeNewUnderflows();
  if (qlogger::getLogType() == LogTypeEnum::Global) qlogger::global(OperationTypeEnum::Sum)->merge(record);
  reportNewCounts({&record}, name);
  std::unique_ptr<fi>& kept = arithmeticState().sumRegister;
  if (kept) record.merge(kept->getQlogger());
  kept = std::make_unique<fi>(std::move(sumRegister));
}

template <class Operation>
fi fi::sumOrDifference(const fi& b) const {
  const NumericType type = getNumericTypeForAddOp(b);
  errorIfScaledDoubleSlopeBiasMath(*this, b);
  const bool complexResult = iscomplex() || b.iscomplex();
  const bool slopeBias = isSlopeBias() || b.isSlopeBias() || fimath_.isSumSlopeBiasScaled();
  if (slopeBias) refuseSlopeBias(*this, b, complexResult, Operation::kName);
  if (!isscalar() && !b.isscalar()) checkElementwiseSize(b);

  const fi& shape = isscalar() ? b : *this;
  fi result(shape.dims_.data(), shape.numDims(), type, fimath_, complexResult, tag(), OperationTypeEnum::Sum);
  const unsigned precision = sumPrecision(getNumericType(), b.getNumericType(), type, fimath_.castBeforeSum());
  fi sumRegister = initializeSumRegister(type, fimath_, precision, complexResult);

  if (!slopeBias && precision <= kMaxDoublePrecision && areDoubles(*this) && areDoubles(b)) {
    sumByBlocks<Operation>(b, sumRegister, result);
  } else {
    sumByElements<Operation>(b, sumRegister, result);
  }
  finishSum(result, sumRegister, Operation::kName);
  return result;
}

template <class Operation>
void fi::sumByBlocks(const fi& b, fi& sumRegister, fi& result) const {
  const Identities identity = identities<Operation>(*this, b, sumRegister);
  const auto sumPart = [&](number& target, const number& left, const number& right) {
    if (result.numel_ == 0) return;
    const Addend x(left, left.isempty(), isscalar()), y(right, right.isempty(), b.isscalar());
    sumArrays<Operation>(x, y, identity, sumRegister.assignmentQuantizer_, target.doubles(), result.numel_);
  };
  sumPart(result.realPart_, realPart_, b.realPart_);
  if (result.iscomplex()) sumPart(result.imagPart_, imagPart_, b.imagPart_);
  result.getQlogger().nMathOperationsPlus(result.numel_);
}

template <class Operation>
void fi::sumByElements(const fi& b, fi& sumRegister, fi& result) const {
  number scratch(0.0, sumRegister.realPart_.getprecision(), number::getDefaultForceMultiplePrecision());
  for (unsigned k = 0; k < result.numel_; ++k) {
    setIndex(isscalar() ? 0 : k);
    b.setIndex(b.isscalar() ? 0 : k);
    result.setIndex(k);
    result.oneSum<Operation>(*this, b, sumRegister, scratch);
  }
}

template <class Operation>
fi& fi::oneSum(const fi& a, const fi& b, fi& sumRegister, number& scratch) {
  const bool slopeBias = a.isSlopeBias() || b.isSlopeBias() || sumRegister.isSlopeBias();
  if (slopeBias) {
    oneSlopeBiasSum<Operation>(a, b, sumRegister);
  } else {
    oneBinaryPointSum<Operation>(a, b, sumRegister, scratch);
  }
  getQlogger().nMathOperationsPlusOne();
  if (this != &sumRegister) {
    realPart_ = sumRegister.realPart_;
    if (sumRegister.iscomplex()) imagPart_ = sumRegister.imagPart_;
  }
  return *this;
}

template <class Operation>
void fi::oneBinaryPointSum(const fi& a, const fi& b, fi& sumRegister, number& scratch) {
  const bool copied = &sumRegister != &a;
  const quantizer& q = *sumRegister.assignmentQuantizerInUse_;
  const bool cast = sumRegister.fimath_.castBeforeSum();
  if ((a.iscomplex() || b.iscomplex()) && sumRegister.isreal()) {
    sumRegister.coordinateComplexity(true, sumRegister.numel_);
  }
  const auto sumPart = [&](number& target, const number* left, const number* right) {
    if (copied) {
      if (left) {
        target = *left;
      } else {
        target = 0.0;
      }
      if (cast) q.quantize(target);
    }
    if (right) {
      scratch = *right;
    } else {
      scratch = 0.0;
    }
    if (cast) q.quantize(scratch);
    Operation::apply(target, scratch);
    q.quantize(target);
  };
  sumPart(sumRegister.realPart_, &a.realPart_, &b.realPart_);
  if (sumRegister.isreal()) return;
  sumPart(sumRegister.imagPart_, a.isreal() ? nullptr : &a.imagPart_, b.isreal() ? nullptr : &b.imagPart_);
}

// ------------------------------------------------------------------------------------------------------ slope and bias

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

}  // namespace

bool fi::needToInitSlopeBiasCorrectionFactorsForPlus(const fi& b, const fi& result) const {
  const auto& factors = arithmeticState().slopeBias;
  return !factors || !factors->left.isequivalent(getNumericType()) ||
         !factors->right.isequivalent(b.getNumericType()) || !factors->result.isequivalent(result.getNumericType());
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

template <class Operation>
void fi::oneSlopeBiasSum(const fi& a, const fi& b, fi& sumRegister) {
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
  Operation::apply(sum, right);
  q.quantize(sum);
  number bias(Operation::netBias(factors), sumRegister.realPart_.getprecision(), false);
  sum += q.quantize(bias);
  q.quantize(sum);
}

// ------------------------------------------------------------------------------------------------- public operations

fi fi::plus(const fi& b) const { return sumOrDifference<Add>(b); }
fi fi::minus(const fi& b) const { return sumOrDifference<Subtract>(b); }

fi& fi::sumEquals(const fi& a, const fi& b, fi& sumRegister, number& scratch) {
  return oneSum<Add>(a, b, sumRegister, scratch);
}

fi& fi::diffEquals(const fi& a, const fi& b, fi& sumRegister, number& scratch) {
  return oneSum<Subtract>(a, b, sumRegister, scratch);
}

fi& fi::sumEquals(const fi& a, const fi& b, fi& sumRegister) {
  number scratch(0.0, std::max(getPrecision(), sumRegister.getPrecision()), false);
  return oneSum<Add>(a, b, sumRegister, scratch);
}

fi& fi::diffEquals(const fi& a, const fi& b, fi& sumRegister) {
  number scratch(0.0, std::max(getPrecision(), sumRegister.getPrecision()), false);
  return oneSum<Subtract>(a, b, sumRegister, scratch);
}

template <class Operation>
fi& fi::inPlace(const fi& b) {
  errorIfMathMismatch(*this, b);
  errorIfScaledDoubleSlopeBiasMath(*this, b);
  const bool slopeBias = isSlopeBias() || b.isSlopeBias();
  if (slopeBias) refuseSlopeBias(*this, b, iscomplex() || b.iscomplex(), Operation::kName);
  if (!b.isscalar()) checkElementwiseSize(b);

  const unsigned precision =
      sumPrecision(getNumericType(), b.getNumericType(), getNumericType(), fimath_.castBeforeSum());
  number scratch(0.0, precision, number::getDefaultForceMultiplePrecision());
  if (b.iscomplex() && isreal()) coordinateComplexity(true, numel_);
  // This array is the register wherever its storage holds the exact sum; otherwise a wider one stands in for it.
  fi wider = initializeSumRegister(getNumericType(), fimath_, precision, iscomplex());
  const bool isOwnRegister = precision <= std::max(realPart_.getprecision(), kMaxDoublePrecision) || slopeBias;
  for (unsigned k = 0; k < numel_; ++k) {
    setIndex(k);
    b.setIndex(b.isscalar() ? 0 : k);
    oneSum<Operation>(*this, b, isOwnRegister ? *this : wider, scratch);
  }
  if (!isOwnRegister) getQlogger().merge(wider.getQlogger());
  reportNewCounts({&getQlogger()}, Operation::kName);
  return *this;
}

fi& fi::operator+=(const fi& b) { return inPlace<Add>(b); }
fi& fi::operator-=(const fi& b) { return inPlace<Subtract>(b); }

fi fi::leadingdimension_sum() const {
  Shape dims = dims_;
  if (dims[0] < 2 && dims[1] == 0) dims[1] = 1;
  dims[0] = 1;
  const unsigned numDims = static_cast<unsigned>(dims.size());
  if (isempty()) return fi(dims.data(), numDims, getNumericType(), fimath_, iscomplex(), tag(), OperationTypeEnum::Sum);

  const NumericType type = getNumericTypeForLeadingDimensionSum();
  fi result(dims.data(), numDims, type, fimath_, iscomplex(), tag(), OperationTypeEnum::Sum);
  const unsigned precision = sumPrecision(type, getNumericType(), type, fimath_.castBeforeSum());
  fi sumRegister = initializeSumRegister(type, fimath_, precision, iscomplex());
  number scratch(0.0, precision, number::getDefaultForceMultiplePrecision());
  for (unsigned column = 0; column < cols_; ++column) {
    sumRegister.realPart_ = 0.0;
    if (iscomplex()) sumRegister.imagPart_ = 0.0;
    for (unsigned row = 0; row < rows_; ++row) {
      setIndex(column * rows_ + row);
      sumRegister.oneSum<Add>(sumRegister, *this, sumRegister, scratch);
    }
    result.realPart_[column] = sumRegister.realPart_;
    if (iscomplex()) result.imagPart_[column] = sumRegister.imagPart_;
  }
  finishSum(result, sumRegister, "sum");
  return result;
}

}  // namespace embedded
