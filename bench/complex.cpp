/// Sums and products of complex arrays; real and imaginary parts stand apart.
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
Prepare byComplexFi(FiOperation operation) {
  return [=](std::size_t count) -> Work {
    const unsigned dims[] = {1, static_cast<unsigned>(count)};
    const auto operand = [&](unsigned seed) {
      return fi(part<double>(count, seed).data(), part<double>(count, seed + 1).data(), dims, 2, s16());
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

}  // namespace

std::vector<Job> complexJobs() {
  return {complexJob<ComplexAdd, ScFixed<17, 15>>("complex add s16,15, full precision", "fi plus",
                                                  [](const fi& a, const fi& b) { return a.plus(b); }, {}),
          complexJob<ComplexMultiply, ScFixed<33, 30>>("complex multiply s16,15, full precision", "fi times",
                                                       [](const fi& a, const fi& b) { return a.times(b); },
                                                       {atMost(2, "plain loop")})};
}

}  // namespace bench
