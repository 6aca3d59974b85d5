/// Addition and subtraction: element by element through the sum register, and by blocks over doubles.
#include <algorithm>
#include <array>
#include <utility>

#include "qfcore/fi/arithmeticstate.h"
#include "qfcore/fi/assignmentlog.h"
#include "qfcore/fi/exactness.h"
#include "qfcore/fi/expansion.h"
#include "qfcore/fi/messages.h"
#include "qfcore/fi/paths/blocks.h"
#include "qfcore/fi/paths/integersums.h"
#include "qfcore/fi/paths/operations.h"
#include "qfcore/fi/paths/wideloops.h"
#include "qfcore/fi/scratch.h"

namespace embedded {

namespace {

void refuseSlopeBias(const fimath& math, bool isComplex, const char* name) {
  if (isComplex) fail<message::complexSlopeBias>(name);
  if (!math.castBeforeSum()) fail<message::castBeforeSumFalse>(name);
}

void requireEach(std::initializer_list<const fi*> operands) {
  for (const fi* operand : operands) operand->requireElements();
}

// ------------------------------------------------------------------------------------------ blocks of doubles

/// Which addends need no cast: it would change nothing and have nothing to record.
struct Uncast {
  bool a, b;
  /// A missing imaginary part counts as zero, but there is nothing to cast.
  Uncast ofImaginaryParts(const fi& x, const fi& y) const { return {a || x.isreal(), b || y.isreal()}; }
};

Uncast uncast(const fi& a, const fi& b, const quantizer& sums) {
  if (!a.getFimath().castBeforeSum()) return {true, true};
  if (sums.logger().isOn()) return {false, false};
  const NumericType& type = sums.numericType();
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
    if (x.isWide() && y.isWide()) return combineWide<Operation>(target, x, y);
    const number p(left, Reading{}), q(right, Reading{});
    for (unsigned k = 0; k < result.numel(); ++k) {
      target.setIndex(k);
      if (!p.isempty()) target = p[a.isscalar() ? 0 : k];
      if (!q.isempty()) Operation::apply(target, q[b.isscalar() ? 0 : k]);
    }
  };
  sumPart(result.realPart(), a.realPart(), b.realPart());
  if (result.iscomplex()) sumPart(result.imagPart(), a.imagPart(), b.imagPart());
}

template <class Operation>
[[gnu::noinline]] bool sumLongExactly(const fi& a, const fi& b, fi& result) {
  const NumericType& type = result.getNumericType();
  const IntegerSizes sizes =
      integersForSums(a.getNumericType(), b.getNumericType(), type, false, Operation::kSubtracts);
  const Ways ways{.isExact = true,
                  .hasBlocks = false,
                  .hasIntegers = sizes != IntegerSizes::None,
                  .wideLoops = WideLoops::OfAny};
  switch (choosePath(ways, a, b, result)) {
    case Path::Integers:
      sumByIntegers(a, b, result.getAssignmentQuantizer(), false, Operation::kSubtracts, sizes, result);
      return true;
    case Path::PlainWide: sumWideExactly<Operation>(a, b, result); return true;
    default: return false;
  }
}

/// For operands and sums of which every value is one of the result's type: nothing is left to quantize. False
/// where the path is that of the elements.
template <class Operation>
bool sumExactly(const fi& a, const fi& b, fi& result) {
  if (!areDoubles(result)) return sumLongExactly<Operation>(a, b, result);
  if (choosePath({.isExact = true}, a, b, result) != Path::PlainDoubles) return false;
  const auto sumPart = [&](number& target, const BlockOperand& left, const BlockOperand& right) {
    double* const sums = target.doubles();
    shareLoop(result.numel(), kSharedDoubles, [&](std::size_t first, std::size_t size) {
      combine<Operation>(sums + first, left.at(first), left.isScalar, right.at(first), right.isScalar, size);
    });
  };
  sumPart(result.realPart(), BlockOperand::real(a), BlockOperand::real(b));
  if (result.iscomplex()) sumPart(result.imagPart(), BlockOperand::imag(a), BlockOperand::imag(b));
  return true;
}

}  // namespace

