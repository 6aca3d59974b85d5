#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <numeric>
#include <random>
#include <utility>

#include "tessel/runtime/arguments.h"
#include "tessel/runtime/creation.h"

namespace tessel {

namespace {

// Random numbers: one generator, the same numbers for the same seed.

constexpr std::uint64_t kDefaultSeed = 5489;
std::mt19937_64& generator() {
  static std::mt19937_64 engine(kDefaultSeed);
  return engine;
}

/// Uniform in (0, 1).
double uniform() { return (static_cast<double>(generator()() >> 12) + 0.5) * 0x1p-52; }

double gaussian() { return std::sqrt(-2 * std::log(uniform())) * std::cos(2 * std::numbers::pi * uniform()); }

template <class Draw>
HostArray drawn(ArrayClass arrayClass, Dimensions dims, const Draw& draw) {
  HostArray result = HostArray::zeros(arrayClass, std::move(dims));
  std::vector<double> values(result.numel());
  std::generate(values.begin(), values.end(), draw);
  storeElements(result, false, 0, 1, values.size(), values.data());
  return result;
}

FunctionInfo randomNumbers(const char* name, double (*draw)(), const char* help) {
  return {name,
          [=](Arrays& in, int) {
            const ArrayClass resultClass = takeClassArgument(name, in, ArrayClass::Double);
            return Arrays{drawn(resultClass, sizeArguments(name, in, 0), draw)};
          },
          0,
          -1,
          1,
          help};
}

Arrays callRandi(Arrays& in, int) {
  const ArrayClass resultClass = takeClassArgument("randi", in, ArrayClass::Double);
  if (in.empty()) raiseInvalidArgument("randi", "the limits are missing.");
  requireReal("randi", in[0]);
  const std::vector<double> limits = realParts(in[0]);
  if (limits.empty() || limits.size() > 2) raiseInvalidArgument("randi", "one or two limits are needed.");
  const double low = limits.size() == 2 ? limits[0] : 1, high = limits.back();
  if (!(low <= high) || low != std::floor(low) || high != std::floor(high)) {
    raiseInvalidArgument("randi", "the limits must be whole numbers in order.");
  }
  return {drawn(resultClass, sizeArguments("randi", in, 1),
                [&] { return std::min(high, low + std::floor(uniform() * (high - low + 1))); })};
}

Arrays callRandperm(Arrays& in, int) {
  std::vector<double> values(countArgument("randperm", in[0]));
  std::iota(values.begin(), values.end(), 1.0);
  for (std::size_t i = values.size(); i > 1; --i) {
    std::swap(values[i - 1], values[static_cast<std::size_t>(uniform() * static_cast<double>(i))]);
  }
  return {doubleRow(values)};
}

Arrays callRng(Arrays& in, int) {
  const bool isDefault = in[0].isChar();
  if (isDefault && textArgument("rng", in[0]) != "default")
    raiseInvalidArgument("rng", "a seed or 'default' is needed.");
  generator().seed(isDefault ? kDefaultSeed : countArgument("rng", in[0]));
  return {};
}

}  // namespace

std::vector<FunctionInfo> randomFunctions() {
  return {
      {"rng", callRng, 1, 1, 0, "rng(seed), rng('default'): starts the random numbers from a seed."},
      randomNumbers("rand", uniform, "rand(m, n, ...): random numbers, uniform between 0 and 1."),
      randomNumbers("randn", gaussian, "randn(m, n, ...): random numbers of the standard normal distribution."),
      {"randi", callRandi, 1, -1, 1, "randi(high, m, n, ...), randi([low high], ...): random whole numbers."},
      {"randperm", callRandperm, 1, 1, 1, "randperm(n): the numbers 1 to n in random order."},
  };
}

}  // namespace tessel
