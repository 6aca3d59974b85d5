#include "bench/instructions.h"

#include <fmt/format.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <stdexcept>

#include "bench/table.h"

/// What the counter looks for; a name without mangling.
extern "C" [[gnu::noinline]] void benchCounted(const bench::Work& work);
void benchCounted(const bench::Work& work) { work(); }

namespace bench {

namespace {

/// Counting makes a program fifty times slower.
constexpr std::size_t kLargestCount = 10'000;

/// The first call makes what later ones find again; after the second the allocator has blocks at hand as in a
/// loop.
void count(const Job& job, const Contender& contender) {
  const std::size_t elementCount = std::min(job.elementCounts.front(), kLargestCount);
  const Work work = contender.prepare(elementCount);
  work();
  work();
  benchCounted(work);
  fmt::print("{}\t{}\t{}\n", getpid(), job.operations(elementCount), runName(job, contender, elementCount));
}

/// In a process of its own: what earlier rows leave, in the allocator's lists too, changes no count.
void countApart(const Job& job, const Contender& contender) {
  std::fflush(stdout);
  const pid_t child = fork();
  if (child == 0) {
    count(job, contender);
    std::fflush(stdout);
    _exit(0);
  }
  int status = 0;
  if (child < 0 || waitpid(child, &status, 0) != child || status != 0)
    throw std::runtime_error("a row could not be counted: " + job.name);
}

}  // namespace

void runCounted(const std::vector<Job>& jobs) {
  fmt::print("# instructions an operation: {}, {}\n", vectorInstructions(), compiler());
  for (const Job& job : jobs) {
    if (job.byClock) continue;  // what others do is not counted
    for (const Contender& contender : job.contenders)
      if (contender.isSubject) countApart(job, contender);
  }
}

}  // namespace bench
