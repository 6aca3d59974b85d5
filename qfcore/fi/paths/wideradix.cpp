#include "qfcore/fi/paths/wideradix.h"

#include <algorithm>
#include <array>
#include <bit>

#include "qfcore/fi/paths/wideloops.h"
#include "qfcore/fi/radixtext.h"
#include "qfcore/number/radix.h"
#include "qfcore/number/vectorised.h"

namespace embedded {

using tessel::HostArray;

namespace {

bool isPowerOfTwo(int base) { return std::has_single_bit(static_cast<unsigned>(base)); }

// ----------------------------------------------------------------------------------------------------- writing

/// Bytes of patterns side by side, the least significant ones first, `kPatterns` of each place.
class PatternBytes {
 public:
  static constexpr std::size_t kPatterns = 64;

  explicit PatternBytes(int wordLength)
      : wordLength_(wordLength),
        pattern_(embedded::limbCount(static_cast<unsigned>(wordLength))),
        bytes_((pattern_.size() * sizeof pattern_[0] + 1) * kPatterns) {}

  std::size_t limbCount() const { return pattern_.size(); }
  unsigned char* data() { return bytes_.data(); }
  void clear() { std::fill(bytes_.begin(), bytes_.end(), static_cast<unsigned char>(0)); }

  void take(std::size_t k, const MpFloat& value, int exponent) {
    wordPattern(pattern_.data(), value, wordLength_, exponent);
    unsigned char* to = bytes_.data() + k;
    for (std::uint64_t limb : pattern_) {
      for (unsigned byte = 0; byte < sizeof limb; ++byte, limb >>= 8, to += kPatterns) {
        *to = static_cast<unsigned char>(limb);
      }
    }
  }

  /// The limbs of pattern `k`. False where it has more bits than the word.
  bool get(std::size_t k, std::uint64_t* pattern) const {
    const unsigned char* from = bytes_.data() + k;
    for (std::size_t i = 0; i < limbCount(); ++i) {
      pattern[i] = 0;
      for (unsigned shift = 0; shift < 64; shift += 8, from += kPatterns) {
        pattern[i] |= std::uint64_t{*from} << shift;
      }
    }
    return *from == 0 && (wordLength_ % 64 == 0 || pattern[limbCount() - 1] >> wordLength_ % 64 == 0);
  }

