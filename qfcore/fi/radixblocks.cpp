#include "qfcore/fi/radixblocks.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "qfcore/fi/patterns.h"

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

/// The patterns of one row of a char matrix.
template <class Base>
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
      std::uint64_t pattern = 0;
      // One digit more than 52 bits does not leave 64.
      for (; next != end && pattern < kTooLarge && (digit = at(next)) < base_; next += rows_) {
        pattern = pattern * base_ + digit;
      }
      const bool endsToken = next == end || digit == kDelimiter;
      if (!endsToken || pattern >= kTooLarge || !take(static_cast<double>(pattern))) return false;
    }
  }

 private:
  static constexpr std::uint64_t kTooLarge = std::uint64_t{1} << 52;
  unsigned char at(const char* character) const { return meaning_[static_cast<unsigned char>(*character)]; }

  const char* first_;
  std::size_t rows_, columns_;
  Base base_;
  const std::array<unsigned char, 256>& meaning_;
};

template <class Base>
std::optional<PatternTable> readTable(const HostArray& text, Base base, bool isComplex,
                                      const std::array<unsigned char, 256>& meaning) {
  const RowReader<Base> readRow(text, base, meaning);
  std::size_t tokens = 0;
  if (!readRow(0, [&](double) { return ++tokens > 0; }) || tokens == 0 || (isComplex && tokens % 2 != 0)) {
    return std::nullopt;
  }
  PatternTable table{text.dim(0), isComplex ? tokens / 2 : tokens, isComplex, {}, {}};
  table.re.resize(table.rows * table.columns);
  if (isComplex) table.im.resize(table.re.size());
  for (std::size_t row = 0; row < table.rows; ++row) {
    std::size_t place = 0;
    const auto take = [&](double pattern) {
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

std::optional<PatternTable> readPatterns(const HostArray& text, int base) {
  if (text.dims().size() > 2 || text.isEmpty()) return std::nullopt;
  const bool isComplex = std::memchr(text.real<char>(), 'i', text.numel()) != nullptr;
  const auto meaning = meanings(base, isComplex ? " \t,+i" : " \t,");
  return withBase(base, [&](auto number) { return readTable(text, number, isComplex, meaning); });
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
