/// Named log records, collected from the loggers of arrays.
#pragma once

#include <map>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "qfcore/logging/qlogger.h"

namespace embedded {

/// What was logged under one tag, by one kind of operation, in one numeric type.
///
/// The type is a copy that may be changed without changing what was recorded.
class QFCORE_API filog {
 public:
  /// Nothing recorded.
  filog() = default;
  /// Takes over the logger's record.
  filog(const std::string& tag, const qlogger& logger);

  const std::string& tag() const { return record_.tag(); }
  void setTag(const std::string& tag) { record_.setTag(tag); }
  OperationTypeEnum operationType() const { return record_.operationType(); }
  const EmbeddedTypeSystem::NumericType& numericType() const { return type_; }
  EmbeddedTypeSystem::NumericType& numericType() { return type_; }

  /// Real-world values; −realmax and +realmax while nothing is recorded.
  double maxlog() const { return record_.realWorldMax(); }
  double minlog() const { return record_.realWorldMin(); }
  std::size_t noverflows() const { return record_.noverflows(); }
  std::size_t nunderflows() const { return record_.nunderflows(); }
  std::size_t noperations() const { return record_.noperations(); }
  /// The functions being executed when the logger began to record, innermost first; empty while the feature
  /// switch for stack traces was off then.
  const std::vector<std::string>& stackTrace() const { return record_.stackTrace(); }

  /// Adds a logger's record: extremes cover both, counts add up. The stack trace stays the first one.
  void merge(const qlogger& logger) { record_.merge(logger); }

  /// What `disp` prints: the tag while the feature switch for tags is on, the operation and short type name,
  /// extremes, counts, and the stack trace where there is one; each line begun by a line end.
  std::string displayText() const;
  void disp() const;

  /// The module-wide collection, ordered by key.
  static FilogMap& getLogMap();
  /// The collection's records, in the order of their keys.
  static std::vector<filog> getglobalfilogs();
  static void clearglobalfilogs() { getLogMap().clear(); }
  /// Moves the records of `loggers`, of which some may be null, to the collection; while the feature switch for
  /// tags is off they are only forgotten. Where memory runs out all is as it was.
  static void collect(std::span<const qlogger* const> loggers);

 private:
  qlogger record_;
  EmbeddedTypeSystem::NumericType type_;
};

}  // namespace embedded
