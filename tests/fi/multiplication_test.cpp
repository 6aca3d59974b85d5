/// Products against exact rationals, on the element path and on the array path, with counts and extremes.
#include <ctime>
#include <functional>

#include "qfcore/fi/scratch.h"
#include "qfcore/logging/filog.h"
#include "qfcore/math/parallel.h"
#include "tessel/runtime/interruption.h"
#include "tests/fi/arrays.h"
#include "tests/fi/meter.h"

namespace embedded {
namespace {

using reference::Complex;
using reference::elementOf;
using reference::Meter;
using reference::realWorld;

class Multiplication : public reference::ArithmeticTest {
 protected:
  fimath settings(int maxWordLength) {
    fimath math(random.roundMode(), random.overflowMode());
    math.setMaxProductWordLength(65535);
    math.setMaxSumWordLength(65535);
    if (random.integer(0, 5) == 0) return math;
    math.setProductMode(static_cast<ArithmeticModeEnum>(random.integer(0, 3)));
    math.setProductWordLength(random.integer(1, maxWordLength));
    math.setProductFractionLength(random.integer(-4, 2 * maxWordLength));
    math.setSumMode(static_cast<ArithmeticModeEnum>(random.integer(0, 3)));
    math.setSumWordLength(random.integer(1, maxWordLength));
    math.setSumFractionLength(random.integer(-4, maxWordLength));
    math.setCastBeforeSum(random.coin());
    return math;
  }

  /// A product as the registers form it.
  struct Registers {
    Registers(const fimath& math, const NumericType& productType, const NumericType& sumType)
        : product(productType),
          sum(sumType),
          cast(math.castBeforeSum()),
          meter(math),
          sumsInDoubles(sumPrecision(product, product, sum, cast) <= kMaxDoublePrecision) {}

    Complex times(const Complex& a, const Complex& b, bool aComplex, bool bComplex, bool inDoubles) {
      const auto p = [&](const mpq_class& x, const mpq_class& y) { return meter(x * y, product); };
      if (!aComplex || !bComplex) {
        Complex result{p(a.re, b.re), 0};
        if (aComplex) result.im = p(a.im, b.re);
        if (bComplex) result.im = p(a.re, b.im);
        return result;
      }
      const auto s = [&](const mpq_class& x) { return meter(x, sum, inDoubles); };
      const auto c = [&](const mpq_class& x) { return cast ? meter(x, sum, inDoubles) : x; };
      const mpq_class t1 = c(p(a.re, b.re)), t2 = c(p(a.im, b.im)), t3 = c(p(a.im, b.re)),
                      t4 = c(p(a.re, b.im));
      return {s(t1 - t2), s(t3 + t4)};
    }

    NumericType product, sum;
    bool cast;
    Meter meter;
    bool sumsInDoubles;
  };

  void compareTimes(const fi& a, const fi& b) {
    const bool ac = a.iscomplex(), bc = b.iscomplex();
    onAllPaths([&](bool isLogging) {
      const fi result = a.times(b);
      const NumericType product = a.getProductTypeForMpyOp(b);
      Registers registers(a.getFimath(), product, result.getNumericType());
      // The register rounds sums in doubles where everything that it meets fits there.
      const bool inDoubles =
          registers.sumsInDoubles && productPrecision(a, b, product, registers.sum) <= kMaxDoublePrecision;
      for (unsigned k = 0; k < result.numel(); ++k) {
        const Complex expected = registers.times(elementOf(a, k), elementOf(b, k), ac, bc, inDoubles);
        ASSERT_EQ(reference::valueOf(result, k), expected.re) << "element " << k;
        if (ac || bc) {
          ASSERT_EQ(reference::imagOf(result, k), expected.im) << "element " << k;
        }
      }
      if (isLogging) registers.meter.expectRecordOf(result);
      EXPECT_EQ(result.getNmathoperations(), isLogging ? result.numel() : 0);
    });
  }

