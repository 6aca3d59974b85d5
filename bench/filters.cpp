/// Filters: sections of second order, per section and sample, and taps, per tap and sample.
#include <algorithm>
#include <cstdint>
#include <iterator>
#include <string>
#include <type_traits>

#include "bench/job.h"
#include "bench/operands.h"
#include "qfcore/fi/filter.h"

namespace bench {
namespace {

__extension__ typedef __int128 Int128;
__extension__ typedef unsigned __int128 Uint128;

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

/// Of the product of two words, in bits of a sum: exact, or without so many bits by convergent rounding.
template <int kDropped, class Sum>
Sum rounded(Sum product) {
  if constexpr (kDropped > 0) {
    constexpr Sum kBelowHalf = (Sum{1} << (kDropped - 1)) - 1;
    return (product + kBelowHalf + ((product >> kDropped) & 1)) >> kDropped;
  } else {
    return product;
  }
}

/// Taps of words that are complex or without signs; where bits are dropped, sums saturate at 64.
template <class Factor, class Sum, int kDropped>
Prepare byLongTapLoop(int word) {
  return [=](std::size_t count) -> Work {
    constexpr bool kComplex = std::is_signed_v<Factor>;
    const auto words = [=](std::size_t size, unsigned seed) {
      std::vector<Factor> stored;
      for (const double value : randomValues(size, 0.5, seed))
        stored.push_back(static_cast<Factor>(std::ldexp(kComplex ? value : std::abs(value), word - 1)));
      return stored;
    };
    return [=, x = words(2 * count, 1), h = words(2 * kTaps, 2), y = std::vector<Sum>(2 * count)]() mutable {
      const auto product = [](Factor u, Factor v) { return rounded<kDropped>(static_cast<Sum>(u) * v); };
      const auto inRange = [](Sum value) {
        if constexpr (kDropped == 0) {
          return value;
        } else if constexpr (kComplex) {
          return kept<Sum>(value, 64);
        } else {
          return std::min<Sum>(value, ~std::uint64_t{0});
        }
      };
      for (std::size_t n = kTaps; n < count; ++n) {
        Sum re = 0, im = 0;
        for (std::size_t k = 0; k < kTaps; ++k) {
          const Factor *u = &h[2 * k], *v = &x[2 * (n - k)];
          if constexpr (kComplex) {
            re = inRange(re + inRange(product(u[0], v[0]) - product(u[1], v[1])));
            im = inRange(im + inRange(product(u[0], v[1]) + product(u[1], v[0])));
          } else {
            re = inRange(re + product(u[0], v[0]));
          }
        }
        y[2 * n] = re;
        y[2 * n + 1] = im;
      }
      benchmark::DoNotOptimize(y.data());
      benchmark::ClobberMemory();
    };
  };
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

/// Taps of complex words, and of words that fill 64 bits without a sign.
std::vector<Job> longJobs(double goal) {
  std::vector<Job> jobs;
  const auto add = [&](const std::string& name, const NumericType& type, bool isComplex, const fimath& math,
                       const Contender& reference) {
    const auto filled = [=](std::size_t count, unsigned seed) {
      const double most = type.isSigned() ? 0.5 : 1;
      const auto row = [&](unsigned own) {
        Values values = randomValues(count, most, own);
        if (!type.isSigned())
          for (double& value : values) value = std::abs(value);
        return rowOf(values, type, math);
      };
      fi made = row(seed);
      if (!isComplex) return made;
      made = made.complex();
      made.imagPart() = row(seed + 10).realPart();
      return made;
    };
    const auto operation = [=](const char* text, auto run) {
      return subject(text,
                     [=](std::size_t count) -> Work {
                       return [=, h = filled(kTaps, 3), x = filled(count, 1),
                               one = fi(1.0, NumericType(true, 2, 0), math)] {
                         benchmark::DoNotOptimize(run(h, one, x));
                       };
                     },
                     {atMostNanoseconds(goal)});
    };
    jobs.push_back(
        {"32 taps of " + name + ", per tap and sample",
         {reference,
          operation("fi filter",
                    [](const fi& h, const fi& one, const fi& x) { return embedded::filter(h, one, x); }),
          operation("fi conv", [](const fi& h, const fi&, const fi& x) { return embedded::conv(h, x); })},
         {100'000},
         timesTaps});
  };
  const fimath rounding = keptSums(64, RoundModeEnum::convergent, OverflowModeEnum::saturate);
  constexpr int kDropped = 66;
  add("complex s16, full precision", NumericType(true, 16, 15), true, {},
      {"complex int64 loop", byLongTapLoop<std::int64_t, std::int64_t, 0>(16)});
  add("complex s32, full precision", NumericType(true, 32, 31), true, {},
      {"complex __int128 loop", byLongTapLoop<std::int64_t, Int128, 0>(32)});
  add("complex s64, sums of 64 bits, convergent, saturate", NumericType(true, 64, 63), true, rounding,
      {"complex __int128 loop", byLongTapLoop<std::int64_t, Int128, kDropped>(64)});
  add("u64, sums of 64 bits, convergent, saturate", NumericType(false, 64, 63), false, rounding,
      {"unsigned __int128 loop", byLongTapLoop<std::uint64_t, Uint128, kDropped>(64)});
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
  for (auto more : {wordJobs(kGoal), longJobs(kGoal)})
    std::move(more.begin(), more.end(), std::back_inserter(jobs));
  return jobs;
}

}  // namespace bench
