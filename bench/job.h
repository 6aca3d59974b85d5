/// What the benchmarks are tables of.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace bench {

/// Sets up everything a measurement needs for arrays of `elementCount` elements and returns the work to
/// measure: one call does the job once over the whole array. The work owns its data.
using Prepare = std::function<std::function<void()>(std::size_t elementCount)>;

struct Contender {
  const char* name;  ///< who does the job: "plain loop", "fi", ...
  Prepare prepare;
};

/// One job, done by several. The first contender is the reference that the others are compared with.
struct Job {
  std::string name;
  std::vector<Contender> contenders;
  std::vector<std::size_t> elementCounts = {1'000, 100'000, 10'000'000};
};

/// One table a file; main() runs them all in this order.
std::vector<Job> quantizeJobs();
std::vector<Job> additionJobs();
std::vector<Job> wideJobs();
std::vector<Job> assignmentJobs();

}  // namespace bench
