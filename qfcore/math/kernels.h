/// Array kernels of quantization: one executor, instantiated from small policies on one value.
///
/// A policy says what a value becomes and whether that was an overflow or an underflow; the rounding policies
/// come from qfcore/number/rounding.h. One element is an array of length one, so there is no second
/// implementation.
#pragma once

#include <cstddef>

#include "qfcore/logging/qlogger.h"
#include "qfcore/math/modes.h"
#include "qfcore/number/rounding.h"

namespace embedded {

/// The range of a fixed-point format, in stored integers.
struct IntegerRange {
  double max = 0, min = 0;
  double modulus = 1, inverseModulus = 1;  ///< 2^w and its reciprocal
};

/// The constants of a format that is carried in doubles. Fixed-point formats use all but the last three,
/// floating-point formats `max`, `min` and the last three.
struct DoubleFormat {
  GridFactors grid{0};       ///< 2^f and 2^(−f)
  bool factorsExist = true;  ///< both of them are normal doubles
  IntegerRange stored;
  int fractionLength = 0;  ///< f
  double eps = 0, max = 0, min = 0;
  double range = 0, inverseRange = 0;  ///< the wrap modulus 2^(w−f) and its reciprocal
  int fractionBits = 0;                ///< of a floating-point format
  int exponentMin = 0;
};

/// Quantizes `count` contiguous values from `from` to `to`, which may be the same. Adds what it meets to
/// `tally`; null counts nothing.
using ArrayKernel = void (*)(const DoubleFormat& format, const double* from, double* to, std::size_t count,
                             Tally* tally);

/// The kernels of the modes, by rounding and overflow mode where they depend on them.
ArrayKernel fixedKernel(RoundModeEnum roundMode, OverflowModeEnum overflowMode);
ArrayKernel floatKernel(RoundModeEnum roundMode);
ArrayKernel doubleKernel();
ArrayKernel singleKernel();
ArrayKernel booleanKernel();
ArrayKernel scaledDoubleKernel();
ArrayKernel noneKernel();

}  // namespace embedded
