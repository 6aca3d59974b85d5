#include "qfcore/fi/quantizertext.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "qfcore/fi/paths/blocks.h"
#include "qfcore/fi/paths/radixblocks.h"
#include "qfcore/fi/radixtext.h"
#include "qfcore/number/radix.h"

namespace embedded {

using tessel::HostArray;

namespace {

constexpr Message kNotDouble{"numforge:quantizer:num2base:notdouble",
                             "Value to convert must be a double array."};
constexpr Message kEmptyInput{"numforge:quantizer:base2num:EmptyInput", "The text contains no numbers."};
constexpr Message kInvalidElement{"numforge:quantizer:base2num:InvalidElement",
                                  "Input array invalid at element (%d,%d)"};

/// One row of text for each row of `values`, further dimensions side by side. A value is quantized first;
/// `textOf` makes its text, real and imaginary parts joined as "re + imi", right-aligned to the longest.
template <class TextOf>
HostArray textMatrix(const quantizer& q, const HostArray& values, TextOf textOf) {
  if (values.arrayClass() != tessel::ArrayClass::Double) fail<kNotDouble>();
  const quantizer uncounted(q);  // NOLINT(performance-unnecessary-copy-initialization): the copy counts, not q
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
    line += std::string((i < lines.size() ? 0 : kColumnGap) + width - texts[i].size(), ' ') + texts[i];
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
  const quantizer uncounted(q);  // NOLINT(performance-unnecessary-copy-initialization): the copy counts, not q
  HostArray quantized = values;
  // A Boolean has one bit, whatever word length the quantizer keeps for other modes.
  const int bits = q.isFloatingPoint() ? q.wordLength() : q.numericType().wordLength();
  const FieldLayout layout{static_cast<unsigned>(radixDigits(bits, base)), values.isComplex(), 0};
  const std::size_t rows = values.dim(0);
  HostArray result = emptyFields(rows, values.numel() / rows, layout);
  char* const text = result.mutableReal<char>();
  const auto writePart = [&](double* part, unsigned firstColumn) {
    uncounted.quantize(part, values.numel());
    writePatterns(q, part, values.numel(), {text + firstColumn * rows, rows, layout.width(), layout.digits},
                  base);
  };
  writePart(quantized.mutableReal<double>(), layout.real());
  if (values.isComplex()) writePart(quantized.mutableImag<double>(), layout.imaginary());
  return result;
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

}  // namespace

number carrierOf(const quantizer& q, double value) {
  if (q.isDoubleBacked()) return number(value, kMaxDoublePrecision, false);
  return number(value, std::max(q.constantPrecision(), kDoubleBits) + 1, true);
}

HostArray num2base(const quantizer& q, const HostArray& values, int base) {
  if (isByBlocks(q, values)) return patternMatrix(q, values, base);
  return textMatrix(q, values, [&](const number& value) { return q.num2base(value, base); });
}

HostArray num2sdec(const quantizer& q, const HostArray& values) {
  return textMatrix(q, values, [&](const number& value) { return q.num2sdec(value); });
}

HostArray base2num(const quantizer& q, const HostArray& text, int base) {
  const quantizer uncounted(q);  // NOLINT(performance-unnecessary-copy-initialization): the copy counts, not q
  if (hasTextByBlocks(uncounted)) {
    if (const auto table = readPatterns(text, base, uncounted)) return valuesOf(*table, uncounted);
  }
  // A "+" parts real numbers as well.
  const auto [rows, isComplex] = tokensOf(text, delimiters(true));
  const std::size_t parts = isComplex ? 2 : 1;
  if (rows.empty() || rows[0].empty()) fail<kEmptyInput>();
  HostArray values = HostArray::zeros(tessel::ArrayClass::Double,
                                      {rows.size(), (rows[0].size() + parts - 1) / parts}, isComplex);
  for (std::size_t row = 0; row < rows.size(); ++row) {
    const std::vector<std::string>& tokens = rows[row];
    const std::size_t expected = parts * values.dim(1);
    for (std::size_t k = 0; k < std::max(expected, tokens.size()); ++k) {
      number value = carrierOf(uncounted, 0);
      if (k >= expected || k >= tokens.size() || !uncounted.base2num(value, tokens[k].c_str(), base)) {
        fail<kInvalidElement>(static_cast<int>(row + 1), static_cast<int>(k + 1));
      }
      double* target = k % parts == 0 ? values.mutableReal<double>() : values.mutableImag<double>();
      target[k / parts * rows.size() + row] = value.todouble();
    }
  }
  return values;
}

}  // namespace embedded
