/// Stored integers as text in a base, and back, for words that are carried in doubles: in blocks, without a
/// text an element.
#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "qfcore/fi/fi.h"

namespace embedded {

/// Whether the values of an array are written and read in blocks: fixed-point ones carried in doubles.
bool hasTextByBlocks(const fi& x);

/// Writes `digits` characters an element into the char matrix of `x`, whose fields are `width` wide. `text` is
/// the first character of the first field. The rest is the caller's.
void writePatterns(const fi& x, const number& part, char* text, std::size_t width, unsigned digits, int base);
/// The same for stored integers with their sign, in decimal, right aligned.
void writeSigned(const fi& x, const number& part, char* text, std::size_t width, unsigned digits);

/// Patterns read from a char matrix, column by column.
struct PatternTable {
  std::size_t rows, columns;
  bool isComplex;
  std::vector<double> re, im;
};

/// Reads a char matrix of which every row has the same number of patterns, of at most 52 bits each. Any other
/// text gives nothing.
std::optional<PatternTable> readPatterns(const tessel::HostArray& text, int base);

/// The values of a type whose words are the patterns. A pattern with more bits than the word is a number.
void valuesOfPatterns(const NumericType& type, const std::vector<double>& patterns, double* values);

}  // namespace embedded
