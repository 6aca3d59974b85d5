#include "qfcore/fi/paths/productkernel.h"

#include <bit>
#include <cmath>
#include <cstdint>

#include "qfcore/fi/exactness.h"
#include "qfcore/fi/paths/operations.h"
#include "qfcore/fi/scratch.h"

namespace embedded {

namespace {

/// high + low, where low is the error of high, in 50 bits: cut, and where that loses something made odd.
double roundedToOdd(double high, double low) {
  constexpr std::uint64_t kCut = 7, kLast = 8;
  auto bits = std::bit_cast<std::uint64_t>(high);
  const bool isBelow = low != 0 && (low < 0) != (high < 0);
  bits -= isBelow ? 1 : 0;
  const bool isInexact = low != 0 || (bits & kCut) != 0;
  return std::bit_cast<double>((bits & ~kCut) | (isInexact ? kLast : 0));
}

template <bool Wraps, bool AIsScalar, bool BIsScalar>
QFCORE_VECTORISED void oddProducts(double* result, const double* a, const double* b, std::size_t count,
                                   double range, double inverseRange) {
  for (std::size_t i = 0; i < count; ++i) {
    const double x = a[AIsScalar ? 0 : i], y = b[BIsScalar ? 0 : i];
    double high = x * y;
    double low = std::fma(x, y, -high);
    if constexpr (Wraps) {
      // Both remainders are exact: that of the high part has no bits below 2^-50 of a range, and that of the
      // low part is cut toward 0, since a range added to a small negative error would not fit in a double. The
      // sum keeps its sign, lies between 3 and 6 ranges from 0, and is formed exactly as a double and its
      // error.
      const double highRest = high - std::floor(high * inverseRange) * range;
      const double lowRest = low - std::trunc(low * inverseRange) * range;
      const double base = highRest + (high < 0 ? -5 * range : 4 * range);
      const double near = base + lowRest;
      const double error = lowRest - (near - base);
      const bool isFar = std::abs(high) >= 4 * range;
      high = isFar ? near : high;
      low = isFar ? error : low;
    }
    result[i] = roundedToOdd(high, low);
  }
}

template <bool Wraps>
void oddProducts(double* result, const double* a, bool aIsScalar, const double* b, bool bIsScalar,
                 std::size_t count, double range, double inverse) {
  withFlags(aIsScalar, bIsScalar, [&](auto aScalar, auto bScalar) {
    oddProducts<Wraps, aScalar(), bScalar()>(result, a, b, count, range, inverse);
  });
}

template <bool AIsScalar, bool BIsScalar>
QFCORE_VECTORISED void plainComplexProducts(double* __restrict re, double* __restrict im, const double* ar,
                                            const double* ai, const double* br, const double* bi,
                                            std::size_t count) {
  for (std::size_t k = 0; k < count; ++k) {
    const std::size_t i = AIsScalar ? 0 : k, j = BIsScalar ? 0 : k;
    re[k] = ar[i] * br[j] - ai[i] * bi[j];
    im[k] = ai[i] * br[j] + ar[i] * bi[j];
  }
}

/// Complex products whose terms and sums are all exact.
void plainComplexProducts(double* re, double* im, const OperandParts& a, const OperandParts& b,
                          std::size_t count) {
  withFlags(a.isScalar, b.isScalar, [&](auto aIsScalar, auto bIsScalar) {
    plainComplexProducts<aIsScalar(), bIsScalar()>(re, im, a.re, a.im, b.re, b.im, count);
  });
}

}  // namespace

bool ProductKernel::applies(const fi& a, const fi& b, const quantizer& product) {
  if (!product.isDoubleBacked()) return false;
  const NumericType &ta = a.getNumericType(), &tb = b.getNumericType(), &tp = product.numericType();
  if (ta.isSlopeBias() || tb.isSlopeBias() || tp.isSlopeBias()) return false;
  return exactness::doublesHoldProducts(ta, tb) ||
         (tp.wordLength() <= kMaxRoundedWordLength && exactness::isNearOne(ta) && exactness::isNearOne(tb) &&
          exactness::isNearOne(tp));
}

ProductKernel::ProductKernel(const fi& a, const fi& b, const quantizer& product)
    : product_(product),
      isExact_(!product.logger().isOn() &&
               exactness::holdsProducts(product.numericType(), a.getNumericType(), b.getNumericType())),
      fitsDouble_(exactness::doublesHoldProducts(a.getNumericType(), b.getNumericType())),
      wraps_(product.overflowMode() == OverflowModeEnum::wrap),
      range_(product.doubleFormat().range),
      inverseRange_(product.doubleFormat().inverseRange) {}

void ProductKernel::operator()(double* result, const double* a, bool aIsScalar, const double* b, bool bIsScalar,
                               std::size_t count) const {
  if (fitsDouble_) {
    combine<Multiply>(result, a, aIsScalar, b, bIsScalar, count);
  } else if (wraps_) {
    oddProducts<true>(result, a, aIsScalar, b, bIsScalar, count, range_, inverseRange_);
  } else {
    oddProducts<false>(result, a, aIsScalar, b, bIsScalar, count, range_, inverseRange_);
  }
  if (!isExact_) product_.quantize(result, count);
}

bool BlockProduct::applies(const fi& a, const fi& b, const quantizer& products, const quantizer& sums) {
  if (!ProductKernel::applies(a, b, products)) return false;
  if (a.isreal() || b.isreal()) return true;
  const NumericType& type = products.numericType();
  return sums.isDoubleBacked() &&
         sumPrecision(type, type, sums.numericType(), a.getFimath().castBeforeSum()) <= kMaxDoublePrecision;
}

BlockProduct::BlockProduct(const fi& a, const fi& b, const quantizer& products, const quantizer& sums)
    : multiply_(a, b, products), sums_(sums), castIsIdentity_(!a.getFimath().castBeforeSum()) {
  if (a.isreal() || b.isreal() || sums.logger().isOn()) return;
  const NumericType &sum = sums.numericType(), &term = products.numericType();
  castIsIdentity_ = castIsIdentity_ || exactness::holds(sum, term);
  addIsExact_ = exactness::holdsSums(sum, term, term, false);
  subtractIsExact_ = exactness::holdsSums(sum, term, term, true);
  isPlain_ = multiply_.isPlain() && castIsIdentity_ && addIsExact_ && subtractIsExact_;
}

template <class Operation>
void BlockProduct::combineProducts(double* result, Block& x, Block& y, std::size_t count, bool isExact) const {
  if (!castIsIdentity_) {
    sums_.quantize(x.data(), count);
    sums_.quantize(y.data(), count);
  }
  combine<Operation, false, false>(result, x.data(), y.data(), count);
  if (!isExact) sums_.quantize(result, count);
}

void BlockProduct::operator()(double* re, double* im, const OperandParts& a, const OperandParts& b,
                              std::size_t count) const {
  const auto form = [&](double* into, const double* left, const double* right) {
    multiply_(into, left, a.isScalar, right, b.isScalar, count);
  };
  if (!a.im || !b.im) {
    form(re, a.re, b.re);
    if (a.im) form(im, a.im, b.re);
    if (b.im) form(im, a.re, b.im);
    return;
  }
  if (isPlain_) return plainComplexProducts(re, im, a, b, count);
  Block x, y;
  form(x.data(), a.re, b.re);
  form(y.data(), a.im, b.im);
  combineProducts<Subtract>(re, x, y, count, subtractIsExact_);
  form(x.data(), a.im, b.re);
  form(y.data(), a.re, b.im);
  combineProducts<Add>(im, x, y, count, addIsExact_);
}

}  // namespace embedded
