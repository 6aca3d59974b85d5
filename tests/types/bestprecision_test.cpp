#include <gmpxx.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <random>
#include <utility>
#include <vector>

#include "qfcore/types/numerictype.h"
#include "tests/types/outcome.h"

using namespace EmbeddedTypeSystem;
using tessel::ArrayClass;
using tessel::HostArray;

namespace {

/// value / 2^exponent, exactly.
mpq_class inUnits(double value, int exponent) {
  mpq_class q(value);
  if (exponent >= 0)
    q >>= static_cast<mp_bitcnt_t>(exponent);
  else
    q <<= static_cast<mp_bitcnt_t>(-exponent);
  return q;
}

/// The least exponent whose grid holds `value` between the bounds, both open.
int leastExponent(double value, const mpq_class& low, const mpq_class& high) {
  int exponent = 80;  // beyond all values that are tried
  while (inUnits(value, exponent - 1) > low && inUnits(value, exponent - 1) < high) --exponent;
  return exponent;
}

TEST(NumericTypeBestPrecision, IsTheFinestGridThatHoldsTheValue) {
  constexpr unsigned kSeed = 7;
  SCOPED_TRACE(kSeed);
  std::mt19937_64 random(kSeed);
  for (int i = 0; i < 2000; ++i) {
    const bool isSigned = random() & 1;
    const int wordLength = 2 + static_cast<int>(random() % (i % 2 ? 70 : 10));
    const int digits = 1 + static_cast<int>(random() % 53);
    const auto stored = static_cast<double>((random() >> 11) >> (53 - digits)) + (random() % 4 ? 0 : 1);
    double value = std::ldexp(stored, static_cast<int>(random() % 60) - 40);
    if (value == 0) continue;
    if (random() & 1) value = -value;
    NumericType fromMaxAbs(isSigned, wordLength, 0), rounded = fromMaxAbs;
    fromMaxAbs.setBestPrecisionFromMaxAbs(value);
    rounded.fxpBestPrecisionExponent(value);
    SCOPED_TRACE(fromMaxAbs.tostring() + " " + std::to_string(value));
    const int bits = isSigned ? wordLength - 1 : wordLength;
    mpq_class bound = 1;
    bound <<= static_cast<mp_bitcnt_t>(bits);
    // The magnitude alone counts for an unsigned type, and the negative end of a signed one is closed.
    if (isSigned || value > 0) {
      const mpq_class closedLow = -bound - inUnits(1, 400);
      EXPECT_EQ(fromMaxAbs.fixedExponent(), leastExponent(value, closedLow, bound));
      // Rounded to nearest, ties away from zero, it still fits.
      const mpq_class half(1, 2);
      EXPECT_EQ(rounded.fixedExponent(), leastExponent(value, -bound - half, bound - half));
    } else {
      EXPECT_EQ(fromMaxAbs.fixedExponent(), leastExponent(-value, -bound, bound));
      EXPECT_EQ(rounded.fractionLength(), wordLength);
    }
  }
}

TEST(NumericTypeBestPrecision, NamedCases) {
  struct Row {
    bool isSigned;
    int wordLength;
    double value;
    int fromMaxAbs, rounded;
  };
  const Row rows[] = {{false, 8, 1, 7, 7},         {true, 8, 1, 6, 6},
                      {true, 8, -1, 7, 7},         {true, 8, 0, 7, 7},
                      {false, 8, 0, 8, 8},         {true, 8, 127.9, 0, -1},
                      {true, 16, 3.14159, 13, 13}, {false, 8, -1, 7, 8},
                      {true, 8, -0.501, 7, 8},     {true, 65535, 1, 65533, 65533},
                      {true, 8, -128.9, -1, -1},   {true, 65535, -1, 65534, 65534}};
  for (const Row& row : rows) {
    NumericType type(row.isSigned, row.wordLength, 3);
    type.setBestPrecisionFromMaxAbs(row.value);
    EXPECT_EQ(type.fractionLength(), row.fromMaxAbs) << row.value;
    type.fxpBestPrecisionExponent(row.value);
    EXPECT_EQ(type.fractionLength(), row.rounded) << row.value;
  }
}

TEST(NumericTypeBestPrecision, TheLargestElementDecides) {
  NumericType type(DataTypeModeEnum::FixedUnspecified, true, 8, 1, 0, 0);
  type.setBestPrecision(std::vector<double>{});
  EXPECT_TRUE(type.isBinaryPointScalingSet());
  EXPECT_EQ(type.fractionLength(), 7);
  HostArray values = HostArray::zeros(ArrayClass::Int64, {1, 2});
  values.mutableReal<std::int64_t>()[0] = INT64_MAX;  // rounds to 2^63 as a double
  type.setBestPrecision(values);
  EXPECT_EQ(type.fractionLength(), 7 - 63);
  values.mutableReal<std::int64_t>()[1] = INT64_MIN;
  type.setBestPrecision(values);
  EXPECT_EQ(type.fractionLength(), 7 - 63);
  values.mutableReal<std::int64_t>()[1] = -(std::int64_t{1} << 62) - 1;
  values.mutableReal<std::int64_t>()[0] = 0;
  type.setBestPrecision(values);  // just beyond what a word with one bit less of range holds
  EXPECT_EQ(type.fractionLength(), 7 - 63);
  type.setBestFractionLength(values);
  EXPECT_EQ(type.fractionLength(), 7 - 62);
  HostArray complex = HostArray::scalar(0.1);
  complex.mutableImag<double>()[0] = -3;
  type.setBestPrecision(complex);
  EXPECT_EQ(type.fractionLength(), 5);
}

TEST(NumericTypeBestPrecision, TheLargestElementDecidesWhereverItStands) {
  std::mt19937_64 random(3);
  for (int trial = 0; trial < 500; ++trial) {
    std::vector<double> values(random() % 100 + 1);
    for (double& value : values) value = std::ldexp(static_cast<double>(random() % 9) - 4, -3);
    values[random() % values.size()] *= 64;
    // Of two opposite ones the positive one comes last.
    const double deciding = *std::ranges::max_element(
        values, std::less<>(), [](double value) { return std::pair(std::abs(value), value); });
    NumericType type(true, 8, 0), expected = type;
    expected.setBestPrecisionFromMaxAbs(deciding);
    const std::vector<double> imag(values.begin() + static_cast<long>(random() % values.size()), values.end());
    const std::vector<double> real(values.begin(), values.end() - static_cast<long>(imag.size()));
    trial % 2 ? type.setBestPrecision(values) : type.setBestPrecision(real, imag);
    ASSERT_EQ(type.fractionLength(), expected.fractionLength()) << deciding << " of " << values.size();
    values[random() % values.size()] = random() & 1 ? std::nan("") : -std::numeric_limits<double>::infinity();
    ASSERT_TRUE(outcomeOf([&] { type.setBestPrecision(values); }).identifier.starts_with("numforge:nofixed"));
  }
}

TEST(NumericTypeBestPrecision, Refusals) {
  const Outcome noSign{"error", "numforge:fi:setBestPrecision:unspecifiedSign",
                       "Sign must be specified true (signed) or false (unsigned) to compute best precision."};
  NumericType type(DataTypeEnum::Fixed, ScalingEnum::Unspecified, SignedEnum::Unspecified, 8, 1, 0, 0);
  const std::string before = type.tostring();
  EXPECT_EQ(outcomeOf([&] { type.setBestPrecisionFromMaxAbs(1); }), noSign);
  EXPECT_EQ(outcomeOf([&] { type.fxpBestPrecisionExponent(1); }), noSign);
  EXPECT_EQ(outcomeOf([&] { type.setBestPrecision(HostArray::scalar(1)); }), noSign);
  EXPECT_EQ(outcomeOf([&] { type.setBestFractionLength(HostArray::text("a")); }),
            (Outcome{"error", "numforge:fi:setBestPrecision:mustbenumeric",
                     "Set Best Precision only valid for numeric data"}));
  EXPECT_EQ(type.tostring(), before);
  NumericType binaryPoint;
  EXPECT_EQ(outcomeOf([&] {
              binaryPoint.setBestFractionLength(HostArray::scalar(std::numeric_limits<double>::infinity()));
            }).identifier,
            "numforge:nofixedinf");
  EXPECT_EQ(binaryPoint.tostring(), NumericType().tostring());
  NumericType builtIn(DataTypeModeEnum::Boolean, false, 1, 1, 0, 0);
  EXPECT_EQ(outcomeOf([&] {
              builtIn.setBestFractionLength(HostArray::scalar(std::numeric_limits<double>::quiet_NaN()));
              builtIn.setBestPrecision(HostArray::scalar(0.3));
              builtIn.setBestPrecision(std::vector<double>{0.3});
              builtIn.setBestPrecisionFromMaxAbs(0.3);
              builtIn.fxpBestPrecisionExponent(0.3);
            }),
            Outcome{});
  EXPECT_EQ(builtIn.tostring(), "numerictype('boolean')");
}

}  // namespace
