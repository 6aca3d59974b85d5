/// Binary points far from the digits: where steps and ranges are no doubles, and up to the limits of `int`,
/// words do what they do near one.
#include <gtest/gtest.h>

#include <climits>
#include <functional>
#include <string>

#include "tests/fi/arrays.h"

namespace embedded {
namespace {

using tessel::HostArray;

/// Operands whose binary points all are `shift` places away from where the same random numbers put them near
/// one; those of degree 2 twice as far.
struct Operands {
  Operands(const reference::Random& from, long by) : random(from), shift(by) {
    const std::vector<unsigned> dims{2, 2};
    const auto isComplex = [&] { return random.integer(0, 3) == 0; };
    const NumericType shared = type(1);
    a = random.array(dims, shared, settings(1), isComplex());
    b = random.array(dims, type(1), a.getFimath(), isComplex());
    sameType = random.array(dims, shared, a.getFimath(), isComplex());
    const fimath products = settings(2);
    x = random.array(dims, type(1), products, isComplex());
    y = random.array(dims, type(1), products, isComplex());
    const NumericType any = type(2);
    square = random.array(dims, NumericType(false, any.wordLength(), any.fractionLength()), products, false);
    target = type(1);
    ratio = type(0);
    places = random.integer(-20, 20);
  }

  int fractionLength(long near, long degree) const { return static_cast<int>(near + degree * shift); }
  NumericType type(long degree) {
    const int w = random.integer(1, 24);
    const bool isSigned = random.coin();
    return NumericType(isSigned, w, fractionLength(random.integer(-8, w + 8), degree));
  }
  fimath settings(long degree) {
    fimath math(random.roundMode(), random.overflowMode());
    if (random.coin()) return math;
    math.setProductMode(ArithmeticModeEnum::SpecifyPrecision);
    math.setProductWordLength(random.integer(1, 50));
    math.setProductFractionLength(fractionLength(random.integer(-4, 40), degree));
    math.setSumMode(ArithmeticModeEnum::SpecifyPrecision);
    math.setSumWordLength(random.integer(1, 50));
    math.setSumFractionLength(fractionLength(random.integer(-4, 40), degree));
    math.setCastBeforeSum(random.coin());
    return math;
  }

