/// Stored integers as text in a base, and back, in blocks, without a text an element: for words that are
/// carried in doubles, and for wider ones in bases of whole bits.
#pragma once

#include <cstddef>
#include <cstdint>
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

/// Whether those of wider words are: fixed-point ones.
bool hasWideText(const fi& x);

/// As `writePatterns` and `writeSigned`, for `hasWideText`.
void writeWidePatterns(const fi& x, const number& part, char* text, std::size_t width, unsigned digits,
                       int base);
void writeWideSigned(const fi& x, const number& part, char* text, std::size_t width, unsigned digits);

/// Patterns read from a char matrix, column by column: doubles, or as many limbs a pattern as its word takes.
template <class Element>
struct PatternTable {
  std::size_t rows, columns;
  bool isComplex;
  std::vector<Element> re, im;
};

/// Reads a char matrix of which every row has the same number of patterns, of at most 52 bits each. Any other
/// text gives nothing.
std::optional<PatternTable<double>> readPatterns(const tessel::HostArray& text, int base);
/// The same for patterns of at most `wordLength` bits in a base that is a power of two, whose digits stand in
/// the same columns of every row.
std::optional<PatternTable<std::uint64_t>> readWidePatterns(const tessel::HostArray& text, int base,
                                                            int wordLength);

/// The values of a type whose words are the patterns. A pattern with more bits than the word is a number.
void valuesOfPatterns(const NumericType& type, const std::vector<double>& patterns, double* values);
/// The same of patterns of at most the word's bits, into as many multiprecision values made for the type. False
/// where its words are too long for limbs.
bool valuesOfPatterns(const NumericType& type, const std::vector<std::uint64_t>& patterns, number& values);

}  // namespace embedded
