/// Element-wise products: element by element through the product register, and by blocks over doubles.
#include <algorithm>
#include <array>

#include "qfcore/fi/arithmeticstate.h"
#include "qfcore/fi/elementproduct.h"
#include "qfcore/fi/exactness.h"
#include "qfcore/fi/expansion.h"
#include "qfcore/fi/messages.h"
#include "qfcore/fi/paths/integerproducts.h"
#include "qfcore/fi/paths/operations.h"
#include "qfcore/fi/paths/productkernel.h"
#include "qfcore/fi/paths/wideloops.h"
#include "qfcore/fi/scratch.h"

namespace embedded {

namespace {

void multiplyByBlocks(const fi& a, const fi& b, const quantizer& products, const quantizer& sums, fi& result) {
  const OperandParts left = OperandParts::of(a), right = OperandParts::of(b);
  double *re = result.realPart().doubles(), *im = result.imagPart().doubles();
  shareLoop(result.numel(), kSharedDoubles, std::array{&products, &sums},
            [&](std::size_t begin, std::size_t count, const auto& own) {
              const BlockProduct multiply(a, b, *own[0], *own[1]);
              forEachBlock(count, [&](std::size_t offset, std::size_t size) {
                const std::size_t first = begin + offset;
                multiply(re + first, im ? im + first : nullptr, left.at(first), right.at(first), size);
              });
            });
}

void multiplyByElements(const fi& a, const fi& b, const quantizer& products, const quantizer& sums,
                        fi& result) {
  ElementProduct product(a, b, products, sums);
  for (unsigned k = 0; k < result.numel(); ++k) {
    a.setIndex(a.isscalar() ? 0 : k);
    b.setIndex(b.isscalar() ? 0 : k);
    result.setIndex(k);
    product(a, b, result.realPart(), result.imagPart());
  }
}

/// `products` quantizes each product, and `sums` those of two products that both parts of complex ones are.
/// Apart, so that an exact product does not pay for its room.
[[gnu::noinline]] void multiplyRounded(const fi& a, const fi& b, const quantizer& products,
                                       const quantizer& sums, fi& result) {
  const bool hasBlocks = BlockProduct::applies(a, b, products, sums);
  const ProductRules rules{a, b, products, sums};
  const IntegerSizes sizes = hasBlocks ? IntegerSizes::None : integersFor(rules);
  switch (choosePath({.hasBlocks = hasBlocks, .hasIntegers = sizes != IntegerSizes::None}, a, b, result)) {
    case Path::Blocks: return multiplyByBlocks(a, b, products, sums, result);
    case Path::Integers: return multiplyByIntegers(rules, sizes, result);
    default: multiplyByElements(fi(a, Reading{}), fi(b, Reading{}), products, sums, result);
  }
}

/// Products, not of two complex arrays, that are values of the result's type as they are: no register, nothing
/// to round or to record.
bool multiplyExactly(const fi& a, const fi& b, fi& result) {
  const IntegerSizes sizes =
      areDoubles(result) ? IntegerSizes::None
                         : integersForExact(a.getNumericType(), b.getNumericType(), result.getNumericType());
  const Ways ways{.isExact = true, .hasIntegers = sizes != IntegerSizes::None, .wideLoops = WideLoops::OfWide};
  const Path path = choosePath(ways, a, b, result);
  if (path == Path::Elements) return false;
  if (path == Path::Integers) return multiplyExactlyByIntegers(a, b, sizes, result), true;
  const auto multiplyPart = [&](number& product, const number& x, const number& y) {
    if (path == Path::PlainWide) return combineWide<Multiply>(product, WideOperand(a, x), WideOperand(b, y));
    const BlockOperand left{valuesOf(a, x), a.isscalar()}, right{valuesOf(b, y), b.isscalar()};
    double* const products = product.doubles();
    shareLoop(result.numel(), kSharedDoubles, [&](std::size_t first, std::size_t size) {
      combine<Multiply>(products + first, left.at(first), left.isScalar, right.at(first), right.isScalar, size);
    });
  };
  multiplyPart(result.realPart(), a.realPart(), b.realPart());
  if (a.iscomplex()) multiplyPart(result.imagPart(), a.imagPart(), b.realPart());
  if (b.iscomplex()) multiplyPart(result.imagPart(), a.realPart(), b.imagPart());
  return true;
}

}  // namespace

// -------------------------------------------------------------------------------------------------- registers

fi fi::initializeProductRegister(const fimath& math, unsigned precision) const {
  const NumericType& type = arithmeticState().productType;
  return fi(1, 1, type, math, false, tag(), OperationTypeEnum::Product, std::max(precision, precisionOf(type)));
}

fi fi::initializeProductRegister(const NumericType& productType, const NumericType& sumType, const fimath& math,
                                 unsigned precision) const {
  fi made(1, 1, productType, math, false, tag(), OperationTypeEnum::Product,
          std::max(precision, precisionOf(productType)));
  made.arithmeticState().sumRegister =
      std::make_unique<fi>(initializeSumRegister(sumType, math, precision, false));
  return made;
}

// ----------------------------------------------------------------------------------------- element by element

fi& fi::complexTimesEquals(const fi& b, const quantizer& productQuantizer, const quantizer& sumQuantizer,
                           number& scratch1, number& scratch2) {
  requireElements();
  b.requireElements();
  const number nothing(0.0, kMaxDoublePrecision, false);
  if (isreal()) becomeComplex();
  complexProduct(realPart_, imagPart_, b.realPart_, b.isreal() ? nothing : b.imagPart_, productQuantizer,
                 sumQuantizer, getFimath().castBeforeSum(), scratch1, scratch2, realPart_, imagPart_);
  getQlogger().nMathOperationsPlusOne();
  return *this;
}

fi& fi::timesEquals(const fi& b, const quantizer& productQuantizer, const quantizer& sumQuantizer,
                    unsigned precision) {
  requireElements();
  b.requireElements();
  Scratch scratch1(precision);
  if (iscomplex() && b.iscomplex()) {
    Scratch scratch2(precision);
    return complexTimesEquals(b, productQuantizer, sumQuantizer, scratch1, scratch2);
  }
  if (b.iscomplex()) {
    becomeComplex();
    imagPart_ = quantizedProduct(scratch1, realPart_, b.imagPart_, productQuantizer);
  } else if (iscomplex()) {
    imagPart_ = quantizedProduct(scratch1, imagPart_, b.realPart_, productQuantizer);
  }
  realPart_ = quantizedProduct(scratch1, realPart_, b.realPart_, productQuantizer);
  getQlogger().nMathOperationsPlusOne();
  return *this;
}

// ------------------------------------------------------------------------------------------ public operations

/// Ways to element-wise products.
struct fi::Products {
  /// The product of single values, or what `others` makes of arrays.
  template <class Others>
  [[gnu::always_inline]] static fi ofOnesOr(Others others, const fi& a, const fi& b) {
    if (const Ones ones = Ones::of(ArrayFormat::Operation::Product, a, b); ones.format)
      return ones.result(Multiply::apply(ones.a, ones.b), a, OperationTypeEnum::Product);
    return others(a, b);
  }