/// Sums and differences: of arrays, of single elements, in place.
struct fi::Sums {
  template <class Operation>
  static fi ofArrays(const fi& a, const fi& b) {
    if (const Ones ones = Ones::of(Operation::kKind, a, b); ones.format)
      return ones.result(Operation::apply(ones.a, ones.b), a, OperationTypeEnum::Sum);
    return ofMany<Operation>(a, b);
  }

  // Apart, so that single values do not pay for the room of arrays.
  template <class Operation>
  [[gnu::noinline]] static fi ofMany(const fi& a, const fi& b) {
    const ArrayFormat::Result sum = a.sumWith(b, Operation::kKind);
    const bool complexResult = a.iscomplex() || b.iscomplex();
    const fi& shape = checkedShape<Operation>(a, b, sum.isExact, complexResult);
    fi result(shape.dims_, sum.format, complexResult, a.getQlogger().sharedTag(), OperationTypeEnum::Sum);
    // Registers log whenever logging is on.
    if (sum.isExact && !qlogger::getLogging()) {
      if (sumExactly<Operation>(a, b, result)) return result;
    }
    rounded<Operation>(a, b, result);
    return result;
  }

  static bool needsSlopeBias(const fi& a, const fi& b) {
    return a.isSlopeBias() || b.isSlopeBias() || a.getFimath().isSumSlopeBiasScaled();
  }

  template <class Operation>
  static const fi& checkedShape(const fi& a, const fi& b, bool isExact, bool isComplex) {
    if (!isExact && needsSlopeBias(a, b)) {
      errorIfScaledDoubleSlopeBiasMath(a, b);
      refuseSlopeBias(a.getFimath(), isComplex, Operation::kName);
    }
    return shapeOfResult(a, b);
  }

  // Apart, so that an exact sum does not pay for the room of a register.
  template <class Operation>
  [[gnu::noinline]] static void rounded(const fi& a, const fi& b, fi& result) {
    const bool slopeBias = needsSlopeBias(a, b), cast = a.getFimath().castBeforeSum();
    const NumericType& type = result.getNumericType();
    const unsigned precision = sumPrecision(a.getNumericType(), b.getNumericType(), type, cast);
    const bool fitsDoubles = precision <= kMaxDoublePrecision, isWide = !slopeBias && !fitsDoubles;
    const IntegerSizes sizes =
        isWide ? integersForSums(a.getNumericType(), b.getNumericType(), type, cast, Operation::kSubtracts)
               : IntegerSizes::None;
    const Ways ways{.hasBlocks = !slopeBias && fitsDoubles,
                    .hasIntegers = sizes != IntegerSizes::None,
                    .wideLoops = isWide ? WideLoops::OfAny : WideLoops::None};
    const Path path = choosePath(ways, a, b, result);
    const auto byLoops = [&](const quantizer& q) {
      switch (path) {
        case Path::Blocks: byBlocks<Operation>(a, b, q, result); break;
        case Path::Integers: sumByIntegers(a, b, q, cast, Operation::kSubtracts, sizes, result); break;
        default: ofWide<Operation>(a, b, q, std::max(precision, precisionOf(type)), result);
      }
      result.getQlogger().nMathOperationsPlus(result.numel_);
    };
    // Only elements pass through a register; of loops it keeps what they meet.
    if (path != Path::Elements && !qlogger::getLogging()) return byLoops(result.assignmentQuantizer_);
    fi sumRegister = a.initializeSumRegister(type, a.getFimath(), precision, result.iscomplex());
    if (path == Path::Elements)
      byElements<Operation>(a, b, sumRegister, result);
    else
      byLoops(sumRegister.assignmentQuantizer_);
    a.finishRegisters(&result, Operation::kName, {{RegisterLog::Sum, sumRegister}});
  }

  template <class Operation>
  static void byBlocks(const fi& a, const fi& b, const quantizer& q, fi& result) {
    const Uncast isUncast = uncast(a, b, q);
    const auto sumPart = [&](number& target, const BlockOperand& left, const BlockOperand& right,
                             const Uncast& isReady) {
      double* const sums = target.doubles();
      shareLoop(result.numel_, kSharedDoubles, std::array{&q},
                [&](std::size_t first, std::size_t size, const auto& own) {
                  sumArrays<Operation>(left.from(first), right.from(first), isReady, *own[0], sums + first,
                                       size);
                });
    };
    sumPart(result.realPart_, BlockOperand::real(a), BlockOperand::real(b), isUncast);
    if (result.iscomplex())
      sumPart(result.imagPart_, BlockOperand::imag(a), BlockOperand::imag(b), isUncast.ofImaginaryParts(a, b));
  }

