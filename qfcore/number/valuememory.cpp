#include "qfcore/number/valuememory.h"

#include <sys/mman.h>

#include <cstdlib>
#include <cstring>
#include <mutex>
#include <utility>

#include "qfcore/number/messages.h"

namespace embedded {

namespace {

constexpr std::size_t kHugePage = std::size_t{2} << 20;
/// Smaller blocks are reused by the C allocator itself.
constexpr std::size_t kLarge = 2 * kHugePage;
/// What waits at most. Two blocks are the two parts of a complex result.
#ifdef __SANITIZE_ADDRESS__
constexpr std::size_t kMaxWaiting = 0;  // the sanitizer finds misuse only of what is really freed
#else
constexpr std::size_t kMaxWaiting = std::size_t{256} << 20;
#endif

constexpr std::size_t wholePages(std::size_t bytes) { return (bytes + kHugePage - 1) / kHugePage * kHugePage; }

/// Freed blocks that wait for reuse. Nobody frees them at the end of the program: values with static life are
/// freed later.
class WaitingBlocks {
 public:
  /// A block of that many bytes, or null; then none waits any more, since the sizes in use have changed.
  void* take(std::size_t bytes) {
    const std::lock_guard lock(mutex_);
    for (Block& block : blocks_) {
      if (block.bytes != bytes) continue;
      void* taken = block.start;
      block = {};
      return taken;
    }
    for (Block& block : blocks_) std::free(std::exchange(block, {}).start);
    return nullptr;
  }

  void put(void* start, std::size_t bytes) {
    const std::lock_guard lock(mutex_);
    for (Block& block : blocks_) {
      if (block.start) continue;
      block = {start, bytes};
      return;
    }
    std::free(start);
  }

  std::size_t waitingBytes() {
    const std::lock_guard lock(mutex_);
    std::size_t sum = 0;
    for (const Block& block : blocks_) sum += block.bytes;
    return sum;
  }

 private:
  struct Block {
    void* start = nullptr;
    std::size_t bytes = 0;
  };
  std::mutex mutex_;
  Block blocks_[4];
};

constinit WaitingBlocks waiting;

void* allocateLarge(std::size_t bytes) {
  if (void* reused = waiting.take(bytes)) return reused;
  void* start = std::aligned_alloc(kHugePage, bytes);
  if (start) madvise(start, bytes, MADV_HUGEPAGE);
  return start;
}

}  // namespace

void* allocateValues(std::size_t bytes, bool zeroed) {
  const bool isLarge = bytes >= kLarge;
  void* start = isLarge  ? allocateLarge(wholePages(bytes))
                : zeroed ? std::calloc(1, bytes)
                         : std::malloc(bytes);
  if (!start) fail<message::outOfMemory>();
  if (isLarge && zeroed) std::memset(start, 0, bytes);
  return start;
}

void freeValues(void* start, std::size_t bytes) noexcept {
  const bool waits = bytes >= kLarge && waiting.waitingBytes() + wholePages(bytes) <= kMaxWaiting;
  if (waits) {
    waiting.put(start, wholePages(bytes));
  } else {
    std::free(start);
  }
}

}  // namespace embedded
