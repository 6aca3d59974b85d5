#include "qfcore/fi/integers.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <utility>

#include "qfcore/fi/exactness.h"
#include "qfcore/fi/expansion.h"
#include "qfcore/fi/lastones.h"
#include "qfcore/fi/messages.h"
#include "tessel/interruption.h"

namespace embedded {

using tessel::HostArray;

namespace {

constexpr Message kBinaryPointOnly{"numforge:fi:binarypointonly",
                                   "Function '%s' takes FI objects with binary-point scaling only."};
constexpr Message kFixedOnly{"numforge:fi:fixedonly", "Function '%s' takes fixed-point FI objects only."};
constexpr Message kNotSquare{"numforge:fi:mpower:square",
                             "A power of a matrix needs a square matrix; use .^ "
                             "for the powers of its elements."};
constexpr Message kZeroPower{"numforge:fi:mpower:exponent", "The exponent of a matrix must be 1 or more."};

void requireBinaryPoint(const fi& x, const char* name) {
  if (x.getNumericType().isSlopeBias()) fail<kBinaryPointOnly>(name);
}
void requireReal(const fi& x, const char* name) {
  if (x.iscomplex()) fail<message::realOnly>(name);
}

fi arrayLike(const fi& x, const fi& shape, const NumericType& type) {
  return fi(shape.dims().data(), shape.numDims(), type, x.getFimath(), x.iscomplex());
}

number& roundTo(number& value, RoundModeEnum mode) {
  switch (mode) {
    case RoundModeEnum::floor: return value.floor();
    case RoundModeEnum::ceil: return value.ceil();
    case RoundModeEnum::fix: return value.fix();
    case RoundModeEnum::nearest: return value.nearest();
    case RoundModeEnum::round: return value.round();
    case RoundModeEnum::convergent: return value.convergent();
  }
  return value;
}

NumericType integerType(const NumericType& type, RoundModeEnum mode) {
  if (!type.isFixed() || type.fractionLength() <= 0) return type;
  const int sign = type.isSigned() ? 1 : 0;
  const bool mayGrow = mode != RoundModeEnum::floor && mode != RoundModeEnum::fix;
  const int before = std::max(type.wordLength() - type.fractionLength(), sign);
  return NumericType(type.isSigned(), std::max(before + (mayGrow ? 1 : 0), 1 + sign), 0);
}

NumericType remainderType(const NumericType& a, const NumericType& b) {
  if (!a.isFixed() || !b.isFixed()) return a.isFixed() ? b : a;
  const auto magnitudeBits = [](const NumericType& t) {
    return exactness::integerBits(t) - (t.isSigned() ? 1 : 0);
  };
  const bool isSigned = a.isSigned() || b.isSigned();
  const int fraction = std::max(a.fractionLength(), b.fractionLength());
  const long word = std::max(magnitudeBits(a), magnitudeBits(b)) + fraction + (isSigned ? 1 : 0);
  // The type refuses a word that is too long, as long as `int` holds its length.
  return NumericType(isSigned, static_cast<int>(std::min(word, long{INT_MAX})), fraction);
}

/// `count` of the elements along a dimension from `first` on, as an array of that size in it.
fi slice(const fi& x, unsigned dimension, unsigned first, unsigned count) {
  tessel::Dimensions dims(x.dims().begin(), x.dims().end());
  while (dims.size() < dimension) dims.push_back(1);
  std::size_t stride = 1;
  for (unsigned d = 0; d + 1 < dimension; ++d) stride *= dims[d];
  const std::size_t length = std::exchange(dims[dimension - 1], count);
  HostArray positions = HostArray::zeros(tessel::ArrayClass::Double, dims);
  double* to = positions.mutableReal<double>();
  for (std::size_t k = 0; k < positions.numel(); ++k) {
    const std::size_t outer = k / (stride * count), inner = k % (stride * count);
    to[k] = static_cast<double>(outer * stride * length + first * stride + inner + 1);
  }
  return x.subscriptedReference(positions);
}

fi ones(const fi& x, const std::vector<unsigned>& dims) {
  const NumericType& type = x.getNumericType();
  const NumericType one = type.isFixed() ? NumericType(type.isSigned(), type.isSigned() ? 2 : 1, 0) : type;
  return fi(1.0, dims.data(), static_cast<unsigned>(dims.size()), one, x.getFimath());
}

std::vector<unsigned> sizes(const fi& x) { return {x.dims().begin(), x.dims().end()}; }

/// Bits behind the sign that a value needs, 0 for 0 and -1 of its steps.
int bitsOf(const number& value, const NumericType& type) {
  number magnitude(value);
  if (value.isnegative()) {
    number step(1.0, value.getprecision(), value.gettype() == kMultiprecisionRepresentation);
    magnitude += step.pow2(type.fixedExponent());
  }
  return magnitude.iszero() ? 0 : magnitude.unbiasedexponent() - type.fixedExponent() + 1;
}

/// Remainders in the type of an array, exactly.
class Remainders {
 public:
  Remainders(const fi& result, RemainderSign sign)
      : isDouble_(result.realPart().gettype() == kDoubleRepresentation),
        ofDividend_(sign == RemainderSign::OfDividend),
        exponent_(result.getNumericType().fixedExponent()),
        dividend_(0.0, bits(result), !isDouble_),
        divisor_(0.0, bits(result), !isDouble_) {}

