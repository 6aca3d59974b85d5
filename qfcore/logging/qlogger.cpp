#include "qfcore/logging/qlogger.h"

#include <algorithm>
#include <utility>

#include "qfcore/types/features.h"
#include "tessel/console.h"
#include "tessel/interpreter.h"
#include "tessel/messages.h"

namespace embedded {

using EmbeddedTypeSystem::NumericType;
using EmbeddedTypeSystem::SharedType;
using EmbeddedTypeSystem::SharedTypePtr;
using tessel::HostArray;

const std::string Tag::sNone;
constinit const LogRecord qlogger::sNothing;
bool qlogger::sLogging = false;
LogTypeEnum qlogger::sLogType = LogTypeEnum::Global;

qlogger* qlogger::global(OperationTypeEnum operationType) {
  static qlogger assignments("Assignment", OperationTypeEnum::Assignment);
  static qlogger sums("Sum", OperationTypeEnum::Sum);
  static qlogger products("Product", OperationTypeEnum::Product);
  switch (operationType) {
    case OperationTypeEnum::Assignment: return &assignments;
    case OperationTypeEnum::Sum: return &sums;
    case OperationTypeEnum::Product: return &products;
    default: return nullptr;
  }
}

const char* qlogger::operationTypeToString(OperationTypeEnum operationType) {
  static constexpr const char* kTexts[] = {"Unspecified", "Assignment", "Product", "Sum"};
  return kTexts[static_cast<int>(operationType)];
}

namespace {

/// That of loggers which were told none.
const SharedTypePtr& usualType() {
  static const SharedTypePtr usual = [] {
    SharedTypePtr made(new SharedType(NumericType()));
    made.keepForGood();
    return made;
  }();
  return usual;
}

}  // namespace

qlogger::qlogger(const std::string& tag, OperationTypeEnum operationType, bool alwaysOn)
    : qlogger(Tag(tag), operationType, *usualType()) {
  alwaysOn_ = alwaysOn;
}

qlogger::qlogger(const qlogger& other, bool keepRecord)
    : tag_(other.tag_),
      type_(other.type_),
      operationType_(other.operationType_),
      alwaysOn_(other.alwaysOn_),
      record_(keepRecord ? other.sharedRecord() : nullptr) {}

qlogger& qlogger::operator=(const qlogger& other) {
  if (this != &other) set(other);
  return *this;
}

void qlogger::set(const qlogger& other) {
  tag_ = other.tag_;
  type_ = other.type_;
  operationType_ = other.operationType_;
  alwaysOn_ = other.alwaysOn_;
  record_ = other.sharedRecord();
}

std::unique_ptr<LogRecord> qlogger::copiedRecord() const {
  record_->share();
  return std::make_unique<LogRecord>(*record_);
}

void qlogger::reset() const { record_.reset(); }

bool qlogger::isreset() const { return toRead().max.todouble() == std::numeric_limits<double>::lowest(); }

void qlogger::begin() const {
  record_ = std::make_unique<LogRecord>();
  if (s_feature_fi_stack_trace_logging) record_->stackTrace = tessel::stackTrace();
}

// ------------------------------------------------------------------------------------------------------- units

namespace {

/// Whether held values of both types are in the same units.
bool holdAlike(const NumericType& a, const NumericType& b) {
  if (!a.isSlopeBias() || !b.isSlopeBias()) return a.isSlopeBias() == b.isSlopeBias();
  return a.slopeAdjustmentFactor() == b.slopeAdjustmentFactor() && a.bias() == b.bias();
}

}  // namespace

double qlogger::realWorld(double held) const {
  return held * numericType().slopeAdjustmentFactor() + numericType().bias();
}

double qlogger::realWorld(const Extreme& extreme) const {
  // The marks of a reset record are no values of the type.
  const bool isReady = extreme.isMark() || isInRealWorldUnits();
  return isReady ? extreme.todouble() : realWorld(extreme.todouble());
}

number qlogger::held(const Extreme& extreme) const {
  if (extreme.isMark() || !recordsRealWorld(toRead())) return extreme.value();
  const double value = (extreme.todouble() - numericType().bias()) / numericType().slopeAdjustmentFactor();
  return number(value, kMaxDoublePrecision, false);
}

void qlogger::toRealWorldUnits() const {
  for (Extreme* extreme : {&record_->max, &record_->min}) {
    if (!extreme->isMark() && !isInRealWorldUnits()) extreme->replace(realWorld(extreme->todouble()));
  }
  record_->isRealWorld = true;
}

void qlogger::setNumericType(const NumericType& type) { shareType(SharedTypePtr(new SharedType(type))); }

void qlogger::shareType(const SharedTypePtr& type) {
  if (record_ && !holdAlike(numericType(), type->type())) toRealWorldUnits();
  type_ = type;
}

// --------------------------------------------------------------------------------------------------- recording

void qlogger::updateminmax(const number& value) const {
  if (!isOn()) return;
  keep(value, value);
  ++toWrite().counts.operations;
}

void qlogger::keep(const number& min, const number& max) const {
  LogRecord& record = toWrite();
  if (recordsRealWorld(record)) {
    record.max.keep(realWorld(max.todouble()));
    record.min.keep(realWorld(min.todouble()));
  } else {
    record.max.keep(max);
    record.min.keep(min);
  }
}

void qlogger::record(const Tally& tally, const number& min, const number& max) const {
  if (!isOn() || tally.values == 0) return;
  keep(min, max);
  LogCounts& counts = toWrite().counts;
  counts.operations += tally.values;
  counts.overflows += tally.overflows;
  counts.underflows += tally.underflows;
}

void qlogger::record(const Tally& tally) const {
  if (!isOn() || tally.values == 0) return;
  LogRecord& record = toWrite();
  const bool isMoved = recordsRealWorld(record) && tally.min <= tally.max;
  record.max.keep(isMoved ? realWorld(tally.max) : tally.max);
  record.min.keep(isMoved ? realWorld(tally.min) : tally.min);
  record.counts.operations += tally.values;
  record.counts.overflows += tally.overflows;
  record.counts.underflows += tally.underflows;
}

LogRecord& qlogger::toMergeInto(const LogRecord& other) const {
  if (!record_) {
    record_ = std::make_unique<LogRecord>();
    record_->stackTrace = other.stackTrace;
  }
  return *record_;
}

void qlogger::mergeExtremes(const qlogger& other) const {
  const LogRecord& from = *other.record_;
  if (from.max.isMark() && from.min.isMark()) return;
  const bool isReal = isInRealWorldUnits(), otherIsReal = other.isInRealWorldUnits();
  if (isReal == otherIsReal && (isReal || holdAlike(numericType(), other.numericType()))) {
    record_->max.keep(from.max);
    record_->min.keep(from.min);
    return;
  }
  toRealWorldUnits();
  const auto keep = [&](Extreme& extreme, const Extreme& met) {
    if (otherIsReal) {
      extreme.keep(met);
    } else if (!met.isMark()) {
      extreme.keep(other.realWorld(met));
    }
  };
  keep(record_->max, from.max);
  keep(record_->min, from.min);
}

void qlogger::merge(const qlogger& other) const {
  if (!other.record_) return;
  toMergeInto(*other.record_).add(*other.record_);
  mergeExtremes(other);
}

void qlogger::share(const qlogger& other) const {
  if (!other.record_) return;
  other.record_->share();
  toMergeInto(*other.record_).join(*other.record_);
  mergeExtremes(other);
}

qlogger qlogger::beginCollection() const {
  qlogger left(*this, false);
  if (!record_) return left;
  const LogCounts counts = record_->beginCollection();
  if (counts == LogCounts() && record_->counts != LogCounts()) return left;
  left.toMergeInto(*record_).counts = counts;
  left.record_->isRealWorld = record_->isRealWorld;
  left.mergeExtremes(*this);
  return left;
}

RecordsKept::~RecordsKept() {
  for (Kept& each : kept_) each.logger->record_ = std::move(each.record);
}

void RecordsKept::keep(const qlogger* logger) {
  const auto isThis = [logger](const Kept& each) { return each.logger == logger; };
  if (!logger || std::any_of(kept_.begin(), kept_.end(), isThis)) return;
  // Not what `copiedRecord` makes: nobody else is to share what comes back.
  kept_.push_back({logger, logger->record_ ? std::make_unique<LogRecord>(*logger->record_) : nullptr});
}

std::size_t qlogger::takeNewOverflows() const {
  if (!record_) return 0;
  return noverflows() - std::exchange(record_->reportedOverflows, noverflows());
}

std::size_t qlogger::takeNewUnderflows() const {
  if (!record_) return 0;
  return nunderflows() - std::exchange(record_->reportedUnderflows, nunderflows());
}

HostArray qlogger::toHostArrayStruct() const {
  HostArray structure = HostArray::structure();
  const auto put = [&](const char* field, double value) {
    structure.mutableFieldAt(field) = HostArray::scalar(value);
  };
  put("Max", realWorldMax());
  put("Min", realWorldMin());
  put("NOverflows", static_cast<double>(noverflows()));
  put("NUnderflows", static_cast<double>(nunderflows()));
  put("NOperations", static_cast<double>(noperations()));
  return structure;
}

HostArray qlogger::createUninitializedHostArrayStruct() { return qlogger().toHostArrayStruct(); }

void qlogger::disp() const {
  tessel::printFormatted("        Max: %g\n", realWorldMax());
  tessel::printFormatted("        Min: %g\n", realWorldMin());
  tessel::printFormatted(" NOverflows: %ld\n", static_cast<long>(noverflows()));
  tessel::printFormatted("NUnderflows: %ld\n", static_cast<long>(nunderflows()));
  tessel::printFormatted("        Tag: %s\n", tag().c_str());
}

std::string qlogger::createFilogKey() const {
  return tag() + "|" + operationTypeToString(operationType_) + "|" + numericType().qpointstr();
}

namespace {

constexpr Message kOverflow{"fi:overflow", "%ld overflow%s occurred in the fi %s operation."};
constexpr Message kUnderflow{"fi:underflow", "%ld underflow%s occurred in the fi %s operation."};
constexpr Message kProductOverflow{"fi:overflow", "%ld product overflow%s occurred in the fi %s operation."};
constexpr Message kProductUnderflow{"fi:underflow", "%ld product underflow%s occurred in the fi %s operation."};

template <const Message& M>
void report(std::size_t count, const char* operation) {
  if (count == 0) return;
  tessel::warn(M.identifier, formatted<M>(static_cast<long>(count), count > 1 ? "s" : "", operation));
}

}  // namespace

void reportNewCounts(std::initializer_list<const qlogger*> loggers, const char* operation, ReportKind kind) {
  std::size_t overflows = 0, underflows = 0;
  for (const qlogger* logger : loggers) {
    overflows += logger->takeNewOverflows();
    underflows += logger->takeNewUnderflows();
  }
  reportCounts(overflows, underflows, operation, kind);
}

void reportCounts(std::size_t overflows, std::size_t underflows, const char* operation, ReportKind kind) {
  if (kind == ReportKind::Plain) {
    report<kOverflow>(overflows, operation);
    report<kUnderflow>(underflows, operation);
  } else {
    report<kProductOverflow>(overflows, operation);
    report<kProductUnderflow>(underflows, operation);
  }
}

}  // namespace embedded
