#include "tessel/runtime/arithmetic.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <random>

#include "tessel/messages.h"
#include "tessel/runtime/matrix_arithmetic.h"

namespace tessel {
namespace {

__extension__ using Wide = __int128;

/// numerator / denominator rounded to nearest, ties away from zero, and brought into T.
template <class T>
T reference(Wide numerator, Wide denominator) {
  constexpr Wide low = std::numeric_limits<T>::min(), high = std::numeric_limits<T>::max();
  if (denominator == 0) return numerator == 0 ? T{0} : static_cast<T>(numerator < 0 ? low : high);
  if (denominator < 0) numerator = -numerator, denominator = -denominator;
  const Wide magnitude = numerator < 0 ? -numerator : numerator;
  Wide rounded = magnitude / denominator;
  if (magnitude % denominator >= denominator - magnitude % denominator) ++rounded;
  if (numerator < 0) rounded = -rounded;
  return static_cast<T>(std::clamp(rounded, low, high));
}

template <class T>
class IntegerArithmetic : public testing::Test {};
using IntegerTypes = testing::Types<std::int8_t, std::uint8_t, std::int16_t, std::uint16_t, std::int32_t,
                                    std::uint32_t, std::int64_t, std::uint64_t>;
TYPED_TEST_SUITE(IntegerArithmetic, IntegerTypes);

template <class T>
T randomInteger(std::mt19937_64& random) {
  constexpr int digits = std::numeric_limits<T>::digits;
  const int shift = static_cast<int>(random() % digits);
  return static_cast<T>(static_cast<T>(random()) >> shift);
}

TYPED_TEST(IntegerArithmetic, EqualsExactResultsRoundedOnce) {
  using T = TypeParam;
  constexpr std::uint64_t seed = 20240611;
  std::mt19937_64 random(seed);
  // A double is significand / 2^scale. Up to 32 bits the computation runs in doubles: short ones make it exact.
  constexpr int significandBits = sizeof(T) == 8 ? 53 : 20, largestScale = sizeof(T) == 8 ? 60 : 12;
  constexpr std::size_t count = 5000;
  HostArray a = HostArray::zeros(arrayClassOf<T>(), {1, count}), b = a,
            d = HostArray::zeros(ArrayClass::Double, {1, count});
  std::vector<Wide> significand(count), power(count);
  for (std::size_t i = 0; i < count; ++i) {
    a.mutableReal<T>()[i] = randomInteger<T>(random);
    b.mutableReal<T>()[i] = randomInteger<T>(random);
    const std::int64_t m =
        static_cast<std::int64_t>(random() >> (64 - significandBits)) >> (random() % significandBits);
    const int scale = static_cast<int>(random() % largestScale);
    significand[i] = random() % 2 == 0 ? m : -m;
    power[i] = Wide{1} << scale;
    d.mutableReal<double>()[i] = std::ldexp(static_cast<double>(significand[i]), -scale);
  }
  const HostArray sums = plus(a, b), differences = minus(a, b), products = times(a, b),
                  quotients = rdivide(a, b);
  const HostArray mixedSums = plus(d, a), mixedDifferences = minus(d, a), mixedProducts = times(a, d),
                  mixedQuotients = rdivide(a, d);
  for (std::size_t i = 0; i < count; ++i) {
    const Wide x = a.real<T>()[i], y = b.real<T>()[i], m = significand[i], p = power[i];
    SCOPED_TRACE(testing::Message() << "seed " << seed << ", element " << i << ": " << +a.real<T>()[i] << ", "
                                    << +b.real<T>()[i] << ", " << d.real<double>()[i]);
    ASSERT_EQ(+sums.real<T>()[i], +reference<T>(x + y, 1));
    ASSERT_EQ(+differences.real<T>()[i], +reference<T>(x - y, 1));
    // The product of two unsigned 64-bit integers needs all 128 bits.
    const bool fits = std::abs(static_cast<double>(x) * static_cast<double>(y)) < 0x1p126;
    ASSERT_EQ(+products.real<T>()[i], fits ? +reference<T>(x * y, 1) : +std::numeric_limits<T>::max());
    ASSERT_EQ(+quotients.real<T>()[i], +reference<T>(x, y));
    ASSERT_EQ(+mixedSums.real<T>()[i], +reference<T>(x * p + m, p));
    ASSERT_EQ(+mixedDifferences.real<T>()[i], +reference<T>(m - x * p, p));
    ASSERT_EQ(+mixedProducts.real<T>()[i], +reference<T>(x * m, p));
    ASSERT_EQ(+mixedQuotients.real<T>()[i], +reference<T>(x * p, m));
  }
}

TYPED_TEST(IntegerArithmetic, PowersSaturate) {
  using T = TypeParam;
  for (int base = -3; base <= 12; ++base) {
    Wide expected = 1;
    for (int exponent = 0; exponent < 70; ++exponent) {
      const T x = std::is_signed_v<T> || base > 0 ? static_cast<T>(base) : T{0};
      if (exponent > 0) expected = std::clamp<Wide>(expected * x, -(Wide{1} << 100), Wide{1} << 100);
      const HostArray result = power(HostArray::scalarOf<T>(x), HostArray::scalar(exponent));
      ASSERT_EQ(+result.real<T>()[0], +reference<T>(expected, 1)) << base << "^" << exponent;
    }
  }
}

TEST(Comparison, IsExactBeyondDoubles) {
  const HostArray big = HostArray::scalarOf<std::int64_t>((std::int64_t{1} << 62) + 1);
  const HostArray power62 = HostArray::scalar(0x1p62);
  EXPECT_FALSE(*eq(big, power62).real<bool>());
  EXPECT_TRUE(*gt(big, power62).real<bool>());
  EXPECT_TRUE(*lt(HostArray::scalarOf<std::int64_t>(-1), HostArray::scalarOf<std::uint64_t>(~std::uint64_t{0}))
                   .real<bool>());
}

HostArray randomMatrix(std::mt19937_64& random, std::size_t rows, std::size_t columns, bool isComplex) {
  HostArray a = HostArray::zeros(ArrayClass::Double, {rows, columns}, isComplex);
  std::normal_distribution<double> normal;
  for (std::size_t i = 0; i < a.numel(); ++i) {
    a.mutableReal<double>()[i] = normal(random);
    if (isComplex) a.mutableImag<double>()[i] = normal(random);
  }
  return a;
}

double distance(const HostArray& a, const HostArray& b) { return singularValues(minus(a, b))[0]; }

/// Products against sums of outer products; solutions against their normal equations; powers against products.
TEST(LinearAlgebra, AgreesWithItsDefinitions) {
  std::mt19937_64 random(7);
  for (int trial = 0; trial < 40; ++trial) {
    const bool isComplex = trial % 2 == 1;
    const std::size_t n = 1 + random() % 7, columns = 1 + random() % 4;
    const HostArray a = randomMatrix(random, n + trial % 3, n, isComplex),
                    b = randomMatrix(random, a.dim(0), columns, trial % 4 > 1);
    const HostArray x = mldivide(a, b);
    ASSERT_EQ(x.dims(), (Dimensions{n, columns}));
    EXPECT_LT(distance(mtimes(ctranspose(a), mtimes(a, x)), mtimes(ctranspose(a), b)), 1e-9)
        << "trial " << trial;
    EXPECT_LT(distance(transpose(mrdivide(transpose(b), transpose(a))), x), 1e-9);
    HostArray sum = HostArray::zeros(ArrayClass::Double, {a.dim(0), columns});
    for (std::size_t k = 0; k < n; ++k) {
      HostArray outer = HostArray::zeros(ArrayClass::Double, sum.dims(), true);
      for (std::size_t i = 0; i < outer.numel(); ++i) {
        const std::size_t row = k * a.dim(0) + i % a.dim(0), column = i / a.dim(0) * n + k;
        const std::complex<double> term = std::complex<double>(a.realAt(row), a.imagAt(row)) *
                                          std::complex<double>(x.realAt(column), x.imagAt(column));
        outer.mutableReal<double>()[i] = term.real();
        outer.mutableImag<double>()[i] = term.imag();
      }
      sum = plus(sum, outer);
    }
    EXPECT_LT(distance(mtimes(a, x), sum), 1e-12);
    if (a.dim(0) != n) continue;
    const HostArray cube = mtimes(a, mtimes(a, a)), five = HostArray::scalar(5),
                    minusTwo = HostArray::scalar(-2);
    EXPECT_LT(distance(mtimes(mpower(a, five), mpower(a, minusTwo)), cube),
              1e-6 * singularValues(mpower(a, five))[0] * singularValues(mpower(a, minusTwo))[0]);
  }
}

}  // namespace
}  // namespace tessel
