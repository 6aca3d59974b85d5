// Elementary mathematics, element by element.
#include <numbers>
#include <optional>

#include "tessel/language/builtins/builtins.h"
#include "tessel/language/builtins/support.h"
#include "tessel/language/decimal_rounding.h"
#include "tessel/runtime/convert.h"

namespace tessel {
namespace {

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
template <Domain isWithin, class F>
FunctionInfo analytic(const char* name, F f, const char* help) {
  return {name,
          [=](Arrays& in, int) {
            requireFloat(name, in[0]);
            const ArrayClass resultClass = numericClass(in[0].arrayClass());
            if (in[0].isComplex() || allWithin(in[0], isWithin))
              return Arrays{mapElements(in[0], resultClass, f)};
            HostArray widened = convertTo(in[0], resultClass);
            widened.mutableImagData();
            return Arrays{mapElements(widened, resultClass, f)};
          },
          1,
          1,
          1,
          help,
          [](double x) { return isWithin(x) ? std::optional(F{}(x)) : std::nullopt; }};
}

/// Applies a function of real numbers to every element, to both parts of complex ones.
template <class F>
HostArray mapParts(const HostArray& a, const F& f) {
  return mapElements(a, numericClass(a.arrayClass()), [&](auto x) {
    if constexpr (std::is_arithmetic_v<decltype(x)>)
      return f(x);
    else
      return decltype(x)(f(x.real()), f(x.imag()));
  });
}

/// A function of real numbers that brings integers to integers, and works on both parts of complex numbers.
template <class F>
FunctionInfo rounding(const char* name, F f, const char* help) {
  return {name,
          [=](Arrays& in, int) {
            requireNumeric(name, in[0]);
            return Arrays{mapParts(in[0], f)};
          },
          1,
          1,
          1,
          help,
          [](double x) { return std::optional(static_cast<double>(F{}(x))); }};
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
          help,
          [](double x) { return std::optional(static_cast<double>(F{}(x))); }};
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
          help,
          nullptr,
          [](double x, double y) { return std::optional(static_cast<double>(F{}(x, y))); }};
}

