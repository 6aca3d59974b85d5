#include "qfcore/number/valuememory.h"

#include <cstring>
#include <utility>

#include "qfcore/number/messages.h"
#include "tessel/memory.h"
#include "tessel/threadend.h"

namespace embedded {

namespace {

/// What waits is of so many bytes, a multiple of the grain. Smaller blocks the allocator has at hand as fast,
/// larger ones take longer to fill than to get.
constexpr std::size_t kSmallest = 1024, kLargest = std::size_t{64} << 10, kGrain = 256;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kKeeps = false;  // the sanitizers find misuse only of what is really freed
#else
constexpr bool kKeeps = true;
#endif

bool mayWait(std::size_t bytes) { return kKeeps && bytes >= kSmallest && bytes <= kLargest; }
std::size_t wholeGrains(std::size_t bytes) { return (bytes + kGrain - 1) / kGrain * kGrain; }

/// The blocks that a thread freed last.
struct Waiting {
  static constexpr std::size_t kBlocks = 8;
  struct Block {
    void* start;
    std::size_t bytes;
  };
  Block blocks[kBlocks];
  std::size_t next;  // to be replaced
  tessel::ThreadEnd atThreadEnd;
  bool isOver;
};
[[gnu::tls_model("initial-exec")]] constinit thread_local Waiting waiting{};

void freeWaiting() {
  for (Waiting::Block& block : waiting.blocks)
    if (block.start) tessel::freeElements(std::exchange(block.start, nullptr), block.bytes);
  waiting.isOver = true;
}

void* takeWaiting(std::size_t bytes) {
  for (Waiting::Block& block : waiting.blocks) {
    if (block.bytes == bytes && block.start) return std::exchange(block.start, nullptr);
  }
  return nullptr;
}

}  // namespace

void* allocateValues(std::size_t bytes, bool zeroed) {
  const bool isMedium = mayWait(bytes);
  if (isMedium) bytes = wholeGrains(bytes);
  if (void* start = isMedium ? takeWaiting(bytes) : nullptr) {
    if (zeroed) std::memset(start, 0, bytes);
    return start;
  }
  void* start = tessel::allocateElements(bytes, zeroed);
  if (!start) fail<message::outOfMemory>();
  return start;
}

void freeValues(void* start, std::size_t bytes) noexcept {
  const bool waits = start && mayWait(bytes) && !waiting.isOver;
  if (!waits || (!waiting.atThreadEnd.act && !tessel::noteThreadEnd(waiting.atThreadEnd, freeWaiting)))
    return tessel::freeElements(start, bytes);
  // An empty place, or the one that was filled longest ago.
  Waiting::Block* place = &waiting.blocks[waiting.next];
  for (Waiting::Block& block : waiting.blocks)
    if (!block.start) place = &block;
  if (place->start) {
    tessel::freeElements(place->start, place->bytes);
    waiting.next = (waiting.next + 1) % Waiting::kBlocks;
  }
  *place = {start, wholeGrains(bytes)};
}

}  // namespace embedded
