#include <algorithm>
#include <iterator>
#include <limits>

#include "tessel/language/builtins/builtins.h"
#include "tessel/language/builtins/support.h"
#include "tessel/language/error_place.h"
#include "tessel/language/interpreter.h"
#include "tessel/messages.h"

namespace tessel {
namespace {

struct Message {
  std::string identifier;
  std::string text;
};

/// Colon-separated words, such as "numforge:fi:badindex".
bool isIdentifier(std::string_view text) {
  const auto isAllowed = [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '-' ||
           c == ':';
  };
  return text.find(':') != std::string_view::npos && text.front() != ':' && text.back() != ':' &&
         std::all_of(text.begin(), text.end(), isAllowed);
}

/// Reads "text", "format, values…" or, where it may have one, "identifier, format, values…".
Message readMessage(std::string_view function, Arrays inputs, bool mayHaveIdentifier = true) {
  Message message;
  const std::string first = textArgument(function, inputs[0]);
  if (inputs.size() == 1) {
    message.text = first;
    return message;
  }
  if (mayHaveIdentifier && isIdentifier(first)) {
    message.identifier = first;
    inputs.erase(inputs.begin());
  }
  message.text = textArgument(function, callBuiltin("sprintf", std::move(inputs)).at(0));
  return message;
}

std::string fieldText(const HostArray& structure, std::string_view field) {
  return structure.hasField(field) ? structure.fieldAt(field).toText() : std::string();
}

ErrorRecord readErrorValue(std::string_view function, const HostArray& value) {
  if (!value.isStruct() || !value.isScalar() || !value.hasField("message")) {
    raiseInvalidArgument(function, "the argument must be an error as 'catch' assigns it.");
  }
  ErrorRecord error{fieldText(value, "identifier"), fieldText(value, "message"), {}};
  if (!value.hasField("stack") || !value.fieldAt("stack").isStruct()) return error;
  const HostArray& stack = value.fieldAt("stack");
  if (!stack.hasField("file") || !stack.hasField("name") || !stack.hasField("line")) return error;
  for (std::size_t i = 0; i < stack.numel(); ++i) {
    const std::size_t line = countArgument(function, stack.fieldAt("line", i));
    error.stack.push_back({stack.fieldAt("file", i).toText(), stack.fieldAt("name", i).toText(),
                           static_cast<int>(std::min<std::size_t>(line, std::numeric_limits<int>::max()))});
  }
  return error;
}

Arrays error(Interpreter& interpreter, const Arrays& inputs) {
  if (inputs[0].isStruct()) interpreter.raiseAgain(readErrorValue("error", inputs[0]));
  const Message message = readMessage("error", inputs);
  if (message.text.empty() && message.identifier.empty()) return {};
  raiseError(message.identifier, message.text);
}

/// err = MException(identifier, format, …)
Arrays makeError(Arrays& inputs) {
  ErrorRecord error;
  error.identifier = textArgument("MException", inputs[0]);
  if (!isIdentifier(error.identifier))
    raiseInvalidArgument("MException", "an identifier has words parted by colons, such as 'filter:order'.");
  error.text = readMessage("MException", {inputs.begin() + 1, inputs.end()}, false).text;
  return {Interpreter::errorValue(error)};
}

[[noreturn]] void throwError(const HostArray& value) {
  const ErrorRecord error = readErrorValue("throw", value);
  raiseError(error.identifier, error.text);
}

/// The lines that an error at the end of a program prints.
Arrays getReport(const HostArray& value) {
  const ErrorRecord error = readErrorValue("getReport", value);
  const std::string place = placeText(error.stack, 0);
  std::string text = "Error: " + error.text;
  if (!place.empty()) text += " (" + place + ")";
  text += '\n' + callsText(error.stack);
  text.pop_back();
  return {HostArray::text(text)};
}

Arrays warning(const Arrays& inputs) {
  const std::string first = textArgument("warning", inputs[0]);
  if (first == "on" || first == "off") {
    if (inputs.size() > 2) raiseInvalidArgument("warning", "one identifier can be switched at a time.");
    setWarningEnabled(inputs.size() == 2 ? textArgument("warning", inputs[1]) : "all", first == "on");
    return {};
  }
  const Message message = readMessage("warning", inputs);
  if (!message.text.empty()) warn(message.identifier, message.text);
  return {};
}

Arrays lastwarn(const Arrays& inputs, int outputCount) {
  const Warning old = lastWarning();
  if (!inputs.empty()) {
    lastWarning() = {inputs.size() > 1 ? textArgument("lastwarn", inputs[1]) : "",
                     textArgument("lastwarn", inputs[0])};
    if (outputCount == 0) return {};
  }
  return {HostArray::text(old.text), HostArray::text(old.identifier)};
}

Arrays lasterr(Interpreter& interpreter, const Arrays& inputs, int outputCount) {
  const ErrorRecord old = interpreter.lastError();
  if (!inputs.empty()) {
    interpreter.setLastError(
        {inputs.size() > 1 ? textArgument("lasterr", inputs[1]) : "", textArgument("lasterr", inputs[0]), {}});
    if (outputCount == 0) return {};
  }
  return {HostArray::text(old.text), HostArray::text(old.identifier)};
}

Arrays assertTrue(Interpreter& interpreter, const Arrays& inputs) {
  if (interpreter.isTrue(Value(inputs[0]))) return {};
  if (inputs.size() == 1) raiseError("Tessel:assertion", "Assertion failed.");
  const Message message = readMessage("assert", Arrays(std::next(inputs.begin()), inputs.end()));
  raiseError(message.identifier.empty() ? "Tessel:assertion" : message.identifier, message.text);
}

}  // namespace

void registerErrorBuiltins(Interpreter& interpreter) {
  Interpreter* i = &interpreter;
  registerAll({
      {"error", [i](Arrays& inputs, int) { return error(*i, inputs); }, 1, -1, -1,
       "error(text), error(format, ...), error(identifier, format, ...), error(err): raises an error."},
      {"rethrow", [i](Arrays& inputs, int) -> Arrays { i->raiseAgain(readErrorValue("rethrow", inputs[0])); },
       1, 1, 0, "rethrow(err): raises an error that 'catch err' caught once more."},
      {"MException", [](Arrays& inputs, int) { return makeError(inputs); }, 2, -1, 1,
       "err = MException(identifier, text), err = MException(identifier, format, ...): an error as 'catch err' "
       "has it,\n"
       "a structure with identifier, message and stack, for throw, rethrow, error and getReport."},
      {"throw", [](Arrays& inputs, int) -> Arrays { throwError(inputs[0]); }, 1, 1, 0,
       "throw(err): raises an error from here. rethrow(err) keeps the place where it arose first."},
      {"getReport", [](Arrays& inputs, int) { return getReport(inputs[0]); }, 1, 1, 1,
       "t = getReport(err): an error with its place and the calls that led there, as text."},
      {"lasterr", [i](Arrays& inputs, int n) { return lasterr(*i, inputs, n); }, 0, 2, 2,
       "[text, identifier] = lasterr, lasterr(text, identifier): reads or sets the last error."},
      {"warning", [](Arrays& inputs, int) { return warning(inputs); }, 1, -1, 0,
       "warning(text), warning(format, ...), warning(identifier, format, ...): issues a warning.\n"
       "warning('off', identifier), warning('on', identifier): switches the warnings of one identifier, or of "
       "'all'. Identifiers switched stay in memory until 'all' is switched."},
      {"lastwarn", [](Arrays& inputs, int n) { return lastwarn(inputs, n); }, 0, 2, 2,
       "[text, identifier] = lastwarn, lastwarn(text, identifier): reads or sets the last warning."},
      {"assert", [i](Arrays& inputs, int) { return assertTrue(*i, inputs); }, 1, -1, 0,
       "assert(condition), assert(condition, format, ...), assert(condition, identifier, format, ...): raises "
       "an error\n"
       "when the condition is not true."},
  });
}

}  // namespace tessel
