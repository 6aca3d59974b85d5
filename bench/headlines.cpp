#include "bench/headlines.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include <fmt/format.h>

namespace bench {
namespace {

constexpr const char* kHeader = "| job | qfcore | beside it |";

/// A measurement by its run name, and the words behind its time.
struct Measurement {
  const char *run, *words;
};

struct Headline {
  const char* job;
  std::vector<Measurement> ours, others;
};

const std::vector<Headline>& headlines() {
  static const std::vector<Headline> rows = {
      {"add two arrays of 16-bit words, full precision",
       {{"add s16,15, full precision: fi plus/100000", ""}},
       {{"add s16,15, full precision: plain loop/100000", ", the loop on plain doubles"}}},
      {"round and saturate to 16 bits, counting overflows and extremes",
       {{"quantize to s16,15, saturate, logging: nearest/100000", ""}},
       {{"quantize to s16,15, saturate, logging: counting loop, nearest/100000",
         ", the hand-written counting loop"}}},
      {"matrix product 256 x 256, full precision, a multiply-add",
       {{"matrix product s16,15, full precision, per multiply-add: fi mtimes/256", ""}},
       {{"matrix product s16,15, full precision, per multiply-add: OpenBLAS dgemm/256",
         ", OpenBLAS on doubles"}}},
      {"the same, each product and sum rounded to 16 bits",
       {{"matrix product, each product and sum kept to s16,15, per multiply-add: fi mtimes/256", ""}},
       {{"matrix product, each product and sum kept to s16,15, per multiply-add: tiled loop/256",
         ", a tiled loop"},
        {"matrix product, each product and sum kept to s16,15, per multiply-add: SystemC/16",
         ", SystemC (16 x 16)"}}},
      {"6000 x 32 times 32 x 1, 32-bit words, products and sums of 64 bits, a multiply-add",
       {{"6000x32 times 32x1, s32,31, products and sums of 64 bits, floor, saturate: fi mtimes/6000", ""}},
       {{"6000x32 times 32x1, s32,31, products and sums of 64 bits, floor, saturate: plain loop/6000",
         ", an `int64` loop"}}},
      {"feedback filter, a section of second order, 32-bit words, sums of 64 bits",
       {{"biquad section s32,31, sums of 64 bits, per sample: fi sosfilt/100000", ""}},
       {{"biquad section s32,31, sums of 64 bits, per sample: __int128 loop/100000", ", an `__int128` loop"}}},
      {"add 256-bit words",
       {{"256-bit words: add, full precision: fi plus/100000", ""}},
       {{"256-bit words: add, full precision: raw MPFR/100000", ", MPFR"},
        {"256-bit words: add, full precision: raw GMP/100000", ", bare GMP limbs"}}},
      {"16-bit words to hexadecimal text",
       {{"s16,15 to hexadecimal text: fi num2base/100000", ""}},
       {{"s16,15 to hexadecimal text: to_chars loop/100000", ", a `to_chars` loop"}}},
      {"one value: make it; add two of them",
       {{"scalar: make fi(double, type): fi/1000", ""}, {"scalar: a + b: fi plus/1000", ""}},
       {{"scalar: make fi(double, type): SystemC sc_fix/1000", ""},
        {"scalar: a + b: SystemC sc_fix/1000", ", SystemC `sc_fix`"}}},
      {"in a script: call a function of two numbers; add two 16-bit values",
       {{"script beside languages, doubles: call of a function: Tessel/20000", ""},
        {"script, single values: r = p + q;: fi/20000", ""}},
       {{"script beside languages, doubles: call of a function: CPython/20000", ", the call in CPython"}}}};
  return rows;
}

/// With two digits, or all before the point.
std::string shortText(double nanoseconds) {
  const int digits = std::max(0, 1 - static_cast<int>(std::floor(std::log10(nanoseconds))));
  return fmt::format("{:.{}f}", nanoseconds, digits);
}

double nanosecondsOf(const std::string& run, const std::vector<Job>& jobs, const Times& times) {
  const auto seconds = times.find(run);
  if (seconds == times.end()) throw std::runtime_error("'" + run + "' has not been measured.");
  for (const Job& job : jobs) {
    for (const Contender& contender : job.contenders) {
      for (const std::size_t elementCount : job.elementCounts) {
        if (runName(job, contender, elementCount) == run)
          return seconds->second * 1e9 / static_cast<double>(job.operations(elementCount));
      }
    }
  }
  throw std::runtime_error("No job is '" + run + "'.");
}

std::string listed(const std::vector<Measurement>& measurements, const std::vector<Job>& jobs,
                   const Times& times) {
  std::string text;
  for (const Measurement& each : measurements)
    text += (text.empty() ? "" : "; ") + shortText(nanosecondsOf(each.run, jobs, times)) + each.words;
  return text;
}

}  // namespace

void renewHeadlines(const std::string& file, const std::vector<Job>& jobs, const Times& times) {
  std::string table = std::string(kHeader) + "\n| --- | ---: | --- |\n";
  for (const Headline& row : headlines())
    table += fmt::format("| {} | {} | {} |\n", row.job, listed(row.ours, jobs, times),
                         listed(row.others, jobs, times));

  std::ifstream page(file);
  std::ostringstream text;
  bool isFound = false, isInTable = false;
  for (std::string line; std::getline(page, line);) {
    isInTable = line == kHeader || (isInTable && line.starts_with("|"));
    if (line == kHeader) {
      isFound = true;
      text << table;
    }
    if (!isInTable) text << line << '\n';
  }
  if (!isFound) throw std::runtime_error("'" + file + "' has no table of headlines.");
  std::ofstream renewed(file);
  renewed << text.str();
  renewed.close();
  if (!renewed) throw std::runtime_error("'" + file + "' cannot be written.");
}

}  // namespace bench
