// The object system, calls by name, registries, messages, the console, libraries.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>

#include "tessel/console.h"
#include "tessel/interpreter.h"
#include "tessel/module.h"
#include "tessel/registries.h"
#include "tests/runtime/helpers.h"

#include "tessel/runtime/dispatch.h"
#include "tessel/runtime/display.h"

namespace tessel {
namespace {

HostArray textRow(const char* text) { return HostArray::text(text); }

/// A class with one property of each type; what the setter receives is what the getter returns.
class Store : public HostObject {
 public:
  using HostObject::HostObject;
  std::shared_ptr<HostObject> clone() const override { return std::make_shared<Store>(*this); }
  std::map<std::string, HostArray> values;
};

HostClass& storeClass() {
  if (HostClass* existing = findClass("test.Store")) return *existing;
  registerEnumeratedType({"TestModeEnum", {{"Floor", 0}, {"Ceil", 3}}});
  HostClass& c = getPackage("test").createClass("Store");
  c.setFactory([&c](Arrays&) { return std::make_shared<Store>(c); });
  for (const char* type :
       {"int32", "double", "bool", "string", "Tessel array", "real point", "TestModeEnum", "test.Box"}) {
    const std::string name = type;
    c.addProperty({name, name, [name](HostObject& o) { return static_cast<Store&>(o).values[name]; },
                   [name](HostObject& o, const HostArray& v) { static_cast<Store&>(o).values[name] = v; }, ""});
  }
  c.addProperty({"fixed", "double", [](HostObject&) { return num(1); }, {}, ""});
  for (const char* hidden : {"fixedly", "fixedsx"})
    c.addMethod({{hidden, [](Arrays&, int) { return Arrays(); }, 1, 1, 0, ""}, false, true});
  c.addProperty(
      {"odd", "test.Nothing", [](HostObject&) { return num(1); }, [](HostObject&, const HostArray&) {}, ""});
  return c;
}

TEST(Objects, PropertyTypesCheckAndConvert) {
  boxClass(true), boxClass(false);
  HostArray object = storeClass().create({});
  HostArray z = num(1);
  z.mutableImag<double>()[0] = 1;
  const HostArray subBox = [] {
    HostClass& sub = getPackage("test").createClass("SubBox", &boxClass(true));
    sub.setFactory([&sub](Arrays&) { return std::make_shared<Box>(sub, 5); });
    return sub.create({});
  }();
  const struct {
    const char* property;
    HostArray value;
    const char* resultClass;  // null: refused
  } cases[] = {
      {"int32", num(-7), "int32"},
      {"int32", HostArray::scalarOf<std::uint64_t>(7), "int32"},
      {"int32", num(1.5), nullptr},
      {"int32", num(2147483648.0), nullptr},
      {"int32", row({1, 2}), nullptr},
      {"int32", z, nullptr},
      {"int32", textRow("7"), nullptr},
      {"double", HostArray::scalarOf<float>(0.5f), "double"},
      {"double", HostArray::logical(true), "double"},
      {"double", HostArray(), nullptr},
      {"bool", num(1), "logical"},
      {"bool", num(2), nullptr},
      {"string", textRow("abc"), "char"},
      {"string", HostArray::charMatrix({"a", "b"}), nullptr},
      {"string", num(1), nullptr},
      {"Tessel array", HostArray::cell({2, 2}), "cell"},
      {"real point", row({1, 2}), "double"},
      {"real point", row({1, 2, 3}), nullptr},
      {"real point", textRow("ab"), nullptr},
      {"TestModeEnum", textRow("cEIL"), "char"},
      {"test.Box", box(1), "test.Box"},
      {"test.Box", subBox, "test.SubBox"},
      {"test.Box", box(1, false), nullptr},
      {"test.Box", num(1), nullptr},
      {"test.Box", HostArray::objects({box(1).objectAt(), box(2).objectAt()}, {1, 2}), nullptr},
  };
  for (const auto& c : cases) {
    const HostArray before = getProperty(object, c.property);
    const std::string error = errorOf([&] { setProperty(object, c.property, c.value); });
    EXPECT_EQ(error, c.resultClass != nullptr ? "" : "Tessel:invalidPropertyValue") << c.property;
    const HostArray after = getProperty(object, c.property);
    EXPECT_EQ(after.className(), c.resultClass != nullptr ? c.resultClass : before.className()) << c.property;
  }
  EXPECT_EQ(getProperty(object, "TestModeEnum").toText(), "Ceil");
  EXPECT_EQ(errorOf([&] { setProperty(object, "fixed", num(1)); }), "Tessel:readOnlyProperty");
  EXPECT_EQ(errorOf([&] { setProperty(object, "INT32", num(1)); }), "Tessel:noSuchProperty");
  EXPECT_EQ(errorOf([&] { getProperty(num(1), "int32"); }), "Tessel:mustBeScalar");
  EXPECT_EQ(errorOf([&] { setProperty(object, "odd", num(1)); }), "Tessel:unknownPropertyType");
  const HostArray both = HostArray::objects({object.objectAt(), object.objectAt()}, {1, 2});
  EXPECT_EQ(errorOf([&] { getProperty(both, "int32"); }), "Tessel:mustBeScalar");
  EXPECT_EQ(storeClass().findExample("int32"), nullptr);
  try {
    getProperty(object, "fixeds");
    FAIL();
  } catch (const HostError& e) {
    EXPECT_NE(std::string(e.what()).find("'fixed'"), std::string::npos) << e.what();
    for (const char* hidden : {"fixedly", "fixedsx"})
      EXPECT_EQ(std::string(e.what()).find(hidden), std::string::npos) << e.what();
  }
  try {
    setProperty(object, "TestModeEnum", textRow("round"));
    FAIL();
  } catch (const HostError& e) {
    EXPECT_EQ(e.identifier(), "Tessel:invalidEnumValue");
    for (const char* part : {"'round'", "TestModeEnum", "test.Store", "'Floor', 'Ceil'"}) {
      EXPECT_NE(std::string(e.what()).find(part), std::string::npos) << e.what();
    }
  }
}

TEST(Objects, ValueClassesCloneWhenShared) {
  HostArray a = box(1), b = a;
  const HostObject* original = a.objectAt().get();
  setProperty(b, "Value", num(2));
  EXPECT_EQ(valueOf(a), 1);
  EXPECT_EQ(valueOf(b), 2);
  setProperty(a, "Value", num(3));  // shared no longer
  EXPECT_EQ(a.objectAt().get(), original);
  EXPECT_EQ(errorOf([&] { setProperty(a, "Value", num(-1)); }), "test:negative");
  EXPECT_EQ(valueOf(a), 3);

  HostArray h = box(1, false), same = h;
  setProperty(same, "Value", num(2));
  EXPECT_EQ(valueOf(h), 2);
}

TEST(Objects, AreShownAndRearranged) {
  const HostArray pages = HostArray::objects({box(1).objectAt(), box(2).objectAt()}, {1, 1, 2});
  EXPECT_EQ(displayText(pages, "p"), "\np =\n\n  1x1x2 test.Box\n\n");
  const ConsoleRedirect shown;
  callFunction("display", {box(1), textRow("b")}, 0);
  callFunction("display", {HostArray::objects({}, {0, 0})}, 0);
  EXPECT_EQ(shown.text(), "\nb =\n\n  1x1 test.Box\n\n\nans =\n\n  0x0 object\n\n");
  EXPECT_EQ(valueOf(callFunction("flip", {pages, num(3)})[0]), 2);
}

TEST(Objects, ChangeEventsReachTheirListeners) {
  HostArray object = box(1, false);
  int calls = 0, others = 0;
  object.objectAt()->addListener("Value", [&](HostObject& o, const std::string& property) {
    EXPECT_EQ(property, "Value");
    if (++calls == 1) o.addListener("Value", [&](HostObject&, const std::string&) { ++others; });
  });
  object.objectAt()->addListener("Other", [&](HostObject&, const std::string&) { ADD_FAILURE(); });
  setProperty(object, "Value", num(2));
  EXPECT_EQ(std::make_pair(calls, others), std::make_pair(1, 0));
  setProperty(object, "Value", num(3));
  EXPECT_EQ(std::make_pair(calls, others), std::make_pair(2, 1));
  HostArray copy = HostArray::object(object.objectAt()->clone());
  setProperty(copy, "Value", num(4));
  EXPECT_EQ(calls, 2);
}

TEST(Objects, SubclassesInheritAndReplace) {
  Package& package = getPackage("inherit");
  HostClass& base = package.createClass("base");
  HostClass& derived = package.createClass("derived", &base);
  const auto constant = [](double v) { return [v](HostObject&) { return num(v); }; };
  const auto method = [](double v) { return [v](Arrays&, int) -> Arrays { return {num(v)}; }; };
  base.addProperty({"p", "double", constant(1), {}, ""});
  base.addProperty({"q", "double", constant(2), {}, ""});
  base.addMethod({{"first", method(1), 0, -1, 1, ""}});
  base.addMethod({{"second", method(2), 0, -1, 1, ""}});
  derived.addProperty({"r", "double", constant(3), {}, ""});
  derived.addProperty({"p", "double", constant(10), {}, ""});
  derived.addMethod({{"second", method(20), 0, -1, 1, ""}});
  derived.setFactory([&derived](Arrays&) { return std::make_shared<Box>(derived, 0); });
  const HostArray object = derived.create({});
  const MemberName late("late"), replaced("p");
  EXPECT_EQ(late.methodOf(derived), nullptr);
  EXPECT_EQ(replaced.propertyOf(base)->get(*object.objectAt()).scalarValue(), 1);
  EXPECT_EQ(replaced.propertyOf(derived)->get(*object.objectAt()).scalarValue(), 10);
  base.addMethod({{"late", method(3), 0, -1, 1, ""}});
  EXPECT_EQ(late.methodOf(derived), base.findMethod("late"));
  EXPECT_EQ(getProperty(object, "p").scalarValue(), 10);
  EXPECT_EQ(getProperty(object, "q").scalarValue(), 2);
  EXPECT_EQ(callFunction("first", {object})[0].scalarValue(), 1);
  EXPECT_EQ(callFunction("second", {num(0), object})[0].scalarValue(), 20);
  std::string names;
  for (const PropertyInfo* p : derived.properties()) names += p->name;
  EXPECT_EQ(names, "pqr");
  EXPECT_TRUE(derived.isA(base) && !base.isA(derived));
  EXPECT_EQ(errorOf([&] { base.create({}); }), "Tessel:abstractClass");
  EXPECT_EQ(errorOf([&] { base.addProperty({"p", "double", constant(1), {}, ""}); }), "Tessel:propertyExists");
  EXPECT_EQ(errorOf([&] { base.addMethod({{"first", method(1), 0, -1, 1, ""}}); }), "Tessel:methodExists");
  EXPECT_EQ(errorOf([&] { package.createClass("base"); }), "Tessel:classExists");
}

TEST(Interpreter, DispatchAndArity) {
  registerFunction({"sum", [](Arrays&, int) -> Arrays { return {num(-1)}; }, 0, -1, 1, ""});
  registerFunction({"pairOf", [](Arrays& in, int) -> Arrays { return {in[0], in[0]}; }, 1, 1, 2, ""});
  EXPECT_EQ(callFunction("sum", {num(1), box(2), num(3)})[0].scalarValue(), 6);
  EXPECT_EQ(callFunction("sum", {num(1)})[0].scalarValue(), -1);
  EXPECT_EQ(callBuiltin("sum", {box(1)})[0].scalarValue(), -1);
  EXPECT_EQ(errorOf([] { callFunction("pairOf", {}); }), "Tessel:NotEnoughInputs");
  EXPECT_EQ(errorOf([] { callFunction("pairOf", {num(1), num(2)}); }), "Tessel:TooManyInputs");
  EXPECT_EQ(errorOf([] { callFunction("pairOf", {num(1)}, 3); }), "Tessel:TooManyOutputs");
  EXPECT_EQ(errorOf([] { callFunction("sum", {box(1), num(1), num(1), num(1)}); }), "Tessel:TooManyInputs");
  EXPECT_EQ(errorOf([] { callFunction("no_such", {num(1)}); }), "Tessel:UndefinedFunction");
  EXPECT_EQ(errorOf([] { evaluateExpression("1"); }), "Tessel:noInterpreter");
  struct Unknown : FunctionValue {
    std::string text() const override { return "@unknown"; }
  };
  EXPECT_EQ(errorOf([] { callFunctionValue(Unknown(), {}); }), "Tessel:noInterpreter");
  EXPECT_TRUE(stackTrace().empty());
  EXPECT_EQ(formOfTwo(MemberName("no_such"), num(1), num(1)), nullptr);
  attachLanguage({[](const std::string& text) { return HostArray::text(text + "!"); },
                  [] { return std::vector<std::string>{"f:1"}; },
                  {}});
  EXPECT_EQ(evaluateExpression("hi").toText(), "hi!");
  EXPECT_EQ(stackTrace().size(), 1u);
  attachLanguage({});
}

double switchState = -1;
void testSwitch(int outputCount, HostArray* outputs, int inputCount, const HostArray* inputs) {
  if (outputCount > 1) raiseTooManyOutputs();
  if (inputCount > 0) switchState = inputs[0].scalarValue();
  outputs[0] = num(switchState);
}

TEST(Registries, EnumeratedTypesAndFeatures) {
  const EnumeratedType& type = registerEnumeratedType({"ColourEnum", {{"Red", 4}, {"Green", 7}}});
  EXPECT_EQ(findEnumeratedType("ColourEnum"), &type);
  EXPECT_EQ(type.find("GREEN")->second, 7);
  EXPECT_EQ(type.find("Gree"), nullptr);
  EXPECT_EQ(*type.textOf(4), "Red");
  EXPECT_EQ(type.textOf(5), nullptr);
  EXPECT_EQ(errorOf([] { registerEnumeratedType({"ColourEnum", {}}); }), "Tessel:enumExists");
  registerFeature("TestSwitch", 1, testSwitch);
  EXPECT_EQ(switchState, 1);
  EXPECT_EQ(findFeature("TestSwitch"), &testSwitch);
  EXPECT_EQ(featureNames().back(), "TestSwitch");
}

TEST(Messages, WarningsAreShownUnlessSwitchedOffAndRemembered) {
  const auto shown = [](const char* id) {
    testing::internal::CaptureStderr();
    warn(id, "take care");
    return testing::internal::GetCapturedStderr();
  };
  EXPECT_EQ(shown("test:a"), "Warning: take care\n");
  setWarningEnabled("test:a", false);
  EXPECT_EQ(shown("test:a"), "");
  EXPECT_EQ(lastWarning().identifier, "test:a");
  EXPECT_NE(shown("test:b"), "");
  setWarningEnabled("all", false);
  setWarningEnabled("test:b", true);
  EXPECT_EQ(shown("test:c"), "");
  EXPECT_NE(shown("test:b"), "");
  setWarningEnabled("all", true);
  EXPECT_NE(shown("test:a"), "");

  std::string told;
  WarningHandler before =
      setWarningHandler([&](const Warning& warning) { told += warning.identifier + " " + warning.text; });
  setWarningEnabled("test:b", false);
  EXPECT_EQ(shown("test:a") + shown("test:b"), "");
  setWarningHandler(std::move(before));
  setWarningEnabled("all", true);
  EXPECT_EQ(told.substr(0, 7), "test:a ");
  EXPECT_EQ(told.find("test:b"), std::string::npos);
  EXPECT_NE(shown("test:a"), "");
}

TEST(Console, RedirectionsNest) {
  ConsoleRedirect outer;
  print("a");
  {
    ConsoleRedirect inner;
    printFormatted("%s", "");
    printFormatted("%d %s", 5, std::string(2000, 'x').c_str());
    EXPECT_EQ(inner.text(), "5 " + std::string(2000, 'x'));
  }
  print("b");
  EXPECT_EQ(outer.text(), "ab");
}

TEST(Modules, LibrariesAndPackages) {
  void* library = loadLibrary("tessel");  // the host's own, which is no module
  EXPECT_EQ(loadLibrary("tessel"), library);
  EXPECT_EQ(librarySymbol(library, "no_such_symbol"), nullptr);
  EXPECT_EQ(errorOf([] { loadModule("tessel"); }), "Tessel:notAModule");
  EXPECT_EQ(errorOf([] { loadLibrary("no_such_library"); }), "Tessel:libraryNotLoaded");
  // Beside the program's own libraries, under its name with a version alone.
  namespace fs = std::filesystem;
  const fs::path versioned =
      fs::read_symlink("/proc/self/exe").parent_path().parent_path() / "lib/libof_one_version.so.1";
  std::ofstream(versioned) << "no library";
  try {
    loadLibrary("of_one_version");
    ADD_FAILURE();
  } catch (const HostError& e) {
    EXPECT_NE(std::string(e.what()).find(versioned.filename().string()), std::string::npos) << e.what();
  }
  fs::remove(versioned);
  EXPECT_EQ(errorOf([] { loadPackage("no.such"); }), "Tessel:noSuchPackage");
  loadPackage("tessel.base");
  getPackage("known.package");
  loadPackage("known.package");
  EXPECT_NE(findPackage("tessel.base"), nullptr);
}

}  // namespace
}  // namespace tessel
