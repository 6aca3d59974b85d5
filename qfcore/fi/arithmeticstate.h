/// What arithmetic keeps on the left operand between calls; made on first use.
#pragma once

#include <array>
#include <memory>
#include <optional>

#include "qfcore/fi/fi.h"
#include "qfcore/fi/scratch.h"

namespace embedded {

/// Constants of slope-bias sums for one pair of a right operand's and a result's type.
struct SlopeBiasFactors {
  NumericType left, right, result;
  double netBiasPlus = 0, netBiasMinus = 0;
  double leftFactor = 1, rightFactor = 1;
};

/// Constants of slope-bias products.
struct SlopeBiasTimes {
  double correction = 0, leftBias = 0, rightBias = 0;
};

/// An element's value on its way into another scaling, and the scratch array that takes it.
struct Adjustment {
  NumericType from, to;
  RealWorldScaling fromScaling, toScaling;
  fi room;
};

struct ArithmeticState {
  NumericType sumType, productType;
  std::optional<SlopeBiasFactors> slopeBias;
  SlopeBiasTimes slopeBiasTimes;
  std::unique_ptr<Adjustment> adjustment;
  /// What the registers of operations have recorded so far, part of the array's record; by `RegisterLog`.
  std::array<std::optional<qlogger>, kRegisterLogs> registerLogs;
  /// Of a product register: the register for sums of products.
  std::unique_ptr<fi> sumRegister;
};

/// The records of an operation's registers on their way to the result, if there is one, to the module's totals,
/// to the user, in one warning of overflows and one of underflows, and to the left operand's `registerLogs`.
/// What may fail is done at construction; unless it is completed nothing has changed.
class HeldArray::RegisterRecords {
 public:
  RegisterRecords(const HeldArray& left, HeldArray* result, const char* name,
                  std::initializer_list<FinishedRegister> registers);
  void complete() noexcept;

 private:
  RecordsKept kept_;
  ArithmeticState* left_ = nullptr;
  std::array<std::optional<qlogger>, kRegisterLogs> logs_;
};

}  // namespace embedded
