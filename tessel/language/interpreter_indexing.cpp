#include <algorithm>
#include <iterator>

#include "tessel/interpreter.h"
#include "tessel/language/interpreter.h"
#include "tessel/language/interpreter_scopes.h"
#include "tessel/language/operators.h"
#include "tessel/objects.h"
#include "tessel/runtime/arraydata.h"
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
  if (!hostClass || !hostClass->isValueClass()) return nullptr;
  if (steps[0].kind != IndexStep::Kind::Field || steps[0].field.propertyOf(*hostClass)) return nullptr;
  const MethodInfo* method = steps[0].field.methodOf(*hostClass);
  return method && method->changesObject ? method : nullptr;
}

/// The same for a path.
const MethodInfo* changingMethod(const HostArray& object, const IndexPath& path) {
  const HostClass* hostClass = path.empty() ? nullptr : objectClass(object);
  if (!hostClass || !hostClass->isValueClass() || path[0].kind != IndexLevel::Kind::Field) return nullptr;
  const MethodInfo* method =
      hostClass->findProperty(path[0].field) ? nullptr : hostClass->findMethod(path[0].field);
  return method && method->changesObject ? method : nullptr;
}

/// The content of a chain of existing fields, for writing; null where a path has to be followed.
HostArray* fieldsInPlace(Value& variable, std::span<const IndexStep> fields) {
  HostArray* place = variable.array();
  for (const IndexStep& step : fields) {
    if (!place || step.kind != IndexStep::Kind::Field) return nullptr;
    place = ArrayAccess::findMutableField(*place, step.field.text(), step.place);
  }
  return place;
}

/// A field of one structure or a property of an object, where no path has to be followed; else nothing.
std::optional<HostArray> member(const HostArray& array, const IndexStep& step) {
  if (array.isObject()) return directProperty(array, step.field);
  const HostArray* field = ArrayAccess::findField(array, step.field.text(), step.place);
  return field ? std::optional(*field) : std::nullopt;
}

IndexLevel::Kind levelKind(const IndexStep& step) {
  return step.kind == IndexStep::Kind::Paren ? IndexLevel::Kind::Paren : IndexLevel::Kind::Brace;
}

}  // namespace

Arrays Interpreter::evaluateIndexed(const IndexExpression& node, int outputCount) {
  const bool isVariable = frame_->slots[node.base.slot].isDefined();
  Arrays results = located(node.base.name.column, [&] {
    return isVariable ? referenceVariable(node.base.slot, node.steps, outputCount)
                      : callNamed(node.base, node.steps, outputCount);
  });
  const bool mayBeNothing = outputCount == 0 || node.steps.back().kind != IndexStep::Kind::Paren;
  if (results.empty() && !mayBeNothing) raiseNoValue(node.base.name.text());
  return results;
}

/// What one level of indexing selects of a variable; nothing where a field has to be asked for in another way.
Value Interpreter::evaluatePart(const IndexExpression& node) {
  const IndexStep& step = node.steps[0];
  const Value& variable = frame_->slots[node.base.slot];
  if (step.kind == IndexStep::Kind::DynamicField) return {};
  if (step.kind == IndexStep::Kind::Field) {
    const HostArray* array = variable.array();
    auto value = array && array->isObject() ? directProperty(*array, step.field) : std::nullopt;
    return value ? Value(*std::move(value)) : Value();
  }
  const HostArray indexed = step.usesEnd ? variable.toArray() : HostArray();
  return evaluateSelected(node, evaluateSubscripts(step, step.usesEnd ? &indexed : nullptr));
}

/// What one plain argument with this value selects of a variable.
[[gnu::noinline]] Value Interpreter::evaluateElement(const IndexExpression& node, Value&& subscript) {
  if (const double* number = subscript.number()) {
    if (Value element = elementOf(frame_->slots[node.base.slot], *number); element.isDefined()) return element;
  }
  Value part = evaluateSelected(node, Subscripts(1, Subscript(std::move(subscript))));
  return part.isDefined() ? part : evaluateSteps(node);
}

/// What the subscripts of its one level select of a variable; nothing where evaluating them has cleared it.
[[gnu::noinline]] Value Interpreter::evaluateSelected(const IndexExpression& node,
                                                      const Subscripts& subscripts) {
  const Value& variable = frame_->slots[node.base.slot];
  if (!variable.isDefined()) return {};
  const IndexLevel::Kind kind = levelKind(node.steps[0]);
  if (auto part = partOf(variable.array(), kind, subscripts)) return Value(*std::move(part));
  const IndexLevel level{kind, arraysFrom(subscripts), {}};
  Arrays values = reference(variable.toArray(), {&level, 1});
  if (values.empty()) raiseError("Tessel:noValue", "The expression gives no value.");
  return Value(std::move(values[0]));
}

