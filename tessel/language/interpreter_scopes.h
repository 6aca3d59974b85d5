/// What the evaluator sets up and puts back around calls and assignments.
#pragma once

#include <sys/resource.h>

#include <cstddef>
#include <exception>
#include <utility>

#include "tessel/language/interpreter.h"
#include "tessel/language/replaced.h"
#include "tessel/messages.h"

namespace tessel {

/// One call, or one text being evaluated. Raises "Tessel:recursionLimit" when too many are active.
class Interpreter::CallDepth {
 public:
  explicit CallDepth(Interpreter& interpreter) : interpreter_(interpreter) {
    if (interpreter.callDepth_ >= kMaxDepth || !hasStack()) {
      raiseError("Tessel:recursionLimit", "The calls are nested too deeply; is there a recursion without end?");
    }
    ++interpreter.callDepth_;
  }
  ~CallDepth() { --interpreter_.callDepth_; }
  CallDepth(const CallDepth&) = delete;
  CallDepth& operator=(const CallDepth&) = delete;

 private:
  static constexpr int kMaxDepth = 256;

  /// Three quarters of the stack may be in use; the rest is for one deep expression and the functions it calls.
  bool hasStack() const {
    static const std::size_t allowed = [] {
      rlimit limit{};
      const bool isKnown = getrlimit(RLIMIT_STACK, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY;
      return (isKnown ? static_cast<std::size_t>(limit.rlim_cur) : std::size_t{8} << 20) / 4 * 3;
    }();
    const auto* here = static_cast<const char*>(__builtin_frame_address(0));
    return here > interpreter_.stackBase_ || static_cast<std::size_t>(interpreter_.stackBase_ - here) < allowed;
  }

  Interpreter& interpreter_;
};

/// Makes `frame` the innermost one. When an error leaves it, the first such frame keeps where the error arose.
class Interpreter::FrameScope {
 public:
  FrameScope(Interpreter& interpreter, Frame& frame)
      : interpreter_(interpreter),
        exceptionCount_(std::uncaught_exceptions()),
        noEnd_(interpreter.endContext_, nullptr) {
    frame.caller = std::exchange(interpreter.frame_, &frame);
  }
  ~FrameScope() {
    if (std::uncaught_exceptions() > exceptionCount_ && interpreter_.errorStack_.empty()) keepErrorStack();
    interpreter_.frame_ = interpreter_.frame_->caller;
  }
  FrameScope(const FrameScope&) = delete;
  FrameScope& operator=(const FrameScope&) = delete;

 private:
  void keepErrorStack() noexcept {
    try {
      interpreter_.errorStack_ = interpreter_.callStack();
    } catch (...) {
      interpreter_.errorStack_.clear();  // Out of memory: the error keeps its text and loses its place.
    }
  }

  Interpreter& interpreter_;
  int exceptionCount_;
  Replaced<const EndContext*> noEnd_;
};

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
