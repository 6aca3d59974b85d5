/// Runs every job of the benchmark tables and prints, for each, the time per element beside its reference's.
/// Takes Google Benchmark's options; `--benchmark_filter=TEXT` runs a part.
#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "bench/job.h"

namespace {

/// One measured line of the table.
struct Line {
  std::string job, contender, reference;
  std::size_t elementCount;
  std::string runName() const { return nameOf(contender); }
  std::string referenceRunName() const { return nameOf(reference); }

 private:
  std::string nameOf(const std::string& who) const { return fmt::format("{}: {}/{}", job, who, elementCount); }
};

/// Keeps the shortest time of each run's repetitions, the one least disturbed, and prints the table at the end.
class TableReporter : public benchmark::BenchmarkReporter {
 public:
  explicit TableReporter(std::vector<Line> lines) : lines_(std::move(lines)) {}

  bool ReportContext(const Context& context) override {
    PrintBasicContext(&GetErrorStream(), context);
    return true;
  }

  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type != Run::RT_Iteration || run.iterations == 0) continue;
      const double seconds = run.cpu_accumulated_time / static_cast<double>(run.iterations);
      const auto [entry, isNew] = shortest_.try_emplace(run.run_name.function_name, seconds);
      if (!isNew) entry->second = std::min(entry->second, seconds);
    }
  }

  void Finalize() override {
    print("job", "elements", "by", "time per element", "reference", "ratio");
    for (const Line& line : lines_) {
      const auto own = shortest_.find(line.runName());
      if (own == shortest_.end()) continue;
      const double time = own->second / static_cast<double>(line.elementCount);
      std::string reference = "-", ratio = "-";
      if (const auto other = shortest_.find(line.referenceRunName());
          other != shortest_.end() && other != own) {
        const double limit = other->second / static_cast<double>(line.elementCount);
        reference = fmt::format("{} ({})", nanoseconds(limit), line.reference);
        ratio = fmt::format("{:.2f}", time / limit);
      }
      print(line.job, fmt::format("{}", line.elementCount), line.contender, nanoseconds(time), reference,
            ratio);
    }
    GetOutputStream() << "ratio: time over the reference's time; below 1 is faster\n";
  }

 private:
  static std::string nanoseconds(double seconds) { return fmt::format("{:.3f} ns", seconds * 1e9); }

  void print(const std::string& job, const std::string& elements, const std::string& by,
             const std::string& time, const std::string& reference, const std::string& ratio) {
    GetOutputStream() << fmt::format("{:<48} | {:>9} | {:<16} | {:>16} | {:<28} | {:>7}\n", job, elements, by,
                                     time, reference, ratio);
  }

  std::vector<Line> lines_;
  std::map<std::string, double> shortest_;  ///< run name -> seconds a call
};

/// Registers every contender of `jobs` with Google Benchmark; returns the lines of the table.
std::vector<Line> registerJobs(const std::vector<bench::Job>& jobs) {
  std::vector<Line> lines;
  for (const bench::Job& job : jobs)
    for (const std::size_t elementCount : job.elementCounts)
      for (const bench::Contender& contender : job.contenders) {
        lines.push_back({job.name, contender.name, job.contenders.front().name, elementCount});
        benchmark::RegisterBenchmark(lines.back().runName().c_str(),
                                     [prepare = contender.prepare, elementCount](benchmark::State& state) {
                                       const std::function<void()> work = prepare(elementCount);
                                       for (auto _ : state) work();
                                     });
      }
  return lines;
}

}  // namespace

int main(int argc, char** argv) {
  // Later options win, so the user's come after these.
  std::vector<std::string> defaults = {"--benchmark_repetitions=3", "--benchmark_min_time=0.1",
                                       "--benchmark_enable_random_interleaving=true"};
  std::vector<char*> arguments = {argv[0]};
  for (std::string& option : defaults) arguments.push_back(option.data());
  arguments.insert(arguments.end(), argv + 1, argv + argc);
  int count = static_cast<int>(arguments.size());
  arguments.push_back(nullptr);
  benchmark::Initialize(&count, arguments.data());
  if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) return 1;

  std::vector<bench::Job> jobs;
  for (const auto& table :
       {bench::quantizeJobs(), bench::additionJobs(), bench::wideJobs(), bench::assignmentJobs()}) {
    jobs.insert(jobs.end(), table.begin(), table.end());
  }
  TableReporter reporter(registerJobs(jobs));
  benchmark::RunSpecifiedBenchmarks(&reporter);
}
