#include "qfcore/logging/savedrecord.h"

#include <cmath>

namespace embedded {

namespace {

SavedRecord::Extreme partsOf(number value) {
  SavedRecord::Extreme extreme;
  if (!std::isfinite(value.todouble()) && value.gettype() == kDoubleRepresentation) {
    extreme.parts.push_back(value.todouble());  // what a floating-point format met
    return extreme;
  }
  extreme.exponent = value.iszero() ? 0 : value.unbiasedexponent();
  value.pow2(-extreme.exponent);
  do {
    extreme.parts.push_back(value.todouble());
    value -= number(extreme.parts.back(), value.getprecision(), value.gettype() != kDoubleRepresentation);
  } while (!value.iszero());
  return extreme;
}

number valueOf(const SavedRecord::Extreme& extreme, unsigned precision) {
  number value(0.0, precision, false);
  for (const double part : extreme.parts) value += number(part, precision, false);
  value.pow2(extreme.exponent);
  return value;
}

}  // namespace

SavedRecord savedRecord(const qlogger& logger) {
  SavedRecord saved{logger.noverflows(),
                    logger.nunderflows(),
                    logger.noperations(),
                    logger.nmathoperations(),
                    logger.maxlog().getprecision(),
                    {},
                    {}};
  saved.max = partsOf(logger.maxlog());
  saved.min = partsOf(logger.minlog());
  return saved;
}

void restoreRecord(const qlogger& logger, const SavedRecord& saved) {
  qlogger restored(true);
  restored.shareType(logger.sharedType());  // in whose units held values are
  restored.updateminmax(valueOf(saved.max, saved.precision));
  restored.updateminmax(valueOf(saved.min, saved.precision));
  Tally counts;
  counts.values = 1;
  counts.overflows = saved.overflows;
  counts.underflows = saved.underflows;
  restored.record(counts);
  restored.setNoperations(saved.operations);
  restored.setNMathOperations(saved.mathOperations);
  logger.reset();
  logger.merge(restored);
  logger.markReported();
}

}  // namespace embedded
