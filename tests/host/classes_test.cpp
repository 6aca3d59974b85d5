// The classes of the package: their order, their methods called with anything, change events of texts.
#include <algorithm>
#include <set>
#include <string_view>

#include "tessel/interpreter.h"
#include "tessel/runtime/console.h"
#include "tests/host/fixture.h"

using namespace host_tests;

namespace {

class Classes : public HostTest {};

HostArray numericType(double wordLength) {
  HostArray type = classNamed("numerictype").create({});
  tessel::setProperty(type, "WordLength", HostArray::scalar(wordLength));
  return type;
}

HostArray flooringMath() {
  HostArray math = classNamed("fimath").create({});
  tessel::setProperty(math, "RoundMode", HostArray::text("floor"));
  return math;
}

/// Calls a method with every choice of arguments from `palette` behind the object, up to `count` of them.
void callWithAnything(const HostClass& hostClass, const std::string& name, const Arrays& palette, int count,
                      Arrays chosen) {
  const HostArray object = freshObject(hostClass);
  const auto before = stateOf(object);
  Arrays inputs{object};
  inputs.insert(inputs.end(), chosen.begin(), chosen.end());
  try {
    tessel::callFunction(name, inputs, 1);
  } catch (const tessel::HostError& error) {
    EXPECT_EQ(stateOf(object), before) << error.identifier();
    // What methods leave to the host is there without the functions of a script language.
    EXPECT_FALSE(std::string_view(error.what()).starts_with("Undefined function or variable")) << error.what();
  }
  if (count == 0) return;
  for (const HostArray& each : palette) {
    chosen.push_back(each);
    callWithAnything(hostClass, name, palette, count - 1, chosen);
    chosen.pop_back();
  }
}

TEST_F(Classes, EveryMethodAnswersOrRaisesWhateverItIsGiven) {
  const tessel::ConsoleRedirect quiet;
  HostArray cell = HostArray::cell({1, 1});
  const Arrays palette{HostArray::scalar(1),
                       HostArray::scalar(-2.5),
                       HostArray(),
                       HostArray::text("RoundMode"),
                       cell,
                       row({1, 2, 3}),
                       freshObject(classNamed("fi")),
                       numericType(8),
                       flooringMath()};
  for (const HostClass* hostClass : concreteClasses()) {
    for (const tessel::MethodInfo* method : hostClass->methods()) {
      SCOPED_TRACE(hostClass->name() + "." + method->function.name);
      const int wanted = method->function.maxInputs < 0 ? 2 : std::min(method->function.maxInputs - 1, 2);
      callWithAnything(*hostClass, method->function.name, palette, wanted, {});
      callWithAnything(*hostClass, method->function.name, {}, 0, Arrays(7, palette[0]));
    }
  }
}

TEST_F(Classes, AreCreatedInOrder) {
  std::string names;
  for (const HostClass* each : tessel::getPackage("embedded").classes()) names += each->name() + " ";
  EXPECT_EQ(names,
            "type scalartype complextype enumtype pointertype opaquetype matrixtype structelement structtype "
            "chartype "
            "voidtype numerictype quantizer fimath reffimath fi qlogger filog ");
}

TEST_F(Classes, ADependentTextSignalsItsChange) {
  HostArray type = classNamed("numerictype").create({});
  std::set<std::string> changed;
  for (const tessel::PropertyInfo* property : classNamed("numerictype").properties()) {
    type.objectAt()->addListener(property->name,
                                 [&](tessel::HostObject&, const std::string& name) { changed.insert(name); });
  }
  tessel::setProperty(type, "FractionLength", HostArray::scalar(3));
  EXPECT_EQ(changed,
            (std::set<std::string>{"FractionLength", "PrivDlgFractionLengthString", "PrivDlgSlopeString"}));
  changed.clear();
  tessel::setProperty(type, "PrivDlgWordLengthString", HostArray::text("24"));
  EXPECT_EQ(changed, (std::set<std::string>{"PrivDlgWordLengthString", "WordLength"}));
  EXPECT_EQ(tessel::getProperty(type, "WordLength").realAt(0), 24);
}

}  // namespace
