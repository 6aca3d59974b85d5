#include "tessel/shell/completion.h"

#include <algorithm>
#include <cctype>

#include "tessel/interpreter.h"
#include "tessel/objects.h"
#include "tessel/registries.h"
#include "tessel/runtime/dispatch.h"

namespace tessel {
namespace {

std::vector<std::string> membersOf(Interpreter& interpreter, const std::string& owner) {
  std::vector<std::string> names;
  if (const Value* variable = interpreter.findVariable(owner)) {
    const HostArray value = variable->toArray();
    if (value.isStruct()) return value.fieldNames();
    const HostClass* hostClass = objectClass(value);
    if (!hostClass) return names;
    for (const PropertyInfo* property : hostClass->properties()) {
      if (!property->hidden) names.push_back(property->name);
    }
    for (const MethodInfo* method : hostClass->methods()) {
      if (!method->hidden) names.push_back(method->function.name);
    }
  } else if (const Package* package = findPackage(owner)) {
    for (const HostClass* hostClass : package->classes()) names.push_back(hostClass->name());
  }
  return names;
}

std::vector<std::string> globalNames(Interpreter& interpreter) {
  std::vector<std::string> names = functionNames();
  const std::vector<std::string> functions = interpreter.scriptFunctionNames();
  names.insert(names.end(), functions.begin(), functions.end());
  for (const std::string& name : interpreter.frame().symbols->names()) {
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
  const Value* variable = interpreter.findVariable(call.firstArgument);
  return variable ? objectClass(variable->toArray()) : nullptr;
}

}  // namespace

bool endsInText(const std::string& line) {
  std::vector<OpenCall> calls;
  return scanLine(line, calls);
}

std::vector<std::string> textCompletions(Interpreter& interpreter, const std::string& before,
                                         const std::string& word) {
  std::vector<OpenCall> calls;
  scanLine(before, calls);
  const HostClass* hostClass = calls.empty() ? nullptr : classOfCall(interpreter, calls.back());
  if (!hostClass) return {};
  std::vector<std::string> names;
  const std::vector<std::string>& texts = calls.back().texts;
  const PropertyInfo* last = texts.empty() ? nullptr : hostClass->findProperty(texts.back());
  if (const EnumeratedType* type = last ? findEnumeratedType(last->type) : nullptr) {
    for (const auto& entry : type->values) names.push_back(entry.first);
  } else {
    for (const PropertyInfo* property : hostClass->properties()) {
      if (!property->hidden) names.push_back(property->name);
    }
  }
  std::erase_if(names, [&](const std::string& name) { return !name.starts_with(word); });
  std::sort(names.begin(), names.end());
  return names;
}

std::vector<std::string> completions(Interpreter& interpreter, const std::string& word) {
  const std::size_t point = word.rfind('.');
  const std::string prefix = point == std::string::npos ? "" : word.substr(0, point + 1);
  std::vector<std::string> names =
      prefix.empty() ? globalNames(interpreter) : membersOf(interpreter, word.substr(0, point));
  for (std::string& name : names) name.insert(0, prefix);
  std::erase_if(names, [&](const std::string& name) { return !name.starts_with(word); });
  std::sort(names.begin(), names.end());
  names.erase(std::unique(names.begin(), names.end()), names.end());
  return names;
}

}  // namespace tessel
