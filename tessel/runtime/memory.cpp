#include "tessel/memory.h"

#include <sys/mman.h>

#include <cstdlib>
#include <cstring>
#include <mutex>
#include <utility>

namespace tessel {

namespace {

constexpr std::size_t kHugePage = std::size_t{2} << 20;
/// Smaller blocks are reused by the C allocator itself.
constexpr std::size_t kLarge = 2 * kHugePage;
/// Blocks below this size it has at hand, but not where it is to zero them.
constexpr std::size_t kSmall = 1024;
/// What waits at most.
#ifdef __SANITIZE_ADDRESS__
constexpr std::size_t kMaxWaiting = 0;  // the sanitizer finds misuse only of what is really freed
#else
constexpr std::size_t kMaxWaiting = std::size_t{256} << 20;
#endif
/// So many blocks of other sizes may be made while one waits: enough for the arrays of a loop to find theirs.
constexpr int kPatience = 4;

constexpr std::size_t wholePages(std::size_t bytes) { return (bytes + kHugePage - 1) / kHugePage * kHugePage; }

/// Freed blocks that wait for reuse. Nobody frees them at the end of the program: values with static life are
/// freed later.
class WaitingBlocks {
 public:
  /// A block of that many bytes, or null; then those that have waited in vain for long are freed.
  void* take(std::size_t bytes) {
    const std::lock_guard lock(mutex_);
    for (Block& block : blocks_) {
      if (block.bytes == bytes) return std::exchange(block, {}).start;
    }
    for (Block& block : blocks_) {
      if (block.start && ++block.timesPassed == kPatience) std::free(std::exchange(block, {}).start);
    }
    return nullptr;
  }

  /// Whether there is room for a block to wait.
  bool put(void* start, std::size_t bytes) {
    const std::lock_guard lock(mutex_);
    Block* room = nullptr;
    std::size_t sum = bytes;
    for (Block& block : blocks_) {
      sum += block.bytes;
      if (!block.start) room = &block;
    }
    if (!room || sum > kMaxWaiting) return false;
    *room = {start, bytes, 0};
    return true;
  }

 private:
  struct Block {
    void* start = nullptr;
    std::size_t bytes = 0;
    int timesPassed = 0;
  };
  std::mutex mutex_;
  Block blocks_[8];
};

constinit WaitingBlocks waiting;

void* allocateLarge(std::size_t bytes) {
  if (void* reused = waiting.take(bytes)) return reused;
  void* start = std::aligned_alloc(kHugePage, bytes);
  if (start) madvise(start, bytes, MADV_HUGEPAGE);
  return start;
}

}  // namespace

void* allocateElements(std::size_t bytes, bool zeroed) {
  if (bytes < kLarge && zeroed && bytes >= kSmall) return std::calloc(1, bytes);
  void* start = bytes < kLarge ? std::malloc(bytes) : allocateLarge(wholePages(bytes));
  if (start && zeroed) std::memset(start, 0, bytes);
  return start;
}

void freeElements(void* start, std::size_t bytes) noexcept {
  if (bytes < kLarge || !waiting.put(start, wholePages(bytes))) std::free(start);
}

}  // namespace tessel
