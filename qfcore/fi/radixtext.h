/// Char matrices of numbers in a base: what characters mean, which tokens they make, where they stand.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "tessel/array.h"

namespace embedded {

inline constexpr int kSmallestBase = 2, kLargestBase = 18;
inline constexpr bool isBase(double base) { return base >= kSmallestBase && base <= kLargestBase; }

inline char digitText(std::uint64_t digit) {
  return static_cast<char>(digit < 10 ? '0' + digit : 'a' + (digit - 10));
}

/// The meanings of characters that are no digits, of which the meaning is their value.
inline constexpr unsigned char kDelimiter = 254, kInvalid = 255;

/// The characters that part tokens; an "i" anywhere makes a text one of complex numbers, two tokens each.
inline const char* delimiters(bool isComplex) { return isComplex ? " \t,+i" : " \t,"; }

inline std::array<unsigned char, 256> meaningsOfCharacters(int base, bool isComplex) {
  std::array<unsigned char, 256> table;
  table.fill(kInvalid);
  for (int digit = 0; digit < base; ++digit) {
    const auto value = static_cast<unsigned char>(digit);
    const char lower = digitText(value);
    table[static_cast<unsigned char>(lower)] = value;
    if (digit >= 10) table[static_cast<unsigned char>(lower - 'a' + 'A')] = value;
  }
  for (const char* c = delimiters(isComplex); *c; ++c) table[static_cast<unsigned char>(*c)] = kDelimiter;
  return table;
}

/// Whether text has rows at all.
inline bool hasRows(const tessel::HostArray& text) { return text.dims().size() <= 2 && !text.isEmpty(); }
inline bool isComplexText(const tessel::HostArray& text) {
  return std::memchr(text.real<char>(), 'i', text.numel()) != nullptr;
}

/// The rows of a char matrix, taken apart.
struct TextTokens {
  std::vector<std::vector<std::string>> rows;
  bool isComplex;
};
/// What parts the tokens of a text of real numbers may be told.
TextTokens tokensOf(const tessel::HostArray& text, const char* realDelimiters = delimiters(false));

/// Blanks between two columns of numbers.
inline constexpr unsigned kColumnGap = 3;

/// Fields of numbers of `digits` characters a part, which complex ones write as "re + imi" after `lead` blanks.
struct FieldLayout {
  unsigned digits;
  bool isComplex;
  unsigned lead;

  /// With the gap that follows.
  unsigned width() const { return (isComplex ? lead + 2 * digits + 4 : digits) + kColumnGap; }
  /// The columns in a field at which the parts begin.
  unsigned real() const { return isComplex ? lead : 0; }
  unsigned imaginary() const { return lead + digits + 3; }
};

/// A char matrix of such fields, blank but for the "+" and "i" of complex ones.
tessel::HostArray emptyFields(std::size_t rows, std::size_t columns, const FieldLayout& layout);

}  // namespace embedded
