#include "tessel/runtime/arguments.h"

#include <fmt/format.h>

#include "tessel/messages.h"
#include "tessel/runtime/convert.h"

namespace tessel {

namespace {

constexpr double kLargestCount = 0x1p48;

}  // namespace

void raiseInvalidArgument(std::string_view function, std::string_view explanation) {
  raiseError("Tessel:invalidArgument", fmt::format("Function '{}': {}", function, explanation));
}

void raiseMustBeText(std::string_view function) {
  raiseError("Tessel:mustBeText", fmt::format("Function '{}': the argument must be a text.", function));
}

std::string textArgument(std::string_view function, const HostArray& argument) {
  if (!argument.isText() && !(argument.isChar() && argument.isEmpty())) raiseMustBeText(function);
  return argument.isEmpty() ? std::string{} : argument.toText();
}

void requireVector(std::string_view function, const HostArray& argument) {
  requireNumeric(function, argument);
  if (!argument.isVector()) raiseInvalidArgument(function, "vectors are needed.");
}

double numberArgument(std::string_view function, const HostArray& argument) {
  requireReal(function, argument);
  if (!argument.isScalar()) raiseInvalidArgument(function, "the argument must be a scalar.");
  return argument.realAt(0);
}

std::size_t countArgument(std::string_view function, const HostArray& argument) {
  const double count = numberArgument(function, argument);
  if (!(count >= 0 && count < kLargestCount && count == std::floor(count))) {
    raiseInvalidArgument(function, "a whole number that is not negative is needed.");
  }
  return static_cast<std::size_t>(count);
}

std::size_t dimensionArgument(std::string_view function, const HostArray& argument) {
  if (argument.isChar()) raiseInvalidArgument(function, "a dimension must be a number.");
  const std::size_t dimension = countArgument(function, argument);
  if (dimension == 0) raiseInvalidArgument(function, "dimensions count from 1.");
  return dimension - 1;
}

Dimensions sizeArguments(std::string_view function, const Arrays& inputs, std::size_t first) {
  std::vector<double> sizes;
  for (std::size_t i = first; i < inputs.size(); ++i) {
    requireReal(function, inputs[i]);
    if (inputs[i].isChar()) raiseInvalidArgument(function, "sizes must be numbers.");
    const bool isWholeSize = inputs.size() == first + 1 && inputs[i].isVector();
    if (!isWholeSize && !inputs[i].isScalar())
      raiseInvalidArgument(function, "sizes must be scalars or one row.");
    const std::vector<double> values = realParts(inputs[i]);
    sizes.insert(sizes.end(), values.begin(), values.end());
  }
  if (sizes.empty()) return {1, 1};
  if (sizes.size() == 1) sizes.push_back(sizes[0]);
  Dimensions dims;
  for (double size : sizes) {
    if (!(size < kLargestCount) || size != std::floor(size)) {
      raiseInvalidArgument(function, "sizes must be whole numbers.");
    }
    dims.push_back(static_cast<std::size_t>(std::max(size, 0.0)));
  }
  while (dims.size() > 2 && dims.back() == 1) dims.pop_back();
  return dims;
}

std::optional<ArrayClass> numericClassNamed(std::string_view name) {
  for (int c = 0; c <= static_cast<int>(ArrayClass::Char); ++c) {
    if (name == nameOf(static_cast<ArrayClass>(c))) return static_cast<ArrayClass>(c);
  }
  return std::nullopt;
}

ArrayClass takeClassArgument(std::string_view function, Arrays& inputs, ArrayClass fallback) {
  if (inputs.empty() || !inputs.back().isChar()) return fallback;
  const std::string name = textArgument(function, inputs.back());
  const std::optional<ArrayClass> arrayClass = numericClassNamed(name);
  if (!arrayClass || *arrayClass > ArrayClass::Uint64)
    raiseInvalidArgument(function, "no numeric class '" + name + "'.");
  inputs.pop_back();
  return *arrayClass;
}

HostArray doubles(std::span<const double> values, Dimensions dims) {
  HostArray result = HostArray::zeros(ArrayClass::Double, std::move(dims));
  std::copy(values.begin(), values.end(), result.mutableReal<double>());
  return result;
}

HostArray doubleRow(std::span<const double> values) { return doubles(values, {1, values.size()}); }

}  // namespace tessel
