/// What the benchmarks are tables of.
#pragma once

#include <cstddef>
#include <functional>
#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace bench {

/// Sets up everything a measurement needs for arrays of `elementCount` elements and returns the work to
/// measure: one call does the job once over the whole array. The work owns its data.
using Work = std::function<void()>;
using Prepare = std::function<Work(std::size_t elementCount)>;

/// How long a contender may take: so many times as long as another of the same job, or so many nanoseconds an
/// operation. Where both are given one is enough.
struct Goal {
  double ratio = 0;        ///< 0: none
  std::string against;     ///< the contender that `ratio` refers to
  double nanoseconds = 0;  ///< 0: none
};

inline Goal atMost(double ratio, const char* against, double orNanoseconds = 0) {
  return {ratio, against, orNanoseconds};
}
inline Goal atMostNanoseconds(double nanoseconds) { return {0, "", nanoseconds}; }

constexpr std::size_t kAnyCount = std::numeric_limits<std::size_t>::max();
/// A thousand elements tell what an element costs a contender that takes long for each.
constexpr std::size_t kSlowCount = 1'000;

struct Contender {
  std::string name;  ///< who does the job: "plain loop", "fi plus", ...
  Prepare prepare;
  std::vector<Goal> goals = {};
  std::size_t largestCount = kAnyCount;  ///< left out beyond
  bool isSubject = false;                ///< of this system; the others are there to compare with
};

inline Contender subject(std::string name, Prepare prepare, std::vector<Goal> goals = {}) {
  return {std::move(name), std::move(prepare), std::move(goals), kAnyCount, true};
}

/// One job, done by several. The first contender is the reference that the others are compared with.
struct Job {
  std::string name;
  std::vector<Contender> contenders;
  std::vector<std::size_t> elementCounts = {1'000, 100'000, 10'000'000};
  /// What a call's time is divided by: n, of an n-by-n matrix product n³.
  std::size_t (*operations)(std::size_t elementCount) = [](std::size_t elementCount) { return elementCount; };
  bool byClock = false;  ///< processes of their own do the work, so the clock tells its time
};

/// One table a file.
std::vector<Job> quantizeJobs();
std::vector<Job> arithmeticJobs();
std::vector<Job> matrixJobs();
std::vector<Job> complexJobs();
std::vector<Job> elementwiseJobs();
std::vector<Job> exchangeJobs();
std::vector<Job> integerJobs();
std::vector<Job> wideJobs();
std::vector<Job> scalarJobs();
std::vector<Job> textJobs();
std::vector<Job> filterJobs();
std::vector<Job> threadJobs();
std::vector<Job> scriptJobs();
#ifdef QFCORE_PYTHON_PACKAGE
std::vector<Job> pythonJobs();
#endif

/// All of them, in the order of the printed table.
std::vector<Job> allJobs();

}  // namespace bench
