#include "qfcore/math/threadpool.h"

#include <oneapi/tbb/global_control.h>
#include <oneapi/tbb/info.h>
#include <oneapi/tbb/parallel_for.h>
#include <oneapi/tbb/task_arena.h>

#include <optional>

namespace embedded {

namespace {

/// Asked for while the module is loaded: whoever asked first and met no memory would leave the library waiting
/// for the answer for ever.
const int processors = tbb::info::default_concurrency();

}  // namespace

struct ThreadPool::Threads {
  explicit Threads(unsigned count) : arena(static_cast<int>(count)) {
    // More threads than processors must be asked for; fewer are the arena's own affair, and no limit for what
    // the program does with the library besides.
    if (static_cast<int>(count) > processors)
      raised.emplace(tbb::global_control::max_allowed_parallelism, count);
  }

  std::optional<tbb::global_control> raised;
  tbb::task_arena arena;
};

ThreadPool::ThreadPool(unsigned count) : count_(count), threads_(std::make_unique<Threads>(count)) {}

ThreadPool::~ThreadPool() = default;

void ThreadPool::run(void (*work)(void* data), void* data) {
  threads_->arena.execute([=, this] {
    tbb::parallel_for(
        0U, count_, [=](unsigned) { work(data); }, tbb::simple_partitioner());
  });
}

}  // namespace embedded
