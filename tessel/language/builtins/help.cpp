// What is told about functions, classes, members, operators and words of the language.
#include <algorithm>
#include <iterator>
#include <sstream>

#include <fmt/format.h>
#include "tessel/console.h"
#include "tessel/language/builtins/builtins.h"
#include "tessel/language/builtins/support.h"
#include "tessel/language/interpreter.h"
#include "tessel/language/operators.h"
#include "tessel/objects.h"
#include "tessel/registries.h"
#include "tessel/runtime/dispatch.h"
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
    {"global",
     "global NAME ...: variables that all functions share which declare them; empty arrays at first."},
    {"persistent",
     "persistent NAME ...: variables of a function that keep their values between its calls; empty arrays at "
     "first."},
    {":", "a:b, a:step:b: a range; as a subscript all positions."},
    {"=",
     "x = VALUE, x(k) = VALUE, s.f = VALUE, [x, y] = CALL: gives variables values; +=, -=, *=, /= change "
     "them."},
    {"%", "% and # begin a comment; %{ and %} on lines of their own enclose one."},
    {"#", "See %."},
    {"...", "Continues a line in the next one."},
    {"@", "@name, @(x) EXPRESSION: a handle of a function."},
    {"[]", "[a, b; c, d]: arrays joined; [] is the empty matrix. See horzcat, vertcat."},
    {"{}", "{a, b; c, d}: a cell array; c{k}: what the cell k holds."},
};

/// The lines of a text as one, but for those of lists, which are indented: the screen tells where they break.
std::string flowing(std::string text) {
  bool isList = false;
  for (std::size_t end = text.find('\n'); end != std::string::npos; end = text.find('\n', end + 1)) {
    const bool wasList = std::exchange(isList, text.compare(end + 1, 2, "  ") == 0);
    if (!wasList && !isList) text[end] = ' ';
  }
  return text;
}

std::string withExample(const std::string& help, const char* example) {
  return flowing(help) + (example ? fmt::format("\n\nExample:\n  {}\n", example) : "");
}

/// What a help says behind the calls that it begins with, on one line.
std::string summaryOf(const std::string& help) {
  const std::string line = flowing(help);
  const std::size_t colon = line.find(": "), end = line.find('\n');
  return colon < end ? line.substr(colon + 2, end - colon - 2) : line.substr(0, end);
}

