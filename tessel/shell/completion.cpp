#include "tessel/shell/completion.h"

#include <algorithm>

#include "tessel/interpreter.h"
#include "tessel/objects.h"
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

}  // namespace

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
