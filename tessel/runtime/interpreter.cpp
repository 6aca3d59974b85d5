#include "tessel/interpreter.h"

#include <algorithm>
#include <memory>
#include <unordered_map>
#include <utility>

#include "tessel/messages.h"
#include "tessel/objects.h"
#include "tessel/registries.h"
#include "tessel/runtime/arithmetic.h"
#include "tessel/runtime/concatenate.h"
#include "tessel/runtime/creation.h"
#include "tessel/runtime/dispatch.h"
#include "tessel/runtime/display.h"
#include "tessel/runtime/indexpath.h"
#include "tessel/runtime/rearrangement.h"
#include "tessel/runtime/selection.h"

namespace tessel {

constinit std::uint64_t functionsVersion = 1;

namespace {

/// How many calls of functions and methods are active on this thread. A loaded library would otherwise look its
/// thread's counter up by a call.
[[gnu::tls_model("initial-exec")]] constinit thread_local int activeCalls = 0;

class ActiveCall {
 public:
  ActiveCall() { ++activeCalls; }
  ~ActiveCall() { --activeCalls; }
  ActiveCall(const ActiveCall&) = delete;
  ActiveCall& operator=(const ActiveCall&) = delete;
};

class FunctionRegistry {
 public:
  /// Holds the runtime's own functions from the start.
  FunctionRegistry() {
    for (const auto family :
         {indexingFunctions, concatenationFunctions, arithmeticFunctions, creationFunctions, randomFunctions,
          conversionFunctions, rearrangementFunctions, selectionFunctions, displayFunctions}) {
      for (FunctionInfo& info : family()) add(std::move(info));
    }
  }

  void add(FunctionInfo info) {
    if (activeCalls == 0) replaced_.clear();
    std::unique_ptr<FunctionInfo>& slot = functions_[info.name];
    if (slot != nullptr && activeCalls > 0) replaced_.push_back(std::move(slot));
    slot = std::make_unique<FunctionInfo>(std::move(info));
    ++functionsVersion;
  }

  const FunctionInfo* find(std::string_view name) const {
    const auto found = functions_.find(name);
    return found == functions_.end() ? nullptr : found->second.get();
  }

  std::vector<std::string> names() const {
    std::vector<std::string> all;
    for (const auto& each : functions_) all.push_back(each.first);
    std::sort(all.begin(), all.end());
    return all;
  }