void Interpreter::evaluateArgument(const Expression& expression, Arrays& values) {
  if (mayBeList(expression)) return evaluateAll(expression, 1, values);
  values.push_back(evaluate(expression).toArray());
}

/// The same values as a list.
Arrays Interpreter::argumentValues(const Expression& expression) {
  Arrays values;
  evaluateArgument(expression, values);
  return values;
}

void Interpreter::evaluateSubscript(const Expression& expression, Subscripts& subscripts) {
  if (std::holds_alternative<AllElements>(expression.node)) {
    subscripts.push_back(Subscript::colon());
  } else if (const auto* range = std::get_if<RangeExpression>(&expression.node)) {
    subscripts.push_back(Subscript(evaluateRange(*range)));
  } else if (!mayBeList(expression)) {
    subscripts.push_back(Subscript(evaluate(expression)));
  } else {
    Arrays list;
    evaluateAll(expression, 1, list);
    for (HostArray& value : list) subscripts.push_back(Subscript(Value(std::move(value))));
  }
}

/// The values of the arguments in parentheses or braces. `indexed` is the array that `end` belongs to; in the
/// arguments of a function, which is not indexed, `end` belongs to the array around the call.
Subscripts Interpreter::evaluateSubscripts(const IndexStep& step, const HostArray* indexed) {
  Subscripts subscripts;
  for (std::size_t k = 0; k < step.arguments.size(); ++k) {
    if (indexed) {
      const EndContext context{*indexed, k, step.arguments.size()};
      const Replaced<const EndContext*> inner(endContext_, &context);
      evaluateSubscript(*step.arguments[k], subscripts);
    } else {
      evaluateSubscript(*step.arguments[k], subscripts);
    }
  }
  return subscripts;
}

