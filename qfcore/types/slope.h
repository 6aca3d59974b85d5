/// A total slope and its two parts: slope = factor · 2^exponent.
#pragma once

#include <climits>
#include <cmath>

namespace EmbeddedTypeSystem {

struct SlopeParts {
  double factor;  ///< in [1, 2)
  int exponent;
};

/// True for the slopes that can be split: greater than 0 and finite.
inline bool isValidSlope(double slope) { return slope > 0 && std::isfinite(slope); }

/// Splits a valid slope, exactly. // 0.75 -> 1.5 · 2^-1
inline SlopeParts splitSlope(double slope) {
  int exponent = 0;
  const double mantissa = std::frexp(slope, &exponent);
  return {2 * mantissa, exponent - 1};
}

/// True for the factors that may be stored: 1 up to 2, 2 excluded. A NaN passes.
inline bool isValidSlopeAdjustmentFactor(double factor) { return !(factor < 1 || factor >= 2); }

/// The exponent of a fraction length, or the reverse; the one value without a negative goes to the nearest that
/// there is.
constexpr int negatedExponent(int exponent) { return exponent == INT_MIN ? INT_MAX : -exponent; }

}  // namespace EmbeddedTypeSystem
