/// Methods of `embedded.fi` that select and assign elements, and masks of them.
#include <algorithm>
#include <cmath>
#include <iterator>
#include <optional>

#include "qfcore/host/FiObjClass.h"
#include "tessel/interpreter.h"

namespace embedded::host {

namespace {

using tessel::IndexRanges;

constexpr Message kBadDimension{"numforge:fi:end:badDimension",
                                "END needs a dimension from 1 to the count of subscripts."};

Arrays subsref(Arrays& inputs, int outputCount) {
  const fi* x = unwrapped<fi>(inputs[0]);
  if (x && fi::isParenthesisIndex(inputs[1])) return resultOf([&] { return x->subsref(inputs[1]); });
  return tessel::callBuiltin("builtin", {HostArray::text("subsref"), inputs[0], inputs[1]}, outputCount);
}

/// Changes the object in place where nobody shares it; when anything is raised it is as it was.
Arrays subsasgn(Arrays& inputs, int outputCount) {
  if (!unwrapped<fi>(inputs[0]) || !fi::isParenthesisIndex(inputs[1])) {
    // Called as it stands, the built-in function works on `inputs[0]` itself.
    return tessel::findFunction("subsasgn")->call(inputs, outputCount);
  }
  const fi* rhs = unwrapped<fi>(inputs[2]);
  fi& target = valueOf<fi>(inputs[0].mutableObject());
  if (rhs) {
    target.subsasgn(inputs[1], *rhs);
  } else {
    target.subsasgn(inputs[1], inputs[2]);
  }
  return arraysOf(std::move(inputs[0]));
}

std::optional<HostArray> elements(HostObject& object, IndexRanges ranges) {
  const fi& x = valueOf<fi>(object);
  if (!tessel::hasPositions(x.dims(), ranges)) return std::nullopt;
  return translated([&] { return wrapResult([&] { return x.elementsAt(ranges); }); });
}

bool assignElements(HostObject& object, IndexRanges ranges, const HostArray& value) {
  fi& x = valueOf<fi>(object);
  const fi* rhs = unwrapped<fi>(value);
  const bool isNumber = value.arrayClass() == tessel::ArrayClass::Double && !value.isComplex();
  if (rhs == &x || !(rhs || isNumber) || value.isEmpty() || !tessel::hasPositions(x.dims(), ranges))
    return false;
  if (!(rhs ? tessel::fitsInto(ranges, rhs->dims()) : tessel::fitsInto(ranges, value.dims()))) return false;
  const bool isOneNumber = !rhs && value.isScalar() && ranges.size() == 1 && ranges[0].count == 1;
  translated([&] {
    if (isOneNumber)
      x.subsasgnScalarIndexing(static_cast<unsigned>(ranges[0].first), *value.real<double>());
    else if (rhs)
      x.assignAt(ranges, *rhs);
    else
      x.assignAt(ranges, fi::unquantized(value));
  });
  return true;
}

std::size_t extent(HostObject& object, std::size_t place, std::size_t count) {
  return tessel::extentOf(valueOf<fi>(object).dims(), place, count);
}

/// end(a, k, n): the last position in subscript k of n.
Arrays lastPosition(Arrays& inputs, int) {
  const fi& x = fiArgument(inputs[0]);
  const double place = inputs[1].scalarValue(), count = inputs[2].scalarValue();
  if (!(place >= 1 && place <= count)) fail<kBadDimension>();
  if (place > x.numDims()) return {toHost(1U)};
  const auto known = static_cast<std::size_t>(std::min<double>(count, x.numDims()));
  return {toHost(tessel::extentOf(x.dims(), static_cast<std::size_t>(place) - 1, known))};
}

Arrays subscriptedReference(Arrays& inputs, int) {
  return {toHost(fiArgument(inputs[0]).subscriptedReference(inputs[1]))};
}

/// What a changing method returns where a result is asked for: the object that it has changed.
Arrays changed(const HostArray& object, int outputCount) { return outputCount > 0 ? Arrays{object} : Arrays{}; }

Arrays subscriptedGrowAssignment(Arrays& inputs, int outputCount) {
  const fi* rhs = unwrapped<fi>(inputs[2]);
  fi& target = fiArgument(inputs[0]);
  if (rhs) {
    target.subscriptedGrowAssignment(inputs[1], *rhs);
  } else {
    target.subscriptedGrowAssignment(inputs[1], inputs[2]);
  }
  return changed(inputs[0], outputCount);
}

Arrays copydata(Arrays& inputs, int outputCount) {
  const fi* source = unwrapped<fi>(inputs[1]);
  fiArgument(inputs[0]).copydata(source ? *source : fi::unquantized(inputs[1]));
  return changed(inputs[0], outputCount);
}

/// True where an element is not 0.
HostArray maskOf(const fi& x) {
  HostArray mask = x.getRealFi().getBooleanHostArray();
  if (x.isreal()) return mask;
  return std::move(tessel::callBuiltin("or", {std::move(mask), x.getImagFi().getBooleanHostArray()}).at(0));
}

/// A function of truth values, which takes masks for arrays.
template <const auto& Name>
Arrays onMasks(Arrays& inputs, int outputCount) {
  Arrays masks = inputs;
  for (HostArray& mask : masks) {
    if (const fi* x = unwrapped<fi>(mask)) mask = maskOf(*x);
  }
  return tessel::callBuiltin(Name, std::move(masks), outputCount);
}

constexpr char kAll[] = "all", kAnd[] = "and", kAny[] = "any", kFind[] = "find", kNnz[] = "nnz", kNot[] = "not",
               kOr[] = "or";

/// find(a, ...), with three results also the elements found.
Arrays find(Arrays& inputs, int outputCount) {
  const fi& x = fiArgument(inputs[0]);
  Arrays results = onMasks<kFind>(inputs, outputCount);
  if (results.size() < 3) return results;
  HostArray positions = HostArray::zeros(tessel::ArrayClass::Double, results[0].dims());
  for (std::size_t k = 0; k < positions.numel(); ++k) {
    positions.mutableReal<double>()[k] = results[0].realAt(k) + (results[1].realAt(k) - 1) * x.rows();
  }
  results[2] = toHost(x.subscriptedReference(positions));
  return results;
}

const Method kMethods[] = {
    {"subsref", 2, 2, -1, subsref, "subsref(a, S): what a(...), a.name select, by the index structure S."},
    {"subsasgn", 3, 3, 1, subsasgn,
     "subsasgn(a, S, b): a after a(...) = b or a.name = b, by the index structure S."},
    {"end", 3, 3, 1, lastPosition, "end(a, k, n): the last position in subscript k of n."},
    {"subscriptedreference", 2, 2, 1, subscriptedReference,
     "subscriptedreference(a, positions): the elements at positions from 1, in their shape."},
    {"subscriptedgrowassignment", 3, 3, 1, subscriptedGrowAssignment,
     "subscriptedgrowassignment(a, positions, b): a in the shape of positions; p keeps element p, -j takes "
     "element j "
     "of b, 0 is zero.",
     true},
    {"copydata", 2, 2, 1, copydata, "copydata(a, b): gives a shape and values of b, in the type of a.", true},
    {"find", 1, 3, 3, find,
     "find(a, n, 'last'), [row, column, value] = find(a): positions of what is not zero."},
    {"nnz", 1, 1, 1, onMasks<kNnz>, "nnz(a): the number of elements that are not zero."},
    {"any", 1, 2, 1, onMasks<kAny>, "any(a, dim): true where an element along a dimension is not zero."},
    {"all", 1, 2, 1, onMasks<kAll>, "all(a, dim): true where no element along a dimension is zero."},
    {"not", 1, 1, 1, onMasks<kNot>, "not(a), ~a: true where an element is zero."},
    {"and", 2, 2, 1, onMasks<kAnd>, "and(a, b), a & b: true where neither element is zero."},
    {"or", 2, 2, 1, onMasks<kOr>, "or(a, b), a | b: true where an element is not zero."},
};

}  // namespace

std::span<const Method> indexingMethods() { return kMethods; }

tessel::ElementAccess elementAccess() { return {elements, assignElements, extent}; }

}  // namespace embedded::host
