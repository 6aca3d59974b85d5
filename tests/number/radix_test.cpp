#include "qfcore/number/radix.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>

#include "reference.h"

namespace {

using namespace embedded;
using namespace reference;

std::string padded(const mpz_class& pattern, int base, int digits) {
  const std::string text = pattern.get_str(base);
  return std::string(static_cast<std::size_t>(digits) - text.size(), '0') + text;
}

TEST(Radix, DigitsAreTheFewestThatHoldAWord) {
  for (int base = 2; base <= 18; ++base) {
    mpz_class reach = 1;
    int digits = 0;
    for (int word = 1; word <= 1000; ++word) {
      while (reach < pow2(word)) reach *= base, ++digits;
      ASSERT_EQ(radixDigits(word, base), digits) << word << " bits, base " << base;
    }
  }
}

/// Of stored integers with so many zeros at their end.
void checkRoundTrip(Generator& random, const Format& format, int base, unsigned precision, int zeros = 0) {
  number n(0.0, precision, false), back(0.0, precision, false);
  const mpz_class stored = random.stored({format.isSigned, format.wordLength - zeros, 0}) * pow2(zeros);
  ASSERT_TRUE(put(n, scaled(mpq_class(stored), format.exponent)));
  const auto [isSigned, w, e] = format;
  std::string text = n.fixed2base(base, isSigned, w, 1, e, 0);
  EXPECT_EQ(text, padded(format.pattern(stored), base, radixDigits(w, base)))
      << stored << " in " << w << " bits";
  EXPECT_EQ(n.fixed2sdec(isSigned, w, 1, e, 0), stored.get_str());
  if (random.coin()) {
    for (char& digit : text) digit = static_cast<char>(std::toupper(digit));
  }
  EXPECT_TRUE(back.base2fixed(text.c_str(), base, isSigned, w, 1, e, 0));
  EXPECT_EQ(valueOf(back), valueOf(n)) << text << " in base " << base << ", " << w << " bits";
}

TEST(Radix, PatternsGoToTextAndBack) {
  Generator random;
  for (int word = 1; word <= 300; ++word) {
    for (int base = 2; base <= 18; ++base) {
      const Format format{random.coin(), word, random.integer(-400, 50)};
      checkRoundTrip(random, format, base, kWidePrecision);
      checkRoundTrip(random, format, base, kDoublePrecision, std::max(word - 52, 0));
    }
  }
  for (const int word : {4096, 65535}) {
    for (const int base : {2, 10, 16})
      checkRoundTrip(random, {true, word, -word}, base, static_cast<unsigned>(word));
  }
}

TEST(Radix, PatternsTooLongForAFloatLeaveItAlone) {
  const std::uint64_t pattern[] = {~0ULL, 1};
  MpFloat narrow(64);
  EXPECT_FALSE(setFromWordPattern(narrow, pattern, false, 65, 0));
  EXPECT_TRUE(narrow.isZero());
  EXPECT_TRUE(setFromWordPattern(narrow, pattern, true, 65, 3));
  EXPECT_EQ(narrow.toDouble(), -8);
}

TEST(Radix, ValuesBesideTheGridRoundHalfAwayFromZero) {
  Generator random;
  for (int trial = 0; trial < 500; ++trial) {
    const Format format{true, random.integer(2, 40), random.integer(-70, 70)};
    const mpq_class quarters = scaled(mpq_class(random.stored(format)), -2);
    const mpz_class stored = sgn(quarters) * floored(abs(quarters) + mpq_class(1, 2));
    for (const unsigned precision : {kDoublePrecision, kWidePrecision}) {
      number n(0.0, precision, false);
      ASSERT_TRUE(put(n, scaled(quarters, format.exponent)));
      EXPECT_EQ(n.fixed2sdec(true, 42, 1, format.exponent, 0), stored.get_str()) << quarters;
      EXPECT_EQ(valueOf(n.stripscaling(1, format.exponent, 0)), mpq_class(stored)) << quarters;
    }
    // As a pattern, of which the word keeps the low bits.
    for (const int shift : {0, 40, 300}) {
      number n(0.0, kWidePrecision, false);
      ASSERT_TRUE(put(n, scaled(quarters, format.exponent + shift)));
      std::uint64_t pattern[] = {7};
      wordPattern(pattern, n.multiprecision()->getelement(), 42, format.exponent);
      const mpq_class value = abs(scaled(quarters, shift)) + mpq_class(1, 2);
      const mpz_class expected = Format{true, 42, 0}.pattern(sgn(quarters) * floored(value));
      EXPECT_EQ(mpz_class(static_cast<unsigned long>(pattern[0])), expected) << quarters << " by " << shift;
    }
  }
}

TEST(Radix, TextThatIsNoPatternChangesNothing) {
  for (const unsigned precision : {kDoublePrecision, kWidePrecision}) {
    number n(0.25, precision, false);
    for (const char* text : {"", "102", "-1", " 1", "1.0", "0x1", "\xe4", "{", "["}) {
      EXPECT_FALSE(n.base2fixed(text, 2, true, 8, 1, 0, 0)) << text;
      EXPECT_FALSE(n.base2float(text, 2, 8, 3)) << text;
    }
    EXPECT_FALSE(n.base2fixed("1c", 12, true, 8, 1, 0, 0));
    EXPECT_FALSE(n.base2float("100000000", 2, 8, 3)) << "longer than the format";
    EXPECT_EQ(n.todouble(), 0.25);
    EXPECT_TRUE(n.base2fixed("300", 10, true, 8, 1, -1, 0)) << "too long for the word: left to a quantizer";
    EXPECT_EQ(n.todouble(), 150);
  }
}

TEST(Radix, FloatPatternsAreThoseOfIeee754) {
  Generator random;
  const auto check = [](double value, int word, int exponent, const mpz_class& bits) {
    for (const unsigned precision : {kDoublePrecision, 64U}) {
      const number n(value, precision, false);
      EXPECT_EQ(n.float2base(16, word, exponent), padded(bits, 16, word / 4)) << value;
      number back(7.0, precision, false);
      ASSERT_TRUE(back.base2float(padded(bits, 2, word).c_str(), 2, word, exponent));
      EXPECT_EQ(std::bit_cast<std::uint64_t>(back.todouble()), std::bit_cast<std::uint64_t>(value));
    }
  };
  for (const double special :
       {0.0, -0.0, double(INFINITY), -double(INFINITY), 5e-324, -2.2250738585072014e-308}) {
    check(special, 64, 11, std::bit_cast<std::uint64_t>(special));
  }
  for (int trial = 0; trial < 500; ++trial) {
    const std::uint64_t bits = random.bits(64).get_ui();
    const auto wide = std::bit_cast<double>(bits);
    if (!std::isnan(wide)) check(wide, 64, 11, bits);
    const auto small = std::bit_cast<float>(static_cast<std::uint32_t>(bits));
    if (!std::isnan(small)) check(small, 32, 8, static_cast<std::uint32_t>(bits));
    // Rounding to single precision, ties to even, with carry into infinity; and all that lies beyond.
    for (const double beside : {static_cast<double>(small) * (1 + std::ldexp(1.0, -24)), wide}) {
      if (std::isnan(beside)) continue;
      EXPECT_EQ(number(beside, kDoublePrecision, false).float2base(16, 32, 8),
                padded(std::bit_cast<std::uint32_t>(static_cast<float>(beside)), 16, 8));
    }
  }
  EXPECT_EQ(number(NAN, kDoublePrecision, false).float2base(2, 8, 3), "01111000");
  number nan(0.0, kDoublePrecision, false);
  EXPECT_TRUE(nan.base2float("01111000", 2, 8, 3) && std::isnan(nan.todouble()));
}

TEST(Radix, WideFloatFormatsKeepEveryBit) {
  Generator random;
  const struct {
    int word, exponent;
  } formats[] = {{80, 15}, {128, 15}, {200, 31}, {33, 31}, {12, 11}, {9, 1}, {9, 0}};
  for (const auto& f : formats) {
    for (int trial = 0; trial < 100; ++trial) {
      mpz_class bits = random.bits(f.word - 1);
      number n(0.0, 80, true);  // narrower than most: takes the bits that it needs
      ASSERT_TRUE(n.base2float(bits.get_str(10).c_str(), 10, f.word, f.exponent));
      if (!n.isFinite()) continue;
      EXPECT_EQ(n.float2base(2, f.word, f.exponent), padded(bits, 2, f.word));
    }
  }
  const std::string largest = "0" + std::string(30, '1') + "0" + std::string(168, '1');
  number n(0.0, 80, false);
  ASSERT_TRUE(n.base2float(largest.c_str(), 2, 200, 31));
  EXPECT_EQ(n.unbiasedexponent(), (1 << 30) - 1);
}

}  // namespace
