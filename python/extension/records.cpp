#include "python/extension/records.h"

#include <utility>
#include <vector>

#include "python/extension/object.h"
#include "qfcore/host/exchange.h"

namespace face {

namespace {

using embedded::number;
using embedded::qlogger;

/// A value of any precision: the sum of `parts`, times 2^exponent.
using Extreme = std::pair<int, std::vector<double>>;

Extreme partsOf(number value) {
  const int exponent = value.iszero() ? 0 : value.unbiasedexponent();
  value.pow2(-exponent);
  std::vector<double> parts;
  do {
    parts.push_back(value.todouble());
    value -= number(parts.back(), value.getprecision(), value.gettype() != embedded::kDoubleRepresentation);
  } while (!value.iszero());
  return {exponent, std::move(parts)};
}

number valueOf(const Extreme& extreme, unsigned precision) {
  number value(0.0, precision, false);
  for (const double part : extreme.second) value += number(part, precision, false);
  value.pow2(extreme.first);
  return value;
}

const qlogger& recordOf(py::handle array) {
  if (!isArray(array.ptr())) throw py::type_error("an array of fixed-point values is needed");
  return embedded::heldArray(asObject(array.ptr()).array)->getQlogger();
}

/// The record's counts and extremes; nothing while it is empty.
py::object savedRecord(py::handle array) {
  const qlogger& record = recordOf(array);
  if (record.noperations() == 0 && record.nmathoperations() == 0 && record.noverflows() == 0) return py::none();
  return py::make_tuple(record.noverflows(), record.nunderflows(), record.noperations(),
                        record.nmathoperations(), record.maxlog().getprecision(), partsOf(record.maxlog()),
                        partsOf(record.minlog()));
}

/// Gives an array without a record one; what it tells counts as reported.
void restoreRecord(py::handle array, const py::tuple& saved) {
  const qlogger& record = recordOf(array);
  const auto count = [&](std::size_t place) { return saved[place].cast<std::size_t>(); };
  const auto precision = saved[4].cast<unsigned>();
  qlogger restored(true);
  restored.updateminmax(valueOf(saved[5].cast<Extreme>(), precision));
  restored.updateminmax(valueOf(saved[6].cast<Extreme>(), precision));
  embedded::Tally counts;
  counts.values = 1;
  counts.overflows = count(0);
  counts.underflows = count(1);
  restored.record(counts);
  restored.setNoperations(count(2));
  restored.setNMathOperations(count(3));
  record.reset();
  record.merge(restored);
  record.takeNewOverflows();
  record.takeNewUnderflows();
}

/// Values, overflows, underflows, smallest and largest value that an array's record has; no extremes while it
/// is empty.
py::tuple record(py::handle array) {
  const qlogger& of = recordOf(array);
  const bool isEmpty = of.isreset();
  return py::make_tuple(of.noperations(), of.noverflows(), of.nunderflows(),
                        isEmpty ? py::none() : py::object(py::float_(of.realWorldMin())),
                        isEmpty ? py::none() : py::object(py::float_(of.realWorldMax())));
}

constexpr embedded::OperationTypeEnum kTotals[] = {embedded::OperationTypeEnum::Assignment,
                                                   embedded::OperationTypeEnum::Sum,
                                                   embedded::OperationTypeEnum::Product};

/// Kind, overflows and underflows of all assignments, sums and products.
py::list totals() {
  py::list all;
  for (const auto kind : kTotals) {
    const qlogger& total = *qlogger::global(kind);
    all.append(py::make_tuple(qlogger::operationTypeToString(kind), total.noverflows(), total.nunderflows()));
  }
  return all;
}

void resetTotals() {
  for (const auto kind : kTotals) qlogger::global(kind)->reset();
}

}  // namespace

void addRecordFunctions(py::module_& module) {
  module.def("saved_record", savedRecord);
  module.def("restore_record", restoreRecord);
  module.def("record", record);
  module.def("totals", totals);
  module.def("reset_totals", resetTotals);
}

}  // namespace face
