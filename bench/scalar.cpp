/// Single values: made, added, and assigned to elements of arrays. Counts are operations, one after the other.
#include <functional>

#include "bench/job.h"
#include "bench/operands.h"
#include "bench/systemc.h"

namespace bench {
namespace {

using tessel::HostArray;

constexpr std::size_t kCount = 1'000;

/// Makes a value of each of a thousand doubles and drops it.
template <class Make>
Prepare byMaking(Make make) {
  return [=](std::size_t elementCount) -> Work {
    return [=, values = randomValues(elementCount, 1)] {
      for (const double value : values) {
        auto made = make(value);
        benchmark::DoNotOptimize(made);
      }
    };
  };
}

/// Combines two values, again and again.
template <class Operation, class Make>
Prepare byCombining(Operation combine, Make make) {
  return [=](std::size_t elementCount) -> Work {
    return [=, a = make(0.3), b = make(-0.7)]() mutable {
      for (std::size_t k = 0; k < elementCount; ++k) {
        benchmark::DoNotOptimize(a);
        auto result = combine(a, b);
        benchmark::DoNotOptimize(result);
      }
    };
  };
}

HostArray subscript(std::size_t position) {
  HostArray subscripts = HostArray::cell({1, 1});
  subscripts.mutableCellAt(0) = HostArray::scalar(static_cast<double>(position));
  HostArray index = HostArray::structure();
  index.mutableFieldAt("type") = HostArray::text("()");
  index.mutableFieldAt("subs") = subscripts;
  return index;
}

/// Spreads the assignments over an array of `arraySize` elements: none may cost a copy of the array.
template <class Assign>
Prepare assigningInto(unsigned arraySize, Assign assign) {
  return [=](std::size_t assignmentCount) -> Work {
    return [=, a = fi(1U, arraySize, s16())]() mutable {
      const std::size_t stride = arraySize / assignmentCount;
      for (std::size_t k = 0; k < assignmentCount; ++k) assign(a, k * stride);
      benchmark::ClobberMemory();
    };
  };
}

}  // namespace

std::vector<Job> scalarJobs() {
  const auto plain = [](double value) { return value; };
  const auto systemC = [](double value) { return sc_dt::sc_fix(value, 16, 1); };
  const auto single = [type = s16()](double value) { return fi(value, type); };
  const std::vector<Goal> goal = {atMost(0.5, "SystemC sc_fix")};
  // The way of one existing element, which scripts go too, and that of every index.
  const auto assignOne = [](fi& a, std::size_t position) {
    a.subsasgnScalarIndexing(static_cast<unsigned>(position), 0.25);
  };
  const auto assignByIndex = [value = HostArray::scalar(0.25)](fi& a, std::size_t position) {
    a.subsasgn(subscript(1 + position), value);
  };
  const std::plus<> add;
  const std::multiplies<> multiply;
  return {
      {"scalar: make fi(double, type)",
       {{"plain double", byMaking(plain)},
        subject("fi", byMaking(single), goal),
        {"SystemC sc_fix", byMaking(systemC)}},
       {kCount}},
      {"scalar: a + b",
       {{"plain double", byCombining(add, plain)},
        subject("fi plus", byCombining(add, single), goal),
        {"SystemC sc_fix", byCombining(add, systemC)}},
       {kCount}},
      {"scalar: a * b",
       {{"plain double", byCombining(multiply, plain)},
        subject("fi times", byCombining(multiply, single), goal),
        {"SystemC sc_fix", byCombining(multiply, systemC)}},
       {kCount}},
      {"scalar: a(k) = v",
       {subject("into 1,000", assigningInto(1'000, assignOne), {atMostNanoseconds(60)}),
        subject("into 1,000,000", assigningInto(1'000'000, assignOne), {atMostNanoseconds(60)}),
        subject("by an index structure", assigningInto(1'000, assignByIndex))},
       {kCount}},
  };
}

}  // namespace bench