  void compareMtimes(const fi& a, const fi& b) {
    const bool ac = a.iscomplex(), bc = b.iscomplex();
    onAllPaths([&](bool isLogging) {
      const fi result = a.mtimes(b);
      const NumericType product = a.getProductTypeForMpyOp(b);
      Registers registers(a.getFimath(), product, result.getNumericType());
      Meter& meter = registers.meter;
      const auto accumulate = [&](mpq_class& sum, const mpq_class& term) {
        const mpq_class t = registers.cast ? meter(term, registers.sum) : term;
        sum = meter(sum + t, registers.sum);
      };
      for (unsigned j = 0; j < b.cols(); ++j) {
        for (unsigned i = 0; i < a.rows(); ++i) {
          Complex sum{0, 0};
          for (unsigned k = 0; k < a.cols(); ++k) {
            const Complex term =
                registers.times(elementOf(a, k * a.rows() + i), elementOf(b, j * b.rows() + k), ac, bc, false);
            accumulate(sum.re, term.re);
            if (ac || bc) accumulate(sum.im, term.im);
          }
          ASSERT_EQ(reference::valueOf(result, j * a.rows() + i), sum.re) << "element " << i << "," << j;
          ASSERT_EQ(reference::imagOf(result, j * a.rows() + i), sum.im) << "element " << i << "," << j;
        }
      }
      if (isLogging) meter.expectRecordOf(result);
    });
  }

  /// First elements whose product lies on, or one unit of its last place beside, a step of its type or half of
  /// one.
  void multiplyBesideAStep(fi& a, fi& b) {
    const NumericType &ta = a.getNumericType(), &tb = b.getNumericType();
    const int cut = ta.fractionLength() + tb.fractionLength() - a.getProductTypeForMpyOp(b).fractionLength();
    if (a.isempty() || b.isempty() || cut < 1 || cut > tb.wordLength() - tb.isSigned()) return;
    const mpz_class left = 2 * random.bits(std::max(ta.wordLength() - ta.isSigned() - 1, 0)) + 1;
    const mpz_class modulus = reference::pow2(cut), target = random.coin() ? mpz_class(modulus / 2) : modulus;
    mpz_class right, inverse;
    mpz_invert(inverse.get_mpz_t(), left.get_mpz_t(), modulus.get_mpz_t());
    right = (target + random.integer(-1, 1)) * inverse;
    mpz_fdiv_r(right.get_mpz_t(), right.get_mpz_t(), modulus.get_mpz_t());
    if (left >= reference::pow2(ta.wordLength() - ta.isSigned())) return;
    reference::put(a.realPart()[0], reference::scaled(mpq_class(left), -ta.fractionLength()));
    reference::put(b.realPart()[0], reference::scaled(mpq_class(right), -tb.fractionLength()));
  }

