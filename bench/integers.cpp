/// Words, products and sums of 46 to 128 bits, beside hand-written loops over native integers that round and
/// overflow alike.
#include <cstdint>
#include <memory>
#include <string>

#include "bench/job.h"
#include "bench/operands.h"

namespace bench {
namespace {

using embedded::ArithmeticModeEnum;
using embedded::OverflowModeEnum;
using embedded::RoundModeEnum;
__extension__ using Int128 = __int128;

using Stored = std::vector<std::int64_t>;

Stored storedIntegers(std::size_t count, int bits, unsigned seed) {
  std::mt19937_64 generator(seed);
  Stored stored(count);
  for (std::int64_t& value : stored) value = static_cast<std::int64_t>(generator()) >> (64 - bits);
  return stored;
}

fi arrayOf(const Stored& stored, unsigned rows, int bits, int fractionLength, const fimath& math) {
  const unsigned dims[] = {rows, static_cast<unsigned>(stored.size() / rows)};
  std::vector<std::uint32_t> words;
  for (const std::int64_t value : stored) {
    words.push_back(static_cast<std::uint32_t>(value));
    if (bits > 32) words.push_back(static_cast<std::uint32_t>(value >> 32));
  }
  return fi(words.data(), dims, 2, NumericType(true, bits, fractionLength), math);
}

/// Products and sums of so many bits, rounded down.
fimath keptTo(int bits, int fractionLength, OverflowModeEnum overflow) {
  fimath math(RoundModeEnum::floor, overflow);
  math.setProductMode(ArithmeticModeEnum::SpecifyPrecision);
  math.setProductFormat(bits, fractionLength);
  math.setSumMode(ArithmeticModeEnum::SpecifyPrecision);
  math.setSumFormat(bits, fractionLength);
  return math;
}

/// Brings a sum of two words back into their range.
template <OverflowModeEnum Overflow>
struct InWord {
  explicit InWord(int bits) : unused(64 - bits), max(INT64_MAX >> unused), min(-max - 1) {}
  std::int64_t operator()(Int128 sum) const {
    if constexpr (Overflow == OverflowModeEnum::wrap) {
      return static_cast<std::int64_t>(static_cast<std::uint64_t>(sum) << unused) >> unused;
    } else {
      return sum > max ? max : sum < min ? min : static_cast<std::int64_t>(sum);
    }
  }
  int unused;
  std::int64_t max, min;
};

// ------------------------------------------------------------------------------- many rows times one column

constexpr std::size_t kTerms = 32;
constexpr int kFactorBits = 32, kFactorFraction = 31;

/// `step(sum, x, y)` for each term of each row.
template <class Sum, class Step>
Prepare byRows(Step step) {
  return [=](std::size_t rows) -> Work {
    return [=, a = storedIntegers(rows * kTerms, kFactorBits, 1), b = storedIntegers(kTerms, kFactorBits, 2),
            c = std::vector<Sum>(rows)]() mutable {
      for (std::size_t row = 0; row < rows; ++row) {
        Sum sum = 0;
        for (std::size_t k = 0; k < kTerms; ++k) sum = step(sum, a[k * rows + row], b[k]);
        c[row] = sum;
      }
      benchmark::DoNotOptimize(c.data());
      benchmark::ClobberMemory();
    };
  };
}

Prepare byMtimes(const fimath& math) {
  return [=](std::size_t rows) -> Work {
    const auto array = [&](std::size_t count, std::size_t arrayRows, unsigned seed) {
      return arrayOf(storedIntegers(count, kFactorBits, seed), static_cast<unsigned>(arrayRows), kFactorBits,
                     kFactorFraction, math);
    };
    return [a = array(rows * kTerms, rows, 1), b = array(kTerms, kTerms, 2)] {
      benchmark::DoNotOptimize(a.mtimes(b));
    };
  };
}

Job rowsJob(const std::string& name, Contender loop, const fimath& math) {
  return {"6000x32 times 32x1, s32,31, " + name,
          {loop, subject("fi mtimes", byMtimes(math), {atMost(3, "plain loop")})},
          {6'000},
          [](std::size_t rows) { return rows * kTerms; }};
}

template <OverflowModeEnum Overflow>
Job roundedRows(int bits) {
  const int fraction = bits - 6, dropped = 2 * kFactorFraction - fraction;
  const InWord<Overflow> inWord(bits);
  const auto step = [=](std::int64_t sum, std::int64_t x, std::int64_t y) {
    return inWord(static_cast<Int128>(sum) + (x * y >> dropped));
  };
  const char* overflow = Overflow == OverflowModeEnum::wrap ? "wrap" : "saturate";
  return rowsJob("products and sums of " + std::to_string(bits) + " bits, floor, " + overflow,
                 {"plain loop", byRows<std::int64_t>(step)}, keptTo(bits, fraction, Overflow));
}

// ---------------------------------------------------------------------------------------------- element-wise

constexpr int kWordBits = 64;

template <class Result, class Operation>
Contender wordLoop(Operation operation) {
  const auto fill = [](unsigned seed) {
    return [=](std::size_t count) { return storedIntegers(count, kWordBits, seed); };
  };
  return {"plain loop", byHand<Result>(operation, fill(1), fill(2))};
}

template <class Operation>
Prepare byWords(const fimath& math, Operation operation) {
  return [=](std::size_t count) -> Work {
    const auto row = [&](unsigned seed) {
      return arrayOf(storedIntegers(count, kWordBits, seed), 1, kWordBits, kWordBits - 1, math);
    };
    return [=, a = row(1), b = row(2)] { benchmark::DoNotOptimize(operation(a, b)); };
  };
}

template <class Operation>
Job wordJob(const std::string& name, Contender loop, const fimath& math, Operation operation) {
  return {"s64,63: " + name,
          {loop, subject("fi", byWords(math, operation), {atMost(3, "plain loop", 5)})},
          {1'000, 100'000}};
}

std::vector<Job> wordJobs() {
  const fimath kept = keptTo(kWordBits, kWordBits - 1, OverflowModeEnum::saturate);
  const InWord<OverflowModeEnum::saturate> inWord(kWordBits);
  const auto sum = [](std::int64_t x, std::int64_t y) { return static_cast<Int128>(x) + y; };
  const auto product = [](std::int64_t x, std::int64_t y) { return static_cast<Int128>(x) * y; };
  const auto plus = [](const fi& a, const fi& b) { return a.plus(b); };
  const auto times = [](const fi& a, const fi& b) { return a.times(b); };
  return {
      wordJob("add, sums of 64 bits, saturate",
              wordLoop<std::int64_t>([=](std::int64_t x, std::int64_t y) { return inWord(sum(x, y)); }), kept,
              plus),
      wordJob("add, full precision", wordLoop<Int128>(sum), fimath(), plus),
      wordJob("multiply, products of 64 bits, floor, saturate",
              wordLoop<std::int64_t>(
                  [=](std::int64_t x, std::int64_t y) { return inWord(product(x, y) >> (kWordBits - 1)); }),
              kept, times),
      wordJob("multiply, full precision", wordLoop<Int128>(product), fimath(), times),
      wordJob("sum of all, sums of 64 bits, saturate",
              wordLoop<std::int64_t>([=, total = std::int64_t{0}](std::int64_t x, std::int64_t) mutable {
                return total = inWord(sum(total, x));
              }),
              kept, [](const fi& a, const fi&) { return a.sumAlong(2); }),
      wordJob("a < b", wordLoop<unsigned char>([](std::int64_t x, std::int64_t y) { return x < y; }), kept,
              [](const fi& a, const fi& b) { return a.lt(b); }),
  };
}

}  // namespace

std::vector<Job> integerJobs() {
  std::vector<Job> jobs;
  for (const int bits : {32, 40, 48, 52, 64}) {
    jobs.push_back(roundedRows<OverflowModeEnum::wrap>(bits));
    jobs.push_back(roundedRows<OverflowModeEnum::saturate>(bits));
  }
  const auto step = [](Int128 sum, std::int64_t x, std::int64_t y) { return sum + x * y; };
  jobs.push_back(rowsJob("full precision", {"plain loop", byRows<Int128>(step)}, fimath()));
  for (Job& job : wordJobs()) jobs.push_back(std::move(job));
  return jobs;
}

}  // namespace bench
