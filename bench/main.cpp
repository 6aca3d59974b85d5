/// Runs the jobs of the benchmark tables and prints, for each contender, the time per operation beside its
/// reference's.
///
/// `--markdown FILE` also writes the page docs/performance.md, `--readme FILE` the table of its headlines into
/// README.md; `--instructions` alone runs what
/// bench/count_instructions.sh counts. Google Benchmark's options are understood; `--benchmark_filter=TEXT`
/// runs a part.
#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include <algorithm>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "bench/headlines.h"
#include "bench/instructions.h"
#include "bench/job.h"
#include "bench/table.h"
#include "qfcore/math/parallel.h"

namespace bench {

std::vector<Job> allJobs() {
  std::vector<Job> jobs;
  for (const auto& table :
       {quantizeJobs, arithmeticJobs, matrixJobs, complexJobs, elementwiseJobs, exchangeJobs, integerJobs,
        wideJobs, scalarJobs, textJobs, filterJobs, threadJobs, scriptJobs}) {
    for (Job& job : table()) jobs.push_back(std::move(job));
  }
#ifdef QFCORE_PYTHON_PACKAGE
  for (Job& job : pythonJobs()) jobs.push_back(std::move(job));
#endif
  return jobs;
}

}  // namespace bench

// SystemC's library asks for the entry point of simulations; there are none here.
extern "C" int sc_main(int, char**) { return 0; }

namespace {

/// Keeps the shortest time of each run's repetitions, the one least disturbed.
class ShortestTimes : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context&) override { return true; }
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type != Run::RT_Iteration || run.iterations == 0) continue;
      const bool byClock = run.run_name.time_type == "real_time";
      const double seconds = (byClock ? run.real_accumulated_time : run.cpu_accumulated_time) /
                             static_cast<double>(run.iterations);
      const auto [entry, isNew] = times_.try_emplace(run.run_name.function_name, seconds);
      if (!isNew) entry->second = std::min(entry->second, seconds);
    }
  }
  const bench::Times& times() const { return times_; }

 private:
  bench::Times times_;
};

/// Registers every contender of `jobs`, which must stay, with Google Benchmark.
void registerJobs(const std::vector<bench::Job>& jobs) {
  for (const bench::Job& job : jobs) {
    for (const std::size_t elementCount : job.elementCounts) {
      for (const bench::Contender& contender : job.contenders) {
        if (elementCount > contender.largestCount) continue;
        auto* measured = benchmark::RegisterBenchmark(
            runName(job, contender, elementCount).c_str(), [&contender, elementCount](benchmark::State& state) {
              const bench::Work work = contender.prepare(elementCount);
              work();  // pays for memory that the system has not given yet
              for (auto _ : state) work();
            });
        if (job.byClock) measured->UseRealTime();
      }
    }
  }
}

constexpr const char* kPage = R"(# Performance

What array operations cost, beside what they cannot beat: the loop that one would write by hand for exactly this job
(vectorised, into memory made beforehand), the library that does nothing else, and what memory allows (`copy`, `triad`);
and beside SystemC's data types, which do the same job one object a value. A `fi` operation checks its operands, derives
the result's type and makes a new array each time, as scripts have it.

`make performance` writes this page; this machine is:

{}
`make bench` prints the same table. Times are the shortest of a few repetitions after a first call, on one core.
`ratio` is the time over the reference's, the first line of its job; below 1 is faster. A goal without a name is told in
the reference's times. Goals in nanoseconds were set on a machine on which the plain loop of `6000x32 times 32x1` takes 1.4
for a multiply-add with sums of 64 bits; slower ones miss some. The project's loops and the hand-written ones are compiled
for several instruction sets, and the widest one that the processor has is used.

Times vary with the machine and its load; counts of instructions do not. `make bench-instructions` counts them with
valgrind for each way of this system to do a job and fails when one has grown over what `bench/instructions.txt` keeps;
`bench/count_instructions.sh build/release/bin/bench --keep` keeps new counts.

{})";

bool writePage(const char* file, const std::string& table) {
  std::string machine;
  for (const std::string& line : bench::machineDescription()) machine += "- " + line + "\n";
  std::ofstream page(file);
  page << fmt::format(kPage, machine, table);
  page.close();
  if (!page) std::cerr << "The file '" << file << "' cannot be written.\n";
  return !page.fail();
}

/// Takes an option with a file out of the arguments; null without it.
const char* takeFileOption(std::string_view name, std::vector<char*>& arguments) {
  const auto option = std::ranges::find(arguments, name);
  if (option == arguments.end() || option + 1 == arguments.end()) return nullptr;
  const char* file = option[1];
  arguments.erase(option, option + 2);
  return file;
}

}  // namespace

int main(int argc, char** argv) {
  // Later options win, so the user's come after these.
  std::string defaults[] = {"--benchmark_repetitions=5", "--benchmark_min_time=0.03",
                            "--benchmark_enable_random_interleaving=true"};
  std::vector<char*> arguments(argv, argv + argc);
  // Times are those of one core, but where a row tells otherwise.
  embedded::setThreadCount(1);
  const std::vector<bench::Job> jobs = bench::allJobs();
  if (argc == 2 && arguments[1] == std::string_view("--instructions")) {
    bench::runCounted(jobs);
    return 0;
  }
  const char *page = takeFileOption("--markdown", arguments), *readme = takeFileOption("--readme", arguments);
  for (std::string& option : defaults) arguments.insert(arguments.begin() + 1, option.data());
  int count = static_cast<int>(arguments.size());
  arguments.push_back(nullptr);
  benchmark::Initialize(&count, arguments.data());
  if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) return 1;

  registerJobs(jobs);
  ShortestTimes shortest;
  benchmark::RunSpecifiedBenchmarks(&shortest);
  const std::string table = tableOf(jobs, shortest.times());
  for (const std::string& line : bench::machineDescription()) std::cout << line << '\n';
  std::cout << '\n' << table;
  try {
    if (readme) bench::renewHeadlines(readme, jobs, shortest.times());
  } catch (const std::runtime_error& error) {
    std::cerr << "bench: " << error.what() << '\n';
    return 1;
  }
  return !page || writePage(page, table) ? 0 : 1;
}
