/// Division into a given type: element by element, and by blocks over doubles.
#include <algorithm>
#include <optional>

#include "qfcore/fi/assignmentlog.h"
#include "qfcore/fi/exactness.h"
#include "qfcore/fi/expansion.h"
#include "qfcore/fi/paths/blocks.h"
#include "qfcore/fi/resulttypes.h"
#include "qfcore/fi/scratch.h"
#include "tessel/messages.h"

namespace embedded {

namespace {

constexpr Message kDivideByZero{"fi:divideByZero", "Division by zero occurred. Quotient was saturated."};

/// Bits beyond numerator and denominator with which their quotient, rounded once more, is what one rounding
/// makes it.
constexpr unsigned kSecondRoundingBits = 64;

/// Whether doubles hold quotients of such values as they round them.
bool haveNormalQuotients(const NumericType& x, const NumericType& y) {
  return (!x.isFixed() || exactness::isNearOne(x)) && (!y.isFixed() || exactness::isNearOne(y));
}

/// Whether an array's words are short enough for doubles, wherever their binary point is.
bool areShort(const fi& x) {
  const NumericType& type = x.getNumericType();
  const unsigned precision = x.realPart().getprecision();
  return precision <= kMaxDoublePrecision || (static_cast<unsigned>(type.wordLength()) <= kMaxDoublePrecision &&
                                              precision == fi::precisionOf(type));
}

/// Bits that hold numerators and denominators of complex quotients exactly, and their quotient.
unsigned complexPrecision(const fi& x, const fi& y) {
  const NumericType &tx = x.getNumericType(), &ty = y.getNumericType();
  if (!tx.isFixed() || !ty.isFixed()) return x.realPart().getprecision();
  const unsigned numerator =
                     std::max(fi::precisionOf(tx), x.realPart().getprecision()) + fi::precisionOf(ty) + 1,
                 denominator = 2 * fi::precisionOf(ty) + 1;
  const bool areExactDoubles =
      std::max(numerator, denominator) <= kMaxDoublePrecision && haveNormalQuotients(tx, ty);
  return areExactDoubles ? kMaxDoublePrecision : numerator + denominator + kSecondRoundingBits;
}

/// Quotients of elements of two arrays, rounded to the bits of the dividend's values first. Short words far
/// from one get the quotients that the same words have near one: rounded as doubles are, and those by long
/// words to the bits of these before, as all operations of a double on a longer value are.
class ElementQuotient {
 public:
  ElementQuotient(const fi& x, const fi& y, const quantizer& q)
      : ElementQuotient(x, y, q, !haveNormalQuotients(x.getNumericType(), y.getNumericType()) && areShort(x)) {}

  /// quotient = x / y, rounded and then quantized.
  void real(const number& x, const number& y, number& quotient, bool& divideByZero) {
    divideByZero = y.iszero();
    if (divideByZero) {
      if (x.iszero()) {
        quotient = 0.0;
      } else {
        quotient = x.isnegative() ? lower_ : upper_;
      }
      return;
    }
    number& ratio = mixed_ ? *mixed_ : scratch_;
    ratio = x;
    ratio /= y;
    if (mixed_) roundToScratch(ratio);
    storeScratch(quotient);
  }

  /// The quotient of the elements at the cursors, `y` being complex.
  void complex(const fi& x, const fi& y, fi& result, bool& divideByZero) {
    const number &yr = y.realPart(), &yi = y.imagPart();
    Parts& c = *complex_;
    c.xr = x.realPart();
    c.xi = 0.0;
    if (x.iscomplex()) c.xi = x.imagPart();
    if (yr.iszero() && yi.iszero()) {
      real(c.xr, yr, result.realPart(), divideByZero);
      real(c.xi, yr, result.imagPart(), divideByZero);
      return;
    }
    divideByZero = false;
    setProducts(c.denominator, yr, yr, yi, yi, false);
    setProducts(c.numerator, c.xr, yr, c.xi, yi, false);
    storeRatio(result.realPart());
    setProducts(c.numerator, c.xi, yr, c.xr, yi, true);
    storeRatio(result.imagPart());
  }

 private:
  struct Parts {
    explicit Parts(unsigned precision)
        : xr(precision), xi(precision), numerator(precision), denominator(precision), term(precision) {}
    Scratch xr, xi, numerator, denominator, term;
  };

  ElementQuotient(const fi& x, const fi& y, const quantizer& q, bool isFarAndShort)
      : q_(q),
        lower_(q.min()),
        upper_(q.max()),
        scratch_(0.0, isFarAndShort ? kDoubleBits - 1 : x.realPart().getprecision(),
                 isFarAndShort || number::getDefaultForceMultiplePrecision()) {
    static_assert(constructedBits(kDoubleBits - 1) == kDoubleBits);
    if (isFarAndShort && !areShort(y)) mixed_.emplace(y.realPart().getprecision());
    if (x.iscomplex() || y.iscomplex()) complex_.emplace(complexPrecision(x, y));
  }

  /// a · b ± c · d.
  void setProducts(number& sum, const number& a, const number& b, const number& c, const number& d,
                   bool subtract) {
    Scratch& term = complex_->term;
    sum = a;
    sum *= b;
    term = c;
    term *= d;
    if (subtract) {
      sum -= term;
    } else {
      sum += term;
    }
  }