 private:
  struct Hash {
    using is_transparent = void;
    std::size_t operator()(std::string_view name) const { return std::hash<std::string_view>()(name); }
  };
  std::unordered_map<std::string, std::unique_ptr<FunctionInfo>, Hash, std::equal_to<>> functions_;
  /// A function may be replaced while it runs, so these live until none does.
  std::vector<std::unique_ptr<FunctionInfo>> replaced_;
};

FunctionRegistry& registry() {
  static FunctionRegistry functions;
  return functions;
}

LanguageHooks& language() {
  static LanguageHooks hooks;
  return hooks;
}

[[noreturn]] void raiseNoInterpreter() {
  raiseError("Tessel:noInterpreter", "No language is attached that could evaluate this.");
}

const FunctionInfo& requireFound(const FunctionInfo* function, std::string_view name) {
  if (function == nullptr) {
    std::vector<std::string> known = registry().names();
    if (language().names) {
      for (std::string& own : language().names()) known.push_back(std::move(own));
    }
    raiseError("Tessel:UndefinedFunction",
               "Undefined function or variable '" + std::string(name) + "'." + suggestion(name, known));
  }
  return *function;
}

/// "Too many input arguments: 'f' takes 2 at most."
std::string limitText(const char* what, std::string_view function, const char* verb, int most) {
  const std::string count = most == 0 ? "none" : std::to_string(most) + " at most";
  return std::string(what) + ": '" + std::string(function) + "' " + verb + ' ' + count + '.';
}

[[noreturn]] void raiseNotEnoughInputs(const FunctionInfo& function) {
  raiseError("Tessel:NotEnoughInputs", "Not enough input arguments: '" + function.name + "' takes " +
                                           std::to_string(function.minInputs) + " at least.");
}

const FunctionInfo& requireFunction(std::string_view name) { return requireFound(registry().find(name), name); }

}  // namespace

void registerFunction(FunctionInfo info) { registry().add(std::move(info)); }

const FunctionInfo* findFunction(std::string_view name) { return registry().find(name); }

std::vector<std::string> functionNames() { return registry().names(); }

const MethodInfo* findMethodFor(std::string_view name, const Arrays& inputs) {
  for (const HostArray& input : inputs) {
    const HostClass* hostClass = objectClass(input);
    const MethodInfo* method = hostClass == nullptr ? nullptr : hostClass->findMethod(name);
    if (method != nullptr) return method;
  }
  return nullptr;
}

const MethodInfo* findMethodOf(const HostArray& array, const MemberName& name) {
  const HostClass* hostClass = objectClass(array);
  return hostClass == nullptr ? nullptr : name.methodOf(*hostClass);
}

void raiseTooManyInputs(std::string_view function, int most) {
  raiseError("Tessel:TooManyInputs", limitText("Too many input arguments", function, "takes", most));
}

void raiseTooManyOutputs(std::string_view function, int most) {
  raiseError("Tessel:TooManyOutputs", limitText("Too many output arguments", function, "gives", most));
}

Arrays invoke(const FunctionInfo& function, Arrays& inputs, int outputCount) {
  const int inputCount = static_cast<int>(inputs.size());
  if (function.maxInputs >= 0 && inputCount > function.maxInputs)
    raiseTooManyInputs(function.name, function.maxInputs);
  if (inputCount < function.minInputs) raiseNotEnoughInputs(function);
  if (function.maxOutputs >= 0 && outputCount > function.maxOutputs)
    raiseTooManyOutputs(function.name, function.maxOutputs);
  const ActiveCall active;
  return function.call(inputs, outputCount);
}

Arrays invoke(const MethodInfo& method, Arrays& inputs, int outputCount) {
  if (method.changesObject) {
    const HostClass* hostClass = objectClass(inputs[0]);
    if (hostClass != nullptr && hostClass->isValueClass()) inputs[0].mutableObject();
  }
  return invoke(method.function, inputs, outputCount);
}

Arrays callFunction(std::string_view name, Arrays inputs, int outputCount) {
  if (const MethodInfo* method = findMethodFor(name, inputs)) return invoke(*method, inputs, outputCount);
  return invoke(requireFunction(name), inputs, outputCount);
}

Arrays callMember(const MemberName& name, Arrays&& inputs, int outputCount) {
  for (const HostArray& input : inputs) {
    if (const MethodInfo* method = findMethodOf(input, name)) return invoke(*method, inputs, outputCount);
  }
  return invoke(requireFound(name.function(), name.text()), inputs, outputCount);
}

decltype(FunctionInfo::ofTwo) formOfTwo(const MemberName& name, const HostArray& a, const HostArray& b) {
  for (const HostArray* input : {&a, &b}) {
    if (const MethodInfo* method = findMethodOf(*input, name)) return method->function.ofTwo;
  }
  const FunctionInfo* function = name.function();
  return function == nullptr ? nullptr : function->ofTwo;
}

Arrays callBuiltin(std::string_view name, Arrays inputs, int outputCount) {
  return invoke(requireFunction(name), inputs, outputCount);
}

HostArray evaluateExpression(const std::string& text) {
  if (!language().evaluate) raiseNoInterpreter();
  return language().evaluate(text);
}

std::vector<std::string> stackTrace() {
  return language().stack ? language().stack() : std::vector<std::string>{};
}

void attachLanguage(LanguageHooks hooks) { language() = std::move(hooks); }

Arrays callFunctionValue(const FunctionValue& function, Arrays inputs, int outputCount) {
  if (!language().call) raiseNoInterpreter();
  return language().call(function, std::move(inputs), outputCount);
}

}  // namespace tessel
