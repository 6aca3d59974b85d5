/// Recycled memory for small objects of one size that come and go all the time.
#pragma once

#include <cstddef>
#include <new>

#include "tessel/threadend.h"

namespace tessel {

/// Keeps up to `kKept` freed blocks a thread for the next object. A single value is made and dropped for every
/// temporary of a computation, and the general allocator would be most of its cost.
template <class Object>
class FreeList {
 public:
  /// Raises std::bad_alloc.
  static void* take() {
    List& list = list_;
    if (!list.first) return ::operator new(kSize);
    Block* block = list.first;
    list.first = block->next;
    --list.count;
    return block;
  }

  static void give(void* freed) noexcept {
    List& list = list_;
    if (list.count == kKept || (!list.atThreadEnd.act && !noteThreadEnd(list.atThreadEnd, empty)))
      return ::operator delete(freed);
    list.first = new (freed) Block{list.first};
    ++list.count;
  }

 private:
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  static constexpr unsigned kKept = 0;  // the sanitizer finds misuse only of what is really freed
#else
  static constexpr unsigned kKept = 64;
#endif
  struct Block {
    Block* next;
  };
  struct List {
    Block* first;
    unsigned count;
    ThreadEnd atThreadEnd;
  };
  static void empty() {
    while (list_.first) ::operator delete(take());
    list_.count = kKept;  // what the thread frees later is not kept
  }
  static constexpr std::size_t kSize = sizeof(Object) > sizeof(Block) ? sizeof(Object) : sizeof(Block);

  // A loaded module would otherwise look its thread's copy up by a call, at the price of the allocation saved.
  [[gnu::tls_model("initial-exec")]] static inline constinit thread_local List list_{};
};

}  // namespace tessel