// The library has these for real numbers alone. Near zero the parts come from the real functions, which lose
// nothing to the 1; elsewhere the plain formula is as exact, and right for what is not finite.
template <class V>
V logOfOnePlus(V x) {
  if constexpr (std::is_arithmetic_v<V>) {
    return std::log1p(x);
  } else {
    if (!(std::abs(x) < 0.5)) return std::log(V(1) + x);
    const long double re = x.real(), im = x.imag();
    return V(static_cast<decltype(x.real())>(std::log1p(re * (2 + re) + im * im) / 2), std::arg(V(1) + x));
  }
}
template <class V>
V expMinusOne(V x) {
  if constexpr (std::is_arithmetic_v<V>) {
    return std::expm1(x);
  } else {
    if (!(std::abs(x) < 0.5)) return std::exp(x) - V(1);
    const auto half = std::sin(x.imag() / 2);
    return V(std::expm1(x.real()) * std::cos(x.imag()) - 2 * half * half, std::exp(x).imag());
  }
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
      analytic<notNegative>(
          "sqrt", [](auto x) { return std::sqrt(x); }, "sqrt(x): the square root."),
      analytic<everywhere>(
          "exp", [](auto x) { return std::exp(x); }, "exp(x): the exponential function."),
      analytic<everywhere>(
          "expm1", [](auto x) { return expMinusOne(x); }, "expm1(x): exp(x) - 1, exact near zero."),
      analytic<notNegative>(
          "log", [](auto x) { return std::log(x); }, "log(x): the natural logarithm."),
      analytic<notNegative>(
          "log10", [](auto x) { return std::log10(x); }, "log10(x): the logarithm to base 10."),
      analytic<aboveMinusOne>(
          "log1p", [](auto x) { return logOfOnePlus(x); }, "log1p(x): log(1 + x), exact near zero."),
      analytic<everywhere>(
          "sin", [](auto x) { return std::sin(x); }, "sin(x): the sine of x in radians."),
      analytic<everywhere>(
          "cos", [](auto x) { return std::cos(x); }, "cos(x): the cosine of x in radians."),
      analytic<everywhere>(
          "tan", [](auto x) { return std::tan(x); }, "tan(x): the tangent of x in radians."),
      analytic<withinOne>(
          "asin", [](auto x) { return std::asin(x); }, "asin(x): the angle with sine x."),
      analytic<withinOne>(
          "acos", [](auto x) { return std::acos(x); }, "acos(x): the angle with cosine x."),
      analytic<everywhere>(
          "atan", [](auto x) { return std::atan(x); }, "atan(x): the angle with tangent x."),
      analytic<everywhere>(
          "sinh", [](auto x) { return std::sinh(x); }, "sinh(x): the hyperbolic sine."),
      analytic<everywhere>(
          "cosh", [](auto x) { return std::cosh(x); }, "cosh(x): the hyperbolic cosine."),
      analytic<everywhere>(
          "tanh", [](auto x) { return std::tanh(x); }, "tanh(x): the hyperbolic tangent."),
      analytic<everywhere>(
          "asinh", [](auto x) { return std::asinh(x); }, "asinh(x): the inverse of sinh."),
      analytic<fromOne>(
          "acosh", [](auto x) { return std::acosh(x); }, "acosh(x): the inverse of cosh."),
      analytic<withinOne>(
          "atanh", [](auto x) { return std::atanh(x); }, "atanh(x): the inverse of tanh."),
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

/// round(x, n), round(x, n, 'significant')
HostArray roundedDecimals(const Arrays& in) {
  requireNumeric("round", in[0]);
  const std::string kind = in.size() > 2 ? textArgument("round", in[2]) : "decimals";
  const bool isSignificant = kind == "significant";
  if (!isSignificant && kind != "decimals")
    raiseInvalidArgument("round", "digits are 'decimals' or 'significant'.");
  const double count = numberArgument("round", in[1]);
  if (count != std::floor(count) || (isSignificant && count < 1))
    raiseInvalidArgument("round", isSignificant ? "the number of digits is a whole number from 1 on."
                                                : "the number of digits is a whole number.");
  constexpr double kMost = 100'000;
  const int digits = static_cast<int>(std::clamp(count, -kMost, kMost));
  if (isSignificant) return mapParts(in[0], [digits](auto x) { return roundedToDigits(x, digits); });
  return mapParts(in[0], [digits](auto x) { return roundedToPlaces(x, digits); });
}

FunctionInfo roundFunction() {
  FunctionInfo info = rounding(
      "round", [](auto x) { return std::round(x); },
      "round(x), round(x, n), round(x, n, 'significant'): the nearest integers, or the nearest numbers of n "
      "decimal places\n"
      "(before the point for negative n) or n significant digits; ties of the exact value away from zero.");
  info.call = [toIntegers = info.call](Arrays& in, int outputCount) {
    return in.size() == 1 ? toIntegers(in, outputCount) : Arrays{roundedDecimals(in)};
  };
  info.maxInputs = 3;
  return info;
}

Builtins partFunctions() {
  return {
      {"log2", callLog2, 1, 1, 2,
       "log2(x), [f, e] = log2(x): the logarithm to base 2, or x = f * 2^e by parts."},
      rounding(
          "floor", [](auto x) { return std::floor(x); },
          "floor(x): the nearest integers toward minus infinity."),
      rounding(
          "ceil", [](auto x) { return std::ceil(x); }, "ceil(x): the nearest integers toward infinity."),
      rounding(
          "fix", [](auto x) { return std::trunc(x); }, "fix(x): the nearest integers toward zero."),
      roundFunction(),
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

}  // namespace

void registerMathBuiltins() {
  for (auto family : {analyticFunctions, partFunctions}) registerAll(family());
}

}  // namespace tessel
