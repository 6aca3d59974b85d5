/// Sums and differences against exact rationals, on the element path and on the array path, with counts and
/// extremes.
#include "tests/fi/arrays.h"
#include "tests/fi/meter.h"

namespace embedded {
namespace {

using reference::Complex;
using reference::elementOf;
using reference::Meter;

class Addition : public reference::ArithmeticTest {
 protected:
  fimath settings(int maxWordLength) {
    fimath math(random.roundMode(), random.overflowMode());
    math.setSumMode(static_cast<ArithmeticModeEnum>(random.integer(0, 3)));
    math.setSumWordLength(random.integer(1, maxWordLength));
    math.setSumFractionLength(random.integer(-4, maxWordLength));
    math.setMaxSumWordLength(2000);
    math.setCastBeforeSum(random.coin());
    return math;
  }

  /// Which addends are cast to the type of the sum.
  struct Casts {
    bool a, b;
  };
  static mpq_class expectedSum(const mpq_class& a, const mpq_class& b, const NumericType& type,
                               const Casts& cast, bool subtract, Meter& meter) {
    const mpq_class left = cast.a ? meter(a, type) : a, right = cast.b ? meter(b, type) : b;
    return meter(subtract ? mpq_class(left - right) : mpq_class(left + right), type);
  }

  void compare(const fi& a, const fi& b, bool subtract) {
    const bool cast = a.getFimath().castBeforeSum();
    // An imaginary part that does not exist is not cast, and so not recorded.
    const Casts both{cast, cast}, existing{cast && a.iscomplex(), cast && b.iscomplex()};
    onAllPaths([&](bool isLogging) {
      const fi result = subtract ? a.minus(b) : a.plus(b);
      const NumericType& type = result.getNumericType();
      Meter meter(a.getFimath());
      for (unsigned k = 0; k < result.numel(); ++k) {
        const Complex x = elementOf(a, k), y = elementOf(b, k);
        ASSERT_EQ(reference::valueOf(result, k), expectedSum(x.re, y.re, type, both, subtract, meter))
            << "element " << k << ": " << x.re << " and " << y.re;
        if (result.isreal()) continue;
        ASSERT_EQ(reference::imagOf(result, k), expectedSum(x.im, y.im, type, existing, subtract, meter))
            << "imaginary part of element " << k;
      }
      if (isLogging) meter.expectRecordOf(result);
      EXPECT_EQ(result.getNmathoperations(), isLogging ? result.numel() : 0);
    });
  }

