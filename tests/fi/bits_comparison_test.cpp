/// Comparison, extremes and bit operations against exact rationals and integers, on all paths.
#include <functional>

#include "tests/fi/arrays.h"
#include "tests/fi/meter.h"

namespace embedded {
namespace {

using EmbeddedTypeSystem::DataTypeEnum;
using EmbeddedTypeSystem::ScalingEnum;
using reference::Complex;
using reference::elementOf;
using reference::heldOf;
using reference::realWorld;
using reference::row;
using tessel::HostArray;

class BitsAndComparison : public reference::ArithmeticTest {
 protected:
  NumericType anyScaling(int maxWordLength) {
    NumericType type = random.type(1, maxWordLength);
    if (random.coin()) return type;
    static constexpr double kFactors[] = {1.5, 1.25, 1.1};
    return NumericType(DataTypeEnum::Fixed, ScalingEnum::SlopeBias, type.isSigned(), type.wordLength(),
                       kFactors[random.integer(0, 2)], -type.fractionLength(), random.integer(-3, 3) / 2.0);
  }
};

TEST_F(BitsAndComparison, RelationsCompareRealWorldValuesExactly) {
  for (int trial = 0; trial < 600; ++trial) {
    const fimath math;
    const int maxWordLength = trial % 3 == 0 ? 150 : trial % 3 == 1 ? 5 : 2;
    const std::vector<unsigned> dims = shape(4), one{1, 1};
    const auto isComplex = [&] { return random.coin(); };
    const fi a = random.array(random.integer(0, 3) ? dims : one, anyScaling(maxWordLength), math, isComplex());
    const fi b =
        random.array(random.integer(0, 3) ? dims : one,
                     random.coin() ? a.getNumericType() : anyScaling(maxWordLength), math, isComplex());
    const auto imagOf = [](const fi& x, unsigned k) {
      return x.isreal() ? mpq_class(0) : realWorld(elementOf(x, k).im, x.getNumericType());
    };
    SCOPED_TRACE(a.getNumericType().tostring() + " and " + b.getNumericType().tostring());
    onAllPaths([&](bool) {
      const HostArray ge = a.ge(b), le = a.le(b), gt = a.gt(b), lt = a.lt(b), eq = a.eq(b), ne = a.ne(b);
      bool allEqual = a.dims() == b.dims();
      for (std::size_t k = 0; k < ge.numel(); ++k) {
        const mpq_class x = realWorld(elementOf(a, static_cast<unsigned>(k)).re, a.getNumericType());
        const mpq_class y = realWorld(elementOf(b, static_cast<unsigned>(k)).re, b.getNumericType());
        ASSERT_EQ(ge.realAt(k) != 0, x >= y) << x << " and " << y;
        ASSERT_EQ(le.realAt(k) != 0, x <= y) << x << " and " << y;
        ASSERT_EQ(gt.realAt(k) != 0, x > y) << x << " and " << y;
        ASSERT_EQ(lt.realAt(k) != 0, x < y) << x << " and " << y;
        const bool areEqual =
            x == y && imagOf(a, static_cast<unsigned>(k)) == imagOf(b, static_cast<unsigned>(k));
        ASSERT_EQ(eq.realAt(k) != 0, areEqual) << x << " and " << y;
        ASSERT_EQ(ne.realAt(k) != 0, !areEqual) << x << " and " << y;
        allEqual = allEqual && areEqual;
      }
      EXPECT_EQ(a.isequal(b), allEqual);
      EXPECT_TRUE(a.isequal(a));
    });
    if (HasFailure()) return;
    // One element in several scalings beside others in turn.
    fi element(2U, 1U, anyScaling(5), math);
    element.setIndex(1);
    element.realPart() = random.integer(0, 1);
    for (int turn = 0; turn < 4; ++turn) {
      const fi other = random.array(one, anyScaling(5), math, false);
      if (turn % 2 != 0) element.updateAssignmentQuantizer(anyScaling(5));
      const mpq_class x = realWorld(reference::valueOf(element, 1), element.getNumericType());
      const mpq_class held = reference::valueOf(other, 0), y = realWorld(held, other.getNumericType());
      EXPECT_EQ(other == element, y == x);
      const fi& adjusted = fi::getAdjustedElement(element, other);
      EXPECT_EQ(sgn(held - reference::valueOf(adjusted, adjusted.numel() - 1)), sgn(y - x));
    }
  }
}

TEST_F(BitsAndComparison, EqualityTakesImaginaryPartsIn) {
  const unsigned dims[] = {1, 2};
  const double re[] = {1, 2}, im[] = {0, 1}, zeros[] = {0, 0};
  // With a bias, the missing part of a real array is not held as 0.
  for (const double bias : {0.0, 2.0}) {
    const auto type = [&](int wordLength, int fractionLength) {
      return NumericType(DataTypeEnum::Fixed, bias == 0 ? ScalingEnum::BinaryPoint : ScalingEnum::SlopeBias,
                         true, wordLength, 1.0, -fractionLength, bias);
    };
    const fi a(re, im, dims, 2, type(8, 2)), b(re, dims, 2, type(12, 4));
    EXPECT_EQ(a.eq(b).realAt(0), 1);
    EXPECT_EQ(a.eq(b).realAt(1), 0);
    EXPECT_EQ(b.ne(a).realAt(1), 1);
    EXPECT_FALSE(a.isequal(b));
    EXPECT_TRUE(fi(re, zeros, dims, 2, type(8, 2)).isequal(b));
    EXPECT_EQ(a.ge(b).realAt(1), 1);
  }
}

TEST_F(BitsAndComparison, ExtremesKeepTheFirstOfEquals) {
  for (int trial = 0; trial < 400; ++trial) {
    const fimath math;
    const NumericType type = random.type(1, trial % 3 == 0 ? 120 : 4);
    const bool isComplex = random.coin();
    const std::vector<unsigned> dims{static_cast<unsigned>(random.integer(1, 4)),
                                     static_cast<unsigned>(random.integer(1, 4)), 2},
        one{1, 1};
    const fi a = random.array(random.integer(0, 3) ? dims : one, type, math, isComplex);
    const fi b = random.array(random.integer(0, 3) ? dims : one, type, math, isComplex && random.coin());
    const auto key = [&](const Complex& x) { return isComplex ? mpq_class(x.re * x.re + x.im * x.im) : x.re; };
    SCOPED_TRACE(type.tostring());
    onAllPaths([&](bool) {
      const fi least = a.min(b), most = a.max(b);
      for (unsigned k = 0; k < least.numel(); ++k) {
        const Complex x = elementOf(a, k), y = elementOf(b, k);
        const Complex low = key(y) < key(x) ? y : x, high = key(y) > key(x) ? y : x;
        ASSERT_EQ(reference::valueOf(least, k), low.re);
        ASSERT_EQ(reference::imagOf(least, k), low.im);
        ASSERT_EQ(reference::valueOf(most, k), high.re);
        ASSERT_EQ(reference::imagOf(most, k), high.im);
      }
      unsigned index = 0;
      HostArray place;
      const fi first = a.unary_min(index, place);
      unsigned expected = 0;
      for (unsigned k = 1; k < a.numel(); ++k) {
        if (key(elementOf(a, k)) < key(elementOf(a, expected))) expected = k;
      }
      ASSERT_EQ(index, expected);
      ASSERT_EQ(place.realAt(0), expected + 1);
      ASSERT_EQ(reference::valueOf(first, 0), elementOf(a, expected).re);
      for (unsigned dimension = 1; dimension <= a.numDims(); ++dimension) {
        const fi along = a.maxAlong(dimension, place);
        const unsigned length = a.dims()[dimension - 1];
        unsigned stride = 1;
        for (unsigned d = 1; d < dimension; ++d) stride *= a.dims()[d - 1];
        for (unsigned k = 0; k < along.numel(); ++k) {
          const unsigned start = k % stride + k / stride * stride * length;
          unsigned best = 0;
          for (unsigned i = 1; i < length; ++i) {
            if (key(elementOf(a, start + i * stride)) > key(elementOf(a, start + best * stride))) best = i;
          }
          ASSERT_EQ(place.realAt(k), best + 1);
          ASSERT_EQ(reference::valueOf(along, k), elementOf(a, start + best * stride).re);
        }
      }
    });
    if (HasFailure()) return;
  }
}

TEST_F(BitsAndComparison, SumsAlongAnyDimensionEqualThoseAlongTheFirst) {
  for (int trial = 0; trial < 200; ++trial) {
    fimath math(random.roundMode(), random.overflowMode());
    math.setSumMode(static_cast<ArithmeticModeEnum>(random.integer(0, 3)));
    math.setSumWordLength(random.integer(1, 40));
    math.setMaxSumWordLength(2000);
    math.setCastBeforeSum(random.coin());
    const fi a = random.array({3, trial % 20 == 0 ? 1100U : 4U}, random.type(1, trial % 3 == 0 ? 100 : 20),
                              math, random.coin());
    onAllPaths([&](bool isLogging) {
      const fi along = a.sumAlong(2), expected = a.transpose().leadingdimension_sum();
      ASSERT_TRUE(along.transpose().isequal(expected)) << a.getNumericType().tostring() << math.toString();
      EXPECT_EQ(along.getNumericType().qpointstr(), expected.getNumericType().qpointstr());
      if (!isLogging) return;
      EXPECT_EQ(along.getNoverflows(), expected.getNoverflows());
      EXPECT_EQ(along.getNoperations(), expected.getNoperations());
    });
    if (HasFailure()) return;
  }
}

TEST_F(BitsAndComparison, BitOperationsWorkOnTwosComplementPatterns) {
  for (int trial = 0; trial < 500; ++trial) {
    const fimath math(random.roundMode(), random.overflowMode());
    const NumericType type = random.type(1, trial % 3 == 0 ? 150 : 52);
    const reference::Format format{type.isSigned(), type.wordLength(), 0};
    const std::vector<unsigned> dims = shape(3), one{1, 1};
    const fi a = random.array(random.integer(0, 3) ? dims : one, type, math, random.integer(0, 3) == 0);
    const fi b = random.array(random.integer(0, 3) ? dims : one, type, math, random.integer(0, 3) == 0);
    const auto patternOf = [&](const mpq_class& held) {
      return format.pattern(reference::storedOf(held, type));
    };
    const auto heldOf = [&](const mpz_class& pattern) {
      return reference::scaled(mpq_class(format.stored(format.pattern(pattern))), -type.fractionLength());
    };
    SCOPED_TRACE(type.tostring());
    onAllPaths([&](bool) {
      const fi both = a.fibitand(b), either = a.fibitor(b), one_ = a.bitxor(b), complement = a.bitcmp();
      for (unsigned k = 0; k < both.numel(); ++k) {
        const Complex x = elementOf(a, k), y = elementOf(b, k);
        const mpz_class p = patternOf(x.re), q = patternOf(y.re), pi = patternOf(x.im), qi = patternOf(y.im);
        ASSERT_EQ(reference::valueOf(both, k), heldOf(p & q));
        ASSERT_EQ(reference::valueOf(either, k), heldOf(p | q));
        ASSERT_EQ(reference::valueOf(one_, k), heldOf(p ^ q));
        ASSERT_EQ(reference::imagOf(both, k), heldOf(pi & qi));
        ASSERT_EQ(reference::imagOf(one_, k), heldOf(pi ^ qi));
      }
      const int bit = random.integer(1, type.wordLength());
      const HostArray position = row({static_cast<double>(bit)});
      const fi integers = a.stripscaling();
      const NumericType other(!type.isSigned(), type.wordLength(), 3);
      const fi cast = a.reinterpretcast(other);
      for (unsigned k = 0; k < a.numel(); ++k) {
        const Complex x = elementOf(a, k);
        ASSERT_EQ(reference::valueOf(complement, k), heldOf(~patternOf(x.re)));
        ASSERT_EQ(reference::valueOf(integers, k), mpq_class(reference::storedOf(x.re, type)));
        const reference::Format otherFormat{other.isSigned(), other.wordLength(), 0};
        ASSERT_EQ(reference::valueOf(cast, k),
                  reference::scaled(mpq_class(otherFormat.stored(patternOf(x.re))), -3));
      }
      if (a.iscomplex()) return;
      const fi set = a.bitset(position), cleared = a.bitset(position, row({0})), got = a.bitget(position);
      const mpz_class mask = reference::pow2(bit - 1);
      for (unsigned k = 0; k < a.numel(); ++k) {
        const mpz_class p = patternOf(elementOf(a, k).re);
        ASSERT_EQ(reference::valueOf(set, k), heldOf(p | mask));
        ASSERT_EQ(reference::valueOf(cleared, k), heldOf(p & ~mask));
        ASSERT_EQ(reference::valueOf(got, k), mpz_tstbit(p.get_mpz_t(), static_cast<unsigned>(bit - 1)));
      }
      EXPECT_EQ(got.getNumericType().qpointstr(), "u1,0");
    });
    EXPECT_EQ(reference::valueOf(a.intmin(), 0), mpq_class(format.least()));
    EXPECT_EQ(reference::valueOf(a.intmax(), 0),
              mpq_class(format.least() + reference::pow2(type.wordLength()) - 1));
    if (HasFailure()) return;
  }
}

TEST_F(BitsAndComparison, ShiftsRoundDownAndPowersOfTwoAsTheSettingsSay) {
  for (int trial = 0; trial < 500; ++trial) {
    const fimath math(random.roundMode(), random.overflowMode());
    const NumericType type = random.type(1, trial % 3 == 0 ? 150 : 52);
    const fi a = random.array({2, 3}, type, math, random.integer(0, 3) == 0);
    const int shift = random.integer(0, 9) == 0 ? (random.coin() ? 100000 : -100000)
                                                : random.integer(-type.wordLength() - 3, type.wordLength() + 3);
    const int effective = std::clamp(shift, -400, 400);
    onAllPaths([&](bool isLogging) {
      fimath floors(math);
      floors.setRoundMode(RoundModeEnum::floor);
      reference::Meter shifts(floors), powers(math);
      const fi shifted = a.bitshift(shift), scaled = a.pow2(shift);
      for (unsigned k = 0; k < a.numel(); ++k) {
        const Complex x = elementOf(a, k);
        const mpq_class re = reference::scaled(x.re, effective), im = reference::scaled(x.im, effective);
        ASSERT_EQ(reference::valueOf(shifted, k), shifts(re, type))
            << x.re << " shifted by " << shift << " in " << type.tostring();
        ASSERT_EQ(reference::valueOf(scaled, k), powers(re, type))
            << x.re << " shifted by " << shift << " in " << type.tostring();
        if (a.isreal()) continue;
        ASSERT_EQ(reference::imagOf(shifted, k), shifts(im, type));
        ASSERT_EQ(reference::imagOf(scaled, k), powers(im, type));
      }
      if (!isLogging) return;
      shifts.expectRecordOf(shifted);
      powers.expectRecordOf(scaled);
    });
    if (HasFailure()) return;
    const fi moved = a.pow2(3, true);
    EXPECT_EQ(reference::valueOf(moved, 0), 8 * reference::valueOf(a, 0));
    EXPECT_EQ(moved.getNumericType().fractionLength(), type.fractionLength() - 3);
  }
}

TEST_F(BitsAndComparison, NegatesRealWorldValuesOfSlopeBiasArrays) {
  for (int trial = 0; trial < 200; ++trial) {
    const fimath math(random.roundMode(), OverflowModeEnum::saturate);
    const NumericType type = anyScaling(30);
    const fi a = random.array({2, 2}, type, math, false);
    const fi negated = a.uminus(), magnitude = a.abs();
    reference::Meter n(math), m(math);
    for (unsigned k = 0; k < 4; ++k) {
      const mpq_class value = realWorld(reference::valueOf(a, k), type);
      ASSERT_EQ(reference::valueOf(negated, k), n(heldOf(-value, type), type))
          << type.tostring() << math.toString();
      ASSERT_EQ(reference::valueOf(magnitude, k), m(heldOf(abs(value), type), type))
          << type.tostring() << math.toString();
    }
  }
}

TEST_F(BitsAndComparison, BitsAndExtremesOfOneElementAndOfNone) {
  const NumericType s8(true, 8, 0);
  const fi one(1.0, s8);
  const fi expanded = one.bitset(row({1, 2, 3}), row({1, 1, 0}));
  EXPECT_EQ(reference::contents(expanded), "1x3x 1 3 1");
  const fi second(2.0, s8);
  const HostArray place2 = row({2}), set = row({1});
  for (const fi& both : {one.bitset(second), one.bitset(second, one), one.bitset(second, set),
                         one.bitset(place2, one), one.bitset(place2, set)})
    EXPECT_EQ(both.realWorldReal(), 3);
  unsigned index = 7;
  HostArray place;
  EXPECT_TRUE(fi().unary_max(index, place).isempty());
  EXPECT_TRUE(place.isEmpty());
}

}  // namespace
}  // namespace embedded
