#include "qfcore/fi/radixblocks.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
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
        pattern_(limbCount(static_cast<unsigned>(wordLength))),
        bytes_((pattern_.size() * sizeof pattern_[0] + 1) * kPatterns) {}

  void take(std::size_t k, const MpFloat& value, int exponent) {
    wordPattern(pattern_.data(), value, wordLength_, exponent);
    unsigned char* to = bytes_.data() + k;
    for (std::uint64_t limb : pattern_) {
      for (unsigned byte = 0; byte < sizeof limb; ++byte, limb >>= 8, to += kPatterns) {
        *to = static_cast<unsigned char>(limb);
      }
    }
  }
  const unsigned char* data() const { return bytes_.data(); }

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

/// A pattern of up to 52 bits, read digit by digit.
class ShortPattern {
 public:
  using Element = double;

  void clear() { pattern_ = 0; }
  // One digit more than 52 bits does not leave 64.
  bool hasRoom() const { return pattern_ < kTooLarge; }
  template <class Base>
  void add(Base base, unsigned char digit) {
    pattern_ = pattern_ * base + digit;
  }
  std::size_t size() const { return 1; }
  bool store(double* element) const {
    *element = static_cast<double>(pattern_);
    return hasRoom();
  }

 private:
  static constexpr std::uint64_t kTooLarge = std::uint64_t{1} << 52;
  std::uint64_t pattern_ = 0;
};

/// A pattern of a longer word whose digits are bits.
class LongPattern {
 public:
  using Element = std::uint64_t;

  LongPattern(int wordLength, int base)
      : wordLength_(static_cast<unsigned>(wordLength)),
        bitsPerDigit_(static_cast<unsigned>(std::countr_zero(static_cast<unsigned>(base)))) {}

  void clear() { digits_.clear(); }
  bool hasRoom() const { return true; }
  template <class Base>
  void add(Base, unsigned char digit) {
    digits_.push_back(digit);
  }
  std::size_t size() const { return limbCount(wordLength_); }
  /// False where the pattern has more bits than the word.
  bool store(std::uint64_t* limbs) const {
    constexpr unsigned kLimbBits = 64;
    std::fill_n(limbs, size(), 0);
    unsigned bit = 0;
    for (std::size_t i = digits_.size(); i-- > 0; bit += bitsPerDigit_) {
      const std::uint64_t digit = digits_[i];
      const unsigned end = bit + static_cast<unsigned>(std::bit_width(digit));
      if (digit == 0) continue;
      if (end > wordLength_) return false;
      limbs[bit / kLimbBits] |= digit << bit % kLimbBits;
      if (end > (bit / kLimbBits + 1) * kLimbBits)
        limbs[bit / kLimbBits + 1] |= digit >> (kLimbBits - bit % kLimbBits);
    }
    return true;
  }

 private:
  unsigned wordLength_, bitsPerDigit_;
  std::vector<unsigned char> digits_;
};

/// The patterns of one row of a char matrix.
template <class Base>
class RowReader {
 public:
  RowReader(const HostArray& text, Base base, const std::array<unsigned char, 256>& meaning)
      : first_(text.real<char>()), rows_(text.dim(0)), columns_(text.dim(1)), base_(base), meaning_(meaning) {}

  /// Calls `take()` after each that `pattern` has become, while it is true. False where that is false, or the
  /// row has anything else.
  template <class Pattern, class Take>
  bool operator()(std::size_t row, Pattern& pattern, Take take) const {
    const char* next = first_ + row;
    const char* const end = next + rows_ * columns_;
    for (;;) {
      unsigned char digit = kDelimiter;
      while (next != end && (digit = at(next)) == kDelimiter) next += rows_;
      if (next == end) return true;
      pattern.clear();
      for (; next != end && pattern.hasRoom() && (digit = at(next)) < base_; next += rows_) {
        pattern.add(base_, digit);
      }
      const bool endsToken = next == end || digit == kDelimiter;
      if (!endsToken || !take()) return false;
    }
  }

 private:
  unsigned char at(const char* character) const { return meaning_[static_cast<unsigned char>(*character)]; }

  const char* first_;
  std::size_t rows_, columns_;
  Base base_;
  const std::array<unsigned char, 256>& meaning_;
};

