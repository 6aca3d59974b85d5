/// Values and stored integers handed to the host, and patterns read in another type.
#include <algorithm>
#include <cmath>
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

// Stored integers of a host's integer class.

template <class Element>
tessel::HostArray storedIntegers(std::size_t count) {
  tessel::HostArray array = tessel::HostArray::zeros(tessel::arrayClassOf<Element>(), {1, count});
  const Values values = randomValues(count, 1);
  std::transform(values.begin(), values.end(), array.mutableReal<Element>(),
                 [](double value) { return static_cast<Element>(std::abs(stored(value))); });
  return array;
}

template <class Element, class Make>
Prepare fromStored(Make make) {
  return [=](std::size_t count) -> Work {
    return [=, integers = storedIntegers<Element>(count)] { benchmark::DoNotOptimize(make(integers)); };
  };
}

template <class Element>
Prepare fromStoredByHand() {
  return [](std::size_t count) -> Work {
    return [integers = storedIntegers<Element>(count), values = Values(count)]() mutable {
      loop([](Element integer) { return static_cast<double>(integer) * kStep; }, values.data(), values.size(),
           integers.template real<Element>());
      benchmark::ClobberMemory();
    };
  };
}

template <class Element>
Job storedJob(const char* className) {
  const auto constructed = [](const tessel::HostArray& integers) {
    return fi(&integers, NumericType(true, 32, 0));
  };
  const auto set = [](const tessel::HostArray& integers) {
    fi a(1U, 1U, s16());
    a.setIntHostArray(integers);
    return a;
  };
  return {std::string("from ") + className,
          {{"plain loop", fromStoredByHand<Element>()},
           subject("fi set int", fromStored<Element>(set)),
           subject("fi", fromStored<Element>(constructed))}};
}

Job bestPrecisionJob() {
  const auto construct = [](std::size_t count) -> Work {
    tessel::HostArray values = tessel::HostArray::zeros(tessel::ArrayClass::Double, {1, count});
    std::ranges::copy(randomValues(count, 1), values.mutableReal<double>());
    const NumericType type(EmbeddedTypeSystem::DataTypeModeEnum::FixedUnspecified, true, 16, 1, 0, 0);
    return [=] { benchmark::DoNotOptimize(fi(&values, type)); };
  };
  return {"from doubles, best precision",
          {{"plain loop", byHand(Kept(), uniform())}, subject("fi", construct)}};
}

/// An array whose type changes to and fro.
Prepare changedType(int wordLength, int fractionLength) {
  return [=](std::size_t count) -> Work {
    return [=, a = rowOf(randomValues(count, 1), s16())]() mutable {
      a.setNumericType(NumericType(true, wordLength, fractionLength));
      a.setNumericType(s16());
    };
  };
}

Job changedTypeJob() {
  const auto rounded = [](double x) { return std::floor(x * 1024) / 1024; };
  return {"s16,15 to s12,10 and back",
          {{"plain loop", byHand(rounded, uniform())}, subject("fi numerictype", changedType(12, 10))}};
}

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
      storedJob<std::int16_t>("int16"),
      storedJob<std::int64_t>("int64"),
      storedJob<std::uint64_t>("uint64"),
      bestPrecisionJob(),
      changedTypeJob(),
  };
}

}  // namespace bench
