// What is told about functions, classes, members, operators and words of the language.
#include <algorithm>

#include <fmt/format.h>
#include "tessel/console.h"
#include "tessel/language/builtins/builtins.h"
#include "tessel/language/builtins/support.h"
#include "tessel/language/interpreter.h"
#include "tessel/language/operators.h"
#include "tessel/objects.h"
#include "tessel/registries.h"
#include "tessel/runtime/terminal.h"

namespace tessel {
namespace {

constexpr std::pair<std::string_view, const char*> kWords[] = {
    {"if", "if CONDITION, ... elseif CONDITION, ... else, ... end: the first branch whose condition is true."},
    {"elseif", "See if."},
    {"else", "See if."},
    {"end", "Ends a block; in a subscript the last position: a(end)."},
    {"for", "for k = VALUES, ... end: once for each column of the values."},
    {"while", "while CONDITION, ... end: as long as the condition is true."},
    {"break", "Leaves the innermost loop."},
    {"continue", "Goes on with the next pass of the innermost loop."},
    {"switch",
     "switch VALUE, case LABEL, ... case {LABEL, LABEL}, ... otherwise, ... end: the first case that is "
     "equal."},
    {"case", "See switch."},
    {"otherwise", "See switch."},
    {"try", "try, ... catch err, ... end: err.message and err.identifier tell of an error in the first part."},
    {"catch", "See try."},
    {"function", "function [r, s] = name(a, b), ... end: a function; varargin and varargout take any number."},
    {"return", "Leaves the function, or the program."},
};

std::string withExample(const std::string& help, const char* example) {
  return example ? help + "\n\nExample:\n  " + example + "\n" : help;
}

std::string firstLine(const std::string& text) { return text.substr(0, text.find('\n')); }

/// A line of a list, cut where the screen ends.
std::string summaryLine(std::string text) {
  const std::size_t width = lineWidth();
  if (text.size() > width) text = text.substr(0, width - 3) + "...";
  return text + '\n';
}

std::string helpOfProperty(const PropertyInfo& property) {
  std::string text = property.help;
  const EnumeratedType* type = findEnumeratedType(property.type);
  if (!type) return text;
  text += " Values:";
  for (const auto& entry : type->values) text += fmt::format(" '{}'", entry.first);
  return text;
}

std::string helpOfClass(const HostClass& hostClass) {
  std::string text = hostClass.help() + "\n\nProperties:\n";
  for (const PropertyInfo* property : hostClass.properties()) {
    if (!property->hidden)
      text +=
          summaryLine(fmt::format("  {} ({}): {}", property->name, property->type, firstLine(property->help)));
  }
  text += "\nMethods:\n";
  for (const MethodInfo* method : hostClass.methods()) {
    if (!method->hidden)
      text += summaryLine(fmt::format("  {}: {}", method->function.name, firstLine(method->function.help)));
  }
  return text;
}

/// Help for "class.member"; empty where there is none.
std::string helpOfMember(const std::string& name) {
  const std::size_t point = name.rfind('.');
  const HostClass* hostClass = point == std::string::npos ? nullptr : findClass(name.substr(0, point));
  if (!hostClass) return {};
  const std::string member = name.substr(point + 1);
  if (const PropertyInfo* property = hostClass->findProperty(member)) return helpOfProperty(*property);
  const MethodInfo* method = hostClass->findMethod(member);
  return method ? withExample(method->function.help, hostClass->findExample(member)) : std::string();
}

/// The comment in a line, without its sign; nothing where the line is no comment.
std::optional<std::string> commentIn(std::optional<std::string_view> line) {
  const std::size_t sign = line ? line->find_first_not_of(" \t") : std::string_view::npos;
  if (sign == std::string_view::npos || ((*line)[sign] != '%' && (*line)[sign] != '#')) return std::nullopt;
  const std::size_t text = std::min(line->find_first_not_of("%#", sign), line->size());
  return std::string(line->substr(text));
}

/// The comment of a function of the user: below its first line, or else directly above it.
std::string helpOfFunction(const Interpreter& interpreter, const FunctionCode& code) {
  std::string text;
  for (int line = code.line + 1; const auto comment = commentIn(interpreter.sourceLine(code.file, line));
       ++line)
    text += *comment + '\n';
  if (text.empty()) {
    for (int line = code.line - 1; const auto comment = commentIn(interpreter.sourceLine(code.file, line));
         --line)
      text.insert(0, *comment + '\n');
  }
  return text + fmt::format("{} is a function of {}, line {}.", code.name, code.file, code.line);
}

/// Help for an operator as it is written; empty for everything else.
std::string helpOfOperator(const std::string& name) {
  try {
    const TokenList list = tokenize(name);
    const TokenKind kind = name == "'" ? TokenKind::Quote : list.tokens[0].kind;
    if (list.tokens.size() != 2) return {};
    for (const OperatorInfo& info : kOperators) {
      if (info.token != kind) continue;
      if (*info.function == '\0')
        return fmt::format("a {} b: a truth value; b is evaluated only where it matters.", name);
      const FunctionInfo* function = findFunction(info.function);
      return function ? function->help : fmt::format("{} calls {}.", name, info.function);
    }
  } catch (const SyntaxError&) {
    return name == "'" && findFunction("ctranspose") ? findFunction("ctranspose")->help : "";
  }
  return {};
}

std::string helpOfWord(const std::string& name) {
  const auto* found =
      std::find_if(std::begin(kWords), std::end(kWords), [&](const auto& word) { return word.first == name; });
  return found == std::end(kWords) ? helpOfOperator(name) : found->second;
}

std::string helpOf(const Interpreter& interpreter, const std::string& name) {
  if (const FunctionCode* code = interpreter.findScriptFunction(name))
    return helpOfFunction(interpreter, *code);
  const FunctionInfo* function = findFunction(name);
  const HostClass* hostClass = findClass(name);
  // The function that makes the objects of a class often has the name of the class.
  const std::string told = function ? withExample(function->help, findExample(name)) : "";
  if (function && hostClass) return told + "\n" + helpOfClass(*hostClass);
  if (function) return told;
  if (hostClass) return helpOfClass(*hostClass);
  const std::string member = helpOfMember(name);
  return member.empty() ? helpOfWord(name) : member;
}

std::string helpOfEverything() {
  std::string text;
  const auto tell = [&](const std::string& name) {
    text += summaryLine(fmt::format("  {:<20} {}", name, firstLine(findFunction(name)->help)));
  };
  for (const Theme& theme : themes()) {
    if (!findFunction(theme.examples[0].name)) continue;  // methods
    text += fmt::format("{}\n", theme.title);
    for (const Example& example : theme.examples)
      if (findFunction(example.name)) tell(example.name);
  }
  text += "Others\n";
  for (const std::string& name : functionNames())
    if (!findExample(name)) tell(name);
  return text;
}

Arrays help(const Interpreter& interpreter, const Arrays& inputs, int outputCount) {
  const std::string name = inputs.empty() ? "" : textArgument("help", inputs[0]);
  std::string text = inputs.empty() ? helpOfEverything() : helpOf(interpreter, name);
  if (text.empty()) {
    raiseError("Tessel:noHelp",
               fmt::format("There is no help for '{}'.{}", name, suggestion(name, functionNames())));
  }
  if (outputCount > 0) return {HostArray::text(text)};
  if (!text.ends_with('\n')) text += '\n';
  printPaged(text);
  return {};
}

}  // namespace

void registerHelpBuiltins(Interpreter& interpreter) {
  const Interpreter* i = &interpreter;
  registerAll({
      {"help", [i](Arrays& inputs, int n) { return help(*i, inputs, n); }, 0, 1, 1,
       "help, help NAME, help(name): describes the functions, or one function, class (fi), property or method\n"
       "(fi.RoundMode, fi.plus), operator (help +), word of the language, or function of the program by its "
       "comment."},
  });
}

}  // namespace tessel
