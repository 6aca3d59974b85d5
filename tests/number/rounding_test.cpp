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
  std::function<mpz_class(const mpq_class&)> expected;
};

const Mode kModes[] = {
    {"ceil", &number::ceil, &number::ceil, [](const mpq_class& q) { return mpz_class(-floored(-q)); }},
    {"convergent", &number::convergent, &number::convergent,
     [](const mpq_class& q) {
       const mpz_class up = nearestOf(q);
       const bool tie = up - q == mpq_class(1, 2);
       return mpz_class(tie && mpz_odd_p(up.get_mpz_t()) ? up - 1 : up);
     }},
    {"fix", &number::fix, &number::fix, [](const mpq_class& q) { return mpz_class(sgn(q) * floored(abs(q))); }},
    {"floor", &number::floor, &number::floor, floored},
    {"nearest", &number::nearest, &number::nearest, nearestOf},
    {"round", &number::round, &number::round,
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
        (body.value.*mode.roundTo)(fractionBits);
        EXPECT_EQ(valueOf(body.value), expected) << mode.name << " to " << fractionBits << " bits: " << x;
        ASSERT_TRUE(put(body.value, x));
        (body.value.*mode.round)();
        EXPECT_EQ(valueOf(body.value), mpq_class(mode.expected(x))) << mode.name << ": " << x;
      }
    }
  }
}

TEST(Rounding, BodiesHaveEveryRuleByTwoNames) {
  using Body = doublenumber;
  const struct {
    Body& (Body::*named)(), &(Body::*plain)(), &(Body::*namedTo)(int), &(Body::*plainTo)(int);
  } rows[] = {{&Body::numberceil, &Body::ceil, &Body::numberceil, &Body::ceil},
              {&Body::numberconvergent, &Body::convergent, &Body::numberconvergent, &Body::convergent},
              {&Body::numberfix, &Body::fix, &Body::numberfix, &Body::fix},
              {&Body::numberfloor, &Body::floor, &Body::numberfloor, &Body::floor},
              {&Body::numbernearest, &Body::nearest, &Body::numbernearest, &Body::nearest},
              {&Body::numberround, &Body::round, &Body::numberround, &Body::round}};
  for (const auto& row : rows) {
    for (const double value : {-2.5, -1.25, 0.5, 1.75}) {
      Body a(value), b(value), c(value), d(value);
      EXPECT_EQ((a.*row.named)().todouble(), (b.*row.plain)().todouble());
      EXPECT_EQ((c.*row.namedTo)(1).todouble(), (d.*row.plainTo)(1).todouble());
    }
  }
  Body seven(7), three(3);
  EXPECT_EQ(seven.numberpow2(2).mod(three).todouble(), 1);
  EXPECT_EQ(seven.hypot(three, Body(4)).todouble(), 5);
  EXPECT_TRUE(seven.notzero());
  EXPECT_EQ(doublenumber::lowBits(INFINITY), 0U);
  EXPECT_EQ(doublenumber::lowBits(-0x1.8p64), 1ULL << 63);
  mpnumber wide(7, 80);
  EXPECT_EQ(wide.mod(mpnumber(4, 80)).todouble(), 3);
  EXPECT_EQ(wide.hypot(wide.getelement(), mpnumber(4, 80).getelement()).setexponent(5).todouble(), 20);
  wide.setvalue(NAN);
  EXPECT_TRUE(wide.myisnan());
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
    EXPECT_EQ(convergent(c.x), c.convergent) << c.x;
    EXPECT_EQ(convergent(c.x / 4, 2), c.convergent / 4) << c.x;
  }
  // Multiprecision has no such effects.
  EXPECT_EQ(number(0.49999999999999994, 64, false).nearest().todouble(), 0);
  EXPECT_EQ(number(oddFrom52, 64, false).nearest().todouble(), oddFrom52);
}

/// As if scaling were exact, also where it leaves the doubles in either direction.
TEST(Rounding, OutsideTheDoubleRangeNothingIsLost) {
  Generator random;
  for (int trial = 0; trial < 300; ++trial) {
    const int fractionBits = random.coin() ? random.integer(600, 1100) : -random.integer(1, 1000);
    const double least = random.coin() ? std::ldexp(random.integer(-3, 3), -1074) : random.integer(-3, 3);
    const double x = fractionBits > 0 ? std::ldexp(least, random.integer(450, 1000)) : least;
    for (const Mode& mode : kModes) {
      const mpq_class expected =
          scaled(mpq_class(mode.expected(scaled(mpq_class(x), fractionBits))), -fractionBits);
      EXPECT_EQ(mpq_class((number(x, kDoublePrecision, false).*mode.roundTo)(fractionBits).todouble()),
                expected)
          << mode.name << ' ' << x << " to " << fractionBits << " bits";
    }
  }
  for (const Mode& mode : kModes) {
    EXPECT_EQ((number(-INFINITY, kDoublePrecision, false).*mode.roundTo)(200).todouble(), -INFINITY)
        << mode.name;
    for (const unsigned precision : {kDoublePrecision, kWidePrecision}) {
      EXPECT_TRUE(std::isnan((number(NAN, precision, false).*mode.roundTo)(7).todouble())) << mode.name;
    }
  }
}

TEST(Rounding, RoundKeepsTheSignOfAZero) {
  for (const unsigned precision : {kDoublePrecision, kWidePrecision}) {
    for (const double x : {-0.0, -0.25, 0.25}) {
      const double rounded = number(x, precision, false).round().todouble();
      EXPECT_EQ(rounded, 0) << x;
      EXPECT_EQ(std::signbit(rounded), std::signbit(x)) << x;
    }
  }
}

}  // namespace
