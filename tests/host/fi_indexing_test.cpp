/// Indexing methods on wrapped arrays: who owns the object, and what is left when something is raised.
#include "qfcore/host/FiObjClass.h"
#include "tests/host/fixture.h"

namespace embedded::host {
namespace {

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
