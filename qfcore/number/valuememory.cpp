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

/// Medium blocks are of so many bytes, a multiple of the grain; larger ones take longer to fill than to get.
/// Small ones have lists by their size, since arrays of a few elements come and go all the time, and the
/// allocator would be much of their cost.
constexpr std::size_t kSmallest = 1024, kLargest = std::size_t{64} << 10, kGrain = 256;
constexpr std::size_t kSmallGrain = 128;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kKeeps = false;  // the sanitizers find misuse only of what is really freed
#else
constexpr bool kKeeps = true;
#endif

bool isSmall(std::size_t bytes) { return kKeeps && bytes - 1 < kSmallest - 1; }
bool isMedium(std::size_t bytes) { return kKeeps && bytes >= kSmallest && bytes <= kLargest; }
template <std::size_t kSize>
std::size_t wholeGrains(std::size_t bytes) {
  return (bytes + kSize - 1) / kSize * kSize;
}

/// The blocks that a thread freed last.
struct Waiting {
  static constexpr std::size_t kBlocks = 8;
  struct Block {
    void* start;
    std::size_t bytes;
  };
  Block blocks[kBlocks];
  std::size_t next;  // to be replaced
  /// Small blocks of one size, each of which begins with the next.
  struct List {
    void* first;
    unsigned room;  // for more; none before the thread's end has been noted, and after it
  };
  static constexpr unsigned kMostInList = 16;
  List lists[kSmallest / kSmallGrain];
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

Waiting::List& listOf(std::size_t bytes) { return waiting.lists[(bytes - 1) / kSmallGrain]; }

void* takeFrom(Waiting::List& list) {
  void* start = list.first;
  list.first = *static_cast<void**>(start);
  ++list.room;
  return start;
}

void freeWaiting() {
  for (Waiting::Block& block : waiting.blocks)
    if (block.start) freeLines(std::exchange(block.start, nullptr), block.bytes);
  for (std::size_t bytes = kSmallGrain; Waiting::List & list : waiting.lists) {
    while (list.first) tessel::freeElements(takeFrom(list), bytes);
    list.room = 0;
    bytes += kSmallGrain;
  }
  waiting.isOver = true;
}

/// Whether blocks that the thread frees wait.
bool keepsBlocks() {
  if (waiting.isOver) return false;
  if (waiting.atThreadEnd.act) return true;
  if (!tessel::noteThreadEnd(waiting.atThreadEnd, freeWaiting)) return false;
  for (Waiting::List& list : waiting.lists) list.room = Waiting::kMostInList;
  return true;
}

void* takeWaiting(std::size_t bytes) {
  for (Waiting::Block& block : waiting.blocks) {
    if (block.bytes == bytes && block.start) return std::exchange(block.start, nullptr);
  }
  return nullptr;
}

}  // namespace

void* allocateValues(std::size_t bytes, bool zeroed) {
  if (isSmall(bytes)) {
    Waiting::List& list = listOf(bytes);
    if (list.first) {
      void* start = takeFrom(list);
      if (zeroed) std::memset(start, 0, bytes);
      return start;
    }
    bytes = wholeGrains<kSmallGrain>(bytes);
  } else if (isMedium(bytes)) {
    bytes = wholeGrains<kGrain>(bytes);
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
  if (start && isSmall(bytes)) {
    Waiting::List& list = listOf(bytes);
    const bool isFirst = list.room == 0 && !waiting.atThreadEnd.act;
    if (list.room == 0 && !(isFirst && keepsBlocks()))
      return tessel::freeElements(start, wholeGrains<kSmallGrain>(bytes));
    *static_cast<void**>(start) = std::exchange(list.first, start);
    --list.room;
    return;
  }
  if (!start || !isMedium(bytes)) return tessel::freeElements(start, bytes);
  bytes = wholeGrains<kGrain>(bytes);
  if (!keepsBlocks()) return freeLines(start, bytes);
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
