/// Runs each subject once in a function that an instruction counter can tell from everything else.
#pragma once

#include <vector>

#include "bench/job.h"

namespace bench {

/// For each subject of `jobs`, at its job's smallest count: runs its work once to warm up and once inside
/// `benchCounted`, and prints the count of operations and the run's name, with a tab between. The first line
/// names the vector instructions in use and the compiler. bench/count_instructions.sh runs this under valgrind.
void runCounted(const std::vector<Job>& jobs);

}  // namespace bench
