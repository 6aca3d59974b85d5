// Making arrays and putting their elements elsewhere.
#include <cfloat>
#include <numbers>
#include <numeric>
#include <random>

#include "tessel/language/builtins/builtins.h"
#include "tessel/language/builtins/support.h"
#include "tessel/messages.h"
#include "tessel/runtime/arithmetic.h"
#include "tessel/runtime/convert.h"
#include "tessel/runtime/matrix_arithmetic.h"

namespace tessel {
namespace {

using PositionList = std::vector<std::size_t>;

HostArray filled(ArrayClass arrayClass, Dimensions dims, double value) {
  HostArray result = HostArray::zeros(arrayClass, std::move(dims));
  if (value == 0) return result;
  visitElementType(arrayClass, [&](auto zero) {
    using T = decltype(zero);
    std::fill_n(result.mutableReal<T>(), result.numel(), convertElement<T>(value));
  });
  return result;
}

/// A function that fills an array of given size, and class where `takesClass` says so, with one value.
FunctionInfo constant(const char* name, double value, const char* help, bool takesClass = true) {
  return {name,
          [=](Arrays& in, int) {
            const ArrayClass resultClass =
                takesClass ? takeClassArgument(name, in, ArrayClass::Double) : ArrayClass::Logical;
            return Arrays{filled(resultClass, sizeArguments(name, in, 0), value)};
          },
          0,
          -1,
          1,
          help};
}

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

/// A limit of the floating-point classes: f(), f('single').
template <class Limit>
FunctionInfo floatLimit(const char* name, Limit limit, const char* help) {
  return {name,
          [=](Arrays& in, int) {
            if (takeClassArgument(name, in, ArrayClass::Double) == ArrayClass::Single) {
              return Arrays{HostArray::scalarOf(limit(float{}))};
            }
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
    const bool isSingle = takeClassArgument("eps", in, ArrayClass::Double) == ArrayClass::Single;
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
  const double inf = std::numeric_limits<double>::infinity(), nan = std::numeric_limits<double>::quiet_NaN();
  return {
      constant("zeros", 0, "zeros(m, n, ...), zeros(..., class): zeros."),
      constant("ones", 1, "ones(m, n, ...), ones(..., class): ones."),
      constant("inf", inf, "inf(m, n, ...): infinity."),
      constant("Inf", inf, "Inf(m, n, ...): infinity."),
      constant("nan", nan, "nan(m, n, ...): not a number."),
      constant("NaN", nan, "NaN(m, n, ...): not a number."),
      constant("pi", std::numbers::pi, "pi: the ratio of a circle's circumference to its diameter."),
      constant("true", 1, "true(m, n, ...): logical true.", false),
      constant("false", 0, "false(m, n, ...): logical false.", false),
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

// Random numbers: one generator, the same numbers for the same seed.

constexpr std::uint64_t kDefaultSeed = 5489;
std::mt19937_64& generator() {
  static std::mt19937_64 engine(kDefaultSeed);
  return engine;
}

/// Uniform in (0, 1).
double uniform() { return (static_cast<double>(generator()() >> 12) + 0.5) * 0x1p-52; }

double gaussian() { return std::sqrt(-2 * std::log(uniform())) * std::cos(2 * std::numbers::pi * uniform()); }

template <class Draw>
HostArray drawn(ArrayClass arrayClass, Dimensions dims, const Draw& draw) {
  HostArray result = HostArray::zeros(arrayClass, std::move(dims));
  std::vector<double> values(result.numel());
  std::generate(values.begin(), values.end(), draw);
  storeElements(result, false, 0, 1, values.size(), values.data());
  return result;
}

FunctionInfo randomNumbers(const char* name, double (*draw)(), const char* help) {
  return {name,
          [=](Arrays& in, int) {
            const ArrayClass resultClass = takeClassArgument(name, in, ArrayClass::Double);
            return Arrays{drawn(resultClass, sizeArguments(name, in, 0), draw)};
          },
          0,
          -1,
          1,
          help};
}

Arrays callRandi(Arrays& in, int) {
  const ArrayClass resultClass = takeClassArgument("randi", in, ArrayClass::Double);
  if (in.empty()) raiseInvalidArgument("randi", "the limits are missing.");
  requireReal("randi", in[0]);
  const std::vector<double> limits = realParts(in[0]);
  if (limits.empty() || limits.size() > 2) raiseInvalidArgument("randi", "one or two limits are needed.");
  const double low = limits.size() == 2 ? limits[0] : 1, high = limits.back();
  if (!(low <= high) || low != std::floor(low) || high != std::floor(high)) {
    raiseInvalidArgument("randi", "the limits must be whole numbers in order.");
  }
  return {drawn(resultClass, sizeArguments("randi", in, 1),
                [&] { return std::min(high, low + std::floor(uniform() * (high - low + 1))); })};
}

Arrays callRandperm(Arrays& in, int) {
  std::vector<double> values(countArgument("randperm", in[0]));
  std::iota(values.begin(), values.end(), 1.0);
  for (std::size_t i = values.size(); i > 1; --i) {
    std::swap(values[i - 1], values[static_cast<std::size_t>(uniform() * static_cast<double>(i))]);
  }
  return {doubleRow(values)};
}

Arrays callRng(Arrays& in, int) {
  const bool isDefault = in[0].isChar();
  if (isDefault && textArgument("rng", in[0]) != "default")
    raiseInvalidArgument("rng", "a seed or 'default' is needed.");
  generator().seed(isDefault ? kDefaultSeed : countArgument("rng", in[0]));
  return {};
}

// Rows and matrices from numbers

std::vector<double> spaced(double first, double last, std::size_t count) {
  std::vector<double> values(count);
  for (std::size_t k = 0; k + 1 < count; ++k) {
    values[k] = first + static_cast<double>(k) * ((last - first) / static_cast<double>(count - 1));
  }
  if (count > 0) values.back() = last;
  return values;
}

template <std::size_t DefaultCount>
std::vector<double> spacedArguments(const char* name, const Arrays& in) {
  const std::size_t count = in.size() > 2 ? countArgument(name, in[2]) : DefaultCount;
  return spaced(numberArgument(name, in[0]), numberArgument(name, in[1]), count);
}

Arrays callLinspace(Arrays& in, int) { return {doubleRow(spacedArguments<100>("linspace", in))}; }

Arrays callLogspace(Arrays& in, int) {
  return {power(HostArray::scalar(10), doubleRow(spacedArguments<50>("logspace", in)))};
}

Arrays callEye(Arrays& in, int) {
  const ArrayClass resultClass = takeClassArgument("eye", in, ArrayClass::Double);
  HostArray result = HostArray::zeros(resultClass, sizeArguments("eye", in, 0));
  if (result.dims().size() > 2) raiseInvalidArgument("eye", "two sizes are needed.");
  const double one = 1;
  for (std::size_t k = 0; k < std::min(result.dim(0), result.dim(1)); ++k) {
    storeElements(result, false, k * result.dim(0) + k, 1, 1, &one);
  }
  return {result};
}

Arrays callCell(Arrays& in, int) { return {HostArray::cell(sizeArguments("cell", in, 0))}; }

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
  HostArray result = HostArray::structure(dims, {});
  for (std::size_t k = 0; k < fields.size(); ++k) {
    const HostArray& value = in[2 * k + 1];
    for (std::size_t e = 0; e < result.numel(); ++e) {
      HostArray& field = result.mutableFieldAt(fields[k], e);
      field = !value.isCell() ? value : value.cellAt(value.isScalar() ? 0 : e);
    }
  }
  return {result.fieldNames().empty() ? HostArray::structure(dims, fields) : result};
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
  while (in.size() < 2 ||
         (in.size() < static_cast<std::size_t>(outputCount) && in[0].numel() == in.back().numel())) {
    in.push_back(in[0]);
  }
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
      {"rng", callRng, 1, 1, 0, "rng(seed), rng('default'): starts the random numbers from a seed."},
      randomNumbers("rand", uniform, "rand(m, n, ...): random numbers, uniform between 0 and 1."),
      randomNumbers("randn", gaussian, "randn(m, n, ...): random numbers of the standard normal distribution."),
      {"randi", callRandi, 1, -1, 1, "randi(high, m, n, ...), randi([low high], ...): random whole numbers."},
      {"randperm", callRandperm, 1, 1, 1, "randperm(n): the numbers 1 to n in random order."},
      {"linspace", callLinspace, 2, 3, 1,
       "linspace(a, b), linspace(a, b, n): n (100) numbers from a to b in equal steps."},
      {"logspace", callLogspace, 2, 3, 1,
       "logspace(a, b), logspace(a, b, n): n (50) numbers from 10^a to 10^b."},
      {"eye", callEye, 0, -1, 1, "eye(n), eye(m, n), eye(..., class): the identity matrix."},
      {"cell", callCell, 0, -1, 1, "cell(m, n, ...): a cell array of empty matrices."},
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
