/// The memory of programs that may ask for any: a block that is too large is an error of the program, as where
/// there is no memory, and one that has asked for too much altogether is interrupted. Stands alone, since what
/// is compiled beside a replaced `operator new` is checked against the usual one.
#include <cstdlib>
#include <new>

#include "fuzz/sandbox.h"
#include "tessel/runtime/interruption.h"

#if defined(__SANITIZE_ADDRESS__)
#define FUZZ_HAS_ADDRESS_SANITIZER
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define FUZZ_HAS_ADDRESS_SANITIZER
#endif
#endif

#ifdef FUZZ_HAS_ADDRESS_SANITIZER
extern "C" {
int __sanitizer_install_malloc_and_free_hooks(void (*onMalloc)(const volatile void*, std::size_t),
                                              void (*onFree)(const volatile void*));
const char* __asan_default_options() { return "allocator_may_return_null=1:max_allocation_size_mb=32"; }
}
#else
#include <sys/resource.h>
#endif

namespace {

constexpr std::size_t kLargestBlock = std::size_t{4} << 20;
constexpr std::size_t kMostAltogether = std::size_t{128} << 20;
std::size_t altogether = 0;
bool isLimited = false;

[[maybe_unused]] void count(const volatile void*, std::size_t bytes) {
  altogether += bytes;
  if (isLimited && altogether > kMostAltogether) tessel::requestInterruption();
}

void* allocate(std::size_t bytes) {
  void* block = isLimited && bytes > kLargestBlock ? nullptr : std::malloc(bytes);
  if (!block) throw std::bad_alloc();
  return block;
}

/// Elements of arrays come from the C allocator, whose limits are those of the sanitizer or the process.
bool limitProcess() {
#ifdef FUZZ_HAS_ADDRESS_SANITIZER
  return __sanitizer_install_malloc_and_free_hooks(count, [](const volatile void*) {}) != 0;
#else
  constexpr rlim_t kAddresses = rlim_t{4} << 30;
  const rlimit limit{kAddresses, kAddresses};
  return setrlimit(RLIMIT_AS, &limit) == 0;
#endif
}

}  // namespace

void* operator new(std::size_t bytes) { return allocate(bytes); }
void* operator new[](std::size_t bytes) { return allocate(bytes); }
void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept { return std::malloc(bytes); }
void* operator new[](std::size_t bytes, const std::nothrow_t&) noexcept { return std::malloc(bytes); }
void operator delete(void* block) noexcept { std::free(block); }
void operator delete[](void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }
void operator delete[](void* block, std::size_t) noexcept { std::free(block); }

namespace fuzz {

MemoryLimit::MemoryLimit() {
  [[maybe_unused]] static const bool isLimitedProcess = limitProcess();
  altogether = 0;
  isLimited = true;
}

MemoryLimit::~MemoryLimit() { isLimited = false; }

}  // namespace fuzz
