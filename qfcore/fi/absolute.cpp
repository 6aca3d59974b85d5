/// Magnitudes, absolute values, negation and sign.
#include <cmath>
#include <cstdint>
#include <vector>

#include "qfcore/fi/assignmentlog.h"
#include "qfcore/fi/messages.h"
#include "qfcore/fi/paths/elementwise.h"

namespace embedded {

namespace {

constexpr Message kBinaryPointOnly{"numforge:fi:abs:binarypointonly",
                                   "realabs(A) and realabs(A,T) can only be calculated for FI object A and "
                                   "numerictype T when the scaling of A and T "
                                   "have a fractional slope of 1 and 0 bias (binary-point only scaling)."};
constexpr Message kNoComplex{"numforge:fi:realabs:nocomplex",
                             "The realabs function is not supported for complex fi."};
constexpr Message kComplexNotDefined{"numforge:fi:complexnotdefined",
                                     "Function '%s' is not defined for complex-valued FI objects."};

struct Magnitude {
  double operator()(double x) const { return std::fabs(x); }
  void operator()(number& x) const { x.abs(); }
};

struct Negation {
  double operator()(double x) const { return 0.0 - x; }
  void operator()(number& x) const {
    if (!x.iszero()) x.negate();
  }
};

struct Sign {
  double operator()(double x) const { return (x > 0 ? 1.0 : 0.0) - (x < 0 ? 1.0 : 0.0); }
  void operator()(number& x) const { x = static_cast<double>(x.sign()); }
};

// The length of a complex value whose parts are integers of so many bits besides a sign, exact but for its
// fraction: one of 1/4 or 3/4 stands for all below or above 1/2, which no length of integers has.

/// The fraction where that many squares are left over a square of `floor`.
template <class Integer>
double fractionOf(Integer rest, Integer floor) {
  return rest == 0 ? 0.0 : rest > floor ? 0.75 : 0.25;
}

struct ShortLength {
  static constexpr int kMaxPartBits = 25;
  double operator()(double re, double im) const {
    const double square = re * re + im * im;
    const double floor = std::floor(std::sqrt(square));
    return floor + fractionOf(square - floor * floor, floor);
  }
};

/// The root of a rounded sum of rounded squares is at most 1 off. What is left over is small, so that its
/// integers, modulo 2^64, are exact.
struct LongLength {
  static constexpr int kMaxPartBits = 50;
  double operator()(double re, double im) const {
    const double root = std::floor(std::sqrt(re * re + im * im));
    const std::int64_t guess = static_cast<std::int64_t>(root);
    const std::int64_t above = rest(re, im, guess);
    const std::int64_t step =
        static_cast<std::int64_t>(above > 2 * guess) - static_cast<std::int64_t>(above < 0);
    const std::int64_t floor = guess + step;
    return static_cast<double>(floor) + fractionOf(rest(re, im, floor), floor);
  }

