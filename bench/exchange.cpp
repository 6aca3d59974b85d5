/// Values and stored integers handed to the host, and patterns read in another type.
#include <cstdint>

#include "bench/job.h"
#include "bench/operands.h"
#include "bench/systemc.h"

namespace bench {
namespace {

template <class Result, class ScResult, class Operation, class FiOperation, class ScOperation>
Job job(const char* name, const char* fiName, Operation operation, FiOperation fiOperation,
        ScOperation scOperation) {
  return {name,
          {{"plain loop", byHand<Result>(operation, uniform())},
           copyLimit(),
           subject(fiName, byFi(s16(), fimath(), fiOperation, uniform())),
           bySystemC<ScS16, ScResult>("SystemC", scOperation, uniform())}};
}

std::int32_t stored(double value) { return static_cast<std::int32_t>(value * kScale); }

}  // namespace

std::vector<Job> exchangeJobs() {
  using ChunkMode = fi::IntArrayChunkMode;
  using DimensionMode = fi::IntArrayDimensionMode;
  return {
      job<double, double>(
          "get doubles", "fi double", [](double a) { return a; },
          [](const fi& a) { return a.getDoubleHostArray(); }, [](const ScS16& a) { return a.to_double(); }),
      job<std::int16_t, std::int16_t>(
          "get stored integers", "fi int", [](double a) { return static_cast<std::int16_t>(stored(a)); },
          [](const fi& a) { return a.getIntHostArray(); },
          [](const ScS16& a) { return static_cast<std::int16_t>(a.range(15, 0).to_int()); }),
      job<std::uint32_t, std::uint32_t>(
          "get 32-bit chunks", "fi intarray",
          [](double a) { return static_cast<std::uint32_t>(stored(a)) & 0xFFFF; },
          [](const fi& a) { return a.getIntArrayHostArray(ChunkMode::AsNeeded, DimensionMode::NewDimension); },
          [](const ScS16& a) { return static_cast<std::uint32_t>(a.range(15, 0).to_uint()); }),
      job<double, ScFixed<16, 12>>(
          "reinterpretcast to s16,12", "fi reinterpretcast", [](double a) { return a * 8; },
          [](const fi& a) { return a.reinterpretcast(NumericType(true, 16, 12)); },
          [](const ScS16& a) { return ScFixed<19, 12>(a) << 3; }),
  };
}

}  // namespace bench
