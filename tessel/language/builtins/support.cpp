#include "tessel/language/builtins/support.h"

#include <fmt/format.h>

#include "tessel/messages.h"

namespace tessel {

void registerAll(Builtins rows) {
  for (FunctionInfo& row : rows) registerFunction(std::move(row));
}

void raiseInvalidArgument(std::string_view function, std::string_view explanation) {
  raiseError("Tessel:invalidArgument", fmt::format("Function '{}': {}", function, explanation));
}

namespace {

[[noreturn]] void raiseMustBeText(std::string_view function) {
  raiseError("Tessel:mustBeText", fmt::format("Function '{}': the argument must be a text.", function));
}

constexpr double kLargestCount = 0x1p48;

}  // namespace

std::string textArgument(std::string_view function, const HostArray& argument) {
  if (!argument.isText() && !(argument.isChar() && argument.isEmpty())) raiseMustBeText(function);
  return argument.isEmpty() ? std::string{} : argument.toText();
}

bool isCellOfTexts(const HostArray& argument) {
  if (!argument.isCell()) return false;
  for (std::size_t i = 0; i < argument.numel(); ++i) {
    const HostArray& element = argument.cellAt(i);
    if (!element.isText() && !(element.isChar() && element.isEmpty())) return false;
  }
  return true;
}

std::vector<std::string> textsArgument(std::string_view function, const HostArray& argument) {
  if (argument.isChar()) return argument.isEmpty() ? std::vector<std::string>{""} : argument.textRows();
  if (!isCellOfTexts(argument)) raiseMustBeText(function);
  std::vector<std::string> texts;
  for (std::size_t i = 0; i < argument.numel(); ++i)
    texts.push_back(textArgument(function, argument.cellAt(i)));
  return texts;
}

void requireFloat(std::string_view function, const HostArray& argument) {
  requireNumeric(function, argument);
  if (argument.isInteger()) raiseUndefinedFor(function, argument);
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
  const std::size_t dimension = countArgument(function, argument);
  if (dimension == 0) raiseInvalidArgument(function, "dimensions count from 1.");
  return dimension - 1;
}

Dimensions sizeArguments(std::string_view function, const Arrays& inputs, std::size_t first) {
  std::vector<double> sizes;
  for (std::size_t i = first; i < inputs.size(); ++i) {
    requireReal(function, inputs[i]);
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

HostArray cellOfTexts(const std::vector<std::string>& texts, Dimensions dims) {
  HostArray cell = HostArray::cell(std::move(dims));
  for (std::size_t i = 0; i < texts.size(); ++i) cell.mutableCellAt(i) = HostArray::text(texts[i]);
  return cell;
}

HostArray doubles(std::span<const double> values, Dimensions dims) {
  HostArray result = HostArray::zeros(ArrayClass::Double, std::move(dims));
  std::copy(values.begin(), values.end(), result.mutableReal<double>());
  return result;
}

HostArray doubleRow(std::span<const double> values) { return doubles(values, {1, values.size()}); }

std::size_t firstLongDimension(const HostArray& a) {
  for (std::size_t d = 0; d < a.dims().size(); ++d)
    if (a.dim(d) != 1) return d;
  return 0;
}

std::size_t workingDimension(std::string_view function, const Arrays& inputs, std::size_t position) {
  return inputs.size() > position ? dimensionArgument(function, inputs[position])
                                  : firstLongDimension(inputs[0]);
}

ArrayClass floatClass(const HostArray& a) {
  return a.arrayClass() == ArrayClass::Single ? ArrayClass::Single : ArrayClass::Double;
}

Lines::Lines(const Dimensions& dims, std::size_t dimension) {
  for (std::size_t d = 0; d < dims.size(); ++d) {
    if (d < dimension)
      inner *= dims[d];
    else if (d == dimension)
      length = dims[d];
    else
      outer *= dims[d];
  }
}

Dimensions resized(const HostArray& a, std::size_t dimension, std::size_t length) {
  Dimensions dims = a.dims();
  if (dimension >= dims.size()) dims.resize(dimension + 1, 1);
  dims[dimension] = length;
  while (dims.size() > 2 && dims.back() == 1) dims.pop_back();
  return dims;
}

}  // namespace tessel
