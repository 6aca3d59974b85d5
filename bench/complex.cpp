/// Sums and products of complex arrays; real and imaginary parts stand apart.
#include <algorithm>
#include <cmath>

#include "bench/job.h"
#include "bench/operands.h"
#include "bench/systemc.h"

namespace bench {
namespace {

/// Real and imaginary parts of two operands and the parts of the result.
struct ComplexAdd {
  template <class Re, class Part>
  static void at(Re& re, Re& im, const Part& ar, const Part& ai, const Part& br, const Part& bi) {
    re = ar + br;
    im = ai + bi;
  }
};
struct ComplexMultiply {
  template <class Re, class Part>
  static void at(Re& re, Re& im, const Part& ar, const Part& ai, const Part& br, const Part& bi) {
    re = ar * br - ai * bi;
    im = ar * bi + ai * br;
  }
};

/// The four parts' values, each with its seed.
template <class Part>
std::vector<Part> part(std::size_t elementCount, unsigned seed) {
  const Values values = randomValues(elementCount, 1, seed);
  return {values.begin(), values.end()};
}

template <class Operation>
QFCORE_VECTORISED void complexLoop(std::size_t count, double* __restrict re, double* __restrict im,
                                   const double* __restrict ar, const double* __restrict ai,
                                   const double* __restrict br, const double* __restrict bi) {
  for (std::size_t i = 0; i < count; ++i) Operation::at(re[i], im[i], ar[i], ai[i], br[i], bi[i]);
}

template <class Operation, class Result, class Part>
void complexLoop(std::size_t count, Result* re, Result* im, const Part* ar, const Part* ai, const Part* br,
                 const Part* bi) {
  for (std::size_t i = 0; i < count; ++i) Operation::at(re[i], im[i], ar[i], ai[i], br[i], bi[i]);
}

template <class Operation, class Result, class Part>
Prepare byParts() {
  return [](std::size_t count) -> Work {
    return [=, ar = part<Part>(count, 1), ai = part<Part>(count, 2), br = part<Part>(count, 3),
            bi = part<Part>(count, 4), re = std::vector<Result>(count),
            im = std::vector<Result>(count)]() mutable {
      complexLoop<Operation>(count, re.data(), im.data(), ar.data(), ai.data(), br.data(), bi.data());
      benchmark::DoNotOptimize(re.data());
      benchmark::ClobberMemory();
    };
  };
}

template <class FiOperation>
Prepare byComplexFi(FiOperation operation, const NumericType& type = s16()) {
  return [=](std::size_t count) -> Work {
    const unsigned dims[] = {1, static_cast<unsigned>(count)};
    const auto operand = [&](unsigned seed) {
      return fi(part<double>(count, seed).data(), part<double>(count, seed + 1).data(), dims, 2, type);
    };
    return [=, a = operand(1), b = operand(3)] { benchmark::DoNotOptimize(operation(a, b)); };
  };
}

template <class Operation, class ScResult, class FiOperation>
Job complexJob(const char* name, const char* fiName, FiOperation operation, std::vector<Goal> goals) {
  return {name,
          {{"plain loop", byParts<Operation, double, double>()},
           subject(fiName, byComplexFi(operation), std::move(goals)),
           {"SystemC", byParts<Operation, ScResult, ScS16>(), {}, kSlowCount}}};
}

/// The largest square of a magnitude, in lanes enough for several vectors.
QFCORE_VECTORISED double largestSquare(const double* re, const double* im, std::size_t count) {
  constexpr std::size_t kLanes = 32;
  double largest[kLanes] = {};
  for (std::size_t i = 0; i + kLanes <= count; i += kLanes) {
    for (std::size_t lane = 0; lane < kLanes; ++lane) {
      const double square = re[i + lane] * re[i + lane] + im[i + lane] * im[i + lane];
      largest[lane] = square > largest[lane] ? square : largest[lane];
    }
  }
  return *std::max_element(largest, largest + kLanes);
}

Prepare largestByHand() {
  return [](std::size_t count) -> Work {
    return [re = part<double>(count, 1), im = part<double>(count, 2)] {
      benchmark::DoNotOptimize(largestSquare(re.data(), im.data(), re.size()));
    };
  };
}

Job largestJob() {
  const auto largest = [](const fi& a, const fi&) {
    unsigned index = 0;
    tessel::HostArray position;
    return a.unary_max(index, position);
  };
  const auto larger = [](const fi& a, const fi& b) { return a.max(b); };
  return {"complex largest element",
          {{"plain loop", largestByHand()},
           subject("fi max", byComplexFi(largest)),
           subject("fi max of two arrays", byComplexFi(larger))}};
}

Job magnitudeJob() {
  const auto magnitude = [](const fi& a, const fi&) { return a.abs(); };
  return {"complex magnitude",
          {{"plain loop", byHand([](double re, double im) { return std::sqrt(re * re + im * im); },
                                 uniform(1, 1), uniform(1, 2))},
           subject("fi abs, s16,15", byComplexFi(magnitude)),
           subject("fi abs, s32,31", byComplexFi(magnitude, NumericType(true, 32, 31)))}};
}

}  // namespace

std::vector<Job> complexJobs() {
  return {complexJob<ComplexAdd, ScFixed<17, 15>>("complex add s16,15, full precision", "fi plus",
                                                  [](const fi& a, const fi& b) { return a.plus(b); }, {}),
          complexJob<ComplexMultiply, ScFixed<33, 30>>("complex multiply s16,15, full precision", "fi times",
                                                       [](const fi& a, const fi& b) { return a.times(b); },
                                                       {atMost(2, "plain loop")}),
          largestJob(), magnitudeJob()};
}

}  // namespace bench
