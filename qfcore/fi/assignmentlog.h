/// The record of one assignment.
#pragma once

#include <utility>

#include "qfcore/fi/fi.h"

namespace embedded {

/// How warnings name the assignment of values.
inline constexpr const char* kAssignment = "assignment";

template <class Assign>
void fi::assignWith(const quantizer& lent, Assign assign) {
  const struct Lent {
    const quantizer*& inUse;
    const quantizer* own;
    ~Lent() { inUse = own; }
  } guard{assignmentQuantizerInUse_, std::exchange(assignmentQuantizerInUse_, &lent)};
  assign();
}

/// While logging is on the assignment runs with a quantizer of its own, so that what it met can be told from
/// what the array has recorded before. Without logging the array's own quantizer serves and nothing is copied.
template <class Assign>
void fi::assignLogged(const char* operation, Assign assign, const qlogger* products) {
  const quantizer& own = *assignmentQuantizerInUse_;
  if (!own.logger().isOn()) return assign();
  const quantizer fresh(own, false);
  assignWith(fresh, assign);
  own.logger().merge(fresh.logger());
  own.logger().markReported();
  if (qlogger::getLogType() == LogTypeEnum::Global) {
    qlogger::global(OperationTypeEnum::Assignment)->merge(fresh.logger());
  }
  if (products) {
    reportNewCounts({&fresh.logger(), products}, operation, ReportKind::Product);
  } else {
    reportNewCounts({&fresh.logger()}, operation);
  }
}

}  // namespace embedded
