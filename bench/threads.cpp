/// The same work on one thread and on all cores, by the clock.
#include <thread>

#include "bench/job.h"
#include "bench/operands.h"
#include "qfcore/math/parallel.h"

namespace bench {
namespace {

unsigned cores() {
  static const unsigned count = std::max(std::thread::hardware_concurrency(), 1U);
  return count;
}

/// `prepare`'s work on so many threads of the module.
Prepare onThreads(unsigned threads, const Prepare& prepare) {
  return [=](std::size_t elementCount) -> Work {
    return [=, work = prepare(elementCount)] {
      embedded::setThreadCount(threads);
      work();
      embedded::setThreadCount(1);
    };
  };
}

/// What memory allows: two arrays read, one written, by threads that are made for it.
Prepare byTriads(unsigned threads) {
  return [=](std::size_t count) -> Work {
    return [=, a = randomValues(count, 1, 1), b = randomValues(count, 1, 2), c = Values(count)]() mutable {
      const auto part = [&](unsigned k) {
        const std::size_t first = count * k / threads, end = count * (k + 1) / threads;
        loop([](double x, double y) { return x + 3 * y; }, &c[first], end - first, &a[first], &b[first]);
      };
      std::vector<std::jthread> others;
      for (unsigned k = 1; k < threads; ++k) others.emplace_back(part, k);
      part(0);
      others.clear();
      benchmark::ClobberMemory();
    };
  };
}

Prepare byProduct(const NumericType& type, const fimath& math) {
  return [=](std::size_t side) -> Work {
    const auto matrix = [&](unsigned seed) {
      const unsigned dims[] = {static_cast<unsigned>(side), static_cast<unsigned>(side)};
      return fi(randomValues(side * side, 0.25, seed).data(), dims, 2, type, math);
    };
    return [a = matrix(1), b = matrix(2)] { benchmark::DoNotOptimize(a.mtimes(b)); };
  };
}

/// Products and sums of so many bits, rounded down, wrapped.
fimath keptTo(int bits, int fractionLength) {
  fimath math(embedded::RoundModeEnum::floor, embedded::OverflowModeEnum::wrap);
  math.setProductMode(embedded::ArithmeticModeEnum::SpecifyPrecision);
  math.setProductFormat(bits, fractionLength);
  math.setSumMode(embedded::ArithmeticModeEnum::SpecifyPrecision);
  math.setSumFormat(bits, fractionLength);
  return math;
}

std::size_t cubed(std::size_t side) { return side * side * side; }

Job onAllCores(const char* name, const Prepare& work, std::vector<std::size_t> counts,
               std::size_t (*operations)(std::size_t) = Job().operations) {
  constexpr double kGoal = 1 / 1.8;
  Job job{name,
          {subject("one thread", onThreads(1, work)),
           subject("all cores", onThreads(cores(), work), {atMost(kGoal, "one thread")})},
          std::move(counts),
          operations};
  job.byClock = true;
  return job;
}

}  // namespace

std::vector<Job> threadJobs() {
  const auto sum = [](const fi& a, const fi& b) { return a.plus(b); };
  const auto product = [](const fi& a, const fi& b) { return a.times(b); };
  const auto text = [](const fi& x) { return x.hex(); };
  const NumericType s64(true, 64, 63), s200(true, 200, 199);
  const auto a = uniform(1, 1), b = uniform(1, 2);
  fimath ofAnyLength;
  ofAnyLength.setMaxSumWordLength(NumericType::kMaxWordLength);
  Job triad{
      "triad, by the clock", {{"one thread", byTriads(1)}, {"all cores", byTriads(cores())}}, {10'000'000}};
  triad.byClock = true;
  Job plus = onAllCores("a + b kept to s16,15, by the clock", byFi(s16(), keptTo16(), sum, a, b), {10'000'000});
  plus.contenders.back().goals.clear();  // memory decides
  return {
      triad,
      plus,
      onAllCores("matrix product, each product and sum kept to s16,15, by the clock",
                 byProduct(s16(), keptTo16()), {512}, cubed),
      onAllCores("matrix product of s32,31, products and sums of 64 bits, by the clock",
                 byProduct(NumericType(true, 32, 31), keptTo(64, 58)), {256}, cubed),
      onAllCores("matrix product of s16,15 in full precision, by the clock", byProduct(s16(), {}), {1024},
                 cubed),
      onAllCores("a .* b kept to s16,15, by the clock", byFi(s16(), keptTo16(), product, a, b), {1'000'000}),
      onAllCores("a .* b of s64,63, products of 64 bits, by the clock",
                 byFi(s64, keptTo(64, 63), product, a, b), {1'000'000}),
      onAllCores("a + b of s200,199, by the clock", byFi(s200, ofAnyLength, sum, a, b), {100'000}),
      onAllCores("hex text of s16,15, by the clock", byFi(s16(), {}, text, a), {1'000'000}),
      onAllCores("hex text of s200,199, by the clock", byFi(s200, {}, text, a), {100'000})};
}

}  // namespace bench
