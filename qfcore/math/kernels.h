/// Array kernels of quantization: one executor, instantiated from small policies on one value.
///
/// A policy says what a value becomes and whether that was an overflow or an underflow; the rounding policies
/// come from qfcore/number/rounding.h. One element is an array of length one, so there is no second
/// implementation.
#pragma once

#include <cstddef>

#include "qfcore/logging/qlogger.h"
#include "qfcore/math/format.h"
#include "qfcore/math/modes.h"

namespace embedded {

/// Quantizes `count` contiguous values from `from` to `to`, which may be the same. Adds what it meets to
/// `tally`; null counts nothing.
using ArrayKernel = void (*)(const DoubleFormat& format, const double* from, double* to, std::size_t count,
                             Tally* tally);
/// Quantizes contiguous values into memory of their own, counting nothing, where it finds all of them to be
/// finite: zeros may change their sign. False otherwise, and where sums of them are not finite; what the values
/// have become means nothing then.
using FiniteKernel = bool (*)(const DoubleFormat& format, const double* from, double* to, std::size_t count);

/// The kernels of the modes, by rounding and overflow mode where they depend on them.
ArrayKernel fixedKernel(RoundModeEnum roundMode, OverflowModeEnum overflowMode);
FiniteKernel finiteFixedKernel(RoundModeEnum roundMode, OverflowModeEnum overflowMode);
ValueKernel fixedValueKernel(RoundModeEnum roundMode, OverflowModeEnum overflowMode);
ArrayKernel floatKernel(RoundModeEnum roundMode);
ArrayKernel doubleKernel();
ArrayKernel singleKernel();
ArrayKernel booleanKernel();
ArrayKernel scaledDoubleKernel();
ArrayKernel noneKernel();

}  // namespace embedded
