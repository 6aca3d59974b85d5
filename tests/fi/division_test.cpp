/// Quotients, square roots and magnitudes against exact rationals, on all paths.
#include <cstdlib>
#include <functional>

#include "qfcore/number/precision.h"
#include "tests/fi/arrays.h"
#include "tests/fi/meter.h"

namespace embedded {
namespace {

using reference::Complex;
using reference::elementOf;
using reference::Meter;

class Division : public reference::ArithmeticTest {
 protected:
  static bool isDouble(const NumericType& type) { return fi::precisionOf(type) <= kMaxDoublePrecision; }

  /// Of the quotients that words have, near one and far away.
  static int bitsOf(const NumericType& type) {
    const auto bits = static_cast<unsigned>(type.wordLength());
    return static_cast<int>(bits <= kMaxDoublePrecision ? kDoubleBits : constructedBits(bits));
  }

  /// A quotient part as rounded to the dividend's precision. A double over a wide divisor is first rounded to
  /// the divisor's, as all mixed operations are.
  static mpq_class roundedQuotient(const mpq_class& quotient, const fi& dividend, const fi& divisor) {
    const NumericType &x = dividend.getNumericType(), &y = divisor.getNumericType();
    const auto isLong = [](const NumericType& type) {
      return static_cast<unsigned>(type.wordLength()) > kMaxDoublePrecision;
    };
    const bool isMixed = !isLong(x) && isLong(y) && divisor.isreal();
    return reference::roundedToBits(isMixed ? reference::roundedToBits(quotient, bitsOf(y)) : quotient,
                                    bitsOf(x));
  }

  void compareOver(const fi& a, const fi& b, const NumericType& type) {
    onAllPaths([&](bool isLogging) {
      tessel::lastWarning() = {};
      const fi result = a.over(b, type);
      Meter meter(a.getFimath());
      const bool inDoubles = isDouble(a.getNumericType()) && isDouble(type);
      bool byZero = false;
      const auto part = [&](const mpq_class& numerator, const mpq_class& denominator) -> mpq_class {
        if (denominator != 0) return meter(roundedQuotient(numerator / denominator, a, b), type, inDoubles);
        byZero = true;
        if (numerator == 0) return 0;
        return reference::valueOf(numerator < 0 ? result.lowerbound() : result.upperbound(), 0);
      };
      for (unsigned k = 0; k < result.numel(); ++k) {
        const Complex x = elementOf(a, k), y = elementOf(b, k);
        const mpq_class square = y.re * y.re + y.im * y.im;
        const bool divides = b.iscomplex() && square != 0;
        const mpq_class re = divides ? part(x.re * y.re + x.im * y.im, square) : part(x.re, y.re);
        ASSERT_EQ(reference::valueOf(result, k), re)
            << x.re << "+i" << x.im << " over " << y.re << "+i" << y.im;
        if (result.isreal()) continue;
        const mpq_class im = divides ? part(x.im * y.re - x.re * y.im, square) : part(x.im, y.re);
        ASSERT_EQ(reference::imagOf(result, k), im) << x.re << "+i" << x.im << " over " << y.re << "+i" << y.im;
      }
      EXPECT_EQ(tessel::lastWarning().identifier == "fi:divideByZero", byZero);
      // Extremes start at the largest double, which no value far beyond it is below.
      if (isLogging && std::abs(type.fractionLength()) < 900) meter.expectRecordOf(result);
    });
  }

  /// Binary points are up to so many places away from where they are near one.
  void compareRandomQuotients(int trials, int maxWordLength, int farthest = 0) {
    for (int trial = 0; trial < trials; ++trial) {
      const fimath math(random.roundMode(), random.overflowMode());
      const std::vector<unsigned> dims = shape(4);
      const auto distance = [&] { return random.coin() ? 0 : random.integer(-farthest, farthest); };
      const int ofA = distance(), ofB = random.coin() ? ofA : distance();
      const auto moved = [](fi x, int places) { return x.pow2(-places, true); };
      const fi a = moved(operand(dims, maxWordLength, math), ofA),
               b = moved(operand(dims, maxWordLength, math), ofB);
      NumericType type = random.type(1, maxWordLength);
      type.setFractionLength(type.fractionLength() + ofA - ofB);
      SCOPED_TRACE(a.getNumericType().tostring() + " over " + b.getNumericType().tostring() + " in " +
                   type.tostring() + math.toString());
      compareOver(a, b, type);
      if (HasFailure()) return;
    }
  }

