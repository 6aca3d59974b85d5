#include "bench/instructions.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>

#include "bench/table.h"

/// What the counter looks for; a name without mangling.
extern "C" [[gnu::noinline]] void benchCounted(const bench::Work& work);
void benchCounted(const bench::Work& work) { work(); }

namespace bench {

namespace {

/// Counting makes a program fifty times slower.
constexpr std::size_t kLargestCount = 10'000;

}  // namespace

void runCounted(const std::vector<Job>& jobs) {
  fmt::print("# instructions an operation: {}, {}\n", vectorInstructions(), compiler());
  for (const Job& job : jobs) {
    if (job.byClock) continue;  // what others do is not counted
    const std::size_t elementCount = std::min(job.elementCounts.front(), kLargestCount);
    for (const Contender& contender : job.contenders) {
      if (!contender.isSubject) continue;
      const Work work = contender.prepare(elementCount);
      work();
      benchCounted(work);
      fmt::print("{}\t{}\n", job.operations(elementCount), runName(job, contender, elementCount));
      std::fflush(stdout);
    }
  }
}

}  // namespace bench