template <class Pattern, class Base>
std::optional<PatternTable<typename Pattern::Element>> readTable(
    const HostArray& text, Pattern pattern, Base base, bool isComplex,
    const std::array<unsigned char, 256>& meaning) {
  const RowReader<Base> readRow(text, base, meaning);
  std::size_t tokens = 0;
  if (!readRow(0, pattern, [&] { return ++tokens > 0; }) || tokens == 0 || (isComplex && tokens % 2 != 0)) {
    return std::nullopt;
  }
  PatternTable<typename Pattern::Element> table{
      text.dim(0), isComplex ? tokens / 2 : tokens, isComplex, {}, {}};
  table.re.resize(table.rows * table.columns * pattern.size());
  if (isComplex) table.im.resize(table.re.size());
  for (std::size_t row = 0; row < table.rows; ++row) {
    std::size_t place = 0;
    const auto take = [&] {
      if (place == tokens) return false;
      const std::size_t column = isComplex ? place / 2 : place;
      auto& part = isComplex && place % 2 != 0 ? table.im : table.re;
      ++place;
      return pattern.store(&part[(column * table.rows + row) * pattern.size()]);
    };
    if (!readRow(row, pattern, take) || place != tokens) return std::nullopt;
  }
  return table;
}

/// Calls `read(meanings of characters, whether the values are complex)` for text that has rows.
template <class Read>
auto withMeanings(const HostArray& text, int base, Read read)
    -> decltype(read(std::array<unsigned char, 256>(), true)) {
  if (text.dims().size() > 2 || text.isEmpty()) return std::nullopt;
  const bool isComplex = std::memchr(text.real<char>(), 'i', text.numel()) != nullptr;
  return read(meanings(base, isComplex ? " \t,+i" : " \t,"), isComplex);
}

}  // namespace

bool hasTextByBlocks(const fi& x) { return areDoubles(x) && x.getNumericType().isFixed(); }

void writePatterns(const fi& x, const number& part, char* text, std::size_t width, unsigned digits, int base) {
  withPatterns(x.getNumericType(), [&](auto patterns) {
    withBase(base, [&](auto number) {
      writeFields<std::uint64_t>(
          x, part, text, width,
          [patterns](double value) { return static_cast<std::uint64_t>(patterns.pattern(value)); },
          [&](std::uint64_t* block, std::size_t count, char* fields) {
            writeDigits(block, count, fields, x.rows(), digits, number);
          });
    });
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

bool hasDigitsOfBits(const fi& x, int base) {
  return areWide(x) && x.getNumericType().isFixed() && std::has_single_bit(static_cast<unsigned>(base));
}

void writeWidePatterns(const fi& x, const number& part, char* text, std::size_t width, unsigned digits,
                       int base) {
  const std::size_t rows = x.rows();
  const int exponent = x.getNumericType().fixedExponent();
  const WideOperand values(x, part);
  PatternBytes bytes(x.getNumericType().wordLength());
  for (std::size_t k = 0, count; k < x.numel(); k += count) {
    count = std::min(PatternBytes::kPatterns, rows - k % rows);
    for (std::size_t i = 0; i < count; ++i) bytes.take(i, values[static_cast<unsigned>(k + i)], exponent);
    writeDigitsOfBits(bytes.data(), count, text + k / rows * width * rows + k % rows, rows, digits,
                      static_cast<unsigned>(std::countr_zero(static_cast<unsigned>(base))));
  }
}

std::optional<PatternTable<double>> readPatterns(const HostArray& text, int base) {
  return withMeanings(text, base, [&](const auto& meaning, bool isComplex) {
    return withBase(base,
                    [&](auto number) { return readTable(text, ShortPattern(), number, isComplex, meaning); });
  });
}

std::optional<PatternTable<std::uint64_t>> readWidePatterns(const HostArray& text, int base, int wordLength) {
  return withMeanings(text, base, [&](const auto& meaning, bool isComplex) {
    return readTable(text, LongPattern(wordLength, base), base, isComplex, meaning);
  });
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

void valuesOfPatterns(const NumericType& type, const std::vector<double>& patterns, double* values) {
  const double range = static_cast<double>(std::int64_t{1} << type.wordLength());
  const double half = type.isSigned() ? range / 2 : range;
  withPow2(type.fixedExponent(), [&](auto toValue, auto) {
    transformValues(patterns.data(), values, patterns.size(), [=](double pattern) {
      // Both at once: a branch would keep the loop from vectorising.
      const bool isNegative =
          static_cast<bool>(static_cast<int>(pattern >= half) & static_cast<int>(pattern < range));
      return toValue(pattern - (isNegative ? range : 0.0));
    });
  });
}

}  // namespace embedded
