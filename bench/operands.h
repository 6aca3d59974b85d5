/// Random operands of the benchmarks: the same values in every run.
#pragma once

#include <algorithm>
#include <cstddef>
#include <random>
#include <vector>

namespace bench {

/// Uniform over [-bound, bound).
inline std::vector<double> randomValues(std::size_t elementCount, double bound) {
  std::mt19937_64 generator(20'240'917);
  std::uniform_real_distribution<double> uniform(-bound, bound);
  std::vector<double> values(elementCount);
  std::generate(values.begin(), values.end(), [&] { return uniform(generator); });
  return values;
}

}  // namespace bench
