/// Patterns of stored integers as text, one value a row, and back.
#include <charconv>
#include <cstdint>

#include "bench/job.h"
#include "bench/operands.h"
#include "bench/systemc.h"

namespace bench {
namespace {

using tessel::ArrayClass;
using tessel::HostArray;

struct Radix {
  const char* name;
  int base;
  std::size_t digits;  ///< of a 16-bit pattern
  sc_dt::sc_numrep systemC;
};
constexpr Radix kRadixes[] = {{"binary", 2, 16, sc_dt::SC_BIN}, {"hexadecimal", 16, 4, sc_dt::SC_HEX}};

/// The text's characters stand column by column, as the host keeps a matrix.
void writeText(const Values& values, const Radix& radix, char* text) {
  for (std::size_t i = 0; i < values.size(); ++i) {
    char digits[16];
    const auto pattern = static_cast<std::uint16_t>(static_cast<std::int32_t>(values[i] * kScale));
    const auto end = std::to_chars(digits, digits + sizeof digits, pattern, radix.base).ptr;
    const std::size_t padding = radix.digits - static_cast<std::size_t>(end - digits);
    for (std::size_t k = 0; k < radix.digits; ++k) {
      text[k * values.size() + i] = k < padding ? '0' : digits[k - padding];
    }
  }
}

void readText(const char* text, const Radix& radix, Values& values) {
  for (std::size_t i = 0; i < values.size(); ++i) {
    char digits[16];
    for (std::size_t k = 0; k < radix.digits; ++k) digits[k] = text[k * values.size() + i];
    std::uint16_t pattern = 0;
    std::from_chars(digits, digits + radix.digits, pattern, radix.base);
    values[i] = static_cast<std::int16_t>(pattern) * kStep;
  }
}

Prepare toTextByHand(const Radix& radix) {
  return [=](std::size_t elementCount) -> Work {
    return [=, values = randomValues(elementCount, 1),
            text = std::vector<char>(elementCount * radix.digits)]() mutable {
      writeText(values, radix, text.data());
      benchmark::ClobberMemory();
    };
  };
}

Prepare fromTextByHand(const Radix& radix) {
  return [=](std::size_t elementCount) -> Work {
    std::vector<char> text(elementCount * radix.digits);
    writeText(randomValues(elementCount, 1), radix, text.data());
    return [=, values = Values(elementCount)]() mutable {
      readText(text.data(), radix, values);
      benchmark::ClobberMemory();
    };
  };
}

Prepare toTextByFi(int base, const NumericType& type = s16()) {
  return [=](std::size_t elementCount) -> Work {
    return
        [=, a = columnOf(randomValues(elementCount, 1), type)] { benchmark::DoNotOptimize(a.num2base(base)); };
  };
}

Prepare fromTextByFi(int base, const NumericType& type = s16()) {
  return [=](std::size_t elementCount) -> Work {
    fi a = columnOf(randomValues(elementCount, 1), type);
    return [=, text = a.num2base(base)]() mutable {
      a.base2num(text, base);
      benchmark::ClobberMemory();
    };
  };
}

std::vector<ScS16> scValues(std::size_t elementCount) {
  const Values values = randomValues(elementCount, 1);
  return {values.begin(), values.end()};
}

Contender toTextBySystemC(const Radix& radix) {
  return {"SystemC",
          [=](std::size_t elementCount) -> Work {
            return [=, values = scValues(elementCount)] {
              for (const ScS16& value : values) benchmark::DoNotOptimize(value.to_string(radix.systemC));
            };
          },
          {},
          kSlowCount};
}

Contender fromTextBySystemC(const Radix& radix) {
  return {"SystemC",
          [=](std::size_t elementCount) -> Work {
            std::vector<std::string> texts;
            for (const ScS16& value : scValues(elementCount)) texts.push_back(value.to_string(radix.systemC));
            return [=, values = std::vector<ScS16>(elementCount)]() mutable {
              for (std::size_t i = 0; i < texts.size(); ++i) values[i] = texts[i].c_str();
              benchmark::ClobberMemory();
            };
          },
          {},
          kSlowCount};
}

}  // namespace

std::vector<Job> textJobs() {
  const std::vector<Goal> goal = {atMostNanoseconds(20)};
  const std::vector<std::size_t> counts = {1'000, 100'000};
  std::vector<Job> jobs;
  for (const Radix& radix : kRadixes) {
    const std::string name = radix.name;
    jobs.push_back({"s16,15 to " + name + " text",
                    {{"to_chars loop", toTextByHand(radix)},
                     subject("fi num2base", toTextByFi(radix.base), goal),
                     toTextBySystemC(radix)},
                    counts});
    jobs.push_back({"s16,15 from " + name + " text",
                    {{"from_chars loop", fromTextByHand(radix)},
                     subject("fi base2num", fromTextByFi(radix.base), goal),
                     fromTextBySystemC(radix)},
                    counts});
  }
  const NumericType single(EmbeddedTypeSystem::DataTypeModeEnum::Single, true, 32, 1, 0, 0);
  jobs.push_back({"single to and from hexadecimal text",
                  {{"to_chars loop, s16,15", toTextByHand(kRadixes[1])},
                   subject("fi num2base", toTextByFi(16, single), goal),
                   subject("fi base2num", fromTextByFi(16, single), goal)},
                  counts});
  return jobs;
}

}  // namespace bench
