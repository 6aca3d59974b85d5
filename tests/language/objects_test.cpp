#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "tessel/console.h"
#include "tessel/language/interpreter.h"
#include "tessel/language/storage.h"
#include "tessel/messages.h"
#include "tessel/objects.h"
#include "tessel/runtime/indexing.h"
#include "tessel/runtime/interruption.h"

namespace tessel {
namespace {

int cloneCount = 0;

/// Holds one array; of class "testing.list" (values, indexed by its class) and "testing.box" (handles).
struct Holder : HostObject {
  using HostObject::HostObject;
  std::shared_ptr<HostObject> clone() const override {
    ++cloneCount;
    return std::make_shared<Holder>(*this);
  }
  HostArray content;
};

Holder& holder(const HostArray& array) { return static_cast<Holder&>(*array.objectAt()); }

HostArray makeHolder(const HostClass& hostClass, HostArray content) {
  auto object = std::make_shared<Holder>(hostClass);
  object->content = std::move(content);
  return HostArray::object(std::move(object));
}

/// The content of a holder, other arrays as they are.
HostArray contentOf(const HostArray& array) { return array.isObject() ? holder(array).content : array; }

void requireOneParenLevel(const HostArray& index) {
  if (index.numel() != 1 || index.fieldAt("type").toText() != "()")
    raiseError("testing:index", "one level only");
}

Arrays subscriptsOf(const HostArray& index) {
  const HostArray& subs = index.fieldAt("subs");
  Arrays subscripts;
  for (std::size_t k = 0; k < subs.numel(); ++k) subscripts.push_back(subs.cellAt(k));
  return subscripts;
}

Arrays listSubsref(Arrays& inputs, int outputCount) {
  if (inputs[1].fieldAt("type").toText() == ".")
    return callBuiltin("builtin", {HostArray::text("subsref"), inputs[0], inputs[1]}, outputCount);
  requireOneParenLevel(inputs[1]);
  return {makeHolder(inputs[0].objectAt()->hostClass(),
                     subsref(holder(inputs[0]).content, subscriptsOf(inputs[1])))};
}

Arrays listSubsasgn(Arrays& inputs, int) {
  if (inputs[1].fieldAt("type").toText() == ".")
    return callBuiltin("builtin", {HostArray::text("subsasgn"), inputs[0], inputs[1], inputs[2]});
  requireOneParenLevel(inputs[1]);
  subsasgn(static_cast<Holder&>(inputs[0].mutableObject()).content, subscriptsOf(inputs[1]),
           contentOf(inputs[2]));
  return {std::move(inputs[0])};
}

const HostClass& classOf(const Arrays& inputs) {
  for (const HostArray& input : inputs) {
    if (input.isObject()) return input.objectAt()->hostClass();
  }
  throw std::logic_error("no object");
}

/// A method that does to the contents what the built-in function of its name does.
void addForwarded(HostClass& hostClass, const std::string& name, bool makesObject) {
  const auto call = [name, makesObject](Arrays& inputs, int) -> Arrays {
    Arrays contents;
    for (const HostArray& input : inputs) contents.push_back(contentOf(input));
    HostArray result = callBuiltin(name, contents).at(0);
    return {makesObject ? makeHolder(classOf(inputs), result) : result};
  };
  hostClass.addMethod({{name, call, 1, -1, 1, ""}});
}

void addCommon(HostClass& hostClass) {
  hostClass.setFactory([&hostClass](Arrays& arguments) {
    if (arguments.size() > 1) raiseError("testing:arguments", "one argument only");
    return makeHolder(hostClass, arguments.empty() ? HostArray() : arguments[0]).objectAt();
  });
  hostClass.addProperty({"Content", property_type::kArray,
                         [](HostObject& object) { return static_cast<Holder&>(object).content; },
                         [](HostObject& object, const HostArray& value) {
                           if (value.isChar()) raiseError("testing:noText", "no text");
                           static_cast<Holder&>(object).content = value;
                           object.signalPropertyChange("Content");
                         },
                         ""});
  hostClass.addProperty({"Count",
                         property_type::kInt32,
                         [](HostObject& object) {
                           return HostArray::scalar(
                               static_cast<double>(static_cast<Holder&>(object).content.numel()));
                         },
                         {},
                         ""});
  hostClass.addMethod({{"disp",
                        [](Arrays& inputs, int) -> Arrays {
                          printFormatted("<%zu>\n", holder(inputs[0]).content.numel());
                          return {};
                        },
                        1, 1, 0, ""}});
  hostClass.addMethod({{"negate",
                        [](Arrays& inputs, int) -> Arrays {
                          HostArray& content = holder(inputs[0]).content;
                          content = callBuiltin("uminus", {content}).at(0);
                          if (inputs.size() > 1) raiseError("testing:negate", "negated, but failed");
                          return {HostArray::text("done"), HostArray::text("unasked")};
                        },
                        1, 2, -1, "negate(a): the other sign."},
                       true});
  hostClass.addMethod(
      {{"moved", [](Arrays& inputs, int) -> Arrays { return {std::move(inputs[0])}; }, 1, 1, 1, ""}, true});
  hostClass.addMethod({{"not", [](Arrays&, int) -> Arrays { return {}; }, 1, 1, 1, ""}});
}

/// The last position of a ring tells which subscript of how many asks.
Arrays ringEnd(Arrays& inputs, int) {
  return {HostArray::scalar(10 * inputs[1].scalarValue() + inputs[2].scalarValue())};
}

void registerClasses() {
  Package& package = getPackage("testing");
  if (package.findClass("list")) return;
  HostClass& list = package.createClass("list");
  list.setValueClass(true);
  addCommon(list);
  list.addMethod({{"subsref", listSubsref, 2, 2, 1, ""}});
  list.addMethod({{"subsasgn", listSubsasgn, 3, 3, 1, ""}});
  for (const char* name : {"plus", "mtimes", "uminus", "ctranspose", "horzcat", "vertcat", "colon"})
    addForwarded(list, name, true);
  for (const char* name : {"size", "ne", "eq", "lt"}) addForwarded(list, name, false);
  HostClass& box = package.createClass("box");
  addCommon(box);
  box.addProperty({"Secret", property_type::kArray, [](HostObject&) { return HostArray(); }, {}, "", true});
  box.addMethod({{"hide", [](Arrays&, int) { return Arrays{}; }, 1, 1, 0, "hide(h)"}, false, true});
  HostClass& ring = package.createClass("ring");
  ring.setValueClass(true);
  addCommon(ring);
  ring.addMethod({{"subsref", listSubsref, 2, 2, 1, ""}});
  ring.addMethod({{"end", ringEnd, 3, 3, 1, ""}});
}

struct Case {
  const char* source;
  const char* expected;  ///< printed, or "!IDENTIFIER" of the error behind what was printed
};

std::string printedBy(const std::string& source) {
  Interpreter interpreter;
  const ConsoleRedirect redirect;
  try {
    interpreter.run(interpreter.load(source, "test"));
  } catch (const HostError& error) {
    return redirect.text() + "!" + error.identifier();
  }
  return redirect.text();
}

class Objects : public testing::Test {
 protected:
  void SetUp() override {
    registerClasses();
    cloneCount = 0;
  }
};

TEST_F(Objects, Semantics) {
  // `show` prints the content of its argument on one line.
  const std::string prelude =
      "function show(a), if isobject(a), a = a.Content; end, fprintf('%g ', a); end\n"
      "a = testing.list([1 2 3]); h = testing.box([1 2 3]);\n";
  const Case cases[] = {
      // Construction and display
      {"a", "\na =\n<3>\n"},
      {"testing.box", "\nans =\n<0>\n"},
      {"testing.list(4).Content;", ""},
      {"testing.nosuch(1)", "!Tessel:UndefinedFunction"},
      {"testing.box(1, 2)", "!testing:arguments"},
      {"f = @testing.list; show(f(7))", "7 "},
      // Values and handles
      {"b = a; b(1) = 9; show(a), show(b)", "1 2 3 9 2 3 "},
      {"b = a; b.Content = 9; show(a), show(b)", "1 2 3 9 "},
      {"b = a; b.Content(2) = 9; show(a), show(b)", "1 2 3 1 9 3 "},
      {"g = h; g.Content(2) = 9; show(h)", "1 9 3 "},
      {"s.h = h; s.h.Content = 5; show(h)", "5 "},
      {"c = {a}; c{1}(2) = 7; show(a), show(c{1})", "1 2 3 1 7 3 "},
      {"s.a = a; t = s; s.a(2) = 7; show(t.a), show(s.a)", "1 2 3 1 7 3 "},
      // A failure leaves the variable as it was
      {"try, a(0) = 1; catch, end, show(a)", "1 2 3 "},
      {"try, a.Content = 'text'; catch, end, show(a)", "1 2 3 "},
      {"a.Count = 3;", "!Tessel:readOnlyProperty"},
      {"a.Nothing", "!Tessel:noSuchProperty"},
      // Methods that change their object
      {"b = a; negate(a); show(a), show(b)", "-1 -2 -3 1 2 3 "},
      {"b = a; a.negate(); show(a), show(b)", "-1 -2 -3 1 2 3 "},
      {"b = a; a.negate; show(a), show(b)", "-1 -2 -3 1 2 3 "},
      {"c = {a, a}; k = 1; negate(c{k + 1}); show(a), show(c{1}), show(c{2})", "1 2 3 1 2 3 -1 -2 -3 "},
      {"s.a = a; t = s; s.a.negate; negate(t.('a')); show(a), show(s.a), show(t.a)",
       "1 2 3 -1 -2 -3 -1 -2 -3 "},
      {"c = {a}; disp(c{-(-end)}.negate()(1:2)), negate(c{1:1}); show(a), c{1}.negate(); show(c{:})",
       "do\n1 2 3 -1 -2 -3 "},
      {"f = @negate; b = a; f(b); r = f(b); f(b); show(a), show(b)", "1 2 3 -1 -2 -3 "},
      {"c = {a}; show(c{1}(2)), disp(c{1}.size), disp(c{1}.Count), negate(c{:}); show(c{1})",
       "2 1 3\n3\n-1 -2 -3 "},
      {"c = {a}; c{1}.nosuch", "!Tessel:noSuchProperty"},
      {"c = {a}; negate(c{numel(c)})", "!Tessel:changesNoVariable"},
      {"c = {a}; negate(c{1 + numel(c) - 1})", "!Tessel:changesNoVariable"},
      {"c = {a}; negate(c{numel(c):1})", "!Tessel:changesNoVariable"},
      {"c = {a}; negate(c{1:numel(c):1})", "!Tessel:changesNoVariable"},
      {"function r = one(), r = 1; end\nc = {a}; negate(c{-(-one)})", "!Tessel:changesNoVariable"},
      {"function r = made(n), r = testing.list(n); end\n disp(negate(made(1))), feval('negate', h); show(h)",
       "done\n-1 -2 -3 "},
      {"cellfun(@negate, {a}, 'UniformOutput', false); feval('negate', a); negate(a(:)); show(a)", "1 2 3 "},
      {"r = testing.ring(1:2); v = [r r]; negate(v)", "!Tessel:mustBeScalar"},
      {"r = testing.ring(1:2); v = [r r]; v.negate()", "!Tessel:mustBeScalar"},
      {"r = negate(a); disp(r)", "done\n"},
      {"disp([negate(a) 'x'])", "donex\n"},
      {"negate(h); show(h)", "-1 -2 -3 "},
      {"try, negate(a, 1); catch, end, show(a)", "-1 -2 -3 "},
      {"function r = made(), r = testing.list(1:2); end\n disp(negate(made))", "done\n"},
      {"b = a.moved(); show(a), show(b), disp(a.moved.Count)", "1 2 3 1 2 3 3\n"},
      {"r = testing.ring(1:50); show(r(end)), show(r(1, end)), for x = r, show(x), end", "11 22 1 "},
      {"~h", "!Tessel:noValue"},
      // Operators
      {"show(a + 1), show(1 + a), show(-a), show(2 * a)", "2 3 4 2 3 4 -1 -2 -3 2 4 6 "},
      {"show([a a]), show([a; 1 2 3]), show([0 a])", "1 2 3 1 2 3 1 1 2 2 3 3 0 1 2 3 "},
      {"if a, disp('true'), end, if a < 3, else, disp('no'), end", "true\nno\n"},
      {"switch testing.list(2), case 1, disp('one'), case {3, 2}, disp('two'), end", "two\n"},
      {"show(testing.list(1):testing.list(3))", "1 2 3 "},
      {"a - 1", "!Tessel:UndefinedFunction"},
      {"h + 1", "!Tessel:UndefinedFunction"},
      // Indexing
      {"show(a(2)), show(a(end)), show(a([1 end])), show(a(:, end))", "2 3 1 3 3 "},
      {"a(end + 1) = 4; show(a)", "1 2 3 4 "},
      {"a(2) = testing.list(8); show(a)", "1 8 3 "},
      {"a(1).Content", "!testing:index"},
      {"a(1).Content = 3", "!testing:index"},
      {"a{1}", "!testing:index"},
      {"disp(a.Content(2)), disp(h.Content(end)), disp(h(1).Count)", "2\n3\n3\n"},
      {"for x = a, show(x), end", "1 2 3 "},
      {"for x = h, show(x), end", "1 2 3 "},
      {"v = [h testing.box(5)]; disp(numel(v)), show(v(2)), v(2).Content = 6; show(v(end))", "2\n5 6 "},
      {"disp(h.Count + a.Count)", "6\n"},
      // Equality, of what has no method for it, is identity
      {"g = h; disp([isequal(g, h), isequal({h}, {g}), isequal([h g], [g h]), isequal(h, testing.box([1 2 "
       "3]))])",
       "1 1 1 0\n"},
      // What is told of them
      {"disp([any(strcmp(methods(h), 'hide')) ismethod(h, 'hide') isprop(h, 'Secret') numel(properties(h))])",
       "0 1 1 2\n"},
      {"t = help('testing.box'); disp([contains(t, 'Secret') contains(t, 'hide') contains(t, 'negate')])",
       "0 0 1\n"},
      {"help hide", "!Tessel:noHelp"},
      {"help negate", "list.negate: negate(a): the other sign.\n"},
      // Listeners
      {"addlistener(h, 'Content', @(o, p) disp(p)); h.Content = 1;", "Content\n"},
      {"addlistener(h, 'Nothing', @disp)", "!Tessel:noSuchProperty"},
      // Functions of the script come before methods, methods before functions
      {"function r = negate(a), r = 5; end\n disp(negate(a))", "5\n"},
      {"disp(size(a)), disp(numel(size(h)))", "1 3\n2\n"},
  };
  for (const Case& c : cases) {
    std::string printed = printedBy(prelude + c.source);
    std::string squeezed;
    for (const char ch : printed) {
      if (ch != ' ' || (!squeezed.empty() && squeezed.back() != ' ' && squeezed.back() != '\n')) squeezed += ch;
    }
    EXPECT_EQ(squeezed, c.expected) << c.source;
  }
}

TEST_F(Objects, ElementAssignmentChangesInPlace) {
  EXPECT_EQ(printedBy("a = testing.list(zeros(1, 1000)); for k = 1:1000, a(k) = k; end"), "");
  EXPECT_EQ(cloneCount, 0);
  EXPECT_EQ(printedBy("a = testing.list(zeros(1, 1000)); s.a = a; clear('a'); for k = 1:1000, s.a(k) = k; end"),
            "");
  EXPECT_EQ(cloneCount, 0);
  EXPECT_EQ(printedBy("a = testing.list(1:3); b = a; for k = 1:1000, a(2) = k; end"), "");
  EXPECT_EQ(cloneCount, 1);
}

/// Functions of a module that shows no examples.
TEST_F(Objects, HelpWithoutExamples) {
  registerFunction({"unexplained", [](Arrays&, int) { return Arrays{}; }, 0, 0, 0, "unexplained"});
  registerFunction({"negate", [](Arrays& in, int) { return in; }, 1, 1, 1, "negate(x): x."});
  EXPECT_EQ(printedBy("help unexplained, help negate"),
            "unexplained\nnegate(x): x.\n\nlist.negate: negate(a): the other sign.\n");
  const std::string all = printedBy("help");
  EXPECT_NE(all.find("\nOthers\n  negate               x.\n"), std::string::npos) << all;
  EXPECT_NE(all.find("\n  unexplained          unexplained\n"), std::string::npos) << all;
  EXPECT_EQ(printedBy("function f(), end\nhelp f"), "f is a function of test, line 1.\n");
}

TEST(Interpreter, ExceptionsOfOtherKindsBecomeErrors) {
  registerFunction({"throwsBadAlloc", [](Arrays&, int) -> Arrays { throw std::bad_alloc(); }, 0, -1, -1, ""});
  registerFunction(
      {"throwsLogicError", [](Arrays&, int) -> Arrays { throw std::logic_error("odd"); }, 0, -1, -1, ""});
  registerFunction({"throwsNumber", [](Arrays&, int) -> Arrays { throw 7; }, 0, -1, -1, ""});
  EXPECT_EQ(printedBy("throwsNumber()"), "!Tessel:internalError");
  EXPECT_EQ(printedBy("throwsBadAlloc()"), "!Tessel:outOfMemory");
  EXPECT_EQ(printedBy("try, throwsLogicError(), catch e, disp(e.message), end"), "odd\n");
}

TEST(Interpreter, FunctionsOfModulesMayGiveNothingAndSwallowErrors) {
  registerFunction({"nothing", [](Arrays&, int) -> Arrays { return {}; }, 0, -1, -1, ""});
  registerFunction({"quietly",
                    [](Arrays& inputs, int) -> Arrays {
                      EXPECT_THROW(callFunctionValue(*inputs[0].functionValue(), {}), HostError);
                      return {};
                    },
                    1, 1, 0, ""});
  for (const char* source :
       {"nothing + 1", "x = eval('nothing');", "[p, q] = nothing;", "[p, q] = nothing(1);"})
    EXPECT_EQ(printedBy(source), "!Tessel:noValue") << source;
  EXPECT_EQ(printedBy("function bad(), error('a:b', 'c'), end\nquietly(@bad)\ntry, nosuch, catch e, "
                      "fprintf('%d %s', e.stack.line, e.stack.name), end"),
            "3 test");
  struct Foreign : FunctionValue {
    std::string text() const override { return "foreign"; }
  };
  const Interpreter interpreter;
  EXPECT_THROW(callFunctionValue(Foreign(), {}), HostError);
  for (const HostArray& value :
       {HostArray::function(std::make_shared<Foreign>()), HostArray::objects({nullptr, nullptr}, {1, 2})}) {
    const std::vector<NamedArray> variables{{"v", value}};
    EXPECT_THROW(storedVariables(variables), HostError);
  }
}

TEST(Interpreter, ServesTheRuntime) {
  Interpreter interpreter;
  interpreter.run(
      interpreter.load("function r = outer(), r = probe(); end\nx = 4;\nf = @(a) a * x;\n", "test"));
  EXPECT_EQ(evaluateExpression("x + 1").scalarValue(), 5);
  EXPECT_THROW(evaluateExpression("x = 1"), HostError);
  const HostArray f = interpreter.findVariable("f")->toArray();
  EXPECT_EQ(callFunctionValue(*f.functionValue(), {HostArray::scalar(3)}).at(0).scalarValue(), 12);
  std::vector<std::string> stack;
  registerFunction({"probe",
                    [&](Arrays&, int) -> Arrays {
                      stack = stackTrace();
                      return {HostArray::scalar(1)};
                    },
                    0, 0, 1, ""});
  interpreter.run(interpreter.load("\n\ny = outer();", "later"));
  EXPECT_EQ(stack, (std::vector<std::string>{"outer:1", "later:3"}));
}

TEST(Interpreter, CanBeInterrupted) {
  Interpreter interpreter;
  registerFunction({"interruptNow",
                    [&](Arrays&, int) -> Arrays {
                      requestInterruption();
                      return {};
                    },
                    0, 0, 0, ""});
  for (const char* source :
       {"while true, interruptNow(), end", "while true, try, interruptNow(), x = 1; catch, end, end",
        "while true, end", "for k = 1:1e9, end", "while true, try, x = 1; catch, end, end",
        "function r = f(n), r = 0; if n > 0, r = f(n - 1) + f(n - 1); end, end\nf(60);"}) {
    interpreter.limitSteps(1000);
    try {
      interpreter.run(interpreter.load(source, "test"));
      ADD_FAILURE();
    } catch (const HostError& error) {
      EXPECT_EQ(error.identifier(), "Tessel:interrupted");
    }
  }
}

/// Twice within one tick of the clock of the file system: its size tells as well.
TEST(Interpreter, ReadsChangedFilesAgain) {
  namespace fs = std::filesystem;
  const fs::path file = fs::path(testing::TempDir()) / "changedWithinATick.tsl";
  Interpreter interpreter;
  const auto valueOf = [&](const char* body, fs::file_time_type written) {
    std::ofstream(file) << "function r = changedWithinATick(), r = " << body << "; end";
    fs::last_write_time(file, written);
    interpreter.run(interpreter.load("v = changedWithinATick();", (file.parent_path() / "main.tsl").string()));
    return interpreter.findVariable("v")->toArray().scalarValue();
  };
  const auto now = fs::file_time_type::clock::now();
  EXPECT_EQ(valueOf("1", now), 1);
  EXPECT_EQ(valueOf("22", now), 22);
  EXPECT_EQ(valueOf("33", now + std::chrono::seconds(1)), 33);
  fs::remove(file);
}

/// However often a name is registered anew, only what runs outlives that.
TEST(Interpreter, ForgetsReplacedFunctions) {
  const auto token = std::make_shared<int>(7);
  const auto replace = [](std::shared_ptr<int> held) {
    registerFunction(
        {"replaced", [held](Arrays&, int) -> Arrays { return {HostArray::scalar(*held)}; }, 0, 0, 1, ""});
  };
  for (int k = 0; k < 100; ++k) replace(token);
  EXPECT_EQ(token.use_count(), 2);
  registerFunction({"replaced",
                    [held = token, replace](Arrays&, int) -> Arrays {
                      replace(std::make_shared<int>(8));
                      replace(std::make_shared<int>(9));
                      return {HostArray::scalar(*held)};
                    },
                    0, 0, 1, ""});
  EXPECT_EQ(callFunction("replaced", {}).at(0).scalarValue(), 7);
  EXPECT_EQ(callFunction("replaced", {}).at(0).scalarValue(), 9);
  replace(token);
  EXPECT_EQ(token.use_count(), 2);
}

}  // namespace
}  // namespace tessel
