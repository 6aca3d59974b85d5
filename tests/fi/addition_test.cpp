/// Sums and differences against exact rationals, on the element path and on the array path, with counts and
/// extremes.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tessel/messages.h"
#include "tests/fi/reference.h"

namespace embedded {
namespace {

using reference::Counts;
using reference::Random;

fimath sumSettings(Random& random, int maxWordLength) {
  fimath math(random.roundMode(), random.overflowMode());
  math.setSumMode(static_cast<ArithmeticModeEnum>(random.integer(0, 3)));
  math.setSumWordLength(random.integer(1, maxWordLength));
  math.setSumFractionLength(random.integer(-4, maxWordLength));
  math.setMaxSumWordLength(2000);
  math.setCastBeforeSum(random.coin());
  return math;
}

/// What a sum met, to compare one path with another and with the reference.
struct Record {
  Counts counts;
  mpq_class low = 0, high = 0;
  std::size_t values = 0;

  void take(const mpq_class& value) {
    low = values == 0 || value < low ? value : low;
    high = values == 0 || value > high ? value : high;
    ++values;
  }
};

mpq_class expectedSum(const mpq_class& a, const mpq_class& b, const NumericType& type, const fimath& math,
                      bool subtract, Record& record) {
  const auto quantized = [&](const mpq_class& value) {
    mpq_class result = reference::quantized(value, type, math.roundMode(), math.overflowMode(), &record.counts);
    record.take(result);
    return result;
  };
  const mpq_class left = math.castBeforeSum() ? quantized(a) : a;
  const mpq_class right = math.castBeforeSum() ? quantized(b) : b;
  return quantized(subtract ? mpq_class(left - right) : mpq_class(left + right));
}

void compareWithReference(const fi& result, const fi& a, const fi& b, bool subtract) {
  const NumericType& type = result.getNumericType();
  const fimath& math = a.getFimath();
  Record record;
  for (unsigned k = 0; k < result.numel(); ++k) {
    const unsigned i = a.isscalar() ? 0 : k, j = b.isscalar() ? 0 : k;
    ASSERT_EQ(reference::valueOf(result, k),
              expectedSum(reference::valueOf(a, i), reference::valueOf(b, j), type, math, subtract, record))
        << "element " << k << ": " << reference::valueOf(a, i) << " and " << reference::valueOf(b, j);
    if (result.isreal()) continue;
    ASSERT_EQ(reference::imagOf(result, k),
              expectedSum(reference::imagOf(a, i), reference::imagOf(b, j), type, math, subtract, record))
        << "imaginary part of element " << k;
  }
  EXPECT_EQ(result.getNoverflows(), record.counts.overflows);
  EXPECT_EQ(result.getNunderflows(), record.counts.underflows);
  EXPECT_EQ(result.getNmathoperations(), result.numel());
  if (record.values == 0) return;
  EXPECT_EQ(result.getNoperations(), record.values);
  EXPECT_EQ(reference::valueOf(result.getQlogger().minlog()), record.low);
  EXPECT_EQ(reference::valueOf(result.getQlogger().maxlog()), record.high);
}

class Addition : public ::testing::Test {
 protected:
  void SetUp() override {
    tessel::setWarningEnabled("all", false);
    qlogger::setLogging(true);
  }
  void TearDown() override {
    qlogger::setLogging(false);
    fi::setElementPathOnly(false);
    tessel::setWarningEnabled("all", true);
  }

  void compareRandomSums(int trials, int maxWordLength) {
    for (int trial = 0; trial < trials; ++trial) {
      const fimath math = sumSettings(random, maxWordLength);
      const unsigned rows = static_cast<unsigned>(random.integer(0, 4)),
                     cols = static_cast<unsigned>(random.integer(1, 5));
      const bool aScalar = random.integer(0, 4) == 0, bScalar = random.integer(0, 4) == 0;
      const std::vector<unsigned> shape{rows, cols}, one{1, 1};
      const fi a =
          random.array(aScalar ? one : shape, random.type(1, maxWordLength), math, random.integer(0, 3) == 0);
      const fi b =
          random.array(bScalar ? one : shape, random.type(1, maxWordLength), math, random.integer(0, 3) == 0);
      SCOPED_TRACE(a.getNumericType().tostring() + " and " + b.getNumericType().tostring() + " " +
                   math.toString());
      for (const bool elementPath : {false, true}) {
        fi::setElementPathOnly(elementPath);
        qlogger::setLogging(true);
        const fi sum = a.plus(b), difference = a.minus(b);
        compareWithReference(sum, a, b, false);
        compareWithReference(difference, a, b, true);
        if (HasFatalFailure()) return;
        qlogger::setLogging(false);
        const fi quiet = a.plus(b);
        for (unsigned k = 0; k < sum.numel(); ++k) {
          ASSERT_EQ(reference::valueOf(quiet, k), reference::valueOf(sum, k)) << "with logging off";
        }
      }
    }
  }

