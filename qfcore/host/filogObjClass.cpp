#include "qfcore/host/filogObjClass.h"

#include "qfcore/host/NumericTypeObjClass.h"

namespace embedded::host {

namespace {

namespace property_type = tessel::property_type;

constexpr Message kMustBeFilog{"numforge:filog:mustBeFilog", "This parameter must be a filog."};
constexpr Message kBadSignature{"numforge:filog:constructor:badsignature",
                                "FILOG constructor signature not recognized."};

const filog& filogArgument(const HostArray& array) {
  if (const filog* record = unwrapped<filog>(array)) return *record;
  fail<kMustBeFilog>();
}

/// A property of the numeric type as one of the record, whose copy of the type is its own.
Property<filog> ofType(const char* name) {
  const Property<NumericType>& row = *findRow(NumericTypeObjClass::properties(), name);
  return {row.name, row.type, [&row](const filog& record) { return row.get(record.numericType()); },
          [&row](filog& record, const HostArray& value) { return row.set(record.numericType(), value); },
          row.help};
}

template <auto Getter>
HostArray get(const filog& record) {
  return host::get<filog, Getter>(record);
}

HostArray operation(const filog& record) {
  return toHost(qlogger::operationTypeToString(record.operationType()));
}

HostArray stackTrace(const filog& record) {
  const std::vector<std::string>& places = record.stackTrace();
  HostArray column = HostArray::cell({places.size(), places.empty() ? 0U : 1U});
  for (std::size_t i = 0; i < places.size(); ++i) column.mutableCellAt(i) = HostArray::text(places[i]);
  return column;
}

std::vector<Property<filog>> makeProperties() {
  std::vector<Property<filog>> rows;
  for (const char* name : {"DataTypeMode", "DataType", "Scaling", "Signed", "WordLength", "FractionLength",
                           "FixedExponent", "Slope", "SlopeAdjustmentFactor", "Bias"}) {
    rows.push_back(ofType(name));
  }
  const std::vector<Property<filog>> own{
      {"Tag", property_type::kString, get<&filog::tag>, set<filog, &filog::setTag>,
       "The name of what was logged."},
      {"OperationType",
       property_type::kString,
       operation,
       {},
       "What was logged: Assignment, Sum, Product or Unspecified."},
      {"minlog", property_type::kDouble, get<&filog::minlog>, {}, "The smallest value logged."},
      {"maxlog", property_type::kDouble, get<&filog::maxlog>, {}, "The largest value logged."},
      {"noverflows", property_type::kDouble, get<&filog::noverflows>, {}, "Overflows logged."},
      {"nunderflows", property_type::kDouble, get<&filog::nunderflows>, {}, "Underflows logged."},
      {"noperations", property_type::kDouble, get<&filog::noperations>, {}, "Values logged."},
      {"StackTrace",
       property_type::kArray,
       stackTrace,
       {},
       "A cell of the functions that were running, innermost first; empty while the feature "
       "FiStackTraceLogging is off."},
  };
  rows.insert(rows.end(), own.begin(), own.end());
  return rows;
}

Arrays copy(Arrays& inputs, int) { return {wrap(filog(filogArgument(inputs[0])))}; }

Arrays getGlobal(Arrays&, int) { return {cellOfFilogs(filog::getglobalfilogs())}; }

Arrays clearGlobal(Arrays&, int) {
  filog::clearglobalfilogs();
  return {};
}

const Method kMethods[] = {
    {"disp", 1, 1, 0, disp<filog>, "disp(R): prints operation, type, extremes and counts."},
    {"copy", 1, 1, 1, copy, "copy(R): another record with the same content."},
};

const Method kGlobalMethods[] = {
    {"getglobalfilogs", 1, 1, 1, getGlobal,
     "getglobalfilogs(a): a cell of the filog records that consolidatelocalfilogs has collected."},
    {"clearglobalfilogs", 1, 1, 0, clearGlobal,
     "clearglobalfilogs(a): empties the collection of filog records."},
};

}  // namespace

HostArray cellOfFilogs(std::vector<filog> records) {
  HostArray column = HostArray::cell({records.size(), records.empty() ? 0U : 1U});
  for (std::size_t i = 0; i < records.size(); ++i) column.mutableCellAt(i) = wrap(std::move(records[i]));
  return column;
}

std::span<const Method> globalFilogMethods() { return kGlobalMethods; }

std::span<const Property<filog>> filogObjClass::properties() {
  static const std::vector<Property<filog>> rows = makeProperties();
  return rows;
}

std::shared_ptr<HostObject> filogObjClass::createClassSpecificObject(Arrays& arguments) {
  if (arguments.empty()) return make(filog());
  const qlogger* logger = unwrapped<qlogger>(arguments[1]);
  if (!logger || !arguments[0].isText()) fail<kBadSignature>();
  return make(filog(arguments[0].toText(), *logger));
}

void filogObjClass::init() {
  hostClass().setHelp("What was logged under one tag, by one kind of operation, in one numeric type.");
  hostClass().addConstructor({});
  hostClass().setArgumentError(errorText<kBadSignature>());
  hostClass().addConstructor({property_type::kString, "embedded.qlogger"});
  addProperties(hostClass(), properties());
  addMethods(hostClass(), kMethods);
  addMethods(hostClass(), globalFilogMethods());
}

}  // namespace embedded::host
