/// The record of one assignment.
#pragma once

#include <utility>

#include "qfcore/fi/fi.h"

namespace embedded {

/// How warnings name the assignment of values.
inline constexpr const char* kAssignment = "assignment";

/// While logging is on the assignment runs with a quantizer of its own, so that what it met can be told from
/// what the array has recorded before. Without logging the array's own quantizer serves and nothing is copied.
template <class Assign>
void fi::assignLogged(const char* operation, Assign assign) {
  const quantizer& own = *assignmentQuantizerInUse_;
  if (!own.logger().isOn()) return assign();
  quantizer fresh(own);
  fresh.logger().reset();
  const struct Lent {
    const quantizer*& inUse;
    const quantizer* own;
    ~Lent() { inUse = own; }
  } lent{assignmentQuantizerInUse_, std::exchange(assignmentQuantizerInUse_, &fresh)};
  assign();
  own.logger().merge(fresh.logger());
  own.logger().takeNewOverflows();
  own.logger().takeNewUnderflows();
  if (qlogger::getLogType() == LogTypeEnum::Global) {
    qlogger::global(OperationTypeEnum::Assignment)->merge(fresh.logger());
  }
  reportNewCounts({&fresh.logger()}, operation);
}

}  // namespace embedded