  void storeRatio(number& part) {
    Parts& c = *complex_;
    c.numerator /= c.denominator;
    roundToScratch(c.numerator);
    storeScratch(part);
  }

  /// Adding rounds, where assigning would not.
  void roundToScratch(const number& ratio) {
    scratch_ = 0.0;
    scratch_ += ratio;
  }

  /// A wide value is quantized before it meets a double, a double after it has met a wide one.
  void storeScratch(number& quotient) {
    if (scratch_.gettype() > quotient.gettype()) {
      quotient = q_.quantize(scratch_);
    } else {
      quotient = scratch_;
      q_.quantize(quotient);
    }
  }

  const quantizer& q_;
  const number lower_, upper_;  // quotients by zero
  number scratch_;
  std::optional<Scratch> mixed_;
  std::optional<Parts> complex_;
};

bool divideByElements(const fi& dividend, const fi& divisor, const quantizer& q, fi& result) {
  const fi x(dividend, Reading{}), y(divisor, Reading{});
  ElementQuotient divide(x, y, q);
  bool anyByZero = false, byZero = false;
  for (unsigned k = 0; k < result.numel(); ++k) {
    x.setIndex(x.isscalar() ? 0 : k);
    y.setIndex(y.isscalar() ? 0 : k);
    result.setIndex(k);
    if (y.iscomplex()) {
      divide.complex(x, y, result, byZero);
    } else {
      divide.real(x.realPart(), y.realPart(), result.realPart(), byZero);
      if (x.iscomplex()) divide.real(x.imagPart(), y.realPart(), result.imagPart(), byZero);
    }
    anyByZero = anyByZero || byZero;
  }
  return anyByZero;
}

// ------------------------------------------------------------------------------------------ blocks of doubles

struct Divide {
  static double apply(double x, double y) { return x / y; }
};

/// Quantizes the quotients by divisors other than zero and puts the ends of the range in place of the others.
void replaceQuotientsByZero(double* quotients, const double* x, bool xIsScalar, const double* y, bool yIsScalar,
                            const quantizer& q, std::size_t count) {
  const double lower = q.min().todouble(), upper = q.max().todouble();
  Block finite;
  std::size_t kept = 0;
  for (std::size_t i = 0; i < count; ++i) {
    if (y[yIsScalar ? 0 : i] != 0) finite[kept++] = quotients[i];
  }
  q.quantize(finite.data(), kept);
  kept = 0;
  for (std::size_t i = 0; i < count; ++i) {
    const double dividend = x[xIsScalar ? 0 : i];
    const double bound = dividend == 0 ? 0 : dividend < 0 ? lower : upper;
    quotients[i] = y[yIsScalar ? 0 : i] != 0 ? finite[kept++] : bound;
  }
}

bool dividePart(double* result, const BlockOperand& x, const BlockOperand& y, const quantizer& q,
                std::size_t count) {
  bool anyByZero = false;
  forEachBlock(count, [&](std::size_t first, std::size_t size) {
    const double *left = x.at(first), *right = y.at(first);
    combine<Divide>(result + first, left, x.isScalar, right, y.isScalar, size);
    const bool byZero = anyInBlock(right, y.isScalar ? 1 : size, [](double divisor) { return divisor == 0; });
    if (byZero) {
      replaceQuotientsByZero(result + first, left, x.isScalar, right, y.isScalar, q, size);
    } else {
      q.quantize(result + first, size);
    }
    anyByZero = anyByZero || byZero;
  });
  return anyByZero;
}

bool divideByBlocks(const fi& x, const fi& y, const quantizer& q, fi& result) {
  const BlockOperand divisor = BlockOperand::real(y);
  // Both parts have the same divisors.
  if (x.iscomplex()) dividePart(result.imagPart().doubles(), BlockOperand::imag(x), divisor, q, result.numel());
  return dividePart(result.realPart().doubles(), BlockOperand::real(x), divisor, q, result.numel());
}

}  // namespace

NumericType fi::getNumericTypeForQuotient(const fi& b) const {
  errorIfMathMismatch(*this, b);
  errorIfSlopeBiasMath(*this);
  errorIfSlopeBiasMath(b);
  return resulttypes::quotient(getNumericType(), b.getNumericType());
}

fi fi::over(const fi& b, const NumericType& type) const {
  errorIfBooleanMath(*this);
  errorIfBooleanMath(b);
  errorIfSlopeBiasMath(*this);
  errorIfSlopeBiasMath(b);
  const fi& shape = shapeOfResult(*this, b);
  fi result(shape.dims_.data(), shape.numDims(), type, getFimath(), iscomplex() || b.iscomplex(), tag());
  errorIfSlopeBiasMath(result);
  bool byZero = false;
  result.assignLogged("divide", [&] {
    const quantizer& q = result.assignmentQuantizerInUse();
    const bool hasBlocks = b.isreal() && !number::getDefaultForceMultiplePrecision() &&
                           haveNormalQuotients(getNumericType(), b.getNumericType());
    const bool byBlocks = choosePath({.hasBlocks = hasBlocks}, *this, b, result) == Path::Blocks;
    byZero = byBlocks ? divideByBlocks(*this, b, q, result) : divideByElements(*this, b, q, result);
  });
  result.getQlogger().nMathOperationsPlus(result.numel_);
  if (byZero) tessel::warn(kDivideByZero.identifier, kDivideByZero.text);
  return result;
}

}  // namespace embedded