  void take(const number& x, const number& y, number& remainder) const {
    if (isDouble_) {
      remainder = ofDoubles(x.todouble(), y.todouble());
      return;
    }
    dividend_ = x;
    divisor_ = y;
    const bool isNegated = ofDividend_ && x.isnegative();
    if (ofDividend_) dividend_.abs(), divisor_.abs();
    // Of integers, in so many bits that no quotient comes to lie on another side of an integer.
    dividend_.pow2(-exponent_).mod(divisor_.pow2(-exponent_)).pow2(exponent_);
    if (isNegated && !dividend_.iszero()) dividend_.negate();
    remainder = dividend_;
  }

 private:
  static unsigned bits(const fi& result) {
    constexpr unsigned kMoreBits = 8;
    const unsigned own = result.realPart().getprecision();
    return result.realPart().gettype() == kDoubleRepresentation ? own : 2 * own + kMoreBits;
  }
  double ofDoubles(double x, double y) const {
    if (y == 0) return x;
    const double remainder = std::fmod(x, y);
    const bool isOnOtherSide = !ofDividend_ && remainder != 0 && (remainder < 0) != (y < 0);
    return (isOnOtherSide ? remainder + y : remainder) + 0.0;
  }

  bool isDouble_, ofDividend_;
  int exponent_;
  mutable number dividend_, divisor_;
};

}  // namespace

fi roundedToIntegers(const fi& x, RoundModeEnum mode, const char* name) {
  requireBinaryPoint(x, name);
  fi result = arrayLike(x, x, integerType(x.getNumericType(), mode));
  const auto round = [mode](const number& part, number& to) {
    const number from(part, Reading{});
    for (unsigned k = 0; k < from.numel(); ++k) {
      tessel::raiseIfInterrupted();
      number value(from[k]);
      to[k] = roundTo(value, mode);
    }
  };
  round(x.realPart(), result.realPart());
  if (x.iscomplex()) round(x.imagPart(), result.imagPart());
  return result;
}

fi remainder(const fi& x, const fi& y, RemainderSign sign, const char* name) {
  for (const fi* operand : {&x, &y}) {
    fi::errorIfBooleanMath(*operand);
    requireBinaryPoint(*operand, name);
    requireReal(*operand, name);
  }
  fi result = arrayLike(x, shapeOfResult(x, y), remainderType(x.getNumericType(), y.getNumericType()));
  const Remainders remainders(result, sign);
  const number dividends(x.realPart(), Reading{}), divisors(y.realPart(), Reading{});
  for (unsigned k = 0; k < result.numel(); ++k) {
    tessel::raiseIfInterrupted();
    remainders.take(dividends[x.isscalar() ? 0 : k], divisors[y.isscalar() ? 0 : k], result.realPart()[k]);
  }
  return result;
}

fi elementPower(const fi& x, unsigned exponent) {
  if (exponent == 0) return ones(x, sizes(x));
  fi power(x);
  for (unsigned k = 1; k < exponent; ++k) power = power.times(x);
  return power;
}

fi matrixPower(const fi& x, unsigned exponent) {
  if (x.isscalar()) return elementPower(x, exponent);
  if (x.numDims() != 2 || x.rows() != x.cols()) fail<kNotSquare>();
  if (exponent == 0) fail<kZeroPower>();
  fi power(x);
  for (unsigned k = 1; k < exponent; ++k) power = power.mtimes(x);
  return power;
}

fi product(const fi& x, unsigned dimension) {
  const unsigned length = x.getDimension(dimension);
  if (length == 0) {
    std::vector<unsigned> dims = sizes(x);
    dims[dimension - 1] = 1;
    return ones(x, withoutLastOnes(std::move(dims)));
  }
  fi result = slice(x, dimension, 0, 1);
  for (unsigned k = 1; k < length; ++k) result = result.times(slice(x, dimension, k, 1));
  return result;
}

fi difference(const fi& x, unsigned dimension) {
  const unsigned count = x.getDimension(dimension) - 1;
  return slice(x, dimension, 1, count).minus(slice(x, dimension, 0, count));
}

std::vector<int> leadingSigns(const fi& x, const char* name) {
  const NumericType& type = x.getNumericType();
  if (!type.isFixed()) fail<kFixedOnly>(name);
  requireBinaryPoint(x, name);
  requireReal(x, name);
  std::vector<int> counts;
  const number values(x.realPart(), Reading{});
  for (unsigned k = 0; k < x.numel(); ++k)
    counts.push_back(type.wordLength() - (type.isSigned() ? 1 : 0) - bitsOf(values[k], type));
  return counts;
}

fi normalized(const fi& x, std::vector<int>& shifts) {
  shifts = leadingSigns(x, "normalize");
  fi result(x);
  for (unsigned k = 0; k < x.numel(); ++k) {
    if (result.realPart()[k].iszero()) shifts[k] = 0;
    result.realPart().pow2(shifts[k]);
  }
  return result;
}

}  // namespace embedded
