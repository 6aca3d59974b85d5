// Variables in files.
#include <algorithm>
#include <cstdio>

#include <fmt/format.h>
#include "tessel/language/builtins/builtins.h"
#include "tessel/language/builtins/support.h"
#include "tessel/language/files.h"
#include "tessel/language/interpreter.h"
#include "tessel/language/storage.h"

namespace tessel {
namespace {

std::vector<std::string> namesFrom(const char* function, const Arrays& inputs) {
  std::vector<std::string> names;
  for (std::size_t k = 1; k < inputs.size(); ++k) names.push_back(textArgument(function, inputs[k]));
  return names;
}

std::vector<std::string> allVariables(Interpreter& interpreter) {
  std::vector<std::string> names;
  for (const std::string& name : interpreter.frame().symbols().names())
    if (interpreter.findVariable(name)) names.push_back(name);
  std::sort(names.begin(), names.end());
  return names;
}

Arrays save(Interpreter& interpreter, const Arrays& inputs) {
  const std::string file = fileNameArgument("save", inputs[0]);
  std::vector<NamedArray> variables;
  for (const std::string& name : inputs.size() > 1 ? namesFrom("save", inputs) : allVariables(interpreter)) {
    const Value* value = interpreter.findVariable(name);
    if (!value) raiseError("Tessel:noSuchVariable", fmt::format("There is no variable '{}'.", name));
    variables.push_back({name, value->toArray()});
  }
  writeFile(file, storedVariables(variables));
  return {};
}

Arrays load(Interpreter& interpreter, const Arrays& inputs, int outputCount) {
  const std::string file = textArgument("load", inputs[0]);
  std::vector<NamedArray> variables = restoredVariables(readFile(file), file);
  const std::vector<std::string> wanted = namesFrom("load", inputs);
  for (const std::string& name : wanted) {
    if (std::ranges::find(variables, name, &NamedArray::name) == variables.end())
      raiseError("Tessel:noSuchVariable", fmt::format("File '{}' has no variable '{}'.", file, name));
  }
  if (!wanted.empty())
    std::erase_if(variables,
                  [&](const NamedArray& each) { return std::ranges::find(wanted, each.name) == wanted.end(); });
  HostArray all = HostArray::structure();
  for (NamedArray& each : variables) {
    if (outputCount > 0)
      all.mutableFieldAt(each.name) = std::move(each.value);
    else
      interpreter.setVariable(each.name, std::move(each.value));
  }
  return outputCount > 0 ? Arrays{all} : Arrays();
}

}  // namespace

void registerStorageBuiltins(Interpreter& interpreter) {
  Interpreter* i = &interpreter;
  registerAll({
      {"save", [i](Arrays& inputs, int) { return save(*i, inputs); }, 1, -1, 0,
       "save(file), save(file, name, ...), save FILE NAME ...: writes all variables, or some, to a file for "
       "load; "
       "values come back\n"
       "bit for bit: every class, words of any length with their records, functions with the values they hold. "
       "Raises\n"
       "\"Tessel:cannotSave\" for objects of other classes than fi, numerictype, fimath and quantizer."},
      {"load", [i](Arrays& inputs, int n) { return load(*i, inputs, n); }, 1, -1, 1,
       "load(file), load(file, name, ...): brings all variables of a file that save wrote back, or some;\n"
       "s = load(...): as the fields of a structure. Handles that were one object before are several then. "
       "Raises\n"
       "\"Tessel:fileNotFound\", \"Tessel:badFile\" for another file or a damaged one, "
       "\"Tessel:noSuchVariable\"."},
  });
}

}  // namespace tessel
