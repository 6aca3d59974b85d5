/// Methods of `embedded.quantizer` that write values as digits of a base and read them.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "qfcore/fi/paths/blocks.h"
#include "qfcore/fi/paths/radixblocks.h"
#include "qfcore/host/QuantizerObjClass.h"
#include "qfcore/number/radix.h"

namespace embedded::host {

namespace {

constexpr Message kNotDouble{"numforge:quantizer:num2base:notdouble",
                             "Value to convert must be a double array."};
constexpr Message kNotChar{"numforge:quantizer:base2num:notchar", "Value to convert must be character array"};
constexpr Message kBadBase{"numforge:quantizer:badbase", "The base must be an integer from 2 to 18."};
constexpr Message kEmptyInput{"numforge:quantizer:base2num:EmptyInput", "The text contains no numbers."};
constexpr Message kInvalidElement{"numforge:quantizer:base2num:InvalidElement",
                                  "Input array invalid at element (%d,%d)"};

constexpr const char* kColumnGap = "   ";

int baseArgument(const HostArray& array) {
  const double base = array.isNumeric() && array.isScalar() && !array.isComplex() ? array.realAt(0) : 0;
  if (!(base >= 2 && base <= 18) || base != static_cast<int>(base)) fail<kBadBase>();
  return static_cast<int>(base);
}

/// One row of text for each row of `values`, further dimensions side by side. A value is quantized first;
/// `textOf` makes its text, real and imaginary parts joined as "re + imi", right-aligned to the longest.
template <class TextOf>
HostArray textMatrix(const quantizer& q, const HostArray& values, TextOf textOf) {
  if (values.arrayClass() != tessel::ArrayClass::Double) fail<kNotDouble>();
  const quantizer uncounted(q);
  const auto partText = [&](double part) {
    number value = carrierOf(uncounted, part);
    return textOf(uncounted.quantize(value));
  };
  std::vector<std::string> texts;
  std::size_t width = 0;
  for (std::size_t i = 0; i < values.numel(); ++i) {
    texts.push_back(partText(values.realAt(i)));
    if (values.isComplex()) texts[i] += " + " + partText(values.imagAt(i)) + "i";
    width = std::max(width, texts[i].size());
  }
  std::vector<std::string> lines(values.isEmpty() ? 0 : values.dim(0));
  for (std::size_t i = 0; i < texts.size(); ++i) {
    std::string& line = lines[i % lines.size()];
    line += (i < lines.size() ? "" : kColumnGap) + std::string(width - texts[i].size(), ' ') + texts[i];
  }
  return HostArray::charMatrix(lines);
}

/// Whether the patterns of `values` can be written by blocks: those that have one.
bool isByBlocks(const quantizer& q, const HostArray& values) {
  if (!hasTextByBlocks(q) || values.arrayClass() != tessel::ArrayClass::Double || values.isEmpty())
    return false;
  const auto hasNaN = [&](const double* part) {
    return part && anyOf(part, values.numel(), [](double value) { return std::isnan(value); });
  };
  return q.isFloatingPoint() || !(hasNaN(values.real<double>()) || hasNaN(values.imag<double>()));
}

/// The same for patterns, which are all of one length, by blocks.
HostArray patternMatrix(const quantizer& q, const HostArray& values, int base) {
  const quantizer uncounted(q);
  HostArray quantized = values;
  // A Boolean has one bit, whatever word length the quantizer keeps for other modes.
  const int bits = q.isFloatingPoint() ? q.wordLength() : q.numericType().wordLength();
  const auto digits = static_cast<unsigned>(radixDigits(bits, base));
  const std::size_t rows = values.dim(0), gap = std::strlen(kColumnGap);
  const std::size_t width = (values.isComplex() ? 2 * digits + 4 : digits) + gap;
  HostArray result = HostArray::unset(tessel::ArrayClass::Char, {rows, values.numel() / rows * width - gap});
  char* const text = result.mutableReal<char>();
  std::fill_n(text, result.numel(), ' ');
  const auto writePart = [&](double* part, std::size_t firstColumn) {
    uncounted.quantize(part, values.numel());
    writePatterns(q, part, values.numel(), {text + firstColumn * rows, rows, width, digits}, base);
  };
  writePart(quantized.mutableReal<double>(), 0);
  if (!values.isComplex()) return result;
  writePart(quantized.mutableImag<double>(), digits + 3);
  for (std::size_t column = 0; column < result.dim(1); column += width) {
    std::fill_n(text + (column + digits + 1) * rows, rows, '+');
    std::fill_n(text + (column + 2 * digits + 3) * rows, rows, 'i');
  }
  return result;
}

Arrays num2base(Arrays& inputs, int) {
  const quantizer& q = quantizerArgument(inputs[0]);
  const int base = baseArgument(inputs[2]);
  if (isByBlocks(q, inputs[1])) return {patternMatrix(q, inputs[1], base)};
  return {textMatrix(q, inputs[1], [&](const number& value) { return q.num2base(value, base); })};
}

Arrays num2sdec(Arrays& inputs, int) {
  const quantizer& q = quantizerArgument(inputs[0]);
  return {textMatrix(q, inputs[1], [&](const number& value) { return q.num2sdec(value); })};
}

std::vector<std::string> tokensOf(const std::string& line) {
  constexpr const char* kDelimiters = " \t,+i";
  std::vector<std::string> tokens;
  for (std::size_t begin = 0; (begin = line.find_first_not_of(kDelimiters, begin)) != std::string::npos;) {
    const std::size_t end = std::min(line.find_first_of(kDelimiters, begin), line.size());
    tokens.push_back(line.substr(begin, end - begin));
    begin = end;
  }
  return tokens;
}

HostArray valuesOf(const PatternTable& table, const quantizer& uncounted) {
  HostArray values = HostArray::unset(tessel::ArrayClass::Double, {table.rows, table.columns}, table.isComplex);
  const auto readPart = [&](const std::vector<std::uint64_t>& patterns, double* part) {
    valuesOfPatterns(uncounted, patterns, part);
    uncounted.quantize(part, patterns.size());
  };
  readPart(table.re, values.mutableReal<double>());
  if (table.isComplex) readPart(table.im, values.mutableImag<double>());
  return values;
}

/// base2num(q, text, base): numbers in the columns of each row, in a matrix of as many rows; with an "i"
/// anywhere each number is a pair of a real and an imaginary part.
Arrays base2num(Arrays& inputs, int) {
  const quantizer uncounted(quantizerArgument(inputs[0]));
  if (!inputs[1].isChar()) fail<kNotChar>();
  const int base = baseArgument(inputs[2]);
  if (hasTextByBlocks(uncounted)) {
    if (const auto table = readPatterns(inputs[1], base, uncounted)) return {valuesOf(*table, uncounted)};
  }
  const auto lines = inputs[1].isEmpty() ? std::vector<std::string>() : inputs[1].textRows();
  const bool isComplex =
      std::ranges::any_of(lines, [](const auto& line) { return line.find('i') != std::string::npos; });
  const std::size_t parts = isComplex ? 2 : 1;
  const std::size_t tokenCount = lines.empty() ? 0 : tokensOf(lines[0]).size();
  if (tokenCount == 0) fail<kEmptyInput>();
  HostArray values =
      HostArray::zeros(tessel::ArrayClass::Double, {lines.size(), (tokenCount + parts - 1) / parts}, isComplex);
  for (std::size_t row = 0; row < lines.size(); ++row) {
    const std::vector<std::string> tokens = tokensOf(lines[row]);
    const std::size_t expected = parts * values.dim(1);
    for (std::size_t k = 0; k < std::max(expected, tokens.size()); ++k) {
      number value = carrierOf(uncounted, 0);
      if (k >= expected || k >= tokens.size() || !uncounted.base2num(value, tokens[k].c_str(), base)) {
        fail<kInvalidElement>(static_cast<int>(row + 1), static_cast<int>(k + 1));
      }
      double* target = k % parts == 0 ? values.mutableReal<double>() : values.mutableImag<double>();
      target[k / parts * lines.size() + row] = value.todouble();
    }
  }
  return {std::move(values)};
}

const Method kMethods[] = {
    {"num2base", 3, 3, 1, num2base,
     "num2base(q, x, base): the bit patterns of the numbers x in the format of q, as text in a base from 2 to "
     "18."},
    {"num2sdec", 2, 2, 1, num2sdec,
     "num2sdec(q, x): the stored integers of the numbers x as signed decimal text."},
    {"base2num", 3, 3, 1, base2num, "base2num(q, text, base): the numbers whose bit patterns the text writes."},
};

}  // namespace

std::span<const Method> quantizerRadixMethods() { return kMethods; }

}  // namespace embedded::host
