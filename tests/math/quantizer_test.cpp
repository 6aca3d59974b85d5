/// The quantizer against exact rationals: array kernels, element kernels and kernels by name.
#include "qfcore/math/quantizer.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <vector>

#include "qfcore/math/integerkernels.h"
#include "qfcore/math/widekernels.h"
#include "tests/fi/reference.h"
#include "tests/number/reference.h"
#include "tests/types/outcome.h"

namespace embedded {
namespace {

using reference::Counts;
using reference::Random;

constexpr RoundModeEnum kRoundModes[] = {RoundModeEnum::ceil,  RoundModeEnum::convergent, RoundModeEnum::fix,
                                         RoundModeEnum::floor, RoundModeEnum::nearest,    RoundModeEnum::round};
constexpr OverflowModeEnum kOverflowModes[] = {OverflowModeEnum::saturate, OverflowModeEnum::wrap};

class Logging {
 public:
  Logging() { qlogger::setLogging(true); }
  ~Logging() { qlogger::setLogging(false); }
};

/// Compares one format on `values`: results bit by bit, counts, extremes; by array, and element by element.
void compare(const NumericType& type, RoundModeEnum round, OverflowModeEnum overflow,
             const std::vector<double>& values) {
  SCOPED_TRACE(type.tostring() + " round " + std::to_string(static_cast<int>(round)) + " overflow " +
               std::to_string(static_cast<int>(overflow)));
  const quantizer byArray(type, round, overflow), byElement(type, round, overflow);
  const bool inDoubles = byArray.isDoubleBacked();
  std::vector<double> results = values;
  if (inDoubles) byArray.quantize(results.data(), results.size());
  Counts counts;
  mpq_class low = std::numeric_limits<double>::max(), high = -low;
  for (std::size_t i = 0; i < values.size(); ++i) {
    const mpq_class expected =
        reference::quantized(mpq_class(values[i]), type, round, overflow, &counts, inDoubles);
    number element(values[i], carryingPrecision(type.wordLength(), type.fractionLength()), false);
    byElement.quantize(element);
    ASSERT_EQ(reference::valueOf(element), expected) << "element path, value " << values[i];
    if (inDoubles) {
      ASSERT_EQ(mpq_class(results[i]), expected) << "array path, value " << values[i];
    }
    low = std::min(low, expected);
    high = std::max(high, expected);
  }
  for (const quantizer* q : {&byArray, &byElement}) {
    if (q == &byArray && !inDoubles) continue;
    EXPECT_EQ(q->noverflows(), counts.overflows);
    EXPECT_EQ(q->nunderflows(), counts.underflows);
    EXPECT_EQ(q->logger().noperations(), values.size());
    EXPECT_EQ(reference::valueOf(q->logger().minlog()), low);
    EXPECT_EQ(reference::valueOf(q->logger().maxlog()), high);
  }
}

/// The same for native integers on a grid of eighths of a step.
template <class Carrier>
void compareIntegers(const NumericType& type, RoundModeEnum round, OverflowModeEnum overflow,
                     const std::vector<double>& values) {
  const quantizer q(type, round, overflow);
  const int grid = type.fractionLength() + 3;
  std::vector<Carrier> stored;
  for (const double value : values) stored.push_back(static_cast<Carrier>(std::ldexp(value, grid)));
  IntegerQuantizer<Carrier> quantize(q, grid);
  quantize(stored.data(), stored.data(), stored.size());
  quantize.record();
  Counts counts;
  for (std::size_t i = 0; i < values.size(); ++i) {
    const mpq_class expected = reference::quantized(mpq_class(values[i]), type, round, overflow, &counts);
    const mpq_class found(static_cast<long>(stored[i]));
    ASSERT_EQ(reference::scaled(found, -type.fractionLength()), expected) << type.tostring() << values[i];
  }
  EXPECT_EQ(q.noverflows(), counts.overflows);
  EXPECT_EQ(q.nunderflows(), counts.underflows);
  EXPECT_EQ(q.logger().noperations(), values.size());
}

TEST(Quantizer, IsExactOnEveryEighthOfAStepOfSmallWords) {
  const Logging logging;
  for (const bool isSigned : {true, false}) {
    for (int w = 1; w <= 6; ++w) {
      for (const int f : {0, 3, -2}) {
        std::vector<double> values;
        for (int eighth = -(16 << w); eighth <= (16 << w); ++eighth)
          values.push_back(std::ldexp(eighth / 8.0, -f));
        for (const auto round : kRoundModes) {
          for (const auto overflow : kOverflowModes) {
            const NumericType type(isSigned, w, f);
            compare(type, round, overflow, values);
            compareIntegers<std::int64_t>(type, round, overflow, values);
            compareIntegers<Int128>(type, round, overflow, values);
          }
        }
      }
    }
  }
}

TEST(Quantizer, IsExactOnRandomFormatsAtTiesBoundsAndFarOutside) {
  const Logging logging;
  Random random;
  for (int trial = 0; trial < 3000; ++trial) {
    const NumericType type(random.coin(), random.integer(1, 52), random.integer(-20, 70));
    const int w = type.wordLength(), f = type.fractionLength();
    std::vector<double> values;
    for (int i = random.integer(0, 40); i > 0; --i) {
      double units =
          std::ldexp(static_cast<double>(random.integer(-1 << 20, 1 << 20)), random.integer(-22, w - 18));
      if (random.coin()) units = std::floor(units) + 0.5;
      if (random.integer(0, 3) == 0)
        units = std::ldexp(random.coin() ? 1.0 : -1.0, random.integer(w - 3, w + 1));
      if (random.integer(0, 9) == 0) units = std::ldexp(units, random.integer(0, 900));
      if (random.coin()) units = std::nextafter(units, random.coin() ? 1e308 : -1e308);
      values.push_back(std::ldexp(units, -f));
    }
    compare(type, random.roundMode(), random.overflowMode(), values);
  }
}

/// Both ways to quantize wide words: the values, with their bits, and what is said of them.
TEST(Quantizer, RoundsStoredIntegersAsItRoundsFloats) {
  reference::Generator random;
  int done = 0, trials = 0;
  for (const int longest : {64, 130, 700, 2100}) {
    for (int trial = 0; trial < 4000; ++trial) {
      const reference::Format of = random.format(longest);
      const int bits = random.integer(kMaxDoublePrecision + 1, kMaxDoublePrecision + longest), f = -of.exponent;
      number source(0.0, static_cast<unsigned>(bits), true);
      mpz_class magnitude = random.bits(bits);
      if (random.coin()) magnitude = reference::pow2(random.integer(0, bits)) - random.integer(0, 2);
      // From far below half a step to well beyond the range.
      const int exponent = random.integer(-bits - 2, of.wordLength - bits + 3) - f;
      reference::put(source, reference::scaled(random.coin() ? mpz_class(-magnitude) : magnitude, exponent));
      const WideFormat format = WideFormat::ofFixedPoint(of.isSigned, of.wordLength, f);
      for (const auto round : kRoundModes) {
        const auto overflow = random.coin() ? OverflowModeEnum::saturate : OverflowModeEnum::wrap;
        const WideRounding rounding = WideRounding::of(round);
        number x(source), y(source);
        MpFloat& value = y.multiprecision()->getmodifiableelement();
        const LimbOutcome outcome = quantizeFixedByLimbs(format, rounding, overflow, value, value);
        const WideOutcome expected = quantizeFixedByFloats(format, rounding, overflow, x);
        ++trials;
        if (outcome == LimbOutcome::NotDone) {
          ASSERT_EQ(y, source);
          continue;
        }
        ++done;
        ASSERT_EQ(reference::valueOf(y), reference::valueOf(x))
            << of.isSigned << ' ' << of.wordLength << ' ' << f << " mode " << static_cast<int>(round);
        ASSERT_EQ(outcome == LimbOutcome::Overflow, expected.overflow);
        ASSERT_FALSE(expected.underflow);
        ASSERT_EQ(y.multiprecision()->getprecision(), x.multiprecision()->getprecision());
      }
    }
  }
  EXPECT_GT(done, trials / 3);
}

/// What is not finite, and what scaling takes out of the doubles, on both paths and in words of both kinds.
TEST(Quantizer, IsExactBeyondTheRangeOfDoubles) {
  const Logging logging;
  constexpr double kNan = std::numeric_limits<double>::quiet_NaN(), kInfinity = HUGE_VAL;
  for (const int w : {1, 16, 52, 60}) {
    for (const int f : {700, 15, -1, -100, -900, -1023}) {
      if (f == -1023 && w > 1) continue;  // beyond the doubles
      const NumericType type(w % 8 != 0, w, f);
      for (const auto round : kRoundModes) {
        for (const auto overflow : kOverflowModes) {
          compare(type, round, overflow, {-1e-300, 1e-300, -5e-324, 5e-324, 1.5e308, -1e300, 3e-320, -0.0, 0});
          SCOPED_TRACE(type.tostring());
          const quantizer q(type, round, overflow);
          double values[] = {kNan, kInfinity, -kInfinity, kNan, -0.0};
          for (double& value : values) {
            number x(value, static_cast<unsigned>(w), false);
            const double byElement = q.quantize(x).todouble();
            if (q.isDoubleBacked())
              q.quantize(&value, 1);
            else
              value = byElement;
            EXPECT_TRUE(byElement == value || (std::isnan(byElement) && std::isnan(value))) << value;
          }
          EXPECT_TRUE(std::isnan(values[0]) && std::isnan(values[3]));
          if (overflow == OverflowModeEnum::wrap) {
            EXPECT_TRUE(std::isnan(values[1]) && std::isnan(values[2]));
          } else {
            EXPECT_EQ(values[1], q.max().todouble());
            EXPECT_EQ(values[2], q.min().todouble());
          }
          EXPECT_TRUE(values[4] == 0 && std::signbit(values[4])) << "a zero is left alone";
          EXPECT_EQ(q.noverflows(), q.isDoubleBacked() ? 4U : 2U);
          EXPECT_EQ(q.nunderflows(), 0U);
        }
      }
    }
  }
}

/// The constants belong to the format of now, whatever formats were before; each quantizes in between.
TEST(Quantizer, FollowsItsFormat) {
  Random random;
  quantizer changing;
  for (int trial = 0; trial < 2000; ++trial) {
    const NumericType type = random.type(1, 90);
    const auto round = random.roundMode();
    const auto overflow = random.overflowMode();
    if (random.coin()) {
      changing.set(type, round, overflow);
    } else {
      changing.setMode(type.isSigned() ? QuantizerModeEnum::fixed : QuantizerModeEnum::ufixed);
      if (random.coin()) changing.setFormat(type.wordLength(), type.fractionLength());
      changing.setRoundMode(round);
      changing.setWordlength(type.wordLength());
      changing.setOverflowMode(overflow);
      changing.setFractionlength(type.fractionLength());
    }
    for (const auto update : {&quantizer::updateparameters, &quantizer::updatefixedparameters,
                              &quantizer::updateufixedparameters, &quantizer::updatefloatparameters}) {
      if (random.integer(0, 3) == 0) (changing.*update)();
    }
    ASSERT_EQ(NumericType(changing), type) << type.tostring();
    const int w = type.wordLength(), f = type.fractionLength();
    const mpz_class least = type.isSigned() ? mpz_class(-reference::pow2(w - 1)) : mpz_class(0);
    const std::pair<number, mpz_class> constants[] = {{changing.eps(), 1},
                                                      {changing.min(), least},
                                                      {changing.max(), least + reference::pow2(w) - 1},
                                                      {changing.range(), reference::pow2(w)}};
    for (const auto& [constant, stored] : constants)
      ASSERT_EQ(reference::valueOf(constant), reference::scaled(mpq_class(stored), -f)) << type.tostring();
    const mpq_class value = reference::scaled(mpq_class(random.integer(-4000, 4000)), w - f - 11);
    const mpq_class expected =
        reference::quantized(value, type, round, overflow, nullptr, changing.isDoubleBacked());
    number x(value.get_d(), static_cast<unsigned>(w), false), plain(value.get_d(), 8, false);
    ASSERT_EQ(reference::valueOf(changing.quantize(x)), expected) << type.tostring() << ' ' << value;
    changing.quantizeAll(plain);
    ASSERT_EQ(reference::valueOf(plain), reference::roundedToBits(expected, 53)) << type.tostring() << value;
  }
}

TEST(Quantizer, KeepsTheRoundingOfTheAdditionInDoubles) {
  const double justUnderHalf = 0.49999999999999994, oddFrom52Bits = 4503599627370497.0;
  const auto once = [](RoundModeEnum round, double value) {
    quantizer(NumericType(true, 52, 0), round, OverflowModeEnum::wrap).quantize(&value, 1);
    return value;
  };
  EXPECT_EQ(once(RoundModeEnum::nearest, justUnderHalf), 1);
  EXPECT_EQ(once(RoundModeEnum::round, -justUnderHalf), -1);
  // 2^52 + 1 goes to 2^52 + 2 before it wraps.
  EXPECT_EQ(once(RoundModeEnum::nearest, oddFrom52Bits), 2);
  EXPECT_EQ(once(RoundModeEnum::floor, oddFrom52Bits), 1);
}

/// The floating-point rule in rationals: m bits behind the leading one, none finer than the denormal grid.
double floatReference(double value, int m, int e, RoundModeEnum round) {
  const int bias = e == 0 ? 0 : (1 << (e - 1)) - 1, least = 1 - bias;
  const mpq_class x(value), max = reference::scaled(2 - reference::scaled(1, -m), bias);
  if (x == 0) return value;
  if (abs(x) > max) return value > 0 ? HUGE_VAL : -HUGE_VAL;
  const int bits = m - std::max(std::ilogb(value), least);
  return reference::scaled(mpq_class(reference::rounded(reference::scaled(x, bits), round, true)), -bits)
      .get_d();
}

TEST(Quantizer, NamedKernelsDoWhatTheirNamesSay) {
  const auto run = [](auto kernel, const NumericType& type, double value) {
    const quantizer q(type, RoundModeEnum::floor, OverflowModeEnum::saturate);
    number x(value, 8, false);
    return (q.*kernel)(x).todouble();
  };
  const NumericType s8(true, 8, 0), u8(false, 8, 0);
  EXPECT_EQ(run(&quantizer::QuantizeFixedFloorWrap, s8, 128), -128);
  EXPECT_EQ(run(&quantizer::QuantizeFixedFixWrap, s8, -129), 127);
  EXPECT_EQ(run(&quantizer::QuantizeFixedRoundWrap, s8, 300), 44);
  EXPECT_EQ(run(&quantizer::QuantizeFixedCeilSaturate, s8, 200), 127);
  EXPECT_EQ(run(&quantizer::QuantizeFixedConvergentSaturate, s8, -200), -128);
  EXPECT_EQ(run(&quantizer::QuantizeFixedRoundSaturate, s8, -2.5), -3);
  EXPECT_EQ(run(&quantizer::QuantizeFixedNearestSaturate, s8, -2.5), -2);
  EXPECT_EQ(run(&quantizer::QuantizeUfixedFloorWrap, u8, 256), 0);
  EXPECT_EQ(run(&quantizer::QuantizeUfixedCeilWrap, u8, -1), 255);
  EXPECT_EQ(run(&quantizer::QuantizeUfixedConvergentSaturate, u8, 2.5), 2);
  EXPECT_EQ(run(&quantizer::QuantizeBoolean, s8, -0.25), 1);
  EXPECT_EQ(run(&quantizer::QuantizeSingle, s8, 0.1), static_cast<double>(0.1F));
  EXPECT_EQ(run(&quantizer::QuantizeDouble, s8, 0.1), 0.1);
  EXPECT_EQ(run(&quantizer::QuantizeNone, s8, 300.5), 300.5);
  EXPECT_EQ(run(&quantizer::QuantizeScaledDouble, s8, -300.5), -300.5);
  quantizer half;
  half.setMode(QuantizerModeEnum::floatMode);
  half.setFormat(16, 5);
  for (const auto& [kernel, round] : {std::pair(&quantizer::QuantizeFloatRound, RoundModeEnum::round),
                                      {&quantizer::QuantizeFloatNearest, RoundModeEnum::nearest},
                                      {&quantizer::QuantizeFloatFloor, RoundModeEnum::floor},
                                      {&quantizer::QuantizeFloatCeil, RoundModeEnum::ceil},
                                      {&quantizer::QuantizeFloatFix, RoundModeEnum::fix},
                                      {&quantizer::QuantizeFloatConvergent, RoundModeEnum::convergent}}) {
    for (const double value : {0x1.0020p0, -0x1.0060p0, 0x1.0021p0}) {
      number x(value, 52, false);
      EXPECT_EQ((half.*kernel)(x).todouble(), floatReference(value, 10, 5, round)) << value;
    }
  }
  EXPECT_EQ(half.denormalmin().todouble(), 0x1p-24);
  EXPECT_EQ(half.denormalmax().todouble(), 0x1p-14 - 0x1p-24);
  EXPECT_EQ(quantizer(s8, RoundModeEnum::floor, OverflowModeEnum::wrap).range().todouble(), 256);
}

TEST(Quantizer, DiffersByWhatItsModeUses) {
  const NumericType s8(true, 8, 3);
  const quantizer q(s8, RoundModeEnum::floor, OverflowModeEnum::wrap);
  quantizer wide, other;
  for (quantizer* each : {&wide, &other}) each->setMode(QuantizerModeEnum::floatMode), each->setFormat(16, 5);
  EXPECT_TRUE(wide.isequal(other));
  other.setFormat(16, 6);
  EXPECT_FALSE(wide.isequal(other));
  EXPECT_FALSE(q.isequal(quantizer(s8, RoundModeEnum::ceil, OverflowModeEnum::wrap)));
  EXPECT_FALSE(q.isequal(quantizer(s8, RoundModeEnum::floor, OverflowModeEnum::saturate)));
  EXPECT_FALSE(q.isequal(quantizer(NumericType(true, 8, 4), RoundModeEnum::floor, OverflowModeEnum::wrap)));
}

TEST(Quantizer, RefusesWhatItHasNoFormatFor) {
  using EmbeddedTypeSystem::DataTypeEnum;
  quantizer q;
  const auto expect = [](const char* error, const std::function<void()>& call) {
    EXPECT_EQ(outcomeOf(call).identifier, std::string("numforge:quantizer:") + error);
  };
  for (const double length : {HUGE_VAL, -HUGE_VAL, double(NAN), 1e10, 0.5})
    expect("notinteger", [&] { q.setFractionlength(length); });
  EXPECT_EQ(q.fractionLength(), 15);
  number x(0.3, 8, false);
  double value = 0.3;
  const struct {
    QuantizerModeEnum mode;
    DataTypeEnum dataType;
    bool isSigned, hasPatterns;
  } modes[] = {{QuantizerModeEnum::none, DataTypeEnum::Fixed, true, false},
               {QuantizerModeEnum::ScaledDouble, DataTypeEnum::ScaledDouble, true, false},
               {QuantizerModeEnum::UnsignedScaledDouble, DataTypeEnum::ScaledDouble, false, false},
               {QuantizerModeEnum::singleMode, DataTypeEnum::Single, true, true},
               {QuantizerModeEnum::boolean, DataTypeEnum::Boolean, false, true}};
  for (const auto& row : modes) {
    q.setMode(row.mode);
    EXPECT_EQ(q.numericType().dataType(), row.dataType);
    EXPECT_EQ(q.isSigned(), row.isSigned);
    if (row.hasPatterns) continue;
    expect("num2base:notdefined", [&] { (void)q.num2base(x, 2); });
    expect("base2num:notdefined", [&] { q.base2num(x, "1", 2); });
  }
  q.setMode(QuantizerModeEnum::floatMode);
  q.setFormat(20, 15);
  q.setMode(QuantizerModeEnum::fixed);
  q.setFormat(4, 0);
  q.setMode(QuantizerModeEnum::floatMode);
  q.updateparameters();
  for (const std::function<void()>& use : std::initializer_list<std::function<void()>>{
           [&] { q.quantize(x); }, [&] { q.quantize(&value, 1); }, [&] { (void)q.max(); },
           [&] { (void)q.num2base(x, 2); }, [&] { q.base2num(x, "1", 2); }})
    expect("wordlengthlargerthanexponent", use);
  EXPECT_TRUE(x.todouble() == 0.3 && value == 0.3);
}

TEST(Quantizer, RoundsToFloatingPointFormats) {
  const Logging logging;
  Random random;
  for (int trial = 0; trial < 2000; ++trial) {
    const int e = random.integer(0, 11), m = random.integer(0, 30);
    quantizer q;
    q.setFormat(64, 0);
    q.setMode(QuantizerModeEnum::floatMode);
    q.setExponentlength(e);
    q.setWordlength(m + e + 1);
    const RoundModeEnum round = random.roundMode();
    q.setRoundMode(round);
    const double value = std::ldexp(random.integer(-1 << 30, 1 << 30) / 4.0, random.integer(-70, 40));
    double result = value;
    q.quantize(&result, 1);
    EXPECT_EQ(result, floatReference(value, m, e, round)) << value << " m " << m << " e " << e;
    EXPECT_EQ(q.noverflows(), std::isinf(result)) << value;
    EXPECT_EQ(q.nunderflows(), value != 0 && result == 0) << value;
    number carried(2U, 100, NumberVector{}), taken(0.0, 100, false);
    carried[1] = value;
    EXPECT_EQ(q.quantize(carried, taken).todouble(), result) << value << " m " << m << " e " << e;
    q.quantizeAll(carried);
    EXPECT_TRUE(carried[1].todouble() == result && carried[0].iszero()) << value << " m " << m << " e " << e;
  }
  quantizer wide;
  wide.setFormat(80, 0);
  wide.setMode(QuantizerModeEnum::floatMode);
  wide.setFormat(80, 15);
  number x(1.0, 100, false);
  x += number(std::ldexp(1.0, -70), 100, false);
  EXPECT_EQ(wide.quantize(x), number(1.0, 100, false)) << "64 fraction bits lose 2^-70";
  EXPECT_EQ(wide.realmin().unbiasedexponent(), 2 - (1 << 14));
  for (const auto update : {&quantizer::updatefixedparameters, &quantizer::updateufixedparameters,
                            &quantizer::updatefloatparameters, &quantizer::updateparameters})
    (wide.*update)();
  number far(-1.0, 100, false), zero(0.0, 100, false), infinite(HUGE_VAL, 100, false), least(1.0, 100, false);
  least.pow2(-20000);
  EXPECT_EQ(wide.quantize(far.pow2(17000)).todouble(), -HUGE_VAL);
  EXPECT_EQ(wide.quantize(zero).todouble(), 0);
  EXPECT_EQ(wide.quantize(infinite).todouble(), HUGE_VAL);
  EXPECT_TRUE(wide.quantize(least).iszero());
  EXPECT_EQ(wide.noverflows(), 2U);
  EXPECT_EQ(wide.nunderflows(), 1U);
}

TEST(Quantizer, CountsWhatTheOtherModesMeet) {
  const Logging logging;
  NumericType scaledDouble(true, 8, 4), wide(false, 64, 0), beyond(true, 60, -970), single, boolean, dbl;
  for (NumericType* type : {&scaledDouble, &wide, &beyond})
    type->setDataType(EmbeddedTypeSystem::DataTypeEnum::ScaledDouble);
  single.setDataType(EmbeddedTypeSystem::DataTypeEnum::Single);
  boolean.setDataType(EmbeddedTypeSystem::DataTypeEnum::Boolean);
  dbl.setDataType(EmbeddedTypeSystem::DataTypeEnum::Double);
  struct Case {
    const NumericType& type;
    double value, expected;
    std::size_t overflows, underflows;
  };
  const double nan = std::nan("");
  const Case cases[] = {{scaledDouble, 9, 9, 1, 0},
                        {scaledDouble, 0.01, 0.01, 0, 1},
                        {scaledDouble, 0.0625, 0.0625, 0, 0},
                        {single, 1e-60, 0, 0, 0},
                        {wide, 0x1p64, 0x1p64, 1, 0},
                        {wide, 0x1.fffffffffffffp63, 0x1.fffffffffffffp63, 0, 0},
                        {beyond, -HUGE_VAL, -HUGE_VAL, 1, 0},
                        {single, 1e60, HUGE_VAL, 1, 0},
                        {boolean, nan, 1, 0, 0},
                        {dbl, -HUGE_VAL, -HUGE_VAL, 1, 0}};
  for (const Case& c : cases) {
    const quantizer q(c.type, RoundModeEnum::nearest, OverflowModeEnum::saturate);
    double value = c.value;
    q.quantize(&value, 1);
    EXPECT_EQ(value, c.expected) << c.type.tostring() << c.value;
    EXPECT_EQ(q.noverflows(), c.overflows) << c.type.tostring() << c.value;
    EXPECT_EQ(q.nunderflows(), c.underflows) << c.type.tostring() << c.value;
    EXPECT_EQ(NumericType(q).dataType(), c.type.dataType());
  }
  // Wide values are compared and kept exactly; single rounds them once.
  const double far = std::ldexp(1.0, -80), tie = 1 + std::ldexp(1.0, -24);
  const struct {
    const NumericType& type;
    double high, low, expectedHigh, expectedLow;
    std::size_t overflows, underflows;
  } wideCases[] = {{scaledDouble, 7.9375, far, 7.9375, far, 1, 0},
                   {scaledDouble, 7.9375, -far, 7.9375, -far, 0, 0},
                   {scaledDouble, 0.0625, -far, 0.0625, -far, 0, 1},
                   {scaledDouble, -8, 0, -8, 0, 0, 0},
                   {scaledDouble, -8, -far, -8, -far, 1, 0},
                   {scaledDouble, 0, 0, 0, 0, 0, 0},
                   {dbl, 1, far, 1, far, 0, 0},
                   {single, tie, far, 1 + std::ldexp(1.0, -23), 0, 0, 0},
                   {single, tie, -far, 1, 0, 0, 0},
                   {boolean, far, 0, 1, 0, 0, 0}};
  for (const auto& c : wideCases) {
    const quantizer q(c.type, RoundModeEnum::nearest, OverflowModeEnum::saturate);
    number x(c.high, 200, false);
    x += number(c.low, 200, false);
    q.quantize(x);
    EXPECT_EQ(reference::valueOf(x), mpq_class(c.expectedHigh) + mpq_class(c.expectedLow)) << c.type.tostring();
    EXPECT_EQ(q.noverflows(), c.overflows) << c.type.tostring() << c.low;
    EXPECT_EQ(q.nunderflows(), c.underflows) << c.type.tostring() << c.low;
    if (&c.type == &boolean) continue;
    x = -HUGE_VAL;
    EXPECT_EQ(q.quantize(x).todouble(), -HUGE_VAL);
    x = nan;
    EXPECT_TRUE(std::isnan(q.quantize(x).todouble()));
    EXPECT_EQ(q.noverflows(), c.overflows + 1) << "of an infinity, not of NaN";
  }
}

}  // namespace
}  // namespace embedded
