/// Rounding an array of doubles to the grid of a type and bringing it into range.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <random>

#include "bench/job.h"

namespace bench {
namespace {

/// Uniform over one and a half times the range of s16,15, so that a third of the values saturates.
std::vector<double> randomValues(std::size_t elementCount) {
  std::mt19937_64 generator(20'240'917);
  std::uniform_real_distribution<double> uniform(-1.5, 1.5);
  std::vector<double> values(elementCount);
  std::generate(values.begin(), values.end(), [&] { return uniform(generator); });
  return values;
}

[[gnu::target_clones("arch=x86-64-v4", "arch=x86-64-v3", "default")]] void quantizePlainly(const double* values,
                                                                                           double* quantized,
                                                                                           std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    const double integer = std::floor(values[i] * 32768.0 + 0.5);
    quantized[i] = std::clamp(integer, -32768.0, 32767.0) * (1.0 / 32768.0);
  }
}

std::function<void()> plainLoop(std::size_t elementCount) {
  return [values = randomValues(elementCount), quantized = std::vector<double>(elementCount)]() mutable {
    quantizePlainly(values.data(), quantized.data(), values.size());
    benchmark::DoNotOptimize(quantized.data());
    benchmark::ClobberMemory();
  };
}

}  // namespace

std::vector<Job> quantizeJobs() {
  return {{"quantize to s16,15, nearest, saturate", {{"plain loop", plainLoop}}}};
}

}  // namespace bench
