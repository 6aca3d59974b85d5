#include "qfcore/fi/radixblocks.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>

#include "qfcore/fi/patterns.h"
#include "qfcore/fi/wideloops.h"
#include "qfcore/number/radix.h"

namespace embedded {

using tessel::HostArray;

namespace {

// ------------------------------------------------------------------------------------------------------- bases

/// Calls `visit` with the base as a number; the common ones are constants, by which dividing and multiplying is
/// cheap.
template <class Visit>
auto withBase(int base, Visit visit) {
  switch (base) {
    case 2: return visit(std::integral_constant<std::uint64_t, 2>());
    case 8: return visit(std::integral_constant<std::uint64_t, 8>());
    case 10: return visit(std::integral_constant<std::uint64_t, 10>());
    case 16: return visit(std::integral_constant<std::uint64_t, 16>());
    default: return visit(static_cast<std::uint64_t>(base));
  }
}

bool isPowerOfTwo(int base) { return std::has_single_bit(static_cast<unsigned>(base)); }
/// Of stored integers; those of built-in floating-point types have as many as the type.
constexpr int kMaxPatternBits = 52;

char digitText(std::uint64_t digit) { return static_cast<char>(digit < 10 ? '0' + digit : 'a' + (digit - 10)); }

// ----------------------------------------------------------------------------------------------------- writing

/// Writes neighbouring elements of a column: digit by digit where they are many, else one after the other.
template <class Base>
QFCORE_VECTORISED void writeDigits(std::uint64_t* patterns, std::size_t count, char* __restrict text,
                                   std::size_t rows, unsigned digits, Base base) {
  constexpr std::size_t kMany = 16;
  if (count < kMany) {
    for (std::size_t k = 0; k < count; ++k) {
      std::uint64_t rest = patterns[k];
      for (unsigned place = digits; place-- > 0; rest /= base) text[place * rows + k] = digitText(rest % base);
    }
    return;
  }
  for (unsigned place = digits; place-- > 0;) {
    for (std::size_t k = 0; k < count; ++k) {
      text[place * rows + k] = digitText(patterns[k] % base);
      patterns[k] /= base;
    }
  }
}

void writeInteger(std::int64_t stored, char* text, std::size_t rows, unsigned digits) {
  unsigned place = digits;
  auto rest = static_cast<std::uint64_t>(stored < 0 ? -stored : stored);
  do {
    text[--place * rows] = digitText(rest % 10);
    rest /= 10;
  } while (rest != 0);
  if (stored < 0) text[--place * rows] = '-';
}

/// The patterns of a built-in floating-point type; NaN has one.
template <class Float, class Word>
struct FloatPatterns {
  static std::uint64_t pattern(double value) {
    const Float x = value == value ? static_cast<Float>(value) : std::numeric_limits<Float>::quiet_NaN();
    return std::bit_cast<Word>(x);
  }
  static double value(std::uint64_t pattern) {
    const Float x = std::bit_cast<Float>(static_cast<Word>(pattern));
    return x == x ? static_cast<double>(x) : std::numeric_limits<double>::quiet_NaN();
  }
};
using DoublePatterns = FloatPatterns<double, std::uint64_t>;
using SinglePatterns = FloatPatterns<float, std::uint32_t>;

/// Calls `write(integers, count, text)` for neighbouring elements of a column, with what `convert` makes of
/// their values.
template <class Integer, class Convert, class Write>
void writeFields(const fi& x, const number& part, char* text, std::size_t width, Convert convert, Write write) {
  const std::size_t rows = x.rows();
  const double* values = valuesOf(x, part);
  std::array<Integer, kBlock> block;
  std::size_t row = 0;
  forEachBlock(x.numel(), [&](std::size_t first, std::size_t size) {
    transformValues(values + first, block.data(), size, convert);
    for (std::size_t k = 0, count; k < size; k += count) {
      count = std::min(size - k, rows - row);
      write(&block[k], count, text + row);
      row += count;
      if (row < rows) continue;
      row = 0;
      text += width * rows;
    }
  });
}

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

/// The first character of element k's field.
char* fieldOf(const fi& x, char* text, std::size_t width, std::size_t k) {
  return text + k / x.rows() * width * x.rows() + k % x.rows();
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

/// Calls `write(k, digits, how many, whether negative)` with the digits of each pattern, or of each magnitude.
template <bool OfMagnitudes, class Write>
void forEachDigits(const fi& x, const number& part, int base, Write write) {
  const int wordLength = x.getNumericType().wordLength(), exponent = x.getNumericType().fixedExponent();
  const WideOperand values(x, part);
  std::vector<std::uint64_t> pattern(limbCount(static_cast<unsigned>(wordLength)));
  std::vector<unsigned char> digits(pattern.size() * 64 + 1);
  for (unsigned k = 0; k < x.numel(); ++k) {
    wordPattern(pattern.data(), values[k], wordLength, exponent);
    const bool isNegative = OfMagnitudes && values[k].isNegative();
    if (isNegative) negatePattern(pattern, wordLength);
    write(k, digits.data(), digitsOfPattern(digits.data(), pattern.data(), pattern.size(), base), isNegative);
  }
}

// ----------------------------------------------------------------------------------------------------- reading

/// What characters mean: the value of a digit, or one of these.
constexpr unsigned char kDelimiter = 254, kInvalid = 255;

std::array<unsigned char, 256> meanings(int base, const char* delimiters) {
  std::array<unsigned char, 256> table;
  table.fill(kInvalid);
  for (int digit = 0; digit < base; ++digit) {
    const auto value = static_cast<unsigned char>(digit);
    const char lower = digitText(value);
    table[static_cast<unsigned char>(lower)] = value;
    if (digit >= 10) table[static_cast<unsigned char>(lower - 'a' + 'A')] = value;
  }
  for (const char* c = delimiters; *c; ++c) table[static_cast<unsigned char>(*c)] = kDelimiter;
  return table;
}

/// An unsigned integer with room for one digit more than `Bits` bits.
template <int Bits>
struct RoomFor {
  using Type = std::uint64_t;
};
template <>
struct RoomFor<64> {
  __extension__ using Type = unsigned __int128;
};

/// The patterns, of at most `Bits` bits, of one row of a char matrix.
template <int Bits, class Base>
class RowReader {
 public:
  RowReader(const HostArray& text, Base base, const std::array<unsigned char, 256>& meaning)
      : first_(text.real<char>()), rows_(text.dim(0)), columns_(text.dim(1)), base_(base), meaning_(meaning) {}

  /// Calls `take(pattern)` for each, while it is true. False where that is false, or the row has anything else.
  template <class Take>
  bool operator()(std::size_t row, Take take) const {
    const char* next = first_ + row;
    const char* const end = next + rows_ * columns_;
    for (;;) {
      unsigned char digit = kDelimiter;
      while (next != end && (digit = at(next)) == kDelimiter) next += rows_;
      if (next == end) return true;
      Room pattern = 0;
      for (; next != end && pattern <= kLargest && (digit = at(next)) < base_; next += rows_) {
        pattern = pattern * base_ + digit;
      }
      const bool endsToken = next == end || digit == kDelimiter;
      if (!endsToken || pattern > kLargest || !take(static_cast<std::uint64_t>(pattern))) return false;
    }
  }

 private:
  using Room = typename RoomFor<Bits>::Type;
  static constexpr Room kLargest = ~std::uint64_t{0} >> (64 - Bits);
  unsigned char at(const char* character) const { return meaning_[static_cast<unsigned char>(*character)]; }

  const char* first_;
  std::size_t rows_, columns_;
  Base base_;
  const std::array<unsigned char, 256>& meaning_;
};

// Not inlined: all widths and bases in one function make its loops a third slower.
template <int Bits, class Base>
[[gnu::noinline]] std::optional<PatternTable> readTable(const HostArray& text, Base base, bool isComplex,
                                                        const std::array<unsigned char, 256>& meaning) {
  const RowReader<Bits, Base> readRow(text, base, meaning);
  std::size_t tokens = 0;
  if (!readRow(0, [&](std::uint64_t) { return ++tokens > 0; }) || tokens == 0 ||
      (isComplex && tokens % 2 != 0)) {
    return std::nullopt;
  }
  PatternTable table{text.dim(0), isComplex ? tokens / 2 : tokens, isComplex, {}, {}};
  table.re.resize(table.rows * table.columns);
  if (isComplex) table.im.resize(table.re.size());
  for (std::size_t row = 0; row < table.rows; ++row) {
    std::size_t place = 0;
    const auto take = [&](std::uint64_t pattern) {
      if (place == tokens) return false;
      const std::size_t column = isComplex ? place / 2 : place;
      (isComplex && place % 2 != 0 ? table.im : table.re)[column * table.rows + row] = pattern;
      ++place;
      return true;
    };
    if (!readRow(row, take) || place != tokens) return std::nullopt;
  }
  return table;
}

/// Whether text has rows at all, and what may stand between its patterns.
bool hasRows(const HostArray& text) { return text.dims().size() <= 2 && !text.isEmpty(); }
bool isComplexText(const HostArray& text) {
  return std::memchr(text.real<char>(), 'i', text.numel()) != nullptr;
}
std::array<unsigned char, 256> meaningsIn(bool isComplex, int base) {
  return meanings(base, isComplex ? " \t,+i" : " \t,");
}

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
  bool isInside = false;
  for (std::size_t column = 0; column < text.dim(1); ++column) {
    const unsigned char digit = meaning[static_cast<unsigned char>(first[column * text.dim(0)])];
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

  std::size_t count() const { return count_; }
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

bool hasTextByBlocks(const fi& x) {
  const NumericType& type = x.getNumericType();
  return areDoubles(x) && (type.isFixed() || type.isFloat() || (type.isBoolean() && type.wordLength() == 1));
}

void writePatterns(const fi& x, const number& part, char* text, std::size_t width, unsigned digits, int base) {
  const auto write = [&](auto toPattern) {
    withBase(base, [&](auto number) {
      writeFields<std::uint64_t>(x, part, text, width, toPattern,
                                 [&](std::uint64_t* block, std::size_t count, char* fields) {
                                   writeDigits(block, count, fields, x.rows(), digits, number);
                                 });
    });
  };
  const NumericType& type = x.getNumericType();
  if (type.isDouble()) return write([](double value) { return DoublePatterns::pattern(value); });
  if (type.isSingle()) return write([](double value) { return SinglePatterns::pattern(value); });
  withPatterns(type, [&](auto patterns) {
    write([patterns](double value) { return static_cast<std::uint64_t>(patterns.pattern(value)); });
  });
}

void writeSigned(const fi& x, const number& part, char* text, std::size_t width, unsigned digits) {
  withPatterns(x.getNumericType(), [&](auto patterns) {
    writeFields<std::int64_t>(
        x, part, text, width, [patterns](double value) { return patterns.stored(value); },
        [&](const std::int64_t* block, std::size_t count, char* fields) {
          for (std::size_t k = 0; k < count; ++k) writeInteger(block[k], fields + k, x.rows(), digits);
        });
  });
}

bool hasWideText(const fi& x) { return areWide(x) && x.getNumericType().isFixed(); }

void writeWidePatterns(const fi& x, const number& part, char* text, std::size_t width, unsigned digits,
                       int base) {
  if (!isPowerOfTwo(base)) {
    return forEachDigits<false>(
        x, part, base, [&](unsigned k, const unsigned char* values, std::size_t count, bool) {
          char* next = fieldOf(x, text, width, k);
          for (std::size_t place = 0; place < digits; ++place, next += x.rows()) {
            *next = place + count < digits ? '0' : digitText(values[place + count - digits]);
          }
        });
  }
  const std::size_t rows = x.rows();
  const int exponent = x.getNumericType().fixedExponent();
  const WideOperand values(x, part);
  PatternBytes bytes(x.getNumericType().wordLength());
  for (std::size_t k = 0, count; k < x.numel(); k += count) {
    count = std::min(PatternBytes::kPatterns, rows - k % rows);
    for (std::size_t i = 0; i < count; ++i) bytes.take(i, values[static_cast<unsigned>(k + i)], exponent);
    writeDigitsOfBits(bytes.data(), count, fieldOf(x, text, width, k), rows, digits,
                      static_cast<unsigned>(std::countr_zero(static_cast<unsigned>(base))));
  }
}
void writeWideSigned(const fi& x, const number& part, char* text, std::size_t width, unsigned digits) {
  forEachDigits<true>(x, part, 10,
                      [&](unsigned k, const unsigned char* values, std::size_t count, bool isNegative) {
                        char* next = fieldOf(x, text, width, k) + digits * std::size_t{x.rows()};
                        const auto put = [&](char character) { *(next -= x.rows()) = character; };
                        for (std::size_t place = count; place-- > 0;) put(digitText(values[place]));
                        if (count == 0) put('0');
                        if (isNegative) put('-');
                      });
}

std::optional<PatternTable> readPatterns(const HostArray& text, int base, const NumericType& type) {
  if (!hasRows(text)) return std::nullopt;
  const bool isComplex = isComplexText(text);
  const auto meaning = meaningsIn(isComplex, base);
  return withBase(base, [&](auto number) {
    if (type.isDouble()) return readTable<64>(text, number, isComplex, meaning);
    if (type.isSingle()) return readTable<32>(text, number, isComplex, meaning);
    return readTable<kMaxPatternBits>(text, number, isComplex, meaning);
  });
}

std::optional<PatternTable> readWidePatterns(const HostArray& text, int base, int wordLength) {
  if (!hasRows(text)) return std::nullopt;
  const bool isComplex = isComplexText(text);
  const auto meaning = meaningsIn(isComplex, base);
  const std::vector<Field> fields = fieldsOf(text, meaning);
  if (fields.empty() || (isComplex && fields.size() % 2 != 0)) return std::nullopt;
  PatternBytes patterns(wordLength);
  const std::size_t rows = text.dim(0), step = isComplex ? 2 : 1, limbsEach = patterns.limbCount();
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
    for (; column < text.dim(1); ++column) {
      if (!block.areAll(column, kDelimiter)) return std::nullopt;
    }
  }
  return table;
}

bool valuesOfPatterns(const NumericType& type, const std::vector<std::uint64_t>& patterns, number& values) {
  const std::size_t limbsEach = limbCount(static_cast<unsigned>(type.wordLength()));
  mpnumber& wide = *values.multiprecision();
  for (unsigned k = 0; k < values.numel(); ++k) {
    if (!setFromWordPattern(wide.getmodifiableelement(k), &patterns[k * limbsEach], type.isSigned(),
                            type.wordLength(), type.fixedExponent()))
      return false;
  }
  return true;
}

void valuesOfPatterns(const NumericType& type, const std::vector<std::uint64_t>& patterns, double* values) {
  const auto convert = [&](auto toValue) {
    transformValues(patterns.data(), values, patterns.size(), toValue);
  };
  if (type.isDouble()) return convert([](std::uint64_t pattern) { return DoublePatterns::value(pattern); });
  if (type.isSingle()) return convert([](std::uint64_t pattern) { return SinglePatterns::value(pattern); });
  const double range = static_cast<double>(std::int64_t{1} << type.wordLength());
  const double half = type.isSigned() ? range / 2 : range;
  withPow2(type.fixedExponent(), [&](auto toValue, auto) {
    convert([=](std::uint64_t bits) {
      // A conversion of 64 bits would be one by one without the widest vectors.
      constexpr double kOffset = 0x1p52;
      const double pattern = std::bit_cast<double>(std::bit_cast<std::uint64_t>(kOffset) | bits) - kOffset;
      // Both at once: a branch would keep the loop from vectorising.
      const bool isNegative =
          static_cast<bool>(static_cast<int>(pattern >= half) & static_cast<int>(pattern < range));
      return toValue(pattern - (isNegative ? range : 0.0));
    });
  });
}

}  // namespace embedded
