#include "tessel/runtime/display.h"

#include <fmt/format.h>

#include "tessel/console.h"
#include "tessel/messages.h"
#include "tessel/objects.h"
#include "tessel/runtime/elements.h"

namespace tessel {
namespace {

std::string joined(const Dimensions& dims, const char* separator) {
  return fmt::format("{}", fmt::join(dims, separator));
}

/// What the finite values of an array have in common, as far as their notation depends on it.
struct Survey {
  double largest = 0;
  bool allInteger = true;
  bool anyNegative = false;

  explicit Survey(const std::vector<double>& values) {
    for (double value : values) {
      if (!std::isfinite(value)) continue;
      largest = std::max(largest, std::abs(value));
      allInteger = allInteger && value == std::floor(value);
      anyNegative = anyNegative || value < 0;
    }
  }
};

/// How floating-point numbers are written.
struct Notation {
  enum class Style { Integer, Fixed, Exponent };
  Style style = Style::Fixed;
  std::size_t width = 0;
  int scaleExponent = 0;  ///< numbers are divided by this power of ten, which is shown above the matrix
  bool shortZero = false;
  int decimals = 4;

  std::string text(double value) const {
    if (std::isnan(value)) return "NaN";
    if (std::isinf(value)) return value < 0 ? "-Inf" : "Inf";
    if (style == Style::Integer) return fmt::format("{:.0f}", value + 0.0);
    if (style == Style::Exponent) return fmt::format("{:.{}e}", value, decimals);
    if (value == 0 && shortZero) return "0";
    return fmt::format("{:.{}f}", scaled(value) + 0.0, decimals);
  }

