/// Methods of `embedded.fi` that compare.
#include <algorithm>

#include "qfcore/host/FiObjClass.h"

namespace embedded::host {

namespace {

constexpr Message kBadArgument{"numforge:fi:minmax:badargument",
                               "MIN and MAX take a dimension from 1 on, after an empty array."};

/// Equal in size and in every value, whatever the types; host numbers count by their exact values.
Arrays isEqual(Arrays& inputs, int) {
  const auto known =
      std::find_if(inputs.begin(), inputs.end(), [](const HostArray& a) { return unwrapped<fi>(a); });
  const fi& x = fiArgument(known == inputs.end() ? inputs[0] : *known);
  const bool equal = std::all_of(inputs.begin(), inputs.end(), [&](const HostArray& other) {
    if (const fi* y = unwrapped<fi>(other)) return y == &x || x.isequal(*y);
    return (other.isNumeric() || other.isLogical()) && x.isequal(fi::unquantized(other));
  });
  return {toHost(equal)};
}

using Along = fi (fi::*)(unsigned, HostArray&) const;
using OverAll = fi (fi::*)(unsigned&, HostArray&) const;

template <Along Operation>
Arrays along(const fi& x, unsigned dimension) {
  HostArray positions;
  fi values = (x.*Operation)(dimension, positions);
  return {toHost(std::move(values)), std::move(positions)};
}

/// max(a), max(a, b), max(a, [], dim), and the positions as a second result except for two operands.
template <Along Operation, auto OfTwo>
Arrays extreme(Arrays& inputs, int) {
  if (inputs.size() == 2) return arraysOf(binaryMethod<OfTwo, operandInTypeOf>(inputs[0], inputs[1]));
  const fi& x = fiArgument(inputs[0]);
  if (inputs.size() == 1) return along<Operation>(x, x.firstNonSingleton());
  const std::optional<unsigned> dimension = dimensionArgument(inputs[2]);
  if (!inputs[1].isEmpty() || !dimension) fail<kBadArgument>();
  return along<Operation>(x, *dimension);
}

template <OverAll Operation>
Arrays overAll(Arrays& inputs, int) {
  unsigned index;
  HostArray position;
  fi value = (fiArgument(inputs[0]).*Operation)(index, position);
  return {toHost(std::move(value)), std::move(position)};
}

const Method kMethods[] = {
    {"eq", 2, 2, 1, binaryMethod<&fi::eq, operandAsItIs>, "eq(a, b), a == b: element-wise equality of values."},
    {"ne", 2, 2, 1, binaryMethod<&fi::ne, operandAsItIs>, "ne(a, b), a ~= b: element-wise inequality."},
    {"lt", 2, 2, 1, binaryMethod<&fi::lt, operandAsItIs>, "lt(a, b), a < b: element-wise, of real parts."},
    {"le", 2, 2, 1, binaryMethod<&fi::le, operandAsItIs>, "le(a, b), a <= b: element-wise, of real parts."},
    {"gt", 2, 2, 1, binaryMethod<&fi::gt, operandAsItIs>, "gt(a, b), a > b: element-wise, of real parts."},
    {"ge", 2, 2, 1, binaryMethod<&fi::ge, operandAsItIs>, "ge(a, b), a >= b: element-wise, of real parts."},
    {"isequal", 2, -1, 1, isEqual, "isequal(a, b, ...): equal in size and in all values."},
    {"binaryop_isequal", 2, 2, 1, isEqual, "binaryop_isequal(a, b): as isequal(a, b)."},
    {"min", 1, 3, 2, extreme<&fi::minAlong, &fi::min>,
     "min(a, b); [m, i] = min(a), min(a, [], dim): the smaller of two; the smallest along a dimension."},
    {"max", 1, 3, 2, extreme<&fi::maxAlong, &fi::max>,
     "max(a, b); [m, i] = max(a), max(a, [], dim): the larger of two; the largest along a dimension."},
    {"binary_min", 2, 2, 1, binaryMethod<&fi::min, operandInTypeOf>, "binary_min(a, b): as min(a, b)."},
    {"binary_max", 2, 2, 1, binaryMethod<&fi::max, operandInTypeOf>, "binary_max(a, b): as max(a, b)."},
    {"unary_min", 1, 1, 2, overAll<&fi::unary_min>,
     "[m, i] = unary_min(a): the smallest of all elements, and its linear index."},
    {"unary_max", 1, 1, 2, overAll<&fi::unary_max>,
     "[m, i] = unary_max(a): the largest of all elements, and its linear index."},
};

}  // namespace

std::span<const Method> comparisonMethods() { return kMethods; }

}  // namespace embedded::host
