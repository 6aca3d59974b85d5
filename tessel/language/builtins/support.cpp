#include "tessel/language/builtins/support.h"

#include <algorithm>

#include <fmt/format.h>

#include "tessel/messages.h"
#include "tessel/runtime/convert.h"

namespace tessel {

void registerAll(Builtins rows) {
  for (FunctionInfo& row : rows) registerFunction(std::move(row));
}

std::string fileNameArgument(std::string_view function, const HostArray& argument) {
  std::string name = textArgument(function, argument);
  if (name.find('\0') != std::string::npos)
    raiseInvalidArgument(function, "a file's name has no NUL character.");
  return name;
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

std::vector<std::string> withoutRepeats(const std::vector<std::string>& texts) {
  std::vector<std::string> kept;
  for (const std::string& text : texts)
    if (std::find(kept.begin(), kept.end(), text) == kept.end()) kept.push_back(text);
  return kept;
}

HostArray cellOfTexts(const std::vector<std::string>& texts, Dimensions dims) {
  HostArray cell = HostArray::cell(std::move(dims));
  for (std::size_t i = 0; i < texts.size(); ++i) cell.mutableCellAt(i) = HostArray::text(texts[i]);
  return cell;
}

ReadSize::ReadSize(std::string_view function, const Arrays& inputs, std::size_t position) {
  if (inputs.size() <= position || inputs[position].isEmpty()) return;
  const HostArray& size = inputs[position];
  const auto number = [&](std::size_t k) {
    const double value = size.realAt(k);
    return std::isinf(value) && value > 0
               ? value
               : static_cast<double>(countArgument(function, HostArray::scalar(value)));
  };
  requireReal(function, size);
  isShaped_ = size.numel() == 2;
  if (size.numel() > 2 || (isShaped_ && std::isinf(size.realAt(0))))
    raiseInvalidArgument(function, "the size is a count, or [rows columns] with a number of rows.");
  rows_ = number(0);
  // No rows of Inf columns are none.
  if (isShaped_) columns_ = rows_ == 0 ? 0 : number(1);
}

Dimensions ReadSize::dims(std::size_t count) const {
  if (!isShaped_) return {count, 1};
  const auto rows = static_cast<std::size_t>(rows_);
  return {rows, rows == 0 ? 0 : (count + rows - 1) / rows};
}

ArrayClass floatClass(const HostArray& a) {
  return a.arrayClass() == ArrayClass::Single ? ArrayClass::Single : ArrayClass::Double;
}

}  // namespace tessel
