/// What objects are saved as: whatever a file makes of it, an object comes back whole, or an error does.
#include <cmath>

#include "qfcore/host/QuantizerObjClass.h"
#include "qfcore/logging/qlogger.h"
#include "tests/host/invariants.h"

using namespace host_tests;

namespace {

class States : public HostTest {};

using Use = std::function<void(const HostArray&)>;

HostArray withElement(HostArray array, std::size_t place, double value) {
  array.mutableReal<double>()[place] = value;
  return array;
}

/// Calls `use` with what a damaged file may have in place of `whole`, or of one of its parts.
void forEachDamage(const HostArray& whole, const Use& use) {
  HostArray complexOne = HostArray::scalar(1);
  complexOne.mutableImag<double>()[0] = 1;
  const HostArray palette[] = {HostArray(),
                               complexOne,
                               HostArray::scalar(0.5),
                               HostArray::scalar(7),
                               HostArray::text("floor"),
                               HostArray::text("Signed"),
                               HostArray::cell({1, 1}),
                               HostArray::structure(),
                               HostArray::structure({1, 2}, {"Numbers"}),
                               row({16, 1, -15, 0}),
                               row({1, 2, 3, 4, 5}),
                               HostArray::charMatrix({"ab", "cd"}),
                               classNamed("quantizer").create({}),
                               classNamed("numerictype").create({})};
  for (const HostArray& each : palette) use(each);
  if (whole.isStruct()) {
    for (const std::string& name : whole.fieldNames()) {
      HostArray without = whole;
      without.removeField(name);
      use(without);
      forEachDamage(whole.fieldAt(name), [&](const HostArray& part) {
        HostArray damaged = whole;
        damaged.mutableFieldAt(name) = part;
        use(damaged);
      });
    }
  }
  for (std::size_t k = 0; whole.isCell() && k < whole.numel(); ++k) {
    forEachDamage(whole.cellAt(k), [&](const HostArray& part) {
      HostArray damaged = whole;
      damaged.mutableCellAt(k) = part;
      use(damaged);
    });
  }
  for (std::size_t k = 0; whole.arrayClass() == ArrayClass::Double && k < whole.numel(); ++k) {
    for (const double value : {-1.0, 0.5, 2.0, 70000.0, 1e300, -1e300, HUGE_VAL, std::nan("")})
      use(withElement(whole, k, value));
  }
}

void checkWhole(const HostArray& object) {
  if (const fi* x = host::unwrapped<fi>(object)) checkArray(*x);
  if (const auto* type = host::unwrapped<NumericType>(object)) checkType(*type);
  if (const auto* q = host::unwrapped<quantizer>(object)) {
    EXPECT_GE(q->wordLength(), 1);
  }
  stateOf(object);
}

TEST_F(States, DamagedOnesGiveWholeObjectsOrErrors) {
  const auto call = [](const char* name, const Arrays& arguments) {
    return tessel::callFunction(name, arguments).at(0);
  };
  const auto num = [](double value) { return HostArray::scalar(value); };
  const HostArray values = row({0.75, -3, 100});
  const HostArray slopeBias = call("numerictype", {num(1), num(12), num(0.3), num(1)});
  qlogger::setLogging(true);
  const HostArray objects[] = {
      slopeBias,
      call("fimath", {HostArray::text("SumMode"), HostArray::text("KeepLSB")}),
      call("quantizer", {HostArray::text("float"), row({12, 4})}),
      call("quantizer", {row({70, 3})}),
      call("quantizer", {HostArray::text("single")}),
      call("fi", {values, num(1), num(8), num(4)}),
      call("fi", {values, num(0), num(90), num(70)}),
      call("fi", {values, slopeBias}),
      call("fi", {values, call("numerictype", {HostArray::text("single")})}),
      call("fi", {values, call("numerictype",
                               {HostArray::text("ScaledDouble"), HostArray::text("FractionLength"), num(3)})})};
  for (const HostArray& object : {objects[2], objects[3]})
    tessel::callFunction("quantize", {object, row({1e9, 0.01})}, 1);
  qlogger::setLogging(false);
  for (const HostArray& object : objects) {
    const tessel::Persistence& persistence = *object.objectAt()->hostClass().persistence();
    const HostArray state = persistence.state(*object.objectAt());
    auto restored = stateOf(persistence.restored(state));
    for (const auto& [name, value] : stateOf(object)) EXPECT_EQ(restored[name], value) << name;
    int whole = 0;
    forEachDamage(state, [&](const HostArray& damaged) {
      SCOPED_TRACE(object.className() + " from " + textOf(damaged));
      errorOf([&] {
        checkWhole(persistence.restored(damaged));
        ++whole;
      });
    });
    EXPECT_GT(whole, 0);
    EXPECT_FALSE(qlogger::getLogging());
  }
}

}  // namespace
