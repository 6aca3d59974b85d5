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
    const auto* here = static_cast<const char*>(__builtin_frame_address(0));
    return interpreter_.stackBase_ - here < static_cast<std::ptrdiff_t>(interpreter_.stackAllowed_);
  }
  [[noreturn]] static void raiseTooDeep() {
    raiseError("Tessel:recursionLimit", "The calls are nested too deeply; is there a recursion without end?");
  }

  Interpreter& interpreter_;
};

/// The variables of a call, in memory that calls before it have left.
class Interpreter::CallFrame : public Frame {
 public:
  CallFrame(Interpreter& interpreter, const FunctionCode& function, int wantedCount)
      : Frame(interpreter.nextCallMemory(), function.symbols->names().size()),
        interpreter_(interpreter),
        fixedCount_(function.parameters.size() - (function.hasVarargin ? 1 : 0)) {
    code = &function;
    name = function.name;
    file = function.file;
    symbols = function.symbols.get();
    line = function.line;
    outputCount = wantedCount;
  }
  ~CallFrame() { --interpreter_.callMemoryUsed_; }
  CallFrame(const CallFrame&) = delete;
  CallFrame& operator=(const CallFrame&) = delete;

  /// Gives the next parameter its value; those without an input stay undefined.
  void take(Value&& input) {
    const auto place = static_cast<std::size_t>(inputCount++);
    if (place < fixedCount_) {
      if (code->parameters[place] >= 0) slots[code->parameters[place]] = std::move(input);
    } else {
      if (!code->hasVarargin) raiseTooManyInputs(code->name, static_cast<int>(fixedCount_));
      rest_.push_back(std::move(input).toArray());
    }
  }
  /// All inputs are there.
  void finishInputs() {
    if (!code->hasVarargin) return;
    HostArray rest = HostArray::cell({1, rest_.size()});
    for (std::size_t i = 0; i < rest_.size(); ++i) rest.mutableCellAt(i) = std::move(rest_[i]);
    slots[code->parameters.back()] = Value(std::move(rest));
  }

 private:
  Interpreter& interpreter_;
  std::size_t fixedCount_;
  std::vector<HostArray> rest_;  ///< inputs beyond those that have a parameter of their own
};

/// Hands the values of the arguments of a call to `take`. An `end` in them belongs to the array around the
/// call.
template <class Take>
void Interpreter::forEachArgument(const IndexStep* arguments, const Take& take) {
  if (!arguments) return;
  for (const ExpressionPtr& argument : arguments->arguments) {
    if (!arguments->mayHaveLists || !mayBeList(*argument)) {
      take(evaluate(*argument));
    } else {
      Arrays list;
      evaluateArgument(*argument, list);
      for (HostArray& value : list) take(Value(std::move(value)));
    }
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
  BorrowedVariable(Frame& frame, int slot) : frame_(frame), slot_(slot) {
    Value& variable = frame.slots[slot];
    isDefined_ = variable.isDefined();
    if (isDefined_) array = std::exchange(variable, Value()).toArray();
  }
  ~BorrowedVariable() {
    if (isDefined_) frame_.slots[slot_] = Value(std::move(array));
  }
  BorrowedVariable(const BorrowedVariable&) = delete;
  BorrowedVariable& operator=(const BorrowedVariable&) = delete;

  /// A variable that had no value gets this one.
  void define() { isDefined_ = true; }

  HostArray array;

 private:
  Frame& frame_;
  int slot_;
  bool isDefined_ = false;
};

}  // namespace tessel
