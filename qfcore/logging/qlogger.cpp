#include "qfcore/logging/qlogger.h"

#include <cmath>
#include <utility>

#include "tessel/console.h"
#include "tessel/messages.h"

namespace embedded {

using tessel::HostArray;

namespace {

std::unique_ptr<number> copied(const std::unique_ptr<number>& wide) {
  return wide ? std::make_unique<number>(*wide) : nullptr;
}

}  // namespace

qlogger::Record::Record(const Record& other)
    : max(other.max),
      min(other.min),
      overflows(other.overflows),
      underflows(other.underflows),
      operations(other.operations),
      mathOperations(other.mathOperations),
      reportedOverflows(other.reportedOverflows),
      reportedUnderflows(other.reportedUnderflows),
      wideMax(copied(other.wideMax)),
      wideMin(copied(other.wideMin)) {}

constinit const qlogger::Record qlogger::sNothing;
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

qlogger::qlogger(const qlogger& other, bool keepRecord) {
  if (keepRecord) {
    set(other);
    return;
  }
  tag_ = other.tag_;
  type_ = other.type_;
  operationType_ = other.operationType_;
  alwaysOn_ = other.alwaysOn_;
}

qlogger& qlogger::operator=(const qlogger& other) {
  if (this != &other) set(other);
  return *this;
}

void qlogger::set(const qlogger& other) {
  tag_ = other.tag_;
  type_ = other.type_;
  operationType_ = other.operationType_;
  alwaysOn_ = other.alwaysOn_;
  record_ = other.record_ ? std::make_unique<Record>(*other.record_) : nullptr;
}

void qlogger::reset() const { record_.reset(); }

bool qlogger::isreset() const { return maxlog().todouble() == std::numeric_limits<double>::lowest(); }

number qlogger::extreme(double value, const std::unique_ptr<number>& wide) {
  if (wide) return *wide;
  return number(value, number::getDefaultPrecision(), number::getDefaultForceMultiplePrecision());
}

void qlogger::keepExtreme(const number& value, double& plain, std::unique_ptr<number>& wide, bool isMax) {
  if (!wide && value.gettype() == kDoubleRepresentation) {
    const double v = value.todouble();
    if (isMax ? plain < v : plain > v) plain = v;
    return;
  }
  if (!wide) {
    const number current(plain, value.getprecision(), true);
    if (isMax ? current < value : current > value) wide = std::make_unique<number>(value);
  } else if (isMax ? *wide < value : *wide > value) {
    *wide = value;
  }
}

void qlogger::updateminmax(const number& value) const {
  if (!isOn()) return;
  Record& record = toWrite();
  keepExtreme(value, record.max, record.wideMax, true);
  keepExtreme(value, record.min, record.wideMin, false);
  ++record.operations;
}

void qlogger::record(const Tally& tally) const {
  if (!isOn() || tally.values == 0) return;
  const auto keep = [](double value, double& plain, std::unique_ptr<number>& wide, bool isMax) {
    if (wide) return keepExtreme(number(value, kMaxDoublePrecision, false), plain, wide, isMax);
    if (isMax ? plain < value : plain > value) plain = value;
  };
  Record& record = toWrite();
  keep(tally.max, record.max, record.wideMax, true);
  keep(tally.min, record.min, record.wideMin, false);
  record.operations += tally.values;
  record.overflows += tally.overflows;
  record.underflows += tally.underflows;
}

void qlogger::merge(const qlogger& other) const {
  if (!other.record_) return;
  // Held values of two slope-bias types have different units; only real-world values compare.
  const bool sameUnits = !other.type_.isSlopeBias() || other.type_.isequivalent(type_);
  const auto comparable = [&](const number& held) {
    return sameUnits ? held : number(other.realWorld(held), kMaxDoublePrecision, false);
  };
  Record& record = toWrite();
  keepExtreme(comparable(other.maxlog()), record.max, record.wideMax, true);
  keepExtreme(comparable(other.minlog()), record.min, record.wideMin, false);
  record.overflows += other.record_->overflows;
  record.underflows += other.record_->underflows;
  record.operations += other.record_->operations;
  record.mathOperations += other.record_->mathOperations;
}

double qlogger::realWorld(const number& held) const {
  const double value = held.todouble();
  // The extremes of a reset logger are marks, not values of the type.
  if (std::abs(value) == std::numeric_limits<double>::max()) return value;
  return type_.isSlopeBias() ? value * type_.slopeAdjustmentFactor() + type_.bias() : value;
}

std::size_t qlogger::takeNewOverflows() const {
  if (!record_) return 0;
  return record_->overflows - std::exchange(record_->reportedOverflows, record_->overflows);
}

std::size_t qlogger::takeNewUnderflows() const {
  if (!record_) return 0;
  return record_->underflows - std::exchange(record_->reportedUnderflows, record_->underflows);
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
  tessel::printFormatted("        Tag: %s\n", tag_.c_str());
}

std::string qlogger::createFilogKey() const {
  return tag_ + "|" + operationTypeToString(operationType_) + "|" + type_.qpointstr();
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
  if (kind == ReportKind::Plain) {
    report<kOverflow>(overflows, operation);
    report<kUnderflow>(underflows, operation);
  } else {
    report<kProductOverflow>(overflows, operation);
    report<kProductUnderflow>(underflows, operation);
  }
}

}  // namespace embedded
