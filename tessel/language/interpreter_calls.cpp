#include <algorithm>
#include <iterator>
#include <memory>
#include <optional>
#include <typeinfo>

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

/// Of a function or a method.
template <class Called>
Arrays firstResults(const Called& called, Arrays& inputs, int outputCount) {
  Arrays results = invoke(called, inputs, outputCount);
  keepFirst(results, outputCount);
  return results;
}

Arrays firstResultsOfMember(const MemberName& name, Arrays&& inputs, int outputCount) {
  Arrays results = callMember(name, std::move(inputs), outputCount);
  keepFirst(results, outputCount);
  return results;
}

const HostClass& requireClass(const std::string& name) {
  const HostClass* hostClass = findClass(name);
  if (!hostClass) raiseUndefined(name);
  return *hostClass;
}

/// The results that the function has assigned, as many as the caller asks for; the first one also unasked.
Arrays collectOutputs(const FunctionCode& code, const Frame& frame) {
  const auto wanted = static_cast<std::size_t>(std::max(frame.outputCount, 1));
  const std::size_t fixedCount = code.fixedOutputs();
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

/// The first of them.
[[gnu::noinline]] Value firstListed(const FunctionCode& code, const Frame& frame) {
  return Value(std::move(collectOutputs(code, frame)[0]));
}

/// The same, which most often is in a slot.
[[gnu::always_inline]] inline Value firstOutput(const FunctionCode& code, Frame& frame) {
  const bool isInSlot = code.fixedOutputs() > 0 && frame.slots[code.outputs[0]].isDefined();
  return isInSlot ? std::move(frame.slots[code.outputs[0]]) : firstListed(code, frame);
}

Arrays arraysFrom(Values&& values) {
  Arrays arrays;
  arrays.reserve(values.size());
  for (Value& value : values) arrays.push_back(std::move(value).toArray());
  return arrays;
}

/// What the function of the host makes of two real double scalars, where that is one of them.
std::optional<double> scalarResult(const FunctionInfo& function, const Values& inputs) {
  if (inputs.size() != 2 || !function.ofScalars) return std::nullopt;
  const double *first = inputs[0].number(), *second = inputs[1].number();
  return first && second ? function.ofScalars(*first, *second) : std::nullopt;
}

}  // namespace

/// Runs a function; `giveAll` hands its inputs to the frame, and `collect` takes what it gives.
template <class GiveAll, class Collect>
[[gnu::always_inline]] inline auto Interpreter::runFunction(const FunctionCode& code, const GiveAll& giveAll,
                                                            int outputCount, const Collect& collect) {
  const CallDepth depth(*this);
  const auto most = static_cast<int>(code.outputs.size());
  if (outputCount > most && !code.hasVarargout) raiseTooManyOutputs(code.name, most);
  CallFrame frame(*this, code, outputCount);
  giveAll(frame);
  frame.finishInputs();
  return inFrame(frame, [&] {
    execute(code.body);
    return collect(code, frame);
  });
}

/// The same for an anonymous function, which the caller keeps; `collect` takes its expression.
template <class GiveAll, class Collect>
[[gnu::always_inline]] inline auto Interpreter::runAnonymous(const AnonymousFunctionValue& function,
                                                             const GiveAll& giveAll, int outputCount,
                                                             const Collect& collect) {
  const CallDepth depth(*this);
  const FunctionCode& code = *function.code();
  CallFrame frame(*this, code, outputCount);
  for (const auto& capture : function.captures()) frame.slots[capture.slot] = capture.value;
  giveAll(frame);
  frame.finishInputs();
  return inFrame(frame, [&] { return collect(*code.expression); });
}

[[gnu::always_inline]] inline void Interpreter::giveArguments(const IndexStep* arguments, CallFrame& frame) {
  forEachArgument(arguments, [&](Value&& value) { frame.take(std::move(value)); });
}

void Interpreter::giveInputs(Arrays&& inputs, CallFrame& frame) {
  for (HostArray& input : inputs) frame.take(Value(std::move(input)));
}