  Random random;
};

TEST_F(Addition, OfDoubleBackedWordsIsExact) { compareRandomSums(1500, 24); }

TEST_F(Addition, OfWordsAroundTheThresholdIsExact) { compareRandomSums(400, 60); }

TEST_F(Addition, OfWideWordsIsExact) { compareRandomSums(200, 300); }

TEST_F(Addition, InPlaceKeepsTheTypeAndRoundsTheExactSumOnce) {
  for (int trial = 0; trial < 300; ++trial) {
    const fimath math = sumSettings(random, 60);
    const std::vector<unsigned> shape{3, 2};
    const fi b =
        random.array(random.coin() ? shape : std::vector<unsigned>{1, 1}, random.type(1, 60), math, false);
    fi a = random.array(shape, random.type(1, 60), math, false);
    const fi before(a);
    a += b;
    ASSERT_TRUE(a.getNumericType() == before.getNumericType());
    for (unsigned k = 0; k < a.numel(); ++k) {
      Record record;
      const mpq_class x = reference::valueOf(before, k), y = reference::valueOf(b, b.isscalar() ? 0 : k);
      ASSERT_EQ(reference::valueOf(a, k), expectedSum(x, y, a.getNumericType(), math, false, record))
          << x << " += " << y << " " << a.getNumericType().tostring() << b.getNumericType().tostring();
    }
  }
}

TEST_F(Addition, SumsColumnsFromTheFirstElementToTheLast) {
  for (int trial = 0; trial < 200; ++trial) {
    const fimath math = sumSettings(random, 40);
    const fi a =
        random.array({static_cast<unsigned>(random.integer(1, 6)), 3}, random.type(1, 40), math, random.coin());
    const fi sum = a.leadingdimension_sum();
    Record record;
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

TEST_F(Addition, OfSlopeBiasValuesApproachesTheRealWorldSum) {
  using EmbeddedTypeSystem::DataTypeEnum;
  using EmbeddedTypeSystem::ScalingEnum;
  for (int trial = 0; trial < 500; ++trial) {
    const auto slopeBias = [&](int wordLength) {
      return NumericType(DataTypeEnum::Fixed, ScalingEnum::SlopeBias, true, wordLength,
                         1 + random.integer(0, 7) / 8.0, -random.integer(4, 10), random.integer(-8, 8) / 4.0);
    };
    fimath math(RoundModeEnum::nearest, OverflowModeEnum::saturate);
    math.setSumMode(ArithmeticModeEnum::SpecifyPrecision);
    math.setSumWordLength(40);
    math.setSumFixedExponent(-20);
    math.setSumSlopeAdjustmentFactor(1.25);
    math.setSumBias(random.integer(-8, 8) / 4.0);
    const NumericType ta = slopeBias(20), tb = slopeBias(24);
    const double x = random.integer(-100, 100) / 16.0, y = random.integer(-100, 100) / 16.0;
    const fi a(x, ta, math), b(y, tb, math);
    // Three roundings of the register, and factors that are rounded to the operands' words.
    const double steps = 3 * std::ldexp(1.0, -20) + 32 * std::ldexp(1.0, -19);
    EXPECT_NEAR(a.plus(b).realWorldReal(), a.realWorldReal() + b.realWorldReal(), steps)
        << ta.tostring() << tb.tostring();
    EXPECT_NEAR(a.minus(b).realWorldReal(), a.realWorldReal() - b.realWorldReal(), steps)
        << ta.tostring() << tb.tostring();
  }
}

TEST_F(Addition, RefusesBeforeAnythingIsComputed) {
  using EmbeddedTypeSystem::DataTypeEnum;
  using EmbeddedTypeSystem::ScalingEnum;
  const auto ofDataType = [](DataTypeEnum dataType) {
    NumericType type;
    type.setDataType(dataType);
    return type;
  };
  fimath specify;
  specify.setSumMode(ArithmeticModeEnum::SpecifyPrecision);
  fimath noCast(specify), keepLsb, tight, floors;
  noCast.setCastBeforeSum(false);
  keepLsb.setSumMode(ArithmeticModeEnum::KeepLSB);
  tight.setMaxSumWordLength(16);
  floors.setRoundMode(RoundModeEnum::floor);
  const NumericType slopeBias(DataTypeEnum::Fixed, ScalingEnum::SlopeBias, true, 16, 1.5, -8, 0.0);
  const NumericType scaled(DataTypeEnum::ScaledDouble, ScalingEnum::SlopeBias, true, 16, 1.5, -8, 0.0);
  const unsigned pair[] = {1, 2};
  const fi s16(1.0, NumericType());
  struct Case {
    fi a, b;
    const char* identifier;
    std::string text;
  };
  const Case cases[] = {
      {fi(1.0, ofDataType(DataTypeEnum::Boolean)), s16, "numforge:fi:nobooleanmath",
       "Math operations are not allowed on FI objects with boolean data type."},
      {fi(1.0, ofDataType(DataTypeEnum::Double)), s16, "numforge:fi:mixedmath",
       "Math operations are not allowed on FI objects with different data types."},
      {fi(1.0, NumericType(), floors), s16, "numforge:fi:fimathmismatch",
       "FIMATH of both operands must be equal."},
      {fi(1.0, slopeBias), fi(1.0, slopeBias), "numforge:fi:mathmodeslopebiasnotdefined",
       "Math is not supported for slope-bias FIs when the SumMode is FullPrecision."},
      {fi(1.0, NumericType(), keepLsb), fi(1.0, slopeBias, keepLsb), "numforge:fi:mathmodeslopebiasnotdefined",
       "Math is not supported for slope-bias FIs when the SumMode is KeepLSB."},
      {fi(1.0, scaled, specify), fi(1.0, scaled, specify), "numforge:fi:scaleddoubleslopebiasmathnotdefined",
       "Math is not supported for slope-bias FIs when DataTypeMode is 'Scaled double: slope and bias scaling'"},
      {fi(1.0, 2.0, pair, 2, slopeBias, specify), fi(1.0, slopeBias, specify),
       "numforge:fi:complexslopebiasnotdefined",
       "Function 'plus' is not defined for complex-value FI objects with slope and bias scaling."},
      {fi(1.0, slopeBias, noCast), fi(1.0, slopeBias, noCast),
       "numforge:fi:castbeforesumfalseslopebiasnotdefined",
       "Function 'plus' is not defined for FI objects with slope and bias scaling when CastBeforeSum is "
       "false."},
      {fi(1.0, NumericType(), tight), fi(1.0, NumericType(), tight), "numforge:fi:MaxSumWordLengthExceeded",
       "MaxSumWordLength is 16 bits and a minimum word length of 17 bits is necessary to guarantee that this "
       "sum or "
       "difference can be computed with no loss of precision.  Increase MaxSumWordLength if you want the sum "
       "to grow "
       "to a larger word length."},
      {fi(2U, 2U, NumericType()), fi(2U, 3U, NumericType()), "numforge:fi:dimagree",
       "Matrix dimensions must agree."},
  };
  for (const Case& c : cases) {
    try {
      c.a.plus(c.b);
      ADD_FAILURE() << c.identifier;
    } catch (const ErrorIdException& error) {
      EXPECT_EQ(error.identifier(), c.identifier);
      EXPECT_EQ(error.text(), c.text);
    }
  }
}

TEST_F(Addition, WarnsOfWhatIsNewOnceAndFillsTheTotals) {
  tessel::setWarningEnabled("all", true);
  fimath math;
  math.setSumMode(ArithmeticModeEnum::KeepLSB);
  math.setSumWordLength(8);
  const fi a(127.0, true, 8, 0, math), b(1.0, true, 8, 0, math);
  qlogger::global(OperationTypeEnum::Sum)->reset();
  tessel::lastWarning() = {};
  const fi sum = a.plus(b);
  EXPECT_EQ(tessel::lastWarning().identifier, "fi:overflow");
  EXPECT_EQ(tessel::lastWarning().text, "1 overflow occurred in the fi plus operation.");
  EXPECT_EQ(qlogger::global(OperationTypeEnum::Sum)->noverflows(), 1U);
  tessel::lastWarning() = {};
  a.minus(b);
  EXPECT_EQ(tessel::lastWarning().identifier, "");
}

}  // namespace
}  // namespace embedded
