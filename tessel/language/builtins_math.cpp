// Elementary mathematics, element by element, and a few functions of vectors and matrices.
#include <numbers>
#include <numeric>

#include "tessel/language/builtin_support.h"
#include "tessel/language/builtins.h"
#include "tessel/messages.h"
#include "tessel/runtime/arithmetic.h"
#include "tessel/runtime/matrix_arithmetic.h"

namespace tessel {
namespace {

void requireFloat(const std::string& function, const HostArray& a) {
  requireNumeric(function, a);
  if (a.isInteger()) raiseUndefinedFor(function, a);
}

/// Whether a real argument has a real result.
using Domain = bool (*)(double);
bool everywhere(double) { return true; }
bool notNegative(double x) { return !(x < 0); }
bool aboveMinusOne(double x) { return !(x < -1); }
bool withinOne(double x) { return !(std::abs(x) > 1); }
bool fromOne(double x) { return !(x < 1); }

bool allWithin(const HostArray& a, Domain domain) {
  if (domain == everywhere) return true;
  const std::vector<double> values = realParts(a);
  return std::all_of(values.begin(), values.end(), domain);
}

/// A function of real and complex numbers; a real argument outside the domain makes the whole result complex.
template <class F>
FunctionInfo analytic(const char* name, F f, Domain domain, const char* help) {
  return {name,
          [=](Arrays& in, int) {
            requireFloat(name, in[0]);
            const ArrayClass resultClass = numericClass(in[0].arrayClass());
            if (in[0].isComplex() || allWithin(in[0], domain))
              return Arrays{mapElements(in[0], resultClass, f)};
            HostArray widened = convertTo(in[0], resultClass);
            widened.mutableImagData();
            return Arrays{mapElements(widened, resultClass, f)};
          },
          1,
          1,
          1,
          help};
}

/// A function of real numbers that brings integers to integers, and works on both parts of complex numbers.
template <class F>
FunctionInfo rounding(const char* name, F f, const char* help) {
  const auto onParts = [f](auto x) {
    if constexpr (std::is_arithmetic_v<decltype(x)>)
      return f(x);
    else
      return decltype(x)(f(x.real()), f(x.imag()));
  };
  return {name,
          [=](Arrays& in, int) {
            requireNumeric(name, in[0]);
            return Arrays{mapElements(in[0], numericClass(in[0].arrayClass()), onParts)};
          },
          1,
          1,
          1,
          help};
}

/// A function of one number, real or complex, of any numeric class.
template <class F>
FunctionInfo numeric(const char* name, F f, const char* help) {
  return {name,
          [=](Arrays& in, int) {
            requireNumeric(name, in[0]);
            return Arrays{mapElements(in[0], numericClass(in[0].arrayClass()), f)};
          },
          1,
          1,
          1,
          help};
}

/// A function of two real numbers with scalar expansion, in the class of arithmetic.
template <class F>
FunctionInfo binary(const char* name, F f, const char* help) {
  return {name,
          [=](Arrays& in, int) {
            const ArrayClass resultClass = arithmeticClass(name, in[0], in[1]);
            return Arrays{elementwise(name, in[0], in[1], f, resultClass, resultClass)};
          },
          2,
          2,
          1,
          help};
}

// The library has these for real numbers alone.
template <class V>
V logOfOnePlus(V x) {
  if constexpr (std::is_arithmetic_v<V>)
    return std::log1p(x);
  else
    return std::log(V(1) + x);
}
template <class V>
V expMinusOne(V x) {
  if constexpr (std::is_arithmetic_v<V>)
    return std::expm1(x);
  else
    return std::exp(x) - V(1);
}
template <class V>
V binaryLogarithm(V x) {
  if constexpr (std::is_arithmetic_v<V>)
    return std::log2(x);
  else
    return std::log(x) / std::numbers::ln2_v<typename V::value_type>;
}

Builtins analyticFunctions() {
  return {
      analytic(
          "sqrt", [](auto x) { return std::sqrt(x); }, notNegative, "sqrt(x): the square root."),
      analytic(
          "exp", [](auto x) { return std::exp(x); }, everywhere, "exp(x): the exponential function."),
      analytic(
          "expm1", [](auto x) { return expMinusOne(x); }, everywhere, "expm1(x): exp(x) - 1, exact near zero."),
      analytic(
          "log", [](auto x) { return std::log(x); }, notNegative, "log(x): the natural logarithm."),
      analytic(
          "log10", [](auto x) { return std::log10(x); }, notNegative, "log10(x): the logarithm to base 10."),
      analytic(
          "log1p", [](auto x) { return logOfOnePlus(x); }, aboveMinusOne,
          "log1p(x): log(1 + x), exact near zero."),
      analytic(
          "sin", [](auto x) { return std::sin(x); }, everywhere, "sin(x): the sine of x in radians."),
      analytic(
          "cos", [](auto x) { return std::cos(x); }, everywhere, "cos(x): the cosine of x in radians."),
      analytic(
          "tan", [](auto x) { return std::tan(x); }, everywhere, "tan(x): the tangent of x in radians."),
      analytic(
          "asin", [](auto x) { return std::asin(x); }, withinOne, "asin(x): the angle with sine x."),
      analytic(
          "acos", [](auto x) { return std::acos(x); }, withinOne, "acos(x): the angle with cosine x."),
      analytic(
          "atan", [](auto x) { return std::atan(x); }, everywhere, "atan(x): the angle with tangent x."),
      analytic(
          "sinh", [](auto x) { return std::sinh(x); }, everywhere, "sinh(x): the hyperbolic sine."),
      analytic(
          "cosh", [](auto x) { return std::cosh(x); }, everywhere, "cosh(x): the hyperbolic cosine."),
      analytic(
          "tanh", [](auto x) { return std::tanh(x); }, everywhere, "tanh(x): the hyperbolic tangent."),
      analytic(
          "asinh", [](auto x) { return std::asinh(x); }, everywhere, "asinh(x): the inverse of sinh."),
      analytic(
          "acosh", [](auto x) { return std::acosh(x); }, fromOne, "acosh(x): the inverse of cosh."),
      analytic(
          "atanh", [](auto x) { return std::atanh(x); }, withinOne, "atanh(x): the inverse of tanh."),
  };
}

/// [f, e] = log2(x): x = f · 2^e with 0.5 <= |f| < 1.
Arrays callLog2(Arrays& in, int outputCount) {
  requireFloat("log2", in[0]);
  const ArrayClass resultClass = numericClass(in[0].arrayClass());
  if (outputCount < 2) {
    HostArray x = convertTo(in[0], resultClass);
    if (!allWithin(x, notNegative)) x.mutableImagData();
    return {mapElements(x, resultClass, [](auto v) { return binaryLogarithm(v); })};
  }
  requireReal("log2", in[0]);
  const auto parts = [](auto x, bool wantExponent) {
    int exponent = 0;
    const auto fraction = std::frexp(std::real(x), &exponent);
    return wantExponent ? static_cast<decltype(fraction)>(std::isfinite(fraction) ? exponent : 0) : fraction;
  };
  return {mapElements(in[0], resultClass, [&](auto x) { return parts(x, false); }),
          mapElements(in[0], resultClass, [&](auto x) { return parts(x, true); })};
}

// Remainders that are exact, also where the quotient rounds.
struct Remainder {
  template <class E>
  E operator()(E x, E y) const {
    return y == 0 ? x : std::fmod(x, y);
  }
};

/// As Remainder, with the sign of the divisor.
struct Modulus {
  template <class E>
  E operator()(E x, E y) const {
    if (y == 0) return x;
    if (std::isinf(y) && std::isfinite(x)) return x != 0 && (x < 0) != (y < 0) ? y : x;
    const E rest = std::fmod(x, y);
    if (rest == 0) return 0;
    return (rest < 0) != (y < 0) ? rest + y : rest;
  }
};

Builtins partFunctions() {
  return {
      rounding(
          "floor", [](auto x) { return std::floor(x); },
          "floor(x): the nearest integers toward minus infinity."),
      rounding(
          "ceil", [](auto x) { return std::ceil(x); }, "ceil(x): the nearest integers toward infinity."),
      rounding(
          "fix", [](auto x) { return std::trunc(x); }, "fix(x): the nearest integers toward zero."),
      rounding(
          "round", [](auto x) { return std::round(x); },
          "round(x): the nearest integers, ties away from zero."),
      numeric(
          "abs", [](auto x) { return std::abs(x); }, "abs(x): magnitudes."),
      numeric(
          "real", [](auto x) { return std::real(x); }, "real(x): real parts."),
      numeric(
          "imag", [](auto x) { return std::imag(x); }, "imag(x): imaginary parts."),
      numeric(
          "conj",
          [](auto x) {
            if constexpr (std::is_arithmetic_v<decltype(x)>)
              return x;
            else
              return std::conj(x);
          },
          "conj(x): complex conjugates."),
      numeric(
          "angle", [](auto x) { return std::arg(x); }, "angle(x): phase angles in radians."),
      numeric(
          "sign",
          [](auto x) {
            using V = decltype(x);
            if constexpr (std::is_arithmetic_v<V>)
              return x > 0 ? V{1} : x < 0 ? V{-1} : x;
            else
              return x == V(0) ? x : x / std::abs(x);
          },
          "sign(x): 1, 0 or -1 by the sign; x/abs(x) of complex numbers."),
      binary("mod", Modulus{}, "mod(x, y): the remainder of x/y with the sign of y; x where y is 0."),
      binary("rem", Remainder{}, "rem(x, y): the remainder of x/y with the sign of x; x where y is 0."),
      binary(
          "atan2", [](auto y, auto x) { return std::atan2(y, x); },
          "atan2(y, x): the angle of the point (x, y)."),
      binary(
          "hypot", [](auto x, auto y) { return std::hypot(x, y); }, "hypot(x, y): sqrt(x^2 + y^2)."),
  };
}

// Functions of whole numbers

constexpr double kLargestExact = 0x1p53;

/// Refuses values that are not whole, or negative where that matters.
void requireWhole(const char* function, const HostArray& a, bool mayBeNegative = false) {
  requireReal(function, a);
  if (a.isInteger() && mayBeNegative) return;
  for (double x : realParts(a)) {
    const bool isWhole = x == std::floor(x) && (a.isInteger() || std::abs(x) <= kLargestExact);
    if (!isWhole || (x < 0 && !mayBeNegative)) {
      raiseInvalidArgument(function, mayBeNegative ? "whole numbers are needed."
                                                   : "whole numbers that are not negative are needed.");
    }
  }
}

template <class F>
FunctionInfo wholeBinary(const char* name, F f, bool mayBeNegative, const char* help) {
  return {name,
          [=](Arrays& in, int) {
            requireWhole(name, in[0], mayBeNegative);
            requireWhole(name, in[1], mayBeNegative);
            const ArrayClass resultClass = arithmeticClass(name, in[0], in[1]);
            return Arrays{elementwise(name, in[0], in[1], f, resultClass, resultClass)};
          },
          2,
          2,
          1,
          help};
}

template <class E>
E greatestDivisor(E x, E y) {
  x = std::abs(x), y = std::abs(y);
  while (y != 0) x = std::exchange(y, std::fmod(x, y));
  return x;
}

template <class E, class F>
E onBits(E x, E y, F f) {
  return static_cast<E>(f(static_cast<std::uint64_t>(x), static_cast<std::uint64_t>(y)));
}

/// Bits that leave the class (or the 53 bits of a double) are lost.
Arrays callBitshift(Arrays& in, int) {
  requireWhole("bitshift", in[0]);
  requireWhole("bitshift", in[1], true);
  const ArrayClass resultClass = arithmeticClass("bitshift", in[0], in[1]);
  const int bits =
      visitElementType(resultClass, [](auto zero) { return std::numeric_limits<decltype(zero)>::digits; });
  const auto shift = [bits](auto x, auto k) {
    const auto shifted = std::ldexp(x, static_cast<int>(std::clamp(k, decltype(k)(-1100), decltype(k)(100))));
    return std::fmod(std::floor(shifted), std::ldexp(decltype(x)(1), bits));
  };
  return {elementwise("bitshift", in[0], in[1], shift, resultClass, resultClass)};
}

Builtins wholeFunctions() {
  return {
      wholeBinary(
          "gcd", [](auto x, auto y) { return greatestDivisor(x, y); }, true,
          "gcd(x, y): greatest common divisors."),
      wholeBinary(
          "lcm",
          [](auto x, auto y) {
            const auto divisor = greatestDivisor(x, y);
            return divisor == 0 ? divisor : std::abs(x / divisor * y);
          },
          true, "lcm(x, y): least common multiples."),
      wholeBinary(
          "bitand", [](auto x, auto y) { return onBits(x, y, std::bit_and<>{}); }, false,
          "bitand(x, y): the bits that are set in both."),
      wholeBinary(
          "bitor", [](auto x, auto y) { return onBits(x, y, std::bit_or<>{}); }, false,
          "bitor(x, y): the bits that are set in either."),
      wholeBinary(
          "bitxor", [](auto x, auto y) { return onBits(x, y, std::bit_xor<>{}); }, false,
          "bitxor(x, y): the bits that are set in one alone."),
      {"bitshift", callBitshift, 2, 2, 1,
       "bitshift(x, k): x shifted left by k bits; to the right for negative k."},
  };
}

Arrays callFactorial(Arrays& in, int) {
  requireWhole("factorial", in[0]);
  return {mapElements(in[0], numericClass(in[0].arrayClass()), [](auto x) {
    auto product = decltype(x)(1);
    for (auto k = decltype(x)(2); std::real(k) <= std::real(x) && std::isfinite(std::real(product));
         k += decltype(x)(1))
      product *= k;
    return product;
  })};
}

Arrays callNchoosek(Arrays& in, int) {
  const auto n = countArgument("nchoosek", in[0]), k = countArgument("nchoosek", in[1]);
  if (k > n) return {HostArray::scalar(0)};
  long double result = 1;
  for (std::size_t i = 1; i <= std::min(k, n - k); ++i) {
    result = std::round(result * static_cast<long double>(n - i + 1) / static_cast<long double>(i));
  }
  return {HostArray::scalar(static_cast<double>(result))};
}

bool isPrime(std::uint64_t n) {
  if (n < 4) return n > 1;
  if (n % 2 == 0) return false;
  for (std::uint64_t d = 3; d * d <= n; d += 2)
    if (n % d == 0) return false;
  return true;
}

Arrays callIsprime(Arrays& in, int) {
  requireWhole("isprime", in[0]);
  return {mapElements(in[0], ArrayClass::Logical,
                      [](auto x) -> bool { return isPrime(static_cast<std::uint64_t>(std::real(x))); })};
}

Arrays callPrimes(Arrays& in, int) {
  const double limit = numberArgument("primes", in[0]);
  if (!(limit < 1e9)) raiseInvalidArgument("primes", "the limit must be below 1e9.");
  const auto last = static_cast<std::size_t>(std::max(limit, 1.0));
  std::vector<bool> isComposite(last + 1);
  std::vector<double> primes;
  for (std::size_t p = 2; p <= last; ++p) {
    if (isComposite[p]) continue;
    primes.push_back(static_cast<double>(p));
    for (std::size_t multiple = p * p; multiple <= last; multiple += p) isComposite[multiple] = true;
  }
  return {doubleRow(primes)};
}

// Vectors and matrices

Arrays callComplex(Arrays& in, int) {
  requireReal("complex", in[0]);
  const HostArray second = in.size() > 1 ? in[1] : HostArray::scalar(0);
  requireReal("complex", second);
  const ArrayClass resultClass = arithmeticClass("complex", in[0], second);
  const HostArray re = convertTo(in[0], resultClass), im = convertTo(second, resultClass);
  const Dimensions& dims = commonSize(re, im);
  HostArray result = HostArray::zeros(resultClass, dims, true);
  visitElementType(resultClass, [&](auto zero) {
    using T = decltype(zero);
    for (std::size_t i = 0; i < result.numel(); ++i) {
      result.mutableReal<T>()[i] = re.real<T>()[re.isScalar() ? 0 : i];
      result.mutableImag<T>()[i] = im.real<T>()[im.isScalar() ? 0 : i];
    }
  });
  return {result};
}

Arrays callPow2(Arrays& in, int) {
  if (in.size() == 1) return {power(HostArray::scalar(2), in[0])};
  return {times(in[0], power(HostArray::scalar(2), in[1]))};
}

Arrays callDot(Arrays& in, int) {
  requireNumeric("dot", in[0]);
  requireNumeric("dot", in[1]);
  if (in[0].isVector() && in[1].isVector()) {
    for (HostArray& a : in) a.reshape({a.numel(), 1});
  }
  return callBuiltin("sum", {times(callBuiltin("conj", {in[0]})[0], in[1])});
}

Arrays callCross(Arrays& in, int) {
  requireNumeric("cross", in[0]);
  requireNumeric("cross", in[1]);
  if (in[0].numel() != 3 || in[1].numel() != 3)
    raiseInvalidArgument("cross", "vectors of three elements are needed.");
  in[1].reshape(in[0].dims());
  const auto turned = [](const HostArray& a, std::vector<std::size_t> order) {
    return rearranged(a, order, a.dims());
  };
  return {minus(times(turned(in[0], {1, 2, 0}), turned(in[1], {2, 0, 1})),
                times(turned(in[0], {2, 0, 1}), turned(in[1], {1, 2, 0})))};
}

std::vector<double> magnitudes(const HostArray& a) {
  std::vector<double> re = realParts(a);
  const std::vector<double> im = imaginaryParts(a);
  for (std::size_t i = 0; i < re.size(); ++i) re[i] = std::hypot(re[i], im[i]);
  return re;
}

double vectorNorm(const std::vector<double>& values, double p) {
  const double largest = values.empty() ? 0 : *std::max_element(values.begin(), values.end());
  if (largest == 0 || std::isinf(largest)) return largest;
  if (std::isinf(p)) return p > 0 ? largest : *std::min_element(values.begin(), values.end());
  double sum = 0;  // scaled, so that no square leaves the range of doubles
  for (double x : values) sum += p == 2 ? (x / largest) * (x / largest) : std::pow(x / largest, p);
  return largest * (p == 2 ? std::sqrt(sum) : std::pow(sum, 1 / p));
}

double largestLineSum(const HostArray& a, bool ofRows) {
  const std::vector<double> values = magnitudes(a);
  std::vector<double> sums(ofRows ? a.dim(0) : a.dim(1));
  for (std::size_t i = 0; i < values.size(); ++i) sums[ofRows ? i % a.dim(0) : i / a.dim(0)] += values[i];
  return *std::max_element(sums.begin(), sums.end());
}

Arrays callNorm(Arrays& in, int) {
  requireFloat("norm", in[0]);
  const bool isFrobenius = in.size() > 1 && in[1].isChar() && in[1].toText() == "fro";
  const bool isNamed = in.size() > 1 && in[1].isChar();
  if (isNamed && !isFrobenius && in[1].toText() != "inf") raiseInvalidArgument("norm", "no such norm.");
  double p = 2;
  if (isNamed && !isFrobenius) p = std::numeric_limits<double>::infinity();
  if (in.size() > 1 && !isNamed) p = numberArgument("norm", in[1]);
  const HostArray& a = in[0];
  double norm = 0;
  if (a.isEmpty())
    norm = 0;
  else if (a.isVector() || isFrobenius)
    norm = vectorNorm(magnitudes(a), p);
  else if (p == 1 || p == std::numeric_limits<double>::infinity())
    norm = largestLineSum(a, p != 1);
  else if (p == 2)
    norm = singularValues(a)[0];
  else
    raiseInvalidArgument("norm", "matrices have the norms 1, 2, inf and 'fro'.");
  return {convertTo(HostArray::scalar(norm), numericClass(a.arrayClass()))};
}

Arrays callInv(Arrays& in, int) {
  requireFloat("inv", in[0]);
  if (in[0].isScalar()) return {rdivide(HostArray::scalar(1), in[0])};
  return {mpower(in[0], HostArray::scalar(-1))};
}

Builtins vectorFunctions() {
  return {
      {"log2", callLog2, 1, 1, 2,
       "log2(x), [f, e] = log2(x): the logarithm to base 2, or x = f * 2^e by parts."},
      {"pow2", callPow2, 1, 2, 1, "pow2(e), pow2(f, e): 2^e, or f * 2^e."},
      {"factorial", callFactorial, 1, 1, 1, "factorial(n): the product of the whole numbers up to n."},
      {"nchoosek", callNchoosek, 2, 2, 1, "nchoosek(n, k): the binomial coefficient."},
      {"isprime", callIsprime, 1, 1, 1, "isprime(n): true where n is a prime number."},
      {"primes", callPrimes, 1, 1, 1, "primes(n): the prime numbers up to n."},
      {"complex", callComplex, 1, 2, 1, "complex(a), complex(a, b): a + b*i, complex even where b is zero."},
      {"dot", callDot, 2, 2, 1, "dot(a, b): the scalar product of vectors, or of columns."},
      {"cross", callCross, 2, 2, 1, "cross(a, b): the vector product of three-element vectors."},
      {"norm", callNorm, 1, 2, 1, "norm(a), norm(a, p), norm(a, 'fro'): the norm of a vector or a matrix."},
      {"inv", callInv, 1, 1, 1, "inv(a): the inverse of a square matrix."},
  };
}

}  // namespace

void registerMathBuiltins() {
  for (auto family : {analyticFunctions, partFunctions, wholeFunctions, vectorFunctions}) registerAll(family());
}

}  // namespace tessel