/// The values of the arguments of a call, which may have none.
Values Interpreter::evaluateArguments(const IndexStep* arguments) {
  Values values;
  forEachArgument(arguments, [&](Value&& value) { values.push_back(std::move(value)); });
  return values;
}

/// The same as arrays.
Arrays Interpreter::argumentArrays(const IndexStep* arguments) {
  Arrays arrays;
  if (arguments) arrays.reserve(arguments->arguments.size());
  forEachArgument(arguments, [&](Value&& value) { arrays.push_back(std::move(value).toArray()); });
  return arrays;
}

/// Calls what a name that is no variable stands for, and indexes the result by the steps that are no arguments.
Arrays Interpreter::callNamed(const NameReference& name, const Steps& steps, int outputCount) {
  const bool isClass =
      !steps.empty() && steps[0].kind == IndexStep::Kind::Field && findPackage(name.name.text());
  const std::size_t nameSteps = isClass ? 1 : 0;
  const bool hasArguments = steps.size() > nameSteps && steps[nameSteps].kind == IndexStep::Kind::Paren;
  const StepRange rest = StepRange(steps).subspan(nameSteps + (hasArguments ? 1 : 0));
  const IndexStep* arguments = hasArguments ? &steps[nameSteps] : nullptr;
  const std::string className = isClass ? name.name.text() + '.' + steps[0].field.text() : std::string();
  Arrays results = isClass ? Arrays{requireClass(className).create(argumentArrays(arguments))}
                           : callWithArguments(name, arguments, rest.empty() ? outputCount : 1);
  if (rest.empty()) return results;
  if (results.empty()) raiseNoValue(name.name.text());
  return referenceFurther(std::move(results[0]), rest, outputCount);
}

Arrays Interpreter::callWithArguments(const NameReference& name, const IndexStep* arguments, int outputCount) {
  const FunctionCode* code = findScriptFunction(name);
  return located(name.name.column, [&] {
    if (!code) return callHost(name.name, arguments, argumentArrays(arguments), outputCount);
    return runFunction(
        *code, [&](CallFrame& frame) { giveArguments(arguments, frame); }, outputCount, collectOutputs);
  });
}

Value Interpreter::valueOfCall(const NameReference& name, const IndexStep* arguments) {
  const FunctionCode* code = findScriptFunction(name);
  Value value = located(
      name.name.column, [&]() __attribute__((always_inline)) {
        if (!code) return valueOfHost(name.name, arguments);
        return runFunction(
            *code, [&](CallFrame & frame) __attribute__((always_inline)) { giveArguments(arguments, frame); },
            1, [](const FunctionCode& called, Frame& frame) __attribute__((always_inline)) {
              return firstOutput(called, frame);
            });
      });
  if (!value.isDefined()) raiseNoValue(name.name.text());
  return value;
}

/// The one result of a method or a function of the host, or nothing.
[[gnu::noinline]] Value Interpreter::valueOfHost(const MemberName& name, const IndexStep* arguments) {
  const FunctionInfo* function = name.function();
  const auto firstOf = [&](Arrays&& inputs) {
    Arrays results = callHost(name, arguments, std::move(inputs), 1);
    return results.empty() ? Value() : Value(std::move(results[0]));
  };
  if (!function || !(function->ofScalar || function->ofScalars)) return firstOf(argumentArrays(arguments));
  Values inputs;
  if (arguments && arguments->arguments.size() == 1 && !arguments->mayHaveLists) {
    Value input = evaluate(*arguments->arguments[0]);
    if (const double* number = input.number(); number && function->ofScalar) {
      if (const auto result = function->ofScalar(*number)) return Value(*result);
    }
    inputs.push_back(std::move(input));
  } else {
    inputs = evaluateArguments(arguments);
    if (const auto result = scalarResult(*function, inputs)) return Value(*result);
  }
  return firstOf(arraysFrom(std::move(inputs)));
}

