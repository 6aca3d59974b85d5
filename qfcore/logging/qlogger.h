/// The record of what quantizations met: overflows, underflows, smallest and largest value.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <limits>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <boost/container/small_vector.hpp>

#include "qfcore/logging/logrecord.h"
#include "qfcore/logging/operationtype.h"
#include "qfcore/number/number.h"
#include "qfcore/number/precision.h"
#include "qfcore/types/sharedtype.h"
#include "tessel/array.h"

namespace embedded {

class filog;
/// Log records by the key of their loggers.
using FilogMap = std::map<std::string, filog>;

/// A name under which to log, which copies share. Most objects have none, and pay nothing for it.
class Tag {
 public:
  Tag() = default;
  Tag(const std::string& text) : text_(text.empty() ? nullptr : std::make_shared<const std::string>(text)) {}
  const std::string& text() const { return text_ ? *text_ : sNone; }

 private:
  std::shared_ptr<const std::string> text_;  // null for none
  QFCORE_API static const std::string sNone;
};

/// Which loggers take part while logging is on: each object's own only, or the module's three totals as well.
enum class LogTypeEnum { Local, Global };

/// What an array kernel met; a logger takes it in at the end of the array.
struct Tally {
  std::size_t values = 0;
  std::size_t overflows = 0;
  std::size_t underflows = 0;
  double min = std::numeric_limits<double>::max();
  double max = std::numeric_limits<double>::lowest();
};

/// The record of one array, register or quantizer.
///
/// Recording happens on const loggers as well (a quantizer that is used, not changed, still counts) and only
/// while logging is on, by this logger's own switch or by the module-wide one: the gate stands here and nowhere
/// else. Extremes are held values, in units of the type's binary-point grid; those of words beyond the double
/// threshold are exact. Records of types that hold values differently meet in real-world units.
class QFCORE_API qlogger {
 public:
  /// `alwaysOn` is the logger's own switch.
  explicit qlogger(bool alwaysOn = false) : qlogger({}, OperationTypeEnum::Unspecified, alwaysOn) {}
  qlogger(const std::string& tag, OperationTypeEnum operationType, bool alwaysOn = false);
  /// `type` has owners, or is kept for good, or belongs to this logger from now on.
  qlogger(const Tag& tag, OperationTypeEnum operationType, const EmbeddedTypeSystem::SharedType& type)
      : tag_(tag), type_(&type), operationType_(operationType) {}
  /// A copy, or with `keepRecord` false a logger of the same tag, type, kind and switch that has recorded
  /// nothing.
  qlogger(const qlogger& other, bool keepRecord);
  qlogger(const qlogger& other) : qlogger(other, true) {}
  qlogger& operator=(const qlogger& other);
  qlogger(qlogger&&) noexcept = default;
  qlogger& operator=(qlogger&&) noexcept = default;
  ~qlogger() = default;
  void set(const qlogger& other);

  /// The module-wide switch, off at start.
  static bool getLogging() { return sLogging; }
  static void setLogging(bool on) { sLogging = on; }
  static LogTypeEnum getLogType() { return sLogType; }
  static void setLogType(LogTypeEnum type) { sLogType = type; }
  /// The module-wide total of assignments, sums or products; null for Unspecified.
  static qlogger* global(OperationTypeEnum operationType);
  /// "Unspecified", "Assignment", "Product" or "Sum".
  static const char* operationTypeToString(OperationTypeEnum operationType);

  bool isOn() const { return alwaysOn_ || sLogging; }
  void setAlwaysOn(bool on) { alwaysOn_ = on; }
  bool isAlwaysOn() const { return alwaysOn_; }

  const std::string& tag() const { return tag_.text(); }
  void setTag(const std::string& tag) { tag_ = tag; }
  const Tag& sharedTag() const { return tag_; }
  void shareTag(const Tag& tag) noexcept { tag_ = tag; }
  OperationTypeEnum operationType() const { return operationType_; }
  void setOperationType(OperationTypeEnum operationType) { operationType_ = operationType; }
  const EmbeddedTypeSystem::NumericType& numericType() const { return type_->type(); }
  const EmbeddedTypeSystem::SharedTypePtr& sharedType() const { return type_; }
  /// What was recorded stays what it was in real-world units.
  void setNumericType(const EmbeddedTypeSystem::NumericType& type);
  void shareType(const EmbeddedTypeSystem::SharedTypePtr& type);

  /// Forgets everything recorded: maxlog to −realmax, minlog to +realmax, all counts to 0.
  void reset() const;
  /// True exactly when maxlog reads as −realmax; minlog and the counts are not consulted.
  bool isreset() const;

  void updateminmax(const number& value) const;
  void nOverflowsPlusOne() const { add(&LogCounts::overflows, 1); }
  void nUnderflowsPlusOne() const { add(&LogCounts::underflows, 1); }
  void nOperationsPlusOne() const { add(&LogCounts::operations, 1); }
  void nMathOperationsPlus(std::size_t count) const { add(&LogCounts::mathOperations, count); }
  void nMathOperationsPlusOne() const { nMathOperationsPlus(1); }
  void setNoperations(std::size_t count) const { toWrite().counts.operations = count; }
  void setNMathOperations(std::size_t count) const { toWrite().counts.mathOperations = count; }
  /// What an array kernel met, as if each of its values had come one by one.
  void record(const Tally& tally) const;
  /// The same with extremes that doubles may not hold; those of the tally do not count.
  void record(const Tally& tally, const number& min, const number& max) const;
  /// Adds another logger's record to this one, whatever the switches: extremes cover both, in real-world units
  /// where the types hold values differently, counts add up.
  void merge(const qlogger& other) const;
  /// The same for a record that goes on beside this one: what both have then is collected once.
  void share(const qlogger& other) const;
  /// A logger with what is still to be collected: the counts that no logger sharing them has given out so.
  /// Reset where nothing is left. They are given out for good where `endCollection` says that they were kept.
  qlogger beginCollection() const;
  void endCollection(bool isKept) const noexcept {
    if (record_) record_->endCollection(isKept);
  }

