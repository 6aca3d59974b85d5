/// Comparison, extremes and bit operations.
#include <cstdint>

#include "bench/job.h"
#include "bench/operands.h"
#include "bench/systemc.h"

namespace bench {
namespace {

using tessel::HostArray;

const Fill kA = uniform(1, 1), kB = uniform(1, 2);

/// A job of two arrays, or of one, without a goal.
template <class Result, class ScResult, class Operation, class FiOperation, class ScOperation, class... Fills>
Job job(const char* name, const char* fiName, Operation byHandOperation, FiOperation fiOperation,
        ScOperation scOperation, const Fills&... fills) {
  return {name,
          {{"plain loop", byHand<Result>(byHandOperation, fills...)},
           sizeof...(fills) == 2 ? triadLimit() : copyLimit(),
           subject(fiName, byFi(s16(), fimath(), fiOperation, fills...)),
           bySystemC<ScS16, ScResult>("SystemC", scOperation, fills...)}};
}

struct Largest {
  double value;
  std::size_t index;
};

/// The largest value, in lanes enough for several vectors, and then its first place.
QFCORE_VECTORISED Largest largestOf(const double* values, std::size_t count) {
  constexpr std::size_t kLanes = 32;
  double largest[kLanes];
  std::fill_n(largest, kLanes, values[0]);
  for (std::size_t i = 0; i + kLanes <= count; i += kLanes) {
    for (std::size_t lane = 0; lane < kLanes; ++lane) {
      largest[lane] = values[i + lane] > largest[lane] ? values[i + lane] : largest[lane];
    }
  }
  for (std::size_t i = count - count % kLanes; i < count; ++i) largest[0] = std::max(largest[0], values[i]);
  const double value = *std::max_element(largest, largest + kLanes);
  return {value, static_cast<std::size_t>(std::find(values, values + count, value) - values)};
}

Prepare largestByHand() {
  return [](std::size_t elementCount) -> Work {
    return [values = kA(elementCount)] { benchmark::DoNotOptimize(largestOf(values.data(), values.size())); };
  };
}

Prepare largestBySystemC() {
  return [](std::size_t elementCount) -> Work {
    const Values doubles = kA(elementCount);
    return [values = std::vector<ScS16>(doubles.begin(), doubles.end())] {
      benchmark::DoNotOptimize(std::max_element(values.begin(), values.end()));
    };
  };
}

fi largestByFi(const fi& a) {
  unsigned index = 0;
  HostArray position;
  return a.unary_max(index, position);
}

const auto kStoredAnd = [](double a, double b) {
  return (static_cast<std::int32_t>(a * kScale) & static_cast<std::int32_t>(b * kScale)) * kStep;
};

}  // namespace

std::vector<Job> elementwiseJobs() {
  using Scalar = double;
  constexpr int kPlaces = -2;
  return {
      job<unsigned char, unsigned char>(
          "compare, a < b", "fi lt", [](Scalar a, Scalar b) { return static_cast<unsigned char>(a < b); },
          [](const fi& a, const fi& b) { return a.lt(b); },
          [](const ScS16& a, const ScS16& b) { return static_cast<unsigned char>(a < b); }, kA, kB),
      job<double, ScS16>(
          "min of two arrays", "fi min", [](Scalar a, Scalar b) { return std::min(a, b); },
          [](const fi& a, const fi& b) { return a.min(b); },
          [](const ScS16& a, const ScS16& b) { return b < a ? b : a; }, kA, kB),
      {"largest element and its index",
       {{"plain loop", largestByHand()},
        subject("fi max", byFi(s16(), fimath(), largestByFi, kA)),
        {"SystemC", largestBySystemC(), {}, kSlowCount}}},
      job<double, ScS16>(
          "abs", "fi abs", [](Scalar a) { return std::min(std::abs(a), 1 - kStep); },
          [](const fi& a) { return a.abs(); }, [](const ScS16& a) { return a.is_neg() ? ScS16(-a) : a; }, kA),
      job<double, ScS16>(
          "bitand", "fi bitand", kStoredAnd, [](const fi& a, const fi& b) { return a.fibitand(b); },
          [](const ScS16& a, const ScS16& b) { return a & b; }, kA, kB),
      job<double, ScFixed<16, 15, sc_dt::SC_TRN>>(
          "bitshift by -2", "fi bitshift", [](Scalar a) { return std::floor(a * (kScale / 4)) * kStep; },
          [](const fi& a) { return a.bitshift(kPlaces); }, [](const ScS16& a) { return a >> -kPlaces; }, kA),
  };
}

}  // namespace bench
