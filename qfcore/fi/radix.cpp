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

namespace embedded {

using tessel::ArrayClass;
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

constexpr int kLargestBase = 18;
/// By base, the largest digit.
constexpr char kLowerDigits[] = "xx123456789abcdefgh";
constexpr char kUpperDigits[] = "xx123456789ABCDEFGH";

constexpr unsigned kColumnGap = 3;

bool isBase(int base) { return base >= 2 && base <= kLargestBase; }

std::vector<std::string> tokensOf(const std::string& text, const char* delimiters) {
  std::vector<std::string> tokens;
  for (std::size_t begin = 0; (begin = text.find_first_not_of(delimiters, begin)) != std::string::npos;) {
    const std::size_t end = std::min(text.find_first_of(delimiters, begin), text.size());
    tokens.push_back(text.substr(begin, end - begin));
    begin = end;
  }
  return tokens;
}

/// A text taken apart: rows of tokens, two a value where it is complex.
struct TokenTable {
  std::vector<std::vector<std::string>> rows;
  bool isComplex = false;
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
  const std::vector<std::string> lines = text.isEmpty() ? std::vector<std::string>() : text.textRows();
  TokenTable table;
  table.isComplex = std::any_of(lines.begin(), lines.end(),
                                [](const std::string& line) { return line.find('i') != std::string::npos; });
  std::size_t count = 0;
  for (const std::string& line : lines) {
    table.rows.push_back(tokensOf(line, table.isComplex ? " \t,+i" : " \t,"));
    count += table.rows.back().size();
  }
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

/// A blank char matrix with a field of `width` characters an element, `kColumnGap` of them the gap that
/// follows.
HostArray blankFields(const fi& x, unsigned width) {
  const std::size_t columns = x.cols() == 0 ? 0 : std::size_t{x.cols()} * width - kColumnGap;
  HostArray result = HostArray::unset(ArrayClass::Char, {x.rows(), columns});
  if (!result.isEmpty()) std::fill_n(result.mutableReal<char>(), result.numel(), ' ');
  return result;
}

unsigned fieldWidth(const fi& x, unsigned digits) {
  return x.isreal() ? digits + kColumnGap : 2 * digits + 5 + kColumnGap;
}

/// Fields that `write(part, fields)` fills by blocks, `digits` characters a part; complex ones as
/// " re + imi".
template <class Write>
HostArray fieldsByBlocks(const fi& x, unsigned digits, Write write) {
  const unsigned width = fieldWidth(x, digits);
  HostArray result = blankFields(x, width);
  if (result.isEmpty()) return result;
  const std::size_t rows = x.rows();
  char* text = result.mutableReal<char>();
  if (x.isreal()) {
    write(x.realPart(), TextFields{text, rows, width, digits});
    return result;
  }
  write(x.realPart(), TextFields{text + rows, rows, width, digits});
  write(x.imagPart(), TextFields{text + (digits + 4) * rows, rows, width, digits});
  for (unsigned column = 0; column < x.cols(); ++column, text += width * rows) {
    std::fill_n(text + (digits + 2) * rows, rows, '+');
    std::fill_n(text + (2 * digits + 4) * rows, rows, 'i');
  }
  return result;
}

}  // namespace

/// Fields with the texts `textOf(part)` of real values, at the right of `digits` characters; of complex ones
/// those of both parts, as " re + imi".
template <class TextOf>
HostArray fi::textMatrix(unsigned digits, TextOf textOf) const {
  const unsigned width = fieldWidth(*this, digits);
  const auto aligned = [&](const number& part) { return rightAligned(textOf(part), digits); };
  HostArray result = blankFields(*this, width);
  if (result.isEmpty()) return result;
  char* characters = result.mutableReal<char>();
  for (unsigned k = 0; k < numel_; ++k) {
    setIndex(k);
    std::string text = aligned(realPart_);
    if (iscomplex()) text = " " + text + " + " + aligned(imagPart_) + "i";
    char* target = characters + std::size_t{k / rows_} * width * rows_ + k % rows_;
    for (const char character : text) {
      *target = character;
      target += rows_;
    }
  }
  return result;
}

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
  return textMatrix(digits, [&](const number& part) { return q.num2base(part, base); });
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
  return textMatrix(digits, [&](const number& part) { return q.num2sdec(part); });
}

bool fi::base2numCheckElement(const char* token, int base) {
  if (!token) return false;
  return std::all_of(token, token + std::strlen(token), [base](char digit) {
    if (base <= 10) return digit >= '0' && digit <= kLowerDigits[base];
    return (digit >= '0' && digit <= '9') || (digit >= 'a' && digit <= kLowerDigits[base]) ||
           (digit >= 'A' && digit <= kUpperDigits[base]);
  });
}

/// False, and nothing done, for text that is not all patterns of the word's bits.
bool fi::base2numByBlocks(const HostArray& text, int base) {
  const quantizer& q = getAssignmentQuantizer();
  const bool isWide = hasWideText(*this);
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
  if (!take(table->re, replaced.realPart_) || (table->isComplex && !take(table->im, replaced.imagPart_)))
    return false;
  // Of wide patterns, which are words of the type as they are, only the record needs a quantizer.
  if (!isWide || getQlogger().isOn()) replaced.assignLogged(kAssignment, [&] { replaced.quantizeAll(); });
  replaceElements(std::move(replaced));
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
  replaced.assignLogged(kAssignment, [&] {
    for (unsigned column = 0; column < table.valuesEach; ++column) {
      for (unsigned row = 0; row < rows; ++row) {
        replaced.setIndex(column * rows + row);
        read(replaced.realPart_, row, step * column);
        if (table.isComplex) read(replaced.imagPart_, row, step * column + 1);
      }
    }
  });
  replaceElements(std::move(replaced));
}

}  // namespace embedded
