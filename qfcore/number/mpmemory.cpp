#include "qfcore/number/mpmemory.h"

#include <gmp.h>

#include <atomic>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory_resource>
#include <mutex>
#include <new>

namespace embedded {

namespace {

constexpr std::size_t kReserve = std::size_t{16} << 20;

/// Untouched pages take no memory.
alignas(std::max_align_t) std::byte reserve[kReserve];
constinit std::mutex reserveMutex;
constinit std::atomic<std::size_t> blocksInUse{0};

bool isInReserve(const void* block) {
  const auto* place = static_cast<const std::byte*>(block);
  return place >= reserve && place < reserve + kReserve;
}

/// Blocks of the reserve, which are used again; it never asks for other memory.
std::pmr::memory_resource& reserveBlocks() {
  constexpr std::pmr::pool_options kOneByOne{1, kReserve / 4};
  // Without an end: blocks may be freed later than anything else.
  alignas(
      std::pmr::monotonic_buffer_resource) static std::byte start[sizeof(std::pmr::monotonic_buffer_resource)];
  alignas(std::pmr::unsynchronized_pool_resource) static std::byte
      blocks[sizeof(std::pmr::unsynchronized_pool_resource)];
  static auto* const made = new (blocks) std::pmr::unsynchronized_pool_resource(
      kOneByOne,
      new (start) std::pmr::monotonic_buffer_resource(reserve, kReserve, std::pmr::null_memory_resource()));
  return *made;
}

void* takeFromReserve(std::size_t bytes) {
  const std::lock_guard lock(reserveMutex);
  try {
    void* block = reserveBlocks().allocate(bytes);
    ++blocksInUse;
    return block;
  } catch (const std::bad_alloc&) {
    // As the libraries do: nothing half made may be left on the way out of them.
    std::fprintf(stderr, "qfcore: no memory for a multiprecision calculation (%zu bytes)\n", bytes);
    std::abort();
  }
}

void giveBack(void* block, std::size_t bytes) {
  const std::lock_guard lock(reserveMutex);
  reserveBlocks().deallocate(block, bytes);
  --blocksInUse;
}

void* allocate(std::size_t bytes) {
  void* block = std::malloc(bytes);
  return block ? block : takeFromReserve(bytes);
}

void release(void* block, std::size_t bytes) {
  if (isInReserve(block)) return giveBack(block, bytes);
  std::free(block);
}

void* reallocate(void* block, std::size_t before, std::size_t bytes) {
  if (!isInReserve(block)) {
    if (void* moved = std::realloc(block, bytes)) return moved;
  }
  void* moved = allocate(bytes);
  std::memcpy(moved, block, before < bytes ? before : bytes);
  release(block, before);
  return moved;
}

struct Functions {
  void* (*allocate)(std::size_t);
  void* (*reallocate)(void*, std::size_t, std::size_t);
  void (*release)(void*, std::size_t);

  static Functions current() {
    Functions functions{};
    mp_get_memory_functions(&functions.allocate, &functions.reallocate, &functions.release);
    return functions;
  }
  void set() const { mp_set_memory_functions(allocate, reallocate, release); }
  bool operator==(const Functions&) const = default;
};

constexpr Functions kOwn{allocate, reallocate, release};
constexpr Functions kDefault{nullptr, nullptr, nullptr};

}  // namespace

MpReserve::MpReserve() {
  const Functions found = Functions::current();
  kDefault.set();
  (found == Functions::current() ? kOwn : found).set();
}

MpReserve::~MpReserve() {
  if (Functions::current() == kOwn) kDefault.set();
}

bool MpReserve::isInUse() { return blocksInUse.load(std::memory_order_relaxed) != 0; }

}  // namespace embedded
