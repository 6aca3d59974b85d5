/// How many bits a value needs, and which representation carries them.
#pragma once

#include <algorithm>

#include "qfcore/number/rounding.h"

// The same in a program and in the library that it links: a library built with another limit tells its
// programs.
#ifndef QFCORE_DOUBLE_PRECISION_LIMIT
#define QFCORE_DOUBLE_PRECISION_LIMIT 52
#endif

namespace embedded {

/// Largest precision in bits whose values are carried in doubles; from one bit more on they are multiprecision.
/// It is also the precision of a scalar made from a double.
/// Stored integers of 52 bits and their scalings by powers of two are exact in a double. Test builds lower it.
constexpr unsigned kMaxDoublePrecision = QFCORE_DOUBLE_PRECISION_LIMIT;

/// Whether doubles carry words of so many bits, `fractionBits` of them behind the point: they have the bits,
/// and step and range of the words are normal doubles, also of words that have been shifted out of themselves.
constexpr bool doublesCarry(long bits, long fractionBits) {
  constexpr long kShift = 52 + 2;
  return bits <= static_cast<long>(kMaxDoublePrecision) && isNormalPow2(-fractionBits - kShift) &&
         isNormalPow2(bits - fractionBits + kShift);
}

/// The precision that such words ask for: their bits, and more than doubles get where these do not carry them.
constexpr unsigned carryingPrecision(long bits, long fractionBits) {
  const auto precision = static_cast<unsigned>(bits);
  return doublesCarry(bits, fractionBits) ? precision : std::max(precision, kMaxDoublePrecision + 1);
}

/// Bits that hold every double.
constexpr unsigned kDoubleBits = 53;

/// MPFR precision of values made by construction with `precision` bits.
constexpr unsigned constructedBits(unsigned precision) { return std::max(precision + 1, 32U); }

/// MPFR precision of a value after `setprecision(precision)`. One bit more than `constructedBits` below 31.
constexpr unsigned setPrecisionBits(unsigned precision) { return std::max(precision, 32U) + 1; }

}  // namespace embedded
