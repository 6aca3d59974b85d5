/// The record of one assignment.
#pragma once

#include <utility>

#include "qfcore/fi/fi.h"

namespace embedded {

/// How warnings name the assignment of values.
inline constexpr const char* kAssignment = "assignment";

template <class Assign>
void HeldArray::assignWith(const quantizer& lent, Assign assign) {
  const struct Lent {
    const quantizer*& inUse;
    const quantizer* own;
    ~Lent() { inUse = own; }
  } guard{assignmentQuantizerInUse_, std::exchange(assignmentQuantizerInUse_, &lent)};
  assign();
}

/// While logging is on the assignment runs with a quantizer of its own, so that what it met can be told from
/// what the array has recorded before. Without logging the array's own quantizer serves and nothing is copied.
template <class Assign, class Complete>
void fi::assignLogged(const char* operation, Assign assign, Complete complete, const qlogger* products) {
  const quantizer& own = *assignmentQuantizerInUse_;
  if (!own.logger().isOn()) {
    assign();
    return complete();
  }
  const quantizer fresh(own, false);
  assignWith(fresh, assign);
  RecordsKept kept;
  kept.keep(&own.logger());
  own.logger().merge(fresh.logger());
  own.logger().markReported();
  if (qlogger::getLogType() == LogTypeEnum::Global) {
    const qlogger* total = qlogger::global(OperationTypeEnum::Assignment);
    kept.keep(total);
    total->merge(fresh.logger());
  }
  if (products) {
    reportNewCounts({&fresh.logger(), products}, operation, ReportKind::Product);
  } else {
    reportNewCounts({&fresh.logger()}, operation);
  }
  complete();
  kept.complete();
}

template <class Assign>
void fi::assignLogged(const char* operation, Assign assign, const qlogger* products) {
  assignLogged(
      operation, assign, [] {}, products);
}

template <class Fill>
void fi::replaceLogged(fi& replaced, Fill fill) {
  assignLogged(
      kAssignment, [&] { replaced.assignWith(*assignmentQuantizerInUse_, fill); },
      [&] { replaceElements(replaced); });
}

}  // namespace embedded
