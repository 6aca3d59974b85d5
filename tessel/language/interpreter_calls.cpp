#include <algorithm>
#include <iterator>
#include <memory>

#include <fmt/format.h>
#include "tessel/interpreter.h"
#include "tessel/language/interpreter.h"
#include "tessel/language/interpreter_scopes.h"
#include "tessel/objects.h"
#include "tessel/registries.h"
#include "tessel/runtime/dispatch.h"

namespace tessel {
namespace {

/// A function may return more than it was asked for.
void keepFirst(Arrays& results, int outputCount) {
  const auto wanted = static_cast<std::size_t>(std::max(outputCount, 1));
  if (results.size() > wanted) results.resize(wanted);
}

Arrays firstResults(const FunctionInfo& function, Arrays& inputs, int outputCount) {
  Arrays results = invoke(function, inputs, outputCount);
  keepFirst(results, outputCount);
  return results;
}

[[noreturn]] void raiseUndefined(const std::string& name) {
  raiseError("Tessel:UndefinedFunction", fmt::format("Undefined function or variable '{}'.", name));
}

const HostClass& requireClass(const std::string& name) {
  const HostClass* hostClass = findClass(name);
  if (!hostClass) raiseUndefined(name);
  return *hostClass;
}

/// Gives the parameters their values; those without an input stay undefined.
void bindInputs(const FunctionCode& code, Arrays& inputs, Frame& frame) {
  frame.inputCount = static_cast<int>(inputs.size());
  const std::size_t fixedCount = code.parameters.size() - (code.hasVarargin ? 1 : 0);
  if (inputs.size() > fixedCount && !code.hasVarargin) raiseTooManyInputs();
  for (std::size_t i = 0; i < std::min(inputs.size(), fixedCount); ++i) {
    if (code.parameters[i] >= 0) frame.slots[code.parameters[i]] = Value(std::move(inputs[i]));
  }
  if (!code.hasVarargin) return;
  const std::size_t restCount = inputs.size() > fixedCount ? inputs.size() - fixedCount : 0;
  HostArray rest = HostArray::cell({1, restCount});
  for (std::size_t i = 0; i < restCount; ++i) rest.mutableCellAt(i) = std::move(inputs[fixedCount + i]);
  frame.slots[code.parameters.back()] = Value(std::move(rest));
}

/// The results that the function has assigned, as many as the caller asks for; the first one also unasked.
Arrays collectOutputs(const FunctionCode& code, const Frame& frame) {
  const auto wanted = static_cast<std::size_t>(std::max(frame.outputCount, 1));
  const std::size_t fixedCount = code.outputs.size() - (code.hasVarargout ? 1 : 0);
  Arrays results;
  for (std::size_t i = 0; i < std::min(wanted, fixedCount); ++i) {
    const Value& value = frame.slots[code.outputs[i]];
    if (!value.isDefined()) break;
    results.push_back(value.toArray());
  }
  if (code.hasVarargout && results.size() == fixedCount) {
    const Value& rest = frame.slots[code.outputs.back()];
    const HostArray* cell = rest.array();
    if (rest.isDefined() && !(cell && cell->isCell()))
      raiseError("Tessel:varargout", "varargout must be a cell array.");
    for (std::size_t i = 0; cell && i < cell->numel() && results.size() < wanted; ++i)
      results.push_back(cell->cellAt(i));
  }
  if (results.size() < static_cast<std::size_t>(frame.outputCount)) {
    const std::string name = results.size() < fixedCount
                                 ? code.symbols->names()[code.outputs[results.size()]]
                                 : fmt::format("varargout{{{}}}", results.size() - fixedCount + 1);
    raiseError("Tessel:unassignedOutput",
               fmt::format("The output argument '{}' of '{}' has not been assigned.", name, code.name));
  }
  return results;
}

}  // namespace

/// Calls what a name that is no variable stands for, and indexes the result by the steps that are no arguments.
Arrays Interpreter::callNamed(const NameReference& name, const Steps& steps, int outputCount) {
  const bool isClass =
      !steps.empty() && steps[0].kind == IndexStep::Kind::Field && findPackage(name.name.text());
  const std::size_t nameSteps = isClass ? 1 : 0;
  const bool hasArguments = steps.size() > nameSteps && steps[nameSteps].kind == IndexStep::Kind::Paren;
  const StepRange rest = StepRange(steps).subspan(nameSteps + (hasArguments ? 1 : 0));
  const IndexStep* arguments = hasArguments ? &steps[nameSteps] : nullptr;
  const MemberName className(isClass ? name.name.text() + '.' + steps[0].field.text() : std::string());
  const MemberName& called = isClass ? className : name.name;
  Arrays results = callWithArguments(called, arguments, rest.empty() ? outputCount : 1);
  if (rest.empty()) return results;
  if (results.empty()) raiseError("Tessel:noValue", fmt::format("'{}' gives no value.", called.text()));
  return referenceFurther(std::move(results[0]), rest, outputCount);
}

Arrays Interpreter::callWithArguments(const MemberName& name, const IndexStep* arguments, int outputCount) {
  Arrays inputs = arguments ? evaluateSubscripts(*arguments, nullptr) : Arrays();
  const MethodInfo* method = inputs.empty() ? nullptr : findMethodOf(inputs[0], name);
  if (!method || findScriptFunction(name.text())) return call(name.text(), std::move(inputs), outputCount);
  const auto* variable = std::get_if<NameReference>(&arguments->arguments[0]->node);
  const bool isChange = method->changesObject && objectClass(inputs[0])->isValueClass() && inputs[0].isScalar();
  if (isChange && variable && frame_->slots[variable->slot].isDefined()) {
    inputs[0] = HostArray();  // The variable must be the only one that holds the object.
    return callChangingMethod(*method, variable->slot, std::move(inputs), outputCount);
  }
  const CallDepth depth(*this);
  return firstResults(method->function, inputs, outputCount);
}

/// Calls a method that changes the object of a variable; another variable with the same object keeps it as it
/// was. `inputs[0]` is a place for the object.
Arrays Interpreter::callChangingMethod(const MethodInfo& method, int slot, Arrays&& inputs, int outputCount) {
  const CallDepth depth(*this);
  BorrowedVariable variable(*frame_, slot);
  variable.array.mutableObject();
  const std::weak_ptr<HostObject> object = variable.array.objectAt();
  inputs[0] = std::move(variable.array);
  try {
    Arrays results = firstResults(method.function, inputs, outputCount);
    variable.array = std::move(inputs[0]);
    // A method may have moved its object into the result.
    if (auto moved = object.lock(); moved && !variable.array.isObject())
      variable.array = HostArray::object(moved);
    return results;
  } catch (...) {
    variable.array = std::move(inputs[0]);
    throw;
  }
}

Arrays Interpreter::call(const std::string& name, Arrays&& inputs, int outputCount) {
  const CallDepth depth(*this);
  if (const FunctionCode* code = findScriptFunction(name)) {
    return callScriptFunction(*code, std::move(inputs), outputCount);
  }
  if (name.find('.') != std::string::npos) return {requireClass(name).create(std::move(inputs))};
  Arrays results = tessel::callFunction(name, std::move(inputs), outputCount);
  keepFirst(results, outputCount);
  return results;
}

Arrays Interpreter::call(const HostArray& function, Arrays&& inputs, int outputCount) {
  if (function.isFunction()) return callValue(*function.functionValue(), std::move(inputs), outputCount);
  if (!function.isText()) raiseError("Tessel:mustBeFunction", "A function is needed: a handle or a name.");
  return call(function.toText(), std::move(inputs), outputCount);
}

Arrays Interpreter::callValue(const FunctionValue& function, Arrays&& inputs, int outputCount) {
  if (const auto* named = dynamic_cast<const NamedFunctionValue*>(&function)) {
    return call(named->name(), std::move(inputs), outputCount);
  }
  if (const auto* anonymous = dynamic_cast<const AnonymousFunctionValue*>(&function)) {
    const CallDepth depth(*this);
    return callAnonymous(*anonymous, std::move(inputs), outputCount);
  }
  raiseError("Tessel:mustBeFunction", "This function value cannot be called.");
}

Arrays Interpreter::callScriptFunction(const FunctionCode& code, Arrays&& inputs, int outputCount) {
  if (outputCount > static_cast<int>(code.outputs.size()) && !code.hasVarargout) raiseTooManyOutputs();
  Frame frame;
  frame.code = &code;
  frame.name = code.name;
  frame.file = code.file;
  frame.symbols = code.symbols.get();
  frame.slots.resize(code.symbols->names().size());
  frame.line = code.line;
  frame.outputCount = outputCount;
  bindInputs(code, inputs, frame);
  const FrameScope scope(*this, frame);
  execute(code.body);
  return collectOutputs(code, frame);
}

Arrays Interpreter::callAnonymous(const AnonymousFunctionValue& function, Arrays&& inputs, int outputCount) {
  const std::shared_ptr<const FunctionCode> code = function.code();
  Frame frame;
  frame.code = code.get();
  frame.name = code->name;
  frame.file = code->file;
  frame.symbols = code->symbols.get();
  frame.slots.resize(code->symbols->names().size());
  frame.line = code->line;
  frame.outputCount = outputCount;
  for (const auto& capture : function.captures()) frame.slots[capture.slot] = capture.value;
  bindInputs(*code, inputs, frame);
  const FrameScope scope(*this, frame);
  Arrays values;
  evaluateAll(*code->expression, outputCount, values);
  keepFirst(values, outputCount);
  return values;
}

}  // namespace tessel
