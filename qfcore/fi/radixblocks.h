/// Patterns as text in a base, and back, in blocks, without a text an element: for values that are carried in
/// doubles, and for wider words.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "qfcore/fi/fi.h"

namespace embedded {

/// Whether the values of an array have patterns that are written and read in blocks: all that doubles carry.
bool hasTextByBlocks(const fi& x);

/// Writes `digits` characters an element into the char matrix of `x`, whose fields are `width` wide. `text` is
/// the first character of the first field. The rest is the caller's.
void writePatterns(const fi& x, const number& part, char* text, std::size_t width, unsigned digits, int base);
/// The same for stored integers with their sign, in decimal, right aligned.
void writeSigned(const fi& x, const number& part, char* text, std::size_t width, unsigned digits);

/// Whether those of wider words are: fixed-point ones.
bool hasWideText(const fi& x);

/// As `writePatterns` and `writeSigned`, for `hasWideText`.
void writeWidePatterns(const fi& x, const number& part, char* text, std::size_t width, unsigned digits,
                       int base);
void writeWideSigned(const fi& x, const number& part, char* text, std::size_t width, unsigned digits);

/// Patterns read from a char matrix, column by column; a wide one takes as many limbs as its word.
struct PatternTable {
  std::size_t rows, columns;
  bool isComplex;
  std::vector<std::uint64_t> re, im;
};

/// Reads a char matrix of which every row has the same number of patterns, of at most 52 bits each or those of
/// a built-in floating-point type. Any other text gives nothing.
std::optional<PatternTable> readPatterns(const tessel::HostArray& text, int base, const NumericType& type);
/// The same for patterns of at most `wordLength` bits, in as many limbs as these need, whose digits stand in the
/// same columns of every row.
std::optional<PatternTable> readWidePatterns(const tessel::HostArray& text, int base, int wordLength);

/// The values of a type whose words are the patterns. A pattern with more bits than the word is a number.
void valuesOfPatterns(const NumericType& type, const std::vector<std::uint64_t>& patterns, double* values);
/// The same of patterns of at most the word's bits, into as many multiprecision values made for the type. False
/// where its words are too long for limbs.
bool valuesOfPatterns(const NumericType& type, const std::vector<std::uint64_t>& patterns, number& values);

}  // namespace embedded
