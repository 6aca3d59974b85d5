#include <algorithm>
#include <iterator>
#include <memory>

#include <fmt/format.h>
#include "tessel/console.h"
#include "tessel/language/builtins/builtins.h"
#include "tessel/language/builtins/support.h"
#include "tessel/language/interpreter.h"

namespace tessel {
namespace {

Arrays eval(Interpreter& interpreter, const Arrays& inputs, int outputCount) {
  const std::string text = textArgument("eval", inputs[0]);
  if (inputs.size() == 1) return interpreter.evaluateText(text, outputCount);
  Arrays values;
  const auto error = interpreter.attempt([&] { values = interpreter.evaluateText(text, outputCount); });
  return error ? interpreter.evaluateText(textArgument("eval", inputs[1]), outputCount) : values;
}

Arrays evalc(Interpreter& interpreter, const Arrays& inputs) {
  const ConsoleRedirect redirect;
  interpreter.evaluateText(textArgument("evalc", inputs[0]), 0);
  return {HostArray::text(redirect.text())};
}

Arrays feval(Interpreter& interpreter, const Arrays& inputs, int outputCount) {
  return interpreter.call(inputs[0], Arrays(std::next(inputs.begin()), inputs.end()), outputCount);
}

Arrays func2str(const Arrays& inputs) {
  if (!inputs[0].isFunction()) raiseInvalidArgument("func2str", "the argument must be a function handle.");
  const FunctionValue& function = *inputs[0].functionValue();
  const auto* named = dynamic_cast<const NamedFunctionValue*>(&function);
  return {HostArray::text(named ? named->name().name.text() : function.text())};
}

Arrays str2func(Interpreter& interpreter, const Arrays& inputs) {
  std::string text = textArgument("str2func", inputs[0]);
  if (!text.starts_with('@')) text.insert(0, "@");
  Arrays values = interpreter.evaluateText(text, 1);
  if (!values[0].isFunction())
    raiseInvalidArgument("str2func", "the text must be the name or the text of a function.");
  return values;
}

const Frame& requireFunctionFrame(Interpreter& interpreter, const char* name) {
  if (!interpreter.frame().code) {
    raiseError("Tessel:notInFunction", fmt::format("'{}' has a value inside of functions only.", name));
  }
  return interpreter.frame();
}

Arrays deal(const Arrays& inputs, int outputCount) {
  const auto wanted = static_cast<std::size_t>(std::max(outputCount, 1));
  if (inputs.size() == 1) return Arrays(wanted, inputs[0]);
  if (inputs.size() != wanted) {
    raiseInvalidArgument("deal", "there must be one input, or as many inputs as outputs.");
  }
  return inputs;
}

Arrays exitShell(const Arrays& inputs) {
  constexpr std::size_t kLargestStatus = 255;
  const std::size_t status = inputs.empty() ? 0 : countArgument("exit", inputs[0]);
  if (status > kLargestStatus) raiseInvalidArgument("exit", "the status must be from 0 to 255.");
  throw ExitRequest{static_cast<int>(status)};
}

}  // namespace

void registerEvaluationBuiltins(Interpreter& interpreter) {
  Interpreter* i = &interpreter;
  const auto exitFunction = [](Arrays& inputs, int) { return exitShell(inputs); };
  registerAll({
      {"eval", [i](Arrays& inputs, int n) { return eval(*i, inputs, n); }, 1, 2, -1,
       "eval(text), [...] = eval(expression), eval(text, onError): executes a text in place. Functions that it "
       "defines stay known."},
      {"evalc", [i](Arrays& inputs, int) { return evalc(*i, inputs); }, 1, 1, 1,
       "t = evalc(text): executes a text and returns what it prints."},
      {"feval", [i](Arrays& inputs, int n) { return feval(*i, inputs, n); }, 1, -1, -1,
       "[...] = feval(f, ...): calls a function by its handle or name."},
      {"func2str", [](Arrays& inputs, int) { return func2str(inputs); }, 1, 1, 1,
       "t = func2str(f): the name or the text of a function."},
      {"str2func", [i](Arrays& inputs, int) { return str2func(*i, inputs); }, 1, 1, 1,
       "f = str2func(t): the function of a name, or of a text such as '@(x) x + 1'."},
      {"nargin",
       [i](Arrays&, int) -> Arrays {
         return {HostArray::scalar(requireFunctionFrame(*i, "nargin").inputCount)};
       },
       0, 0, 1, "n = nargin: how many inputs the function being executed was given."},
      {"nargout",
       [i](Arrays&, int) -> Arrays {
         return {HostArray::scalar(requireFunctionFrame(*i, "nargout").outputCount)};
       },
       0, 0, 1, "n = nargout: how many outputs the function being executed was asked for."},
      {"deal", [](Arrays& inputs, int n) { return deal(inputs, n); }, 1, -1, -1,
       "[a, b, ...] = deal(x, y, ...), [a, b, ...] = deal(x): hands inputs out to outputs."},
      {"exit", exitFunction, 0, 1, 0, "exit, exit(status): ends the program."},
      {"quit", exitFunction, 0, 1, 0, "quit, quit(status): ends the program."},
  });
}

}  // namespace tessel
