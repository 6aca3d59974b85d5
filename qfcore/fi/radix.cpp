/// Stored integers as text in a base, and back.
#include "qfcore/number/radix.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "qfcore/fi/assignmentlog.h"
#include "qfcore/fi/paths/blocks.h"
#include "qfcore/fi/paths/radixblocks.h"
#include "qfcore/fi/paths/wideradix.h"
#include "qfcore/fi/radixtext.h"

namespace embedded {

using tessel::HostArray;

namespace {

constexpr Message kNum2baseBadBase{"numforge:fi:num2base:BadBase",
                                   "fi::num2base base must be between 2 and 18 inclusive"};
constexpr Message kBadBase{"numforge:fi:base2num:BadBase",
                           "fi::base2num base must be between 2 and 18 inclusive"};
constexpr Message kNotCharArray{"numforge:fi:base2num:NotCharArray",
                                "fi::base2num input array not a character array"};
constexpr Message kEmptyInput{"numforge:fi:base2num:EmptyInput",
                              "fi::base2num input array contains no elements"};
constexpr Message kInvalidElement{"numforge:fi:base2num:InvalidElement",
                                  "Input array invalid at element (%d,%d)"};

/// A text taken apart, of which every row has the same number of values.
struct TokenTable : TextTokens {
  unsigned valuesEach = 0;

