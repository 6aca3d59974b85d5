/// Operations between two bodies that may be of different kinds, on their current elements.
#pragma once

#include <string>

#include "qfcore/number/numberrepbody.h"

namespace embedded {

/// No operation quantizes. A mixed operation is computed at the precision of its multiprecision operand, and
/// its result takes the kind of the left operand: a double operand is first made multiprecision at that
/// precision, and a result for a double body is rounded to double. Two doubles are native double arithmetic and
/// allocate nothing.
class QFCORE_API numberops {
 public:
  numberops() = delete;

  /// a = b. Exact between multiprecision bodies: an element of `a` whose bits do not hold the value takes the
  /// precision of b's element until it is set again.
  static void setvalue(numberrepbody& a, const numberrepbody& b);
  static void plusequals(numberrepbody& a, const numberrepbody& b);
  static void minusequals(numberrepbody& a, const numberrepbody& b);
  static void timesequals(numberrepbody& a, const numberrepbody& b);
  static void divideequals(numberrepbody& a, const numberrepbody& b);
  /// a = mod(a, b), the remainder with the sign of b; `a` unchanged when b is zero.
  static void mod(numberrepbody& a, const numberrepbody& b);
  /// r = hypot(a, b); NaN when either is NaN. A double `r` of a multiprecision operand is rounded from the
  /// widest multiprecision operand's precision.
  static void hypot(numberrepbody& r, const numberrepbody& a, const numberrepbody& b);

  // Comparisons with NaN are false, except `notequal`.
  static bool equal(const numberrepbody& a, const numberrepbody& b);
  static bool notequal(const numberrepbody& a, const numberrepbody& b);
  static bool lessthan(const numberrepbody& a, const numberrepbody& b);
  static bool lessthanorequal(const numberrepbody& a, const numberrepbody& b);
  static bool greaterthan(const numberrepbody& a, const numberrepbody& b);
  static bool greaterthanorequal(const numberrepbody& a, const numberrepbody& b);

  // The stored integer a * 2^fractionLength, truncated toward zero, as a native integer: its low bits where it
  // is too large. For double bodies the forms up to 32 bits go through a 32-bit signed integer (`fixed2uint32`
  // through 64 bits), which is the most negative one for a value out of its range.
  static signed char fixed2int8(const numberrepbody& a, int wordLength, int fractionLength);
  static short fixed2int16(const numberrepbody& a, int wordLength, int fractionLength);
  static int fixed2int32(const numberrepbody& a, int wordLength, int fractionLength);
  static long long fixed2int64(const numberrepbody& a, int wordLength, int fractionLength);
  static unsigned char fixed2uint8(const numberrepbody& a, int wordLength, int fractionLength);
  static unsigned short fixed2uint16(const numberrepbody& a, int wordLength, int fractionLength);
  static unsigned fixed2uint32(const numberrepbody& a, int wordLength, int fractionLength);
  static unsigned long long fixed2uint64(const numberrepbody& a, int wordLength, int fractionLength);

  /// Writes the two's-complement pattern of the stored integer, in exactly `wordLength` bits, into `wordCount`
  /// little-endian 32-bit words; words and bits beyond the pattern are 0.
  static void fixed2IntArray(const numberrepbody& a, unsigned* words, int wordCount, int wordLength,
                             double slope, int exponent, double bias, const MpFloat& twoToWordLength);

  // Radix text, bases 2 to 18, digits in lower case. Formats are told in radix.h.

  /// The stored integer's two's-complement pattern in `radixDigits(wordLength, base)` digits.
  static std::string fixed2base(const numberrepbody& a, int base, bool isSigned, int wordLength, double slope,
                                int exponent, double bias);
  /// Reads such a pattern. Digits may have either case; a pattern that is longer than the word counts as the
  /// positive integer that it writes. False, and nothing changed, when `text` holds anything but digits of the
  /// base.
  static bool base2fixed(numberrepbody& a, const char* text, int base, bool isSigned, int wordLength,
                         double slope, int exponent, double bias);
  /// The stored integer as signed decimal text, without padding.
  static std::string fixed2sdec(const numberrepbody& a, bool isSigned, int wordLength, double slope,
                                int exponent, double bias);
  /// The value with so many decimals, rounded to nearest where they do not hold it; 0 without a sign.
  static std::string decimalText(const numberrepbody& a, int decimals);
  /// Bits behind the binary point that the value needs, and decimals; 0 for integers and what is not finite.
  static int fractionBits(const numberrepbody& a);
  /// The bit pattern sign, exponent, fraction of a floating-point format of `wordLength` bits, of which
  /// `exponentLength` are the exponent's. Values between those of the format are rounded to nearest, ties to
  /// even.
  static std::string float2base(const numberrepbody& a, int base, int wordLength, int exponentLength);
  /// Reads such a pattern. False, and nothing changed, when `text` is no pattern of the format.
  static bool base2float(numberrepbody& a, const char* text, int base, int wordLength, int exponentLength);
};

}  // namespace embedded