  template <class Operation>
  static void ofWide(const fi& a, const fi& b, const quantizer& q, unsigned precision, fi& result) {
    const Uncast isUncast = uncast(a, b, q);
    const auto sumPart = [&](number& target, const WideOperand& x, const WideOperand& y,
                             const Uncast& isReady) {
      makeStorable(target);
      shareLoop(result.numel_, kSharedWide, std::array{&q},
                [&](std::size_t first, std::size_t size, const auto& own) {
                  WideScratch left(precision), right(precision);
                  for (auto k = static_cast<unsigned>(first); k < first + size; ++k) {
                    left.take(x, k);
                    if (!isReady.a) own[0]->quantize(left.asNumber());
                    right.take(y, k);
                    if (!isReady.b) own[0]->quantize(right.asNumber());
                    Operation::apply(*left, *left, *right);
                    storeExactly(own[0]->quantize(left.asNumber()), target, k);
                  }
                });
    };
    sumPart(result.realPart_, {a, a.realPart_}, {b, b.realPart_}, isUncast);
    if (result.iscomplex())
      sumPart(result.imagPart_, {a, a.imagPart_}, {b, b.imagPart_}, isUncast.ofImaginaryParts(a, b));
  }

  template <class Operation>
  static void byElements(const fi& a, const fi& b, fi& sumRegister, fi& result) {
    const fi left(a, Reading{}), right(b, Reading{});
    number scratch(0.0, sumRegister.realPart_.getprecision(), number::getDefaultForceMultiplePrecision());
    for (unsigned k = 0; k < result.numel_; ++k) {
      left.setIndex(a.isscalar() ? 0 : k);
      right.setIndex(b.isscalar() ? 0 : k);
      result.setIndex(k);
      ofElements<Operation>(result, left, right, sumRegister, scratch);
    }
  }

  template <class Operation>
  static fi& ofElements(fi& target, const fi& a, const fi& b, fi& sumRegister, number& scratch) {
    const bool isComplex = formSum<Operation>(a, b, sumRegister, scratch);
    target.getQlogger().nMathOperationsPlusOne();
    if (&target != &sumRegister) {
      if (isComplex && target.isreal()) target.becomeComplex();
      target.realPart_ = sumRegister.realPart_;
      if (target.iscomplex()) target.imagPart_ = isComplex ? sumRegister.imagPart_ : target.zeroValue();
    }
    return target;
  }

  template <class Operation>
  static bool formSum(const fi& a, const fi& b, fi& sumRegister, number& scratch) {
    const bool slopeBias = a.isSlopeBias() || b.isSlopeBias() || sumRegister.isSlopeBias();
    if (slopeBias) {
      oneSlopeBiasSum(a, b, sumRegister, Operation::kSubtracts);
    } else {
      oneBinaryPointSum<Operation>(a, b, sumRegister, scratch);
    }
    return !slopeBias && (a.iscomplex() || b.iscomplex());
  }

