/// Addition and subtraction: element by element through the sum register, and by blocks over doubles.
#include <algorithm>

#include "qfcore/fi/arithmeticstate.h"
#include "qfcore/fi/messages.h"
#include "qfcore/fi/paths/blocks.h"
#include "qfcore/fi/paths/wideloops.h"
#include "qfcore/fi/resulttypes.h"
#include "qfcore/fi/scratch.h"

namespace embedded {

namespace {

struct Add {
  static constexpr const char* kName = "plus";
  static constexpr bool kSubtracts = false;
  static double apply(double a, double b) { return a + b; }
  static void apply(number& a, const number& b) { a += b; }
  static void apply(MpFloat& sum, const MpFloat& a, const MpFloat& b) { sum.setSum(a, b); }
  static double netBias(const SlopeBiasFactors& factors) { return factors.netBiasPlus; }
};

struct Subtract {
  static constexpr const char* kName = "minus";
  static constexpr bool kSubtracts = true;
  static double apply(double a, double b) { return a - b; }
  static void apply(number& a, const number& b) { a -= b; }
  static void apply(MpFloat& difference, const MpFloat& a, const MpFloat& b) { difference.setDifference(a, b); }
  static double netBias(const SlopeBiasFactors& factors) { return factors.netBiasMinus; }
};

void refuseSlopeBias(const fi& a, const fi& b, bool isComplex, const char* name) {
  if (isComplex) fail<message::complexSlopeBias>(name);
  if (!a.getFimath().castBeforeSum() || !b.getFimath().castBeforeSum()) fail<message::castBeforeSumFalse>(name);
}

// ------------------------------------------------------------------------------------------ blocks of doubles

/// Which addends need no cast: it would change nothing and have nothing to record.
struct Uncast {
  bool a, b;
};

Uncast uncast(const fi& a, const fi& b, const fi& sumRegister) {
  if (!a.getFimath().castBeforeSum()) return {true, true};
  if (sumRegister.getQlogger().isOn()) return {false, false};
  const NumericType& type = sumRegister.getNumericType();
  return {resulttypes::contains(type, a.getNumericType()), resulttypes::contains(type, b.getNumericType())};
}

/// result = quantized(cast(a) ± cast(b)), in blocks that stay in the first-level cache.
template <class Operation>
void sumArrays(const BlockOperand& a, const BlockOperand& b, const Uncast& isUncast, const quantizer& q,
               double* result, std::size_t count) {
  Block castA, castB;
  for (std::size_t first = 0; first < count; first += kBlock) {
    const std::size_t size = std::min(kBlock, count - first);
    const auto prepared = [&](const BlockOperand& addend, bool isReady, double* buffer) {
      const double* source = addend.at(first);
      if (isReady) return source;
      if (addend.isScalar) {
        std::fill_n(buffer, size, *source);
        source = buffer;
      }
      q.quantize(source, buffer, size);
      return static_cast<const double*>(buffer);
    };
    const double* left = prepared(a, isUncast.a, castA.data());
    const double* right = prepared(b, isUncast.b, castB.data());
    combine<Operation>(result + first, left, a.isScalar && isUncast.a, right, b.isScalar && isUncast.b, size);
    q.quantize(result + first, size);
  }
}

}  // namespace

fi fi::initializeSumRegister(const NumericType& type, const fimath& math, unsigned operandPrecision,
                             bool isComplex) const {
  return fi(1, 1, type, math, isComplex, tag(), OperationTypeEnum::Sum,
            std::max(operandPrecision, precisionOf(type)));
}

void fi::finishRegister(fi* result, fi& finished, const char* name,
                        std::unique_ptr<fi> ArithmeticState::*kept) const {
  const qlogger& record = finished.getQlogger();
  if (!record.isOn()) return;
  if (result) {
    const qlogger& own = result->getQlogger();
    own.merge(record);
    own.takeNewOverflows();
    own.takeNewUnderflows();
  }
  const OperationTypeEnum kind = record.operationType();
  if (qlogger::getLogType() == LogTypeEnum::Global) qlogger::global(kind)->merge(record);
  reportNewCounts({&record}, name,
                  kind == OperationTypeEnum::Product ? ReportKind::Product : ReportKind::Plain);
  std::unique_ptr<fi>& before = arithmeticState().*kept;
  if (before) record.merge(before->getQlogger());
  before = std::make_unique<fi>(std::move(finished));
}

namespace {

/// The same sums of wide values, or of wide and narrow ones.
template <class Operation>
[[gnu::noinline]] void sumWideExactly(const fi& a, const fi& b, fi& result) {
  const auto sumPart = [&](number& target, const number& left, const number& right) {
    if (combineWide<Operation>(target, WideOperand(a, left), WideOperand(b, right))) return;
    for (unsigned k = 0; k < result.numel(); ++k) {
      a.setIndex(a.isscalar() ? 0 : k);
      b.setIndex(b.isscalar() ? 0 : k);
      target.setIndex(k);
      if (!left.isempty()) target = left;
      if (!right.isempty()) Operation::apply(target, right);
    }
  };
  sumPart(result.realPart(), a.realPart(), b.realPart());
  if (result.iscomplex()) sumPart(result.imagPart(), a.imagPart(), b.imagPart());
}

/// For operands and sums of which every value is one of the result's type: nothing is left to quantize.
template <class Operation>
void sumExactly(const fi& a, const fi& b, fi& result) {
  if (!areDoubles(a) || !areDoubles(b) || !areDoubles(result)) return sumWideExactly<Operation>(a, b, result);
  const auto sumPart = [&](number& target, const BlockOperand& left, const BlockOperand& right) {
    combine<Operation>(target.doubles(), left.values, left.isScalar, right.values, right.isScalar,
                       result.numel());
  };
  sumPart(result.realPart(), BlockOperand::real(a), BlockOperand::real(b));
  if (result.iscomplex()) sumPart(result.imagPart(), BlockOperand::imag(a), BlockOperand::imag(b));
}

}  // namespace

template <class Operation>
fi fi::sumOrDifference(const fi& b) const {
  const NumericType type = sumTypeWith(b);
  errorIfScaledDoubleSlopeBiasMath(*this, b);
  const bool complexResult = iscomplex() || b.iscomplex();
  const bool slopeBias = isSlopeBias() || b.isSlopeBias() || fimath_.isSumSlopeBiasScaled();
  if (slopeBias) refuseSlopeBias(*this, b, complexResult, Operation::kName);
  if (!isscalar() && !b.isscalar()) checkElementwiseSize(b);

  const fi& shape = isscalar() ? b : *this;
  fi result(shape.dims_, type, fimath_, complexResult, tag(), OperationTypeEnum::Sum);
  // Registers log whenever logging is on.
  if (!slopeBias && !sElementPathOnly && !qlogger::getLogging() &&
      resulttypes::containsSums(type, getNumericType(), b.getNumericType(), Operation::kSubtracts)) {
    sumExactly<Operation>(*this, b, result);
  } else {
    sumThroughRegister<Operation>(b, slopeBias, result);
  }
  return result;
}

// Apart, so that a sum that needs no register does not pay for the room of one.
template <class Operation>
[[gnu::noinline]] void fi::sumThroughRegister(const fi& b, bool slopeBias, fi& result) const {
  const NumericType& type = result.getNumericType();
  const unsigned precision = sumPrecision(getNumericType(), b.getNumericType(), type, fimath_.castBeforeSum());
  fi sumRegister = initializeSumRegister(type, fimath_, precision, result.iscomplex());
  if (!slopeBias && precision <= kMaxDoublePrecision && areDoubles(*this) && areDoubles(b)) {
    sumByBlocks<Operation>(b, sumRegister, result);
  } else if (!slopeBias && precision > kMaxDoublePrecision && !sElementPathOnly) {
    sumWide<Operation>(b, sumRegister, result);
  } else {
    sumByElements<Operation>(b, sumRegister, result);
  }
  finishRegister(&result, sumRegister, Operation::kName, &ArithmeticState::sumRegister);
}

template <class Operation>
void fi::sumByBlocks(const fi& b, fi& sumRegister, fi& result) const {
  const Uncast isUncast = uncast(*this, b, sumRegister);
  const auto sumPart = [&](number& target, const BlockOperand& left, const BlockOperand& right) {
    sumArrays<Operation>(left, right, isUncast, sumRegister.assignmentQuantizer_, target.doubles(),
                         result.numel_);
  };
  sumPart(result.realPart_, BlockOperand::real(*this), BlockOperand::real(b));
  if (result.iscomplex()) sumPart(result.imagPart_, BlockOperand::imag(*this), BlockOperand::imag(b));
  result.getQlogger().nMathOperationsPlus(result.numel_);
}

template <class Operation>
void fi::sumWide(const fi& b, fi& sumRegister, fi& result) const {
  const Uncast isUncast = uncast(*this, b, sumRegister);
  const quantizer& q = sumRegister.assignmentQuantizer_;
  const unsigned precision = sumRegister.realPart_.getprecision();
  WideScratch left(precision), right(precision);
  const auto sumPart = [&](number& target, const WideOperand& x, const WideOperand& y) {
    for (unsigned k = 0; k < result.numel_; ++k) {
      left.take(x, k);
      if (!isUncast.a) q.quantize(left.asNumber());
      right.take(y, k);
      if (!isUncast.b) q.quantize(right.asNumber());
      Operation::apply(*left, *left, *right);
      q.quantize(left.asNumber(), target[k]);
    }
  };
  sumPart(result.realPart_, {*this, realPart_}, {b, b.realPart_});
  if (result.iscomplex()) sumPart(result.imagPart_, {*this, imagPart_}, {b, b.imagPart_});
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

// --------------------------------------------------------------------------------------------- slope and bias

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

// ------------------------------------------------------------------------------------------ public operations

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
  // This array is the register wherever its storage holds the exact sum; otherwise a wider one stands in for
  // it.
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

namespace {

/// Sums along one dimension: of `length` elements that stand `stride` apart.
struct Fibers {
  std::size_t stride, length, count;
  std::size_t first(std::size_t k) const { return k % stride + k / stride * stride * length; }
};

/// Which quantizations of a running sum change nothing and have nothing to record.
struct Identities {
  bool cast, sum;
};

/// Sums of doubles, each started at 0 and quantized after every term. Neighbouring fibers sum in step.
class FiberSums {
 public:
  FiberSums(const Fibers& fibers, const Identities& identity, const quantizer& q)
      : fibers_(fibers), identity_(identity), q_(q) {}

  void run(const double* values, double* sums) const {
    if (fibers_.stride == 1) {
      for (std::size_t k = 0; k < fibers_.count; ++k) sums[k] = alongBlock(values + k * fibers_.length);
      return;
    }
    for (std::size_t k = 0; k < fibers_.count; k += fibers_.stride) {
      for (std::size_t first = 0; first < fibers_.stride; first += kBlock) {
        inStep(values + fibers_.first(k) + first, sums + k + first, std::min(kBlock, fibers_.stride - first));
      }
    }
  }

 private:
  const double* castTerms(const double* values, Block& room, std::size_t count) const {
    if (identity_.cast) return values;
    q_.quantize(values, room.data(), count);
    return room.data();
  }

  double alongBlock(const double* values) const {
    Block room;
    double sum = 0;
    for (std::size_t first = 0; first < fibers_.length; first += kBlock) {
      const std::size_t count = std::min(kBlock, fibers_.length - first);
      const double* terms = castTerms(values + first, room, count);
      for (std::size_t k = 0; k < count; ++k) {
        sum += terms[k];
        if (!identity_.sum) q_.quantize(&sum, 1);
      }
    }
    return sum;
  }

  void inStep(const double* values, double* sums, std::size_t count) const {
    Block room;
    std::fill_n(sums, count, 0.0);
    for (std::size_t k = 0; k < fibers_.length; ++k) {
      combine<Add, false, false>(sums, sums, castTerms(values + k * fibers_.stride, room, count), count);
      if (!identity_.sum) q_.quantize(sums, count);
    }
  }

  Fibers fibers_;
  Identities identity_;
  const quantizer& q_;
};

/// Whether the type holds every partial sum of `terms` values of the array's type.
Identities sumIdentities(const fi& x, std::size_t terms, const quantizer& q) {
  const bool cast = x.getFimath().castBeforeSum();
  if (q.logger().isOn() || !q.numericType().isFixed() || !x.getNumericType().isFixed()) return {!cast, false};
  const quantizer& own = x.getAssignmentQuantizer();
  const DoubleFormat &format = own.doubleFormat(), &sums = q.doubleFormat();
  const bool holds = resulttypes::contains(q.numericType(), own.numericType());
  const auto count = static_cast<double>(terms);
  return {!cast || holds, holds && format.min * count >= sums.min && format.max * count <= sums.max};
}

}  // namespace

fi fi::leadingdimension_sum() const { return sumAlong(1); }

fi fi::sumAlong(unsigned dimension) const {
  const unsigned length = getDimension(dimension);
  Shape dims = dims_;
  if (dimension <= dims.size()) dims[dimension - 1] = 1;
  if (dimension == 1 && dims_[0] < 2 && dims[1] == 0) dims[1] = 1;
  while (dims.size() > 2 && dims.back() == 1) dims.pop_back();
  const auto numDims = static_cast<unsigned>(dims.size());
  if (isempty())
    return fi(dims.data(), numDims, getNumericType(), fimath_, iscomplex(), tag(), OperationTypeEnum::Sum);

  errorIfBooleanMath(*this);
  errorIfSlopeBiasMath(*this);
  const NumericType type = arithmeticState().sumType =
      resulttypes::sumOfTerms(getNumericType(), length, fimath_);
  fi result(dims, type, fimath_, iscomplex(), tag(), OperationTypeEnum::Sum);
  const unsigned precision = sumPrecision(type, getNumericType(), type, fimath_.castBeforeSum());
  fi sumRegister = initializeSumRegister(type, fimath_, precision, iscomplex());
  Fibers fibers{1, length, numel_ / length};
  for (unsigned d = 0; d + 1 < dimension && d < dims_.size(); ++d) fibers.stride *= dims_[d];

  if (precision <= kMaxDoublePrecision && areDoubles(*this) && areDoubles(result)) {
    const quantizer& q = sumRegister.assignmentQuantizer_;
    const FiberSums sums(fibers, sumIdentities(*this, length, q), q);
    sums.run(valuesOf(*this, realPart_), result.realPart_.doubles());
    if (iscomplex()) sums.run(valuesOf(*this, imagPart_), result.imagPart_.doubles());
    sumRegister.getQlogger().nMathOperationsPlus(numel_);
  } else {
    sumFibers(fibers.stride, length, sumRegister, result);
  }
  finishRegister(&result, sumRegister, "sum", &ArithmeticState::sumRegister);
  return result;
}

void fi::sumFibers(std::size_t stride, std::size_t length, fi& sumRegister, fi& result) const {
  const Fibers fibers{stride, length, result.numel_};
  Scratch scratch(sumRegister.realPart_.getprecision());
  for (unsigned k = 0; k < result.numel_; ++k) {
    sumRegister.realPart_ = 0.0;
    if (iscomplex()) sumRegister.imagPart_ = 0.0;
    for (std::size_t term = 0; term < length; ++term) {
      setIndex(static_cast<unsigned>(fibers.first(k) + term * stride));
      sumRegister.oneSum<Add>(sumRegister, *this, sumRegister, scratch);
    }
    result.realPart_[k] = sumRegister.realPart_;
    if (iscomplex()) result.imagPart_[k] = sumRegister.imagPart_;
  }
}

}  // namespace embedded