  reference::Random random;
  long shift;
  fi a, b, sameType, x, y, square;
  NumericType target, ratio;
  int places;
};

/// Patterns, the type without the shift, and what was recorded.
std::string described(const fi& x, long shift) {
  const NumericType& type = x.getNumericType();
  const HostArray patterns = x.num2base(16);
  std::string text = std::to_string(type.wordLength()) + (type.isSigned() ? "s" : "u") +
                     std::to_string(type.fractionLength() - shift) + ":";
  if (!patterns.isEmpty()) text.append(patterns.real<char>(), patterns.numel());
  for (const std::size_t count : {x.getNoverflows(), x.getNunderflows(), x.getNoperations()})
    text += " " + std::to_string(count);
  return text;
}
std::string described(const HostArray& array, long) {
  std::string text;
  for (std::size_t k = 0; k < array.numel(); ++k) text += std::to_string(array.realAt(k)) + " ";
  return text;
}

struct Operation {
  const char* name;
  std::function<std::string(Operands&)> run;
  bool multiplies = false;  ///< forms values of degree 2
};

template <class Change>
fi changed(fi x, Change change) {
  change(x);
  return x;
}

#define OPERATION(degree, expression)                                                              \
  {                                                                                                \
#expression, [](Operands & o) { return described(expression, (degree)*o.shift); }, degree == 2 \
  }

const Operation kOperations[] = {
    OPERATION(1, o.a.plus(o.b)),
    OPERATION(1, o.a.minus(o.b)),
    OPERATION(1, o.a.sumAlong(1)),
    OPERATION(2, o.x.times(o.y)),
    OPERATION(2, o.x.mtimes(o.y)),
    {"over", [](Operands& o) { return described(o.x.over(o.y, o.ratio), 0); }, true},
    {"sqrt", [](Operands& o) { return described(o.square.sqrtBisection(o.target, o.x.getFimath()), o.shift); },
     true},
    OPERATION(1, changed(o.a, [&](fi& x) { x.setNumericType(o.target); })),
    OPERATION(1, changed(o.a, [&](fi& x) { x += o.sameType; })),
    OPERATION(1, changed(o.a, [&](fi& x) { x.base2num(o.sameType.num2base(10), 10); })),
    OPERATION(1, changed(o.a, [&](fi& x) { x.setIntArray(o.b.getIntArray()); })),
    OPERATION(1, changed(o.a, [&](fi& x) { x.subsasgnScalarIndexing(1, o.b.transpose().getRealFi()); })),
    OPERATION(1, o.a.abs()),
    OPERATION(1, o.a.uminus()),
    OPERATION(1, o.a.max(o.sameType)),
    OPERATION(1, o.a.stridesort(true, 1, 4)),
    OPERATION(1, o.a.bitshift(o.places)),
    OPERATION(1, o.a.bitshift(-3 * o.places)),
    OPERATION(1, o.a.pow2(o.places)),
    OPERATION(1, o.a.pow2(o.places, true)),
    OPERATION(1, o.a.bitxor(o.sameType)),
    OPERATION(1, o.a.bitcmp()),
    OPERATION(0, o.a.stripscaling()),
    OPERATION(
        1, o.a.reinterpretcast(NumericType(true, o.a.getNumericType().wordLength(), o.fractionLength(0, 1)))),
    OPERATION(0, o.a.lt(o.b)),
    OPERATION(0, o.a.eq(o.sameType)),
    OPERATION(0, o.a.getIntHostArray()),
    OPERATION(1, o.a.eps()),
    OPERATION(1, o.a.range()),
};

class FarPoint : public ::testing::Test {
 protected:
  void TearDown() override { qlogger::setLogging(false); }
  reference::Random random;
};

TEST_F(FarPoint, ShiftsResultsAndChangesNothingElse) {
  constexpr long kEnd = INT_MAX - 200L;
  for (int trial = 0; trial < 300 && !HasFailure(); ++trial) {
    qlogger::setLogging(random.coin());
    const long sign = random.coin() ? 1 : -1;
    const bool isNearEnd = random.coin();
    for (const Operation& operation : kOperations) {
      const long end = operation.multiplies ? kEnd / 2 : kEnd;
      const long shift = sign * (isNearEnd ? end - random.integer(0, 1000) : random.integer(400, 2500));
      Operands near(random, 0), far(random, shift);
      const auto expected = reference::failureOf([&] {
        const std::string text = operation.run(near);
        EXPECT_EQ(operation.run(far), text) << operation.name << " " << shift << near.a.getFimath().toString();
      });
      EXPECT_FALSE(expected) << operation.name << expected->text;
      (void)random.word();
    }
  }
}

TEST_F(FarPoint, IsRefusedWhereNoIntegerHoldsIt) {
  constexpr const char* kOutOfRange = "numforge:fi:fractionLengthOutOfRange";
  const fi most(1.0, true, 16, INT_MAX), least(1.0, true, 16, -INT_MAX);
  EXPECT_EQ(most.num2base(16).toText(), "7fff");
  EXPECT_EQ(reference::errorOf([&] { most.times(most); }), kOutOfRange);
  EXPECT_EQ(reference::errorOf([&] { least.mtimes(least); }), kOutOfRange);
  EXPECT_EQ(reference::errorOf([&] { most.pow2(-1, true); }), kOutOfRange);
  fimath specified;
  specified.setProductMode(ArithmeticModeEnum::SpecifyPrecision);
  specified.setProductFormat(16, 0);
  fi tiny = most, huge = least;
  tiny.setFimath(specified);
  huge.setFimath(specified);
  for (const int wordLength : {16, 100}) {
    EXPECT_EQ(tiny.inType(NumericType(true, wordLength, INT_MAX), specified).times(tiny).num2base(16).toText(),
              "0000");
    EXPECT_EQ(huge.inType(NumericType(true, wordLength, -INT_MAX), specified).times(huge).num2base(16).toText(),
              huge.realPart().iszero() ? "0000" : "7fff");
  }
  EXPECT_EQ(most.pow2(INT_MAX, true).pow2(INT_MAX, true).num2base(16).toText(), "7fff");
  EXPECT_EQ(reference::errorOf([&] { most.getNumericTypeForQuotient(least); }), kOutOfRange);
  NumericType type;
  type.setFixedExponent(INT_MIN);
  EXPECT_EQ(reference::errorOf([&] { fi(1.0, type); }), kOutOfRange);
  EXPECT_EQ(reference::errorOf([&] { fi(most).setNumericType(type); }), kOutOfRange);
}

}  // namespace
}  // namespace embedded