/// Calls the method of one of the inputs, or else the function of the host.
Arrays Interpreter::callHost(const MemberName& name, const IndexStep* arguments, Arrays&& inputs,
                             int outputCount) {
  const MethodInfo* method = inputs.empty() ? nullptr : findMethodOf(inputs[0], name);
  if (arguments && method && method->changesObject && objectClass(inputs[0])->isValueClass()) {
    const auto isDefined = [&](int slot) { return frame_->slots[slot].isDefined(); };
    const auto& place = arguments->arguments[0]->node;
    if (const auto* variable = std::get_if<NameReference>(&place); variable && isDefined(variable->slot)) {
      inputs[0] = HostArray();  // The variable must be the only one that holds the object.
      return callChangingMethod(*method, variable->slot, std::move(inputs), outputCount);
    }
    if (const auto* part = std::get_if<IndexExpression>(&place);
        part && isDefined(part->base.slot) && part->steps.back().kind != IndexStep::Kind::Paren)
      return callChangingMethod(*method, part->base.slot, part->steps, std::move(inputs), outputCount);
  }
  const CallDepth depth(*this);
  if (method) return firstResults(*method, inputs, outputCount);
  return firstResultsOfMember(name, std::move(inputs), outputCount);
}

namespace {

/// Calls a method that changes `array`, one object; others that share it keep it as it was. `inputs[0]` is a
/// place for the object.
Arrays changedBy(const MethodInfo& method, HostArray& array, Arrays& inputs, int outputCount) {
  array.mutableObject();
  const std::weak_ptr<HostObject> object = array.objectAt();
  inputs[0] = std::move(array);
  try {
    Arrays results = firstResults(method.function, inputs, outputCount);
    array = std::move(inputs[0]);
    // A method may have moved its object into the result.
    if (auto moved = object.lock(); moved && !array.isObject()) array = HostArray::object(moved);
    return results;
  } catch (...) {
    array = std::move(inputs[0]);
    throw;
  }
}

/// Whether evaluating an expression once more gives the same again, and does nothing else.
bool isRepeatable(const ExpressionPtr& expression, const Slots& slots) {
  if (!expression) return true;
  const auto& node = expression->node;
  const auto both = [&](const auto& a, const auto& b) {
    return isRepeatable(a, slots) && isRepeatable(b, slots);
  };
  if (const auto* name = std::get_if<NameReference>(&node)) return slots[name->slot].isDefined();
  if (const auto* unary = std::get_if<UnaryOperation>(&node)) return isRepeatable(unary->operand, slots);
  if (const auto* binary = std::get_if<BinaryOperation>(&node)) return both(binary->left, binary->right);
  if (const auto* range = std::get_if<RangeExpression>(&node))
    return both(range->start, range->stop) && isRepeatable(range->step, slots);
  return std::holds_alternative<Constant>(node) || std::holds_alternative<AllElements>(node) ||
         std::holds_alternative<LastElement>(node);
}

}  // namespace

/// Calls a method that changes the object of a variable. `inputs[0]` is a place for the object.
Arrays Interpreter::callChangingMethod(const MethodInfo& method, int slot, Arrays&& inputs, int outputCount) {
  const CallDepth depth(*this);
  BorrowedVariable variable(*frame_, slot);
  return changedBy(method, variable.array(), inputs, outputCount);
}

/// The same for an object within a variable, `inputs[0]`, which `steps` have selected.
Arrays Interpreter::callChangingMethod(const MethodInfo& method, int slot, StepRange steps, Arrays&& inputs,
                                       int outputCount) {
  const CallDepth depth(*this);
  for (const IndexStep& step : steps) {
    if (!std::ranges::all_of(step.arguments, [&](const auto& e) { return isRepeatable(e, frame_->slots); }))
      raiseError(
          "Tessel:changesNoVariable",
          fmt::format("'{}' changes its object: assign that to a variable before.", method.function.name));
  }
  HostArray object = std::move(inputs[0]);
  Arrays results = changedBy(method, object, inputs, outputCount);
  HostArray base = frame_->slots[slot].toArray();
  const IndexPath path = resolvePath(base, steps, PathUse::Assign);
  base = HostArray();
  assignAt(slot, path, Value(std::move(object)));
  return results;
}

