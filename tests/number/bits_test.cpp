#include <fmt/format.h>
#include <gtest/gtest.h>

#include <functional>

#include "qfcore/number/wordconstants.h"
#include "reference.h"

namespace {

using namespace embedded;
using namespace reference;

/// The bit operations of one type, in the form of the body's kind.
struct Bits {
  explicit Bits(const Format& type) : format(type), constants(type.wordLength) {}
  bool get(const number& n, int position) const {
    const auto [isSigned, w, e] = format;
    return n.multiprecision() ? n.bitget(position, isSigned, w, 1, e, 0, constants.mpTwoToWordLength())
                              : n.bitget(position, isSigned, w, 1, e, 0, constants.twoToWordLength());
  }
  void set(number& n, int position, bool value) const {
    const auto [isSigned, w, e] = format;
    n.multiprecision() ? n.bitset(position, value, isSigned, w, 1, e, 0, constants.mpTwoToWordLength())
                       : n.bitset(position, value, isSigned, w, 1, e, 0, constants.twoToWordLength());
  }
  void complement(number& n) const {
    const auto [isSigned, w, e] = format;
    n.multiprecision() ? n.bitcmp(isSigned, w, 1, e, 0, constants.mpXorMask(), constants.mpTwoToWordLength())
                       : n.bitcmp(isSigned, w, 1, e, 0, constants.twoToWordLength(), constants.xorMask());
  }
  void combine(number& a, const number& b, char operation) const {
    const auto [isSigned, w, e] = format;
    const auto two = constants.twoToWordLength();
    const auto& wideTwo = constants.mpTwoToWordLength();
    const bool wide = a.multiprecision();
    switch (operation) {
      case '&':
        wide ? a.mpbitand(b, isSigned, w, 1, e, 0, wideTwo) : a.doublebitand(b, isSigned, w, 1, e, 0, two);
        break;
      case '|':
        wide ? a.mpbitor(b, isSigned, w, 1, e, 0, wideTwo) : a.doublebitor(b, isSigned, w, 1, e, 0, two);
        break;
      default:
        wide ? a.mpbitxor(b, isSigned, w, 1, e, 0, wideTwo) : a.doublebitxor(b, isSigned, w, 1, e, 0, two);
        break;
    }
  }
  Format format;
  WordConstants constants;
};

TEST(Bits, MatchPatternsOfIntegersOnBothBodies) {
  Generator random;
  for (int trial = 0; trial < 3000; ++trial) {
    const bool wide = random.coin();
    const Bits bits(random.format(wide ? 300 : 52));
    const Format& format = bits.format;
    const unsigned precision = wide ? kWidePrecision : kDoublePrecision;
    const bool fitsDouble = format.wordLength <= 50;
    const bool otherIsWide = fitsDouble && random.integer(0, 3) == 0 ? !wide : wide;
    number a(0.0, precision, false), b(0.0, otherIsWide ? kWidePrecision : kDoublePrecision, false);
    // A little beside the grid the stored integer is the same.
    const auto value = [&](const mpz_class& stored) {
      const bool isBeside = format.wordLength <= (wide ? 290 : 50) && random.integer(0, 3) == 0;
      return scaled(stored + (isBeside ? mpq_class(sgn(stored) < 0 ? -1 : 1, 4) : mpq_class(0)),
                    format.exponent);
    };
    const mpz_class storedA = random.stored(format), storedB = random.stored(format);
    const mpz_class patternA = format.pattern(storedA), patternB = format.pattern(storedB);
    const auto restart = [&] {
      ASSERT_TRUE(put(a, value(storedA)));
      ASSERT_TRUE(put(b, value(storedB)));
    };
    const auto expectPattern = [&](const mpz_class& pattern, const char* what) {
      EXPECT_EQ(valueOf(a), scaled(mpq_class(format.stored(pattern)), format.exponent))
          << what << " of " << storedA << " and " << storedB << ", " << format.wordLength << " bits";
    };
    restart();
    bits.combine(a, b, '&');
    expectPattern(patternA & patternB, "and");
    restart();
    bits.combine(a, b, '|');
    expectPattern(patternA | patternB, "or");
    restart();
    bits.combine(a, b, '^');
    expectPattern(patternA ^ patternB, "xor");
    restart();
    bits.complement(a);
    expectPattern(pow2(format.wordLength) - 1 - patternA, "complement");
    restart();
    const int position = random.integer(1, format.wordLength);
    const mpz_class bit = pow2(position - 1);
    EXPECT_EQ(bits.get(a, position), (patternA & bit) != 0);
    bits.set(a, position, true);
    expectPattern(patternA | bit, "set");
    bits.set(a, position, false);
    expectPattern((patternA | bit) - bit, "clear");
  }
}

using Error = std::pair<std::string, std::string>;

Error errorOf(const std::function<void()>& call) {
  try {
    call();
  } catch (const ErrorIdException& error) {
    return {error.identifier(), error.text()};
  }
  return {"none", ""};
}

TEST(Bits, PositionsOutsideTheWordAreRefused) {
  const Bits bits({true, 8, -3});
  for (const unsigned precision : {kDoublePrecision, kWidePrecision}) {
    number n(0.5, precision, false);
    for (const int position : {0, 9, -1}) {
      const std::string text = "A bit position is not an integer in the appropriate range.";
      EXPECT_EQ(errorOf([&] { bits.set(n, position, true); }), Error("numforge:fi:bitset:BITOutOfRange", text));
      EXPECT_EQ(errorOf([&] { bits.get(n, position); }), Error("numforge:fi:bitget:BITOutOfRange", text));
    }
    EXPECT_EQ(n.todouble(), 0.5);
  }
}

TEST(Bits, TheFormOfTheOtherBodyIsAnInternalError) {
  const WordConstants w(8);
  const auto two = w.twoToWordLength(), mask = w.xorMask();
  const MpFloat& wideTwo = w.mpTwoToWordLength();
  number d(1.0, kDoublePrecision, false), m(1.0, kWidePrecision, false);
  const struct {
    const char* operation;
    const char *namedInDoubleText, *namedInWideText;
    std::function<void()> wideFormOnDouble, doubleFormOnWide;
  } cases[] = {
      {"bitset", "doublenumber::bitset", "mpnumber::bitset",
       [&] { d.bitset(1, true, true, 8, 1, 0, 0, wideTwo); },
       [&] { m.bitset(1, true, true, 8, 1, 0, 0, two); }},
      {"bitget", "doublenumber::bitget", "mpnumber::bitget", [&] { d.bitget(1, true, 8, 1, 0, 0, wideTwo); },
       [&] { m.bitget(1, true, 8, 1, 0, 0, two); }},
      {"bitxor", "doublenumber::bitxor", "mpnumber::bitxor", [&] { d.mpbitxor(d, true, 8, 1, 0, 0, wideTwo); },
       [&] { m.doublebitxor(m, true, 8, 1, 0, 0, two); }},
      {"fibitor", "doublenumber::fibitor", "mpnumber::fibitor",
       [&] { d.mpbitor(d, true, 8, 1, 0, 0, wideTwo); }, [&] { m.doublebitor(m, true, 8, 1, 0, 0, two); }},
      {"fibitand", "mpnumber::fibitand", "mpnumber::fibitand",
       [&] { d.mpbitand(d, true, 8, 1, 0, 0, wideTwo); }, [&] { m.doublebitand(m, true, 8, 1, 0, 0, two); }},
      {"bitcmp", "doublenumber::bitcmp", "mpnumber::bitcmp",
       [&] { d.bitcmp(true, 8, 1, 0, 0, w.mpXorMask(), wideTwo); },
       [&] { m.bitcmp(true, 8, 1, 0, 0, two, mask); }},
  };
  for (const auto& c : cases) {
    const auto expected = [&](const char* identifier, const char* named, const char* parameters) {
      return Error(fmt::format(fmt::runtime(identifier), c.operation),
                   fmt::format("{} has been called with {} parameters. Please report this problem to Numforge "
                               "technical support.",
                               named, parameters));
    };
    EXPECT_EQ(errorOf(c.wideFormOnDouble),
              expected("numforge:fi:doublenumber:{}:mpnumberparameters", c.namedInDoubleText, "mpnumber"));
    EXPECT_EQ(errorOf(c.doubleFormOnWide),
              expected("numforge:fi:mpnumber:{}:doublenumberparameter", c.namedInWideText, "doublenumber"));
  }
}

}  // namespace
