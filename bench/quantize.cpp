/// Rounding an array of doubles to the grid of a type and bringing it into range.
#include <benchmark/benchmark.h>

#include <cmath>
#include <limits>

#include "bench/job.h"
#include "bench/operands.h"
#include "qfcore/fi/fi.h"
#include "qfcore/number/vectorised.h"

namespace bench {
namespace {

using embedded::fi;
using embedded::fimath;
using embedded::NumericType;
using embedded::OverflowModeEnum;
using embedded::qlogger;
using embedded::quantizer;
using embedded::RoundModeEnum;

// Values over one and a half times the range, so that a third of them saturates.
constexpr double kBound = 1.5;

QFCORE_VECTORISED void quantizePlainly(const double* values, double* quantized, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    const double integer = std::floor(values[i] * 32768.0 + 0.5);
    quantized[i] = std::min(std::max(integer, -32768.0), 32767.0) * (1.0 / 32768.0);
  }
}

struct Met {
  double min = std::numeric_limits<double>::max(), max = -min;
  std::size_t overflows = 0, underflows = 0;
};

/// The same with what a logger keeps, in eight lanes so that it vectorises.
QFCORE_VECTORISED void quantizeCounting(const double* values, double* quantized, std::size_t count, Met& met) {
  constexpr std::size_t kLanes = 8;
  double low[kLanes], high[kLanes];
  std::size_t overflows[kLanes] = {}, underflows[kLanes] = {};
  std::fill_n(low, kLanes, met.min);
  std::fill_n(high, kLanes, met.max);
  for (std::size_t i = 0; i + kLanes <= count; i += kLanes) {
    for (std::size_t lane = 0; lane < kLanes; ++lane) {
      const double x = values[i + lane];
      const double rounded = std::floor(x * 32768.0 + 0.5) * (1.0 / 32768.0);
      const double y = rounded > 32767.0 / 32768 ? 32767.0 / 32768 : rounded < -1 ? -1 : rounded;
      overflows[lane] += y != rounded;
      underflows[lane] += rounded == 0 && x != 0;
      low[lane] = y < low[lane] ? y : low[lane];
      high[lane] = y > high[lane] ? y : high[lane];
      quantized[i + lane] = y;
    }
  }
  for (std::size_t lane = 0; lane < kLanes; ++lane) {
    met.min = std::min(met.min, low[lane]);
    met.max = std::max(met.max, high[lane]);
    met.overflows += overflows[lane];
    met.underflows += underflows[lane];
  }
}

template <class Loop>
Prepare byHand(Loop loop) {
  return [loop](std::size_t elementCount) -> std::function<void()> {
    return [loop, values = randomValues(elementCount, kBound),
            quantized = std::vector<double>(elementCount)]() mutable {
      loop(values.data(), quantized.data(), values.size());
      benchmark::DoNotOptimize(quantized.data());
      benchmark::ClobberMemory();
    };
  };
}

/// Copies the values and quantizes the copy, as a result's storage is filled.
Prepare byQuantizer(RoundModeEnum round, OverflowModeEnum overflow, bool logging) {
  return [=](std::size_t elementCount) -> std::function<void()> {
    return [=, values = randomValues(elementCount, kBound), quantized = std::vector<double>(elementCount),
            q = quantizer(NumericType(true, 16, 15), round, overflow)]() mutable {
      qlogger::setLogging(logging);
      constexpr std::size_t kBlock = 1024;
      for (std::size_t first = 0; first < values.size(); first += kBlock) {
        const std::size_t size = std::min(kBlock, values.size() - first);
        std::copy_n(values.data() + first, size, quantized.data() + first);
        q.quantize(quantized.data() + first, size);
      }
      qlogger::setLogging(false);
      benchmark::ClobberMemory();
    };
  };
}

Prepare byConstruction() {
  return [](std::size_t elementCount) -> std::function<void()> {
    return [values = randomValues(elementCount, kBound)] {
      const unsigned dims[] = {1, static_cast<unsigned>(values.size())};
      benchmark::DoNotOptimize(fi(values.data(), dims, 2, NumericType(true, 16, 15)));
    };
  };
}

}  // namespace

std::vector<Job> quantizeJobs() {
  const Contender plain{"plain loop", byHand(quantizePlainly)};
  const Contender counting{"counting loop",
                           byHand([](const double* values, double* quantized, std::size_t count) {
                             Met met;
                             quantizeCounting(values, quantized, count, met);
                             benchmark::DoNotOptimize(met);
                           })};
  const auto saturate = OverflowModeEnum::saturate;
  return {
      {"quantize to s16,15",
       {plain,
        {"nearest saturate", byQuantizer(RoundModeEnum::nearest, saturate, false)},
        {"floor saturate", byQuantizer(RoundModeEnum::floor, saturate, false)},
        {"convergent satur", byQuantizer(RoundModeEnum::convergent, saturate, false)},
        {"round saturate", byQuantizer(RoundModeEnum::round, saturate, false)},
        {"nearest wrap", byQuantizer(RoundModeEnum::nearest, OverflowModeEnum::wrap, false)},
        {"new fi", byConstruction()}}},
      {"quantize to s16,15, logging",
       {counting, {"nearest saturate", byQuantizer(RoundModeEnum::nearest, saturate, true)}}},
  };
}

}  // namespace bench
