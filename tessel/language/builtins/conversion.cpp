// From one class to another.
#include <algorithm>
#include <charconv>
#include <cstring>
#include <optional>

#include <fmt/format.h>
#include "tessel/language/builtins/builtins.h"
#include "tessel/language/builtins/support.h"
#include "tessel/messages.h"
#include "tessel/runtime/concatenate.h"
#include "tessel/runtime/convert.h"
#include "tessel/runtime/lines.h"

namespace tessel {
namespace {

/// char(numbers), char(text, ...), char(cell): several texts give one row each.
Arrays callChar(Arrays& in, int) {
  if (in.size() == 1 && !in[0].isCell()) {
    requireReal("char", in[0]);
    return {convertTo(in[0], ArrayClass::Char)};
  }
  std::vector<std::string> rows;
  for (const HostArray& part : in) {
    for (std::string& row : textsArgument("char", part)) rows.push_back(std::move(row));
  }
  return {HostArray::charMatrix(rows)};
}

ArrayClass classNamed(const char* function, const HostArray& name) {
  const std::optional<ArrayClass> target = numericClassNamed(textArgument(function, name));
  if (!target) raiseInvalidArgument(function, "no numeric class '" + name.toText() + "'.");
  return *target;
}

Arrays callCast(Arrays& in, int) {
  requireNumeric("cast", in[0]);
  return {convertTo(in[0], classNamed("cast", in[1]))};
}

/// The same bytes as elements of another class.
Arrays callTypecast(Arrays& in, int) {
  const HostArray& a = in[0];
  requireReal("typecast", a);
  const ArrayClass target = classNamed("typecast", in[1]);
  if (target == ArrayClass::Logical) raiseInvalidArgument("typecast", "a numeric class is needed.");
  if (!a.isEmpty() && !a.isVector()) raiseInvalidArgument("typecast", "a vector is needed.");
  const auto sizeOf = [](ArrayClass c) { return visitElementType(c, [](auto zero) { return sizeof zero; }); };
  const std::size_t bytes = a.numel() * sizeOf(a.arrayClass());
  if (bytes % sizeOf(target) != 0) raiseInvalidArgument("typecast", "the bytes do not fill whole elements.");
  const std::size_t count = bytes / sizeOf(target);
  HostArray result = HostArray::zeros(target, a.dim(0) == 1 ? Dimensions{1, count} : Dimensions{count, 1});
  if (bytes > 0) std::memcpy(result.mutableRealData(), a.realData(), bytes);
  return {result};
}

// Cells and structures

HostArray elementOf(const HostArray& a, std::size_t k) { return rearranged(a, {k}, {1, 1}); }

Arrays callNum2cell(Arrays& in, int) {
  HostArray cell = HostArray::cell(in[0].dims());
  for (std::size_t k = 0; k < in[0].numel(); ++k) cell.mutableCellAt(k) = elementOf(in[0], k);
  return {cell};
}

Arrays callCell2mat(Arrays& in, int) {
  const HostArray& a = in[0];
  if (!a.isCell()) raiseUndefinedFor("cell2mat", a);
  if (a.dims().size() > 2) raiseError("Tessel:mustBe2D", "The argument must have two dimensions.");
  Arrays rows;
  for (std::size_t row = 0; row < a.dim(0); ++row) {
    Arrays parts;
    for (std::size_t column = 0; column < a.dim(1); ++column) {
      const HostArray& part = a.cellAt(column * a.dim(0) + row);
      if (part.isCell()) raiseInvalidArgument("cell2mat", "cells within cells cannot be joined.");
      parts.push_back(part);
    }
    rows.push_back(concatenate(1, parts));
  }
  return {rows.empty() ? HostArray() : concatenate(0, rows)};
}

void removeBlanksAtEnd(std::string& text) { text.erase(text.find_last_not_of(' ') + 1); }

Arrays callCellstr(Arrays& in, int) {
  if (isCellOfTexts(in[0])) return {in[0]};
  std::vector<std::string> rows = textsArgument("cellstr", in[0]);
  for (std::string& row : rows) removeBlanksAtEnd(row);
  return {cellOfTexts(rows, {rows.size(), 1})};
}

Arrays callStruct2cell(Arrays& in, int) {
  if (!in[0].isStruct() || !in[0].isScalar()) raiseInvalidArgument("struct2cell", "one structure is needed.");
  const std::vector<std::string>& fields = in[0].fieldNames();
  HostArray cell = HostArray::cell({fields.size(), 1});
  for (std::size_t k = 0; k < fields.size(); ++k) cell.mutableCellAt(k) = in[0].fieldAt(fields[k]);
  return {cell};
}

/// The fields lie along the given dimension, else along the first of size other than 1; one structure for each
/// line of values.
Arrays callCell2struct(Arrays& in, int) {
  const HostArray& values = in[0];
  if (!values.isCell()) raiseUndefinedFor("cell2struct", values);
  std::vector<std::string> fields = textsArgument("cell2struct", in[1]);
  if (in[1].isChar())
    for (std::string& field : fields) removeBlanksAtEnd(field);
  const std::size_t along = workingDimension("cell2struct", in, 2);
  const Lines lines(values.dims(), along);
  if (lines.length != fields.size())
    raiseInvalidArgument("cell2struct", fmt::format("{} names for {} fields.", fields.size(), lines.length));
  Dimensions dims = values.dims();
  if (along < dims.size()) dims.erase(dims.begin() + static_cast<std::ptrdiff_t>(along));
  if (dims.size() < 2) dims.push_back(1);
  HostArray result = HostArray::structure(dims, withoutRepeats(fields));
  lines.forEach([&](std::size_t line, std::size_t first) {
    for (std::size_t k = 0; k < fields.size(); ++k)
      result.mutableFieldAt(fields[k], line) = values.cellAt(first + k * lines.inner);
  });
  return {result};
}

// Texts to numbers

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

void skipBlanks(std::string_view& text) {
  text.remove_prefix(std::min(text.find_first_not_of(" \t\n\r"), text.size()));
}

struct Part {
  double value;
  bool isImaginary;
};

/// Takes "-2.5", "3i", "2 * j" or "- i" off the start of `text`; nothing where it says none of these. Blanks
/// may stand behind the sign of an imaginary part and around its "*".
std::optional<Part> takePart(std::string_view& text) {
  std::string_view rest = text;
  const bool isNegative = rest.starts_with('-');
  if (isNegative || rest.starts_with('+')) rest.remove_prefix(1);
  const std::size_t withBlanks = rest.size();
  skipBlanks(rest);
  const bool isApart = rest.size() != withBlanks;
  if (rest.starts_with('-')) return std::nullopt;  // the library would take a second sign
  double value = 1;
  const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), value);
  const bool isUnitAlone = error == std::errc::invalid_argument;
  if (error == std::errc::result_out_of_range)
    value = std::strtod(std::string(rest.data(), end).c_str(), nullptr);
  rest.remove_prefix(static_cast<std::size_t>(end - rest.data()));
  std::string_view unit = rest;
  skipBlanks(unit);
  if (!isUnitAlone && unit.starts_with('*')) {
    unit.remove_prefix(1);
    skipBlanks(unit);
  } else {
    unit = rest;
  }
  const bool isImaginary = unit.starts_with('i') || unit.starts_with('j');
  if (!isImaginary && (isUnitAlone || isApart)) return std::nullopt;
  text = isImaginary ? unit.substr(1) : rest;
  return Part{isNegative ? -value : value, isImaginary};
}

