// The classes of the package: their order, their methods called with anything, change events of texts.
#include <algorithm>
#include <set>
#include <string_view>
#include <typeinfo>

#include "qfcore/host/NumericTypeObjClass.h"
#include "qfcore/host/exchange.h"
#include "tessel/console.h"
#include "tessel/interpreter.h"
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

/// Calls the row of a method without an object, with which the host would not.
void callWithoutObject(const tessel::FunctionInfo& row, const HostArray& argument) {
  for (const int count : {row.minInputs, row.minInputs + 1}) {
    Arrays inputs(static_cast<std::size_t>(count), argument);
    try {
      row.call(inputs, 1);
    } catch (const tessel::HostError&) {
    } catch (const std::bad_cast&) {
    }
  }
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
      for (const HostArray& each : palette) callWithoutObject(method->function, each);
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

TEST_F(Classes, NumericTypesBecomeObjectsAndTypesAgain) {
  using Class = embedded::host::NumericTypeObjClass;
  using EmbeddedTypeSystem::NumericType;
  NumericType type(true, 12, 4);
  const auto lent = Class::convertToInternalTesselArray(type),
             copied = Class::convertToExternalTesselArray(type);
  const HostArray kept = HostArray::object(lent.objectAt()->clone());
  Class::convertFromTesselArray(lent).setWordLength(20);
  EXPECT_EQ(type.wordLength(), 20);
  EXPECT_EQ(Class::convertFromTesselArray(kept).wordLength(), 12);
  NumericType& held = Class::convertFromTesselArray(copied);
  EXPECT_EQ(held.wordLength(), 12);
  EXPECT_EQ(Class::convertToInternalTesselArray(held).objectAt(), copied.objectAt());
  EXPECT_EQ(&copied.objectAt()->hostClass(), &Class::getTesselPackageClassName());
  EXPECT_THROW(Class::convertFromTesselArray(HostArray::scalar(3)), embedded::ErrorIdException);
  std::shared_ptr<tessel::HostObject> object = copied.objectAt();
  const std::weak_ptr<tessel::HostObject> watched = object;
  Class::destroyObject(object);
  EXPECT_FALSE(object);
  EXPECT_EQ(watched.lock(), copied.objectAt());
}

TEST_F(Classes, AreMadeAgainAfterTermination) {
  const HostArray before = freshObject(classNamed("fi"));
  const auto sum = [&] { return tessel::callFunction("plus", {before, before})[0]; };
  const auto construct = [] { return tessel::callFunction("fi", {HostArray::scalar(1)})[0]; };
  const std::string expected = textOf(tessel::getProperty(sum(), "double"));
  TesselTerminate_qfcore();
  TesselTerminate_qfcore();
  EXPECT_EQ(errorOf(construct), "numforge:module:terminated");
  EXPECT_EQ(textOf(tessel::getProperty(sum(), "double")), expected);
  EXPECT_EQ(before.className(), "embedded.fi");
  EXPECT_EQ(tessel::findClass("embedded.fi"), nullptr);
  TesselInitialize_qfcore();
  TesselInitialize_qfcore();
  EXPECT_EQ(embedded::heldArray(construct())->numel(), 1U);
  EXPECT_EQ(embedded::heldArray(HostArray::scalar(1)), nullptr);
  EXPECT_EQ(textOf(tessel::getProperty(construct(), "double")), "1x1x: 1 ");
  EXPECT_EQ(textOf(tessel::getProperty(sum(), "double")), expected);
  EXPECT_EQ(concreteClasses().size(), 17U);
}

/// The hidden properties of `hostClass`, which editing dialogs show, less `property`, of which `holds`.
template <class Holds>
std::set<std::string> hiddenOnes(const HostClass& hostClass, const std::string& property, Holds holds) {
  std::set<std::string> names;
  for (const tessel::PropertyInfo* each : hostClass.properties()) {
    if (each->hidden && each->name != property && holds(each->name)) names.insert(each->name);
  }
  return names;
}

TEST_F(Classes, ListenersHearOfEveryTextThatChanges) {
  HostArray palette[] = {HostArray::scalar(24),      HostArray::scalar(3),         HostArray::scalar(1),
                         HostArray::scalar(0.375),   HostArray::scalar(1.25),      HostArray::scalar(0),
                         HostArray::text("7"),       HostArray::text("0.0625"),    HostArray::text("1.75"),
                         HostArray::text("KeepMSB"), HostArray::text("SlopeBias"), HostArray()};
  for (const char* name : {"fimath", "reffimath", "numerictype"}) {
    const HostClass& hostClass = classNamed(name);
    const bool hasSet = hostClass.findMethod("set") != nullptr;
    HostArray one = hostClass.create({}), other = hostClass.create({});
    std::multiset<std::string> heard, alsoHeard;
    for (const tessel::PropertyInfo* property : hostClass.properties()) {
      one.objectAt()->addListener(property->name,
                                  [&](tessel::HostObject&, const std::string& told) { heard.insert(told); });
    }
    other.objectAt()->addListener(
        "", [&](tessel::HostObject&, const std::string& told) { alsoHeard.insert(told); });
    for (const tessel::PropertyInfo* property : hostClass.properties()) {
      for (const HostArray& value : palette) {
        SCOPED_TRACE(name + ("." + property->name) + " = " + textOf(value));
        heard.clear();
        alsoHeard.clear();
        const auto before = stateOf(one);
        const std::string error = errorOf([&] { tessel::setProperty(one, property->name, value); });
        const auto after = stateOf(one);
        const auto changed = hiddenOnes(hostClass, property->name, [&](const std::string& each) {
          return before.at(each) != after.at(each);
        });
        const auto told = hiddenOnes(hostClass, property->name,
                                     [&](const std::string& each) { return heard.contains(each); });
        if (!error.empty()) {
          EXPECT_TRUE(heard.empty());
        } else if (hasSet) {
          EXPECT_EQ(told, changed);
        } else {
          EXPECT_TRUE(std::ranges::includes(told, changed));
        }
        EXPECT_LE(heard.count(property->name), 1U);
        EXPECT_TRUE(heard.contains(property->name) || before == after);
        if (!hasSet) continue;
        const Arrays arguments{other, HostArray::text(property->name), value};
        EXPECT_EQ(errorOf([&] { tessel::callFunction("set", arguments, 0); }), error);
        EXPECT_EQ(alsoHeard, heard);
        EXPECT_EQ(stateOf(other), after);
      }
    }
  }
}

}  // namespace
