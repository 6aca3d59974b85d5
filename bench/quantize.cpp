/// Rounding an array of doubles to the grid of a type and bringing it into range.
#include <limits>

#include "bench/job.h"
#include "bench/operands.h"
#include "bench/systemc.h"

namespace bench {
namespace {

using embedded::OverflowModeEnum;
using embedded::qlogger;
using embedded::quantizer;
using embedded::RoundModeEnum;
using EmbeddedTypeSystem::textOf;

// Values over one and a half times the range, so that a third of them saturates.
constexpr double kBound = 1.5;

/// To s16,15, rounding to nearest and wrapping.
struct Wrapped {
  double scale = kScale, step = kStep, low = -kScale, modulus = 2 * kScale, inverseModulus = 1 / modulus;

  double inRange(double integer) const {
    return integer - std::floor((integer - low) * inverseModulus) * modulus;
  }
  double operator()(double x) const { return inRange(std::floor(x * scale + 0.5)) * step; }
};

struct Met {
  double min = std::numeric_limits<double>::max(), max = -min;
  std::size_t overflows = 0, underflows = 0;
};

/// Quantizes and keeps what a logger keeps, in eight lanes so that it vectorises.
template <class Format>
QFCORE_VECTORISED void quantizeCounting(double* __restrict quantized, std::size_t count,
                                        const double* __restrict values, Format format, Met& met) {
  constexpr std::size_t kLanes = 8;
  double low[kLanes], high[kLanes];
  std::size_t overflows[kLanes] = {}, underflows[kLanes] = {};
  std::fill_n(low, kLanes, met.min);
  std::fill_n(high, kLanes, met.max);
  for (std::size_t i = 0; i + kLanes <= count; i += kLanes) {
    for (std::size_t lane = 0; lane < kLanes; ++lane) {
      const double x = values[i + lane];
      const double integer = std::floor(x * format.scale + 0.5);
      const double inRange = format.inRange(integer);
      const double y = inRange * format.step;
      overflows[lane] += inRange != integer;
      underflows[lane] += static_cast<std::size_t>(integer == 0) & static_cast<std::size_t>(x != 0);
      low[lane] = y < low[lane] ? y : low[lane];
      high[lane] = y > high[lane] ? y : high[lane];
      quantized[i + lane] = y;
    }
  }
  for (std::size_t lane = 0; lane < kLanes; ++lane) {
    met.min = std::min(met.min, low[lane]);
    met.max = std::max(met.max, high[lane]);
    met.overflows += overflows[lane];
    met.underflows += underflows[lane];
  }
}

template <class Format>
Contender countingLoop() {
  return {"counting loop", byLoop(
                               [](double* quantized, std::size_t count, const double* values) {
                                 Met met;
                                 quantizeCounting(quantized, count, values, Format(), met);
                                 benchmark::DoNotOptimize(met);
                               },
                               uniform(kBound))};
}

Prepare byQuantizer(RoundModeEnum round, OverflowModeEnum overflow, bool logging) {
  const quantizer q(s16(), round, overflow);
  return byLoop(
      [=](double* quantized, std::size_t count, const double* values) {
        qlogger::setLogging(logging);
        q.quantize(values, quantized, count);
        qlogger::setLogging(false);
      },
      uniform(kBound));
}

Prepare byConstruction() {
  return [](std::size_t elementCount) -> Work {
    return [values = randomValues(elementCount, kBound)] { benchmark::DoNotOptimize(rowOf(values, s16())); };
  };
}

template <sc_dt::sc_q_mode Round, sc_dt::sc_o_mode Overflow>
Contender systemC(const char* name) {
  return bySystemC<double, ScFixed<16, 15, Round, Overflow>>(
      name, [](double x) { return x; }, uniform(kBound));
}

/// All roundings that SystemC has; ceil is not among them.
template <sc_dt::sc_o_mode Overflow>
std::vector<Contender> systemCRoundings() {
  using namespace sc_dt;
  return {systemC<SC_RND_CONV, Overflow>("SystemC convergent"), systemC<SC_TRN_ZERO, Overflow>("SystemC fix"),
          systemC<SC_TRN, Overflow>("SystemC floor"), systemC<SC_RND, Overflow>("SystemC nearest"),
          systemC<SC_RND_INF, Overflow>("SystemC round")};
}

/// All rounding modes with one overflow mode, beside the hand-written loop that rounds to nearest.
template <class Format, sc_dt::sc_o_mode ScOverflow>
std::vector<Job> jobsOf(OverflowModeEnum overflow) {
  const std::string name = std::string("quantize to s16,15, ") + textOf(overflow);
  Job quiet{name, {{"plain loop, nearest", byHand(Format(), uniform(kBound))}, copyLimit()}};
  Job logging{name + ", logging", {countingLoop<Format>()}};
  for (const auto& row : tableOf(RoundModeEnum()).rows) {
    const auto round = static_cast<RoundModeEnum>(row.value);
    quiet.contenders.push_back(
        subject(row.text, byQuantizer(round, overflow, false), {atMost(2, "plain loop, nearest")}));
    logging.contenders.push_back(
        subject(row.text, byQuantizer(round, overflow, true), {atMost(1.5, "counting loop")}));
  }
  for (Contender& peer : systemCRoundings<ScOverflow>()) quiet.contenders.push_back(std::move(peer));
  return {quiet, logging};
}

Job constructionJob() {
  return {"new fi from doubles, s16,15",
          {{"plain loop", byHand(Kept(), uniform(kBound))},
           copyLimit(),
           subject("fi(values)", byConstruction()),
           systemC<sc_dt::SC_RND, sc_dt::SC_SAT>("SystemC sc_fixed"),
           bySystemC<double, sc_dt::sc_fixed_fast<16, 1, sc_dt::SC_RND, sc_dt::SC_SAT>>(
               "SystemC sc_fixed_fast", [](double x) { return x; }, uniform(kBound))}};
}

}  // namespace

std::vector<Job> quantizeJobs() {
  std::vector<Job> jobs = jobsOf<Kept, sc_dt::SC_SAT>(OverflowModeEnum::saturate);
  for (Job& job : jobsOf<Wrapped, sc_dt::SC_WRAP>(OverflowModeEnum::wrap)) jobs.push_back(std::move(job));
  jobs.push_back(constructionJob());
  return jobs;
}

}  // namespace bench