 private:
  static std::int64_t rest(double re, double im, std::int64_t floor) {
    const auto square = [](std::int64_t x) {
      return static_cast<std::uint64_t>(x) * static_cast<std::uint64_t>(x);
    };
    return static_cast<std::int64_t>(square(static_cast<std::int64_t>(re)) +
                                     square(static_cast<std::int64_t>(im)) - square(floor));
  }
};

/// target[k] = operation(the real-world value of x's element k), brought into the type of x.
template <class Operation>
void mapRealWorld(const fi& x, const number& source, number& target, const quantizer& q,
                  const Operation& operation) {
  const RealWorldScaling scaling(x.getNumericType());
  number scratch(0.0, scaling.heldPrecision(BitRange::ofRealWorld(x.getNumericType())), true);
  const number reader(source, Reading{});
  for (unsigned k = 0; k < x.numel(); ++k) {
    scratch = reader[k];
    scaling.fromHeld(scratch);
    operation(scratch);
    scaling.toHeld(scratch);
    target[k] = q.quantize(scratch);
  }
}

/// Negation or magnitude of real-world values in the type of `x`; binary-point values are such as they stand.
template <class Operation>
void mapValues(const fi& x, const number& source, number& target, const quantizer& q,
               const Operation& operation) {
  if (x.getNumericType().isSlopeBias()) {
    mapRealWorld(x, source, target, q, operation);
  } else {
    mapPartOnGrid(x, source, target, q, operation);
  }
}

template <class Length>
void lengthsByBlocks(const fi& x, number& target, const quantizer& q) {
  const GridFactors grid(x.getNumericType().fractionLength());
  const double *re = valuesOf(x, x.realPart()), *im = valuesOf(x, x.imagPart());
  double* to = target.doubles();
  forEachBlock(x.numel(), [&](std::size_t first, std::size_t size) {
    combineBy<false, false>(to + first, re + first, im + first, size, [grid](double a, double b) {
      return Length()(a * grid.unitsPerOne, b * grid.unitsPerOne) * grid.unit;
    });
    q.quantize(to + first, size);
  });
}

/// The magnitudes of complex elements with few enough bits. False for others.
bool areLengthsByBlocks(const fi& x, number& target, const quantizer& q) {
  const NumericType& type = x.getNumericType();
  const int partBits = type.wordLength() - type.isSigned();
  if (!takesBlocks(x) || !type.isFixed() || partBits > LongLength::kMaxPartBits) return false;
  if (partBits <= ShortLength::kMaxPartBits) {
    lengthsByBlocks<ShortLength>(x, target, q);
  } else {
    lengthsByBlocks<LongLength>(x, target, q);
  }
  return true;
}

}  // namespace

void fi::abs(number& out) const {
  requireElements();
  if (isreal()) {
    out.abs(realPart_);
  } else {
    out.hypot(realPart_, imagPart_);
  }
}

fi fi::abs() const {
  if (iscomplex() && isSlopeBias()) fail<message::complexSlopeBias>("abs");
  fi result = unset(dims_, false);
  result.assignLogged("abs", [&] {
    const quantizer& q = result.assignmentQuantizerInUse();
    if (isreal()) return mapValues(*this, realPart_, result.realPart_, q, Magnitude{});
    if (areLengthsByBlocks(*this, result.realPart_, q)) return;
    // A magnitude that is not on the grid, nor halfway, differs from it by more than these bits leave out. A
    // double's last bit is not reliable.
    const bool isNative = !getNumericType().isFixed();
    number length(0.0, isNative ? kMaxDoublePrecision : 2 * getPrecision() + 8, !isNative);
    const fi reader(*this, Reading{});
    for (unsigned k = 0; k < numel_; ++k) {
      reader.setIndex(k);
      reader.abs(length);
      result.realPart_[k] = q.quantize(length);
    }
  });
  return result;
}

fi fi::realabs(const NumericType& type, const fimath& math) const {
  if (isSlopeBias() || type.isSlopeBias()) fail<kBinaryPointOnly>();
  if (iscomplex()) fail<kNoComplex>();
  fi result(dims_.data(), numDims(), type, math, false, tag());
  result.assignLogged("realabs", [&] {
    mapPart(*this, realPart_, result.realPart_, result.assignmentQuantizerInUse(), Magnitude{});
  });
  return result;
}

fi fi::uminus() const {
  fi result = unset(dims_, iscomplex());
  result.assignLogged("uminus", [&] {
    const quantizer& q = result.assignmentQuantizerInUse();
    mapValues(*this, realPart_, result.realPart_, q, Negation{});
    if (iscomplex()) mapValues(*this, imagPart_, result.imagPart_, q, Negation{});
  });
  return result;
}

fi fi::conj() const {
  if (iscomplex() && isSlopeBias()) fail<message::complexSlopeBias>("conj");
  fi result = detached();
  if (isreal()) return result;
  result.assignLogged("conj", [&] {
    mapPartOnGrid(*this, imagPart_, result.imagPart_, result.assignmentQuantizerInUse(), Negation{});
  });
  return result;
}

fi fi::sign() const {
  if (iscomplex()) fail<kComplexNotDefined>("sign");
  fi result = unset(dims_, false);
  result.assignLogged("sign", [&] {
    if (!isSlopeBias())
      return mapPart(*this, realPart_, result.realPart_, result.assignmentQuantizerInUse(), Sign{});
    std::vector<double> signs(numel_);
    const fi reader(*this, Reading{});
    for (unsigned k = 0; k < numel_; ++k) {
      reader.setIndex(k);
      signs[k] = Sign{}(reader.realWorldReal());
    }
    result.storeRealWorld(result.realPart_, signs.data());
    result.quantizeAll();
  });
  return result;
}

}  // namespace embedded
