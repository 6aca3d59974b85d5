/// The constants of a number format that is carried in doubles.
#pragma once

#include "qfcore/number/rounding.h"

namespace embedded {

/// The range of a fixed-point format, in stored integers.
struct IntegerRange {
  double max, min;
  double inverseModulus;  ///< 2^-w
  double maxTurns;        ///< max / 2^w
};

/// The constants of a format that is carried in doubles. Floating-point formats use `eps`, `max`, `min` and the
/// last two, which no other format uses; `greatest` and `least` are for modes without a grid.
struct DoubleFormat {
  GridFactors grid;  ///< 2^f and 2^(−f)
  IntegerRange stored;
  int fractionLength;  ///< f
  double eps, max, min;
  double greatest, least;      ///< of the doubles in the range: `max` is rounded where none holds it
  double range, inverseRange;  ///< the wrap modulus 2^(w−f) and its reciprocal
  int fractionBits;            ///< of a floating-point format
  int exponentMin;
};

/// What one value becomes in a format, where nothing is counted.
using ValueKernel = double (*)(const DoubleFormat& format, double value);

}  // namespace embedded
