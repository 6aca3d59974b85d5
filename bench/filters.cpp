/// Filters: sections of second order, per section and sample, and taps, per tap and sample.
#include <cstdint>
#include <string>

#include "bench/job.h"
#include "bench/operands.h"
#include "qfcore/fi/filter.h"

namespace bench {
namespace {

__extension__ typedef __int128 Int128;

constexpr std::size_t kTaps = 32;

/// Words of a section: signal with all bits but one behind the point, coefficients with two before it, sums of
/// so many bits with three before the point.
struct Words {
  int signal, sums;
  int productShift() const { return sums - 3 - (2 * signal - 3); }
  int outputShift() const { return sums - 3 - (signal - 1); }
};

constexpr Words kShort{16, 40}, kLong{32, 64};
constexpr double kSection[] = {0.2, 0.3, 0.1, 1.0, -0.5, 0.2};

template <class Sum>
Sum kept(Sum value, int bits) {
  const Sum most = (Sum{1} << (bits - 1)) - 1;
  return value > most ? most : value < -most - 1 ? -most - 1 : value;
}

/// The transposed direct form II as one writes it for these words: every sum and the output saturate, the
/// output is rounded to nearest.
template <class Sum>
Prepare byIntegers(Words words) {
  return [=](std::size_t count) -> Work {
    std::vector<std::int64_t> x, b, a;
    for (const double value : randomValues(count, 0.5))
      x.push_back(std::llround(std::ldexp(value, words.signal - 1)));
    for (int k = 0; k < 3; ++k) {
      b.push_back(std::llround(std::ldexp(kSection[k], words.signal - 2)));
      a.push_back(std::llround(std::ldexp(kSection[3 + k], words.signal - 2)));
    }
    return [=, y = std::vector<std::int64_t>(count)]() mutable {
      Sum first = 0, second = 0;
      const int up = std::max(words.productShift(), 0), down = words.outputShift();
      const auto sum = [&](Sum s, Sum term) { return kept<Sum>(s + term, words.sums); };
      const auto product = [&](std::int64_t c, std::int64_t v) { return static_cast<Sum>(c) * v << up; };
      for (std::size_t n = 0; n < count; ++n) {
        const Sum s = sum(first, product(b[0], x[n]));
        const auto out =
            static_cast<std::int64_t>(kept<Sum>((s + (Sum{1} << (down - 1))) >> down, words.signal));
        first = sum(sum(second, product(b[1], x[n])), -product(a[1], out));
        second = sum(product(b[2], x[n]), -product(a[2], out));
        y[n] = out;
      }
      benchmark::ClobberMemory();
    };
  };
}

fimath settings(Words words) {
  fimath math;
  math.setSumMode(embedded::ArithmeticModeEnum::SpecifyPrecision);
  math.setSumWordLength(words.sums);
  math.setSumFractionLength(words.sums - 3);
  return math;
}

Prepare bySosfilt(Words words, const fimath& math) {
  return [=](std::size_t count) -> Work {
    const unsigned dims[] = {1, 6};
    const fi section(kSection, dims, 2, NumericType(true, words.signal, words.signal - 2), math);
    const fi x = rowOf(randomValues(count, 0.5), NumericType(true, words.signal, words.signal - 1), math);
    return [=] { benchmark::DoNotOptimize(embedded::sosfilt(section, x)); };
  };
}

/// Sums of products of words of 16 bits, nothing rounded.
Prepare byTapLoop() {
  return byLoop<std::int64_t>(
      [](std::int64_t* y, std::size_t count, const double* x, const double* h) {
        for (std::size_t n = kTaps; n < count; ++n) {
          std::int64_t sum = 0;
          for (std::size_t k = 0; k < kTaps; ++k)
            sum += static_cast<std::int64_t>(h[k]) * static_cast<std::int64_t>(x[n - k]);
          y[n] = sum;
        }
      },
      uniform(kScale, 1), uniform(kScale, 2));
}

Prepare byTaps(Words words, bool isConvolution) {
  return [=](std::size_t count) -> Work {
    const NumericType type(true, words.signal, words.signal - 1);
    const fi h = rowOf(randomValues(kTaps, 1, 2), type), x = rowOf(randomValues(count, 1), type);
    fi one(1.0, NumericType(true, 2, 0));
    return [=] {
      if (isConvolution) {
        benchmark::DoNotOptimize(embedded::conv(h, x));
      } else {
        benchmark::DoNotOptimize(embedded::filter(h, one, x));
      }
    };
  };
}

std::size_t timesTaps(std::size_t count) { return count * kTaps; }

// ---------------------------------------------------------------------------------- words, modes and
// operations

using embedded::OverflowModeEnum;
using embedded::RoundModeEnum;

/// Products in full precision, sums of 64 bits, or of 40 where the words are short.
fimath keptSums(int word, RoundModeEnum round, OverflowModeEnum overflow) {
  const int sums = word <= 16 ? 40 : 64;
  fimath math(round, overflow);
  math.setSumMode(embedded::ArithmeticModeEnum::SpecifyPrecision);
  math.setSumFormat(sums, sums - 4);
  return math;
}

/// `operation(x, y, math)` of two rows of words.
template <class Operation>
Prepare byRowsOf(int word, const fimath& math, Operation operation) {
  return [=](std::size_t count) -> Work {
    const NumericType type(true, word, word - 1);
    return [=, x = rowOf(randomValues(count, 0.5, 1), type, math),
            y = rowOf(randomValues(count, 0.5, 2), type, math)] { benchmark::DoNotOptimize(operation(x, y)); };
  };
}

/// Every operation that is a loop over elements, with words of three lengths, and of modes the cheapest and the
/// dearest.
std::vector<Job> wordJobs(double goal) {
  std::vector<Job> jobs;
  for (const int word : {16, 32, 64}) {
    for (const auto& [name, math] :
         {std::pair{"floor, wrap", keptSums(word, RoundModeEnum::floor, OverflowModeEnum::wrap)},
          std::pair{"convergent, saturate",
                    keptSums(word, RoundModeEnum::convergent, OverflowModeEnum::saturate)}}) {
      const unsigned dims[] = {1, 6};
      const fi section(kSection, dims, 2, NumericType(true, word, word - 2), math);
      const fi taps = rowOf(randomValues(kTaps, 1, 3), NumericType(true, word, word - 1), math);
      const auto operation = [&, kept = math](const char* text, auto run) {
        return subject(text, byRowsOf(word, kept, run), {atMostNanoseconds(goal)});
      };
      jobs.push_back({"s" + std::to_string(word) + ", kept sums, " + name,
                      {operation("dot", [](const fi& x, const fi& y) { return embedded::dot(x, y); }),
                       operation("cumsum", [](const fi& x, const fi&) { return embedded::cumsum(x); }),
                       operation("mean", [](const fi& x, const fi&) { return embedded::mean(x); }),
                       operation("sosfilt, a section",
                                 [=](const fi& x, const fi&) { return embedded::sosfilt(section, x); })},
                      {100'000}});
      jobs.push_back(
          {"s" + std::to_string(word) + ", kept sums, " + name + ", per tap",
           {operation("filter", [=, one = fi(1.0, NumericType(true, 2, 0), math)](
                                    const fi& x, const fi&) { return embedded::filter(taps, one, x); }),
            operation("conv", [=](const fi& x, const fi&) { return embedded::conv(taps, x); })},
           {100'000},
           timesTaps});
    }
  }
  return jobs;
}

}  // namespace

std::vector<Job> filterJobs() {
  constexpr double kGoal = 15;
  const auto sections = [&](Words words, const char* job, const Contender& byHandWritten) {
    return Job{
        job,
        {byHandWritten, subject("fi sosfilt", bySosfilt(words, settings(words)), {atMostNanoseconds(kGoal)}),
         subject("fi sosfilt, full precision", bySosfilt(words, {}), {atMostNanoseconds(kGoal)})},
        {100'000}};
  };
  const auto taps = [&](Words words, const char* job) {
    return Job{job,
               {{"int64 loop, 16 bits", byTapLoop()},
                subject("fi filter", byTaps(words, false), {atMostNanoseconds(kGoal)}),
                subject("fi conv", byTaps(words, true), {atMostNanoseconds(kGoal)})},
               {100'000},
               timesTaps};
  };
  std::vector<Job> jobs = {sections(kShort, "biquad section s16,15, sums of 40 bits, per sample",
                                    {"int64 loop", byIntegers<std::int64_t>(kShort)}),
                           sections(kLong, "biquad section s32,31, sums of 64 bits, per sample",
                                    {"__int128 loop", byIntegers<Int128>(kLong)}),
                           taps(kShort, "32 taps s16,15, full precision, per tap and sample"),
                           taps(kLong, "32 taps s32,31, full precision, per tap and sample")};
  for (Job& job : wordJobs(kGoal)) jobs.push_back(std::move(job));
  return jobs;
}

}  // namespace bench
