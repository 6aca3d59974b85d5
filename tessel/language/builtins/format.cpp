// Numbers as text and back: printf forms, num2str, mat2str, number bases.
#include <algorithm>
#include <cstdlib>

#include <fmt/format.h>
#include <boost/multiprecision/cpp_int.hpp>

#include "tessel/interpreter.h"
#include "tessel/language/builtins/builtins.h"
#include "tessel/language/builtins/support.h"
#include "tessel/language/text_format.h"
#include "tessel/messages.h"

namespace tessel {
namespace {

Arrays callSprintf(Arrays& in, int) {
  return {HostArray::text(formatText(textArgument("sprintf", in[0]), {in.data() + 1, in.size() - 1}))};
}

std::string integerText(long double value) { return fmt::format("{:.0f}", value + 0.0L); }

/// A matrix of texts with one row a line, columns right-aligned and apart by two blanks.
HostArray alignedRows(const std::vector<std::string>& texts, std::size_t rows, std::size_t columns) {
  std::vector<std::string> lines(rows);
  for (std::size_t column = 0; column < columns; ++column) {
    std::size_t width = 0;
    for (std::size_t row = 0; row < rows; ++row) width = std::max(width, texts[column * rows + row].size());
    for (std::size_t row = 0; row < rows; ++row) {
      lines[row] += fmt::format("{:>{}}", texts[column * rows + row], width + (column > 0 ? 2 : 0));
    }
  }
  return lines.size() == 1 ? HostArray::text(lines[0]) : HostArray::charMatrix(lines);
}

/// Writes elements of real and complex arrays by one rule for real numbers; `asCode`: as the language reads
/// them, in which "NaNi" is a name.
template <class Write>
std::vector<std::string> elementTexts(const HostArray& a, const Write& write, bool asCode = false) {
  std::vector<long double> re(a.numel()), im(a.numel());
  loadElements(a, false, 0, 1, re.size(), re.data());
  loadElements(a, true, 0, 1, im.size(), im.data());
  std::vector<std::string> texts;
  for (std::size_t k = 0; k < re.size(); ++k) {
    std::string text = write(re[k]);
    if (a.isComplex()) {
      const std::string imaginary = write(im[k]);
      const char* const format = asCode && !std::isfinite(im[k]) ? "complex({},{})"
                                 : imaginary[0] == '-'           ? "{}{}i"
                                                                 : "{}+{}i";
      text = fmt::format(fmt::runtime(format), text, imaginary);
    }
    texts.push_back(std::move(text));
  }
  return texts;
}

/// Five significant digits, and four after the point of the largest number.
int shortPrecision(const HostArray& a) {
  double largest = 0;
  for (bool imaginary : {false, true})
    for (double x : imaginary ? imaginaryParts(a) : realParts(a))
      if (std::isfinite(x)) largest = std::max(largest, std::abs(x));
  const double magnitude = largest > 0 ? std::floor(std::log10(largest)) : 0;
  return static_cast<int>(std::clamp(magnitude + 5, 5.0, 16.0));
}

bool isWhole(const HostArray& a) {
  if (!a.isFloat()) return true;
  for (bool imaginary : {false, true})
    for (double x : imaginary ? imaginaryParts(a) : realParts(a))
      if (std::isfinite(x) && x != std::floor(x)) return false;
  return true;
}

std::string significantText(long double value, int digits) {
  // As it is: a double would round large integers.
  if (std::isnan(value)) return "NaN";
  if (std::isinf(value)) return value < 0 ? "-Inf" : "Inf";
  return fmt::format("{:.{}g}", value, std::max(digits, 1));
}

std::string numberText(long double value, bool asInteger, int digits) {
  return asInteger && std::isfinite(value) ? integerText(value) : significantText(value, digits);
}

std::vector<std::string> textsIn(const HostArray& cell) {
  std::vector<std::string> texts;
  for (std::size_t k = 0; k < cell.numel(); ++k) texts.push_back(cell.cellAt(k).toText());
  return texts;
}

/// num2str(x), num2str(x, digits), num2str(x, format)
Arrays callNum2str(Arrays& in, int) {
  if (in.size() == 1) {
    if (const auto texts = decimalTexts(in[0])) {
      if (texts->isEmpty()) return {HostArray::text("")};
      return {alignedRows(textsIn(*texts), texts->dim(0), texts->numel() / texts->dim(0))};
    }
  } else if (in[0].isObject() && !in[1].isChar()) {
    in[0] = callFunction("double", {in[0]}).at(0);
  }
  const HostArray& a = in[0];
  if (a.isChar()) return {a};
  const bool hasFormat = in.size() > 1 && in[1].isChar();
  if (!hasFormat || !a.isObject()) requireNumeric("num2str", a);
  if (a.isEmpty()) return {HostArray::text("")};
  if (hasFormat) return {HostArray::text(formatText(textArgument("num2str", in[1]), {&a, 1}))};
  const bool asInteger = in.size() == 1 && isWhole(a);
  const int digits = in.size() > 1
                         ? static_cast<int>(std::min<std::size_t>(countArgument("num2str", in[1]), 50))
                         : shortPrecision(a);
  return {alignedRows(elementTexts(a, [&](long double x) { return numberText(x, asInteger, digits); }),
                      a.dim(0), a.numel() / a.dim(0))};
}

Arrays callInt2str(Arrays& in, int) {
  if (!in[0].isObject()) requireNumeric("int2str", in[0]);
  in[0] = callFunction("round", {in[0]})[0];
  return callNum2str(in, 1);
}

std::string matrixLiteral(const std::vector<std::string>& texts, const Dimensions& dims) {
  if (texts.empty()) return fmt::format("zeros({},{})", dims[0], dims[1]);
  if (texts.size() == 1) return texts[0];
  std::string out = "[";
  for (std::size_t row = 0; row < dims[0]; ++row) {
    for (std::size_t column = 0; column < dims[1]; ++column) {
      out += column > 0 ? " " : row > 0 ? ";" : "";
      out += texts[column * dims[0] + row];
    }
  }
  return out + "]";
}

/// The text of an array as the language reads it.
std::string literal(const HostArray& a, int digits) {
  const bool isEmptyText = a.isChar() && a.isEmpty();
  if (isEmptyText && a.dims() == Dimensions{0, 0}) return "''";
  if (isEmptyText) return fmt::format("char({})", matrixLiteral({}, a.dims()));
  if (a.isLogical() && a.isEmpty()) return fmt::format("false({},{})", a.dim(0), a.dim(1));
  if (a.isChar()) {
    std::vector<std::string> rows = a.textRows();
    for (std::string& row : rows) {
      for (std::size_t at = 0; (at = row.find('\'', at)) != std::string::npos; at += 2) row.insert(at, 1, '\'');
      row = fmt::format("'{}'", row);
    }
    return rows.size() == 1 ? rows[0] : fmt::format("[{}]", fmt::join(rows, ";"));
  }
  return matrixLiteral(elementTexts(
                           a,
                           [&](long double x) -> std::string {
                             return a.isLogical() ? (x != 0 ? "true" : "false")
                                                  : numberText(x, a.isInteger(), digits);
                           },
                           true),
                       a.dims());
}

/// mat2str(a), mat2str(a, digits), mat2str(a, ..., 'class')
Arrays callMat2str(Arrays& in, int) {
  const bool showsClass = in.size() > 1 && in.back().isChar();
  if (showsClass && textArgument("mat2str", in.back()) != "class")
    raiseInvalidArgument("mat2str", "the option is 'class'.");
  if (showsClass) in.pop_back();
  const auto decimals = in.size() == 1 ? decimalTexts(in[0]) : std::nullopt;
  if (!decimals && in[0].isObject()) in[0] = callFunction("double", {in[0]}).at(0);
  if (!decimals) requireNumeric("mat2str", in[0]);
  const Dimensions& dims = decimals ? decimals->dims() : in[0].dims();
  if (dims.size() > 2) raiseError("Tessel:mustBe2D", "The argument must have two dimensions.");
  if (decimals) return {HostArray::text(matrixLiteral(textsIn(*decimals), dims))};
  const std::string text = literal(
      in[0], in.size() > 1 ? static_cast<int>(std::min<std::size_t>(countArgument("mat2str", in[1]), 50)) : 15);
  const bool needsClass = showsClass && (in[0].isInteger() || in[0].arrayClass() == ArrayClass::Single);
  return {HostArray::text(needsClass ? in[0].className() + "(" + text + ")" : text)};
}

// Number bases

constexpr std::string_view kDigits = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";

std::string inBase(std::uint64_t value, unsigned base) {
  std::string digits;
  for (; value != 0; value /= base) digits.insert(digits.begin(), kDigits[value % base]);
  return digits.empty() ? "0" : digits;
}

HostArray toBase(const char* name, const HostArray& numbers, unsigned base, std::size_t width) {
  requireReal(name, numbers);
  std::vector<long double> values(numbers.numel());
  loadElements(numbers, false, 0, 1, values.size(), values.data());
  std::vector<std::string> rows;
  for (long double value : values) {
    if (!(value >= 0 && value < 0x1p64L && value == std::floor(value))) {
      raiseInvalidArgument(name, "whole numbers from 0 to 2^64 - 1 are needed.");
    }
    rows.push_back(inBase(static_cast<std::uint64_t>(value), base));
    width = std::max(width, rows.back().size());
  }
  for (std::string& row : rows) row.insert(0, width - row.size(), '0');
  return HostArray::charMatrix(rows);
}

/// The double nearest to the number with these digits.
double nearestDouble(const std::vector<unsigned>& digits, unsigned base) {
  double sum = 0;
  for (const unsigned digit : digits) sum = sum * base + digit;
  if (sum <= 0x1p53) return sum;
  boost::multiprecision::cpp_int exact = 0;
  static const boost::multiprecision::cpp_int kBeyondDoubles = boost::multiprecision::cpp_int(1) << 1025;
  for (const unsigned digit : digits)
    if (exact < kBeyondDoubles) exact = exact * base + digit;
  return std::strtod(exact.str().c_str(), nullptr);  // its own conversion to doubles does not always round
}

HostArray fromBase(const char* name, const HostArray& texts, unsigned base) {
  const std::vector<std::string> rows = textsArgument(name, texts);
  std::vector<double> values;
  for (const std::string& row : rows) {
    std::vector<unsigned> digits;
    for (char c : row) {
      if (c == ' ') continue;
      const std::size_t digit = kDigits.find(c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c);
      if (digit >= base) raiseInvalidArgument(name, fmt::format("'{}' is no number in base {}.", row, base));
      digits.push_back(static_cast<unsigned>(digit));
    }
    values.push_back(nearestDouble(digits, base));
  }
  return doubles(values, {values.size(), 1});
}

unsigned baseArgument(const char* name, const HostArray& a) {
  const std::size_t base = countArgument(name, a);
  if (base < 2 || base > kDigits.size()) raiseInvalidArgument(name, "the base must be from 2 to 36.");
  return static_cast<unsigned>(base);
}

std::size_t widthArgument(const char* name, const Arrays& in, std::size_t k) {
  return in.size() > k ? countArgument(name, in[k]) : 0;
}

FunctionInfo writer(const char* name, unsigned base, const char* help) {
  return {name, [=](Arrays& in, int) { return Arrays{toBase(name, in[0], base, widthArgument(name, in, 1))}; },
          1,    2,
          1,    help};
}

FunctionInfo reader(const char* name, unsigned base, const char* help) {
  return {name, [=](Arrays& in, int) { return Arrays{fromBase(name, in[0], base)}; }, 1, 1, 1, help};
}

Arrays callDec2base(Arrays& in, int) {
  return {toBase("dec2base", in[0], baseArgument("dec2base", in[1]), widthArgument("dec2base", in, 2))};
}

Arrays callBase2dec(Arrays& in, int) { return {fromBase("base2dec", in[0], baseArgument("base2dec", in[1]))}; }

}  // namespace

void registerFormatBuiltins() {
  registerAll({
      {"sprintf", callSprintf, 1, -1, 1,
       "sprintf(format, ...): values as text, by a printf format that repeats for all elements."},
      {"num2str", callNum2str, 1, 2, 1, "num2str(x), num2str(x, digits), num2str(x, format): numbers as text."},
      {"int2str", callInt2str, 1, 1, 1, "int2str(x): numbers, rounded to integers, as text."},
      {"mat2str", callMat2str, 1, 3, 1,
       "mat2str(a), mat2str(a, digits), mat2str(..., 'class'): an array as the language reads it."},
      writer("dec2bin", 2, "dec2bin(d), dec2bin(d, width): numbers in binary digits."),
      writer("dec2hex", 16, "dec2hex(d), dec2hex(d, width): numbers in hexadecimal digits."),
      reader("bin2dec", 2, "bin2dec(text): the numbers that binary digits stand for."),
      reader("hex2dec", 16, "hex2dec(text): the numbers that hexadecimal digits stand for."),
      {"dec2base", callDec2base, 2, 3, 1,
       "dec2base(d, base), dec2base(d, base, width): numbers in the digits of a base."},
      {"base2dec", callBase2dec, 2, 2, 1, "base2dec(text, base): the numbers that digits of a base stand for."},
  });
}

}  // namespace tessel
