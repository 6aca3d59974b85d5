/// How many bits a value needs, and which representation carries them.
#pragma once

#include <algorithm>

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

/// Bits that hold every double.
constexpr unsigned kDoubleBits = 53;

/// MPFR precision of values made by construction with `precision` bits.
constexpr unsigned constructedBits(unsigned precision) { return std::max(precision + 1, 32U); }

/// MPFR precision of a value after `setprecision(precision)`. One bit more than `constructedBits` below 31.
constexpr unsigned setPrecisionBits(unsigned precision) { return std::max(precision, 32U) + 1; }

}  // namespace embedded
