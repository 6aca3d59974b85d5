/// Patterns as text in a base, and back, for values that are carried in doubles: in blocks, without a text an
/// element.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "qfcore/fi/fi.h"

namespace embedded {

/// Whether the values of a format have patterns that are written and read in blocks: all that doubles carry.
bool hasTextByBlocks(const quantizer& q);

/// Fields of a char matrix, one a value, column by column.
struct TextFields {
  char* text;  ///< the first character of the first field
  std::size_t rows, width;
  unsigned digits;  ///< characters that are written of each field; the others are the caller's

  /// The first character of field k.
  char* at(std::size_t k) const { return text + k / rows * width * rows + k % rows; }
};

/// Writes the patterns of values of the format.
void writePatterns(const quantizer& q, const double* values, std::size_t count, const TextFields& fields,
                   int base);
/// The same for stored integers with their sign, in decimal, right aligned. Not for floating-point formats.
void writeSigned(const quantizer& q, const double* values, std::size_t count, const TextFields& fields);

/// Patterns read from a char matrix, column by column.
struct PatternTable {
  std::size_t rows, columns;
  bool isComplex;
  std::vector<std::uint64_t> re, im;
};

/// Reads a char matrix of which every row has the same number of patterns: of at most 52 bits each, those of a
/// floating-point format of its word length. Any other text gives nothing.
std::optional<PatternTable> readPatterns(const tessel::HostArray& text, int base, const quantizer& q);

/// The values, not yet quantized, that the patterns stand for. One with more bits than a fixed-point word is a
/// number.
void valuesOfPatterns(const quantizer& q, const std::vector<std::uint64_t>& patterns, double* values);

}  // namespace embedded
