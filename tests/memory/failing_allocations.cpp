// The allocation functions of the program. They stand apart from those who allocate, so that no compiler takes
// the ones for the others' partners.
#include "tests/memory/failing_allocations.h"

#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <new>

// What really allocates: the C library, or the sanitizer that stands before it.
#ifdef QFCORE_SANITIZED
#define UNDERLYING(function) __interceptor_##function
#else
#define UNDERLYING(function) __libc_##function
#endif
extern "C" {
void* UNDERLYING(malloc)(std::size_t bytes);
void* UNDERLYING(calloc)(std::size_t count, std::size_t bytesEach);
void* UNDERLYING(realloc)(void* block, std::size_t bytes);
void UNDERLYING(free)(void* block);
}

namespace {

constinit std::atomic<int> wanted = 0, asked = 0;  // 0: no allocation is to fail
constinit std::atomic<bool> failed = false;
constinit std::atomic<std::ptrdiff_t> blocks = 0;
constinit std::atomic<memory_tests::FailingAllocation::Holds> holdsHere = nullptr;
constinit thread_local bool isHere = false;  // this thread has made the object
constinit std::atomic<int> patience = 0;     // twentieths of a millisecond

bool fails() {
  if (wanted == 0) return false;
  if (const auto holds = holdsHere.load(); isHere == (holds != nullptr)) {
    while (isHere && asked < wanted && holds() && patience-- > 0) usleep(50);
    return false;
  }
  if (++asked != wanted) return false;
  failed = true;
  errno = ENOMEM;
  return true;
}

void* counted(void* block) {
  if (block) ++blocks;
  return block;
}

}  // namespace

namespace memory_tests {

FailingAllocation::FailingAllocation(int which, Holds holds) {
  isHere = true;
  holdsHere = holds;
  failed = false;
  asked = 0;
  patience = 20;
  wanted = which;
}

FailingAllocation::~FailingAllocation() { wanted = 0; }

bool FailingAllocation::hasFailed() const { return failed; }

std::ptrdiff_t blocksInUse() { return blocks; }

}  // namespace memory_tests

extern "C" {

#ifdef QFCORE_SANITIZED
/// What the loader of libraries keeps is known by who asked for it, which is the function below.
const char* __lsan_default_suppressions() { return "leak:ld-linux"; }
#endif

void* malloc(std::size_t bytes) { return fails() ? nullptr : counted(UNDERLYING(malloc)(bytes)); }

void* calloc(std::size_t count, std::size_t bytesEach) {
  return fails() ? nullptr : counted(UNDERLYING(calloc)(count, bytesEach));
}

void* realloc(void* block, std::size_t bytes) {
  if (fails()) return nullptr;
  void* moved = UNDERLYING(realloc)(block, bytes);
  return block ? moved : counted(moved);
}

void free(void* block) {
  if (block) --blocks;
  UNDERLYING(free)(block);
}
}

void* operator new(std::size_t bytes) {
  if (void* block = std::malloc(bytes == 0 ? 1 : bytes)) return block;
  throw std::bad_alloc();
}
void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
  return std::malloc(bytes == 0 ? 1 : bytes);
}
void* operator new[](std::size_t bytes) { return operator new(bytes); }
void operator delete(void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { std::free(block); }
void operator delete[](void* block) noexcept { std::free(block); }
void operator delete[](void* block, std::size_t) noexcept { std::free(block); }