  // Apart, so that single values do not pay for the room of arrays.
  [[gnu::noinline]] static fi ofArrays(const fi& a, const fi& b) {
    const ArrayFormat::Result product = a.productWith(b);
    // Registers log whenever logging is on.
    const bool needsRegister = qlogger::getLogging() || (a.iscomplex() && b.iscomplex()) ||
                               (!product.isExact && involveSlopeBias(a, b));
    return needsRegister ? throughRegister(a, b, product.format->type()) : withoutRegister(a, b, product);
  }

  [[gnu::noinline]] static fi ofElements(const fi& a, const fi& b) {
    // While logging is on, what elements record stays out of the registers of their arrays, scalars or not.
    if (a.isscalar() && b.isscalar() && !qlogger::getLogging()) return ofArrays(a, b);
    return fi(a, CopyElement{}).times(fi(b, CopyElement{}));
  }

  static bool involveSlopeBias(const fi& a, const fi& b) {
    return a.isSlopeBias() || b.isSlopeBias() || a.getFimath().isProductSlopeBiasScaled() ||
           a.getFimath().isSumSlopeBiasScaled();
  }

  /// Products of which the result's own quantizer makes each value, where there is nothing to record.
  static fi withoutRegister(const fi& a, const fi& b, const ArrayFormat::Result& product) {
    fi result(shapeOfResult(a, b).dims_, product.format, a.iscomplex() || b.iscomplex(),
              a.getQlogger().sharedTag(), OperationTypeEnum::Product);
    const quantizer& q = result.assignmentQuantizer_;
    if (!product.isExact || !multiplyExactly(a, b, result)) multiplyRounded(a, b, q, q, result);
    return result;
  }

