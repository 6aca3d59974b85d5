#include <algorithm>
#include <iterator>

#include "tessel/interpreter.h"
#include "tessel/language/interpreter.h"
#include "tessel/language/interpreter_scopes.h"
#include "tessel/language/operators.h"
#include "tessel/objects.h"
#include "tessel/runtime/dispatch.h"

namespace tessel {
namespace {

const MemberName kEnd{"end"}, kSize{"size"};

/// The sizes as the object's class tells them, or those of the array that holds the objects.
Dimensions sizesOf(const HostArray& array) {
  if (!findMethodOf(array, kSize)) return array.dims();
  const HostArray size = callMember(kSize, {array}).at(0);
  Dimensions dims;
  for (std::size_t d = 0; d < size.numel(); ++d) dims.push_back(static_cast<std::size_t>(size.realAt(d)));
  return dims;
}

/// The method that the steps call on an object and that changes it, or null.
const MethodInfo* changingMethod(const HostArray& object, std::span<const IndexStep> steps) {
  const HostClass* hostClass = objectClass(object);
  if (!hostClass || !hostClass->isValueClass() || !object.isScalar()) return nullptr;
  if (steps[0].kind != IndexStep::Kind::Field || steps[0].field.propertyOf(*hostClass)) return nullptr;
  const MethodInfo* method = steps[0].field.methodOf(*hostClass);
  return method && method->changesObject ? method : nullptr;
}

/// The position from 0 that a subscript names in a dimension, or nothing where there is none.
std::optional<std::size_t> positionWithin(double subscript, std::size_t extent) {
  if (!(subscript >= 1 && subscript <= static_cast<double>(extent))) return std::nullopt;
  const auto whole = static_cast<long long>(subscript);
  return static_cast<double>(whole) == subscript ? std::optional(static_cast<std::size_t>(whole) - 1)
                                                 : std::nullopt;
}

/// The linear position, from 0, of the one existing element that scalar subscripts select.
std::optional<std::size_t> elementPosition(const HostArray& array, const ScalarSubscripts& subscripts) {
  const auto [first, second] = subscripts.values;
  if (subscripts.count == 1) return positionWithin(first, array.numel());
  if (subscripts.count != 2 || array.dims().size() != 2) return std::nullopt;
  const auto row = positionWithin(first, array.dim(0));
  const auto column = row ? positionWithin(second, array.dim(1)) : std::nullopt;
  return column ? std::optional(*column * array.dim(0) + *row) : std::nullopt;
}

/// The array of a variable whose elements can be had without a path: of real doubles or one object.
template <class Variable>
auto* directArray(Variable& variable) {
  auto* array = variable.array();
  const bool isDirect =
      array && (array->isObject() || (array->arrayClass() == ArrayClass::Double && !array->isComplex()));
  return isDirect ? array : nullptr;
}

}  // namespace

Arrays Interpreter::evaluateIndexed(const IndexExpression& node, int outputCount) {
  const bool isVariable = frame_->slots[node.base.slot].isDefined();
  Arrays results = isVariable ? referenceVariable(node.base.slot, node.steps, outputCount)
                              : callNamed(node.base, node.steps, outputCount);
  const bool mayBeNothing = outputCount == 0 || node.steps.back().kind != IndexStep::Kind::Paren;
  if (results.empty() && !mayBeNothing)
    raiseError("Tessel:noValue", "'" + node.base.name.text() + "' gives no value.");
  return results;
}

/// The value of a scalar expression that calls nothing, so that evaluating it again does no harm.
std::optional<double> Interpreter::pureScalar(const Expression& expression) const {
  if (const auto* constant = std::get_if<Constant>(&expression.node)) {
    if (const double* number = constant->value.number()) return *number;
  } else if (const auto* name = std::get_if<NameReference>(&expression.node)) {
    if (const double* number = frame_->slots[name->slot].number()) return *number;
  } else if (const auto* operation = std::get_if<BinaryOperation>(&expression.node)) {
    const auto left = pureScalar(*operation->left);
    const auto right = left ? pureScalar(*operation->right) : std::nullopt;
    if (!right) return std::nullopt;
    const Value result = scalarOperation(operation->info->code, *left, *right, [] { return Value(); });
    if (const double* number = result.number()) return *number;
  }
  return std::nullopt;
}

/// The one or two scalar subscripts of a single level of parentheses, when none of them calls anything.
ScalarSubscripts Interpreter::pureSubscripts(const Steps& steps) const {
  ScalarSubscripts subscripts;
  const Expressions& arguments = steps[0].arguments;
  if (steps.size() != 1 || steps[0].kind != IndexStep::Kind::Paren) return subscripts;
  if (arguments.size() > ScalarSubscripts::kMost) return subscripts;
  for (std::size_t k = 0; k < arguments.size(); ++k) {
    const auto value = pureScalar(*arguments[k]);
    if (!value) return subscripts;
    subscripts.values[k] = *value;
  }
  subscripts.count = arguments.size();
  return subscripts;
}

/// One element or property of a variable, where no path has to be made to have it; else no value.
Value Interpreter::evaluateElementFast(const IndexExpression& node) const {
  const HostArray* array = directArray(frame_->slots[node.base.slot]);
  if (!array) return {};
  if (array->isObject() && node.steps[0].kind == IndexStep::Kind::Field) {
    auto value = node.steps.size() == 1 ? directProperty(*array, node.steps[0].field) : std::nullopt;
    return value ? Value(*std::move(value)) : Value();
  }
  const ScalarSubscripts subscripts = pureSubscripts(node.steps);
  if (array->isObject()) {
    auto element = directElement(*array, subscripts);
    return element ? Value(*std::move(element)) : Value();
  }
  const auto position = elementPosition(*array, subscripts);
  return position ? Value(array->real<double>()[*position]) : Value();
}

bool Interpreter::assignElementFast(Value& variable, const Steps& steps, const Value& value) {
  HostArray* array = directArray(variable);
  if (!array) return false;
  const double* number = value.number();
  if (array->isObject()) {
    const HostArray* held = value.array();
    const ScalarSubscripts subscripts = pureSubscripts(steps);
    return held ? assignDirectElement(*array, subscripts, *held)
                : assignDirectElement(*array, subscripts, value.toArray());
  }
  const auto position = number ? elementPosition(*array, pureSubscripts(steps)) : std::nullopt;
  if (!position) return false;
  array->mutableReal<double>()[*position] = *number;
  return true;
}

void Interpreter::evaluateArgument(const Expression& expression, Arrays& values) {
  if (const auto number = pureScalar(expression)) {
    values.push_back(HostArray::scalar(*number));
    return;
  }
  const auto* index = std::get_if<IndexExpression>(&expression.node);
  if (Value element = index ? evaluateElementFast(*index) : Value(); element.isDefined())
    values.push_back(std::move(element).toArray());
  else
    evaluateAll(expression, 1, values);
}

/// The values of the arguments in parentheses or braces. `indexed` is the array that `end` belongs to; in the
/// arguments of a function, which is not indexed, `end` belongs to the array around the call.
Arrays Interpreter::evaluateSubscripts(const IndexStep& step, const HostArray* indexed) {
  Arrays subscripts;
  subscripts.reserve(step.arguments.size());
  for (std::size_t k = 0; k < step.arguments.size(); ++k) {
    if (indexed) {
      const EndContext context{*indexed, k, step.arguments.size()};
      const Replaced<const EndContext*> inner(endContext_, &context);
      evaluateArgument(*step.arguments[k], subscripts);
    } else {
      evaluateArgument(*step.arguments[k], subscripts);
    }
  }
  return subscripts;
}

/// The steps with the values of their subscripts. For reading, `base` moves along where a subscript with `end`
/// needs the part before it, and the path starts there: nothing is called twice.
IndexPath Interpreter::resolvePath(HostArray& base, StepRange steps, PathUse use) {
  using Kind = IndexStep::Kind;
  IndexPath path;
  path.reserve(steps.size());
  for (const IndexStep& step : steps) {
    if (step.kind == Kind::Field) {
      path.push_back({IndexLevel::Kind::Field, {}, step.field.text()});
    } else if (step.kind == Kind::DynamicField) {
      path.push_back({IndexLevel::Kind::Field, {}, evaluate(*step.arguments[0]).toArray().toText()});
    } else {
      HostArray indexed;
      if (step.usesEnd) {
        indexed = path.empty() ? base : partAt(base, path, use);
        if (use == PathUse::Read) {
          base = indexed;
          path.clear();
        }
      }
      const auto kind = step.kind == Kind::Paren ? IndexLevel::Kind::Paren : IndexLevel::Kind::Brace;
      path.push_back({kind, evaluateSubscripts(step, step.usesEnd ? &indexed : nullptr), {}});
    }
  }
  return path;
}

/// The part of `base` that `path` selects; of one that an assignment is about to create, an empty array.
HostArray Interpreter::partAt(const HostArray& base, const IndexPath& path, PathUse use) const {
  try {
    const Arrays parts = reference(base, path);
    if (parts.size() == 1) return parts[0];
  } catch (const HostError&) {
    if (use == PathUse::Read) throw;
    return {};
  }
  raiseError("Tessel:notOneValue",
             "Only one value can be indexed further, but the expression selects none or several.");
}

HostArray Interpreter::lastPosition(const EndContext& context) const {
  if (findMethodOf(context.array, kEnd)) {
    Arrays inputs = arraysOf(context.array, HostArray::scalar(static_cast<double>(context.position + 1)),
                             HostArray::scalar(static_cast<double>(context.count)));
    return std::move(callMember(kEnd, std::move(inputs)).at(0));
  }
  const Dimensions sizes = sizesOf(context.array);
  std::size_t last = context.position < sizes.size() ? sizes[context.position] : 1;
  if (context.position + 1 == context.count) {
    for (std::size_t d = context.position + 1; d < sizes.size(); ++d) last *= sizes[d];
  }
  return HostArray::scalar(static_cast<double>(last));
}

Arrays Interpreter::referenceVariable(int slot, const Steps& steps, int outputCount) {
  HostArray base = frame_->slots[slot].toArray();
  if (const MethodInfo* method = changingMethod(base, steps)) {
    const bool hasArguments = steps.size() > 1 && steps[1].kind == IndexStep::Kind::Paren;
    base = HostArray();  // The variable must be the only one that holds the object.
    Arrays inputs(1);
    if (hasArguments) {
      Arrays arguments = evaluateSubscripts(steps[1], nullptr);
      std::move(arguments.begin(), arguments.end(), std::back_inserter(inputs));
    }
    const StepRange rest = StepRange(steps).subspan(hasArguments ? 2 : 1);
    Arrays results = callChangingMethod(*method, slot, std::move(inputs), rest.empty() ? outputCount : 1);
    return rest.empty() ? results : referenceFurther(std::move(results.at(0)), rest, outputCount);
  }
  return referenceFurther(std::move(base), steps, outputCount);
}

Arrays Interpreter::referenceFurther(HostArray base, StepRange steps, int outputCount) {
  const IndexPath path = resolvePath(base, steps, PathUse::Read);
  // Only braces and fields list several values; a method may return more than it was asked for.
  const bool isList = path.back().kind == IndexLevel::Kind::Brace ||
                      (path.back().kind == IndexLevel::Kind::Field && !base.isObject());
  Arrays results = reference(std::move(base), path, outputCount);
  if (!isList) results.resize(std::min(results.size(), static_cast<std::size_t>(std::max(outputCount, 1))));
  return results;
}

void Interpreter::assignSteps(const AssignmentTarget& target, const HostArray& value) {
  Frame& frame = *frame_;
  IndexPath path;
  {
    const Value& variable = frame.slots[target.slot];
    const bool usesEnd =
        std::any_of(target.steps.begin(), target.steps.end(), [](const auto& s) { return s.usesEnd; });
    HostArray base = usesEnd && variable.isDefined() ? variable.toArray() : HostArray();
    path = resolvePath(base, target.steps, PathUse::Assign);
  }
  BorrowedVariable variable(frame, target.slot);
  assign(variable.array, path, value);
  variable.define();
}

}  // namespace tessel
