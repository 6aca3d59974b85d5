/// Element-wise sums of two arrays.
#include <benchmark/benchmark.h>

#include <cmath>

#include "bench/job.h"
#include "bench/operands.h"
#include "qfcore/fi/fi.h"
#include "qfcore/number/vectorised.h"

namespace bench {
namespace {

using embedded::ArithmeticModeEnum;
using embedded::fi;
using embedded::fimath;
using embedded::NumericType;

QFCORE_VECTORISED void addPlainly(const double* a, const double* b, double* sum, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) sum[i] = a[i] + b[i];
}

QFCORE_VECTORISED void addSaturating(const double* a, const double* b, double* sum, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    const double integer = std::floor((a[i] + b[i]) * 32768.0 + 0.5);
    sum[i] = std::min(std::max(integer, -32768.0), 32767.0) * (1.0 / 32768.0);
  }
}

template <class Loop>
Prepare byHand(Loop loop) {
  return [loop](std::size_t elementCount) -> std::function<void()> {
    return [loop, a = randomValues(elementCount, 1), sum = std::vector<double>(elementCount)]() mutable {
      loop(a.data(), a.data(), sum.data(), sum.size());
      benchmark::ClobberMemory();
    };
  };
}

/// A new array each time, as `a + b` makes one.
Prepare bySum(const NumericType& type, const fimath& math) {
  return [=](std::size_t elementCount) -> std::function<void()> {
    const std::vector<double> values = randomValues(elementCount, 1);
    const unsigned dims[] = {1, static_cast<unsigned>(elementCount)};
    return [a = fi(values.data(), dims, 2, type, math)] { benchmark::DoNotOptimize(a.plus(a)); };
  };
}

}  // namespace

std::vector<Job> additionJobs() {
  const NumericType s16(true, 16, 15);
  fimath kept;
  kept.setSumMode(ArithmeticModeEnum::SpecifyPrecision);
  kept.setSumFormat(16, 15);
  return {
      {"add s16,15, full precision", {{"plain loop", byHand(addPlainly)}, {"fi plus", bySum(s16, fimath())}}},
      {"add, kept to s16,15, saturate", {{"plain loop", byHand(addSaturating)}, {"fi plus", bySum(s16, kept)}}},
  };
}

}  // namespace bench
