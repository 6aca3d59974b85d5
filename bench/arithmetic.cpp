/// Element-wise arithmetic of two arrays.
#include "bench/job.h"
#include "bench/operands.h"
#include "bench/systemc.h"

namespace bench {
namespace {

using embedded::OverflowModeEnum;
using embedded::RoundModeEnum;

const auto kPlus = [](const auto& a, const auto& b) { return a + b; };
const auto kTimes = [](const auto& a, const auto& b) { return a * b; };
const auto kFiPlus = [](const fi& a, const fi& b) { return a.plus(b); };
const auto kFiTimes = [](const fi& a, const fi& b) { return a.times(b); };

/// A full-precision operation; large arrays are compared with what memory allows.
template <class Full, class Operation, class FiOperation>
std::vector<Job> exactJobs(const std::string& name, const char* fiName, Operation operation,
                           FiOperation fiOperation) {
  const Fill a = uniform(1, 1), b = uniform(1, 2);
  const Contender plain{"plain loop", byHand(operation, a, b)};
  const Prepare fiPrepare = byFi(s16(), fimath(), fiOperation, a, b);
  const auto inCaches = [&](double goal, std::size_t elementCount) {
    return Job{name,
               {plain, triadLimit(), subject(fiName, fiPrepare, {atMost(goal, "plain loop")}),
                bySystemC<ScS16, Full>("SystemC", operation, a, b)},
               {elementCount}};
  };
  return {inCaches(1.4, 1'000),
          inCaches(1.3, 100'000),
          {name, {triadLimit(), plain, subject(fiName, fiPrepare, {atMost(1.5, "triad")})}, {10'000'000}}};
}

template <class Operation, class FiOperation>
Job keptJob(const char* name, const char* fiName, Operation operation, FiOperation fiOperation) {
  const Fill a = uniform(1, 1), b = uniform(1, 2);
  const auto kept = [operation, keep = Kept()](double x, double y) { return keep(operation(x, y)); };
  return {name,
          {{"fused plain loop", byHand(kept, a, b)},
           triadLimit(),
           subject(fiName, byFi(s16(), keptTo16(), fiOperation, a, b), {atMost(2, "fused plain loop")}),
           bySystemC("SystemC", operation, a, b)}};
}

/// No divisor is 0, and no quotient beyond 4.
Fill divisors() {
  return [](std::size_t elementCount) {
    Values values = randomValues(elementCount, 1, 2);
    for (double& value : values) value = std::copysign(0.25 + 0.75 * std::abs(value), value);
    return values;
  };
}

Job divideJob() {
  const Kept s32{kScale, kStep, -2147483648.0, 2147483647.0};
  const auto byPlainLoop = [=](double x, double y) { return s32(x / y); };
  const auto byOver = [](const fi& a, const fi& b) { return a.over(b, NumericType(true, 32, 15)); };
  return {"divide to s32,15",
          {{"plain loop", byHand(byPlainLoop, uniform(), divisors())},
           triadLimit(),
           subject("fi over", byFi(s16(), fimath(), byOver, uniform(), divisors()), {atMost(2, "plain loop")}),
           bySystemC<ScS16, ScFixed<32, 15>>(
               "SystemC", [](const auto& a, const auto& b) { return a / b; }, uniform(), divisors())}};
}

Job squareRootJob() {
  const Fill magnitudes = [](std::size_t elementCount) {
    Values values = randomValues(elementCount, 1);
    for (double& value : values) value = std::abs(value);
    return values;
  };
  const NumericType u16(false, 16, 16);
  const fimath floored(RoundModeEnum::floor, OverflowModeEnum::saturate);
  const auto byPlainLoop = [keep = Kept{65536.0, 1.0 / 65536, 0, 65535.0}](double x) {
    return keep.inRange(std::floor(std::sqrt(x) * keep.scale)) * keep.step;
  };
  return {"square root, u16,16, floor",
          {{"plain loop", byHand(byPlainLoop, magnitudes)},
           copyLimit(),
           subject("fi sqrt",
                   byFi(
                       u16, floored, [=](const fi& a) { return a.sqrtBisection(u16); }, magnitudes),
                   {atMost(2, "plain loop")})}};
}

}  // namespace

std::vector<Job> arithmeticJobs() {
  std::vector<Job> jobs = exactJobs<ScFixed<17, 15>>("add s16,15, full precision", "fi plus", kPlus, kFiPlus);
  for (Job& job : exactJobs<ScFixed<32, 30>>("multiply s16,15, full precision", "fi times", kTimes, kFiTimes))
    jobs.push_back(std::move(job));
  jobs.push_back(keptJob("add, kept to s16,15, nearest saturate", "fi plus", kPlus, kFiPlus));
  jobs.push_back(keptJob("multiply, kept to s16,15, nearest saturate", "fi times", kTimes, kFiTimes));
  jobs.push_back(divideJob());
  jobs.push_back(squareRootJob());
  return jobs;
}

}  // namespace bench
