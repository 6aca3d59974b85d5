/// Stored integers and floating-point patterns as digits of a base, and back.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "qfcore/number/errors.h"

namespace embedded {

class MpFloat;
class MpInteger;

/// Digits that a pattern of `wordLength` bits takes in `base` (2 to 18): ceil(wordLength * ln 2 / ln base).
QFCORE_API int radixDigits(int wordLength, int base);

/// `pattern`, not negative, in `base` with lower-case digits, padded with zeros on the left to `digits`.
std::string patternText(const MpInteger& pattern, int base, int digits);
std::string patternText(unsigned long long pattern, int base, int digits);

/// Reads digits of `base` in either case. False when `text` is empty or holds anything else.
bool readPattern(MpInteger& pattern, const char* text, int base);

/// `stored` = value * 2^-exponent, rounded half away from zero; 0 for a value that is not finite.
void storedInteger(MpInteger& stored, const MpFloat& value, int exponent);

/// The same, truncated toward zero.
void truncatedInteger(MpInteger& stored, const MpFloat& value, long exponent);

/// The stored integer's two's-complement pattern: 2^wordLength is added to that of a negative value.
void convertToUnsignedInteger(MpInteger& pattern, const MpFloat& value, int exponent,
                              const MpFloat& twoToWordLength);

/// The two's-complement pattern of value * 2^-exponent, rounded half away from zero, in as many 64-bit limbs as
/// `wordLength` bits take, the least significant first.
void wordPattern(std::uint64_t* pattern, const MpFloat& value, int wordLength, int exponent);

/// Gives `value` the value whose pattern that is. False, and `value` as it was, where it has too few bits, or
/// the word is longer than stored integers on limbs.
bool setFromWordPattern(MpFloat& value, const std::uint64_t* pattern, bool isSigned, int wordLength,
                        int exponent);

/// The digits of a pattern in `base`, most significant first and without leading zeros: none for 0. Returns how
/// many. There must be room for those of as many limbs, and one more; the limbs are lost.
std::size_t digitsOfPattern(unsigned char* digits, std::uint64_t* pattern, std::size_t limbs, int base);

/// The inverse, for any digits. The pattern has room for one limb more than `wordLength` bits take. False where
/// the digits write more bits.
bool patternOfDigits(std::uint64_t* pattern, const unsigned char* digits, std::size_t count, int base,
                     int wordLength);

/// A floating-point format: sign, exponent of `exponentLength` bits with bias 2^(exponentLength-1) - 1, and
/// wordLength - exponentLength - 1 fraction bits; denormal values, infinities and NaN as in IEEE 754.
struct FloatFormat {
  int wordLength;
  int exponentLength;
  int fractionLength() const { return wordLength - exponentLength - 1; }
  /// Bias, and exponent of the smallest normal value. Without exponent bits all patterns are denormal.
  long bias() const { return exponentLength > 0 ? (1L << (exponentLength - 1)) - 1 : 0; }
  long minExponent() const { return 1 - bias(); }

  /// The pattern of `value`, rounded to nearest, ties to even; too large values are infinite.
  void encode(MpInteger& pattern, const MpFloat& value) const;
  /// The value of a pattern of at most wordLength bits; `value` takes the bits that it needs.
  void decode(MpFloat& value, const MpInteger& pattern) const;
};

}  // namespace embedded