 private:
  int wordLength_;
  std::vector<std::uint64_t> pattern_;
  std::vector<unsigned char> bytes_;  // one more place, for digits that begin in the last
};

/// The same as `writeDigits` from the bytes of patterns, where a digit is a number of whole bits.
QFCORE_VECTORISED void writeDigitsOfBits(const unsigned char* bytes, std::size_t count, char* __restrict text,
                                         std::size_t rows, unsigned digits, unsigned bitsPerDigit) {
  constexpr std::size_t kMany = 8;
  const auto mask = static_cast<std::uint16_t>((1U << bitsPerDigit) - 1);
  const auto digitAt = [=](std::size_t k, unsigned bit) {
    const unsigned char* low = bytes + bit / 8 * PatternBytes::kPatterns + k;
    const auto both = static_cast<std::uint16_t>(low[0] | low[PatternBytes::kPatterns] << 8);
    const auto digit = static_cast<std::uint16_t>(both >> bit % 8 & mask);
    return static_cast<char>(digit + (digit < 10 ? '0' : 'a' - 10));
  };
  for (std::size_t k = 0; k < count && count < kMany; ++k) {
    for (unsigned place = 0; place < digits; ++place) {
      text[place * rows + k] = digitAt(k, (digits - 1 - place) * bitsPerDigit);
    }
  }
  if (count < kMany) return;
  for (unsigned place = 0; place < digits; ++place) {
    for (std::size_t k = 0; k < count; ++k) {
      text[place * rows + k] = digitAt(k, (digits - 1 - place) * bitsPerDigit);
    }
  }
}

/// Takes the two's complement in `wordLength` bits.
void negatePattern(std::vector<std::uint64_t>& pattern, int wordLength) {
  bool carry = true;
  for (std::uint64_t& limb : pattern) {
    limb = ~limb + static_cast<std::uint64_t>(carry);
    carry = carry && limb == 0;
  }
  if (wordLength % 64 != 0) pattern.back() &= (std::uint64_t{1} << wordLength % 64) - 1;
}

/// Calls `write(k, digits, how many, whether negative)` with the digits of each pattern, or of each magnitude;
/// on several threads for different elements.
template <bool OfMagnitudes, class Write>
void forEachDigits(const fi& x, const number& part, int base, Write write) {
  const int wordLength = x.getNumericType().wordLength(), exponent = x.getNumericType().fixedExponent();
  const WideOperand values(x, part);
  shareLoop(x.numel(), kSharedWide, [&](std::size_t first, std::size_t size) {
    std::vector<std::uint64_t> pattern(limbCount(static_cast<unsigned>(wordLength)));
    std::vector<unsigned char> digits(pattern.size() * 64 + 1);
    for (std::size_t k = first; k < first + size; ++k) {
      wordPattern(pattern.data(), values[k], wordLength, exponent);
      const bool isNegative = OfMagnitudes && values[k].isNegative();
      if (isNegative) negatePattern(pattern, wordLength);
      write(k, digits.data(), digitsOfPattern(digits.data(), pattern.data(), pattern.size(), base), isNegative);
    }
  });
}

// ----------------------------------------------------------------------------------------------------- reading

/// Takes a column of digits in, whose lowest bits stand at `bit`. False where some are none of the base.
QFCORE_VECTORISED bool readDigitsOfBits(unsigned char* __restrict bytes, const char* text, std::size_t count,
                                        int base, unsigned bit) {
  unsigned char* low = bytes + bit / 8 * PatternBytes::kPatterns;
  unsigned char* high = low + PatternBytes::kPatterns;
  unsigned char invalid = 0;
  for (std::size_t k = 0; k < count; ++k) {
    const auto character = static_cast<unsigned char>(text[k]);
    const auto decimal = static_cast<unsigned char>(character - '0');
    const auto letter = static_cast<unsigned char>((character | ('a' ^ 'A')) - 'a');
    const auto above = static_cast<unsigned char>(letter < 6 ? letter + 10 : 255);
    const unsigned char digit = decimal < 10 ? decimal : above;
    invalid |= static_cast<unsigned char>(digit >= base);
    const auto both = static_cast<std::uint16_t>(digit << bit % 8);
    low[k] |= static_cast<unsigned char>(both);
    high[k] |= static_cast<unsigned char>(both >> 8);
  }
  return invalid == 0;
}

/// Columns of a char matrix that hold a digit of a pattern in every row.
struct Field {
  std::size_t firstColumn, digits;
};

/// The fields of text whose first row stands for all rows; none where that row has anything else.
std::vector<Field> fieldsOf(const HostArray& text, const std::array<unsigned char, 256>& meaning) {
  std::vector<Field> fields;
  const char* first = text.real<char>();
  const std::size_t rows = text.dim(0), columns = text.dim(1);
  bool isInside = false;
  for (std::size_t column = 0; column < columns; ++column) {
    const unsigned char digit = meaning[static_cast<unsigned char>(first[column * rows])];
    if (digit == kInvalid) return {};
    if (digit != kDelimiter && !isInside) fields.push_back({column, 0});
    isInside = digit != kDelimiter;
    if (isInside) ++fields.back().digits;
  }
  return fields;
}

/// Some rows of a char matrix.
class RowBlock {
 public:
  RowBlock(const HostArray& text, std::size_t first, const std::array<unsigned char, 256>& meaning)
      : text_(text.real<char>() + first),
        rows_(text.dim(0)),
        count_(std::min(PatternBytes::kPatterns, rows_ - first)),
        meaning_(meaning) {}

  unsigned char at(std::size_t k, std::size_t column) const {
    return meaning_[static_cast<unsigned char>(text_[column * rows_ + k])];
  }
  bool areAll(std::size_t column, unsigned char what) const {
    for (std::size_t k = 0; k < count_; ++k) {
      if (at(k, column) != what) return false;
    }
    return true;
  }

  /// The patterns of a field in a base that is a power of two. False where one has more than `wordLength` bits,
  /// or the field another character; so below.
  bool readBits(const Field& field, int base, int wordLength, PatternBytes& patterns,
                std::uint64_t* limbs) const {
    const auto bitsPerDigit = static_cast<unsigned>(std::countr_zero(static_cast<unsigned>(base)));
    patterns.clear();
    for (std::size_t i = 0; i < field.digits; ++i) {
      const std::size_t column = field.firstColumn + i, bit = (field.digits - 1 - i) * bitsPerDigit;
      const bool isRead = bit < static_cast<std::size_t>(wordLength)
                              ? readDigitsOfBits(patterns.data(), text_ + column * rows_, count_, base,
                                                 static_cast<unsigned>(bit))
                              : areAll(column, 0);
      if (!isRead) return false;
    }
    for (std::size_t k = 0; k < count_; ++k) {
      if (!patterns.get(k, limbs + k * patterns.limbCount())) return false;
    }
    return true;
  }

  /// The same in any base.
  bool readDigits(const Field& field, int base, int wordLength, std::uint64_t* limbs) const {
    const std::size_t limbsEach = limbCount(static_cast<unsigned>(wordLength));
    std::vector<unsigned char> digits(field.digits);
    std::vector<std::uint64_t> pattern(limbsEach + 1);
    for (std::size_t k = 0; k < count_; ++k) {
      for (std::size_t i = 0; i < field.digits; ++i) {
        digits[i] = at(k, field.firstColumn + i);
        if (digits[i] >= base) return false;
      }
      if (!patternOfDigits(pattern.data(), digits.data(), digits.size(), base, wordLength)) return false;
      std::copy_n(pattern.begin(), limbsEach, limbs + k * limbsEach);
    }
    return true;
  }

