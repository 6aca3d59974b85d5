#include "qfcore/fi/paths/radixblocks.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <type_traits>

#include "qfcore/fi/paths/patterns.h"
#include "qfcore/fi/radixtext.h"

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

/// Bits of stored integers; patterns of floating-point formats have up to 64.
constexpr int kMaxStoredBits = 52;

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

/// The patterns of other floating-point formats whose values doubles hold.
struct CustomPatterns {
  explicit CustomPatterns(const quantizer& q)
      : wordLength(q.wordLength()),
        exponentLength(q.exponentLength()),
        fractionBits(q.fractionLength()),
        least(q.exponentLength() > 0 ? q.exponentMin() : 1) {}

  std::uint64_t pattern(double value) const {
    if (std::isnan(value)) return infinity() | (fractionBits > 0 ? std::uint64_t{1} << (fractionBits - 1) : 0);
    const std::uint64_t sign = std::uint64_t{std::signbit(value)} << (wordLength - 1);
    if (std::isinf(value)) return infinity() | sign;
    if (value == 0) return sign;
    // The significand with its leading bit, added to the exponent field less one, carries into it by itself.
    const int exponent = std::max(std::ilogb(value), least);
    const auto significand = static_cast<std::uint64_t>(std::ldexp(std::abs(value), fractionBits - exponent));
    return ((static_cast<std::uint64_t>(exponent - least) << fractionBits) + significand) | sign;
  }
  double value(std::uint64_t pattern) const {
    const std::uint64_t leading = std::uint64_t{1} << fractionBits,
                        magnitude = pattern & ~(~std::uint64_t{0} << (wordLength - 1));
    const std::uint64_t fraction = magnitude & (leading - 1);
    const int field = static_cast<int>(magnitude >> fractionBits);
    const bool isNegative = (pattern >> (wordLength - 1) & 1) != 0;
    double value = std::ldexp(static_cast<double>(fraction), least - fractionBits);
    if (exponentLength > 0 && magnitude >= infinity()) {
      if (fraction != 0) return std::numeric_limits<double>::quiet_NaN();
      value = std::numeric_limits<double>::infinity();
    } else if (field > 0) {
      value = std::ldexp(static_cast<double>(fraction | leading), field - 1 + least - fractionBits);
    }
    return isNegative ? -value : value;
  }
  std::uint64_t infinity() const { return ((std::uint64_t{1} << exponentLength) - 1) << fractionBits; }

  int wordLength, exponentLength, fractionBits;
  int least;  ///< the exponent of the smallest normal value
};

/// Calls `write(integers, count, text)` for neighbouring elements of a column, with what `convert` makes of
/// their values.
template <class Integer, class Convert, class Write>
void writeFields(const double* values, std::size_t valueCount, const TextFields& fields, Convert convert,
                 Write write) {
  shareLoop(valueCount, kSharedIntegers, [&](std::size_t begin, std::size_t length) {
    std::array<Integer, kBlock> block;
    std::size_t row = begin % fields.rows;
    char* text = fields.at(begin - row);
    forEachBlock(length, [&](std::size_t offset, std::size_t size) {
      transformValues(values + begin + offset, block.data(), size, convert);
      for (std::size_t k = 0, count; k < size; k += count) {
        count = std::min(size - k, fields.rows - row);
        write(&block[k], count, text + row);
        row += count;
        if (row < fields.rows) continue;
        row = 0;
        text += fields.width * fields.rows;
      }
    });
  });
}

// ----------------------------------------------------------------------------------------------------- reading

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

}  // namespace

bool hasTextByBlocks(const quantizer& q) {
  if (elementPathOnly() || !q.isDoubleBacked()) return false;
  switch (q.mode()) {
    case QuantizerModeEnum::boolean: return q.numericType().wordLength() == 1;
    case QuantizerModeEnum::floatMode: return q.exponentLength() < q.wordLength();
    case QuantizerModeEnum::fixed:
    case QuantizerModeEnum::ufixed:
      // Doubles must hold what any pattern that is read stands for, before it is brought into range.
      return isNormalPow2(kMaxStoredBits - q.fractionLength());
    case QuantizerModeEnum::doubleMode:
    case QuantizerModeEnum::singleMode: return true;
    default: return false;
  }
}

void writePatterns(const quantizer& q, const double* values, std::size_t count, const TextFields& fields,
                   int base) {
  const auto write = [&](auto toPattern) {
    withBase(base, [&](auto number) {
      writeFields<std::uint64_t>(values, count, fields, toPattern,
                                 [&](std::uint64_t* block, std::size_t size, char* text) {
                                   writeDigits(block, size, text, fields.rows, fields.digits, number);
                                 });
    });
  };
  switch (q.mode()) {
    case QuantizerModeEnum::doubleMode:
      return write([](double value) { return DoublePatterns::pattern(value); });
    case QuantizerModeEnum::singleMode:
      return write([](double value) { return SinglePatterns::pattern(value); });
    case QuantizerModeEnum::floatMode:
      return write([patterns = CustomPatterns(q)](double value) { return patterns.pattern(value); });
    default: break;
  }
  withPatterns(q.numericType(), [&](auto patterns) {
    write([patterns](double value) { return static_cast<std::uint64_t>(patterns.pattern(value)); });
  });
}

void writeSigned(const quantizer& q, const double* values, std::size_t count, const TextFields& fields) {
  withPatterns(q.numericType(), [&](auto patterns) {
    writeFields<std::int64_t>(
        values, count, fields, [patterns](double value) { return patterns.stored(value); },
        [&](const std::int64_t* block, std::size_t size, char* text) {
          for (std::size_t k = 0; k < size; ++k) writeInteger(block[k], text + k, fields.rows, fields.digits);
        });
  });
}

std::optional<PatternTable> readPatterns(const HostArray& text, int base, const quantizer& q) {
  if (!hasRows(text)) return std::nullopt;
  const bool isComplex = isComplexText(text);
  const auto meaning = meaningsOfCharacters(base, isComplex);
  const bool isFloat = q.isFloatingPoint(), isLong = isFloat && q.wordLength() > kMaxStoredBits;
  auto table = withBase(base, [&](auto number) {
    return isLong ? readTable<64>(text, number, isComplex, meaning)
                  : readTable<kMaxStoredBits>(text, number, isComplex, meaning);
  });
  const auto isTooLong = [excess = isFloat ? 64 - q.wordLength() : 0](std::uint64_t pattern) {
    return (pattern << excess >> excess) != pattern;
  };
  const auto anyTooLong = [&](const auto& patterns) {
    return anyOf(patterns.data(), patterns.size(), isTooLong);
  };
  if (table && (anyTooLong(table->re) || anyTooLong(table->im))) return std::nullopt;
  return table;
}

void valuesOfPatterns(const quantizer& q, const std::vector<std::uint64_t>& patterns, double* values) {
  const auto convert = [&](auto toValue) {
    transformValues(patterns.data(), values, patterns.size(), toValue);
  };
  switch (q.mode()) {
    case QuantizerModeEnum::doubleMode:
      return convert([](std::uint64_t pattern) { return DoublePatterns::value(pattern); });
    case QuantizerModeEnum::singleMode:
      return convert([](std::uint64_t pattern) { return SinglePatterns::value(pattern); });
    case QuantizerModeEnum::floatMode:
      return convert([custom = CustomPatterns(q)](std::uint64_t pattern) { return custom.value(pattern); });
    default: break;
  }
  const NumericType& type = q.numericType();
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
