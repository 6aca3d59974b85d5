/// What arithmetic keeps on the left operand between calls; made on first use.
#pragma once

#include <memory>
#include <optional>

#include "qfcore/fi/fi.h"

namespace embedded {

/// Constants of slope-bias sums for one pair of a right operand's and a result's type.
struct SlopeBiasFactors {
  NumericType left, right, result;
  double netBiasPlus = 0, netBiasMinus = 0;
  double leftFactor = 1, rightFactor = 1;
};

struct ArithmeticState {
  NumericType sumType, productType;
  std::optional<SlopeBiasFactors> slopeBias;
  /// Registers of the operations logged so far; their loggers are part of the array's record.
  std::unique_ptr<fi> sumRegister, productRegister, productSumRegister;
};

}  // namespace embedded
