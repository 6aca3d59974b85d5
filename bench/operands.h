/// Operands and the contenders made of them: the hand-written loop, the limit that memory sets, `fi`.
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <functional>
#include <random>
#include <tuple>
#include <utility>
#include <vector>

#include "bench/job.h"
#include "qfcore/fi/fi.h"
#include "qfcore/number/vectorised.h"

namespace bench {

using embedded::fi;
using embedded::fimath;
using embedded::NumericType;

using Values = std::vector<double>;
/// Makes the values of an operand.
using Fill = std::function<Values(std::size_t elementCount)>;

/// Uniform over [-bound, bound), the same in every run; another seed gives other values.
Values randomValues(std::size_t elementCount, double bound, unsigned seed = 1);

inline Fill uniform(double bound = 1, unsigned seed = 1) {
  return [=](std::size_t elementCount) { return randomValues(elementCount, bound, seed); };
}

/// A row of the given type, or a column.
fi rowOf(const Values& values, const NumericType& type, const fimath& math = {});
fi columnOf(const Values& values, const NumericType& type, const fimath& math = {});

// ---------------------------------------------------------------------------------------------- hand-written

/// result[i] = operation(operands[i]...) in the widest vectors there are.
template <class Operation, class Result, class... Operand>
QFCORE_VECTORISED void loop(Operation operation, Result* __restrict result, std::size_t count,
                            const Operand* __restrict... operands) {
  for (std::size_t i = 0; i < count; ++i) result[i] = operation(operands[i]...);
}

/// A hand-written loop over arrays made beforehand: `run(result, count, operands...)`.
template <class Result = double, class Run, class... Fills>
Prepare byLoop(Run run, Fills... fills) {
  return [=](std::size_t elementCount) -> Work {
    return [=, operands = std::tuple(fills(elementCount)...),
            result = std::vector<Result>(elementCount)]() mutable {
      std::apply([&](const auto&... each) { run(result.data(), result.size(), each.data()...); }, operands);
      benchmark::DoNotOptimize(result.data());
      benchmark::ClobberMemory();
    };
  };
}

/// The same for one operation an element.
template <class Result = double, class Operation, class... Fills>
Prepare byHand(Operation operation, Fills... fills) {
  return byLoop<Result>([=](Result* result, std::size_t count,
                            const auto*... operands) { loop(operation, result, count, operands...); },
                        fills...);
}

// ----------------------------------------------------------------------------------------------- what memory
// allows

/// One array read, one written.
inline Contender copyLimit() {
  return {"copy", byHand([](double x) { return x; }, uniform())};
}

/// Two arrays read, one written.
inline Contender triadLimit() {
  return {"triad", byHand([](double x, double y) { return x + 3 * y; }, uniform(1, 1), uniform(1, 2))};
}

// ------------------------------------------------------------------------------------------------------ by fi

/// `operation` on rows of one type, one a fill. What it returns is made anew by each call, as scripts have it.
template <class Operation, class... Fills>
Prepare byFi(const NumericType& type, const fimath& math, Operation operation, Fills... fills) {
  return [=](std::size_t elementCount) -> Work {
    return [=, operands = std::tuple(rowOf(fills(elementCount), type, math)...)] {
      auto result = std::apply(operation, operands);
      benchmark::DoNotOptimize(result);
    };
  };
}

/// Products and sums of s16,15, rounded to nearest and saturated.
fimath keptTo16();

inline NumericType s16() { return NumericType(true, 16, 15); }

// ------------------------------------------------------------------------------------------ operations by hand

constexpr double kScale = 32768, kStep = 1 / kScale;

/// To a fixed-point type, rounding to nearest and saturating. The constants are members, hence data: of
/// literals g++ would make branches.
struct Kept {
  double scale = kScale, step = kStep, low = -kScale, high = kScale - 1;

  double inRange(double integer) const {
    const double notAbove = integer < high ? integer : high;
    return notAbove > low ? notAbove : low;
  }
  double operator()(double x) const { return inRange(std::floor(x * scale + 0.5)) * step; }
};

}  // namespace bench
