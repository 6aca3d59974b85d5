#include "qfcore/math/parallel.h"

#include <pthread.h>
#include <sched.h>

#include <atomic>
#include <cstdlib>
#include <exception>

#include "qfcore/math/threadpool.h"
#include "qfcore/number/exponentrange.h"
#include "qfcore/types/features.h"

namespace embedded {

namespace {

unsigned firstCount() {
  const char* wanted = std::getenv("QFCORE_THREADS");
  const long count = wanted ? std::strtol(wanted, nullptr, 10) : 0;
  if (count >= 1) return static_cast<unsigned>(std::min(count, long{kMaxThreads}));
  cpu_set_t processors;
  if (sched_getaffinity(0, sizeof processors, &processors) != 0) return 1;
  return static_cast<unsigned>(std::clamp(CPU_COUNT(&processors), 1, static_cast<int>(kMaxThreads)));
}

std::atomic<unsigned>& count() {
  static std::atomic<unsigned> threads = firstCount();
  return threads;
}

/// Within a piece: what it calls runs on its thread alone.
thread_local bool isInPiece = false;

/// The child of a process that forks has no threads but its own, and a lock of theirs may be held for ever.
/// Programs fork as many children as they have processors anyway.
bool isForked = false;
[[maybe_unused]] const int isToldOfForks = pthread_atfork(nullptr, nullptr, [] { isForked = true; });

}  // namespace

unsigned threadCount() { return isForked ? 1 : count().load(); }

void setThreadCount(unsigned wanted) { count() = std::clamp(wanted, 1U, kMaxThreads); }

void setSharingShortLoops(bool on) { detail::sharesShortLoops = on; }

namespace detail {

bool sharesShortLoops = false;

std::size_t piecesOfLong(std::size_t count, std::size_t worthwhile) {
  constexpr std::size_t kPiecesEach = 4;
  if (isInPiece) return 1;
  if (sharesShortLoops) worthwhile = 1;
  const unsigned wanted = threadCount();
  // A record's stack trace is that of the caller's thread.
  if (wanted == 1 || s_feature_fi_stack_trace_logging) return 1;
  return std::min(kPiecesEach * wanted, std::max(count / worthwhile, std::size_t{1}));
}

namespace {

/// Pieces of a loop, which threads take one after the other.
class Pieces {
 public:
  Pieces(std::size_t count, const std::function<void(std::size_t piece)>& work)
      : work_(work), count_(count), firstFailed_(count), failures_(count) {}

  void runOn(unsigned threads) {
    runOnThreads(
        threads - 1, [](void* pieces) { static_cast<Pieces*>(pieces)->run(); }, this);
  }
  void throwFirstFailure() const {
    if (firstFailed_ < count_) std::rethrow_exception(failures_[firstFailed_]);
  }

 private:
  /// Until none is left.
  void run() noexcept {
    isInPiece = true;
    widenExponentRange();
    // What comes behind a failure would not have been reached by one thread.
    for (std::size_t piece; (piece = next_++) < firstFailed_;) {
      try {
        work_(piece);
      } catch (...) {
        failures_[piece] = std::current_exception();
        std::size_t first = firstFailed_;
        while (piece < first && !firstFailed_.compare_exchange_weak(first, piece)) {
        }
      }
    }
    isInPiece = false;
  }

  const std::function<void(std::size_t piece)>& work_;
  std::size_t count_;
  std::atomic<std::size_t> next_ = 0, firstFailed_;
  std::vector<std::exception_ptr> failures_;
};

}  // namespace

void runPieces(std::size_t count, const std::function<void(std::size_t piece)>& work) {
  Pieces pieces(count, work);
  pieces.runOn(threadCount());
  pieces.throwFirstFailure();
}

}  // namespace detail

}  // namespace embedded
