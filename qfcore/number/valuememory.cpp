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
#ifdef __SANITIZE_ADDRESS__
constexpr std::size_t kLargestKept = 0;  // the sanitizer finds misuse only of what is really freed
#else
constexpr std::size_t kLargestKept = std::size_t{256} << 20;
#endif

struct Block {
  void* start = nullptr;
  std::size_t bytes = 0;
};

/// Puts a block in the place where one waits for reuse, and returns the one that waited. The place is never
/// emptied at the end of the program: values with static life are freed later.
Block exchangeWaiting(Block block) {
  static constinit std::mutex mutex;
  static constinit Block waiting;
  const std::lock_guard lock(mutex);
  return std::exchange(waiting, block);
}

constexpr std::size_t wholePages(std::size_t bytes) { return (bytes + kHugePage - 1) / kHugePage * kHugePage; }

void* allocateLarge(std::size_t bytes) {
  const Block waited = exchangeWaiting({});
  if (waited.bytes == bytes) return waited.start;
  std::free(waited.start);
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
  if (bytes < kLarge || wholePages(bytes) > kLargestKept) return std::free(start);
  const Block block{start, wholePages(bytes)};
  madvise(block.start, block.bytes, MADV_FREE);
  std::free(exchangeWaiting(block).start);
}

}  // namespace embedded
