/// Construction, copies, views, shape and the change of type.
#include <gtest/gtest.h>

#include <functional>
#include <limits>

#include "qfcore/fi/fireference.h"
#include "tests/fi/reference.h"

namespace embedded {
namespace {

using EmbeddedTypeSystem::DataTypeEnum;
using EmbeddedTypeSystem::ScalingEnum;
using reference::Random;
using tessel::HostArray;

template <class Action>
void expectError(Action action, const char* identifier, const char* text) {
  try {
    action();
    ADD_FAILURE() << identifier;
  } catch (const ErrorIdException& error) {
    EXPECT_EQ(error.identifier(), identifier);
    EXPECT_EQ(error.text(), text);
  }
}

TEST(Construction, EmptyArrayHasTheDefaults) {
  const fi x;
  EXPECT_EQ(x.rows() + x.cols() + x.numel() + x.maxDim(), 0U);
  EXPECT_TRUE(x.isempty() && x.isreal());
  EXPECT_EQ(x.getNumericType().tostring(), "numerictype(true,16,15)");
  EXPECT_EQ(x.getPrecision(), 16U);
  const unsigned dims[] = {3, 0, 5};
  const fi empty(dims, 3, NumericType());
  EXPECT_EQ(empty.numel() + empty.maxDim(), 0U);
}

/// Arrays are quantized in the pass that looks for values no word holds: each mode has one of its own, and
/// another for grids above 1.
TEST(Construction, RefusesWhatIsNotFiniteAtAnyPlaceAndQuantizesTheRestAsOneByOne) {
  Random random;
  const double notFinite[] = {std::nan(""), HUGE_VAL, -HUGE_VAL};
  for (int trial = 0; trial < 600; ++trial) {
    fimath math;
    math.setRoundMode(static_cast<RoundModeEnum>(trial % 6));
    math.setOverflowMode(static_cast<OverflowModeEnum>(trial / 6 % 2));
    const NumericType type(random.coin(), random.integer(2, 20), random.integer(-4, 20));
    std::vector<double> values(static_cast<std::size_t>(random.integer(1, 1100)));
    for (double& value : values)
      value = random.integer(-5000, 5000) * std::ldexp(0.0625, -type.fractionLength());
    // Finite ones, whose sum is not.
    if (values.size() > 64) values[3] = values[35] = std::numeric_limits<double>::max();
    const unsigned dims[] = {static_cast<unsigned>(values.size()), 1};
    const fi x(values.data(), dims, 2, type, math);
    const HostArray found = x.getDataHostArray();
    const quantizer q(type, math.roundMode(), math.overflowMode());
    for (unsigned k = 0; k < x.numel(); ++k) {
      number value(values[k], 64, false);
      ASSERT_EQ(found.real<double>()[k], q.quantize(value).todouble()) << type.tostring() << values[k];
    }
    const double wrong = notFinite[trial % 3];
    values[static_cast<std::size_t>(random.integer(0, static_cast<int>(values.size()) - 1))] = wrong;
    const bool isNan = std::isnan(wrong);
    for (const bool isOne : {false, true})
      expectError(
          [&] { isOne ? fi(wrong, type, math) : fi(values.data(), dims, 2, type, math); },
          isNan ? "numforge:nofixednan" : "numforge:nofixedinf",
          isNan ? "NaN cannot be converted to fixed-point." : "Inf cannot be converted to fixed-point.");
    NumericType dbl;
    dbl.setDataType(DataTypeEnum::Double);
    fi inDoubles(found.real<double>(), values.data(), dims, 2, dbl, math);
    EXPECT_THROW(inDoubles.setNumericType(type), ErrorIdException) << "of the imaginary part";
    EXPECT_TRUE(inDoubles.getNumericType().isDouble());
  }
}

TEST(Construction, RefusesTypesThatNoArrayHasAndPadsShapes) {
  const double nan = std::nan(""), infinity = HUGE_VAL;
  const std::string
      tooSmall = "WordLength specified; the WordLength must be greater than 0",
      tooBig = "WordLength specified; the WordLength must be less than 65536",
      bias = "Bias specified; the Bias must be finite",
      factor =
          "SlopeAdjustmentFactor specified; the SlopeAdjustmentFactor must be greater than or equal "
          "to 1 and less than 2";
  const std::pair<NumericType, std::string> unfit[] = {
      {NumericType(true, 0, 0), tooSmall},
      {NumericType(true, -5, 0), tooSmall},
      {NumericType(true, 65536, 0), tooBig},
      {NumericType(true, 70000, 0), tooBig},
      {NumericType(DataTypeEnum::Fixed, ScalingEnum::SlopeBias, true, 16, 1.5, 0, nan), bias},
      {NumericType(DataTypeEnum::Fixed, ScalingEnum::SlopeBias, true, 70, 1, 0, -infinity), bias},
      {NumericType(DataTypeEnum::ScaledDouble, ScalingEnum::SlopeBias, true, 16, nan, 0, 1), factor},
  };
  for (const auto& [type, text] : unfit) {
    const NumericType& unchecked = type;
    const auto refuses = [&, reason = "Invalid " + text](auto action) {
      expectError(action, "Numforge:numerictype:InvalidSetting", reason.c_str());
    };
    fi x(1.0, NumericType());
    refuses([&] { fi(1.0, unchecked); });
    refuses([&] { fi(2U, 3U, unchecked); });
    refuses([&] { x.setNumericType(unchecked); });
    refuses([&] { x.resizeAndZero(1, 1, unchecked, fimath(), false); });
    refuses([&] { x.updateAssignmentQuantizer(unchecked); });
    EXPECT_EQ(x.getNumericType(), NumericType());
  }
  const unsigned three[] = {3};
  fi column(0.5, three, 1, NumericType());
  EXPECT_EQ(column.dims(), (fi::Shape{3, 1}));
  column.copyDimensions(three, 1);
  EXPECT_EQ(column.numDims(), 2U);
}

TEST(Construction, RefusesMoreElementsThanItCanCount) {
  const unsigned solid[] = {65536, 65536, 2};
  const HostArray farAndEmpty = HostArray::zeros(tessel::ArrayClass::Int8, {std::size_t{1} << 33, 0});
  const char *refusal = "numforge:fi:outofmemory", *text = "Not enough memory to allocate new fi object.";
  expectError([&] { fi(65536U, 65536U, NumericType()); }, refusal, text);
  expectError([&] { fi(solid, 3, NumericType()); }, refusal, text);
  expectError([&] { fi(&farAndEmpty, NumericType()); }, refusal, text);
}

// Of types and settings alike but for what changes no value.
TEST(Construction, KeepsWhatItIsGiven) {
  NumericType locked(true, 16, 4), unstable(locked), plain(locked);
  locked.setReadOnly(true);
  unstable.setVolatile(true);
  fimath stepped;
  stepped.setPrecisionMode(PrecisionModeEnum::Stepped);
  for (int round = 0; round < 2; ++round) {
    for (const NumericType& type : {plain, locked, unstable}) {
      for (const fimath& math : {fimath(), stepped}) {
        const fi x(1.5, type, math);
        EXPECT_EQ(x.getNumericType().readOnly(), type.readOnly());
        EXPECT_EQ(x.getNumericType().isVolatile(), type.isVolatile());
        EXPECT_EQ(x.getFimath().precisionMode(), math.precisionMode());
      }
    }
  }
  const unsigned dims[] = {2, 1};
  const quantizer q(NumericType(true, 8, 0), RoundModeEnum::floor, OverflowModeEnum::wrap);
  fi x(dims, 2, NumericType(true, 16, 0), fimath(), false, q);
  x.setLogging(true);
  x.setIndex(1);
  x.assignElement(fi(200.75, NumericType(true, 16, 4)));
  EXPECT_EQ(x.realWorldReal(), -56);
  EXPECT_EQ(x.getNoverflows(), 1U);
  x.updateAssignmentQuantizer();
  EXPECT_EQ(x.getNumericType(), NumericType(true, 8, 0));
  // Elements stay as they are held, in doubles, also where a longer word is told.
  x.updateAssignmentQuantizer(NumericType(true, 70, 0));
  x.subsasgnScalarIndexing(1, 0x1p60);
  EXPECT_EQ(x.realWorldReal(), 0x1p60);
  EXPECT_EQ(x.num2base(16).textRows()[1], "001000000000000000");
  EXPECT_EQ(x.num2sdec().textRows()[1], "    1152921504606846976");
  x.setFimath(fimath(RoundModeEnum::floor, OverflowModeEnum::wrap));
  x.subsasgnScalarIndexing(1, 0x1p71 + 0x1p60);
  EXPECT_EQ(x.realWorldReal(), 0x1p60);
  x.base2num(x.num2base(16), 16);
  x.setIndex(1);
  EXPECT_EQ(x.realWorldReal(), 0x1p60);
}

TEST(Construction, MovedFromArraysAreEmpty) {
  const double values[] = {1, 2, 3};
  const unsigned dims[] = {1, 3};
  fi x(values, values, dims, 2, NumericType(true, 70, 4)), y(values, dims, 2, NumericType());
  const fi taken(std::move(x));
  fi assigned;
  assigned = std::move(y);
  for (fi* left : {&x, &y}) {
    EXPECT_TRUE(left->isempty() && left->isreal() && left->dims() == (fi::Shape{0, 0}));
    EXPECT_EQ(left->getDoubleHostArray().numel() + left->plus(*left).numel(), 0U);
    EXPECT_EQ(fi(*left).abs().numel(), 0U);
    fi one(1.0, NumericType(true, 80, 0));
    number value(0.0, 80, false);
    const std::function<void()> atCursors[] = {
        [&] { (void)left->realWorldReal(); },
        [&] { (void)left->realWorldImag(); },
        [&] { (void)left->elementAt(0); },
        [&] { fi(*left, CopyElement()); },
        [&] { left->assignElement(one); },
        [&] { one.assignElement(*left); },
        [&] { (void)(*left == one); },
        [&] { (void)(one == *left); },
        [&] { (void)(*left * one); },
        [&] { left->abs(value); },
        [&] { one.sumEquals(*left, one, one); },
        [&] { one.diffEquals(one, *left, one, value); },
        [&] { one.timesEquals(*left, one.getAssignmentQuantizer(), one.getAssignmentQuantizer(), 80); }};
    for (const auto& access : atCursors)
      expectError(access, "numforge:fi:badindex", "Index exceeds matrix dimensions.");
    left->setDoubleHostArray(HostArray::scalar(0.5));
    EXPECT_EQ(left->realWorldReal(), 0.5);
  }
}

TEST(Construction, QuantizesValuesOfEveryWordLength) {
  Random random;
  for (int trial = 0; trial < 400; ++trial) {
    const NumericType type = random.type(1, 200);
    const fimath math(random.roundMode(), random.overflowMode());
    const double value = std::ldexp(random.integer(-1 << 30, 1 << 30), random.integer(-60, 60));
    const fi x(value, type, math);
    const bool inDoubles = static_cast<unsigned>(type.wordLength()) <= kMaxDoublePrecision;
    EXPECT_EQ(reference::valueOf(x, 0), reference::quantized(mpq_class(value), type, math.roundMode(),
                                                             math.overflowMode(), nullptr, inDoubles))
        << value << " " << reference::described(type, math);
  }
}

TEST(Construction, KeepsEveryValueOfALongArray) {
  std::vector<double> ramp(2100);
  for (std::size_t k = 0; k < ramp.size(); ++k) ramp[k] = static_cast<double>(k) / 4;
  const unsigned dims[] = {700, 3};
  const fi x(ramp.data(), dims, 2, NumericType(true, 20, 2));
  for (unsigned k = 0; k < x.numel(); ++k) ASSERT_EQ(reference::valueOf(x, k), mpq_class(ramp[k]));
}

TEST(Construction, TakesHostArraysOfEveryClassExactly) {
  const auto value = [](const HostArray& array, const NumericType& type) {
    return reference::valueOf(fi(&array, type, fimath(RoundModeEnum::ceil, OverflowModeEnum::wrap)), 0);
  };
  const NumericType s16(true, 16, 0), wide(true, 70, 0), coarse(true, 52, -12);
  EXPECT_EQ(value(HostArray::scalarOf<std::int8_t>(-7), s16), -7);
  EXPECT_EQ(value(HostArray::scalarOf<float>(2.5F), s16), 3);
  EXPECT_EQ(value(HostArray::logical(true), s16), 1);
  // 2^62 + 1 is no double: the last bit decides what the wrap and the ceiling leave.
  const auto large = (std::int64_t{1} << 62) + 1;
  EXPECT_EQ(value(HostArray::scalarOf(large), s16), 1);
  EXPECT_EQ(value(HostArray::scalarOf(large), wide), mpq_class(mpz_class(std::to_string(large))));
  EXPECT_EQ(value(HostArray::scalarOf(large), coarse), reference::pow2(62) + 4096);
  EXPECT_EQ(value(HostArray::scalarOf((std::int64_t{1} << 53) + 1), coarse), reference::pow2(53) + 4096);
  EXPECT_EQ(value(HostArray::scalarOf(std::numeric_limits<std::uint64_t>::max()), s16), -1);
  HostArray complex = HostArray::scalarOf(std::int64_t{1});
  *complex.mutableImag<std::int64_t>() = large;
  EXPECT_EQ(reference::imagOf(fi(&complex, s16, fimath(RoundModeEnum::ceil, OverflowModeEnum::wrap)), 0), 1);
}

TEST(Construction, HoldsSlopeBiasValuesInUnitsOfTheGrid) {
  const NumericType type(DataTypeEnum::Fixed, ScalingEnum::SlopeBias, true, 16, 1.5, -2, 10.0);
  const fi x(13.0, type);
  EXPECT_EQ(reference::valueOf(x, 0), 2);
  EXPECT_EQ(x.realWorldReal(), 13);
  // Zero is not moved to the grid, so that it reads as zero.
  // Builds with a lowered threshold hold 16-bit words in 32 bits, too few for the quotient.
  EXPECT_NEAR(fi(2U, 2U, type).realWorldReal(), 0, kMaxDoublePrecision < 16 ? 1e-8 : 0);
  NumericType wide(DataTypeEnum::Fixed, ScalingEnum::SlopeBias, true, 80, 1.5, -40, 10.0);
  EXPECT_EQ(fi(13.0, wide).realWorldReal(), 13);
}

TEST(Construction, ChangeOfTypeRoundsTheRealWorldValueOnce) {
  Random random;
  for (int trial = 0; trial < 300; ++trial) {
    const fimath math(random.roundMode(), random.overflowMode());
    const fi before = random.array({2, 3}, random.type(1, 120), math, random.coin());
    fi x(before);
    const NumericType type = random.type(1, 120);
    x.setNumericType(type);
    for (unsigned k = 0; k < x.numel(); ++k) {
      // Only a value that is a double already meets the addition of one half in doubles.
      const bool inDoubles = before.realPart().gettype() == kDoubleRepresentation &&
                             x.realPart().gettype() == kDoubleRepresentation;
      EXPECT_EQ(reference::valueOf(x, k),
                reference::quantized(reference::valueOf(before, k), type, math.roundMode(), math.overflowMode(),
                                     nullptr, inDoubles))
          << reference::described(type, math) << " from " << before.getNumericType().tostring();
    }
  }
}

TEST(Views, ShareElementsWithACursorOfTheirOwn) {
  const double values[] = {1, 2, 3, 4, 5, 6};
  const unsigned dims[] = {2, 3};
  fi x(values, dims, 2, NumericType(true, 16, 4));
  FiReference whole(x);
  x.setIndex(0);
  whole.setIndex(4);
  EXPECT_EQ(whole.realWorldReal(), 5);
  EXPECT_EQ(x.realWorldReal(), 1);
  whole.assignElement(fi(7.25, NumericType(true, 16, 2)));
  x.setIndex(4);
  EXPECT_EQ(x.realWorldReal(), 7.25);

  FiColumnReference column(x, 1);
  column.setIndex(1);
  EXPECT_EQ(column.realWorldReal(), 4);
  column.setColumn(2);
  EXPECT_EQ(column.realWorldReal(), 7.25);
  EXPECT_EQ(column.numel(), 2U);
  FiColumnReference behind(x, 3);
  EXPECT_EQ(fi(behind).getDoubleHostArray().realAt(1), 0);
  behind.setColumn(0);
  EXPECT_EQ(behind.realWorldReal(), 1);
  EXPECT_NO_THROW(FiColumnReference(x, 4, 2));
  FiColumnReference four(x, 0, 4);
  for (const auto& [view, number] : {std::pair(&column, 3U), std::pair(&four, 1U)})
    expectError([&, v = view, n = number] { v->setColumn(n); }, "numforge:fi:FiColumnReference:setColumn",
                "Column number out of range.");
  expectError([&] { FiColumnReference(x, 4); }, "numforge:fi:FiColumnReference:ColumnNumberOutOfRange",
              "FiColumnReference::Column number out of range in FiColumnReference constructor");
  expectError(
      [&] { FiColumnReference(x, 4, 3); }, "numforge:fi:FiColumnReference:IndexOutOfRange",
      "FiColumnReference::StartIndex + Length exceeds original matrix size in FiColumnReference constructor");
  const fi element(whole, CopyElement{});
  EXPECT_TRUE(element.isscalar());
  EXPECT_EQ(element.realWorldReal(), 7.25);
  const char *refusal = "numforge:fi:FiReference:changesTarget",
             *text = "The shape, numeric type or storage of an array cannot be changed through a view of it.";
  fi constant(x, CopyIndex{});
  expectError([&] { constant.coordinateComplexity(true, 6); }, refusal, text);
  expectError([&] { constant.copydata(x.complex()); }, refusal, text);
  EXPECT_NO_THROW(constant.coordinateComplexity(false, 6));
  constant.copydata(fi(x));
  EXPECT_EQ(reference::valueOf(x, 5), 6);
  expectError([&] { column.copyDimensions(dims, 2); }, refusal, text);
  expectError([&] { whole.setPrecision(60); }, refusal, text);
  expectError([&] { whole.updateAssignmentQuantizer(NumericType()); }, refusal, text);
  expectError([&] { whole.setNumericType(NumericType(true, 9, 0)); }, refusal, text);
  EXPECT_NO_THROW(whole.setPrecision(whole.getPrecision()));
  expectError(
      [&] { FiColumnReference(x, 7, 0); }, "numforge:fi:FiColumnReference:IndexOutOfRange",
      "FiColumnReference::StartIndex + Length exceeds original matrix size in FiColumnReference constructor");
  EXPECT_EQ(FiColumnReference(x, 4, 2).startIndex(), 4U);
  fi &self = x, &view = whole;
  x = self;
  x = std::move(self);
  view = self;
  whole.setIndex(4);
  EXPECT_EQ(whole.realWorldReal(), 7.25);
  fi copy(1.0, NumericType());
  copy = std::move(view);
  copy.setIndex(4);
  copy.assignElement(fi(9.0, NumericType(true, 16, 2)));
  EXPECT_EQ(whole.realWorldReal(), 7.25) << "a copy of the elements, not of the view";
  x.coordinateComplexity(true, 6);
  x.imagPart()[5] = 2.0;
  // What sees more or other elements than its own stays complex.
  const double pair[] = {8, 9};
  const unsigned two[] = {2, 1};
  fi ofTwo(pair, pair, two, 2, x.getNumericType()), all(x, CopyIndex{});
  FiColumnReference beyond(ofTwo, 1);
  beyond.copydata(fi(pair, two, 2, x.getNumericType()));
  all.copydata(fi(values, dims, 2, x.getNumericType()));
  EXPECT_TRUE(ofTwo.iscomplex() && beyond.iscomplex() && all.iscomplex());
  EXPECT_EQ(reference::imagOf(ofTwo, 1), 9);
  EXPECT_EQ(reference::imagOf(beyond, 1), 0);
  EXPECT_EQ(reference::imagOf(x, 5), 0);
  fi(whole).setIsReal(true);
  EXPECT_EQ(x.getComplexity(), 1);
  whole.setIsReal(true);
  EXPECT_EQ(x.getComplexity(), 0);
  whole.setIsReal(false);
  const fi taken(std::move(static_cast<fi&>(column)));
  EXPECT_EQ(taken.numel(), 2U);
  EXPECT_EQ(x.numel(), 6U);
}

TEST(Shape, RangeChecksAndQueries) {
  const unsigned dims[] = {2, 3, 4};
  fi x(dims, 3, NumericType());
  EXPECT_EQ(x.cols(), 12U);
  EXPECT_EQ(x.maxDim(), 4U);
  EXPECT_EQ(x.getDimension(4), 1U);
  expectError([&] { x.getDimension(0); }, "numforge:fi:getDimension:badDimension",
              "Dimension number must be a non-negative integer in the range 1 to 2^31.");
  expectError([&] { x.checkIndex(24); }, "numforge:fi:badindex", "Index exceeds matrix dimensions.");
  for (const int wrong : {49, -2})
    expectError([&] { x.setLastPropertySet(fi::PropertyEnum{wrong}); },
                "numforge:fi:setLastPropertySet:BadEnum",
                ("PropertyEnum out of range.  Valid values are -1 through 48, and " + std::to_string(wrong) +
                 " was entered.")
                    .c_str());
  x.setLastPropertySet(fi::PropertyEnum{48});
  x.setLastPropertySet(fi::PropertyEnum{-1});
  EXPECT_EQ(fi(1.0, true, 8, 7).eps().realWorldReal(), 0.0078125);
  EXPECT_EQ(fi(1.0, true, 1, 0).eps().realWorldReal(), -1);
  EXPECT_EQ(fi(1.0, false, 1, 0).eps().realWorldReal(), 1);
  EXPECT_EQ(fi(1.0, false, 8, 7).realmin().realWorldReal(), 0.0078125);
  EXPECT_EQ(fi(1.0, true, 1, 0).realmin().realWorldReal(), -1);
  EXPECT_EQ(reference::valueOf(fi(0.0, true, 100, 0).realmax(), 0), reference::pow2(99) - 1);
  EXPECT_EQ(fi(0.0, false, 8, 0).range().numel(), 2U);
}

TEST(Shape, ResizingToAnotherPrecisionZeroes) {
  fi x(3.0, true, 16, 4);
  x.resizeAndZero(2, 2, NumericType(true, 80, 4), fimath(), true);
  EXPECT_EQ(x.numel(), 4U);
  EXPECT_TRUE(x.iscomplex());
  EXPECT_EQ(reference::valueOf(x, 3), 0);
  EXPECT_EQ(x.getNumericType().wordLength(), 80);
  x.realPart()[3] = 5.0;
  x.imagPart()[3] = 7.0;
  x.updatePrecision();
  EXPECT_EQ(reference::valueOf(x, 3), 5) << "the precision stays, so do values";
  EXPECT_EQ(reference::imagOf(x, 3), 7);
  x.setPrecision(200);
  EXPECT_EQ(reference::valueOf(x, 3), 0);
  EXPECT_EQ(reference::imagOf(x, 3), 0);
  x.updatePrecision();
  EXPECT_EQ(x.imagPart().getprecision(), 80U);
}

TEST(Shape, OfNoElementsLeavesNothingToCompute) {
  const unsigned none[] = {0, 5};
  fimath math;
  math.setMaxProductWordLength(65535);
  math.setMaxSumWordLength(65535);
  for (const int wordLength : {16, 70, 300}) {
    fi x(3.0, NumericType(true, wordLength, 4), math);
    x.copyDimensions(none, 2);
    const fi fresh(0U, 5U, x.getNumericType(), math);
    for (const fi& result : {x.plus(x), x.times(x), x.uminus(), x.abs(), x.bitcmp(), x.max(x), x.transpose()})
      EXPECT_TRUE(result.isempty());
    EXPECT_TRUE(x.isequal(fresh) && x.eq(fresh).isEmpty() && x.getDoubleHostArray().isEmpty());
  }
}

}  // namespace
}  // namespace embedded