  /// The root bit by bit, each square quantized; fills `meter` with what the squares met.
  static mpq_class expectedRoot(const mpq_class& x, const NumericType& type, const NumericType& squareType,
                                Meter& meter) {
    if (x == 0) return 0;
    const int f = type.fractionLength();
    const mpz_class largest = reference::pow2(type.wordLength() - type.isSigned()) - 1;
    const auto square = [&](const mpz_class& stored) {
      const mpq_class value = reference::scaled(mpq_class(stored), -f);
      return reference::realWorld(meter(reference::heldOf(value * value, squareType), squareType), squareType);
    };
    mpz_class root = 0;
    for (int bit = type.wordLength() - type.isSigned() - 1; bit >= 0; --bit) {
      const mpz_class trial = root + reference::pow2(bit);
      if (square(trial) <= x) root = trial;
    }
    bool up = false;
    if (root < largest && meter.round == RoundModeEnum::ceil) {
      up = square(root) < x;
    } else if (root < largest && meter.round != RoundModeEnum::fix && meter.round != RoundModeEnum::floor) {
      const mpq_class below = square(root), above = square(root + 1);
      up = above - x < x - below;
    }
    return reference::scaled(mpq_class(up ? mpz_class(root + 1) : root), -f);
  }

  void compareRandomRoots(int trials, int maxWordLength, bool fullPrecision) {
    for (int trial = 0; trial < trials; ++trial) {
      fimath math(random.roundMode(), random.overflowMode());
      math.setMaxProductWordLength(65535);
      if (!fullPrecision) {
        math.setProductMode(static_cast<ArithmeticModeEnum>(random.integer(1, 3)));
        math.setProductWordLength(random.integer(1, maxWordLength));
        math.setProductFractionLength(random.integer(-4, maxWordLength));
        if (random.coin()) {
          math.setProductSlopeAdjustmentFactor(1 + random.integer(0, 7) / 8.0);
          math.setProductBias(random.integer(-8, 8) / 4.0);
          math.setProductMode(ArithmeticModeEnum::SpecifyPrecision);
        }
      }
      const int w = random.integer(1, maxWordLength);
      fi a = random.array({3, 4}, NumericType(false, w, random.integer(-4, w + 4)), math, false);
      const NumericType type =
          random.coin() ? random.type(1, maxWordLength) : a.getNumericTypeForSqrtBisection();
      if (random.coin()) {  // exact squares, and their neighbours
        a.setIndex(1);
        const mpq_class root =
            reference::scaled(mpq_class(random.bits(w / 2)), -a.getNumericType().fractionLength() / 2);
        reference::put(a.realPart(), reference::quantized(root * root, a.getNumericType(), RoundModeEnum::floor,
                                                          OverflowModeEnum::saturate));
      }
      SCOPED_TRACE(a.getNumericType().tostring() + " to " + type.tostring() + math.toString());
      onAllPaths([&](bool isLogging) {
        qlogger::global(OperationTypeEnum::Product)->reset();
        const fi result = a.sqrtBisection(type, math);
        const NumericType squareType = result.getProductTypeForMpyOp(result);
        Meter squares(math), roots(math);
        for (unsigned k = 0; k < a.numel(); ++k) {
          const mpq_class expected = expectedRoot(reference::valueOf(a, k), type, squareType, squares);
          ASSERT_EQ(reference::valueOf(result, k), expected) << "of " << reference::valueOf(a, k);
          if (fullPrecision && math.roundMode() == RoundModeEnum::floor &&
              expected < reference::valueOf(result.realmax(), 0)) {
            const mpz_class floor = sqrt(
                reference::floored(reference::scaled(reference::valueOf(a, k), 2 * type.fractionLength())));
            ASSERT_EQ(expected, reference::scaled(mpq_class(floor), -type.fractionLength()));
          }
          roots(expected, type);
        }
        if (!isLogging) return;
        roots.expectRecordOf(result);
        EXPECT_EQ(qlogger::global(OperationTypeEnum::Product)->noverflows(), squares.counts.overflows);
        EXPECT_EQ(qlogger::global(OperationTypeEnum::Product)->nunderflows(), squares.counts.underflows);
        EXPECT_EQ(qlogger::global(OperationTypeEnum::Product)->noperations(), squares.values);
      });
      if (HasFailure()) return;
    }
  }
};

TEST_F(Division, OfDoubleBackedWordsRoundsToTheDividendAndThenToTheType) { compareRandomQuotients(800, 24); }
TEST_F(Division, OfWordsAroundTheThresholdRoundsTheSameWay) { compareRandomQuotients(800, 60); }
TEST_F(Division, OfWideWordsRoundsTheSameWay) { compareRandomQuotients(150, 300); }
TEST_F(Division, OfWordsFarFromOneRoundsTheSameWay) { compareRandomQuotients(800, 60, 2500); }

TEST_F(Division, WithoutATypeTakesTheDifferenceOfFractionLengths) {
  const fi a(1U, 1U, NumericType(true, 16, 15)), b(1U, 1U, NumericType(false, 20, 3));
  EXPECT_EQ(a.getNumericTypeForQuotient(b).qpointstr(), "s20,12");
  EXPECT_EQ(b.getNumericTypeForQuotient(b).qpointstr(), "u20,0");
  EXPECT_EQ(b.getNumericTypeForQuotient(a).qpointstr(), "s20,-12");
  NumericType dbl;
  dbl.setDataType(EmbeddedTypeSystem::DataTypeEnum::Double);
  const fi x(1.0, dbl);
  EXPECT_TRUE(x.getNumericTypeForQuotient(x).isDouble());
}

TEST_F(Division, OfElementsInMoreBitsThanTheirTypeTakesRoundsToThose) {
  for (int trial = 0; trial < 200; ++trial) {
    const int far = random.coin() ? 0 : random.integer(-2000, 2000), moreBits = random.integer(60, 200);
    const fimath math(random.roundMode(), random.overflowMode());
    fi a = random.array({1, 1}, NumericType(random.coin(), random.integer(2, 40), far), math, false);
    const mpq_class value = reference::valueOf(a, 0);
    a.setPrecision(static_cast<unsigned>(moreBits));
    reference::put(a.realPart(), value);
    const NumericType type(true, random.integer(150, 300), far + random.integer(40, 140));
    const auto check = [&](const fi& b, const mpq_class& quotient, const mpq_class& found) {
      const mpq_class rounded = reference::roundedToBits(
          quotient, static_cast<int>(constructedBits(static_cast<unsigned>(moreBits))));
      ASSERT_EQ(found, reference::quantized(rounded, type, math.roundMode(), math.overflowMode()))
          << a.getNumericType().tostring() << " over " << b.getNumericType().tostring();
    };
    const fi three(3.0, NumericType(true, 8, 0), math);
    fi complex = three.complex();
    complex.imagPart() = 2.0;
    check(three, value / 3, reference::valueOf(a.over(three, type), 0));
    const fi quotient = a.over(complex, type);
    check(complex, value * 3 / 13, reference::valueOf(quotient, 0));
    check(complex, value * -2 / 13, reference::imagOf(quotient, 0));
    if (HasFailure()) return;
  }
}

TEST_F(Division, RootsAreFoundBitByBit) { compareRandomRoots(250, 24, true); }
TEST_F(Division, RootsOfLongerWordsAreFoundBitByBit) { compareRandomRoots(150, 60, true); }
TEST_F(Division, RootsOfWideWordsAreFoundBitByBit) { compareRandomRoots(25, 250, true); }
TEST_F(Division, RootsFollowTheProductRegisterWhereItLosesBits) { compareRandomRoots(300, 40, false); }

TEST_F(Division, AbsoluteValuesAreRoundedOnce) {
  for (int trial = 0; trial < 600; ++trial) {
    const int maxWordLength = trial % 2 == 0 ? 30 : 150;
    const fimath math(random.roundMode(), random.overflowMode());
    const fi a = random.array({2, 3}, random.type(1, maxWordLength), math, false);
    const NumericType& own = a.getNumericType();
    const NumericType type = random.type(1, maxWordLength);
    SCOPED_TRACE(own.tostring() + type.tostring() + math.toString());
    onAllPaths([&](bool isLogging) {
      const fi magnitudes = a.realabs(type), negated = a.uminus(), signs = a.sign(), plain = a.abs();
      Meter m(math), n(math), s(math), p(math);
      for (unsigned k = 0; k < a.numel(); ++k) {
        const mpq_class x = reference::valueOf(a, k);
        ASSERT_EQ(reference::valueOf(magnitudes, k), m(abs(x), type, isDouble(own) && isDouble(type)));
        ASSERT_EQ(reference::valueOf(negated, k), n(-x, own));
        ASSERT_EQ(reference::valueOf(plain, k), p(abs(x), own));
        ASSERT_EQ(reference::valueOf(signs, k), s(sgn(x), own));
      }
      if (!isLogging) return;
      m.expectRecordOf(magnitudes);
      n.expectRecordOf(negated);
      s.expectRecordOf(signs);
    });
    if (HasFailure()) return;
  }
}

TEST_F(Division, ComplexMagnitudesAndConjugatesAreExactBeforeTheyAreRounded) {
  for (int trial = 0; trial < 300; ++trial) {
    const fimath math(RoundModeEnum::floor, OverflowModeEnum::saturate);
    const fi a = random.array({2, 2}, random.type(1, trial % 2 == 0 ? 26 : 120), math, true);
    const NumericType& type = a.getNumericType();
    onAllPaths([&](bool) {
      const fi lengths = a.abs(), conjugates = a.conj();
      for (unsigned k = 0; k < a.numel(); ++k) {
        const Complex x = elementOf(a, k);
        const mpz_class floor =
            sqrt(reference::floored(reference::scaled(x.re * x.re + x.im * x.im, 2 * type.fractionLength())));
        const mpq_class expected = reference::scaled(mpq_class(floor), -type.fractionLength());
        ASSERT_EQ(reference::valueOf(lengths, k),
                  reference::quantized(expected, type, RoundModeEnum::floor, OverflowModeEnum::saturate))
            << type.tostring();
        ASSERT_EQ(reference::valueOf(conjugates, k), x.re);
        ASSERT_EQ(reference::imagOf(conjugates, k),
                  reference::quantized(-x.im, type, RoundModeEnum::floor, OverflowModeEnum::saturate));
      }
    });
    if (HasFailure()) return;
  }
}

TEST_F(Division, ScratchValuesOfManyBitsRoundToTheDividendAsLongWordsDo) {
  struct Forced {
    Forced() { number::setDefaultForceMultiplePrecision(true); }
    ~Forced() { number::setDefaultForceMultiplePrecision(false); }
  };
  for (int trial = 0; trial < 100; ++trial) {
    const fimath math(random.roundMode(), random.overflowMode());
    const int w = random.integer(2, 52);
    const fi a = random.array({1, 1}, NumericType(true, w, 3), math, false),
             b(7.0, NumericType(true, 8, 0), math);
    const NumericType type(true, random.integer(2, 52), random.integer(0, 50));
    const Forced forced;
    const mpq_class rounded = reference::roundedToBits(
        reference::valueOf(a, 0) / 7, static_cast<int>(constructedBits(static_cast<unsigned>(w))));
    ASSERT_EQ(reference::valueOf(a.over(b, type), 0),
              reference::quantized(rounded, type, math.roundMode(), math.overflowMode()))
        << reference::valueOf(a, 0) << " " << a.getNumericType().tostring() << type.tostring()
        << math.toString();
  }
}

TEST_F(Division, NegativeElementsAreFoundInEveryScaling) {
  using EmbeddedTypeSystem::DataTypeEnum;
  using EmbeddedTypeSystem::ScalingEnum;
  const NumericType biased(DataTypeEnum::Fixed, ScalingEnum::SlopeBias, false, 8, 1.5, 0, -2);
  EXPECT_TRUE(fi(-2.0, biased).isAnyElementNegative());
  EXPECT_FALSE(fi(4.0, biased).isAnyElementNegative());
  EXPECT_TRUE(fi(-2.0, NumericType(true, 8, 0)).isAnyElementNegative());
}

TEST_F(Division, OfTypesWithoutAWordIsNative) {
  using EmbeddedTypeSystem::DataTypeEnum;
  NumericType type;
  type.setDataType(DataTypeEnum::Double);
  const fi two(2.0, type), three(3.0, type);
  EXPECT_EQ(two.over(three, type).realWorldReal(), 2.0 / 3.0);
  EXPECT_EQ(two.sqrtBisection().realWorldReal(), std::sqrt(2.0));
  EXPECT_EQ(two.times(three).realWorldReal(), 6.0);
  EXPECT_EQ(two.uminus().realWorldReal(), -2.0);
}

}  // namespace
}  // namespace embedded
