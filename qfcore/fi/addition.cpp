/// Addition and subtraction: element by element through the sum register, and by blocks over doubles.
#include <algorithm>

#include "qfcore/fi/arithmeticstate.h"
#include "qfcore/fi/assignmentlog.h"
#include "qfcore/fi/exactness.h"
#include "qfcore/fi/expansion.h"
#include "qfcore/fi/messages.h"
#include "qfcore/fi/paths/blocks.h"
#include "qfcore/fi/paths/operations.h"
#include "qfcore/fi/paths/wideloops.h"
#include "qfcore/fi/scratch.h"

namespace embedded {

namespace {

void refuseSlopeBias(const fimath& math, bool isComplex, const char* name) {
  if (isComplex) fail<message::complexSlopeBias>(name);
  if (!math.castBeforeSum()) fail<message::castBeforeSumFalse>(name);
}

// ------------------------------------------------------------------------------------------ blocks of doubles

/// Which addends need no cast: it would change nothing and have nothing to record.
struct Uncast {
  bool a, b;
  /// A missing imaginary part counts as zero, but there is nothing to cast.
  Uncast ofImaginaryParts(const fi& x, const fi& y) const { return {a || x.isreal(), b || y.isreal()}; }
};

Uncast uncast(const fi& a, const fi& b, const fi& sumRegister) {
  if (!a.getFimath().castBeforeSum()) return {true, true};
  if (sumRegister.getQlogger().isOn()) return {false, false};
  const NumericType& type = sumRegister.getNumericType();
  return {exactness::holds(type, a.getNumericType()), exactness::holds(type, b.getNumericType())};
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

namespace {

/// The same sums of wide values, or of wide and narrow ones.
template <class Operation>
[[gnu::noinline]] void sumWideExactly(const fi& a, const fi& b, fi& result) {
  const auto sumPart = [&](number& target, const number& left, const number& right) {
    const WideOperand x(a, left), y(b, right);
    if (x.isWide() && y.isWide() && target.multiprecision()) return combineWide<Operation>(target, x, y);
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
void sumExactly(const fi& a, const fi& b, Path path, fi& result) {
  if (path == Path::PlainWide) return sumWideExactly<Operation>(a, b, result);
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
  const bool complexResult = iscomplex() || b.iscomplex();
  const bool slopeBias = isSlopeBias() || b.isSlopeBias() || fimath_.isSumSlopeBiasScaled();
  if (slopeBias) {
    errorIfScaledDoubleSlopeBiasMath(*this, b);
    refuseSlopeBias(fimath_, complexResult, Operation::kName);
  }
  const fi& shape = shapeOfResult(*this, b);
  fi result(shape.dims_, type, fimath_, complexResult, tag(), OperationTypeEnum::Sum);
  // Registers log whenever logging is on.
  if (!qlogger::getLogging() &&
      exactness::holdsSums(type, getNumericType(), b.getNumericType(), Operation::kSubtracts)) {
    const Path path = choosePath({.isExact = true, .wideLoops = WideLoops::OfAny}, *this, b, result);
    if (path != Path::Elements) {
      sumExactly<Operation>(*this, b, path, result);
      return result;
    }
  }
  sumThroughRegister<Operation>(b, slopeBias, result);
  return result;
}

// Apart, so that a sum that needs no register does not pay for the room of one.
template <class Operation>
[[gnu::noinline]] void fi::sumThroughRegister(const fi& b, bool slopeBias, fi& result) const {
  const NumericType& type = result.getNumericType();
  const unsigned precision = sumPrecision(getNumericType(), b.getNumericType(), type, fimath_.castBeforeSum());
  fi sumRegister = initializeSumRegister(type, fimath_, precision, result.iscomplex());
  const bool fitsDoubles = precision <= kMaxDoublePrecision;
  const Ways ways{.hasBlocks = !slopeBias && fitsDoubles,
                  .wideLoops = slopeBias || fitsDoubles ? WideLoops::None : WideLoops::OfAny};
  switch (choosePath(ways, *this, b, result)) {
    case Path::Blocks: sumByBlocks<Operation>(b, sumRegister, result); break;
    case Path::Wide: sumWide<Operation>(b, sumRegister, result); break;
    default: sumByElements<Operation>(b, sumRegister, result);
  }
  finishRegisters(&result, Operation::kName, {{RegisterLog::Sum, sumRegister}});
}

template <class Operation>
void fi::sumByBlocks(const fi& b, fi& sumRegister, fi& result) const {
  const Uncast isUncast = uncast(*this, b, sumRegister);
  const auto sumPart = [&](number& target, const BlockOperand& left, const BlockOperand& right,
                           const Uncast& isReady) {
    sumArrays<Operation>(left, right, isReady, sumRegister.assignmentQuantizer_, target.doubles(),
                         result.numel_);
  };
  sumPart(result.realPart_, BlockOperand::real(*this), BlockOperand::real(b), isUncast);
  if (result.iscomplex())
    sumPart(result.imagPart_, BlockOperand::imag(*this), BlockOperand::imag(b),
            isUncast.ofImaginaryParts(*this, b));
  result.getQlogger().nMathOperationsPlus(result.numel_);
}

template <class Operation>
void fi::sumWide(const fi& b, fi& sumRegister, fi& result) const {
  const Uncast isUncast = uncast(*this, b, sumRegister);
  const quantizer& q = sumRegister.assignmentQuantizer_;
  const unsigned precision = sumRegister.realPart_.getprecision();
  WideScratch left(precision), right(precision);
  const auto sumPart = [&](number& target, const WideOperand& x, const WideOperand& y, const Uncast& isReady) {
    for (unsigned k = 0; k < result.numel_; ++k) {
      left.take(x, k);
      if (!isReady.a) q.quantize(left.asNumber());
      right.take(y, k);
      if (!isReady.b) q.quantize(right.asNumber());
      Operation::apply(*left, *left, *right);
      q.quantize(left.asNumber(), target[k]);
    }
  };
  sumPart(result.realPart_, {*this, realPart_}, {b, b.realPart_}, isUncast);
  if (result.iscomplex())
    sumPart(result.imagPart_, {*this, imagPart_}, {b, b.imagPart_}, isUncast.ofImaginaryParts(*this, b));
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
  const bool isComplex = formSum<Operation>(a, b, sumRegister, scratch);
  getQlogger().nMathOperationsPlusOne();
  if (this != &sumRegister) {
    if (isComplex && isreal()) becomeComplex();
    realPart_ = sumRegister.realPart_;
    if (iscomplex()) imagPart_ = isComplex ? sumRegister.imagPart_ : zeroValue();
  }
  return *this;
}

template <class Operation>
bool fi::formSum(const fi& a, const fi& b, fi& sumRegister, number& scratch) {
  const bool slopeBias = a.isSlopeBias() || b.isSlopeBias() || sumRegister.isSlopeBias();
  if (slopeBias) {
    oneSlopeBiasSum(a, b, sumRegister, Operation::kSubtracts);
  } else {
    oneBinaryPointSum<Operation>(a, b, sumRegister, scratch);
  }
  return !slopeBias && (a.iscomplex() || b.iscomplex());
}

template <class Operation>
void fi::oneBinaryPointSum(const fi& a, const fi& b, fi& sumRegister, number& scratch) {
  const bool copied = &sumRegister != &a;
  const quantizer& q = *sumRegister.assignmentQuantizerInUse_;
  const bool cast = sumRegister.fimath_.castBeforeSum();
  if ((a.iscomplex() || b.iscomplex()) && sumRegister.isreal()) {
    sumRegister.becomeComplex();
  }
  const auto sumPart = [&](number& target, const number* left, const number* right) {
    // A missing imaginary part counts as zero, but there is nothing to cast.
    if (copied && left) {
      target = *left;
      if (cast) q.quantize(target);
    } else if (copied) {
      target = 0.0;
    }
    if (right) {
      scratch = *right;
      if (cast) q.quantize(scratch);
      Operation::apply(target, scratch);
    }
    q.quantize(target);
  };
  sumPart(sumRegister.realPart_, &a.realPart_, &b.realPart_);
  if (sumRegister.isreal()) return;
  sumPart(sumRegister.imagPart_, a.isreal() ? nullptr : &a.imagPart_, b.isreal() ? nullptr : &b.imagPart_);
}

// ------------------------------------------------------------------------------------------ public operations

fi fi::plus(const fi& b) const { return sumOrDifference<Add>(b); }
fi fi::minus(const fi& b) const { return sumOrDifference<Subtract>(b); }

namespace {

void requireEach(std::initializer_list<const fi*> operands) {
  for (const fi* operand : operands) operand->requireElements();
}

}  // namespace

fi& fi::sumEquals(const fi& a, const fi& b, fi& sumRegister, number& scratch) {
  requireEach({this, &a, &b, &sumRegister});
  return oneSum<Add>(a, b, sumRegister, scratch);
}

fi& fi::diffEquals(const fi& a, const fi& b, fi& sumRegister, number& scratch) {
  requireEach({this, &a, &b, &sumRegister});
  return oneSum<Subtract>(a, b, sumRegister, scratch);
}

template <class Operation>
fi& fi::oneSumAlone(const fi& a, const fi& b, fi& sumRegister) {
  requireEach({this, &a, &b, &sumRegister});
  const NumericType& type = sumRegister.getNumericType();
  const unsigned precision =
      sumPrecision(a.getNumericType(), b.getNumericType(), type, sumRegister.fimath_.castBeforeSum());
  number scratch(0.0, precision, false);
  const bool slopeBias = a.isSlopeBias() || b.isSlopeBias() || type.isSlopeBias();
  if (slopeBias || precision <= std::max(sumRegister.realPart_.getprecision(), kMaxDoublePrecision))
    return oneSum<Operation>(a, b, sumRegister, scratch);
  // A wider register stands in for one that would round what is only to be quantized.
  fi wider = initializeSumRegister(type, sumRegister.fimath_, precision, a.iscomplex() || b.iscomplex());
  wider.setLogging(sumRegister.getQlogger().isAlwaysOn());
  oneSum<Operation>(a, b, wider, scratch);
  sumRegister.getQlogger().merge(wider.getQlogger());
  if (&sumRegister == this) return *this;
  if (wider.iscomplex() && sumRegister.isreal()) sumRegister.becomeComplex();
  sumRegister.realPart_ = wider.realPart_;
  if (sumRegister.iscomplex()) sumRegister.imagPart_ = wider.isreal() ? zeroValue() : wider.imagPart_;
  return *this;
}

void fi::becomeComplex() {
  coordinateComplexity(true, numel_);
  imagPart_.setIndex(realPart_.getIndex());
}

fi& fi::sumEquals(const fi& a, const fi& b, fi& sumRegister) { return oneSumAlone<Add>(a, b, sumRegister); }

fi& fi::diffEquals(const fi& a, const fi& b, fi& sumRegister) {
  return oneSumAlone<Subtract>(a, b, sumRegister);
}

template <class Operation>
fi& fi::inPlace(const fi& b) {
  if (&b != this && sharesElementsWith(b)) return inPlace<Operation>(b.detached());
  errorIfMathMismatch(*this, b);
  errorIfScaledDoubleSlopeBiasMath(*this, b);
  const bool slopeBias = isSlopeBias() || b.isSlopeBias();
  if (slopeBias) refuseSlopeBias(fimath_, iscomplex() || b.iscomplex(), Operation::kName);
  if (!b.isscalar()) checkElementwiseSize(b);

  const unsigned precision =
      sumPrecision(getNumericType(), b.getNumericType(), getNumericType(), fimath_.castBeforeSum());
  number scratch(0.0, precision, number::getDefaultForceMultiplePrecision());
  if (b.iscomplex() && isreal()) coordinateComplexity(true, numel_);
  fi sumRegister = initializeSumRegister(getNumericType(), fimath_, precision, iscomplex());
  sumRegister.setLogging(getQlogger().isAlwaysOn());
  const auto copyElement = [](const fi& from, fi& to) {
    to.realPart_ = from.realPart_;
    if (to.iscomplex()) to.imagPart_ = from.imagPart_;
  };
  // This array takes the register's place wherever its storage holds the exact sum.
  const bool isOwnRegister = precision <= std::max(realPart_.getprecision(), kMaxDoublePrecision) || slopeBias;
  assignWith(sumRegister.assignmentQuantizer_, [&] {
    for (unsigned k = 0; k < numel_; ++k) {
      setIndex(k);
      b.setIndex(b.isscalar() ? 0 : k);
      if (isOwnRegister) {
        formSum<Operation>(*this, b, *this, scratch);
        continue;
      }
      copyElement(*this, sumRegister);
      formSum<Operation>(sumRegister, b, sumRegister, scratch);
      copyElement(sumRegister, *this);
    }
  });
  getQlogger().nMathOperationsPlus(numel_);
  finishRegisters(this, Operation::kName, {{RegisterLog::Sum, sumRegister}});
  return *this;
}

fi& fi::operator+=(const fi& b) { return inPlace<Add>(b); }
fi& fi::operator-=(const fi& b) { return inPlace<Subtract>(b); }

}  // namespace embedded
