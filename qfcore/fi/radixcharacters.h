/// What characters mean in a char matrix of patterns.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>

#include "tessel/array.h"

namespace embedded {

inline char digitText(std::uint64_t digit) {
  return static_cast<char>(digit < 10 ? '0' + digit : 'a' + (digit - 10));
}

/// The meanings of characters that are no digits, of which the meaning is their value.
inline constexpr unsigned char kDelimiter = 254, kInvalid = 255;

inline std::array<unsigned char, 256> meaningsOfCharacters(int base, bool isComplex) {
  std::array<unsigned char, 256> table;
  table.fill(kInvalid);
  for (int digit = 0; digit < base; ++digit) {
    const auto value = static_cast<unsigned char>(digit);
    const char lower = digitText(value);
    table[static_cast<unsigned char>(lower)] = value;
    if (digit >= 10) table[static_cast<unsigned char>(lower - 'a' + 'A')] = value;
  }
  for (const char* c = isComplex ? " \t,+i" : " \t,"; *c; ++c)
    table[static_cast<unsigned char>(*c)] = kDelimiter;
  return table;
}

/// Whether text has rows at all.
inline bool hasRows(const tessel::HostArray& text) { return text.dims().size() <= 2 && !text.isEmpty(); }
inline bool isComplexText(const tessel::HostArray& text) {
  return std::memchr(text.real<char>(), 'i', text.numel()) != nullptr;
}

}  // namespace embedded