  /// Held values; −realmax and +realmax while nothing is recorded.
  number maxlog() const { return held(toRead().max); }
  number minlog() const { return held(toRead().min); }
  /// The same in real-world units: held × slope adjustment factor + bias.
  double realWorldMax() const { return realWorld(toRead().max); }
  double realWorldMin() const { return realWorld(toRead().min); }
  std::size_t noverflows() const { return toRead().counts.overflows; }
  std::size_t nunderflows() const { return toRead().counts.underflows; }
  std::size_t noperations() const { return toRead().counts.operations; }
  std::size_t nmathoperations() const { return toRead().counts.mathOperations; }
  /// The functions that were being executed when the logger began to record, since it was reset last, innermost
  /// first; empty while the feature switch for stack traces was off then.
  const std::vector<std::string>& stackTrace() const { return toRead().stackTrace; }

  /// The overflows since the last call, which remembers the count as reported; underflows likewise.
  std::size_t takeNewOverflows() const;
  std::size_t takeNewUnderflows() const;
  void markReported() const { takeNewOverflows(), takeNewUnderflows(); }

  /// A 1-by-1 structure with the doubles "Max", "Min" (real-world), "NOverflows", "NUnderflows", "NOperations".
  tessel::HostArray toHostArrayStruct() const;
  /// The same structure for a logger that does not exist: the extremes of a reset logger, counts of 0.
  static tessel::HostArray createUninitializedHostArrayStruct();
  /// Prints the record on the console, five lines.
  void disp() const;
  /// Tag, operation kind and short type name, joined by "|".
  std::string createFilogKey() const;
  /// Writes the record into `map` under this logger's key: as a new entry, or merged into the one that is
  /// there. Does nothing while the feature switch for tags is off.
  void writeLogMap(FilogMap& map) const;

 private:
  const LogRecord& toRead() const { return record_ ? *record_ : sNothing; }
  LogRecord& toWrite() const {
    if (!record_) begin();
    return *record_;
  }
  void begin() const;
  /// A copy of the record, which then shares its counts; null where there is none.
  std::unique_ptr<LogRecord> sharedRecord() const { return record_ ? copiedRecord() : nullptr; }
  std::unique_ptr<LogRecord> copiedRecord() const;
  void add(std::size_t LogCounts::*what, std::size_t count) const {
    if (isOn()) toWrite().counts.*what += count;
  }
  void keep(const number& min, const number& max) const;
  void mergeExtremes(const qlogger& other) const;
  /// Makes place for another logger's record, which began before this one where this one is new.
  LogRecord& toMergeInto(const LogRecord& other) const;

  /// Whether the record's extremes are real-world values, as those of binary-point types always are.
  bool isInRealWorldUnits() const { return toRead().isRealWorld || !numericType().isSlopeBias(); }
  /// Whether values to record are to be moved to real-world units first.
  bool recordsRealWorld(const LogRecord& record) const {
    return record.isRealWorld && numericType().isSlopeBias();
  }
  void toRealWorldUnits() const;
  double realWorld(double held) const;
  double realWorld(const Extreme& extreme) const;
  number held(const Extreme& extreme) const;

  static bool sLogging;
  static LogTypeEnum sLogType;

  Tag tag_;
  EmbeddedTypeSystem::SharedTypePtr type_;
  OperationTypeEnum operationType_ = OperationTypeEnum::Unspecified;
  bool alwaysOn_ = false;
  friend class RecordsKept;
  mutable std::unique_ptr<LogRecord> record_;  // null until something is recorded: most arrays never log
  static const LogRecord sNothing;
};

/// Gives loggers back what they had recorded, unless the operation that records is completed: one that fails
/// leaves records as they were.
class QFCORE_API RecordsKept {
 public:
  RecordsKept() = default;
  RecordsKept(const RecordsKept&) = delete;
  RecordsKept& operator=(const RecordsKept&) = delete;
  ~RecordsKept();
  /// To be called before the logger, which null is none of, records; it outlives this.
  void keep(const qlogger* logger);
  void complete() noexcept { kept_.clear(); }

 private:
  struct Kept {
    const qlogger* logger;
    std::unique_ptr<LogRecord> record;
  };
  boost::container::small_vector<Kept, 4> kept_;
};

/// Which words the warnings about new counts use.
enum class ReportKind { Plain, Product };

/// Warns of overflows, then of underflows, where there are any: "fi:overflow" and "fi:underflow", with the
/// operation's name ("plus", "assignment", "sqrt", …) in the text.
QFCORE_API void reportCounts(std::size_t overflows, std::size_t underflows, const char* operation,
                             ReportKind kind = ReportKind::Plain);
/// The same for what the loggers together have met since they last reported.
QFCORE_API void reportNewCounts(std::initializer_list<const qlogger*> loggers, const char* operation,
                                ReportKind kind = ReportKind::Plain);

}  // namespace embedded
