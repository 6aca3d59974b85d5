#include <algorithm>
#include <filesystem>
#include <iterator>

#include <fmt/format.h>
#include "tessel/console.h"
#include "tessel/language/builtins/builtins.h"
#include "tessel/language/builtins/support.h"
#include "tessel/language/interpreter.h"
#include "tessel/objects.h"
#include "tessel/registries.h"
#include "tessel/runtime/dispatch.h"

namespace tessel {
namespace {

std::vector<std::string> variableNames(Interpreter& interpreter) {
  std::vector<std::string> names;
  for (const std::string& name : interpreter.frame().symbols().names()) {
    if (interpreter.findVariable(name)) names.push_back(name);
  }
  std::sort(names.begin(), names.end());
  return names;
}

Arrays exist(Interpreter& interpreter, const Arrays& inputs) {
  const std::string name = textArgument("exist", inputs[0]);
  const std::string kind = inputs.size() > 1 ? textArgument("exist", inputs[1]) : "";
  const auto isAsked = [&](std::string_view k) { return kind.empty() || kind == k; };
  if (!isAsked("var") && !isAsked("builtin") && !isAsked("class") && !isAsked("file")) {
    raiseInvalidArgument("exist", "the kind must be 'var', 'builtin', 'class' or 'file'.");
  }
  double code = 0;
  std::error_code error;  // for names that no file can have
  if (isAsked("var") && interpreter.findVariable(name))
    code = 1;
  else if (isAsked("builtin") && (interpreter.findScriptFunction(name) || findFunction(name)))
    code = 5;
  else if (isAsked("class") && findClass(name))
    code = 8;
  else if (isAsked("file") && name.find('\0') == std::string::npos && std::filesystem::exists(name, error))
    code = 2;
  return {HostArray::scalar(code)};
}

Arrays who(Interpreter& interpreter, int outputCount) {
  const std::vector<std::string> names = variableNames(interpreter);
  if (outputCount > 0) return {cellOfTexts(names, {names.size(), 1})};
  for (const std::string& name : names) print(name + '\n');
  return {};
}

std::string sizeOf(const HostArray& value) {
  const HostArray size = callFunction("size", {value}).at(0);
  std::string text;
  for (std::size_t d = 0; d < size.numel(); ++d) text += fmt::format("{}{}", d == 0 ? "" : "x", size.realAt(d));
  return text;
}

Arrays whos(Interpreter& interpreter) {
  const std::vector<std::string> names = variableNames(interpreter);
  if (names.empty()) return {};
  std::size_t width = 4;
  for (const std::string& name : names) width = std::max(width, name.size());
  print(fmt::format("  {:<{}}  {:>12}  {}\n", "Name", width, "Size", "Class"));
  for (const std::string& name : names) {
    const HostArray value = interpreter.findVariable(name)->toArray();
    print(fmt::format("  {:<{}}  {:>12}  {}\n", name, width, sizeOf(value), value.className()));
  }
  return {};
}

/// clear global, clear global NAME ...
Arrays clearGlobals(Interpreter& interpreter, const Arrays& names) {
  if (names.empty()) interpreter.clearGlobals();
  for (const HostArray& name : names) interpreter.clearGlobal(textArgument("clear", name));
  return {};
}

/// A word that asks for more than a variable of its name, where there is none.
Arrays clear(Interpreter& interpreter, const Arrays& inputs) {
  for (std::size_t k = 0; k < inputs.size(); ++k) {
    const std::string name = textArgument("clear", inputs[k]);
    const bool isAll = name == "all" || name == "-all";
    if (interpreter.findVariable(name)) {
      interpreter.clearVariable(name);
    } else if (isAll || name == "variables") {
      interpreter.clearVariables();
      if (!isAll) continue;
      interpreter.clearGlobals();
      interpreter.clearPersistent();
    } else if (name == "functions") {
      interpreter.clearPersistent();
    } else if (name == "global" || name == "-global") {
      return clearGlobals(interpreter, {inputs.begin() + k + 1, inputs.end()});
    } else if (const FunctionCode* code = interpreter.findScriptFunction(name)) {
      Interpreter::clearPersistent(*code);
    }
  }
  if (inputs.empty()) interpreter.clearVariables();
  return {};
}

bool isVariableName(const HostArray& input) {
  const std::string name = input.isText() ? input.toText() : "";
  const auto isLetter = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); };
  const auto isWord = [&](char c) { return isLetter(c) || (c >= '0' && c <= '9') || c == '_'; };
  return !name.empty() && isLetter(name[0]) && std::all_of(name.begin(), name.end(), isWord) &&
         !isKeyword(name);
}

