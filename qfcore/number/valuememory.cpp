#include "qfcore/number/valuememory.h"

#include <cstddef>
#include <cstdint>
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

/// Vectors of the widest instruction set lie within lines of the cache where values begin with one.
constexpr std::size_t kLine = 64;

/// A block that begins with a line. Where the host's begins stands before it.
void* allocateLines(std::size_t bytes) {
  void* whole = tessel::allocateElements(bytes + kLine, false);
  if (!whole) fail<message::outOfMemory>();
  const auto place = reinterpret_cast<std::uintptr_t>(whole) + sizeof whole;
  void* start = static_cast<std::byte*>(whole) + sizeof whole + (-place & (kLine - 1));
  static_cast<void**>(start)[-1] = whole;
  return start;
}
void freeLines(void* start, std::size_t bytes) {
  tessel::freeElements(static_cast<void**>(start)[-1], bytes + kLine);
}

void freeWaiting() {
  for (Waiting::Block& block : waiting.blocks)
    if (block.start) freeLines(std::exchange(block.start, nullptr), block.bytes);
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
  if (mayWait(bytes)) {
    bytes = wholeGrains(bytes);
    void* waited = takeWaiting(bytes);
    void* start = waited ? waited : allocateLines(bytes);
    if (zeroed) std::memset(start, 0, bytes);
    return start;
  }
  void* start = tessel::allocateElements(bytes, zeroed);
  if (!start) fail<message::outOfMemory>();
  return start;
}

void freeValues(void* start, std::size_t bytes) noexcept {
  if (!start || !mayWait(bytes)) return tessel::freeElements(start, bytes);
  bytes = wholeGrains(bytes);
  if (waiting.isOver || (!waiting.atThreadEnd.act && !tessel::noteThreadEnd(waiting.atThreadEnd, freeWaiting)))
    return freeLines(start, bytes);
  // An empty place, or the one that was filled longest ago.
  Waiting::Block* place = &waiting.blocks[waiting.next];
  for (Waiting::Block& block : waiting.blocks) {
    if (block.start) continue;
    place = &block;
    break;
  }
  if (place->start) {
    freeLines(place->start, place->bytes);
    waiting.next = (waiting.next + 1) % Waiting::kBlocks;
  }
  *place = {start, bytes};
}

}  // namespace embedded
