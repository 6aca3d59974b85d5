#include <algorithm>

#include <fmt/format.h>
#include "tessel/interpreter.h"
#include "tessel/language/interpreter.h"
#include "tessel/language/interpreter_scopes.h"
#include "tessel/runtime/arithmetic.h"
#include "tessel/runtime/dispatch.h"
#include "tessel/runtime/indexing.h"
#include "tessel/runtime/interruption.h"

namespace tessel {
namespace {

/// The sizes of an array folded into rows and columns; of an object, what its methods say.
struct ColumnShape {
  std::size_t rows;
  std::size_t columns;
};

ColumnShape columnShape(const HostArray& array, bool hasOwnShape) {
  if (!hasOwnShape) return {array.dim(0), array.dim(0) == 0 ? 0 : array.numel() / array.dim(0)};
  const HostArray size = tessel::callFunction("size", {array}).at(0);
  ColumnShape shape{static_cast<std::size_t>(size.realAt(0)), 1};
  for (std::size_t d = 1; d < size.numel(); ++d) shape.columns *= static_cast<std::size_t>(size.realAt(d));
  return shape;
}

bool hasMethod(const HostArray& value, std::string_view name) {
  const HostClass* hostClass = objectClass(value);
  return hostClass && hostClass->findMethod(name);
}

}  // namespace

/// What precedes each statement.
[[gnu::always_inline]] inline void Interpreter::begin(const Statement& statement) {
  frame_->line = statement.line;
  // Whoever executes a statement has dealt with the error before it.
  if (!errorStack_.empty()) errorStack_.clear();
  countStep();
}

/// Assigns to the one target.
[[gnu::always_inline]] inline void Interpreter::assignOne(const Assignment& node) {
  Value value = evaluate(*node.value);
  if (node.wholeSlot >= 0)
    frame_->slots[node.wholeSlot] = std::move(value);
  else
    assignSteps(node.targets[0], std::move(value));
}

/// A decision that ends a block goes on in the block that it chooses, and silent assignments are made here: the
/// processor predicts the returns of some sixteen calls, and functions that call themselves pass here at every
/// level.
Interpreter::Flow Interpreter::execute(const Block& block) {
  const Statement *next = block.data(), *end = next + block.size();
  while (next != end) {
    const Statement& statement = *next++;
    begin(statement);
    const auto* assignment = std::get_if<Assignment>(&statement.node);
    const auto* decision = std::get_if<IfStatement>(&statement.node);
    if (assignment && assignment->isOne && assignment->isSilent) {
      assignOne(*assignment);
    } else if (decision && next == end) {
      const Block& chosen = chosenBlock(*decision);
      next = chosen.data();
      end = next + chosen.size();
    } else if (const Flow flow = executeNode(statement); flow != Flow::Normal) {
      return flow;
    }
  }
  return Flow::Normal;
}

Interpreter::Flow Interpreter::execute(const Statement& statement) {
  begin(statement);
  return executeNode(statement);
}

[[gnu::noinline]] Interpreter::Flow Interpreter::executeNode(const Statement& statement) {
  return std::visit([this](const auto& node) { return executeNode(node); }, statement.node);
}

Interpreter::Flow Interpreter::executeNode(const ExpressionStatement& node) {
  if (const auto* name = std::get_if<NameReference>(&node.expression->node)) {
    if (const Value& variable = frame_->slots[name->slot]; variable.isDefined()) {
      if (!node.isSilent) display(variable.toArray(), name->name.text());
      return Flow::Normal;
    }
  }
  Arrays values;
  evaluateAll(*node.expression, 0, values);
  for (Value& value : valuesFrom(std::move(values))) {
    assignVariable({"ans", frame_->symbols().slotOf("ans"), {}}, std::move(value), node.isSilent);
  }
  return Flow::Normal;
}

Interpreter::Flow Interpreter::executeNode(const CommandOrExpression& node) {
  if (!frame_->slots[node.slot].isDefined()) return executeNode(node.command);
  if (!node.expression.expression)
    located(node.faultColumn, [&] { raiseError("Tessel:syntaxError", node.fault); });
  return executeNode(node.expression);
}

Interpreter::Flow Interpreter::executeNode(const Assignment& node) {
  if (node.isOne) {
    assignOne(node);
    const AssignmentTarget& target = node.targets[0];
    if (!node.isSilent) display(frame_->slots[target.slot].toArray(), target.name);
    return Flow::Normal;
  }
  Arrays values;
  evaluateAll(*node.value, static_cast<int>(node.targets.size()), values);
  if (values.size() < node.targets.size()) {
    raiseError("Tessel:notEnoughOutputs", fmt::format("{} values are assigned, but the right side gives {}.",
                                                      node.targets.size(), values.size()));
  }
  Values given = valuesFrom(std::move(values));
  for (std::size_t i = 0; i < node.targets.size(); ++i) {
    if (!node.targets[i].name.empty()) assignVariable(node.targets[i], std::move(given[i]), node.isSilent);
  }
  return Flow::Normal;
}

Interpreter::Flow Interpreter::executeNode(const CompoundAssignment& node) {
  const AssignmentTarget& target = node.target;
  const Value operand = evaluate(*node.value);
  // A function of that name, such as `i`, is not what a sum begins with.
  if (!frame_->slots[target.slot].isDefined()) raiseUndefined(target.name);
  if (target.steps.empty())
    frame_->slots[target.slot] = operate(node.info->code, node.method, frame_->slots[target.slot], operand);
  else
    updateSteps(node, operand);
  if (!node.isSilent) display(frame_->slots[target.slot].toArray(), target.name);
  return Flow::Normal;
}

/// Changes what the steps of the target select; their subscripts are evaluated once.
void Interpreter::updateSteps(const CompoundAssignment& node, const Value& operand) {
  const AssignmentTarget& target = node.target;
  const IndexStep& step = target.steps[0];
  const auto changed = [&](const Value& old) { return operate(node.info->code, node.method, old, operand); };
  IndexPath path;
  if (target.steps.size() == 1 && step.hasPlainArgument) {
    Value subscript = evaluate(*step.arguments[0]);
    const double* position = subscript.number();
    Value element = position ? elementOf(frame_->slots[target.slot], *position) : Value();
    if (element.isDefined()) {
      element = changed(element);
      HostArray* array = frame_->slots[target.slot].array();
      if (array && assignElement(*array, *position, element)) return;
    }
    path.push_back({IndexLevel::Kind::Paren, arraysOf(std::move(subscript).toArray()), {}});
    if (element.isDefined()) return assignAt(target.slot, path, std::move(element));
  } else {
    HostArray base = frame_->slots[target.slot].toArray();
    path = resolvePath(base, target.steps, PathUse::Assign);
  }
  const Value& variable = frame_->slots[target.slot];
  if (!variable.isDefined()) raiseUndefined(target.name);
  Arrays parts = reference(variable.toArray(), path);
  if (parts.size() != 1) {
    raiseError("Tessel:notOneValue",
               fmt::format("'{}' selects {} values, but one is changed at a time.", target.name, parts.size()));
  }
  assignAt(target.slot, path, changed(Value(std::move(parts[0]))));
}

void Interpreter::assignVariable(const AssignmentTarget& target, Value&& value, bool isSilent) {
  Frame& frame = *frame_;
  if (static_cast<std::size_t>(target.slot) >= frame.slots.size()) frame.slots.resize(target.slot + 1);
  if (target.steps.empty())
    frame.slots[target.slot] = std::move(value);
  else
    assignSteps(target, std::move(value));
  if (!isSilent) display(frame.slots[target.slot].toArray(), target.name);
}

[[gnu::always_inline]] inline const Block& Interpreter::chosenBlock(const IfStatement& node) {
  for (const Branch& branch : node.branches) {
    if (isTrue(evaluate(*branch.condition))) return branch.body;
  }
  return node.otherwise;
}

Interpreter::Flow Interpreter::executeNode(const IfStatement& node) { return execute(chosenBlock(node)); }

/// One pass of a loop: what the loop returns now, or nothing to go on.
std::optional<Interpreter::Flow> Interpreter::executePass(const Block& body) {
  switch (execute(body)) {
    case Flow::Break: return Flow::Normal;
    case Flow::Return: return Flow::Return;
    default: return std::nullopt;
  }
}

Interpreter::Flow Interpreter::executeNode(const WhileStatement& node) {
  const int line = frame_->line;
  while (isTrue(evaluate(*node.condition))) {
    if (const auto flow = executePass(node.body)) return *flow;
    frame_->line = line;
    countStep();
  }
  return Flow::Normal;
}

template <class ValueAt>
Interpreter::Flow Interpreter::executeLoop(const ForStatement& node, std::size_t count,
                                           const ValueAt& valueAt) {
  for (std::size_t k = 0; k < count; ++k) {
    frame_->slots[node.slot] = valueAt(k);
    if (const auto flow = executePass(node.body)) return *flow;
    countStep();
  }
  return Flow::Normal;
}

Interpreter::Flow Interpreter::executeNode(const ForStatement& node) {
  HostArray range;
  if (const auto* literal = std::get_if<RangeExpression>(&node.range->node)) {
    Range ends = evaluateRange(*literal);
    // A row of numbers that nobody else sees is not made.
    if (ends.steps) {
      return executeLoop(node, ends.steps->count(), [&](std::size_t k) { return Value((*ends.steps)[k]); });
    }
    range = std::move(ends).toArray();
  } else {
    range = evaluate(*node.range).toArray();
  }
  const bool isIndexedByClass = hasMethod(range, "subsref");
  const ColumnShape shape = columnShape(range, isIndexedByClass && hasMethod(range, "size"));
  if (shape.rows == 0) return Flow::Normal;
  const bool isNumberRow = shape.rows == 1 && range.arrayClass() == ArrayClass::Double && !range.isComplex();
  IndexPath path{{tessel::IndexLevel::Kind::Paren, {HostArray::text(":"), HostArray()}, {}}};
  return executeLoop(node, shape.columns, [&](std::size_t column) {
    if (isNumberRow) return Value(range.real<double>()[column]);
    if (range.isFunction()) return Value(range);
    path[0].subscripts[1] = HostArray::scalar(static_cast<double>(column + 1));
    return Value(reference(range, path).at(0));
  });
}

Interpreter::Flow Interpreter::executeNode(const SwitchStatement& node) {
  const HostArray subject = evaluate(*node.subject).toArray();
  for (const Branch& branch : node.cases) {
    const HostArray label = evaluate(*branch.condition).toArray();
    bool isMatch = false;
    if (label.isCell()) {
      for (std::size_t i = 0; i < label.numel() && !isMatch; ++i) isMatch = matches(subject, label.cellAt(i));
    } else {
      isMatch = matches(subject, label);
    }
    if (isMatch) return execute(branch.body);
  }
  return execute(node.otherwise);
}

bool Interpreter::matches(const HostArray& subject, const HostArray& label) {
  if (subject.isChar() || label.isChar()) {
    return subject.isText() && label.isText() && subject.toText() == label.toText();
  }
  if (subject.isCell() || subject.isStruct() || label.isStruct()) {
    raiseError("Tessel:badSwitch", "A switch compares numbers, texts and objects only.");
  }
  if (subject.isEmpty() || label.isEmpty()) return false;
  return isTrue(Value(tessel::callFunction("eq", {subject, label}).at(0)));
}

Interpreter::Flow Interpreter::executeNode(const TryStatement& node) {
  Flow flow = Flow::Normal;
  const auto error = attempt([&] { flow = execute(node.body); });
  if (!error) return flow;
  if (node.errorSlot >= 0) frame_->slots[node.errorSlot] = Value(errorValue(*error));
  return execute(node.handler);
}

HostArray Interpreter::errorValue(const ErrorRecord& error) {
  HostArray stack = HostArray::structure({error.stack.size(), 1}, {"file", "name", "line"});
  for (std::size_t i = 0; i < error.stack.size(); ++i) {
    stack.mutableFieldAt("file", i) = HostArray::text(error.stack[i].file);
    stack.mutableFieldAt("name", i) = HostArray::text(error.stack[i].name);
    stack.mutableFieldAt("line", i) = HostArray::scalar(error.stack[i].line);
  }
  HostArray value = HostArray::structure({1, 1}, {"identifier", "message", "stack"});
  value.mutableFieldAt("identifier") = HostArray::text(error.identifier);
  value.mutableFieldAt("message") = HostArray::text(error.text);
  value.mutableFieldAt("stack") = std::move(stack);
  return value;
}

bool Interpreter::isTrueArray(HostArray value) {
  if (value.isObject()) value = tessel::callFunction("ne", {value, HostArray::scalar(0)}).at(0);
  if (!value.isNumeric() && !value.isLogical() && !value.isChar()) {
    raiseError("Tessel:conditionNotLogical",
               fmt::format("A value of class '{}' is neither true nor false.", value.className()));
  }
  const HostArray zeros = logicalNot(value);  // refuses NaN
  return !zeros.isEmpty() &&
         std::none_of(zeros.real<bool>(), zeros.real<bool>() + zeros.numel(), [](bool z) { return z; });
}

}  // namespace tessel
