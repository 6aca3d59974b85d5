#include "tessel/runtime/creation.h"

#include <algorithm>
#include <limits>
#include <numbers>
#include <utility>

#include "tessel/runtime/arguments.h"
#include "tessel/runtime/arithmetic.h"
#include "tessel/runtime/convert.h"

namespace tessel {

namespace {

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

/// The function named after a numeric class, which converts to it.
FunctionInfo classFunction(ArrayClass target) {
  const std::string name = nameOf(target);
  return {name,
          [=](Arrays& in, int) {
            requireNumeric(name, in[0]);
            return Arrays{convertTo(in[0], target)};
          },
          1,
          1,
          1,
          name + "(a): the values of a in class " + name + ", brought into its range."};
}

}  // namespace

std::vector<FunctionInfo> conversionFunctions() {
  std::vector<FunctionInfo> functions;
  for (int c = 0; c <= static_cast<int>(ArrayClass::Logical); ++c)
    functions.push_back(classFunction(static_cast<ArrayClass>(c)));
  return functions;
}

std::vector<FunctionInfo> creationFunctions() {
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
      {"linspace", callLinspace, 2, 3, 1,
       "linspace(a, b), linspace(a, b, n): n (100) numbers from a to b in equal steps."},
      {"logspace", callLogspace, 2, 3, 1,
       "logspace(a, b), logspace(a, b, n): n (50) numbers from 10^a to 10^b."},
      {"eye", callEye, 0, -1, 1, "eye(n), eye(m, n), eye(..., class): the identity matrix."},
      {"cell", callCell, 0, -1, 1, "cell(m, n, ...): a cell array of empty matrices."},
  };
}

}  // namespace tessel