  void compareRandomSums(int trials, int maxWordLength) {
    for (int trial = 0; trial < trials && !HasFailure(); ++trial) {
      const fimath math = settings(maxWordLength);
      const std::vector<unsigned> dims = shape(5);
      const fi a = operand(dims, maxWordLength, math), b = operand(dims, maxWordLength, math);
      SCOPED_TRACE(a.getNumericType().tostring() + " and " + b.getNumericType().tostring() + " " +
                   math.toString());
      for (const bool subtract : {false, true}) compare(a, b, subtract);
    }
  }
};

TEST_F(Addition, OfDoubleBackedWordsIsExact) { compareRandomSums(1500, 24); }

TEST_F(Addition, OfWordsAroundTheThresholdIsExact) { compareRandomSums(400, 60); }

TEST_F(Addition, OfWideWordsIsExact) { compareRandomSums(200, 300); }

TEST_F(Addition, InPlaceKeepsTheTypeRoundsTheExactSumOnceAndRecordsIt) {
  qlogger& total = *qlogger::global(OperationTypeEnum::Sum);
  for (int trial = 0; trial < 300; ++trial) {
    const fimath math = settings(60);
    const std::vector<unsigned> shape{3, 2}, one{1, 1};
    const fi b = random.array(random.coin() ? shape : one, random.type(1, 60), math, random.coin());
    fi a = random.array(shape, random.type(1, 60), math, random.coin());
    const fi before(a);
    const bool subtract = random.coin(), isOwnSwitch = random.coin();
    SCOPED_TRACE(a.getNumericType().tostring() + (subtract ? " -= " : " += ") + b.getNumericType().tostring() +
                 math.toString());
    total.reset();
    qlogger::setLogging(!isOwnSwitch);
    a.setLogging(isOwnSwitch);
    subtract ? a -= b : a += b;
    Meter meter(math);
    const NumericType& type = before.getNumericType();
    ASSERT_TRUE(a.getNumericType() == type);
    for (unsigned k = 0; k < a.numel(); ++k) {
      const Complex x = elementOf(before, k), y = elementOf(b, k);
      const bool cast = math.castBeforeSum();
      ASSERT_EQ(reference::valueOf(a, k), expectedSum(x.re, y.re, type, {false, cast}, subtract, meter));
      if (a.isreal()) continue;
      ASSERT_EQ(reference::imagOf(a, k),
                expectedSum(x.im, y.im, type, {false, cast && b.iscomplex()}, subtract, meter));
    }
    meter.expectRecord(a.getQlogger());
    meter.expectRecord(total);
    EXPECT_EQ(a.getNmathoperations(), a.numel());
  }
}

TEST_F(Addition, AtTheCursorsRoundsOnceAndReachesOneElement) {
  for (int trial = 0; trial < 600; ++trial) {
    const fimath math = settings(60);
    const auto operand = [&](int longest) {
      return random.array({2, 2}, random.type(1, longest), math, random.coin());
    };
    const fi a = operand(100), b = operand(100);
    fi target = operand(60);
    const fi before(target);
    const NumericType& type = target.getNumericType();
    const bool isWide = random.coin(), subtract = random.coin();
    fi sumRegister = a.initializeSumRegister(type, math, isWide ? 400 : 0, random.coin());
    qlogger::setLogging(random.coin());
    sumRegister.setLogging(true);
    const unsigned i = static_cast<unsigned>(random.integer(0, 3)), j = 3 - i, k = i ^ 1U;
    a.setIndex(i);
    b.setIndex(j);
    target.setIndex(k);
    number scratch(0.0, 400, false);
    if (isWide) {
      subtract ? target.diffEquals(a, b, sumRegister, scratch) : target.sumEquals(a, b, sumRegister, scratch);
    } else {
      subtract ? target.diffEquals(a, b, sumRegister) : target.sumEquals(a, b, sumRegister);
    }
    SCOPED_TRACE(a.getNumericType().tostring() + b.getNumericType().tostring() + type.tostring());
    const bool isComplex = a.iscomplex() || b.iscomplex();
    ASSERT_FALSE(sumRegister.getQlogger().isreset());
    ASSERT_EQ(target.iscomplex(), isComplex || before.iscomplex());
    Meter meter(math);
    for (unsigned e = 0; e < 4; ++e) {
      const Complex x = elementOf(a, i), y = elementOf(b, j), old = elementOf(before, e);
      const auto sum = [&](const mpq_class& left, const mpq_class& right) {
        const bool cast = math.castBeforeSum();
        return expectedSum(left, right, type, {cast, cast}, subtract, meter);
      };
      ASSERT_EQ(elementOf(target, e).re, e == k ? sum(x.re, y.re) : old.re);
      ASSERT_EQ(elementOf(target, e).im, e == k ? (isComplex ? sum(x.im, y.im) : mpq_class(0)) : old.im);
    }
  }
}

TEST_F(Addition, SumsColumnsFromTheFirstElementToTheLast) {
  for (int trial = 0; trial < 200; ++trial) {
    const fimath math = settings(40);
    const fi a =
        random.array({static_cast<unsigned>(random.integer(1, 6)), 3}, random.type(1, 40), math, random.coin());
    const fi sum = a.leadingdimension_sum();
    for (unsigned column = 0; column < 3; ++column) {
      mpq_class total = 0;
      for (unsigned row = 0; row < a.rows(); ++row) {
        // The accumulator is its own register, so only the term is cast.
        mpq_class term = reference::valueOf(a, column * a.rows() + row);
        const auto quantized = [&](const mpq_class& value) {
          return reference::quantized(value, sum.getNumericType(), math.roundMode(), math.overflowMode());
        };
        if (math.castBeforeSum()) term = quantized(term);
        total = quantized(total + term);
      }
      ASSERT_EQ(reference::valueOf(sum, column), total) << a.getNumericType().tostring() << math.toString();
    }
  }
  EXPECT_EQ(fi(unsigned{0}, 3U, NumericType()).leadingdimension_sum().numel(), 3U);
  EXPECT_EQ(fi().leadingdimension_sum().numel(), 1U);
}

/// `value` to nearest in a type, without wrapping, and kept in a double, as constants are.
mpq_class asConstant(double value, const NumericType& type) {
  const bool inDoubles = fi::precisionOf(type) <= kMaxDoublePrecision;
  return reference::roundedToBits(reference::quantized(mpq_class(value), type, RoundModeEnum::nearest,
                                                       OverflowModeEnum::saturate, nullptr, inDoubles),
                                  53);
}

/// The part that an operand has in a sum: what its held values are multiplied by.
mpq_class factorOf(const NumericType& operand, const NumericType& sum) {
  const double ratio = operand.slopeAdjustmentFactor() / sum.slopeAdjustmentFactor();
  NumericType type(operand.isSigned(), operand.wordLength(), 0);
  type.setBestPrecisionFromMaxAbs(ratio);
  return asConstant(ratio, type);
}

TEST_F(Addition, TypesOfSumsOfProductsGrowByTheTerms) {
  const std::vector<unsigned> dims{5, 3};
  const fi a = random.array(dims, NumericType(true, 10, 3), fimath(), true),
           b = random.array(dims, NumericType(false, 8, 5), fimath(), false);
  const NumericType product(true, 18, 8);
  EXPECT_EQ(a.getSumTypeForMpyOp(b, product), NumericType(true, 19, 8));
  EXPECT_EQ(a.getSumNumericTypeForMatrixMultiply(b, product), NumericType(true, 20, 8));
  EXPECT_EQ(a.getSumNumericTypeForMatrixMultiply(a, product), NumericType(true, 20, 8));
  EXPECT_EQ(a.getNumericTypeForLeadingDimensionSum(), NumericType(true, 13, 3));
  EXPECT_EQ(a.getProductTypeForMpyOp(b), product);
  const fi products = a.initializeProductRegister(fimath(), 60);
  EXPECT_TRUE(products.isscalar() && products.getNumericType() == product);
  EXPECT_EQ(products.realPart().getprecision(), 60U);
}

TEST_F(Addition, OfSlopeBiasValuesIsThatOfScaledTermsAndTheNetBias) {
  using EmbeddedTypeSystem::DataTypeEnum;
  using EmbeddedTypeSystem::ScalingEnum;
  const auto operandType = [&] {
    if (random.integer(0, 2) == 0) return random.type(2, 60);
    return NumericType(DataTypeEnum::Fixed, ScalingEnum::SlopeBias, random.coin(), random.integer(2, 60),
                       1 + random.integer(0, 99) / 100.0, -random.integer(-4, 20),
                       random.integer(-800, 800) / 100.0);
  };
  for (int trial = 0; trial < 400; ++trial) {
    fimath math(random.roundMode(), random.overflowMode());
    math.setSumMode(ArithmeticModeEnum::SpecifyPrecision);
    math.setSumWordLength(random.integer(4, 70));
    math.setSumFixedExponent(-random.integer(0, 30));
    math.setSumSlopeAdjustmentFactor(1.25);
    math.setSumBias(random.integer(-8, 8) / 4.0);
    const std::vector<unsigned> dims{2, 2};
    fi a = random.array(dims, operandType(), math, false);
    for (const double constant :
         {a.getBnetForSlopeBiasPlus(), a.getBnetForSlopeBiasMinus(), a.getBnetForEquals(), a.getFsxForEquals()})
      EXPECT_EQ(constant, 0) << "before any sum";
    // One array added to several types in turn, the last time in another scaling itself.
    for (int second = 0; second < 3; ++second) {
      const fi b = random.array(dims, operandType(), math, false);
      if (second == 2) {
        const NumericType& own = a.getNumericType();
        a.updateAssignmentQuantizer(NumericType(DataTypeEnum::Fixed, ScalingEnum::SlopeBias, own.isSigned(),
                                                own.wordLength(), 1.75, own.fixedExponent(), -0.5));
      }
      const NumericType ta = a.getNumericType(), tb = b.getNumericType();
      for (const bool subtract : {false, true}) {
        const fi sum = subtract ? a.minus(b) : a.plus(b);
        const NumericType& type = sum.getNumericType();
        const double net =
            (ta.bias() + (subtract ? -tb.bias() : tb.bias()) - type.bias()) / type.slopeAdjustmentFactor();
        Meter q(math);
        const auto inDoubles = [](unsigned bits) { return bits <= kMaxDoublePrecision; };
        const unsigned ofSum = fi::precisionOf(type),
                       ofRegister = std::max({ofSum, fi::precisionOf(ta), fi::precisionOf(tb)});
        const auto term = [&](const fi& x, const NumericType& tx, unsigned k) {
          const unsigned own = fi::precisionOf(tx);
          return q(factorOf(tx, type) * reference::valueOf(x, k), type, inDoubles(own + std::max(own, ofSum)));
        };
        for (unsigned k = 0; k < sum.numel(); ++k) {
          const mpq_class right = term(b, tb, k), left = term(a, ta, k);
          const mpq_class both =
              q(subtract ? mpq_class(left - right) : mpq_class(left + right), type, inDoubles(ofRegister));
          const mpq_class bias = q(asConstant(type.isSigned() ? net : std::abs(net), type), type);
          ASSERT_EQ(reference::valueOf(sum, k), q(both + bias, type, inDoubles(ofRegister)))
              << ta.tostring() << tb.tostring() << type.tostring() << math.toString();
          fi sumRegister = a.initializeSumRegister(type, math, 0, false), one(1U, 1U, type, math);
          a.setIndex(k);
          b.setIndex(k);
          subtract ? one.diffEquals(a, b, sumRegister) : one.sumEquals(a, b, sumRegister);
          ASSERT_EQ(reference::valueOf(one, 0), reference::valueOf(sum, k)) << "at the cursors";
        }
        a.initSlopeBiasCorrectionFactorsForPlus(b, sum);
        const double held = subtract ? a.getBnetForSlopeBiasMinus() : a.getBnetForSlopeBiasPlus();
        EXPECT_EQ(mpq_class(held), asConstant(type.isSigned() ? net : std::abs(net), type));
        q.expectRecordOf(sum);
      }
      EXPECT_EQ(a.getFsxForEquals(), 0) << "of sums in place, which there were none of";
      a.initSlopeBiasCorrectionFactorsForEquals(b);
      EXPECT_EQ(mpq_class(a.getFsxForEquals()), factorOf(tb, ta));
      const double net = (ta.bias() + tb.bias() - ta.bias()) / ta.slopeAdjustmentFactor();
      EXPECT_EQ(mpq_class(a.getBnetForEquals()), asConstant(ta.isSigned() ? net : std::abs(net), ta));
    }
  }
}

}  // namespace
}  // namespace embedded