 private:
  double scaled(double value) const {
    const double power = std::pow(10.0, std::abs(scaleExponent));
    return scaleExponent < 0 ? value * power : value / power;
  }
};

constexpr std::size_t kIntegerWidth = 6;       // up to three digits
constexpr std::size_t kLongIntegerWidth = 12;  // up to nine
constexpr std::size_t kFixedWidth = 10;
constexpr std::size_t kExponentWidth = 13;

/// Behind the point, of numbers with at most three digits before it; one more than makes doubles tell apart.
int decimalsShown(const HostArray& a) {
  if (numberFormat() == NumberFormat::Short) return 4;
  return a.arrayClass() == ArrayClass::Single ? 7 : 15;
}

/// `isNumber` tells that a single real or complex number is shown: it gets an exponent instead of a common
/// factor.
Notation notationFor(const Survey& survey, bool isNumber, bool isComplex) {
  using Style = Notation::Style;
  const bool fits = survey.largest < 1e3 && (survey.largest > 1e-3 || survey.largest == 0);
  if (survey.allInteger && !isComplex && survey.largest < 1e9) {
    return {Style::Integer, survey.largest < 1e3 ? kIntegerWidth : kLongIntegerWidth};
  }
  if (fits || (!isNumber && survey.largest == 1e-3)) return {Style::Fixed, kFixedWidth, 0, !isComplex};
  if (isNumber) return {Style::Exponent, kExponentWidth};
  const int magnitude = static_cast<int>(std::floor(std::log10(survey.largest)));
  return {Style::Fixed, kFixedWidth, survey.largest < 1 ? magnitude + 1 : magnitude, !isComplex};
}

/// The texts of all elements of a page, in column-major order, and what stands above them.
struct Table {
  std::string heading;
  std::vector<std::string> texts;  ///< as wide as their column is to be
};

void padLeft(std::vector<std::string>& texts, std::size_t atLeast, std::size_t separation) {
  std::size_t width = 0;
  for (const std::string& text : texts) width = std::max(width, text.size());
  width = std::max(width + separation, atLeast);
  for (std::string& text : texts) text.insert(0, width - text.size(), ' ');
}

std::vector<std::string> complexTexts(const Notation& notation, const std::vector<double>& re,
                                      const std::vector<double>& im) {
  std::vector<std::string> texts, imaginary;
  for (double x : re) texts.push_back(notation.text(x));
  for (double x : im) imaginary.push_back(notation.text(std::abs(x)));
  padLeft(texts, 0, 0);
  padLeft(imaginary, 0, 0);
  for (std::size_t i = 0; i < im.size(); ++i)
    texts[i] += fmt::format(" {} {}i", im[i] < 0 ? '-' : '+', imaginary[i]);
  return texts;
}

Table floatTable(const HostArray& a) {
  const std::vector<double> re = realParts(a), im = a.isComplex() ? imaginaryParts(a) : std::vector<double>{};
  std::vector<double> both = re;
  both.insert(both.end(), im.begin(), im.end());
  Notation notation = notationFor(Survey(both), a.isScalar(), a.isComplex());
  notation.decimals = decimalsShown(a);
  Table table;
  if (notation.scaleExponent != 0) table.heading = fmt::format("   1.0e{:+03d} *\n\n", notation.scaleExponent);
  if (a.isComplex()) {
    table.texts = complexTexts(notation, re, im);
    padLeft(table.texts, 0, 3);
  } else {
    for (double x : re) table.texts.push_back(notation.text(x));
    const bool isLong = numberFormat() == NumberFormat::Long && notation.style != Notation::Style::Integer;
    padLeft(table.texts, notation.width, isLong ? 3 : 1);
  }
  return table;
}

Table integerTable(const HostArray& a) {
  Table table;
  visitElementType(a.arrayClass(), [&](auto zero) {
    using T = decltype(zero);
    for (std::size_t i = 0; i < a.numel(); ++i) {
      std::string text = fmt::format("{}", +a.real<T>()[i]);
      if (a.isComplex()) {
        const std::string imaginary = fmt::format("{}i", +a.imag<T>()[i]);
        text += (imaginary[0] == '-' ? "" : "+") + imaginary;
      }
      table.texts.push_back(std::move(text));
    }
  });
  padLeft(table.texts, 0, 3);
  return table;
}

Table cellTable(const HostArray& a) {
  Table table;
  const std::size_t rows = a.dim(0);
  for (std::size_t i = 0; i < a.numel(); ++i) table.texts.push_back("    " + summaryText(a.cellAt(i)));
  for (std::size_t first = 0; first < a.numel(); first += rows) {
    std::size_t width = 0;
    for (std::size_t i = first; i < first + rows; ++i) width = std::max(width, table.texts[i].size());
    for (std::size_t i = first; i < first + rows; ++i) table.texts[i].resize(width, ' ');
  }
  return table;
}

/// One past the last column that fits on a line with column `first`.
std::size_t endOfGroup(const std::vector<std::string>& texts, std::size_t rows, std::size_t first,
                       std::size_t columns, std::size_t lineWidth) {
  std::size_t end = first, width = 0;
  while (end < columns && (end == first || width + texts[end * rows].size() <= lineWidth)) {
    width += texts[end * rows].size();
    ++end;
  }
  return end;
}

/// The lines of a table with `rows` rows, its columns in groups that fit on a line.
std::string laidOut(const Table& table, std::size_t rows, std::size_t columns) {
  std::string out = table.heading;
  const std::size_t width = lineWidth();
  for (std::size_t first = 0, end = 0; first < columns; first = end) {
    end = endOfGroup(table.texts, rows, first, columns, width);
    const bool grouped = end - first < columns;
    if (grouped && first > 0) out += '\n';
    if (grouped && end - first > 1) out += fmt::format("  Columns {} through {}\n\n", first + 1, end);
    if (grouped && end - first == 1) out += fmt::format("  Column {}\n\n", end);
    for (std::size_t row = 0; row < rows; ++row) {
      for (std::size_t column = first; column < end; ++column) out += table.texts[column * rows + row];
      out.erase(out.find_last_not_of(' ') + 1);
      out += '\n';
    }
  }
  return out;
}

std::string emptyText(const HostArray& a) {
  const bool isPlain = a.dims() == Dimensions{0, 0};
  const std::string size = joined(a.dims(), "-by-");
  if (a.isChar()) return isPlain ? "     ''\n" : "   Empty text: " + size + "\n";
  if (a.isCell()) return isPlain ? "     {}\n" : "   Empty cell array: " + size + "\n";
  return isPlain ? "     []\n" : "   Empty matrix: " + size + "\n";
}

std::string pageText(const HostArray& a) {
  if (a.isChar()) {
    std::string out;
    for (const std::string& row : a.textRows()) out += row + '\n';
    return out;
  }
  const Table table = a.isCell() ? cellTable(a) : a.isFloat() ? floatTable(a) : integerTable(a);
  return laidOut(table, a.dim(0), a.dim(1));
}

/// Page `page` of an array with more than two dimensions.
HostArray pageOf(const HostArray& a, std::size_t page) {
  const std::size_t size = a.dim(0) * a.dim(1);
  std::vector<std::size_t> positions(size);
  for (std::size_t i = 0; i < size; ++i) positions[i] = page * size + i;
  return rearranged(a, positions, {a.dim(0), a.dim(1)});
}

/// Pages, each under its name and subscripts; `textOf(page)` are the lines of one, counted from 0.
template <class TextOf>
std::string pagesText(const Dimensions& dims, std::string_view name, const TextOf& textOf) {
  std::string out;
  std::vector<std::size_t> subscripts(dims.size() - 2, 1);
  std::size_t pages = 1;
  for (std::size_t d = 2; d < dims.size(); ++d) pages *= dims[d];
  for (std::size_t page = 0; page < pages; ++page) {
    if (page > 0) out += "\n\n";
    out += fmt::format("{}(:,:,{}) =\n\n{}", name, fmt::join(subscripts, ","), textOf(page));
    for (std::size_t d = 0; d < subscripts.size() && ++subscripts[d] > dims[d + 2]; ++d) subscripts[d] = 1;
  }
  return out;
}

/// A text that is not blank, without blanks and line ends around it.
std::string trimmed(const std::string& text) {
  const std::size_t first = text.find_first_not_of(" \n");
  return text.substr(first, text.find_last_not_of(" \n") - first + 1);
}

constexpr std::size_t kShownInField = 10;

/// The value of a field: numbers stand for themselves as far as they are short.
std::string fieldText(const HostArray& value) {
  const bool isNumbers = value.isNumeric() || value.isLogical();
  if (!isNumbers || value.dims().size() > 2 || value.dim(0) != 1 || value.numel() > kShownInField ||
      value.isEmpty()) {
    return summaryText(value);
  }
  std::vector<std::string> texts;
  for (std::size_t i = 0; i < value.numel(); ++i)
    texts.push_back(trimmed(pageText(rearranged(value, {i}, {1, 1}))));
  return texts.size() == 1 ? texts[0] : fmt::format("[{}]", fmt::join(texts, " "));
}

std::string structureText(const HostArray& a) {
  std::string out;
  if (!a.isScalar()) {
    out = fmt::format("{} struct array with fields:\n\n", sizeText(a));
    for (const std::string& field : a.fieldNames()) out += fmt::format("    {}\n", field);
    return out;
  }
  std::size_t width = 0;
  for (const std::string& field : a.fieldNames()) width = std::max(width, field.size());
  for (const std::string& field : a.fieldNames()) {
    out += fmt::format("{:>{}}: {}\n", field, width + 4, fieldText(a.fieldAt(field)));
  }
  return out;
}

bool showsPages(const HostArray& a) {
  return a.dims().size() > 2 && !a.isEmpty() && !a.isStruct() && !a.isObject();
}

}  // namespace

std::string sizeText(const HostArray& value) { return joined(value.dims(), "x"); }

std::string summaryText(const HostArray& value) {
  if (value.isFunction()) return value.functionValue()->text();
  if (value.isText() && !value.isEmpty()) return "'" + value.toText() + "'";
  if (value.dims() == Dimensions{0, 0} && (value.isChar() || value.isCell() || value.isFloat())) {
    return trimmed(emptyText(value));
  }
  if (value.isScalar() && (value.isNumeric() || value.isLogical())) return "[" + trimmed(pageText(value)) + "]";
  const std::string text = sizeText(value) + " " + value.className();
  return value.isCell() ? "{" + text + "}" : "[" + text + "]";
}

std::string displayBody(const HostArray& value, std::string_view name) {
  if (value.isStruct()) return structureText(value);
  if (value.isObject()) return fmt::format("  {} {}\n", sizeText(value), value.className());
  if (value.isFunction()) return fmt::format("    {}\n", value.functionValue()->text());
  if (value.isEmpty()) return emptyText(value);
  if (!showsPages(value)) return pageText(value);
  return pagesText(value.dims(), name, [&](std::size_t page) { return pageText(pageOf(value, page)); });
}

std::string tableText(std::vector<std::string> texts, const Dimensions& dims, std::string_view name) {
  Table table{{}, std::move(texts)};
  padLeft(table.texts, 0, 3);
  if (dims.size() <= 2) return laidOut(table, dims[0], dims[1]);
  return pagesText(dims, name, [&, size = dims[0] * dims[1]](std::size_t page) {
    const auto first = table.texts.begin() + static_cast<std::ptrdiff_t>(page * size);
    return laidOut({{}, {first, first + static_cast<std::ptrdiff_t>(size)}}, dims[0], dims[1]);
  });
}

std::string displayText(const HostArray& value, std::string_view name) {
  const std::string body = displayBody(value, name);
  return showsPages(value) ? fmt::format("\n{}\n", body) : fmt::format("\n{} =\n\n{}\n", name, body);
}

namespace {

Arrays callDisp(Arrays& inputs, int) {
  print(displayBody(inputs[0]));
  return {};
}

/// An object shows itself by a method of its class: by "display" with its name, or by "disp" under it.
Arrays callDisplay(Arrays& inputs, int) {
  const std::string name = inputs.size() > 1 ? inputs[1].toText() : "ans";
  const HostArray& value = inputs[0];
  const HostClass* hostClass = value.isObject() && !value.isEmpty() ? &value.objectAt()->hostClass() : nullptr;
  if (hostClass && value.isScalar() && hostClass->findMethod("display")) {
    callFunction("display", {value, HostArray::text(name)}, 0);
  } else if (hostClass && hostClass->findMethod("disp")) {
    print("\n" + name + " =\n");
    if (!value.isScalar()) print("\n");
    callFunction("disp", {value}, 0);
    if (!value.isScalar()) print("\n");
  } else {
    print(displayText(value, name));
  }
  return {};
}

/// format, format('short'), format('long')
Arrays callFormat(Arrays& inputs, int) {
  const std::string wanted = inputs.empty() ? "short" : inputs[0].toText();
  if (wanted != "short" && wanted != "long")
    raiseError("Tessel:invalidArgument", "format: '" + wanted + "' is neither 'short' nor 'long'.");
  setNumberFormat(wanted == "long" ? NumberFormat::Long : NumberFormat::Short);
  return {};
}

}  // namespace

std::vector<FunctionInfo> displayFunctions() {
  // A caller from C++ asks for one output unless it says otherwise, so both take the request and return
  // nothing.
  return {
      {"disp", callDisp, 1, 1, 1, "disp(x): prints the value of x."},
      {"display", callDisplay, 1, 2, 1, "display(x, name): prints the name and the value of x."},
      {"format", callFormat, 0, 1, 0,
       "format long, format short: numbers are shown with all their digits, or with few; format: the same as "
       "format short."}};
}

}  // namespace tessel