Arrays Interpreter::call(const std::string& name, Arrays&& inputs, int outputCount) {
  if (const FunctionCode* code = findScriptFunction(name)) {
    return callScriptFunction(*code, std::move(inputs), outputCount);
  }
  const CallDepth depth(*this);
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

namespace {

/// What a function value stands for: the one or the other is not null.
struct Callee {
  const NamedFunctionValue* named;
  const AnonymousFunctionValue* anonymous;
};

Callee calleeOf(const FunctionValue& function) {
  if (typeid(function) == typeid(AnonymousFunctionValue))
    return {nullptr, static_cast<const AnonymousFunctionValue*>(&function)};
  if (typeid(function) == typeid(NamedFunctionValue))
    return {static_cast<const NamedFunctionValue*>(&function), nullptr};
  raiseError("Tessel:mustBeFunction", "This function value cannot be called.");
}

/// The name that a handle calls as a program does that writes the name; null for other functions.
const NameReference* plainName(const FunctionValue& function) {
  const NamedFunctionValue* named = calleeOf(function).named;
  const bool isPlain = named && !named->local() && named->name().name.text().find('.') == std::string::npos;
  return isPlain ? &named->name() : nullptr;
}

}  // namespace

/// Calls what a variable's handle names with arguments as they stand in the program: a method may change the
/// object of a variable among them. Nothing where the function is of another kind.
std::optional<Arrays> Interpreter::callHandle(const HostArray& handle, const Steps& steps, int outputCount) {
  const bool isCall = handle.isFunction() && steps[0].kind == IndexStep::Kind::Paren && !steps[0].usesEnd;
  if (!isCall) return std::nullopt;
  // The call may give the variable another value: its function lives until that has returned.
  // NOLINTNEXTLINE(performance-unnecessary-copy-initialization)
  const std::shared_ptr<const FunctionValue> function = handle.functionValue();
  const NameReference* name = plainName(*function);
  return name ? std::optional(callNamed(*name, steps, outputCount)) : std::nullopt;
}

Arrays Interpreter::callValue(const FunctionValue& function, Arrays&& inputs, int outputCount) {
  const auto [named, anonymous] = calleeOf(function);
  if (named && named->local()) return callScriptFunction(*named->local(), std::move(inputs), outputCount);
  return named ? call(named->name().name.text(), std::move(inputs), outputCount)
               : callAnonymous(*anonymous, std::move(inputs), outputCount);
}

Value Interpreter::valueOfCall(const FunctionValue& function, const IndexStep* arguments) {
  if (const AnonymousFunctionValue* anonymous = calleeOf(function).anonymous) {
    return runAnonymous(
        *anonymous, [&](CallFrame & frame) __attribute__((always_inline)) { giveArguments(arguments, frame); },
        1, [&](const Expression& expression) { return evaluate(expression); });
  }
  if (const NameReference* name = plainName(function)) return valueOfCall(*name, arguments);
  return Value(std::move(callValue(function, argumentArrays(arguments), 1)[0]));
}

Arrays Interpreter::callScriptFunction(const FunctionCode& code, Arrays&& inputs, int outputCount) {
  return runFunction(
      code, [&](CallFrame& frame) { giveInputs(std::move(inputs), frame); }, outputCount, collectOutputs);
}

Arrays Interpreter::callAnonymous(const AnonymousFunctionValue& function, Arrays&& inputs, int outputCount) {
  // What is called may replace the function. NOLINTNEXTLINE(performance-unnecessary-copy-initialization)
  const std::shared_ptr<const FunctionCode> kept = function.code();
  return runAnonymous(
      function, [&](CallFrame& frame) { giveInputs(std::move(inputs), frame); }, outputCount,
      [&](const Expression& expression) {
        Arrays values;
        evaluateAll(expression, outputCount, values);
        keepFirst(values, outputCount);
        return values;
      });
}

}  // namespace tessel