/// The steps with the values of their subscripts. For reading, `base` moves along as far as single values can
/// be had directly, and where a subscript with `end` needs the part before it: the path starts there.
IndexPath Interpreter::resolvePath(HostArray& base, StepRange steps, PathUse use) {
  using Kind = IndexStep::Kind;
  IndexPath path;
  path.reserve(steps.size());
  for (const IndexStep& step : steps) {
    const bool movesAlong = use == PathUse::Read && path.empty();
    if (step.kind == Kind::Field) {
      if (auto value = movesAlong ? member(base, step) : std::nullopt)
        base = *std::move(value);
      else
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
      const Subscripts subscripts = evaluateSubscripts(step, step.usesEnd ? &indexed : nullptr);
      // What follows its parentheses is the business of an object's class.
      const bool isWhole = movesAlong && (!base.isObject() || &step == &steps.back());
      if (auto part = isWhole ? partOf(&base, levelKind(step), subscripts) : std::nullopt)
        base = *std::move(part);
      else
        path.push_back({levelKind(step), arraysFrom(subscripts), {}});
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

Value Interpreter::lastPosition(const EndContext& context) const {
  if (const auto extent = directExtent(context.array, context.position, context.count))
    return Value(static_cast<double>(*extent));
  if (findMethodOf(context.array, kEnd)) {
    Arrays inputs = arraysOf(context.array, HostArray::scalar(static_cast<double>(context.position + 1)),
                             HostArray::scalar(static_cast<double>(context.count)));
    return Value(std::move(callMember(kEnd, std::move(inputs)).at(0)));
  }
  return Value(static_cast<double>(extentOf(sizesOf(context.array), context.position, context.count)));
}

Arrays Interpreter::referenceVariable(int slot, const Steps& steps, int outputCount) {
  HostArray base = frame_->slots[slot].toArray();
  if (auto results = callHandle(base, steps, outputCount)) return *std::move(results);
  if (const MethodInfo* method = changingMethod(base, steps)) {
    const bool hasArguments = steps.size() > 1 && steps[1].kind == IndexStep::Kind::Paren;
    base = HostArray();  // The variable must be the only one that holds the object.
    Arrays inputs(1);
    if (hasArguments) {
      Arrays arguments = arraysFrom(evaluateSubscripts(steps[1], nullptr));
      std::move(arguments.begin(), arguments.end(), std::back_inserter(inputs));
    }
    const StepRange rest = StepRange(steps).subspan(hasArguments ? 2 : 1);
    Arrays results = callChangingMethod(*method, slot, std::move(inputs), rest.empty() ? outputCount : 1);
    return rest.empty() ? results : referenceFurther(std::move(results.at(0)), rest, outputCount);
  }
  const IndexPath path = resolvePath(base, steps, PathUse::Read);
  const StepRange selecting = StepRange(steps).first(steps.size() - path.size());
  const bool isPart = !selecting.empty() && selecting.back().kind != IndexStep::Kind::Paren;
  if (const MethodInfo* method = isPart ? changingMethod(base, path) : nullptr) {
    const bool hasArguments = path.size() > 1 && path[1].kind == IndexLevel::Kind::Paren;
    Arrays inputs = arraysOf(std::move(base));
    if (hasArguments) inputs.insert(inputs.end(), path[1].subscripts.begin(), path[1].subscripts.end());
    const IndexPath rest(path.begin() + (hasArguments ? 2 : 1), path.end());
    Arrays results =
        callChangingMethod(*method, slot, selecting, std::move(inputs), rest.empty() ? outputCount : 1);
    return rest.empty() ? results : referencePath(std::move(results.at(0)), rest, outputCount);
  }
  return referencePath(std::move(base), path, outputCount);
}

Arrays Interpreter::referenceFurther(HostArray base, StepRange steps, int outputCount) {
  const IndexPath path = resolvePath(base, steps, PathUse::Read);
  return referencePath(std::move(base), path, outputCount);
}

Arrays Interpreter::referencePath(HostArray base, const IndexPath& path, int outputCount) {
  if (path.empty()) return arraysOf(std::move(base));
  // Only braces and fields list several values; a method may return more than it was asked for.
  const bool isList = path.back().kind == IndexLevel::Kind::Brace ||
                      (path.back().kind == IndexLevel::Kind::Field && !base.isObject());
  Arrays results = reference(std::move(base), path, outputCount);
  if (!isList) results.resize(std::min(results.size(), static_cast<std::size_t>(std::max(outputCount, 1))));
  return results;
}

void Interpreter::assignSteps(const AssignmentTarget& target, Value&& value) {
  // Elements and fields are what loops assign to most.
  const IndexStep& step = target.steps[0];
  if (target.steps.size() == 1 && step.kind == IndexStep::Kind::Field) {
    if (HostArray* field = fieldsInPlace(frame_->slots[target.slot], target.steps))
      return std::move(value).moveTo(*field);
  } else if (target.steps.size() == 1 && step.hasPlainArgument) {
    Value subscript = evaluate(*step.arguments[0]);
    HostArray* array = frame_->slots[target.slot].array();
    if (array && subscript.number() && assignElement(*array, *subscript.number(), value)) return;
    return assignSelected(target, Subscripts(1, Subscript(std::move(subscript))), std::move(value));
  }
  assignDeep(target, std::move(value));
}

/// Assigns through any steps.
[[gnu::noinline]] void Interpreter::assignDeep(const AssignmentTarget& target, Value&& value) {
  const auto isField = [](const IndexStep& each) { return each.kind == IndexStep::Kind::Field; };
  const StepRange steps(target.steps), fields = steps.first(steps.size() - 1);
  const auto place = [&](StepRange chain) { return fieldsInPlace(frame_->slots[target.slot], chain); };
  if (isField(steps.back())) {
    if (HostArray* field = place(steps)) return std::move(value).moveTo(*field);
  } else if (steps.back().kind == IndexStep::Kind::Paren && std::ranges::all_of(fields, isField)) {
    const HostArray* there = place(fields);
    if (!steps.back().usesEnd || there) {
      std::optional<HostArray> indexed;  // gone again before the elements are written: sharing would copy them
      if (steps.back().usesEnd) indexed = *there;
      const Subscripts subscripts = evaluateSubscripts(steps.back(), indexed ? &*indexed : nullptr);
      indexed.reset();
      return assignSelected(target, subscripts, std::move(value));
    }
  }
  const Value& variable = frame_->slots[target.slot];
  const bool usesEnd = std::ranges::any_of(steps, [](const IndexStep& each) { return each.usesEnd; });
  HostArray base = usesEnd && variable.isDefined() ? variable.toArray() : HostArray();
  assignAt(target.slot, resolvePath(base, steps, PathUse::Assign), std::move(value));
}

/// Assigns where subscripts select, after a chain of fields: in place where all that is there already.
[[gnu::noinline]] void Interpreter::assignSelected(const AssignmentTarget& target, const Subscripts& subscripts,
                                                   Value&& value) {
  const StepRange fields = StepRange(target.steps).first(target.steps.size() - 1);
  if (HostArray* array = fieldsInPlace(frame_->slots[target.slot], fields)) {
    const SubscriptRanges ranges = rangesOf(subscripts, *array);
    if (value.array() ? assignDirectElements(*array, ranges, *value.array())
                      : assignDirectElements(*array, ranges, value.toArray()))
      return;
  }
  IndexPath path;
  for (const IndexStep& each : fields) path.push_back({IndexLevel::Kind::Field, {}, each.field.text()});
  path.push_back({IndexLevel::Kind::Paren, arraysFrom(subscripts), {}});
  assignAt(target.slot, path, std::move(value));
}

void Interpreter::assignAt(int slot, const IndexPath& path, Value&& value) {
  BorrowedVariable variable(*frame_, slot);
  assign(variable.array(), path, std::move(value).toArray());
  variable.define();
}

}  // namespace tessel