 private:
  const char* text_;
  std::size_t rows_, count_;
  const std::array<unsigned char, 256>& meaning_;
};

}  // namespace

bool hasWideText(const fi& x) {
  return x.getNumericType().isFixed() &&
         choosePath({.hasBlocks = false, .wideLoops = WideLoops::OfWide}, x) == Path::Wide;
}

void writeWidePatterns(const fi& x, const number& part, const TextFields& fields, int base) {
  if (!isPowerOfTwo(base)) {
    return forEachDigits<false>(
        x, part, base, [&](std::size_t k, const unsigned char* values, std::size_t count, bool) {
          char* next = fields.at(k);
          for (std::size_t place = 0; place < fields.digits; ++place, next += fields.rows) {
            *next = place + count < fields.digits ? '0' : digitText(values[place + count - fields.digits]);
          }
        });
  }
  const int exponent = x.getNumericType().fixedExponent();
  const WideOperand values(x, part);
  const auto bitsEach = static_cast<unsigned>(std::countr_zero(static_cast<unsigned>(base)));
  shareLoop(x.numel(), kSharedWide, [&](std::size_t begin, std::size_t length) {
    PatternBytes bytes(x.getNumericType().wordLength());
    for (std::size_t k = begin, count; k < begin + length; k += count) {
      count = std::min({PatternBytes::kPatterns, fields.rows - k % fields.rows, begin + length - k});
      for (std::size_t i = 0; i < count; ++i) bytes.take(i, values[k + i], exponent);
      writeDigitsOfBits(bytes.data(), count, fields.at(k), fields.rows, fields.digits, bitsEach);
    }
  });
}
void writeWideSigned(const fi& x, const number& part, const TextFields& fields) {
  forEachDigits<true>(x, part, 10,
                      [&](std::size_t k, const unsigned char* values, std::size_t count, bool isNegative) {
                        char* next = fields.at(k) + fields.digits * fields.rows;
                        const auto put = [&](char character) { *(next -= fields.rows) = character; };
                        for (std::size_t place = count; place-- > 0;) put(digitText(values[place]));
                        if (count == 0) put('0');
                        if (isNegative) put('-');
                      });
}

std::optional<PatternTable> readWidePatterns(const HostArray& text, int base, int wordLength) {
  if (!hasRows(text)) return std::nullopt;
  const bool isComplex = isComplexText(text);
  const auto meaning = meaningsOfCharacters(base, isComplex);
  const std::vector<Field> fields = fieldsOf(text, meaning);
  if (fields.empty() || (isComplex && fields.size() % 2 != 0)) return std::nullopt;
  PatternBytes patterns(wordLength);
  const std::size_t rows = text.dim(0), columns = text.dim(1), step = isComplex ? 2 : 1,
                    limbsEach = patterns.limbCount();
  PatternTable table{rows, fields.size() / step, isComplex, {}, {}};
  table.re.resize(rows * table.columns * limbsEach);
  if (isComplex) table.im.resize(table.re.size());
  for (std::size_t row = 0; row < rows; row += PatternBytes::kPatterns) {
    const RowBlock block(text, row, meaning);
    std::size_t column = 0;
    for (std::size_t place = 0; place < fields.size(); ++place) {
      const Field& field = fields[place];
      for (; column < field.firstColumn; ++column) {
        if (!block.areAll(column, kDelimiter)) return std::nullopt;
      }
      column += field.digits;
      auto& part = isComplex && place % 2 != 0 ? table.im : table.re;
      std::uint64_t* limbs = &part[(place / step * rows + row) * limbsEach];
      const bool isRead = isPowerOfTwo(base) ? block.readBits(field, base, wordLength, patterns, limbs)
                                             : block.readDigits(field, base, wordLength, limbs);
      if (!isRead) return std::nullopt;
    }
    for (; column < columns; ++column) {
      if (!block.areAll(column, kDelimiter)) return std::nullopt;
    }
  }
  return table;
}

bool valuesOfPatterns(const NumericType& type, const std::vector<std::uint64_t>& patterns, number& values) {
  const std::size_t limbsEach = limbCount(static_cast<unsigned>(type.wordLength()));
  mpnumber* const wide = values.multiprecision();  // none of no values
  for (unsigned k = 0; k < values.numel(); ++k) {
    if (!setFromWordPattern(wide->getmodifiableelement(k), &patterns[k * limbsEach], type.isSigned(),
                            type.wordLength(), type.fixedExponent()))
      return false;
  }
  return true;
}

}  // namespace embedded
