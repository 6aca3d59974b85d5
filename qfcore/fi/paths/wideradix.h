/// Stored integers of wide words as text in a base, and back, without a text or a big integer an element.
#pragma once

#include <optional>
#include <vector>

#include "qfcore/fi/paths/radixblocks.h"

namespace embedded {

/// Whether elements are written and read here: fixed-point ones that are multiprecision.
bool hasWideText(const fi& x);

/// As `writePatterns` and `writeSigned`, for `hasWideText`.
void writeWidePatterns(const fi& x, const number& part, const TextFields& fields, int base);
void writeWideSigned(const fi& x, const number& part, const TextFields& fields);

/// Reads a char matrix of which every row has the same number of patterns, of at most `wordLength` bits, in the
/// same columns. Each takes as many limbs as that word. Any other text gives nothing.
std::optional<PatternTable> readWidePatterns(const tessel::HostArray& text, int base, int wordLength);

/// The values of a type whose words are the patterns, into as many multiprecision values made for it. False
/// where its words are too long for limbs.
bool valuesOfPatterns(const NumericType& type, const std::vector<std::uint64_t>& patterns, number& values);

}  // namespace embedded