  void compareRandom(int trials, int maxWordLength, bool matrices) {
    for (int trial = 0; trial < trials; ++trial) {
      const fimath math = settings(maxWordLength);
      const std::vector<unsigned> dims = shape(4);
      const unsigned columns = static_cast<unsigned>(random.integer(2, 5));
      fi a = matrices ? random.array({columns, dims[1]}, random.type(1, maxWordLength), math, random.coin())
                      : operand(dims, maxWordLength, math);
      fi b = matrices ? random.array({dims[1], columns}, random.type(1, maxWordLength), math, random.coin())
                      : operand(dims, maxWordLength, math);
      multiplyBesideAStep(a, b);
      SCOPED_TRACE(a.getNumericType().tostring() + " and " + b.getNumericType().tostring() + " " +
                   math.toString() + " trial " + std::to_string(trial));
      matrices ? compareMtimes(a, b) : compareTimes(a, b);
      if (HasFailure()) return;
    }
  }
};

TEST_F(Multiplication, ThatWrapsSeesWhatLiesFarBelowTheStep) {
  struct Row {
    double a, b;
    int wordLength, fractionLength;
  };
  // The products' floating-point errors are negative and tiny beside the range.
  const Row rows[] = {{-827679547, 17592186044419, 44, -24},
                      {-126413941420, 8589934598, 45, -17},
                      {2993052922186809, 1385033483312136, 36, -51}};
  for (const Row& row : rows) {
    for (int mode = 0; mode < 6; ++mode) {
      fimath math(static_cast<RoundModeEnum>(mode), OverflowModeEnum::wrap);
      math.setProductMode(ArithmeticModeEnum::SpecifyPrecision);
      math.setProductWordLength(row.wordLength);
      math.setProductFractionLength(row.fractionLength);
      const NumericType type(true, 52, 0);
      compareTimes(fi(row.a, type, math), fi(row.b, type, math));
    }
  }
}

// Of words that fill a double or a native integer, or miss it by one.
TEST_F(Multiplication, OfComplexWordsAtTheEndsOfIntegersIsRoundedOnce) {
  constexpr int kEnds[] = {51, 52, 53, 63, 64, 65, 126, 127, 128};
  for (int trial = 0; trial < 1500 && !HasFailure(); ++trial) {
    const bool isFull = trial % 4 == 0;
    const int product = isFull ? 25 : kEnds[random.integer(0, 8)],
              left = random.integer(std::max(product - 64, 1), std::min(product - 1, 64)),
              dropped = random.integer(0, 2);
    fimath math(random.roundMode(), random.overflowMode());
    if (!isFull) {
      math.setProductMode(ArithmeticModeEnum::SpecifyPrecision);
      math.setProductFormat(product, 10 - dropped);
      math.setSumMode(ArithmeticModeEnum::SpecifyPrecision);
      math.setSumFormat(kEnds[random.integer(0, 8)], random.integer(4, 12));
      math.setCastBeforeSum(random.coin());
    }
    const bool isSigned = random.integer(0, 2) == 0;
    const auto operand = [&](int w, int f) {
      return random.array({1, random.coin() ? 1U : 3U}, NumericType(isSigned, w, f), math,
                          random.integer(0, 4) > 0);
    };
    const fi a = operand(left, 4), b = operand(product - left, 6);
    if (!a.isscalar() && !b.isscalar() && !a.isSameSize(b)) continue;
    SCOPED_TRACE(a.getNumericType().tostring() + " and " + b.getNumericType().tostring() + " " +
                 math.toString());
    compareTimes(a, b);
  }
}

TEST_F(Multiplication, OfShortWordsIsRoundedOnce) { compareRandom(1000, 20, false); }
TEST_F(Multiplication, OfWordsWhoseProductsNoDoubleHoldsIsRoundedOnce) { compareRandom(3000, 50, false); }
TEST_F(Multiplication, OfWideWordsIsRoundedOnce) { compareRandom(120, 300, false); }
TEST_F(Multiplication, OfMatricesOfShortWordsSumsInOrder) { compareRandom(200, 20, true); }
TEST_F(Multiplication, OfMatricesOfLongerWordsSumsInOrder) { compareRandom(150, 48, true); }
TEST_F(Multiplication, OfMatricesOfWideWordsSumsInOrder) { compareRandom(40, 200, true); }

TEST_F(Multiplication, OfBlocksAndTilesEqualsThatOfElements) {
  const std::pair<std::vector<unsigned>, std::vector<unsigned>> shapes[] = {
      {{1, 2500}, {2500, 1}}, {{2, 1100}, {1100, 3}}, {{1500, 3}, {3, 2}}, {{20, 9}, {9, 70}},
      {{45, 70}, {70, 1}},    {{8, 0}, {0, 5}},       {{1, 4}, {4, 1300}}, {{4, 4}, {4, 4}},
      {{8, 64}, {64, 67}},    {{3, 5}, {5, 130}},     {{7, 64}, {64, 9}},  {{8, 65}, {65, 3}}};
  for (int trial = 0; trial < 48; ++trial) {
    const auto round = static_cast<RoundModeEnum>(trial % 6);
    const auto overflow = static_cast<OverflowModeEnum>(trial / 6 % 2);
    // Sums that hold every product, and short words, of which many products are ties.
    const bool onlyProductsAreRounded = trial >= 12;
    const int longest = onlyProductsAreRounded ? 7 : 30;
    qlogger::setLogging(trial / 12 % 2 == 0);
    for (const auto& [left, right] : shapes) {
      fimath math = settings(longest);
      math.setRoundMode(round);
      math.setOverflowMode(overflow);
      const NumericType ta = random.type(1, longest), tb = random.type(1, longest);
      if (onlyProductsAreRounded) {
        const int dropped = random.integer(0, 4), finer = random.integer(0, 3);
        const int fraction = ta.fractionLength() + tb.fractionLength() - dropped;
        const int word = std::max(ta.wordLength() + tb.wordLength() - dropped + random.integer(-2, 1), 1);
        math.setProductMode(ArithmeticModeEnum::SpecifyPrecision);
        math.setProductFormat(word, fraction);
        math.setSumMode(ArithmeticModeEnum::SpecifyPrecision);
        math.setSumFormat(word + finer + random.integer(0, 2), fraction + finer);
      }
      const fi a = random.array(left, ta, math, random.integer(0, 3) == 0);
      const fi b = random.array(right, tb, math, random.integer(0, 3) == 0);
      const fi c = random.array(left, random.type(1, longest), math, random.coin());
      for (const auto& multiply : {std::function<fi()>([&] { return a.mtimes(b); }),
                                   std::function<fi()>([&] { return a.times(c); })}) {
        setElementPathOnly(true);
        const fi expected = multiply();
        setElementPathOnly(false);
        const fi result = multiply();
        ASSERT_TRUE(result.isequal(expected))
            << a.getNumericType().tostring() << " " << b.getNumericType().tostring() << math.toString();
        EXPECT_EQ(result.getNoverflows(), expected.getNoverflows());
        EXPECT_EQ(result.getNunderflows(), expected.getNunderflows());
        EXPECT_EQ(result.getNoperations(), expected.getNoperations());
        EXPECT_EQ(result.getNmathoperations(), expected.getNmathoperations());
        EXPECT_EQ(reference::valueOf(result.getQlogger().maxlog()),
                  reference::valueOf(expected.getQlogger().maxlog()));
      }
    }
  }
}

TEST_F(Multiplication, ExactMatrixProductsReachTheirBounds) {
  qlogger::setLogging(false);
  for (const bool isSigned : {true, false}) {
    for (const bool isComplex : {true, false}) {
      for (const unsigned inner : {2U, 3U, 4U, 64U}) {
        const unsigned left[] = {2, inner}, right[] = {inner, 2};
        const double least = isSigned ? -8388608.0 : 16777215.0;
        const fi a = isComplex ? fi(least, least, left, 2, NumericType(isSigned, 24, 0))
                               : fi(least, left, 2, NumericType(isSigned, 24, 0));
        const fi b = isComplex ? fi(least, least, right, 2, NumericType(isSigned, 24, 0))
                               : fi(least, right, 2, NumericType(isSigned, 24, 0));
        compareMtimes(a, b);
      }
    }
  }
}

TEST_F(Multiplication, InPlaceKeepsTheTypeAndRoundsTheExactProductOnce) {
  for (int trial = 0; trial < 300; ++trial) {
    fimath math = settings(60);
    const std::vector<unsigned> dims{3, 2};
    const fi b = random.array(random.coin() ? dims : std::vector<unsigned>{1, 1}, random.type(1, 60), math,
                              random.integer(0, 2) == 0);
    fi a = random.array(dims, random.type(1, 60), math, random.integer(0, 2) == 0);
    const fi before(a);
    const bool isOwnSwitch = random.coin();
    qlogger::setLogging(!isOwnSwitch);
    a.setLogging(isOwnSwitch);
    a *= b;
    const NumericType& type = before.getNumericType();
    ASSERT_TRUE(a.getNumericType() == type);
    Registers registers(math, type, type);
    const bool inDoubles =
        registers.sumsInDoubles && productPrecision(before, b, type, type) <= kMaxDoublePrecision;
    for (unsigned k = 0; k < a.numel(); ++k) {
      const Complex expected =
          registers.times(elementOf(before, k), elementOf(b, k), before.iscomplex(), b.iscomplex(), inDoubles);
      ASSERT_EQ(reference::valueOf(a, k), expected.re)
          << type.tostring() << b.getNumericType().tostring() << math.toString();
      ASSERT_EQ(reference::imagOf(a, k), expected.im);
    }
    registers.meter.expectRecordOf(a);
    fi square(before), expected = before, last = before;
    last.setIndex(5), b.setIndex(b.numel() - 1);
    const quantizer own(type, math.roundMode(), math.overflowMode());
    last.timesEquals(b, own, own, productPrecision(before, b, type, type));
    EXPECT_EQ(reference::valueOf(last, 5), reference::valueOf(a, 5));
    EXPECT_EQ(reference::imagOf(last, 5), reference::imagOf(a, 5));
    expected *= before;
    square *= square;
    EXPECT_EQ(reference::contents(square), reference::contents(expected));
  }
}

TEST_F(Multiplication, ElementwiseFormsWorkAtTheCursors) {
  const fimath math;
  const std::vector<unsigned> dims{2, 2};
  const NumericType type(true, 12, 6), product(true, 24, 12), sum(true, 25, 12);
  const fi a = random.array(dims, type, math, true), b = random.array(dims, type, math, true);
  const fi all = a.times(b);
  a.setIndex(3), b.setIndex(3);
  const fi one = a * b;
  EXPECT_EQ(reference::valueOf(one, 0), reference::valueOf(all, 3));
  EXPECT_EQ(reference::imagOf(one, 0), reference::imagOf(all, 3));
  const quantizer products(product, math.roundMode(), math.overflowMode()),
      sums(sum, math.roundMode(), math.overflowMode());
  fi wide(dims.data(), 2, sum, math, false);
  wide.setIndex(1);
  a.setIndex(3);
  wide.realPart() = a.realPart();
  wide.timesEquals(b, products, sums, 60);
  EXPECT_EQ(reference::imagOf(wide, 1), reference::valueOf(a, 3) * reference::imagOf(b, 3));
  wide.realPart()[1] = a.realPart()[3];
  wide.imagPart()[1] = a.imagPart()[3];
  wide.timesEquals(b, products, sums, 60);
  EXPECT_EQ(reference::valueOf(wide, 1), reference::valueOf(all, 3));
  EXPECT_EQ(reference::imagOf(wide, 1), reference::imagOf(all, 3));
  // A missing imaginary part is 0.
  const fi complexes[] = {a, a.getRealFi()}, others[] = {b, b.getRealFi()};
  for (const fi& x : complexes) {
    for (const fi& y : others) {
      const fi expected = x.complex().times(y.complex());
      fi formed(dims.data(), 2, sum, math, x.iscomplex());
      formed.setIndex(2);
      x.setIndex(2);
      y.setIndex(2);
      formed.realPart() = x.realPart();
      if (x.iscomplex()) formed.imagPart() = x.imagPart();
      number left(0.0, 60, false), right(0.0, 60, false);
      formed.complexTimesEquals(y, products, sums, left, right);
      EXPECT_EQ(reference::valueOf(formed, 2), reference::valueOf(expected, 2));
      EXPECT_EQ(reference::imagOf(formed, 2), reference::imagOf(expected, 2));
    }
  }
}

using EmbeddedTypeSystem::DataTypeEnum;
using EmbeddedTypeSystem::ScalingEnum;

TEST_F(Multiplication, OfSlopeBiasValuesIsThatOfRealWorldValuesRoundedOnce) {
  const auto slopeBias = [&](int wordLength) {
    return NumericType(DataTypeEnum::Fixed, ScalingEnum::SlopeBias, random.coin(), wordLength,
                       1 + random.integer(1, 99) / 100.0, -random.integer(-4, 20),
                       random.integer(-800, 800) / 100.0);
  };
  for (int trial = 0; trial < 400; ++trial) {
    fimath math(random.roundMode(), random.overflowMode());
    math.setProductMode(ArithmeticModeEnum::SpecifyPrecision);
    math.setProductWordLength(random.integer(4, 80));
    math.setProductFixedExponent(-random.integer(0, 30));
    if (random.coin()) math.setProductSlopeAdjustmentFactor(1.3);
    if (random.coin()) math.setProductBias(0.1);
    const fi a = random.array({2, 3}, slopeBias(random.integer(2, 60)), math, false);
    const fi b = random.array({2, 3}, random.coin() ? slopeBias(12) : random.type(2, 30), math, false);
    const fi result = a.times(b);
    const NumericType& type = result.getNumericType();
    Meter meter(math);
    for (unsigned k = 0; k < 6; ++k) {
      const mpq_class product = realWorld(reference::valueOf(a, k), a.getNumericType()) *
                                realWorld(reference::valueOf(b, k), b.getNumericType());
      ASSERT_EQ(reference::valueOf(result, k), meter(reference::heldOf(product, type), type))
          << a.getNumericType().tostring() << type.tostring() << math.toString();
    }
    meter.expectRecordOf(result);
    a.initSlopeCorrectionFactorForTimes(b, type);
    a.initParamsForWorstCaseSlopeBiasTimes(b);
    const double held = (reference::valueOf(a, 0).get_d() + a.getAForSlopeBiasTimes()) *
                        (reference::valueOf(b, 0).get_d() + a.getBForSlopeBiasTimes()) * a.getFscForTimes();
    a.setIndex(0);
    b.setIndex(0);
    const double product = a.realWorldReal() * b.realWorldReal() / type.slopeAdjustmentFactor();
    EXPECT_NEAR(held, product, 1e-9 * (1 + std::abs(product)));
    // Of no sums none needs a cast.
    fimath uncast = math;
    uncast.setCastBeforeSum(false);
    uncast.setSumMode(ArithmeticModeEnum::SpecifyPrecision);
    fi left = a;
    left.setFimath(uncast);
    EXPECT_EQ(reference::contents(left.mtimes(fi(3U, 0U, b.getNumericType(), uncast))), "2x0x");
    math.setSumMode(ArithmeticModeEnum::SpecifyPrecision);
  }
}

TEST_F(Multiplication, OfMatricesCanBeInterrupted) {
  qlogger::setLogging(false);
  fimath full, kept;
  full.setMaxProductWordLength(65535);
  full.setMaxSumWordLength(65535);
  kept.setProductMode(ArithmeticModeEnum::KeepMSB);
  kept.setProductWordLength(60);
  kept.setSumMode(ArithmeticModeEnum::KeepMSB);
  kept.setSumWordLength(16);
  struct Case {
    unsigned size;
    NumericType type;
    const fimath& math;
  };
  // Each would take some seconds.
  for (const Case& each :
       {Case{2500, {true, 12, 4}, full}, Case{700, {true, 16, 4}, kept}, Case{300, {true, 70, 60}, full},
        Case{700, {true, 50, 40}, kept}, Case{160, {true, 200, 190}, kept}}) {
    const unsigned dims[] = {each.size, each.size};
    const fi a(0.75, dims, 2, each.type, each.math);
    tessel::requestInterruption();
    const std::clock_t before = std::clock();
    EXPECT_EQ(reference::errorOf([&] { (void)a.mtimes(a); }), "Tessel:interrupted") << each.type.tostring();
    EXPECT_LT(std::clock() - before, CLOCKS_PER_SEC / 2) << each.type.tostring();
    tessel::clearInterruption();
  }
}

TEST_F(Multiplication, OfElementsIsNoneOfTheArrays) {
  fimath math;
  math.setProductMode(ArithmeticModeEnum::KeepLSB);
  math.setProductWordLength(8);
  const fi one(1.0, NumericType(true, 8, 0), math);
  EXPECT_EQ((one * one).getNumericType().wordLength(), 8);
  EXPECT_EQ(one.getlocalfilogs().size(), 1U);
  qlogger::setLogging(false);
  const fi many = random.array({2, 2}, NumericType(true, 8, 0), math, false);
  many.setIndex(3);
  EXPECT_EQ(reference::contents(one * one), reference::contents(one.times(one)));
  EXPECT_EQ(reference::contents(one * many), reference::contents(one.times(many.elementAt(3))));
}

TEST_F(Multiplication, OfMatricesInSeveralStepsIsWhole) {
  qlogger::setLogging(false);
  const struct OneThread {
    unsigned before = threadCount();
    OneThread() { setThreadCount(1); }
    ~OneThread() { setThreadCount(before); }
  } alone;
  // So many that the library is called more than once.
  constexpr unsigned kRows = 700, kColumns = 900;
  const unsigned left[] = {kRows, kRows}, right[] = {kRows, kColumns};
  std::vector<double> a(kRows * kRows), b(kRows * kColumns);
  for (unsigned k = 0; k < a.size(); ++k) a[k] = k % kRows % 7;
  for (unsigned k = 0; k < b.size(); ++k) b[k] = k / kRows % 11;
  const NumericType type(true, 8, 0);
  const fi product = fi(a.data(), left, 2, type).mtimes(fi(b.data(), right, 2, type));
  const tessel::HostArray found = product.getDoubleHostArray();
  for (unsigned k = 0; k < product.numel(); ++k)
    ASSERT_EQ(found.real<double>()[k], kRows * (k % kRows % 7) * (k / kRows % 11)) << k;
  const unsigned longest = 3000000000;
  EXPECT_EQ(reference::contents(fi(0U, longest, type).mtimes(fi(longest, 0U, type))), "0x0x");
}

}  // namespace
}  // namespace embedded
