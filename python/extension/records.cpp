#include "python/extension/records.h"

#include <utility>
#include <vector>

#include "python/extension/object.h"
#include "qfcore/host/exchange.h"
#include "qfcore/logging/savedrecord.h"

namespace face {

namespace {

using embedded::qlogger;
using embedded::SavedRecord;

const qlogger& recordOf(py::handle array) {
  if (!isArray(array.ptr())) throw py::type_error("an array of fixed-point values is needed");
  return embedded::heldArray(asObject(array.ptr()).array)->getQlogger();
}

py::tuple tupleOf(const SavedRecord::Extreme& extreme) {
  return py::make_tuple(extreme.exponent, extreme.parts);
}

SavedRecord::Extreme extremeFrom(const py::handle& saved) {
  auto [exponent, parts] = saved.cast<std::pair<int, std::vector<double>>>();
  return {exponent, std::move(parts)};
}

/// The record's counts and extremes; nothing while it is empty.
py::object savedRecord(py::handle array) {
  const SavedRecord saved = embedded::savedRecord(recordOf(array));
  if (saved.isEmpty()) return py::none();
  return py::make_tuple(saved.overflows, saved.underflows, saved.operations, saved.mathOperations,
                        saved.precision, tupleOf(saved.max), tupleOf(saved.min));
}

/// Gives an array without a record one; what it tells counts as reported.
void restoreRecord(py::handle array, const py::tuple& saved) {
  const auto count = [&](std::size_t place) { return saved[place].cast<std::size_t>(); };
  embedded::restoreRecord(recordOf(array), {count(0), count(1), count(2), count(3), saved[4].cast<unsigned>(),
                                            extremeFrom(saved[5]), extremeFrom(saved[6])});
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
