/// The kernels by mode.
#pragma once

#include "qfcore/math/kernels.h"
#include "qfcore/math/quantizerrules.h"
#include "qfcore/math/widekernels.h"

namespace embedded {

/// The kernels of one mode: for contiguous doubles and for a single number of either kind.
struct Kernel {
  ArrayKernel array;
  FiniteKernel finite;  ///< null where there is none
  WideKernel wide;
  WideRounding rounding;
  OverflowModeEnum overflowMode;
};

/// Of every combination there is one.
const Kernel& kernelFor(QuantizerModeEnum mode, RoundModeEnum roundMode, OverflowModeEnum overflowMode);

}  // namespace embedded