  unsigned tokensEach() const { return isComplex ? 2 * valuesEach : valuesEach; }
  const char* token(std::size_t row, std::size_t place) const {
    return place < rows[row].size() ? rows[row][place].c_str() : nullptr;
  }
};

[[noreturn]] void failInvalid(std::size_t row, std::size_t token) {
  fail<kInvalidElement>(static_cast<int>(row + 1), static_cast<int>(token + 1));
}

TokenTable base2numValidateAndInit(const HostArray& text, int base) {
  if (!isBase(base)) fail<kBadBase>();
  if (!text.isChar()) fail<kNotCharArray>();
  TokenTable table{tokensOf(text)};
  std::size_t count = 0;
  for (const auto& tokens : table.rows) count += tokens.size();
  if (count == 0) fail<kEmptyInput>();
  const std::size_t first = std::max<std::size_t>(table.rows[0].size(), 1);
  table.valuesEach = static_cast<unsigned>(table.isComplex ? (first + 1) / 2 : first);
  for (std::size_t row = 0; row < table.rows.size(); ++row) {
    const std::size_t tokens = std::max<std::size_t>(table.rows[row].size(), table.tokensEach());
    for (std::size_t place = 0; place < tokens; ++place) {
      const bool isExpected = place < table.tokensEach();
      if (!isExpected || !fi::base2numCheckElement(table.token(row, place), base)) failInvalid(row, place);
    }
  }
  return table;
}

std::string rightAligned(const std::string& text, unsigned width) {
  return std::string(width > text.size() ? width - text.size() : 0, ' ') + text;
}

FieldLayout layoutOf(const fi& x, unsigned digits) { return {digits, x.iscomplex(), 1}; }

/// Fields that `write(part, fields)` fills by blocks, `digits` characters a part.
template <class Write>
HostArray fieldsByBlocks(const fi& x, unsigned digits, Write write) {
  const FieldLayout layout = layoutOf(x, digits);
  HostArray result = emptyFields(x.rows(), x.cols(), layout);
  if (result.isEmpty()) return result;
  const std::size_t rows = x.rows();
  char* text = result.mutableReal<char>();
  write(x.realPart(), TextFields{text + layout.real() * rows, rows, layout.width(), digits});
  if (x.iscomplex())
    write(x.imagPart(), TextFields{text + layout.imaginary() * rows, rows, layout.width(), digits});
  return result;
}

/// Fields with the texts `textOf(part)` at the right of `digits` characters.
template <class TextOf>
HostArray textMatrix(const fi& x, unsigned digits, TextOf textOf) {
  const FieldLayout layout = layoutOf(x, digits);
  HostArray result = emptyFields(x.rows(), x.cols(), layout);
  if (result.isEmpty()) return result;
  char* characters = result.mutableReal<char>();
  const auto write = [&](const number& part, unsigned k, unsigned column) {
    const std::string text = rightAligned(textOf(part), digits);
    char* target = characters + (std::size_t{k / x.rows()} * layout.width() + column) * x.rows() + k % x.rows();
    for (const char character : text) {
      *target = character;
      target += x.rows();
    }
  };
  const number re(x.realPart(), Reading{}), im(x.imagPart(), Reading{});
  for (unsigned k = 0; k < x.numel(); ++k) {
    write(re[k], k, layout.real());
    if (x.iscomplex()) write(im[k], k, layout.imaginary());
  }
  return result;
}

}  // namespace

HostArray fi::num2base(int base) const {
  errorIfScaledDouble(*this, "num2base");
  if (!isBase(base)) fail<kNum2baseBadBase>();
  const quantizer& q = getAssignmentQuantizer();
  const auto digits = static_cast<unsigned>(radixDigits(q.wordLength(), base));
  if (takesBlocks(*this) && hasTextByBlocks(q)) {
    return fieldsByBlocks(*this, digits, [&](const number& part, const TextFields& fields) {
      writePatterns(q, valuesOf(*this, part), numel_, fields, base);
    });
  }
  if (hasWideText(*this)) {
    return fieldsByBlocks(*this, digits, [&](const number& part, const TextFields& fields) {
      writeWidePatterns(*this, part, fields, base);
    });
  }
  return textMatrix(*this, digits, [&](const number& part) { return q.num2base(part, base); });
}

HostArray fi::num2sdec() const {
  errorIfScaledDouble(*this, "num2sdec");
  const quantizer& q = getAssignmentQuantizer();
  const auto digits = static_cast<unsigned>(radixDigits(getNumericType().wordLength(), 10)) + 1;
  if (takesBlocks(*this) && hasTextByBlocks(q) && !q.isFloatingPoint()) {
    return fieldsByBlocks(*this, digits, [&](const number& part, const TextFields& fields) {
      writeSigned(q, valuesOf(*this, part), numel_, fields);
    });
  }
  if (hasWideText(*this)) {
    return fieldsByBlocks(*this, digits, [&](const number& part, const TextFields& fields) {
      writeWideSigned(*this, part, fields);
    });
  }
  return textMatrix(*this, digits, [&](const number& part) { return q.num2sdec(part); });
}

bool fi::base2numCheckElement(const char* token, int base) {
  if (!token) return false;
  const auto meaning = meaningsOfCharacters(base, false);
  return std::all_of(token, token + std::strlen(token),
                     [&](char digit) { return meaning[static_cast<unsigned char>(digit)] < base; });
}

/// False, and nothing done, for text that is not all patterns of the word's bits.
bool fi::base2numByBlocks(const HostArray& text, int base) {
  const quantizer& q = getAssignmentQuantizer();
  // Elements in more bits than their type takes give way to doubles.
  const bool isWide = hasWideText(*this) && precisionOf(getNumericType()) > kMaxDoublePrecision;
  if (!isWide && !(takesBlocks(*this) && hasTextByBlocks(q))) return false;
  const auto table = isWide ? readWidePatterns(text, base, q.wordLength()) : readPatterns(text, base, q);
  if (!table) return false;
  NumericType::errorIfComplexLogical(getNumericType().dataType(), table->isComplex);
  fi replaced = replacement({static_cast<unsigned>(table->rows), static_cast<unsigned>(table->columns)},
                            table->isComplex);
  const auto take = [&](const std::vector<std::uint64_t>& patterns, number& part) {
    if (isWide) return valuesOfPatterns(getNumericType(), patterns, part);
    valuesOfPatterns(q, patterns, part.doubles());
    return true;
  };
  // Of one length, the patterns of both parts can be taken, or those of neither.
  if (!take(table->re, replaced.realPart_)) return false;
  if (table->isComplex) take(table->im, replaced.imagPart_);
  // Of wide patterns, which are words of the type as they are, only the record needs a quantizer.
  replaceLogged(replaced, [&] {
    if (!isWide || getQlogger().isOn()) replaced.quantizeAll();
  });
  return true;
}

void fi::base2num(const HostArray& text, int base) {
  errorIfScaledDouble(*this, "base2num");
  if (isBase(base) && text.isChar() && base2numByBlocks(text, base)) return;
  const TokenTable table = base2numValidateAndInit(text, base);
  NumericType::errorIfComplexLogical(getNumericType().dataType(), table.isComplex);
  const auto rows = static_cast<unsigned>(table.rows.size());
  fi replaced = replacement({rows, table.valuesEach}, table.isComplex);
  const auto read = [&](number& part, unsigned row, unsigned place) {
    if (!replaced.assignmentQuantizerInUse_->base2num(part, table.token(row, place), base))
      failInvalid(row, place);
  };
  const unsigned step = table.isComplex ? 2 : 1;
  replaceLogged(replaced, [&] {
    for (unsigned column = 0; column < table.valuesEach; ++column) {
      for (unsigned row = 0; row < rows; ++row) {
        replaced.setIndex(column * rows + row);
        read(replaced.realPart_, row, step * column);
        if (table.isComplex) read(replaced.imagPart_, row, step * column + 1);
      }
    }
  });
}

}  // namespace embedded
