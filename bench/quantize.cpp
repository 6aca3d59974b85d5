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

// Roundings as one writes them.
struct Ceil {
  static double integer(double x) { return std::ceil(x); }
};
struct Convergent {
  // Not std::rint alone: all but ties are rounded as `Nearest` does, 0.49999999999999994 to 1.
  static double integer(double x) {
    const double even = std::rint(x), nearest = std::floor(x + 0.5);
    return x - even == 0.5 ? even : nearest;
  }
};
struct Fix {
  static double integer(double x) { return std::trunc(x); }
};
struct Floor {
  static double integer(double x) { return std::floor(x); }
};
struct Nearest {
  static double integer(double x) { return std::floor(x + 0.5); }
};
struct Round {
  static double integer(double x) { return std::trunc(x + std::copysign(0.5, x)); }
};

/// To s16,15, wrapping.
struct Wrapped {
  double scale = kScale, step = kStep, low = -kScale, modulus = 2 * kScale, inverseModulus = 1 / modulus;

  double inRange(double integer) const {
    return integer - std::floor((integer - low) * inverseModulus) * modulus;
  }
};

/// A format, and how values get to its grid.
template <class Format, class Rounding>
struct Rounded : Format {
  static double integer(double x) { return Rounding::integer(x); }
  double operator()(double x) const { return this->inRange(integer(x * this->scale)) * this->step; }
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
      const double integer = Format::integer(x * format.scale);
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
Contender countingLoop(const std::string& name) {
  return {name, byLoop(
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

/// One rounding mode beside the hand-written loops that round so, quietly and counting; and SystemC, if it has
/// that mode.
template <class Format, class Rounding>
void appendMode(RoundModeEnum round, OverflowModeEnum overflow, std::vector<Contender> peers,
                std::vector<Job>& quiet, std::vector<Job>& logging) {
  using Loop = Rounded<Format, Rounding>;
  const std::string mode = textOf(round), name = std::string("quantize to s16,15, ") + textOf(overflow),
                    plain = "plain loop, " + mode, counting = "counting loop, " + mode;
  quiet.push_back({name,
                   {{plain, byHand(Loop(), uniform(kBound))},
                    subject(mode, byQuantizer(round, overflow, false), {atMost(2, plain.c_str())})}});
  for (Contender& peer : peers) quiet.back().contenders.push_back(std::move(peer));
  logging.push_back({name + ", logging",
                     {countingLoop<Loop>(counting),
                      subject(mode, byQuantizer(round, overflow, true), {atMost(1.5, counting.c_str())})}});
}

template <class Format, sc_dt::sc_o_mode ScOverflow>
std::vector<Job> jobsOf(OverflowModeEnum overflow) {
  using namespace sc_dt;
  using Mode = RoundModeEnum;
  std::vector<Job> jobs, logging;
  appendMode<Format, Ceil>(Mode::ceil, overflow, {copyLimit()}, jobs, logging);
  appendMode<Format, Convergent>(Mode::convergent, overflow,
                                 {systemC<SC_RND_CONV, ScOverflow>("SystemC convergent")}, jobs, logging);
  appendMode<Format, Fix>(Mode::fix, overflow, {systemC<SC_TRN_ZERO, ScOverflow>("SystemC fix")}, jobs,
                          logging);
  appendMode<Format, Floor>(Mode::floor, overflow, {systemC<SC_TRN, ScOverflow>("SystemC floor")}, jobs,
                            logging);
  appendMode<Format, Nearest>(Mode::nearest, overflow, {systemC<SC_RND, ScOverflow>("SystemC nearest")}, jobs,
                              logging);
  appendMode<Format, Round>(Mode::round, overflow, {systemC<SC_RND_INF, ScOverflow>("SystemC round")}, jobs,
                            logging);
  for (Job& job : logging) jobs.push_back(std::move(job));
  return jobs;
}

std::vector<Job> constructionJobs() {
  const auto job = [](double goal, std::vector<std::size_t> counts) {
    return Job{"new fi from doubles, s16,15",
               {{"plain loop", byHand(Kept(), uniform(kBound))},
                copyLimit(),
                subject("fi(values)", byConstruction(), {atMost(goal, "plain loop")}),
                systemC<sc_dt::SC_RND, sc_dt::SC_SAT>("SystemC sc_fixed"),
                bySystemC<double, sc_dt::sc_fixed_fast<16, 1, sc_dt::SC_RND, sc_dt::SC_SAT>>(
                    "SystemC sc_fixed_fast", [](double x) { return x; }, uniform(kBound))},
               std::move(counts)};
  };
  return {job(1.5, {1'000}), job(1.2, {100'000, 10'000'000})};
}

}  // namespace

std::vector<Job> quantizeJobs() {
  std::vector<Job> jobs = jobsOf<Kept, sc_dt::SC_SAT>(OverflowModeEnum::saturate);
  for (Job& job : jobsOf<Wrapped, sc_dt::SC_WRAP>(OverflowModeEnum::wrap)) jobs.push_back(std::move(job));
  for (Job& job : constructionJobs()) jobs.push_back(std::move(job));
  return jobs;
}

}  // namespace bench
