#include "bench/operands.h"

#include <map>

namespace bench {

namespace {

/// Uniform over [-1, 1), made once: a random number costs more than most of what is measured.
const Values& unitValues(std::size_t elementCount, unsigned seed) {
  static std::map<std::pair<std::size_t, unsigned>, Values> made;
  Values& values = made[{elementCount, seed}];
  if (values.empty()) {
    std::mt19937_64 generator(20'240'917 + seed);
    std::uniform_real_distribution<double> uniform(-1, 1);
    values.resize(elementCount);
    std::generate(values.begin(), values.end(), [&] { return uniform(generator); });
  }
  return values;
}

}  // namespace

Values randomValues(std::size_t elementCount, double bound, unsigned seed) {
  Values values = unitValues(elementCount, seed);
  for (double& value : values) value *= bound;
  return values;
}

fi rowOf(const Values& values, const NumericType& type, const fimath& math) {
  const unsigned dims[] = {1, static_cast<unsigned>(values.size())};
  return fi(values.data(), dims, 2, type, math);
}

fi columnOf(const Values& values, const NumericType& type, const fimath& math) {
  const unsigned dims[] = {static_cast<unsigned>(values.size()), 1};
  return fi(values.data(), dims, 2, type, math);
}

fimath keptTo16() {
  using embedded::ArithmeticModeEnum;
  fimath math;
  math.setProductMode(ArithmeticModeEnum::SpecifyPrecision);
  math.setProductFormat(16, 15);
  math.setSumMode(ArithmeticModeEnum::SpecifyPrecision);
  math.setSumFormat(16, 15);
  return math;
}

}  // namespace bench
