/// Words of up to 1,000 bits, some of 4,096 and 65,535, and shorter ones with binary points beyond the doubles:
/// what works on stored integers, beside exact rationals.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <functional>
#include <string>
#include <vector>

#include "qfcore/number/radix.h"
#include "tests/fi/arrays.h"
#include "tests/fi/reference.h"

namespace embedded {
namespace {

using reference::valueOf;
using tessel::HostArray;

class LongWords : public ::testing::Test {
 protected:
  /// Calls `check(word length)` for random lengths, the very long ones, and short ones far from the point.
  void forLengths(int trials, const std::function<void(int)>& check) {
    for (int trial = 0; trial < trials; ++trial) {
      const bool isFar = trial % 3 == 0;
      origin_ = isFar ? (random.coin() ? 1 : -1) * random.integer(900, 2500) : 0;
      const int wordLength = trial % 40 == 39   ? 4096
                             : trial % 80 == 38 ? 65535
                                                : random.integer(isFar ? 1 : 53, isFar ? 52 : 1000);
      SCOPED_TRACE(wordLength);
      check(wordLength);
      if (HasFailure()) return;
    }
  }
  NumericType type(int wordLength) {
    return NumericType(random.coin(), wordLength, origin_ + random.integer(-8, wordLength + 8));
  }
  fi array(const NumericType& ofType, const fimath& math = {}) {
    return random.array({1, 3}, ofType, math, false);
  }

  reference::Random random;
  int origin_ = 0;
};

TEST_F(LongWords, AreQuantizedAndAddedExactly) {
  forLengths(160, [&](int wordLength) {
    fimath math(random.roundMode(), random.overflowMode());
    math.setSumMode(ArithmeticModeEnum::SpecifyPrecision);
    math.setSumFormat(random.integer(1, wordLength), origin_ + random.integer(-8, wordLength));
    const auto quantized = [&](const mpq_class& value, const NumericType& into) {
      return reference::quantized(value, into, math.roundMode(), math.overflowMode());
    };
    // Every other time a word that is carried in doubles meets the long one.
    const fi a = array(type(wordLength), math),
             b = array(type(random.coin() ? wordLength : random.integer(1, 52)), math);
    const fi sum = a.plus(b), difference = b.minus(a);
    const NumericType& sumType = sum.getNumericType();
    const NumericType other = type(random.integer(1, wordLength));
    fi cast = a;
    cast.setNumericType(other);
    for (unsigned k = 0; k < 3; ++k) {
      const mpq_class x = quantized(valueOf(a, k), sumType), y = quantized(valueOf(b, k), sumType);
      EXPECT_EQ(valueOf(sum, k), quantized(x + y, sumType));
      EXPECT_EQ(valueOf(difference, k), quantized(y - x, sumType));
      EXPECT_EQ(valueOf(cast, k), quantized(valueOf(a, k), other));
      EXPECT_EQ(a.lt(b).realAt(k), valueOf(a, k) < valueOf(b, k));
      EXPECT_EQ(a.eq(b).realAt(k), valueOf(a, k) == valueOf(b, k));
      EXPECT_TRUE(a.eq(a).realAt(k));
    }
  });
}

TEST_F(LongWords, ShowTheirPatternsAsBitsWordsAndText) {
  forLengths(120, [&](int wordLength) {
    const NumericType of = type(wordLength);
    const reference::Format format{of.isSigned(), wordLength, 0};
    const fi a = array(of), b = array(of);
    const auto patternOf = [&](const fi& x, unsigned k) {
      return format.pattern(reference::storedOf(valueOf(x, k), of));
    };
    const fi both = a.fibitand(b), either = a.fibitor(b), one = a.bitxor(b), complement = a.bitcmp();
    const HostArray words =
        a.getIntArrayHostArray(fi::IntArrayChunkMode::AsNeeded, fi::IntArrayDimensionMode::NewDimension);
    const int base = random.coin() ? 1 << random.integer(1, 4) : random.integer(2, 18);
    HostArray rows = a.num2base(base);
    const std::string text = rows.toText();
    char* characters = rows.mutableReal<char>();
    if (random.coin()) std::transform(characters, characters + rows.numel(), characters, ::toupper);
    const auto digits = static_cast<std::size_t>(radixDigits(wordLength, base));
    const std::size_t wordsEach = words.numel() / 3;
    fi fromRows(1U, 1U, of);
    fromRows.base2num(rows, base);
    const std::string decimal = a.num2sdec().toText();
    const auto width = static_cast<std::size_t>(radixDigits(wordLength, 10)) + 1;
    for (unsigned k = 0; k < 3; ++k) {
      const mpz_class p = patternOf(a, k), q = patternOf(b, k);
      EXPECT_EQ(patternOf(both, k), p & q);
      EXPECT_EQ(patternOf(either, k), p | q);
      EXPECT_EQ(patternOf(one, k), p ^ q);
      EXPECT_EQ(patternOf(complement, k), format.pattern(~p));
      mpz_class fromWords, fromText(text.substr(k * (digits + 3), digits), base);
      mpz_import(fromWords.get_mpz_t(), wordsEach, -1, 4, 0, 0, words.real<std::uint32_t>() + k * wordsEach);
      EXPECT_EQ(fromWords, p);
      EXPECT_EQ(fromText, p);
      const std::string stored = reference::storedOf(valueOf(a, k), of).get_str();
      EXPECT_EQ(decimal.substr(k * (width + 3), width), std::string(width - stored.size(), ' ') + stored);
      EXPECT_EQ(valueOf(fromRows, k), valueOf(a, k));
    }
  });
}

}  // namespace
}  // namespace embedded
