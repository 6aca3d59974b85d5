// Arrays as values, conversions, concatenation.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <random>

#include "tessel/runtime/arraydata.h"
#include "tessel/runtime/concatenate.h"
#include "tessel/runtime/convert.h"
#include "tessel/runtime/indexing.h"
#include "tests/runtime/helpers.h"

namespace tessel {
namespace {

TEST(Array, IsAValue) {
  HostArray s = HostArray::structure({1, 1}, {"a"});
  s.mutableFieldAt("a") = row({1, 2});
  HostArray t = s;
  t.mutableFieldAt("a").mutableReal<double>()[0] = 9;
  t.mutableFieldAt("b") = num(1);
  EXPECT_EQ(s.fieldAt("a").realAt(0), 1);
  EXPECT_FALSE(s.hasField("b"));

  for (HostArray a : {num(1), row({1, 2}), HostArray::text("x"), HostArray::cell({2, 2}), box(1)}) {
    HostArray moved = std::move(a);
    EXPECT_EQ(a.dims(), (Dimensions{0, 0}));  // what is moved from is an empty double
    EXPECT_EQ(a.arrayClass(), ArrayClass::Double);
    EXPECT_FALSE(moved.isEmpty());
    moved.assignScalar(3);
    EXPECT_EQ(moved.scalarValue(), 3);
    EXPECT_EQ(moved.arrayClass(), ArrayClass::Double);
  }
  HostArray z = num(2), scalarCopy = z;
  z.mutableImag<double>()[0] = 3;
  EXPECT_FALSE(scalarCopy.isComplex());
  EXPECT_EQ(z.realAt(0), 2);
  z.makeReal();
  EXPECT_FALSE(z.isComplex());
}

TEST(Array, LargeOnesStartAsZerosInUsedMemoryToo) {
  constexpr std::size_t kCount = 1U << 20;
  for (int round = 0; round < 3; ++round) {
    HostArray a = HostArray::zeros(ArrayClass::Double, {kCount, 1}, true);
    const HostArray before = a;
    std::fill_n(a.mutableReal<double>(), kCount, 7.0);
    std::fill_n(a.mutableImag<double>(), kCount, 7.0);
    for (const std::size_t i : {std::size_t{0}, kCount / 2, kCount - 1}) {
      EXPECT_TRUE(before.realAt(i) == 0 && before.imagAt(i) == 0 && a.realAt(i) == 7 && a.imagAt(i) == 7);
    }
    ArrayAccess::extend(a, {kCount + 1, 1});
    EXPECT_TRUE(a.realAt(kCount) == 0 && a.imagAt(kCount) == 0 && a.imagAt(kCount - 1) == 7);
  }
}

TEST(Array, LargeOnesAreFreedWhereNoMoreCanWait) {
  const std::vector<HostArray> many(12);
  std::vector<HostArray> large;
  for (std::size_t k = 0; k < many.size(); ++k)
    large.push_back(HostArray::zeros(ArrayClass::Int8, {k + 5, 1U << 20}));
  large.clear();
  EXPECT_EQ(HostArray::zeros(ArrayClass::Int8, {7, 1U << 20}).realAt(99), 0);
}

TEST(Array, AdoptedElementsAreReadInPlaceAndNeverWritten) {
  auto elements = std::make_shared<std::vector<double>>(std::vector<double>{1, 2, 3, 4});
  const std::weak_ptr<std::vector<double>> watched = elements;
  HostArray a = HostArray::adopt(ArrayClass::Double, {2, 1}, elements, elements->data(), elements->data() + 2);
  const double* lent = elements->data();
  elements.reset();
  HostArray b = a, c = a;
  EXPECT_EQ(a.real<double>(), lent);
  EXPECT_EQ(b.imagAt(1), 4);
  b.mutableReal<double>()[1] = 9;
  ArrayAccess::extend(c, {3, 1});
  EXPECT_EQ(c.realAt(1) + c.imagAt(0) + c.realAt(2), 5);
  EXPECT_EQ(b.realAt(1), 9);
  EXPECT_EQ(b.imagAt(0), 3);
  EXPECT_EQ(a.realAt(1), 2);
  EXPECT_FALSE(watched.expired());
  const std::array<double, 2> values{5, 6};
  HostArray real = HostArray::adopt(ArrayClass::Double, {1, 2}, std::make_shared<int>(), values.data());
  EXPECT_EQ(ArrayAccess::realDoubles(real).data(), values.data());
  ArrayAccess::mutableRealDoubles(real)[0] = 7;
  EXPECT_EQ(valuesOf(real), (std::vector<double>{7, 6}));
  EXPECT_EQ(values[0], 5);
  EXPECT_TRUE(ArrayAccess::mutableRealDoubles(b).empty());  // complex
  real.makeReal();
  a = {};
  EXPECT_TRUE(watched.expired());
}

TEST(Array, ShapesAndAccessErrors) {
  HostArray a = HostArray::zeros(ArrayClass::Int16, {2, 3, 1, 1});
  EXPECT_EQ(a.dims(), (Dimensions{2, 3}));
  EXPECT_EQ(a.dim(7), 1u);
  a.reshape({3, 1, 2});
  EXPECT_EQ(a.dims(), (Dimensions{3, 1, 2}));
  HostArray one = num(4);
  one.reshape({1, 1, 1});
  EXPECT_EQ(one.scalarValue(), 4);
  HostArray none;
  none.reshape({0, 5});
  EXPECT_EQ(none.dims(), (Dimensions{0, 5}));
  EXPECT_EQ(errorOf([&] { a.reshape({7, 1}); }), "Tessel:reshapeCount");
  EXPECT_EQ(errorOf([&] { a.scalarValue(); }), "Tessel:mustBeScalar");
  EXPECT_EQ(errorOf([&] { a.toText(); }), "Tessel:mustBeText");
  EXPECT_EQ(errorOf([&] { a.cellAt(0); }), "Tessel:wrongClass");
  EXPECT_EQ(errorOf([&] { num(1).fieldNames(); }), "Tessel:wrongClass");
  EXPECT_EQ(errorOf([] {
              HostArray::zeros(ArrayClass::Double, {1u << 31, 1u << 31, 1u << 31});
            }),
            "Tessel:arrayTooLarge");
  EXPECT_EQ(HostArray::zeros(ArrayClass::Char, {3}).dims(), (Dimensions{3, 1}));
  HostArray pages = HostArray::zeros(ArrayClass::Char, {1, 2, 2}), z = num(1), cell = HostArray::cell({1, 1});
  EXPECT_FALSE(pages.isText() || pages.isVector());
  z.mutableImag<double>();
  HostArray s = HostArray::structure({1, 1}, {"a"}),
            boxes = HostArray::objects({box(1).objectAt(), box(2).objectAt()}, {1, 2});
  const std::function<void()> refused[] = {[&] { pages.textRows(); },
                                           [&] { num(1).textRows(); },
                                           [&] { z.scalarValue(); },
                                           [&] { cell.scalarValue(); },
                                           [&] { cell.realData(); },
                                           [&] { cell.mutableRealData(); },
                                           [&] { box(1).mutableRealData(); },
                                           [&] { num(1).fieldAt("a"); },
                                           [&] { s.fieldAt("b"); },
                                           [&] { s.removeField("b"); },
                                           [&] { boxes.mutableObject(); },
                                           [&] { box(1).real<double>(); },
                                           [&] { convertTo(cell, ArrayClass::Double); },
                                           [&] { convertTo(num(1), ArrayClass::Cell); }};
  std::string errors;
  for (const auto& each : refused) errors += errorOf(each).substr(7) + " ";
  EXPECT_EQ(
      errors,
      "mustBeText mustBeText mustBeScalar mustBeScalar wrongClass wrongClass wrongClass wrongClass "
      "nonExistentField nonExistentField mustBeScalar wrongClass conversionNotPossible conversionNotPossible ");
  EXPECT_EQ(s.findField("b"), nullptr);
  const HostArray nobody = HostArray::object(nullptr);
  EXPECT_EQ(nobody.className(), "object");
  EXPECT_EQ(errorOf([&] { getProperty(nobody, "Value"); }), "Tessel:mustBeScalar");
  EXPECT_EQ(HostArray::charMatrix({"ab", "c", ""}).textRows(), (std::vector<std::string>{"ab", "c ", "  "}));
}

__extension__ typedef __int128 Wide;

/// The value of an integer element, exactly.
Wide exactValue(const HostArray& a, std::size_t i) {
  return visitElementType(a.arrayClass(),
                          [&](auto zero) { return static_cast<Wide>(a.real<decltype(zero)>()[i]); });
}

constexpr ArrayClass kIntegers[] = {ArrayClass::Int8,   ArrayClass::Uint8, ArrayClass::Int16,
                                    ArrayClass::Uint16, ArrayClass::Int32, ArrayClass::Uint32,
                                    ArrayClass::Int64,  ArrayClass::Uint64};

void limitsOf(ArrayClass c, Wide& low, Wide& high) {
  const int bits = 8 << ((static_cast<int>(c) - static_cast<int>(ArrayClass::Int8)) / 2);
  const bool isSigned = (static_cast<int>(c) - static_cast<int>(ArrayClass::Int8)) % 2 == 0;
  high = (static_cast<Wide>(1) << (isSigned ? bits - 1 : bits)) - 1;
  low = isSigned ? -high - 1 : 0;
}

TEST(Convert, BetweenIntegersExactAndSaturating) {
  std::mt19937_64 random(7);
  for (ArrayClass from : kIntegers) {
    HostArray a = HostArray::zeros(from, {1, 200});
    visitElementType(from, [&](auto zero) {
      using T = decltype(zero);
      for (std::size_t i = 0; i < a.numel(); ++i) a.mutableReal<T>()[i] = static_cast<T>(random() >> (i % 60));
    });
    for (ArrayClass to : kIntegers) {
      const HostArray b = convertTo(a, to);
      Wide low, high;
      limitsOf(to, low, high);
      for (std::size_t i = 0; i < a.numel(); ++i) {
        EXPECT_TRUE(exactValue(b, i) == std::clamp(exactValue(a, i), low, high))
            << nameOf(from) << " " << nameOf(to);
      }
    }
  }
}

TEST(Convert, FromDoubleRoundsTiesAwayFromZeroAndSaturates) {
  std::mt19937_64 random(8);
  std::vector<double> values{0.5,
                             -0.5,
                             0.49999999999999994,
                             -0.49999999999999994,
                             127.5,
                             -128.5,
                             4503599627370495.5,
                             9223372036854775807.0,
                             18446744073709551615.0,
                             -9223372036854775808.0,
                             1e300,
                             -1e300,
                             HUGE_VAL,
                             -HUGE_VAL,
                             std::nan("")};
  for (int i = 0; i < 500; ++i) {
    values.push_back(
        std::ldexp(static_cast<double>(static_cast<std::int64_t>(random())), -static_cast<int>(random() % 64)));
    values.push_back(static_cast<double>(static_cast<std::int32_t>(random())) / 4);
  }
  for (ArrayClass to : kIntegers) {
    const HostArray b = convertTo(row(values), to);
    Wide low, high;
    limitsOf(to, low, high);
    for (std::size_t i = 0; i < values.size(); ++i) {
      Wide expected = 0;
      if (values[i] >= 0x1p100)
        expected = high;
      else if (values[i] <= -0x1p100)
        expected = low;
      else if (!std::isnan(values[i])) {
        expected = std::clamp(static_cast<Wide>(std::round(values[i])), low, high);
      }
      EXPECT_TRUE(exactValue(b, i) == expected) << nameOf(to) << " " << values[i];
    }
  }
}

TEST(Concatenate, PlacesPartsAsAssignmentsWould) {
  std::mt19937 random(9);
  const auto upTo = [&](std::size_t n) { return random() % (n + 1); };
  for (int roundNumber = 0; roundNumber < 500; ++roundNumber) {
    const std::size_t dimension = upTo(2);
    const Dimensions common{1 + upTo(2), 1 + upTo(2), 1 + upTo(2)};
    Arrays parts;
    HostArray expected;
    std::size_t used = 0;
    double next = 0;
    for (std::size_t p = 0; p <= upTo(3); ++p) {
      Dimensions dims = common;
      dims[dimension] = upTo(2);
      HostArray part = HostArray::zeros(ArrayClass::Double, dims);
      for (std::size_t i = 0; i < part.numel(); ++i) part.mutableReal<double>()[i] = ++next;
      parts.push_back(part);
      if (upTo(3) == 0)
        parts.push_back(HostArray::zeros(upTo(1) == 0 ? ArrayClass::Double : ArrayClass::Single, {0, 0}));
      Arrays subscripts{colon(), colon(), colon()};
      std::vector<double> places;
      for (std::size_t i = 0; i < dims[dimension]; ++i) places.push_back(static_cast<double>(++used));
      subscripts[dimension] = row(places);
      if (expected.isEmpty())
        expected = part;
      else
        subsasgn(expected, subscripts, part);
    }
    const HostArray joined = concatenate(dimension, parts);
    EXPECT_EQ(valuesOf(joined), valuesOf(expected)) << "round " << roundNumber;
    if (!joined.isEmpty()) {
      EXPECT_EQ(joined.dims(), expected.dims()) << "round " << roundNumber;
    }
  }
}

}  // namespace
}  // namespace tessel