/// "1.5", "-2e3", "1,000", "Inf", "3+4i", "2i"; NaN for what is no number.
std::complex<double> parsedNumber(std::string text) {
  text.erase(std::remove(text.begin(), text.end(), ','), text.end());
  std::string_view rest = text;
  skipBlanks(rest);
  const std::optional<Part> first = takePart(rest);
  skipBlanks(rest);
  if (!first) return kNaN;
  if (rest.empty()) return first->isImaginary ? std::complex<double>(0, first->value) : first->value;
  if (first->isImaginary || (rest[0] != '+' && rest[0] != '-')) return kNaN;
  const std::optional<Part> second = takePart(rest);
  skipBlanks(rest);
  return second && second->isImaginary && rest.empty() ? std::complex(first->value, second->value) : kNaN;
}

HostArray parsedNumbers(const std::vector<std::string>& texts, Dimensions dims) {
  HostArray result = HostArray::zeros(ArrayClass::Double, std::move(dims), true);
  for (std::size_t k = 0; k < texts.size(); ++k) {
    const std::complex<double> value = parsedNumber(texts[k]);
    result.mutableReal<double>()[k] = value.real();
    result.mutableImag<double>()[k] = value.imag();
  }
  return narrowed(std::move(result));
}

/// Elements of a cell that are no texts are not numbers.
Arrays callStr2double(Arrays& in, int) {
  const HostArray& a = in[0];
  if (!a.isCell() && !a.isChar()) return {HostArray::scalar(kNaN)};
  if (!a.isCell()) {
    const std::vector<std::string> rows = textsArgument("str2double", a);
    return {parsedNumbers(rows, {rows.size(), 1})};
  }
  std::vector<std::string> texts;
  for (std::size_t k = 0; k < a.numel(); ++k) texts.push_back(a.cellAt(k).isText() ? a.cellAt(k).toText() : "");
  return {parsedNumbers(texts, a.dims())};
}

/// [x, ok] = str2num(text): what the text says when it is read as an expression.
Arrays callStr2num(Arrays& in, int) {
  const std::string text = textArgument("str2num", in[0]);
  try {
    return {evaluateExpression("[" + text + "]"), HostArray::logical(true)};
  } catch (const HostError&) {
    return {HostArray(), HostArray::logical(false)};
  }
}

}  // namespace

void registerConversionBuiltins() {
  registerAll({
      {"char", callChar, 1, -1, 1,
       "char(codes), char(text, ...), char(cell): characters; several texts become rows."},
      {"cast", callCast, 2, 2, 1, "cast(a, class): the values of a in another class."},
      {"typecast", callTypecast, 2, 2, 1, "typecast(a, class): the bytes of a as another class."},
      {"num2cell", callNum2cell, 1, 1, 1, "num2cell(a): a cell array with one element of a in each cell."},
      {"cell2mat", callCell2mat, 1, 1, 1, "cell2mat(c): the contents of cells joined to one matrix."},
      {"cellstr", callCellstr, 1, 1, 1, "cellstr(rows): a cell of texts, without blanks at their ends."},
      {"struct2cell", callStruct2cell, 1, 1, 1, "struct2cell(s): the values of a structure's fields."},
      {"cell2struct", callCell2struct, 2, 3, 1,
       "cell2struct(values, fields), cell2struct(values, fields, dim): structures from values and field "
       "names.\n"
       "The fields lie along dimension dim, or the first one whose size is not 1."},
      {"str2double", callStr2double, 1, 1, 1,
       "str2double(text), str2double(texts): numbers from texts; NaN for what is none."},
      {"str2num", callStr2num, 1, 1, 2, "[x, ok] = str2num(text): the value of an expression."},
  });
}

}  // namespace tessel
