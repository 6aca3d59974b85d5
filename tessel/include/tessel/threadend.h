/// What a thread keeps for itself, until it ends.
#pragma once

#include <memory>
#include <new>
#include <utility>

#include "tessel/api.h"

namespace tessel {

/// A thread's note of what is to be done when it ends: a thread-local object that is constant at first.
struct ThreadEnd {
  void (*act)() = nullptr;
  ThreadEnd* before = nullptr;
};

/// Has `act` called when the calling thread ends, once, the last noted first; not at the end of the process.
/// False where there is no memory to note that: destructors of thread-local objects would end the process
/// there.
TESSEL_API bool noteThreadEnd(ThreadEnd& note, void (*act)()) noexcept;

/// The calling thread's own object of a type, which its first call makes. Raises std::bad_alloc.
template <class T>
T& ownObject() {
  static constinit thread_local T* object = nullptr;
  static constinit thread_local ThreadEnd end{};
  if (!object) {
    auto made = std::make_unique<T>();
    if (!noteThreadEnd(end, [] { delete std::exchange(object, nullptr); })) throw std::bad_alloc();
    object = made.release();
  }
  return *object;
}

}  // namespace tessel
