#include "tessel/shell/completion.h"

#include <algorithm>
#include <cctype>
#include <iterator>
#include <optional>
#include <sstream>

#include "tessel/interpreter.h"
#include "tessel/language/lexer.h"
#include "tessel/language/regular_expression.h"
#include "tessel/objects.h"
#include "tessel/registries.h"
#include "tessel/runtime/dispatch.h"

namespace tessel {
namespace {

/// The matches of an expression in a text, each with its tokens.
std::vector<std::vector<std::string>> matches(const char* pattern, const std::string& text) {
  std::vector<std::vector<std::string>> all;
  for (const RegularExpression::Match& match :
       RegularExpression("completion", pattern, false).matchesIn(text)) {
    std::vector<std::string> parts;
    for (const RegularExpression::Extent& part : match) parts.emplace_back(part.in(text));
    all.push_back(std::move(parts));
  }
  return all;
}

std::vector<std::string> firstMatch(const char* pattern, const std::string& text) {
  std::vector<std::vector<std::string>> all = matches(pattern, text);
  return all.empty() ? std::vector<std::string>() : std::move(all[0]);
}

/// What a path of members such as "a.numerictype" leads to: a structure, the class of an object, or nothing.
/// No property is read: one that holds an object names its class by its type or by its own name.
struct Owner {
  std::optional<HostArray> structure;
  const HostClass* hostClass = nullptr;
};

Owner ownerOf(HostArray value) {
  const HostClass* hostClass = objectClass(value);
  if (hostClass) return {std::nullopt, hostClass};
  return {value.isStruct() ? std::optional(std::move(value)) : std::nullopt, nullptr};
}

Owner memberOf(const Owner& owner, const std::string& name) {
  if (owner.structure) {
    const bool isThere = owner.structure->isScalar() && owner.structure->hasField(name);
    return isThere ? ownerOf(owner.structure->fieldAt(name, 0)) : Owner();
  }
  const PropertyInfo* property = owner.hostClass ? owner.hostClass->findProperty(name) : nullptr;
  if (!property) return {};
  const HostClass* byType = findClass(property->type);
  return {std::nullopt, byType ? byType : findClass(name)};
}

Owner findOwner(Interpreter& interpreter, const std::string& path) {
  std::istringstream names(path);
  std::string name;
  std::getline(names, name, '.');
  const Value* variable = interpreter.findVariable(name);
  Owner owner = variable ? ownerOf(variable->toArray()) : Owner();
  while (std::getline(names, name, '.')) owner = memberOf(owner, name);
  return owner;
}

void addProperties(const HostClass& hostClass, std::vector<std::string>& names) {
  for (const PropertyInfo* property : hostClass.properties()) {
    if (!property->hidden) names.push_back(property->name);
  }
}

void addMethods(const HostClass& hostClass, std::vector<std::string>& names) {
  for (const MethodInfo* method : hostClass.methods()) {
    if (!method->hidden) names.push_back(method->function.name);
  }
}

std::vector<std::string> membersOf(Interpreter& interpreter, const std::string& path) {
  std::vector<std::string> names;
  const Owner owner = findOwner(interpreter, path);
  if (owner.structure) return owner.structure->fieldNames();
  if (owner.hostClass) {
    addProperties(*owner.hostClass, names);
    addMethods(*owner.hostClass, names);
  } else if (const Package* package = findPackage(path)) {
    for (const HostClass* hostClass : package->classes()) names.push_back(hostClass->name());
  }
  return names;
}

std::vector<std::string> globalNames(Interpreter& interpreter) {
  std::vector<std::string> names = functionNames();
  std::ranges::move(interpreter.scriptFunctionNames(), std::back_inserter(names));
  for (const HostClass* hostClass : allClasses()) addMethods(*hostClass, names);
  for (const std::string& name : interpreter.frame().symbols().names()) {
    if (interpreter.findVariable(name)) names.push_back(name);
  }
  return names;
}

/// The calls that are open at the end of a line, seen from there.
struct OpenCall {
  std::string function;
  std::string firstArgument;       ///< a name, for methods called as functions
  std::vector<std::string> texts;  ///< the text literals among its arguments
};

bool isWordCharacter(char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_'; }

std::string wordBefore(const std::string& line, std::size_t end) {
  std::size_t first = end;
  while (first > 0 && isWordCharacter(line[first - 1])) --first;
  return line.substr(first, end - first);
}

std::string wordAt(const std::string& line, std::size_t first) {
  std::size_t end = first;
  while (end < line.size() && isWordCharacter(line[end])) ++end;
  return line.substr(first, end - first);
}

/// Walks through a line: open calls, and whether it ends inside a text. A quote behind a value is a transpose.
bool scanLine(const std::string& line, std::vector<OpenCall>& calls) {
  for (std::size_t i = 0; i < line.size(); ++i) {
    const char c = line[i];
    if (c == '(') {
      calls.push_back({wordBefore(line, i), wordAt(line, i + 1), {}});
    } else if (c == ')') {
      if (!calls.empty()) calls.pop_back();
    } else if (c == '"' || (c == '\'' && (i == 0 || !(isWordCharacter(line[i - 1]) || line[i - 1] == ')' ||
                                                      line[i - 1] == ']' || line[i - 1] == '\'')))) {
      const std::size_t end = line.find(c, i + 1);
      if (end == std::string::npos) return true;
      if (!calls.empty()) calls.back().texts.push_back(line.substr(i + 1, end - i - 1));
      i = end;
    }
  }
  return false;
}

const HostClass* classOfCall(Interpreter& interpreter, const OpenCall& call) {
  if (call.function != "set") return findClass(call.function);
  return findOwner(interpreter, call.firstArgument).hostClass;
}

void addValues(const PropertyInfo& property, std::vector<std::string>& names) {
  const EnumeratedType* type = findEnumeratedType(property.type);
  if (!type) return;
  for (const auto& entry : type->values) names.push_back(entry.first);
}

/// The property in "a.RoundMode = "; null where the line ends otherwise.
const PropertyInfo* assignedProperty(Interpreter& interpreter, const std::string& before) {
  const std::vector<std::string> parts =
      firstMatch(R"((?:^|[\s;,])([A-Za-z]\w*(?:\.\w+)*)\.(\w+)\s*=\s*['"]\z)", before);
  if (parts.empty()) return nullptr;
  const HostClass* hostClass = findOwner(interpreter, parts[1]).hostClass;
  return hostClass ? hostClass->findProperty(parts[2]) : nullptr;
}

/// What the help of a function tells of its texts: those between quotes, the names of settings that begin lines
/// of a list, and those behind "Names:".
void addWordsOfHelp(const std::string& function, std::vector<std::string>& names) {
  const FunctionInfo* info = findFunction(function);
  if (!info) return;
  const auto addAll = [&](const std::string& text, const char* pattern) {
    for (const std::vector<std::string>& match : matches(pattern, text)) names.push_back(match.back());
  };
  addAll(info->help, "'([A-Za-z]\\w*)'");
  addAll(info->help, R"((?:^|\n)  ([A-Z]\w*)  )");
  const std::vector<std::string> named = firstMatch("Names:([^.]*)", info->help);
  if (!named.empty()) addAll(named[1], "[A-Z]\\w+");
}

/// Keeps what begins as `word` does, in order.
std::vector<std::string> thoseThatComplete(const std::string& word, std::vector<std::string> names) {
  std::erase_if(names, [&](const std::string& name) { return !name.starts_with(word); });
  std::sort(names.begin(), names.end());
  names.erase(std::unique(names.begin(), names.end()), names.end());
  return names;
}

}  // namespace

bool endsInText(const std::string& line) {
  std::vector<OpenCall> calls;
  return scanLine(line, calls);
}

CommandWord commandWordAtEnd(const std::string& line) {
  static constexpr std::string_view kOfNames[] = {"clear", "help", "methods", "properties",
                                                  "which", "who",  "whos"};
  const std::vector<std::string> parts =
      firstMatch(R"(\A\s*([A-Za-z]\w*)(?:\s+[\w./~][^\s()=;,'"]*)*\s+(?:[\w./~][^\s()=;,'"]*)?\z)", line);
  if (parts.empty() || isKeyword(parts[1])) return CommandWord::None;
  const bool isName = std::ranges::find(kOfNames, parts[1]) != std::end(kOfNames);
  return isName ? CommandWord::Name : CommandWord::File;
}

std::vector<std::string> textCompletions(Interpreter& interpreter, const std::string& before,
                                         const std::string& word) {
  std::vector<std::string> names;
  if (const PropertyInfo* property = assignedProperty(interpreter, before)) addValues(*property, names);
  std::vector<OpenCall> calls;
  scanLine(before, calls);
  if (calls.empty()) return thoseThatComplete(word, std::move(names));
  const HostClass* hostClass = classOfCall(interpreter, calls.back());
  const std::vector<std::string>& texts = calls.back().texts;
  const PropertyInfo* last = hostClass && !texts.empty() ? hostClass->findProperty(texts.back()) : nullptr;
  if (last) addValues(*last, names);
  if (names.empty() && hostClass) addProperties(*hostClass, names);
  if (!last) addWordsOfHelp(calls.back().function, names);
  return thoseThatComplete(word, std::move(names));
}

std::vector<std::string> completions(Interpreter& interpreter, const std::string& word) {
  const std::size_t point = word.rfind('.');
  const std::string prefix = point == std::string::npos ? "" : word.substr(0, point + 1);
  std::vector<std::string> names =
      prefix.empty() ? globalNames(interpreter) : membersOf(interpreter, word.substr(0, point));
  for (std::string& name : names) name.insert(0, prefix);
  return thoseThatComplete(word, std::move(names));
}

}  // namespace tessel
