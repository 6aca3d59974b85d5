// Whole numbers, vectors and matrices.
#include <bit>
#include <utility>

#include "tessel/language/builtins/builtins.h"
#include "tessel/language/builtins/support.h"
#include "tessel/messages.h"
#include "tessel/runtime/arithmetic.h"
#include "tessel/runtime/convert.h"
#include "tessel/runtime/matrix_arithmetic.h"

namespace tessel {
namespace {

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
  for (std::size_t i = 1; i <= std::min(k, n - k) && std::isfinite(result); ++i) {
    result = std::round(result * static_cast<long double>(n - i + 1) / static_cast<long double>(i));
  }
  return {HostArray::scalar(static_cast<double>(result))};
}

__extension__ using Uint128 = unsigned __int128;

std::uint64_t powerModulo(std::uint64_t base, std::uint64_t exponent, std::uint64_t n) {
  Uint128 power = 1;
  for (Uint128 square = base % n; exponent > 0; exponent >>= 1, square = square * square % n)
    if (exponent & 1) power = power * square % n;
  return static_cast<std::uint64_t>(power);
}

/// Miller and Rabin's test; these bases tell all numbers of 64 bits.
bool isPrime(std::uint64_t n) {
  constexpr std::uint64_t kBases[] = {2, 3, 5, 7, 11, 13, 17, 19, 23, 29, 31, 37};
  for (const std::uint64_t p : kBases)
    if (n % p == 0) return n == p;
  if (n < 2) return false;
  const int twos = std::countr_zero(n - 1);
  return std::ranges::all_of(kBases, [&](std::uint64_t base) {
    Uint128 power = powerModulo(base, (n - 1) >> twos, n);
    if (power == 1) return true;
    for (int k = 1; k < twos && power != n - 1; ++k) power = power * power % n;
    return power == n - 1;
  });
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
  if (in.size() == 1 && in[0].isComplex()) return {in[0]};
  requireReal("complex", in[0]);
  const HostArray second = in.size() > 1 ? in[1] : HostArray::scalar(0);
  requireReal("complex", second);
  if (auto operands = expandedOperands(in[0], second)) {
    in = arraysOf(std::move(operands->first), std::move(operands->second));
    return callComplex(in, 1);
  }
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
  if (in[0].isVector() && in[1].isVector() && in[0].numel() == in[1].numel()) in[1].reshape(in[0].dims());
  if (in[0].dims() != in[1].dims()) raiseSizesDiffer(in[0], in[1]);
  return callBuiltin("sum", {times(callBuiltin("conj", {in[0]})[0], in[1])});
}

Arrays callCross(Arrays& in, int) {
  requireNumeric("cross", in[0]);
  requireNumeric("cross", in[1]);
  if (in[0].numel() != 3 || in[1].numel() != 3)
    raiseInvalidArgument("cross", "vectors of three elements are needed.");
  in[1].reshape(in[0].dims());
  const auto turned = [](const HostArray& a, const std::vector<std::size_t>& order) {
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

/// The largest of values that are not negative; NaN where one is.
double largestOf(const std::vector<double>& values) {
  double largest = 0;
  for (double x : values) largest = x > largest || std::isnan(x) ? x : largest;
  return largest;
}

double vectorNorm(const std::vector<double>& values, double p) {
  const double largest = largestOf(values);
  if (std::isnan(largest)) return largest;
  // Scaled, so that no power that counts leaves the range of doubles.
  const double scale = p < 0 ? *std::min_element(values.begin(), values.end()) : largest;
  if (scale == 0 || std::isinf(scale) || std::isinf(p)) return scale;
  double sum = 0;
  for (double x : values) sum += p == 2 ? (x / scale) * (x / scale) : std::pow(x / scale, p);
  return scale * (p == 2 ? std::sqrt(sum) : std::pow(sum, 1 / p));
}

double largestLineSum(const HostArray& a, bool ofRows) {
  const std::vector<double> values = magnitudes(a);
  std::vector<double> sums(ofRows ? a.dim(0) : a.dim(1));
  for (std::size_t i = 0; i < values.size(); ++i) sums[ofRows ? i % a.dim(0) : i / a.dim(0)] += values[i];
  return largestOf(sums);
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
  else if (a.dims().size() > 2)
    raiseError("Tessel:mustBe2D", "Arguments of 'norm' must have two dimensions.");
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

void registerNumberBuiltins() {
  for (auto family : {wholeFunctions, vectorFunctions}) registerAll(family());
}

}  // namespace tessel