Arrays feature(const Arrays& inputs, int outputCount) {
  const std::string name = textArgument("feature", inputs[0]);
  const FeatureSetter setter = findFeature(name);
  if (!setter)
    raiseError("Tessel:noSuchFeature",
               fmt::format("There is no feature switch '{}'.{}", name, suggestion(name, featureNames())));
  Arrays outputs(std::max(outputCount, 1));
  setter(outputCount, outputs.data(), static_cast<int>(inputs.size()) - 1, inputs.data() + 1);
  const bool isOnlySet = inputs.size() > 1 && outputCount == 0;
  return isOnlySet ? Arrays() : outputs;
}

Arrays addListener(Interpreter& interpreter, const Arrays& inputs) {
  const HostArray& object = inputs[0];
  const HostClass* hostClass = objectClass(object);
  if (!hostClass || !object.isScalar())
    raiseInvalidArgument("addlistener", "the first argument must be one object.");
  const std::string property = textArgument("addlistener", inputs[1]);
  if (!hostClass->findProperty(property)) {
    raiseError("Tessel:noSuchProperty",
               fmt::format("Class '{}' has no property '{}'.", hostClass->qualifiedName(), property));
  }
  if (!inputs[2].isFunction()) raiseInvalidArgument("addlistener", "the last argument must be a function.");
  object.objectAt()->addListener(
      property, [&interpreter, function = inputs[2]](HostObject& changed, const std::string& name) {
        interpreter.call(function, {HostArray::object(changed.shared_from_this()), HostArray::text(name)}, 0);
      });
  return {};
}

}  // namespace

void registerWorkspaceBuiltins(Interpreter& interpreter) {
  Interpreter* i = &interpreter;
  registerAll({
      {"exist", [i](Arrays& inputs, int) { return exist(*i, inputs); }, 1, 2, 1,
       "k = exist(name), k = exist(name, kind): 1 for a variable ('var'), 5 for a function ('builtin'), 8 for "
       "a class\n"
       "('class'), 2 for a file ('file'), 0 for nothing."},
      {"who", [i](Arrays&, int n) { return who(*i, n); }, 0, 0, 1, "who, c = who: the names of the variables."},
      {"whos", [i](Arrays&, int) { return whos(*i); }, 0, 0, 0,
       "whos: the variables with their sizes and classes."},
      {"clear", [i](Arrays& inputs, int) { return clear(*i, inputs); }, 0, -1, 0,
       "clear, clear NAME ...: forgets all variables, or some; of a function, its persistent variables.\n"
       "clear global NAME ...: global variables, everywhere; clear global: all of them. clear functions: the "
       "persistent\n"
       "variables of all functions. clear all: everything. Functions that are running keep their variables."},
      {"isvarname",
       [](Arrays& inputs, int) -> Arrays { return {HostArray::logical(isVariableName(inputs[0]))}; }, 1, 1, 1,
       "t = isvarname(text): can a variable have this name?"},
      {"feature", [](Arrays& inputs, int n) { return feature(inputs, n); }, 1, -1, -1,
       "v = feature(name), feature(name, value): reads or sets a feature switch of a module."},
      {"addlistener", [i](Arrays& inputs, int) { return addListener(*i, inputs); }, 3, 3, 0,
       "addlistener(object, property, f): calls f(object, property) after each change of the property. The "
       "object keeps f as long as it lives."},
  });
}

}  // namespace tessel
