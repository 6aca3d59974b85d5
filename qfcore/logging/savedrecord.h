/// A log record in plain numbers, which files and other languages can keep.
#pragma once

#include <cstddef>
#include <vector>

#include "qfcore/logging/qlogger.h"

namespace embedded {

struct SavedRecord {
  /// A value of any precision: the sum of `parts`, times 2^exponent.
  struct Extreme {
    int exponent = 0;
    std::vector<double> parts;
  };

  std::size_t overflows = 0, underflows = 0, operations = 0, mathOperations = 0;
  unsigned precision = 0;  ///< of the extremes
  Extreme max, min;        ///< held values

  bool isEmpty() const { return operations == 0 && mathOperations == 0 && overflows == 0; }
};

/// Counts and extremes; call stacks are left out.
QFCORE_API SavedRecord savedRecord(const qlogger& logger);
/// Gives a logger this record in place of its own; what it tells counts as reported.
QFCORE_API void restoreRecord(const qlogger& logger, const SavedRecord& saved);

}  // namespace embedded
