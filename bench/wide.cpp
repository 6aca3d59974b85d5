/// Words beyond the double threshold, beside the raw MPFR calls that do the same arithmetic on values made
/// beforehand.
#include <benchmark/benchmark.h>
#include <mpfr.h>

#include <memory>

#include "bench/job.h"
#include "bench/operands.h"
#include "qfcore/fi/fi.h"

namespace bench {
namespace {

using embedded::fi;
using embedded::fimath;
using embedded::number;
using embedded::NumberVector;
using embedded::NumericType;
using embedded::OverflowModeEnum;
using embedded::quantizer;
using embedded::RoundModeEnum;

/// Initialised MPFR values of one precision.
class RawValues {
 public:
  RawValues(std::size_t count, mpfr_prec_t bits) : values_(count) {
    for (auto& value : values_) mpfr_init2(&value, bits);
  }
  RawValues(const RawValues&) = delete;
  RawValues& operator=(const RawValues&) = delete;
  ~RawValues() {
    for (auto& value : values_) mpfr_clear(&value);
  }
  mpfr_ptr operator[](std::size_t i) { return &values_[i]; }
  std::size_t size() const { return values_.size(); }

 private:
  std::vector<__mpfr_struct> values_;
};

void set(RawValues& raw, const std::vector<double>& values) {
  for (std::size_t i = 0; i < values.size(); ++i) mpfr_set_d(raw[i], values[i], MPFR_RNDN);
}

Prepare rawSum(int wordLength) {
  return [=](std::size_t elementCount) -> std::function<void()> {
    auto a = std::make_shared<RawValues>(elementCount, wordLength + 1);
    auto sum = std::make_shared<RawValues>(elementCount, wordLength + 2);
    set(*a, randomValues(elementCount, 1));
    return [=] {
      for (std::size_t i = 0; i < a->size(); ++i) mpfr_add((*sum)[i], (*a)[i], (*a)[i], MPFR_RNDN);
    };
  };
}

Prepare fiSum(int wordLength) {
  return [=](std::size_t elementCount) -> std::function<void()> {
    fimath math;
    math.setMaxSumWordLength(65535);
    const std::vector<double> values = randomValues(elementCount, 1);
    const unsigned dims[] = {1, static_cast<unsigned>(elementCount)};
    return [a = fi(values.data(), dims, 2, NumericType(true, wordLength, wordLength - 2), math)] {
      benchmark::DoNotOptimize(a.plus(a));
    };
  };
}

/// Scale, add one half, floor, clamp, scale back.
Prepare rawQuantize(int wordLength) {
  return [=](std::size_t elementCount) -> std::function<void()> {
    auto source = std::make_shared<RawValues>(elementCount, wordLength + 1);
    auto target = std::make_shared<RawValues>(elementCount, wordLength + 1);
    auto constants = std::make_shared<RawValues>(3, wordLength + 1);
    set(*source, randomValues(elementCount, 1.5));
    mpfr_set_d((*constants)[0], 0.5, MPFR_RNDN);
    mpfr_set_ui_2exp((*constants)[1], 1, wordLength - 1, MPFR_RNDN);
    mpfr_neg((*constants)[2], (*constants)[1], MPFR_RNDN);
    mpfr_sub_ui((*constants)[1], (*constants)[1], 1, MPFR_RNDN);
    return [=] {
      for (std::size_t i = 0; i < source->size(); ++i) {
        mpfr_ptr x = (*target)[i];
        mpfr_mul_2si(x, (*source)[i], wordLength - 1, MPFR_RNDN);
        mpfr_add(x, x, (*constants)[0], MPFR_RNDN);
        mpfr_floor(x, x);
        if (mpfr_greater_p(x, (*constants)[1])) mpfr_set(x, (*constants)[1], MPFR_RNDN);
        if (mpfr_less_p(x, (*constants)[2])) mpfr_set(x, (*constants)[2], MPFR_RNDN);
        mpfr_div_2si(x, x, wordLength - 1, MPFR_RNDN);
      }
    };
  };
}

Prepare quantizeWide(int wordLength) {
  return [=](std::size_t elementCount) -> std::function<void()> {
    const auto bits = static_cast<unsigned>(wordLength);
    auto source = std::make_shared<number>(static_cast<unsigned>(elementCount), bits, NumberVector{});
    auto target = std::make_shared<number>(static_cast<unsigned>(elementCount), bits, NumberVector{});
    const std::vector<double> values = randomValues(elementCount, 1.5);
    for (unsigned i = 0; i < elementCount; ++i) (*source)[i] = values[i];
    const NumericType type(true, wordLength, wordLength - 1);
    return [=, q = quantizer(type, RoundModeEnum::nearest, OverflowModeEnum::saturate)] {
      for (unsigned i = 0; i < target->numel(); ++i) {
        (*target)[i] = (*source)[i];
        q.quantize(*target);
      }
    };
  };
}

}  // namespace

std::vector<Job> wideJobs() {
  std::vector<Job> jobs;
  for (const int wordLength : {64, 256}) {
    const std::string bits = std::to_string(wordLength) + "-bit words";
    jobs.push_back({bits + ": add, full precision",
                    {{"raw MPFR", rawSum(wordLength)}, {"fi plus", fiSum(wordLength)}},
                    {1'000, 100'000}});
    jobs.push_back({bits + ": quantize",
                    {{"raw MPFR", rawQuantize(wordLength)}, {"quantizer", quantizeWide(wordLength)}},
                    {1'000, 100'000}});
  }
  return jobs;
}

}  // namespace bench
