#include "qfcore/number/rounding.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>

#include "reference.h"

namespace {

using namespace embedded;
using namespace reference;

mpz_class nearestOf(const mpq_class& q) { return floored(q + mpq_class(1, 2)); }

struct Mode {
  const char* name;
  number& (number::*round)();
  number& (number::*roundTo)(int);
  double (*inLoop)(double, GridFactors);
  std::function<mpz_class(const mpq_class&)> expected;
};

const Mode kModes[] = {
    {"ceil", &number::ceil, &number::ceil, rounded<Ceil>,
     [](const mpq_class& q) { return mpz_class(-floored(-q)); }},
    {"convergent", &number::convergent, &number::convergent, rounded<Convergent>,
     [](const mpq_class& q) {
       const mpz_class up = nearestOf(q);
       const bool tie = up - q == mpq_class(1, 2);
       return mpz_class(tie && mpz_odd_p(up.get_mpz_t()) ? up - 1 : up);
     }},
    {"fix", &number::fix, &number::fix, rounded<Fix>,
     [](const mpq_class& q) { return mpz_class(sgn(q) * floored(abs(q))); }},
    {"floor", &number::floor, &number::floor, rounded<Floor>, floored},
    {"nearest", &number::nearest, &number::nearest, rounded<Nearest>, nearestOf},
    {"round", &number::round, &number::round, rounded<Round>,
     [](const mpq_class& q) { return mpz_class(sgn(q) * nearestOf(abs(q))); }},
};

/// On, half way between and just beside multiples of 2^-fractionBits, where the rules differ.
mpq_class nearGrid(Generator& random, int magnitudeBits, int fractionBits, int besideBits) {
  const mpz_class halfSteps = Format{true, magnitudeBits, 0}.least() + random.bits(magnitudeBits);
  mpq_class value = scaled(mpq_class(halfSteps), -1);
  if (random.coin()) value += scaled(mpq_class(random.integer(-1, 1)), -besideBits);
  return scaled(value, -fractionBits);
}

TEST(Rounding, MatchesExactRationalsOnBothBodies) {
  Generator random;
  number narrow(0.0, kDoublePrecision, false), wide(0.0, kWidePrecision, false);
  struct {
    number& value;
    int magnitudeBits, besideBits;
  } bodies[] = {{narrow, 20, 30}, {narrow, 4, 45}, {wide, 20, 30}, {wide, 150, 149}, {wide, 3, 290}};
  for (const auto& body : bodies) {
    for (int trial = 0; trial < 400; ++trial) {
      const int fractionBits = random.integer(-90, 90);
      const mpq_class x = nearGrid(random, body.magnitudeBits, fractionBits, body.besideBits);
      for (const Mode& mode : kModes) {
        ASSERT_TRUE(put(body.value, x));
        const mpq_class expected = scaled(mpq_class(mode.expected(scaled(x, fractionBits))), -fractionBits);
        if (const double* value = body.value.doubles()) {
          EXPECT_EQ(mpq_class(mode.inLoop(*value, GridFactors(fractionBits))), expected)
              << mode.name << " " << x;
        }
        (body.value.*mode.roundTo)(fractionBits);
        EXPECT_EQ(valueOf(body.value), expected) << mode.name << " to " << fractionBits << " bits: " << x;
        ASSERT_TRUE(put(body.value, x));
        (body.value.*mode.round)();
        EXPECT_EQ(valueOf(body.value), mpq_class(mode.expected(x))) << mode.name << ": " << x;
      }
    }
  }
}

TEST(Rounding, DoubleBodyKeepsWhatAddingOneHalfDoes) {
  const double oddFrom52 = 4503599627370497, inf = INFINITY;
  const struct {
    double x, nearest, round, convergent;
  } cases[] = {{0.49999999999999994, 1, 1, 1},
               {oddFrom52, oddFrom52 + 1, oddFrom52 + 1, oddFrom52 + 1},
               {9007199254740993e3, 9007199254740993e3, 9007199254740993e3, 9007199254740993e3},
               {-2.5, -2, -3, -2},
               {2.5, 3, 3, 2},
               {3.5, 4, 4, 4},
               {-inf, -inf, -inf, -inf}};
  for (const auto& c : cases) {
    EXPECT_EQ(number(c.x, kDoublePrecision, false).nearest().todouble(), c.nearest) << c.x;
    EXPECT_EQ(number(c.x, kDoublePrecision, false).round().todouble(), c.round) << c.x;
    EXPECT_EQ(number(c.x, kDoublePrecision, false).convergent().todouble(), c.convergent) << c.x;
  }
  // Multiprecision has no such effects.
  EXPECT_EQ(number(0.49999999999999994, 64, false).nearest().todouble(), 0);
  EXPECT_EQ(number(oddFrom52, 64, false).nearest().todouble(), oddFrom52);
}

TEST(Rounding, OutsideTheDoubleRangeNothingIsLost) {
  for (const Mode& mode : kModes) {
    for (const double x : {1e300, -1e300, 1.7976931348623157e308, double(INFINITY)}) {
      EXPECT_EQ((number(x, kDoublePrecision, false).*mode.roundTo)(200).todouble(), x) << mode.name;
      EXPECT_EQ(mode.inLoop(x, GridFactors(200)), x) << mode.name;
    }
    for (const unsigned precision : {kDoublePrecision, kWidePrecision}) {
      EXPECT_TRUE(std::isnan((number(NAN, precision, false).*mode.roundTo)(7).todouble())) << mode.name;
    }
  }
}

}  // namespace