  template <class Operation>
  static void oneBinaryPointSum(const fi& a, const fi& b, fi& sumRegister, number& scratch) {
    const bool copied = &sumRegister != &a;
    const quantizer& q = *sumRegister.assignmentQuantizerInUse_;
    const bool cast = sumRegister.getFimath().castBeforeSum();
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

  template <class Operation>
  static fi& ofElementsAlone(fi& target, const fi& a, const fi& b, fi& sumRegister) {
    requireEach({&target, &a, &b, &sumRegister});
    const NumericType& type = sumRegister.getNumericType();
    const unsigned precision =
        sumPrecision(a.getNumericType(), b.getNumericType(), type, sumRegister.getFimath().castBeforeSum());
    number scratch(0.0, precision, false);
    const bool slopeBias = a.isSlopeBias() || b.isSlopeBias() || type.isSlopeBias();
    if (slopeBias || precision <= std::max(sumRegister.realPart_.getprecision(), kMaxDoublePrecision))
      return ofElements<Operation>(target, a, b, sumRegister, scratch);
    // A wider register stands in for one that would round what is only to be quantized.
    fi wider =
        target.initializeSumRegister(type, sumRegister.getFimath(), precision, a.iscomplex() || b.iscomplex());
    wider.setLogging(sumRegister.getQlogger().isAlwaysOn());
    ofElements<Operation>(target, a, b, wider, scratch);
    sumRegister.getQlogger().merge(wider.getQlogger());
    if (&sumRegister == &target) return target;
    if (wider.iscomplex() && sumRegister.isreal()) sumRegister.becomeComplex();
    sumRegister.realPart_ = wider.realPart_;
    if (sumRegister.iscomplex()) sumRegister.imagPart_ = wider.isreal() ? target.zeroValue() : wider.imagPart_;
    return target;
  }

  template <class Operation>
  static fi& inPlace(fi& a, const fi& b) {
    errorIfMathMismatch(a, b);
    errorIfScaledDoubleSlopeBiasMath(a, b);
    const bool slopeBias = a.isSlopeBias() || b.isSlopeBias();
    if (slopeBias) refuseSlopeBias(a.getFimath(), a.iscomplex() || b.iscomplex(), Operation::kName);
    if (!b.isscalar()) a.checkElementwiseSize(b);

    const unsigned precision =
        sumPrecision(a.getNumericType(), b.getNumericType(), a.getNumericType(), a.getFimath().castBeforeSum());
    number scratch(0.0, precision, number::getDefaultForceMultiplePrecision());
    fi sums = a.detached();
    if (b.iscomplex() && a.isreal()) sums.coordinateComplexity(true, a.numel_);
    fi sumRegister = a.initializeSumRegister(a.getNumericType(), a.getFimath(), precision, sums.iscomplex());
    sumRegister.setLogging(a.getQlogger().isAlwaysOn());
    const auto copyElement = [](const fi& from, fi& to) {
      to.realPart_ = from.realPart_;
      if (to.iscomplex()) to.imagPart_ = from.imagPart_;
    };
    // The sums take the register's place wherever their storage holds the exact sum.
    const bool isOwnRegister =
        precision <= std::max(sums.realPart_.getprecision(), kMaxDoublePrecision) || slopeBias;
    const fi right(b, Reading{});
    sums.assignWith(sumRegister.assignmentQuantizer_, [&] {
      for (unsigned k = 0; k < a.numel_; ++k) {
        sums.setIndex(k);
        right.setIndex(b.isscalar() ? 0 : k);
        if (isOwnRegister) {
          formSum<Operation>(sums, right, sums, scratch);
          continue;
        }
        copyElement(sums, sumRegister);
        formSum<Operation>(sumRegister, right, sumRegister, scratch);
        copyElement(sumRegister, sums);
      }
    });
    RegisterRecords records(a, &a, Operation::kName, {{RegisterLog::Sum, sumRegister}});
    a.getQlogger().nMathOperationsPlus(a.numel_);
    a.takeElements(sums);
    records.complete();
    return a;
  }
};

// ------------------------------------------------------------------------------------------ public operations

// Flat: what makes single values, too long for compilers to inline unasked, costs less here than behind calls.
[[gnu::flatten]] fi fi::plus(const fi& b) const { return Sums::ofArrays<Add>(*this, b); }
[[gnu::flatten]] fi fi::minus(const fi& b) const { return Sums::ofArrays<Subtract>(*this, b); }

fi& fi::sumEquals(const fi& a, const fi& b, fi& sumRegister, number& scratch) {
  requireEach({this, &a, &b, &sumRegister});
  return Sums::ofElements<Add>(*this, a, b, sumRegister, scratch);
}

fi& fi::diffEquals(const fi& a, const fi& b, fi& sumRegister, number& scratch) {
  requireEach({this, &a, &b, &sumRegister});
  return Sums::ofElements<Subtract>(*this, a, b, sumRegister, scratch);
}

fi& fi::sumEquals(const fi& a, const fi& b, fi& sumRegister) {
  return Sums::ofElementsAlone<Add>(*this, a, b, sumRegister);
}

fi& fi::diffEquals(const fi& a, const fi& b, fi& sumRegister) {
  return Sums::ofElementsAlone<Subtract>(*this, a, b, sumRegister);
}

fi& fi::operator+=(const fi& b) { return Sums::inPlace<Add>(*this, b); }
fi& fi::operator-=(const fi& b) { return Sums::inPlace<Subtract>(*this, b); }

}  // namespace embedded
