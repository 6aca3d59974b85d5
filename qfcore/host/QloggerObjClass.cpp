#include "qfcore/host/QloggerObjClass.h"

#include "qfcore/host/FiObjClass.h"
#include "qfcore/host/NumericTypeObjClass.h"
#include "qfcore/host/QuantizerObjClass.h"

namespace embedded::host {

namespace {

namespace property_type = tessel::property_type;

constexpr Message kMustBeQlogger{"numforge:qlogger:mustBeQlogger", "This parameter must be a qlogger."};
constexpr Message kBadSignature{"numforge:qlogger:constructor:badsignature",
                                "QLOGGER constructor signature not recognized."};

qlogger& loggerArgument(const HostArray& array) {
  if (qlogger* logger = unwrapped<qlogger>(array)) return *logger;
  fail<kMustBeQlogger>();
}

HostArray operation(const qlogger& logger) {
  return toHost(qlogger::operationTypeToString(logger.operationType()));
}

template <auto Getter>
HostArray get(const qlogger& logger) {
  return host::get<qlogger, Getter>(logger);
}

using L = qlogger;
const Property<qlogger> kProperties[] = {
    {"Tag", property_type::kString, get<&L::tag>, set<L, &L::setTag>, "The name of what is logged."},
    {"OperationType",
     property_type::kString,
     operation,
     {},
     "What is logged: Assignment, Sum, Product or Unspecified."},
    {"numerictype", "embedded.numerictype", get<&L::numericType>, {}, "The type of the values logged."},
    {"maxlog", property_type::kDouble, get<&L::realWorldMax>, {}, "The largest value logged."},
    {"minlog", property_type::kDouble, get<&L::realWorldMin>, {}, "The smallest value logged."},
    {"noverflows", property_type::kDouble, get<&L::noverflows>, {}, "Overflows logged."},
    {"nunderflows", property_type::kDouble, get<&L::nunderflows>, {}, "Underflows logged."},
    {"noperations", property_type::kDouble, get<&L::noperations>, {}, "Values logged."},
    {"nmathoperations", property_type::kDouble, get<&L::nmathoperations>, {}, "Arithmetic operations logged."},
    {"Logging", property_type::kBool, get<&L::isAlwaysOn>, set<L, &L::setAlwaysOn>,
     "Whether this logger records while logging is off everywhere."},
};

Arrays reset(Arrays& inputs, int) {
  loggerArgument(inputs[0]).reset();
  return {};
}

template <auto Getter>
Arrays ask(Arrays& inputs, int) {
  return {get<Getter>(loggerArgument(inputs[0]))};
}

Arrays copy(Arrays& inputs, int) { return {wrap(qlogger(loggerArgument(inputs[0])))}; }

const Method kMethods[] = {
    {"disp", 1, 1, 0, disp<qlogger>, "disp(L): prints extremes, counts and tag."},
    {"reset", 1, 1, 0, reset, "reset(L): forgets what was logged."},
    {"isreset", 1, 1, 1, ask<&L::isreset>, "isreset(L): true when nothing was logged since the last reset."},
    {"struct", 1, 1, 1, ask<&L::toHostArrayStruct>,
     "struct(L): a structure with Max, Min, NOverflows, NUnderflows and NOperations."},
    {"key", 1, 1, 1, ask<&L::createFilogKey>,
     "key(L): tag, operation and type, by which filog records are collected."},
    {"copy", 1, 1, 1, copy, "copy(L): another logger with the same record."},
};

}  // namespace

std::span<const Property<qlogger>> QloggerObjClass::properties() { return kProperties; }

std::shared_ptr<HostObject> QloggerObjClass::createClassSpecificObject(Arrays& arguments) {
  if (arguments.empty()) return make(qlogger());
  if (const fi* array = unwrapped<fi>(arguments[0])) return make(qlogger(array->getQlogger()));
  if (const quantizer* q = unwrapped<quantizer>(arguments[0])) return make(qlogger(q->logger()));
  if (const qlogger* logger = unwrapped<qlogger>(arguments[0])) return make(qlogger(*logger));
  fail<kBadSignature>();
}

void QloggerObjClass::init() {
  hostClass().setHelp("What quantizations met: overflows, underflows, the smallest and the largest value.");
  hostClass().addConstructor({});
  hostClass().setArgumentError(errorText<kBadSignature>());
  hostClass().addConstructor({property_type::kArray});
  addProperties(hostClass(), properties());
  addMethods(hostClass(), kMethods);
}

}  // namespace embedded::host
