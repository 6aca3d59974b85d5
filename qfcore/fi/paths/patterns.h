/// Two's-complement patterns of stored integers that are carried in doubles.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "qfcore/fi/paths/elementwise.h"

namespace embedded {

/// Between the values of a type of up to 52 bits, their stored integers, and the patterns of these.
template <class ToValue, class ToStored>
struct Patterns {
  Patterns(bool isSigned, int wordLength, ToValue toItsValue, ToStored toItsStored)
      : mask((std::int64_t{1} << wordLength) - 1),
        sign(isSigned ? std::int64_t{1} << (wordLength - 1) : 0),
        toValue(toItsValue),
        toStored(toItsStored) {}

  /// To the nearest integer, as the bit operations of numbers take it.
  std::int64_t stored(double value) const {
    const double units = toStored(value);
    return static_cast<std::int64_t>(units + std::copysign(0.5, units));
  }
  std::int64_t pattern(double value) const { return stored(value) & mask; }
  double value(std::int64_t stored) const { return toValue(static_cast<double>(stored)); }
  /// The stored integer whose pattern the low bits are.
  std::int64_t fromPattern(std::int64_t bits) const { return ((bits & mask) ^ sign) - sign; }

  std::int64_t mask, sign;
  ToValue toValue;
  ToStored toStored;
};

/// Calls `visit` with the patterns of a type, which serve words of up to 52 bits.
template <class Visit>
void withPatterns(const NumericType& type, Visit visit) {
  constexpr int kMaxBits = 52;
  const int exponent = type.isFixedOrScaledDouble() ? type.fixedExponent() : 0;
  withPow2(exponent, [&](auto toValue, auto toStored) {
    visit(Patterns(type.isSigned(), std::min(type.wordLength(), kMaxBits), toValue, toStored));
  });
}

}  // namespace embedded
