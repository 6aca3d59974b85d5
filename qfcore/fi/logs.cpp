/// The loggers of an array and of its arithmetic's registers: resetting, showing, collecting.
#include "qfcore/fi/arithmeticstate.h"
#include "qfcore/fi/fi.h"
#include "qfcore/logging/filog.h"
#include "qfcore/types/printed.h"
#include "tessel/console.h"

namespace embedded {

using tessel::HostArray;

namespace {

constexpr OperationTypeEnum kGlobalLoggers[] = {OperationTypeEnum::Assignment, OperationTypeEnum::Sum,
                                                OperationTypeEnum::Product};
/// The fields of the log structure, in the order of `fi::loggers`.
constexpr const char* kLogFields[] = {"Assignment", "Sum", "Product", "ProductSum"};

}  // namespace

void fi::resetGlobalLog() {
  if (!qlogger::getLogging()) return;
  for (const OperationTypeEnum operation : kGlobalLoggers) qlogger::global(operation)->reset();
}

void fi::displayGlobalLog() {
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

void fi::recordInTotal() const {
  const qlogger& record = getQlogger();
  if (!record.isOn() || qlogger::getLogType() != LogTypeEnum::Global) return;
  if (const qlogger* total = qlogger::global(record.operationType())) total->merge(record);
}

std::array<fi*, 3> fi::registers() const {
  const ArithmeticState* state = owner().arithmeticState_.get();
  if (!state) return {};
  return {state->sumRegister.get(), state->productRegister.get(), state->productSumRegister.get()};
}

std::array<const qlogger*, 4> fi::loggers() const {
  std::array<const qlogger*, 4> all{&getQlogger()};
  for (std::size_t i = 0; fi* const each : registers()) all[++i] = each ? &each->getQlogger() : nullptr;
  return all;
}

void fi::resetLogging() const {
  for (const qlogger* logger : loggers()) {
    if (logger) logger->reset();
  }
}

HostArray fi::saveLogsInHostStruct() const {
  HostArray structure = HostArray::structure();
  for (std::size_t i = 0; const qlogger* logger : loggers()) {
    structure.mutableFieldAt(kLogFields[i++]) =
        logger ? logger->toHostArrayStruct() : qlogger::createUninitializedHostArrayStruct();
  }
  return structure;
}

std::vector<filog> fi::getlocalfilogs() const {
  std::vector<filog> records;
  for (const qlogger* logger : loggers()) {
    if (logger && !logger->isreset()) records.emplace_back(logger->tag(), *logger);
  }
  return records;
}

void fi::consolidatelocalfilogs() const {
  for (const qlogger* logger : loggers()) {
    if (!logger || logger->isreset()) continue;
    logger->writeLogMap(filog::getLogMap());
    logger->reset();
  }
  for (fi* const each : registers()) {
    if (!each) continue;
    each->realPart_ = 0.0;
    if (each->iscomplex()) each->imagPart_ = 0.0;
  }
}

}  // namespace embedded
