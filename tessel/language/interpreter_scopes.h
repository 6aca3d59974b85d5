/// What the evaluator sets up and puts back around calls and assignments.
#pragma once

#include <cstddef>
#include <utility>
#include <vector>

#include "tessel/interruption.h"
#include "tessel/language/interpreter.h"
#include "tessel/language/replaced.h"
#include "tessel/messages.h"
#include "tessel/registries.h"
#include "tessel/runtime/interruption.h"

namespace tessel {

[[noreturn]] inline void raiseNoValue(const std::string& name) {
  raiseError("Tessel:noValue", "'" + name + "' gives no value.");
}

[[noreturn]] inline void raiseUndefined(const std::string& name) {
  raiseError("Tessel:UndefinedFunction", "Undefined function or variable '" + name + "'.");
}

inline void Interpreter::countStep() {
  if (stepsLeft_ == 0) requestInterruption();
  if (isInterruptionRequested()) raiseIfInterrupted();
  --stepsLeft_;
}

/// One call, or one text being evaluated. Raises "Tessel:recursionLimit" when too many are active.
class Interpreter::CallDepth {
 public:
  explicit CallDepth(Interpreter& interpreter) : interpreter_(interpreter) {
    if (interpreter.callDepth_ >= kMaxDepth || !hasStack()) raiseTooDeep();
    interpreter.countStep();
    ++interpreter.callDepth_;
  }
  ~CallDepth() { --interpreter_.callDepth_; }
  CallDepth(const CallDepth&) = delete;
  CallDepth& operator=(const CallDepth&) = delete;

 private:
  static constexpr int kMaxDepth = 256;

  bool hasStack() const {
    const auto* here = reinterpret_cast<const char*>(this);
    return interpreter_.stackBase_ - here < static_cast<std::ptrdiff_t>(interpreter_.stackAllowed_);
  }
  [[noreturn]] static void raiseTooDeep() {
    raiseError("Tessel:recursionLimit", "The calls are nested too deeply; is there a recursion without end?");
  }

  Interpreter& interpreter_;
};

/// The deepest memory for the variables of a call, from before they are made until they have ended.
struct Interpreter::DeepestMemory {
  [[gnu::always_inline]] explicit DeepestMemory(Interpreter& interpreter)
      : values(interpreter.nextCallMemory().values),
        deepest(interpreter.deepestMemory_, interpreter.deepestMemory_->deeper.get()) {}

  std::vector<Value>& values;
  const Replaced<CallMemory*> deepest;
};

/// The variables of a call, in memory that calls before it have left.
class Interpreter::CallFrame : private DeepestMemory, public Frame {
 public:
  [[gnu::always_inline]] CallFrame(Interpreter& interpreter, const FunctionCode& function, int wantedCount)
      : DeepestMemory(interpreter),
        Frame(function, &function, values),
        nextParameter_(function.parameters.data()),
        endOfParameters_(nextParameter_ + function.fixedParameters()) {
    line = function.line;
    outputCount = wantedCount;
  }
  [[gnu::always_inline]] ~CallFrame() = default;
  CallFrame(const CallFrame&) = delete;
  CallFrame& operator=(const CallFrame&) = delete;

  /// Gives the next parameter its value; those without an input stay undefined.
  [[gnu::always_inline]] void take(Value&& input) {
    ++inputCount;
    if (nextParameter_ == endOfParameters_) return takeFurther(std::move(input));
    if (const int slot = *nextParameter_++; slot >= 0) slots[slot] = std::move(input);
  }
  /// All inputs are there.
  void finishInputs() {
    if (code->hasVarargin) listFurther();
  }

 private:
  [[gnu::noinline]] void takeFurther(Value&& input) {
    if (!code->hasVarargin) raiseTooManyInputs(code->name, static_cast<int>(code->fixedParameters()));
    if (!further_) further_ = std::make_unique<std::vector<HostArray>>();
    further_->push_back(std::move(input).toArray());
  }
  [[gnu::noinline]] void listFurther() {
    HostArray list = HostArray::cell({1, further_ ? further_->size() : 0});
    for (std::size_t i = 0; i < list.numel(); ++i) list.mutableCellAt(i) = std::move((*further_)[i]);
    slots[code->parameters.back()] = Value(std::move(list));
  }

  const int *nextParameter_, *endOfParameters_;
  std::unique_ptr<std::vector<HostArray>> further_;  ///< inputs beyond those that have a parameter of their own
};

/// Hands the values of the arguments of a call to `take`. An `end` in them belongs to the array around the
/// call.
template <class Take>
[[gnu::always_inline]] inline void Interpreter::forEachArgument(const IndexStep* arguments, const Take& take) {
  if (!arguments) return;
  if (!arguments->mayHaveLists) {
    for (const ExpressionPtr& argument : arguments->arguments) take(evaluate(*argument));
    return;
  }
  for (const ExpressionPtr& argument : arguments->arguments) {
    for (HostArray& value : argumentValues(*argument)) take(Value(std::move(value)));
  }
}

/// Performs `action` with `frame` as the innermost one. When an error leaves it, the first such frame keeps
/// where the error arose.
template <class Action>
[[gnu::always_inline]] inline auto Interpreter::inFrame(Frame& frame, const Action& action) {
  frame.caller = frame_;
  const Replaced<Frame*> inner(frame_, &frame);
  const Replaced<const EndContext*> noEnd(endContext_, nullptr);
  try {
    return action();
  } catch (...) {
    if (errorStack_.empty()) keepErrorStack();
    throw;
  }
}

/// Performs `action`, which stands at `column` of the line that is being executed.
template <class Action>
[[gnu::always_inline]] inline auto Interpreter::located(int column, const Action& action) {
  try {
    return action();
  } catch (...) {
    noteColumn(column);
    throw;
  }
}

/// Takes the array out of a variable, so that it is not shared and can be changed in place, and puts it back.
class Interpreter::BorrowedVariable {
 public:
  BorrowedVariable(Frame& frame, int slot)
      : frame_(frame),
        slot_(slot),
        isDefined_(frame.slots[slot].isDefined()),
        block_(takenFrom(frame.slots[slot])) {}
  ~BorrowedVariable() {
    if (isDefined_) frame_.slots[slot_] = Value(std::move(block_));
  }
  BorrowedVariable(const BorrowedVariable&) = delete;
  BorrowedVariable& operator=(const BorrowedVariable&) = delete;

  HostArray& array() { return *block_; }
  /// A variable that had no value gets this one.
  void define() { isDefined_ = true; }

 private:
  static Value::Block takenFrom(Value& variable) {
    return variable.isDefined() ? std::move(variable).toBlock() : Value(HostArray()).toBlock();
  }

  Frame& frame_;
  int slot_;
  bool isDefined_;
  Value::Block block_;
};

}  // namespace tessel
