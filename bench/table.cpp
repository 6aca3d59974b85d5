#include "bench/table.h"

#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <optional>

namespace bench {

namespace {

using Row = std::array<std::string, 8>;

const Row kHeader = {"job", "n", "by", "ns per operation", "reference, ns", "ratio", "goal", "met"};
/// Numbers stand at the right.
constexpr std::array<bool, std::tuple_size_v<Row>> kIsNumber = {false, true, false, true,
                                                                false, true, false, false};

/// One job at one count of elements.
class Measured {
 public:
  Measured(const Job& job, std::size_t elementCount, const Times& times)
      : job_(job), elementCount_(elementCount), times_(times) {}

  std::optional<double> nanoseconds(const Contender& contender) const {
    const auto found = times_.find(runName(job_, contender, elementCount_));
    if (found == times_.end()) return std::nullopt;
    return found->second * 1e9 / static_cast<double>(job_.operations(elementCount_));
  }

  std::optional<double> nanosecondsOf(const std::string& name) const {
    for (const Contender& contender : job_.contenders) {
      if (contender.name == name) return nanoseconds(contender);
    }
    return std::nullopt;
  }

  const Job& job() const { return job_; }
  std::size_t elementCount() const { return elementCount_; }

 private:
  const Job& job_;
  std::size_t elementCount_;
  const Times& times_;
};

struct GoalCount {
  int met = 0, all = 0;
};

std::string textOf(const Goal& goal, const std::string& reference) {
  std::string text;
  if (goal.ratio > 0) text = fmt::format("<= {:g} x", goal.ratio);
  if (goal.ratio > 0 && goal.against != reference) text += " " + goal.against;
  if (goal.nanoseconds > 0) text += fmt::format("{}<= {:g} ns", text.empty() ? "" : " or ", goal.nanoseconds);
  return text;
}

/// Nothing where the contender that the goal refers to has not run.
std::optional<bool> isMet(const Goal& goal, const Measured& measured, double time) {
  if (goal.nanoseconds > 0 && time <= goal.nanoseconds) return true;
  if (goal.ratio == 0) return false;
  const auto limit = measured.nanosecondsOf(goal.against);
  if (!limit) return std::nullopt;
  return time <= goal.ratio * *limit;
}

std::string nanosecondText(double nanoseconds) {
  return fmt::format("{:.{}f}", nanoseconds, nanoseconds < 10 ? 3 : nanoseconds < 1000 ? 1 : 0);
}

void appendRow(const Measured& measured, const Contender& contender, std::vector<Row>& rows, GoalCount& count) {
  const auto time = measured.nanoseconds(contender);
  if (!time) return;
  const Contender& reference = measured.job().contenders.front();
  Row row = {measured.job().name, fmt::format("{}", measured.elementCount()), contender.name,
             nanosecondText(*time)};
  if (const auto limit = measured.nanoseconds(reference); limit && &contender != &reference) {
    row[4] = fmt::format("{} {}", reference.name, nanosecondText(*limit));
    row[5] = fmt::format("{:.2f}", *time / *limit);
  }
  // A thousand elements beside more show what a call costs; goals are for the larger arrays.
  const bool isCallCost = measured.elementCount() == kSlowCount && measured.job().elementCounts.size() > 1;
  if (isCallCost) return rows.push_back(row);
  for (const Goal& goal : contender.goals) {
    const auto met = isMet(goal, measured, *time);
    if (!met) continue;
    row[6] += (row[6].empty() ? "" : ", ") + textOf(goal, reference.name);
    row[7] += fmt::format("{}{}", row[7].empty() ? "" : ", ", *met ? "yes" : "NO");
    ++count.all;
    count.met += *met;
  }
  rows.push_back(row);
}

std::string rendered(const std::vector<Row>& rows) {
  std::array<std::size_t, std::tuple_size_v<Row>> widths{};
  for (const Row& row : rows) {
    for (std::size_t column = 0; column < row.size(); ++column)
      widths[column] = std::max(widths[column], row[column].size());
  }
  std::string text;
  for (std::size_t line = 0; line < rows.size(); ++line) {
    for (std::size_t column = 0; column < widths.size(); ++column) {
      const char* layout = kIsNumber[column] ? "| {:>{}} " : "| {:<{}} ";
      text += fmt::format(fmt::runtime(layout), rows[line][column], widths[column]);
    }
    text += "|\n";
    if (line > 0) continue;
    for (std::size_t column = 0; column < widths.size(); ++column) {
      text += fmt::format("| {:-<{}}{} ", "", widths[column] - 1, kIsNumber[column] ? ':' : '-');
    }
    text += "|\n";
  }
  return text;
}

std::string processorName() {
  std::ifstream information("/proc/cpuinfo");
  for (std::string line; std::getline(information, line);) {
    if (line.starts_with("model name")) return line.substr(line.find(':') + 2);
  }
  return "unknown";
}

}  // namespace

std::string runName(const Job& job, const Contender& contender, std::size_t elementCount) {
  return fmt::format("{}: {}/{}", job.name, contender.name, elementCount);
}

std::string tableOf(const std::vector<Job>& jobs, const Times& times) {
  std::vector<Row> rows = {kHeader};
  GoalCount count;
  for (const Job& job : jobs) {
    for (const std::size_t elementCount : job.elementCounts) {
      const Measured measured(job, elementCount, times);
      for (const Contender& contender : job.contenders) appendRow(measured, contender, rows, count);
    }
  }
  return rendered(rows) + fmt::format("\n{} of {} goals are met.\n", count.met, count.all);
}

const char* vectorInstructions() {
#if defined(__x86_64__) && !defined(__clang__)
  if (__builtin_cpu_supports("avx512f")) return "x86-64-v4 (AVX-512)";
  if (__builtin_cpu_supports("avx2")) return "x86-64-v3 (AVX2)";
#endif
  return "those of the baseline";
}

const char* compiler() {
#ifdef __clang__
  return __VERSION__;
#else
  return "g++ " __VERSION__;
#endif
}

std::vector<std::string> machineDescription() {
  std::string caches;
  for (const auto& cache : benchmark::CPUInfo::Get().caches) {
    caches +=
        fmt::format("{}L{} {} {} KiB", caches.empty() ? "" : ", ", cache.level, cache.type, cache.size / 1024);
  }
  return {fmt::format("processor: {}, {} cores", processorName(), benchmark::CPUInfo::Get().num_cpus),
          "caches: " + caches, fmt::format("vector instructions: {}", vectorInstructions()),
          fmt::format("compiler: {}", compiler())};
}

}  // namespace bench
