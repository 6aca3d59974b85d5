/// Scalar assignments a(k) = v, a thousand of them, into arrays of two sizes: none may cost a copy of the
/// array.
#include <benchmark/benchmark.h>

#include "bench/job.h"
#include "qfcore/fi/fi.h"

namespace bench {
namespace {

using embedded::fi;
using embedded::NumericType;
using tessel::HostArray;

HostArray subscript(std::size_t position) {
  HostArray subscripts = HostArray::cell({1, 1});
  subscripts.mutableCellAt(0) = HostArray::scalar(static_cast<double>(position));
  HostArray index = HostArray::structure();
  index.mutableFieldAt("type") = HostArray::text("()");
  index.mutableFieldAt("subs") = subscripts;
  return index;
}

/// Spreads the assignments over an array of `arraySize` elements, as scripts make them.
Prepare into(unsigned arraySize) {
  return [=](std::size_t assignmentCount) -> std::function<void()> {
    return [=, a = fi(1U, arraySize, NumericType(true, 16, 15)), value = HostArray::scalar(0.25)]() mutable {
      const std::size_t stride = arraySize / assignmentCount;
      for (std::size_t k = 0; k < assignmentCount; ++k) a.subsasgn(subscript(1 + k * stride), value);
      benchmark::ClobberMemory();
    };
  };
}

}  // namespace

std::vector<Job> assignmentJobs() {
  return {{"a(k) = v, per assignment",
           {{"into 1,000", into(1'000)}, {"into 1,000,000", into(1'000'000)}},
           {1'000}}};
}

}  // namespace bench
