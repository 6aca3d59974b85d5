/// Indexing methods on wrapped arrays: who owns the object, and what is left when something is raised.
#include <iterator>
#include <limits>

#include "qfcore/host/FiObjClass.h"
#include "tests/host/fixture.h"

namespace embedded::host {
namespace {

using host_tests::errorOf;

class FiObjects : public host_tests::HostTest {};

Arrays call(const char* method, Arrays& inputs, int outputCount = 1) {
  return hostClassOf<fi>->findMethod(method)->function.call(inputs, outputCount);
}

HostArray index(const char* type, Arrays subscripts) {
  HostArray structure = HostArray::structure({1, 1}, {"type", "subs"});
  HostArray subs = HostArray::cell({1, subscripts.size()});
  for (std::size_t k = 0; k < subscripts.size(); ++k) subs.mutableCellAt(k) = std::move(subscripts[k]);
  structure.mutableFieldAt("type") = HostArray::text(type);
  structure.mutableFieldAt("subs") = std::move(subs);
  return structure;
}

HostArray largeArray() { return wrap(fi(1000U, 1000U, NumericType(true, 16, 4))); }

/// `array` after array(position) = value, moved through the method as the interpreter moves a variable.
HostArray assigned(HostArray array, const HostArray& position, const HostArray& value) {
  Arrays inputs{HostArray(), index("()", {position}), value};
  inputs[0] = std::move(array);
  return std::move(call("subsasgn", inputs).at(0));
}

TEST_F(FiObjects, AnUnsharedArrayIsAssignedInPlace) {
  HostArray array = largeArray();
  const fi* object = unwrapped<fi>(array);
  const double* values = object->realPart().doubles();
  const HostArray small = wrap(fi(2.5, NumericType(true, 8, 2)));
  // Work for every element of the array would take minutes.
  for (int k = 1; k <= 20000; ++k) {
    array = assigned(std::move(array), HostArray::scalar(k), k % 2 ? HostArray::scalar(k % 100) : small);
  }
  EXPECT_EQ(unwrapped<fi>(array), object);
  EXPECT_EQ(object->realPart().doubles(), values);
  EXPECT_EQ(values[98], 99);
  EXPECT_EQ(values[99], 2.5);
}

TEST_F(FiObjects, ASharedArrayLeavesItsOtherOwnerAlone) {
  HostArray array = largeArray();
  const HostArray other = array;
  array = assigned(std::move(array), HostArray::scalar(1), HostArray::scalar(3));
  EXPECT_EQ(unwrapped<fi>(array)->realPart().doubles()[0], 3);
  EXPECT_EQ(unwrapped<fi>(other)->realPart().doubles()[0], 0);
  // Into itself: a(:) = a.
  Arrays inputs{array, index("()", {HostArray::text(":")}), array};
  EXPECT_EQ(unwrapped<fi>(call("subsasgn", inputs)[0])->realPart().doubles()[0], 3);
}

TEST_F(FiObjects, ErrorsGiveTheVariableBack) {
  const HostArray bad[] = {HostArray::scalar(0), HostArray::scalar(1.5), HostArray::scalar(2e6),
                           HostArray::text("x")};
  for (const HostArray& position : bad) {
    Arrays inputs{largeArray(), index("()", {position}), HostArray::scalar(1)};
    const fi* object = unwrapped<fi>(inputs[0]);
    EXPECT_THROW(call("subsasgn", inputs), tessel::HostError);
    EXPECT_EQ(unwrapped<fi>(inputs[0]), object);
  }
  HostArray field = HostArray::structure({1, 1}, {"type", "subs"});
  field.mutableFieldAt("type") = HostArray::text(".");
  field.mutableFieldAt("subs") = HostArray::text("RoundMode");
  Arrays inputs{largeArray(), field, HostArray::text("sideways")};
  const fi* object = unwrapped<fi>(inputs[0]);
  EXPECT_THROW(call("subsasgn", inputs), tessel::HostError);
  EXPECT_EQ(unwrapped<fi>(inputs[0]), object);
  inputs[2] = HostArray::text("floor");
  const HostArray changed = call("subsasgn", inputs).at(0);
  EXPECT_EQ(unwrapped<fi>(changed), object);
  EXPECT_EQ(object->getFimath().roundMode(), RoundModeEnum::floor);
}

/// Arrays of several sizes and kinds of values.
std::vector<HostArray> variedArrays() {
  std::vector<HostArray> arrays;
  NumericType slopeBias(true, 12, 0);
  slopeBias.setScaling(EmbeddedTypeSystem::ScalingEnum::SlopeBias);
  slopeBias.setSlope(1.5);
  slopeBias.setBias(0.25);
  const NumericType types[] = {NumericType(true, 8, 2), NumericType(false, 60, 3), slopeBias};
  for (const NumericType& type : types) {
    for (const tessel::Dimensions& dims : {tessel::Dimensions{0, 0}, {1, 1}, {1, 4}, {3, 2}, {2, 3, 2}}) {
      for (const bool isComplex : {false, true}) {
        HostArray values = HostArray::zeros(tessel::ArrayClass::Double, dims, isComplex);
        for (std::size_t k = 0; k < values.numel(); ++k) {
          values.mutableReal<double>()[k] = 1.25 * static_cast<double>(k) + 0.5;
          if (isComplex) values.mutableImag<double>()[k] = static_cast<double>(k);
        }
        arrays.push_back(wrap(fi(&values, type, fimath())));
      }
    }
  }
  return arrays;
}

TEST_F(FiObjects, TheDirectWayToElementsIsThatOfTheMethods) {
  const tessel::ElementAccess access = *hostClassOf<fi>->elementAccess();
  const double nan = std::numeric_limits<double>::quiet_NaN(),
               infinity = std::numeric_limits<double>::infinity();
  const double palette[] = {-1, 0, 0.5, 1, 1.5, 2, 3, 4, 5, 6, 7, 12, 13, 4294967297.0, 1e300, nan, infinity};
  std::vector<std::vector<double>> subscripts;
  for (const double first : palette) {
    subscripts.push_back({first});
    for (const double second : palette) subscripts.push_back({first, second});
  }
  HostArray complexValue = HostArray::scalar(1.5);
  complexValue.mutableImag<double>()[0] = 1;
  const HostArray values[] = {HostArray::scalar(3.3),
                              HostArray::scalar(nan),
                              HostArray::logical(true),
                              complexValue,
                              HostArray(),
                              wrap(fi(1000.0, NumericType(true, 20, 2))),
                              wrap(fi(&complexValue, NumericType(true, 8, 4), fimath()))};
  std::size_t valueCount = 0, takenCount = 0;
  for (const HostArray& array : variedArrays()) {
    for (const std::vector<double>& each : subscripts) {
      Arrays scalars;
      for (const double subscript : each) scalars.push_back(HostArray::scalar(subscript));
      const HostArray structure = index("()", scalars);
      Arrays inputs{array, structure};
      std::vector<tessel::IndexRange> ranges;
      for (const double subscript : each) {
        if (const auto range = tessel::IndexRange::at(subscript)) ranges.push_back(*range);
      }
      if (ranges.size() < each.size()) continue;
      const auto element = access.elements(*array.objectAt(), ranges);
      EXPECT_EQ(errorOf([&] { inputs[0] = call("subsref", inputs).at(0); }).empty(), element.has_value());
      if (!element) continue;
      EXPECT_EQ(host_tests::textOf(*element), host_tests::textOf(inputs[0]));
      EXPECT_EQ(unwrapped<fi>(*element)->numDims(), 2U);
      const HostArray& value = values[valueCount++ % std::size(values)];
      HostArray direct = HostArray::object(array.objectAt()->clone());
      Arrays assigned{HostArray::object(array.objectAt()->clone()), structure, value};
      EXPECT_FALSE(access.assign(*direct.objectAt(), ranges, direct));  // in place, from itself
      bool isTaken = true;
      const std::string error =
          errorOf([&] { isTaken = access.assign(direct.mutableObject(), ranges, value); });
      if (!isTaken) continue;
      ++takenCount;
      EXPECT_EQ(error, errorOf([&] { assigned[0] = call("subsasgn", assigned).at(0); }));
      EXPECT_EQ(host_tests::textOf(direct), host_tests::textOf(assigned[0]));
    }
  }
  EXPECT_GT(takenCount, valueCount / 3);
}

TEST_F(FiObjects, ConcatenationTakesTheTypeOfTheFirstArray) {
  Arrays inputs{HostArray::scalar(0.3), wrap(fi(1.0, NumericType(true, 8, 2))), HostArray(),
                wrap(fi(0.126, NumericType(true, 30, 20)))};
  const HostArray joined = call("horzcat", inputs).at(0);
  const fi& x = *unwrapped<fi>(joined);
  EXPECT_EQ(x.getNumericType().tostring(), "numerictype(true,8,2)");
  EXPECT_EQ(x.getDoubleHostArray().realAt(0), 0.25);
  EXPECT_EQ(x.getDoubleHostArray().realAt(2), 0.25);
  EXPECT_EQ(x.numel(), 3U);
  Arrays texts{wrap(fi(1.0, NumericType(true, 8, 2))), HostArray::text("a")};
  EXPECT_THROW(call("horzcat", texts), tessel::HostError);
}

}  // namespace
}  // namespace embedded::host