/// Lines that are longer than the screen is wide, broken between words. Lists and programs, which are indented,
/// stay as they are.
std::string wrapped(const std::string& text) {
  const std::size_t width = lineWidth();
  std::istringstream lines(text);
  std::string result;
  for (std::string line; std::getline(lines, line); result += line + '\n') {
    while (line.size() > width && !line.starts_with("  ")) {
      const std::size_t blank = line.rfind(' ', width);
      if (blank == std::string::npos) break;
      result += line.substr(0, blank) + '\n';
      line.erase(0, blank + 1);
    }
  }
  return result;
}

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
      text += summaryLine(fmt::format("  {} ({}): {}", property->name, property->type, property->help));
  }
  text += "\nMethods:\n";
  for (const MethodInfo* method : hostClass.methods()) {
    if (!method->hidden)
      text += summaryLine(fmt::format("  {}: {}", method->function.name, summaryOf(method->function.help)));
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

/// The methods of that name, with an example of the first; classes that share a method tell of it once.
std::string helpOfMethods(const std::string& name) {
  std::string text;
  const char* example = nullptr;
  std::vector<std::string_view> told;
  for (const HostClass* hostClass : allClasses()) {
    const MethodInfo* method = hostClass->findMethod(name);
    if (!method || method->hidden || std::ranges::count(told, method->function.help) > 0) continue;
    told.push_back(method->function.help);
    text += fmt::format("{}.{}: {}\n", hostClass->name(), name, flowing(method->function.help));
    if (!example) example = hostClass->findExample(name);
  }
  return text.empty() || !example ? text : text + fmt::format("\nExample:\n  {}\n", example);
}

/// What stands at the properties of all classes that `isMeant` chooses; alike texts once.
template <class Predicate>
std::string helpOfProperties(const Predicate& isMeant) {
  std::vector<std::pair<std::string, std::string>> told;  // what is told, and whom of
  for (const HostClass* hostClass : allClasses()) {
    for (const PropertyInfo* property : hostClass->properties()) {
      if (property->hidden || !isMeant(*property)) continue;
      const std::string name = hostClass->name() + '.' + property->name, text = helpOfProperty(*property);
      const auto same = std::ranges::find(told, text, &std::pair<std::string, std::string>::first);
      if (same == told.end())
        told.emplace_back(text, name);
      else
        same->second += ", " + name;
    }
  }
  std::string all;
  for (const auto& [text, names] : told)
    all += (all.empty() ? "" : "\n") + fmt::format("{}: {}\n", names, text);
  return all;
}

std::string helpOfPropertyName(const std::string& name) {
  return helpOfProperties([&](const PropertyInfo& property) { return property.name == name; });
}

bool takesValue(const PropertyInfo& property, const std::string& value) {
  const EnumeratedType* type = findEnumeratedType(property.type);
  return type && type->find(value);
}

/// The properties that take a text as one of their values.
std::string helpOfValue(const std::string& value) {
  const std::string text =
      helpOfProperties([&](const PropertyInfo& property) { return takesValue(property, value); });
  return text.empty() ? "" : fmt::format("'{}' is a value of\n{}", value, text);
}

/// A hint at them for what is a function as well, such as floor.
std::string hintAtValue(const std::string& value) {
  std::string names;
  for (const HostClass* hostClass : allClasses()) {
    for (const PropertyInfo* property : hostClass->properties())
      if (!property->hidden && takesValue(*property, value))
        names += fmt::format("{}{}.{}", names.empty() ? "" : ", ", hostClass->name(), property->name);
  }
  return names.empty() ? "" : fmt::format("'{}' is also a value of {}.", value, names);
}

/// All names that there is help for, but operators.
std::vector<std::string> namesWithHelp(const Interpreter& interpreter) {
  std::vector<std::string> names = functionNames();
  std::ranges::move(interpreter.scriptFunctionNames(), std::back_inserter(names));
  for (const auto& word : kWords) names.emplace_back(word.first);
  for (const HostClass* hostClass : allClasses()) {
    names.push_back(hostClass->name());
    for (const MethodInfo* method : hostClass->methods())
      if (!method->hidden) names.push_back(method->function.name);
    for (const PropertyInfo* property : hostClass->properties()) {
      if (property->hidden) continue;
      names.push_back(property->name);
      const EnumeratedType* type = findEnumeratedType(property->type);
      if (type)
        std::ranges::transform(type->values, std::back_inserter(names),
                               [](const auto& row) { return row.first; });
    }
  }
  return names;
}

/// The comment in a line, without its sign; nothing where the line is no comment.
std::optional<std::string> commentIn(std::optional<std::string_view> line) {
  const std::size_t sign = line ? line->find_first_not_of(" \t") : std::string_view::npos;
  if (sign == std::string_view::npos || ((*line)[sign] != '%' && (*line)[sign] != '#')) return std::nullopt;
  const std::size_t text = std::min(line->find_first_not_of("%#", sign), line->size());
  return std::string(line->substr(line->substr(text).starts_with(' ') ? text + 1 : text));
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
  if (name == "'") return findFunction("ctranspose")->help;  // alone it would begin a text
  TokenList list;
  try {
    list = tokenize(name);
  } catch (const SyntaxError&) {
    return {};
  }
  if (list.tokens.size() != 2) return {};
  for (const OperatorInfo& info : kOperators) {
    if (info.token != list.tokens[0].kind) continue;
    if (*info.function != '\0') return findFunction(info.function)->help;
    return fmt::format("a {} b: a truth value; b is evaluated only where it matters.", name);
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
  std::string text = function ? withExample(function->help, findExample(name)) : "";
  const auto append = [&text](const std::string& more) {
    if (!text.empty() && !more.empty()) text += text.ends_with('\n') ? "\n" : "\n\n";
    text += more;
  };
  append(hostClass ? helpOfClass(*hostClass) : helpOfMethods(name));
  if (!text.empty()) append(hintAtValue(name));
  for (const auto& other : {helpOfMember, helpOfWord, helpOfPropertyName, helpOfValue})
    if (text.empty()) text = other(name);
  return text;
}

std::string helpOfEverything() {
  const auto line = [](const std::string& name) {
    return summaryLine(fmt::format("  {:<20} {}", name, summaryOf(findFunction(name)->help)));
  };
  std::string text =
      "help NAME explains a function, a class (help fi), a member (help fi.plus), a property (help RoundMode), "
      "a value of one (help saturate), an operator (help .*) or a word of the language (help for).\n";
  // What modules have added is what the host is there for.
  std::vector<Theme> inOrder = themes();
  std::rotate(inOrder.begin(), inOrder.begin() + static_cast<std::ptrdiff_t>(languageThemeCount()),
              inOrder.end());
  for (const Theme& theme : inOrder) {
    std::string lines;
    for (const Example& example : theme.examples)
      if (findFunction(example.name)) lines += line(example.name);  // not methods
    if (!lines.empty()) text += fmt::format("{}\n{}", theme.title, lines);
  }
  std::string others;
  for (const std::string& name : functionNames())
    if (!findExample(name)) others += line(name);
  return others.empty() ? text : text + "Others\n" + others;
}

Arrays help(const Interpreter& interpreter, const Arrays& inputs, int outputCount) {
  const std::string name = inputs.empty() ? "" : textArgument("help", inputs[0]);
  std::string text = inputs.empty() ? helpOfEverything() : helpOf(interpreter, name);
  if (text.empty()) {
    raiseError("Tessel:noHelp",
               fmt::format("There is no help for '{}'.{}", name, suggestion(name, namesWithHelp(interpreter))));
  }
  if (outputCount > 0) return {HostArray::text(text)};
  printPaged(wrapped(text));
  return {};
}

}  // namespace

void registerHelpBuiltins(Interpreter& interpreter) {
  const Interpreter* i = &interpreter;
  registerAll({
      {"help", [i](Arrays& inputs, int n) { return help(*i, inputs, n); }, 0, 1, 1,
       "help, help NAME, help(name): describes the functions, or one function, class (fi), property or method\n"
       "(RoundMode, fi.plus), value of a property (saturate), operator (help +), word of the language, or "
       "function\n"
       "of the program by its comment."},
  });
}

}  // namespace tessel
