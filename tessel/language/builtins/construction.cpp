// Numbers with a name, and arrays made of others.
#include <algorithm>
#include <cfloat>

#include "tessel/language/builtins/builtins.h"
#include "tessel/language/builtins/support.h"
#include "tessel/messages.h"
#include "tessel/runtime/convert.h"
#include "tessel/runtime/matrix_arithmetic.h"

namespace tessel {
namespace {

using PositionList = std::vector<std::size_t>;

FunctionInfo imaginaryUnit(const char* name) {
  return {name,
          [](Arrays&, int) {
            HostArray unit = HostArray::zeros(ArrayClass::Double, {1, 1}, true);
            unit.mutableImag<double>()[0] = 1;
            return Arrays{unit};
          },
          0,
          0,
          1,
          "i, j: the imaginary unit."};
}

/// Takes 'single' or 'double' off; refuses every other argument.
ArrayClass takeFloatClass(const char* function, Arrays& inputs) {
  const ArrayClass c = takeClassArgument(function, inputs, ArrayClass::Double);
  if (!inputs.empty() || (c != ArrayClass::Single && c != ArrayClass::Double))
    raiseInvalidArgument(function, "the class is 'single' or 'double'.");
  return c;
}

/// A limit of the floating-point classes: f(), f('single').
template <class Limit>
FunctionInfo floatLimit(const char* name, Limit limit, const char* help) {
  return {name,
          [=](Arrays& in, int) {
            if (takeFloatClass(name, in) == ArrayClass::Single)
              return Arrays{HostArray::scalarOf(limit(float{}))};
            return Arrays{HostArray::scalar(limit(double{}))};
          },
          0,
          1,
          1,
          help};
}

/// A limit of an integer class: f(), f('int8'), f(array).
template <class Limit>
FunctionInfo integerLimit(const char* name, Limit limit, const char* help) {
  return {name,
          [=](Arrays& in, int) {
            ArrayClass c = takeClassArgument(name, in, ArrayClass::Int32);
            if (!in.empty()) c = in[0].arrayClass();
            if (!isIntegerClass(c)) raiseInvalidArgument(name, "an integer class is needed.");
            return visitElementType(c, [&](auto zero) { return Arrays{HostArray::scalarOf(limit(zero))}; });
          },
          0,
          1,
          1,
          help};
}

Arrays callEps(Arrays& in, int) {
  if (in.empty()) return {HostArray::scalar(DBL_EPSILON)};
  if (in[0].isChar()) {
    const bool isSingle = takeFloatClass("eps", in) == ArrayClass::Single;
    return {isSingle ? HostArray::scalarOf(FLT_EPSILON) : HostArray::scalar(DBL_EPSILON)};
  }
  requireReal("eps", in[0]);
  if (!in[0].isFloat()) raiseUndefinedFor("eps", in[0]);
  return {mapElements(in[0], in[0].arrayClass(), [](auto v) {
    const auto x = std::abs(std::real(v));
    using E = std::remove_const_t<decltype(x)>;
    if (!std::isfinite(x)) return std::numeric_limits<E>::quiet_NaN();
    const int exponent = x == 0 ? std::numeric_limits<E>::min_exponent : std::ilogb(x) + 1;
    return std::max(std::ldexp(E{1}, exponent - std::numeric_limits<E>::digits),
                    std::numeric_limits<E>::denorm_min());
  })};
}

Builtins constants() {
  return {
      imaginaryUnit("i"),
      imaginaryUnit("j"),
      floatLimit(
          "realmax", [](auto x) { return std::numeric_limits<decltype(x)>::max(); },
          "realmax, realmax('single'): the largest finite number."),
      floatLimit(
          "realmin", [](auto x) { return std::numeric_limits<decltype(x)>::min(); },
          "realmin, realmin('single'): the smallest normal number."),
      floatLimit(
          "flintmax",
          [](auto x) { return std::ldexp(decltype(x)(1), std::numeric_limits<decltype(x)>::digits); },
          "flintmax, flintmax('single'): from here on not all integers can be told apart."),
      integerLimit(
          "intmax", [](auto x) { return std::numeric_limits<decltype(x)>::max(); },
          "intmax, intmax(class): the largest value of an integer class."),
      integerLimit(
          "intmin", [](auto x) { return std::numeric_limits<decltype(x)>::min(); },
          "intmin, intmin(class): the smallest value of an integer class."),
      {"eps", callEps, 0, 1, 1, "eps, eps(x): the distance from x (or 1) to the next larger number."},
  };
}

/// struct(): one element; struct(f1, v1, ...): cells of values give one element each.
Arrays callStruct(Arrays& in, int) {
  if (in.size() % 2 != 0) raiseInvalidArgument("struct", "every field needs a value.");
  Dimensions dims{1, 1};
  std::vector<std::string> fields;
  for (std::size_t k = 0; k < in.size(); k += 2) {
    fields.push_back(textArgument("struct", in[k]));
    const HostArray& value = in[k + 1];
    if (!value.isCell() || value.isScalar()) continue;
    if (dims != Dimensions{1, 1} && dims != value.dims())
      raiseError("Tessel:dimagree", "Matrix dimensions must agree.");
    dims = value.dims();
  }
  HostArray result = HostArray::structure(dims, withoutRepeats(fields));
  for (std::size_t k = 0; k < fields.size(); ++k) {
    const HostArray& value = in[2 * k + 1];
    for (std::size_t e = 0; e < result.numel(); ++e)
      result.mutableFieldAt(fields[k], e) = !value.isCell() ? value : value.cellAt(value.isScalar() ? 0 : e);
  }
  return {result};
}

/// A copy of vector `v` along dimension `along` of an array of size `dims`.
HostArray spread(const HostArray& v, const Dimensions& dims, std::size_t along) {
  const HostArray model = HostArray::zeros(ArrayClass::Logical, dims);
  const Lines lines(dims, along);
  PositionList positions(model.numel());
  for (std::size_t k = 0; k < positions.size(); ++k) positions[k] = k / lines.inner % lines.length;
  return rearranged(v, positions, dims);
}

/// One grid an argument; of a single argument as many as there are outputs (two at least).
/// A mesh grid runs along columns first, as x and y axes do.
template <bool IsMesh>
Arrays callGrid(Arrays& in, int outputCount) {
  const char* name = IsMesh ? "meshgrid" : "ndgrid";
  if (in.size() == 1) in = Arrays(static_cast<std::size_t>(std::max(outputCount, 2)), HostArray(in[0]));
  Dimensions dims;
  for (const HostArray& v : in) {
    requireVector(name, v);
    dims.push_back(v.numel());
  }
  if (IsMesh) std::swap(dims[0], dims[1]);
  Arrays grids;
  for (std::size_t k = 0; k < in.size(); ++k) grids.push_back(spread(in[k], dims, IsMesh && k < 2 ? 1 - k : k));
  return grids;
}

Builtins makers() {
  return {
      {"struct", callStruct, 0, -1, 1,
       "struct(field, value, ...): a structure; cells of values make an array of them."},
      {"meshgrid", callGrid<true>, 1, 3, 3,
       "[X, Y, Z] = meshgrid(x, y, z): coordinates of all points of a grid; x runs along rows."},
      {"ndgrid", callGrid<false>, 1, -1, -1,
       "[X1, X2, ...] = ndgrid(x1, x2, ...): coordinates of all points of a grid."},
  };
}

}  // namespace

void registerConstructionBuiltins() {
  for (auto family : {constants, makers}) registerAll(family());
}

}  // namespace tessel