  /// Products of that type, whatever they meet.
  static fi throughRegister(const fi& a, const fi& b, const NumericType& productType) {
    const bool bothComplex = a.iscomplex() && b.iscomplex(), complexResult = a.iscomplex() || b.iscomplex();
    const NumericType type = bothComplex ? a.sumTypeOfProductsWith(b, productType) : productType;
    errorIfScaledDoubleSlopeBiasMath(a, b);
    if (complexResult && involveSlopeBias(a, b)) fail<message::complexSlopeBias>("times");
    const fi& shape = shapeOfResult(a, b);
    fi result(shape.dims_, type, a.getFimath(), complexResult, a.tag(), OperationTypeEnum::Product);
    fi productRegister = a.initializeProductRegister(productType, type, a.getFimath(), 0);
    const quantizer& products = productRegister.assignmentQuantizer_;
    multiplyRounded(a, b, products, productRegister.arithmeticState().sumRegister->assignmentQuantizer_,
                    result);
    products.logger().nMathOperationsPlus(result.numel_);
    a.finishProducts(&result, productRegister, "times");
    return result;
  }
};

// Flat: what makes single values, too long for compilers to inline unasked, costs less here than behind calls.
[[gnu::flatten]] fi fi::times(const fi& b) const { return Products::ofOnesOr(Products::ofArrays, *this, b); }
[[gnu::flatten]] fi fi::operator*(const fi& b) const {
  return Products::ofOnesOr(Products::ofElements, *this, b);
}

fi& fi::operator*=(const fi& b) {
  errorIfMathMismatch(*this, b);
  errorIfScaledDoubleSlopeBiasMath(*this, b);
  const bool slopeBias = isSlopeBias() || b.isSlopeBias();
  if (slopeBias && (iscomplex() || b.iscomplex())) fail<message::complexSlopeBias>("times");
  if (!b.isscalar()) checkElementwiseSize(b);

  const NumericType type(getNumericType());
  fi productRegister = initializeProductRegister(type, type, getFimath(), 0);
  for (fi* each : {&productRegister, productRegister.arithmeticState().sumRegister.get()})
    each->setLogging(getQlogger().isAlwaysOn());
  const quantizer& products = productRegister.assignmentQuantizer_;
  const quantizer& sums = productRegister.arithmeticState().sumRegister->assignmentQuantizer_;
  const fi right(b, Reading{});
  ElementProduct product(*this, right, products, sums);
  fi multiplied = unset(dims_, iscomplex() || b.iscomplex());
  for (unsigned k = 0; k < numel_; ++k) {
    setIndex(k);
    right.setIndex(b.isscalar() ? 0 : k);
    multiplied.setIndex(k);
    product(*this, right, multiplied.realPart_, multiplied.imagPart_);
  }
  products.logger().nMathOperationsPlus(numel_);
  RegisterRecords records(*this, this, "times",
                          {{RegisterLog::Product, productRegister},
                           {RegisterLog::ProductSum, *productRegister.arithmeticState().sumRegister}});
  takeElements(multiplied);
  records.complete();
  return *this;
}

}  // namespace embedded
