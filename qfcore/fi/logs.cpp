/// The loggers of an array and of its arithmetic's registers: resetting, showing, collecting.
#include <algorithm>

#include "qfcore/fi/arithmeticstate.h"
#include "qfcore/fi/fi.h"
#include "qfcore/logging/filog.h"
#include "qfcore/types/features.h"
#include "qfcore/types/printed.h"
#include "tessel/console.h"

namespace embedded {

using tessel::HostArray;

namespace {

constexpr OperationTypeEnum kGlobalLoggers[] = {OperationTypeEnum::Assignment, OperationTypeEnum::Sum,
                                                OperationTypeEnum::Product};
/// The fields of the log structure, in the order of `HeldArray::loggers`.
constexpr const char* kLogFields[] = {"Assignment", "Sum", "Product", "ProductSum"};

}  // namespace

void HeldArray::resetGlobalLog() {
  if (!qlogger::getLogging()) return;
  for (const OperationTypeEnum operation : kGlobalLoggers) qlogger::global(operation)->reset();
}

void HeldArray::displayGlobalLog() {
  if (!qlogger::getLogging()) return;
  static constexpr const char* kLines[][2] = {
      {"FI assignment overflows : %ld\n", "FI assignment underflows: %ld\n"},
      {"FI sum overflows        : %ld\n", "FI sum underflows       : %ld\n"},
      {"FI product overflows    : %ld\n", "FI product underflows   : %ld\n"}};
  for (std::size_t i = 0; i < std::size(kLines); ++i) {
    const qlogger& logger = *qlogger::global(kGlobalLoggers[i]);
    tessel::print(EmbeddedTypeSystem::printed(kLines[i][0], static_cast<long>(logger.noverflows())));
    tessel::print(EmbeddedTypeSystem::printed(kLines[i][1], static_cast<long>(logger.nunderflows())));
  }
}

void HeldArray::addToTotal() const {
  const qlogger& record = assignmentQuantizer_.logger();
  // What construction met is no news to a later assignment.
  record.markReported();
  if (qlogger::getLogType() != LogTypeEnum::Global) return;
  const qlogger* total = qlogger::global(record.operationType());
  if (!total) return;
  RecordsKept kept;
  kept.keep(total);
  total->merge(record);
  kept.complete();
}

HeldArray::RegisterRecords::RegisterRecords(const HeldArray& left, HeldArray* result, const char* name,
                                            std::initializer_list<FinishedRegister> registers) {
  if (!registers.begin()->finished.getQlogger().isOn()) return;
  left_ = &left.arithmeticState();
  if (result) kept_.keep(&result->getQlogger());
  std::size_t overflows = 0, underflows = 0;
  for (const auto& [kind, finished] : registers) {
    const qlogger& record = finished.getQlogger();
    overflows += record.takeNewOverflows();
    underflows += record.takeNewUnderflows();
    if (qlogger::getLogType() == LogTypeEnum::Global) {
      const qlogger* total = qlogger::global(record.operationType());
      kept_.keep(total);
      total->merge(record);
    }
    if (result) {
      result->getQlogger().share(record);
      result->getQlogger().markReported();
    }
    if (kind == RegisterLog::NotKept) continue;
    std::optional<qlogger>& log = logs_[static_cast<std::size_t>(kind)];
    if (!log) log = left_->registerLogs[static_cast<std::size_t>(kind)];
    if (log) {
      log->shareType(record.sharedType());
      log->shareTag(record.sharedTag());
      log->share(record);
    } else {
      log = record;
    }
  }
  reportCounts(overflows, underflows, name,
               registers.begin()->kind == RegisterLog::Product ? ReportKind::Product : ReportKind::Plain);
}

void HeldArray::RegisterRecords::complete() noexcept {
  kept_.complete();
  for (std::size_t kind = 0; kind < kRegisterLogs; ++kind) {
    if (logs_[kind]) left_->registerLogs[kind].swap(logs_[kind]);
  }
}

void HeldArray::finishRegisters(HeldArray* result, const char* name,
                                std::initializer_list<FinishedRegister> registers) const {
  RegisterRecords(*this, result, name, registers).complete();
}

void HeldArray::finishProducts(HeldArray* result, const HeldArray& productRegister, const char* name) const {
  finishRegisters(result, name,
                  {{RegisterLog::Product, productRegister},
                   {RegisterLog::ProductSum, *productRegister.arithmeticState_->sumRegister}});
}

void HeldArray::copyRegisterLogs(const HeldArray& other) {
  const ArithmeticState* state = other.owner().arithmeticState_.get();
  if (!state) return;
  const auto& logs = state->registerLogs;
  if (std::any_of(logs.begin(), logs.end(), [](const auto& log) { return log && !log->isreset(); }))
    arithmeticState().registerLogs = logs;
}

void HeldArray::setTag(const std::string& tag) {
  HeldArray& own = owner();
  const Tag shared(tag);
  own.assignmentQuantizer_.logger().shareTag(shared);
  if (!own.arithmeticState_) return;
  for (auto& log : own.arithmeticState_->registerLogs)
    if (log) log->shareTag(shared);
}

std::array<const qlogger*, 1 + kRegisterLogs> HeldArray::loggers() const {
  std::array<const qlogger*, 1 + kRegisterLogs> all{&getQlogger()};
  const ArithmeticState* state = owner().arithmeticState_.get();
  if (!state) return all;
  for (std::size_t i = 0; const std::optional<qlogger>& log : state->registerLogs)
    all[++i] = log ? &*log : nullptr;
  return all;
}

void HeldArray::resetLogging() const {
  for (const qlogger* logger : loggers()) {
    if (logger) logger->reset();
  }
}

HostArray HeldArray::saveLogsInHostStruct() const {
  HostArray structure = HostArray::structure();
  for (std::size_t i = 0; const qlogger* logger : loggers()) {
    structure.mutableFieldAt(kLogFields[i++]) =
        logger ? logger->toHostArrayStruct() : qlogger::createUninitializedHostArrayStruct();
  }
  return structure;
}

std::vector<filog> HeldArray::getlocalfilogs() const {
  std::vector<filog> records;
  for (const qlogger* logger : loggers()) {
    if (logger && !logger->isreset()) records.emplace_back(logger->tag(), *logger);
  }
  return records;
}

void HeldArray::consolidatelocalfilogs() const { filog::collect(loggers()); }

}  // namespace embedded
