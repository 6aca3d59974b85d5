/// The table of results, as Markdown, which reads well on a terminal too.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "bench/job.h"

namespace bench {

/// "JOB: CONTENDER/COUNT": names a measurement.
std::string runName(const Job& job, const Contender& contender, std::size_t elementCount);

/// Seconds a call, by run name.
using Times = std::map<std::string, double>;

/// One line for each measurement: time per operation, the reference's time, their ratio, the goal and whether
/// it is met. Followed by a line that counts the goals.
std::string tableOf(const std::vector<Job>& jobs, const Times& times);

/// The widest instructions that the loops compiled for several sets run with.
const char* vectorInstructions();
const char* compiler();

/// Processor, caches, vector instructions and compiler, one a line.
std::vector<std::string> machineDescription();

}  // namespace bench
