/// The host's interpreter: functions by name, and text to evaluate.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tessel/api.h"
#include "tessel/array.h"

namespace tessel {

/// A function of the host. `inputs` may be moved from, except that one that throws leaves `inputs[0]` as it
/// was. `outputCount` is how many results the caller asks for; a function may return more or fewer.
using HostFunction = std::function<Arrays(Arrays& inputs, int outputCount)>;

struct FunctionInfo {
  std::string name;
  HostFunction call;
  int minInputs = 0;
  int maxInputs = -1;  ///< −1: any number
  int maxOutputs = 1;  ///< −1: any number
  std::string help;    ///< first line: a summary with the call's forms; further lines as wanted
  /// What `call` gives for one or for two real double scalars and one result, where that is a real double
  /// scalar itself, so that no lists need to be made; null where there is no such short form.
  std::optional<double> (*ofScalar)(double) = nullptr;
  std::optional<double> (*ofScalars)(double, double) = nullptr;
  /// What `call` gives for two arguments of any kind and one result, without lists; it runs no program, so that
  /// its arguments may stand in variables. Null where there is no such form.
  HostArray (*ofTwo)(const HostArray&, const HostArray&) = nullptr;
};

/// Adds or replaces a function that scripts can call by name.
TESSEL_API void registerFunction(FunctionInfo info);
/// The registered function of that name, or null. It lives until the name is registered again and no function
/// runs.
TESSEL_API const FunctionInfo* findFunction(std::string_view name);
/// Names of all registered functions, sorted.
TESSEL_API std::vector<std::string> functionNames();

/// Calls a function by name as a script would: the method of that name of the first argument whose class has
/// one, else the function. Throws HostError when the call fails; to trap an error is to catch it.
TESSEL_API Arrays callFunction(std::string_view name, Arrays inputs, int outputCount = 1);
/// Calls the registered function of that name, passing over the methods of objects.
TESSEL_API Arrays callBuiltin(std::string_view name, Arrays inputs, int outputCount = 1);

/// Evaluates one expression in the caller's workspace and returns its value. Raises "Tessel:noInterpreter" when
/// no language is attached (a program that uses the library alone).
TESSEL_API HostArray evaluateExpression(const std::string& text);

/// The names of the functions being executed, innermost first, each with its line: "name:line".
TESSEL_API std::vector<std::string> stackTrace();

/// What a language attaches to the runtime; each member may be empty.
struct LanguageHooks {
  std::function<HostArray(const std::string&)> evaluate;
  std::function<std::vector<std::string>()> stack;
  std::function<Arrays(const FunctionValue&, Arrays inputs, int outputCount)> call;
  /// The names of variables and functions that the program has at this place.
  std::function<std::vector<std::string>()> names = {};
};
TESSEL_API void attachLanguage(LanguageHooks hooks);

/// Calls a function value (handle or anonymous function).
TESSEL_API Arrays callFunctionValue(const FunctionValue& function, Arrays inputs, int outputCount = 1);

}  // namespace tessel
