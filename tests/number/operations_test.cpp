// Arithmetic, comparison and integer extraction across the two kinds of bodies.
#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <climits>
#include <cmath>
#include <memory>
#include <utility>

#include "qfcore/number/int256.h"
#include "qfcore/number/numberfactory.h"
#include "qfcore/number/wordconstants.h"
#include "reference.h"

namespace {

using namespace embedded;
using namespace reference;

/// Random doubles and wide values that often cancel.
mpq_class randomOperand(Generator& random, bool wide) {
  const Format format{true, wide ? random.integer(2, 200) : random.integer(2, 53), 0};
  return scaled(mpq_class(random.stored(format)), random.integer(-80, 20));
}

TEST(Operations, MixedKindsRoundAtTheMultiprecisionOperand) {
  Generator random;
  for (int trial = 0; trial < 4000; ++trial) {
    const bool wideA = random.coin(), wideB = random.coin();
    const unsigned precisionA = wideA ? 200 : kDoublePrecision, precisionB = wideB ? 220 : kDoublePrecision;
    number a(0.0, precisionA, false), b(0.0, precisionB, false);
    const mpq_class x = randomOperand(random, wideA), y = randomOperand(random, wideB);
    ASSERT_TRUE(put(a, x) && put(b, y));
    EXPECT_EQ(a == b, x == y);
    EXPECT_EQ(a != b, x != y);
    EXPECT_EQ(a < b, x < y);
    EXPECT_EQ(a <= b, x <= y);
    EXPECT_EQ(a > b, x > y);
    EXPECT_EQ(a >= b, x >= y);
    const auto expected = [&](const mpq_class& exact) {
      if (wideA) return roundedToBits(exact, 201);
      return wideB ? roundedToBits(roundedToBits(exact, 221), 53) : roundedToBits(exact, 53);
    };
    EXPECT_EQ(valueOf(a + b), expected(x + y)) << x << " + " << y;
    EXPECT_EQ(valueOf(a - b), expected(x - y)) << x << " - " << y;
    EXPECT_EQ(valueOf(a * b), expected(x * y)) << x << " * " << y;
    if (y != 0) {
      EXPECT_EQ(valueOf(a / b), expected(x / y)) << x << " / " << y;
    }
    EXPECT_EQ((a + b).gettype(), a.gettype());
  }
}

TEST(Operations, NamedCases) {
  number one(1.0, kDoublePrecision, false), tiny(std::ldexp(1.0, -60), 64, false);
  EXPECT_EQ((one + tiny).todouble(), 1.0);
  // At the 221 bits of the right operand the sum is a tie of doubles; rounded once it would not be.
  number aboveTie(0.0, 220, false);
  ASSERT_TRUE(put(aboveTie, scaled(1 + scaled(mpq_class(1), -200), -53)));
  EXPECT_EQ((one + aboveTie).todouble(), 1.0);
  number wide(0.0, 64, false);
  wide += number(0.1, kDoublePrecision, false);
  EXPECT_EQ(valueOf(wide), mpq_class(0.1));
  for (const unsigned precision : {kDoublePrecision, kWidePrecision}) {
    const number nan(NAN, precision, false);
    EXPECT_FALSE(nan < one || nan >= one || nan == nan || nan > one || nan <= one);
    EXPECT_TRUE(nan != nan);
    EXPECT_EQ(nan.sign(), 0);
    EXPECT_EQ(nan.unbiasedexponent(), -1);
    EXPECT_FALSE(nan.iszero() || nan.isnegative() || nan.isFinite() || nan.myisinf());
    number zero(0.0, precision, false);
    EXPECT_TRUE(std::signbit(zero.negate().todouble()));
    EXPECT_TRUE(zero.sign() == 0 && !zero.isnegative() && zero.iszero());
    EXPECT_EQ(number(-3.0, precision, false).unbiasedexponent(), 1);
    EXPECT_EQ(number(0.25, precision, false).unbiasedexponent(), -2);
    EXPECT_EQ(number(-2.75, precision, false).stripscaling(1, -1, 0).todouble(), -6);
  }
}

/// Of any kind; exponents and low bits such that sums cancel, carry, are exact, are rounded, are far apart.
void fill(MpFloat& x, Generator& random) {
  mpfr_ptr value = x.get();
  switch (random.integer(0, 24)) {
    case 0: return mpfr_set_zero(value, random.coin() ? 1 : -1);
    case 1: return mpfr_set_inf(value, random.coin() ? 1 : -1);
    case 2: return mpfr_set_nan(value);
    default: break;
  }
  const int length = static_cast<int>(x.bits()),
            significant = random.coin() ? length : random.integer(1, length);
  mpz_class stored = random.bits(significant);
  switch (random.integer(0, 2)) {
    case 0: stored = pow2(significant) - random.bits(significant / 2 + 1); break;
    case 1: stored = pow2(significant - 1) + random.integer(0, 1); break;
    default: break;
  }
  if (random.coin()) stored = -stored;
  mpfr_set_z(value, stored.get_mpz_t(), MPFR_RNDN);
  const long near = random.integer(-1, 1), exponent = random.coin() ? near + 64L * random.integer(-3, 3) : near;
  mpfr_mul_2si(value, value, exponent - (random.coin() ? significant : 0), MPFR_RNDN);
  if (random.integer(0, 99) == 0) mpfr_mul_2si(value, value, random.coin() ? 1L << 61 : -(1L << 61), MPFR_RNDN);
}

bool sameFloat(const MpFloat& a, mpfr_srcptr b) {
  if (a.bits() != mpfr_get_prec(b)) return false;
  if (a.isNan() || mpfr_nan_p(b)) return a.isNan() && mpfr_nan_p(b);
  return mpfr_equal_p(a.get(), b) && mpfr_signbit(a.get()) == mpfr_signbit(b);
}

TEST(Operations, FloatsOnLimbsAreThoseOfTheLibrary) {
  Generator random;
  const auto anyBits = [&] {
    const int limbs = random.integer(1, random.integer(0, 9) == 0 ? 40 : 7);
    const int whole = random.coin() ? 0 : random.integer(-2, 2);
    return static_cast<unsigned>(64 * limbs - (random.coin() ? whole : random.integer(-2, 60)));
  };
  using Reference = int (*)(mpfr_ptr, mpfr_srcptr, mpfr_srcptr, mpfr_rnd_t);
  using Operation = void (MpFloat::*)(const MpFloat&, const MpFloat&);
  const std::pair<Operation, Reference> operations[] = {
      {&MpFloat::setSum, mpfr_add}, {&MpFloat::setDifference, mpfr_sub}, {&MpFloat::setProduct, mpfr_mul}};
  for (int trial = 0; trial < 40000 && !testing::Test::HasFailure(); ++trial) {
    const unsigned common = anyBits();
    const auto bits = [&] { return random.integer(0, 2) == 0 ? anyBits() : common; };
    MpFloat a(bits()), b(bits());
    fill(a, random);
    fill(b, random);
    const MpFloat& same = a;
    a = same;
    if (random.integer(0, 9) == 0) b.assign(a, a.bits());
    if (random.integer(0, 9) == 0) mpfr_nextabove(b.get());
    EXPECT_EQ(a == b, mpfr_equal_p(a.get(), b.get()) != 0);
    EXPECT_EQ(a != b, mpfr_equal_p(a.get(), b.get()) == 0);
    EXPECT_EQ(a < b, mpfr_less_p(a.get(), b.get()) != 0);
    EXPECT_EQ(a <= b, mpfr_lessequal_p(a.get(), b.get()) != 0);
    EXPECT_EQ(a > b, mpfr_greater_p(a.get(), b.get()) != 0);
    EXPECT_EQ(a >= b, mpfr_greaterequal_p(a.get(), b.get()) != 0);
    const unsigned resultBits[] = {bits(), std::max(a.bits(), b.bits()) + 1, a.bits() + b.bits()};
    for (const auto& [operation, reference] : operations) {
      MpFloat result(resultBits[random.integer(0, 2)]), expected(result);
      reference(expected.get(), a.get(), b.get(), MPFR_RNDN);
      (result.*operation)(a, b);
      EXPECT_TRUE(sameFloat(result, expected.get())) << "trial " << trial;
      MpFloat left(a), right(b), twice(a);
      (left.*operation)(left, b);
      (right.*operation)(a, right);
      (twice.*operation)(twice, twice);
      const std::pair<MpFloat*, const MpFloat*> aliased[] = {{&left, &b}, {&right, &b}, {&twice, &a}};
      for (const auto& [target, other] : aliased) {
        MpFloat alone(target->bits());
        reference(alone.get(), a.get(), other->get(), MPFR_RNDN);
        EXPECT_TRUE(sameFloat(*target, alone.get())) << "in place, trial " << trial;
      }
    }
  }
}

TEST(Operations, AssignmentTakesTheBitsThatAValueNeeds) {
  Generator random;
  for (int trial = 0; trial < 2000; ++trial) {
    const auto bits = static_cast<unsigned>(random.integer(2, 130));
    const double value = std::ldexp(random.integer(-99999, 99999), random.integer(-300, 300));
    const mpz_class stored = random.bits(random.integer(1, 200)) << random.integer(0, 70);
    MpFloat source(static_cast<unsigned>(random.integer(2, 200))), taken(7);
    fill(source, random);
    taken.assign(value, bits);
    EXPECT_EQ(mpfr_get_d(taken.get(), MPFR_RNDN), value);
    taken.assign(stored.get_mpz_t(), bits);
    EXPECT_EQ(mpfr_cmp_z(taken.get(), stored.get_mpz_t()), 0);
    EXPECT_LE(taken.bits(),
              std::max<std::size_t>(
                  bits, mpz_sizeinbase(mpz_class(stored >> mpz_scan1(stored.get_mpz_t(), 0)).get_mpz_t(), 2)));
    taken.assign(source, bits);
    EXPECT_TRUE(source.isNan() ? taken.isNan() : mpfr_equal_p(taken.get(), source.get()) != 0);
  }
}

/// Whatever the bits of the float: it takes those that the integer needs.
template <class Integer>
void checkNative(MpFloat& x, const mpz_class& value, long fractionBits) {
  Integer stored = 0;
  for (int word = kBitsOf<Integer> / 32; word-- > 0;)
    stored = (stored << 32) + static_cast<Integer>(Format{false, 32, 0}.pattern(value >> (32 * word)).get_si());
  const unsigned before = x.bits();
  setFromStored(x, stored, fractionBits);
  EXPECT_EQ(x.bits(), std::max<std::size_t>(before, value == 0 ? 0 : mpz_sizeinbase(value.get_mpz_t(), 2)));
  MpFloat expected(300);
  mpfr_set_z_2exp(expected.get(), value.get_mpz_t(), -fractionBits, MPFR_RNDN);
  EXPECT_EQ(x, expected) << value;
  EXPECT_TRUE(storedInteger<Integer>(x, fractionBits) == stored) << value;
  expected.setBits(std::max(static_cast<unsigned>(mpfr_min_prec(expected.get())), 1U));
  EXPECT_TRUE(storedInteger<Integer>(expected, fractionBits) == stored) << value << " in as few bits as can be";
}

TEST(Operations, NativeIntegersBecomeFloatsAndReturn) {
  Generator random;
  for (int trial = 0; trial < 3000; ++trial) {
    const int bits = random.integer(1, 255), zeros = random.coin() ? random.integer(0, bits) : 0;
    const mpz_class magnitude = random.bits(bits - zeros) * pow2(zeros);
    const mpz_class value = random.coin() ? mpz_class(-magnitude) : magnitude;
    const int f = random.integer(-300, 300);
    MpFloat x(static_cast<unsigned>(random.integer(1, 260)));
    if (bits < 64) checkNative<std::int64_t>(x, value, f);
    x.reset(static_cast<unsigned>(random.integer(1, 260)));
    if (bits < 128) checkNative<Int128>(x, value, f);
    x.reset(static_cast<unsigned>(random.integer(1, 260)));
    checkNative<Int256>(x, value, f);
  }
}

TEST(Operations, ModFollowsItsRuleOnBothBodies) {
  const double inf = INFINITY;
  const struct {
    double x, y, expected;
  } cases[] = {{5, 0, 5},          {-1, 3, 2},       {5, 3, 2}, {-5, -3, -2},  {5, -3, -1},   {7.5, 2.5, 0},
               {-0.25, 0.5, 0.25}, {-129, 256, 127}, {0, 3, 0}, {inf, 3, NAN}, {3, inf, NAN}, {NAN, 2, NAN}};
  for (const auto& c : cases) {
    for (const unsigned precision : {kDoublePrecision, kWidePrecision}) {
      number x(c.x, precision, false);
      x.mod(number(c.y, precision, false));
      if (std::isnan(c.expected)) {
        EXPECT_TRUE(std::isnan(x.todouble())) << c.x << " mod " << c.y;
      } else {
        EXPECT_EQ(x.todouble(), c.expected) << c.x << " mod " << c.y;
      }
    }
  }
  Generator random;
  for (int trial = 0; trial < 2000; ++trial) {
    const bool wide = random.coin();
    const int bits = wide ? static_cast<int>(kWidePrecision) + 1 : 53;
    number x(0.0, wide ? kWidePrecision : kDoublePrecision, false), y(x);
    const mpq_class a = randomOperand(random, wide), b = randomOperand(random, wide);
    ASSERT_TRUE(put(x, a) && put(y, b));
    if (b == 0) continue;
    const auto r = [bits](const mpq_class& q) { return roundedToBits(q, bits); };
    // A divisor that is no integer goes through a rounded quotient.
    const mpq_class quotient = r(a / b), whole(floored(quotient));
    const mpq_class expected = b.get_den() == 1 ? r(a - r(whole * b)) : r(r(quotient - whole) * b);
    EXPECT_EQ(valueOf(x.mod(y)), expected) << a << " mod " << b;
  }
  for (int trial = 0; trial < 300; ++trial) {  // powers of two, as wrapping uses them, are exact at any width
    number x(0.0, 260, false), range(1.0, 260, false);
    const mpz_class stored = Format{true, 240, 0}.least() + random.bits(240);
    const int word = random.integer(1, 200);
    ASSERT_TRUE(put(x, mpq_class(stored)));
    x.mod(range.pow2(word));
    EXPECT_EQ(valueOf(x), mpq_class((Format{false, word, 0}.pattern(stored))));
  }
}

TEST(Operations, HypotTakesEveryMixture) {
  for (const unsigned r : {kDoublePrecision, 64U}) {
    for (const unsigned p : {kDoublePrecision, 80U}) {
      for (const unsigned q : {kDoublePrecision, 100U}) {
        number length(0.0, r, false);
        length.hypot(number(3e-200, p, false), number(4e-200, q, false));
        EXPECT_NEAR(length.todouble() / 5e-200, 1, 1e-15);
        EXPECT_TRUE(std::isnan(length.hypot(number(INFINITY, p, false), number(NAN, q, false)).todouble()));
        EXPECT_TRUE(std::isnan(length.hypot(number(NAN, p, false), number(-INFINITY, q, false)).todouble()));
        EXPECT_EQ(length.hypot(number(-INFINITY, p, false), number(1, q, false)).todouble(), INFINITY);
      }
    }
  }
}

TEST(Operations, StoredIntegersComeOutAsNativeIntegersAndWords) {
  Generator random;
  for (int trial = 0; trial < 3000; ++trial) {
    const bool wide = random.coin();
    const Format format = random.format(wide ? 130 : 52);
    const mpz_class stored = random.stored(format);
    number n(0.0, wide ? kWidePrecision : kDoublePrecision, false);
    ASSERT_TRUE(put(n, scaled(mpq_class(stored), format.exponent)));
    const int w = format.wordLength, f = -format.exponent;
    const auto low = [&](int bits) { return Format{false, bits, 0}.pattern(stored).get_ui(); };
    EXPECT_EQ(n.fixed2uint64(w, f), low(64));
    EXPECT_EQ(n.fixed2int64(w, f), static_cast<long long>(low(64)));
    if (w <= 32 || wide) {
      EXPECT_EQ(n.fixed2uint32(w, f), low(32));
    }
    if (w + !format.isSigned <= 32 || wide) {
      EXPECT_EQ(n.fixed2int32(w, f), static_cast<int>(low(32)));
      EXPECT_EQ(n.fixed2int16(w, f), static_cast<short>(low(16)));
      EXPECT_EQ(n.fixed2int8(w, f), static_cast<signed char>(low(8)));
      EXPECT_EQ(n.fixed2uint16(w, f), static_cast<unsigned short>(low(16)));
      EXPECT_EQ(n.fixed2uint8(w, f), static_cast<unsigned char>(low(8)));
    }
    unsigned words[6];
    const int wordCount = random.integer((w + 31) / 32, 6);
    n.fixed2IntArray(words, wordCount, w, 1, format.exponent, 0, WordConstants(w).mpTwoToWordLength());
    mpz_class gathered;
    mpz_import(gathered.get_mpz_t(), static_cast<std::size_t>(wordCount), -1, 4, 0, 0, words);
    EXPECT_EQ(gathered, format.pattern(stored)) << stored << " in " << w << " bits";
    number back(0.0, wide ? kWidePrecision : kDoublePrecision, false);
    back.setvalue(words, wordCount, format.isSigned, w, 1, format.exponent, 0);
    EXPECT_EQ(valueOf(back), valueOf(n));
    int used = wordCount;
    while (used > 0 && words[used - 1] == 0) --used;
    back.setvalue(words, used, format.isSigned, w, 1, format.exponent, 0);
    EXPECT_EQ(valueOf(back), valueOf(n)) << "words that are not told are zero";
  }
  // The one fraction length whose exponent is no int: what it makes is below or beyond all values.
  const unsigned one = 1;
  for (const unsigned precision : {kDoublePrecision, kWidePrecision}) {
    const std::unique_ptr<embedded::numberrepbody> body(
        embedded::numberfactory::createnumberScalar(1.0, precision, false));
    EXPECT_EQ(body->fixed2int64(16, INT_MIN), 0);
    body->setvalue(&one, 1, true, 16, INT_MIN);
    EXPECT_GT(body->todouble(), DBL_MAX);
  }
  const number large(4294967295.0, kDoublePrecision, false);
  EXPECT_EQ(large.fixed2uint32(32, 0), 4294967295U);
  EXPECT_EQ(large.fixed2int32(32, 0), INT32_MIN);
  EXPECT_EQ(number(-2.9, kDoublePrecision, false).fixed2int8(8, 0), -2);
  EXPECT_EQ(number(-3e9, kDoublePrecision, false).fixed2int32(32, 0), INT32_MIN);
}

TEST(Operations, ScaledAssignment) {
  number::setDefaultPrecision(80, false);
  number target(0.0, 80, false);
  target.setvalue(number(3.0, kDoublePrecision, false), 0.1, -2);
  EXPECT_EQ(valueOf(target), roundedToBits(mpq_class(0.1) * 3, 81) - 2);
  number::setDefaultPrecision(52, false);
}

}  // namespace
