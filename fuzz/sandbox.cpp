#include "fuzz/sandbox.h"

#include "fuzz/input.h"
#include "qfcore/fi/paths/path.h"
#include "qfcore/logging/qlogger.h"
#include "tessel/console.h"
#include "tessel/language/interpreter.h"
#include "tessel/language/parser.h"
#include "tessel/pictures/figure.h"
#include "tessel/runtime/interruption.h"
#include "tests/host/invariants.h"

namespace fuzz {

namespace {

using tessel::Arrays;
using tessel::HostArray;

constexpr std::uint64_t kMostSteps = 1500;
/// Elements of a value that is told.
constexpr std::size_t kMostTold = 1000;

/// Those of the language's functions that reach outside of the program, or wait.
constexpr const char* kOutside[] = {"addpath", "delete", "drawnow", "exist",  "fileread",   "fopen",
                                    "load",    "path",   "pause",   "print",  "readmatrix", "rmpath",
                                    "run",     "save",   "saveas",  "source", "tempname",   "writematrix"};

const std::pair<const char*, std::vector<const char*>> kOutsideMethods[] = {
    {"fi", {"writememh", "writebits", "writeheader"}}, {"numerictype", {"readmemh", "readbits"}}};

Arrays refuse(Arrays&, int) { tessel::raiseError("Fuzz:outside", "Nothing is outside."); }

/// The module, with the first interpreter; warnings go nowhere.
void startModule() {
  static const bool isReady = [] {
    const tessel::Interpreter interpreter;
    TesselInitialize_qfcore();
    for (const auto& [className, names] : kOutsideMethods) {
      for (const char* name : names)
        // Rows of classes are made for good, so the row itself is changed.
        const_cast<tessel::MethodInfo&>(*host_tests::classNamed(className).findMethod(name)).function.call =
            refuse;
    }
    tessel::setWarningHandler([](const tessel::Warning&) {});
    GTEST_FLAG_SET(throw_on_failure, true);
    return true;
  }();
  require(isReady);
}

/// What outlives an interpreter is as at the start.
void forgetSettings(bool elementPathOnly) {
  embedded::setElementPathOnly(elementPathOnly);
  embedded::qlogger::setLogging(false);
  for (const std::string& name : tessel::featureNames()) {
    HostArray before;
    const bool isOne = name == "Fi33PlusMemoryFootprint" || name == "Threads";
    const HostArray standard = HostArray::scalar(isOne ? 1 : 0);
    tessel::findFeature(name)(1, &before, 1, &standard);
  }
  tessel::figures().closeAll();
  tessel::setWarningEnabled("all", true);
  tessel::lastWarning() = {};
  tessel::callBuiltin("rng", {HostArray::text("default")}, 0);
  for (const char* name : kOutside) {
    tessel::FunctionInfo inert = *tessel::findFunction(name);
    inert.call = refuse;
    tessel::registerFunction(inert);
  }
}

void checkArrays(const HostArray& value) {
  if (!value.isObject()) return;
  for (std::size_t k = 0; k < value.numel(); ++k) {
    const HostArray object = HostArray::object(value.objectAt(k));
    if (object.className() == "embedded.fi")
      host_tests::checkArray(*embedded::host::unwrapped<embedded::fi>(object));
  }
}

Outcome runHere(std::string_view source, tessel::Interpreter& interpreter) {
  Outcome outcome;
  const tessel::ConsoleRedirect console;
  try {
    const tessel::Program program = interpreter.load(source, "fuzz");
    outcome.isParsed = true;
    interpreter.limitSteps(kMostSteps);
    interpreter.run(program);
  } catch (const tessel::SyntaxError&) {
    return outcome;
  } catch (const tessel::ExitRequest&) {
  } catch (const tessel::HostError& error) {
    require(error.identifier() != "Tessel:internalError", "an error without a name: ", error.what());
    outcome.output = error.identifier() + ": " + error.what() + '\n';
  }
  outcome.isCutOff = tessel::isInterruptionRequested();
  outcome.output = console.text() + outcome.output;
  return outcome;
}

}  // namespace

Outcome run(std::string_view program, bool elementPathOnly) {
  startModule();
  tessel::Interpreter interpreter;
  forgetSettings(elementPathOnly);
  Outcome outcome;
  {
    const MemoryLimit limit;
    outcome = runHere(program, interpreter);
  }
  tessel::clearInterruption();
  if (outcome.isCutOff) return outcome;
  for (const char name : std::string("abcdefghxyz")) {
    const tessel::Value* value = interpreter.findVariable({name});
    if (!value) continue;
    const HostArray array = value->toArray();
    checkArrays(array);
    if (array.numel() <= kMostTold) outcome.values[{name}] = host_tests::textOf(array);
  }
  return outcome;
}

}  // namespace fuzz
