/// Runs each subject once in a function that an instruction counter can tell from everything else.
#pragma once

#include <vector>

#include "bench/job.h"

namespace bench {

/// For each subject of `jobs`, at its job's smallest count, in a process of its own: runs its work twice to
/// warm up and once inside `benchCounted`, and prints the process, the count of operations and the run's name,
/// with tabs between. The first line names the vector instructions in use and the compiler. Raises
/// std::runtime_error where one fails. bench/count_instructions.sh runs this under valgrind.
void runCounted(const std::vector<Job>& jobs);

}  // namespace bench
