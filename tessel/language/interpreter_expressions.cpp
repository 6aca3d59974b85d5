#include <algorithm>
#include <iterator>
#include <optional>

#include <fmt/format.h>
#include "tessel/interpreter.h"
#include "tessel/language/interpreter.h"
#include "tessel/language/interpreter_scopes.h"
#include "tessel/language/operators.h"
#include "tessel/runtime/arraydata.h"

namespace tessel {
namespace {

const MemberName kHorzcat{"horzcat"}, kVertcat{"vertcat"};

/// Are all elements real double scalars, as many in each row?
bool isScalarTable(const std::vector<Arrays>& rows) {
  const auto isScalar = [](const HostArray& a) {
    return a.arrayClass() == ArrayClass::Double && a.isScalar() && !a.isComplex();
  };
  return std::all_of(rows.begin(), rows.end(), [&](const Arrays& row) {
    return row.size() == rows[0].size() && std::all_of(row.begin(), row.end(), isScalar);
  });
}

HostArray matrixOfScalars(const std::vector<Arrays>& rows) {
  if (rows.empty()) return {};
  HostArray matrix = HostArray::zeros(ArrayClass::Double, {rows.size(), rows[0].size()});
  double* to = matrix.mutableReal<double>();
  for (std::size_t column = 0; column < rows[0].size(); ++column) {
    for (const Arrays& row : rows) *to++ = *row[column].real<double>();
  }
  return matrix;
}

HostArray cellOfRows(std::vector<Arrays> rows) {
  if (rows.empty()) return HostArray::cell({0, 0});
  const std::size_t columns = rows[0].size();
  HostArray cell = HostArray::cell({rows.size(), columns});
  for (std::size_t i = 0; i < rows.size(); ++i) {
    if (rows[i].size() != columns) {
      raiseError("Tessel:dimagree", "The rows of a cell array need the same number of elements.");
    }
    for (std::size_t j = 0; j < columns; ++j) cell.mutableCellAt(j * rows.size() + i) = std::move(rows[i][j]);
  }
  return cell;
}

}  // namespace

const MemberName Interpreter::kColon{"colon"};

Value Interpreter::evaluateInner(const Expression& expression) {
  return std::visit([this](const auto& node) { return evaluateNode(node); }, expression.node);
}

void Interpreter::evaluateAll(const Expression& expression, int outputCount, Arrays& values) {
  Arrays results;
  if (const auto* index = std::get_if<IndexExpression>(&expression.node)) {
    results = evaluateIndexed(*index, outputCount);
  } else if (const auto* part = std::get_if<PartExpression>(&expression.node)) {
    results = referenceFurther(evaluate(*part->base).toArray(), part->steps, outputCount);
  } else if (const auto* name = std::get_if<NameReference>(&expression.node);
             name && !frame_->slots[name->slot].isDefined()) {
    results = callNamed(*name, {}, outputCount);
    if (results.empty() && outputCount > 0) raiseNoValue(name->name.text());
  } else {
    values.push_back(evaluate(expression).toArray());
  }
  std::move(results.begin(), results.end(), std::back_inserter(values));
}

/// Of a name that is no variable.
Value Interpreter::evaluateNode(const NameReference& node) { return valueOfCall(node, nullptr); }

Value Interpreter::evaluateNode(const LastElement&) {
  if (!endContext_) raiseError("Tessel:endOutsideIndex", "'end' stands in no subscript of an array.");
  return lastPosition(*endContext_);
}

Value Interpreter::evaluateNode(const UnaryOperation& node) {
  Value operand = evaluate(*node.operand);
  const auto byFunction = [&] { return callOperator(node.method, arraysOf(std::move(operand).toArray())); };
  const double* number = operand.scalar();
  return number ? scalarOperation(node.info->code, *number, byFunction) : byFunction();
}

/// Applies a binary operator to values that are there.
[[gnu::always_inline]] inline Value Interpreter::operateHere(Operator code, const MemberName& method,
                                                             const Value& left, const Value& right) {
  const auto byFunction = [&] { return callOperator(method, left, right); };
  const double *a = left.scalar(), *b = right.scalar();
  return a && b ? scalarOperation(code, *a, *b, byFunction) : byFunction();
}

/// Numbers that stand in place are what loops combine most: for them this function saves no register.
Value Interpreter::evaluateNode(const BinaryOperation& node) {
  const Value *left = valueInPlace(*node.left), *right = valueInPlace(*node.right);
  const double *a = left ? left->scalar() : nullptr, *b = right ? right->scalar() : nullptr;
  const auto further = [&] { return operateFurther(node); };
  return a && b ? scalarOperation(node.info->code, *a, *b, further) : further();
}

/// The same for all operands and operators.
[[gnu::noinline]] Value Interpreter::operateFurther(const BinaryOperation& node) {
  const Operator code = node.info->code;
  if (code == Operator::AndAnd || code == Operator::OrOr) return evaluateShortCircuit(node);
  const Value *leftInPlace = valueInPlace(*node.left), *rightInPlace = valueInPlace(*node.right);
  if (leftInPlace && rightInPlace) return callOperator(node.method, *leftInPlace, *rightInPlace);
  const Value left = evaluate(*node.left);
  return operateHere(code, node.method, left, evaluate(*node.right));
}

Value Interpreter::operate(Operator code, const MemberName& method, const Value& left, const Value& right) {
  return operateHere(code, method, left, right);
}

[[gnu::noinline]] Value Interpreter::evaluateShortCircuit(const BinaryOperation& node) {
  const bool left = isTrue(evaluate(*node.left));
  return Value(left == (node.info->code == Operator::OrOr) ? left : isTrue(evaluate(*node.right)));
}

[[gnu::noinline]] Value Interpreter::callOperator(const MemberName& method, const Value& left,
                                                  const Value& right) {
  std::optional<HostArray> boxedLeft, boxedRight;
  const auto boxed = [](const Value& value, std::optional<HostArray>& box) -> const HostArray& {
    return value.array() ? *value.array() : box.emplace(value.toArray());
  };
  const HostArray &a = boxed(left, boxedLeft), &b = boxed(right, boxedRight);
  const auto form = formOfTwo(method, a, b);
  if (!form) return callOperator(method, arraysOf(a, b));
  const CallDepth depth(*this);
  return located(method.column, [&] { return Value(form(a, b)); });
}

Value Interpreter::callOperator(const MemberName& method, Arrays&& operands) {
  const CallDepth depth(*this);
  return located(method.column, [&] {
    Arrays results = callMember(method, std::move(operands));
    if (results.empty())
      raiseError("Tessel:noValue", fmt::format("The operator '{}' gives no value.", method.text()));
    return Value(std::move(results[0]));
  });
}

Range Interpreter::evaluateRange(const RangeExpression& node) {
  Value first = evaluate(*node.start);
  Value step = node.step ? evaluate(*node.step) : Value(1.0);
  Value last = evaluate(*node.stop);
  if (first.number() && step.number() && last.number()) {
    if (const auto steps = doubleSteps(*first.number(), *step.number(), *last.number())) return {steps, {}};
  }
  Arrays ends = arraysOf(std::move(first).toArray());
  if (node.step) ends.push_back(std::move(step).toArray());
  ends.push_back(std::move(last).toArray());
  return {std::nullopt, callOperator(kColon, std::move(ends))};
}

Value Interpreter::evaluateNode(const RangeExpression& node) { return Value(evaluateRange(node).toArray()); }

Arrays Interpreter::evaluateRow(const Expressions& elements) {
  Arrays row;
  row.reserve(elements.size());
  for (const ExpressionPtr& element : elements) evaluateArgument(*element, row);
  return row;
}

Value Interpreter::evaluateNode(const MatrixLiteral& node) {
  const auto joined = [&](const MemberName& method, Arrays&& parts) {
    return parts.size() == 1 ? Value(std::move(parts[0])) : callOperator(method, std::move(parts));
  };
  std::vector<Arrays> rows;
  for (const Expressions& elements : node.rows) {
    Arrays row = evaluateRow(elements);
    if (node.rows.size() == 1 && !node.isCell)
      return row.empty() ? Value(HostArray()) : joined(kHorzcat, std::move(row));
    if (!row.empty()) rows.push_back(std::move(row));
  }
  if (node.isCell) return Value(cellOfRows(std::move(rows)));
  if (isScalarTable(rows)) return Value(matrixOfScalars(rows));
  Arrays parts;
  for (Arrays& row : rows) parts.push_back(joined(kHorzcat, std::move(row)).toArray());
  return joined(kVertcat, std::move(parts));
}

/// Calls, elements of arrays of real doubles and fields are what loops ask for most.
Value Interpreter::evaluateNode(const IndexExpression& node) {
  const Value& variable = frame_->slots[node.base.slot];
  const IndexStep& step = node.steps[0];
  if (node.steps.size() > 1) return evaluateSteps(node);
  if (!variable.isDefined())
    return step.kind == IndexStep::Kind::Paren && !step.usesEnd ? valueOfCall(node.base, &step)
                                                                : evaluateSteps(node);
  const HostArray* array = variable.array();
  if (step.hasPlainArgument && !(array && array->isFunction())) {
    Value subscript = evaluate(*step.arguments[0]);
    const double* number = subscript.number();
    // Evaluating the subscript may have changed the variable.
    const double* element = number ? doubleAt(frame_->slots[node.base.slot], *number) : nullptr;
    return element ? Value(*element) : evaluateElement(node, std::move(subscript));
  }
  const bool isField = array && step.kind == IndexStep::Kind::Field;
  const HostArray* field = isField ? ArrayAccess::findField(*array, step.field.text(), step.place) : nullptr;
  return field ? Value(*field) : evaluateSteps(node);
}

[[gnu::noinline]] Value Interpreter::evaluateSteps(const IndexExpression& node) {
  const Value& variable = frame_->slots[node.base.slot];
  const bool isFunction = variable.array() && variable.array()->isFunction();
  const bool isOneLevel = node.steps.size() == 1 && node.steps[0].kind == IndexStep::Kind::Paren;
  if (isFunction && isOneLevel && !node.steps[0].usesEnd) {
    const std::shared_ptr<const FunctionValue> function = variable.array()->functionValue();
    return valueOfCall(*function, node.steps.data());
  }
  if (variable.isDefined() && !isFunction && node.steps.size() == 1) {
    if (Value part = evaluatePart(node); part.isDefined()) return part;
  }
  Arrays values = evaluateIndexed(node, 1);
  if (values.empty()) raiseError("Tessel:noValue", "The expression gives no value.");
  return Value(std::move(values[0]));
}

Value Interpreter::evaluateNode(const PartExpression& node) {
  Arrays values = referenceFurther(evaluate(*node.base).toArray(), node.steps, 1);
  if (values.empty()) raiseError("Tessel:noValue", "The expression gives no value.");
  return Value(std::move(values[0]));
}

Value Interpreter::evaluateNode(const NamedHandle& node) {
  auto local = files_.findLocal(frame_->file(), node.name);
  return Value(HostArray::function(std::make_shared<NamedFunctionValue>(node.name, std::move(local))));
}

Value Interpreter::evaluateNode(const AnonymousFunction& node) {
  std::vector<AnonymousFunctionValue::Capture> captures;
  for (const AnonymousFunction::Capture& capture : node.captures) {
    const Value& value = frame_->slots[capture.outerSlot];
    if (value.isDefined()) captures.push_back({capture.innerSlot, value});
  }
  return Value(HostArray::function(std::make_shared<AnonymousFunctionValue>(node.code, std::move(captures))));
}

}  // namespace tessel
