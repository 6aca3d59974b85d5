#include "tessel/threadend.h"

#include <pthread.h>

namespace tessel {

namespace {

constinit thread_local ThreadEnd* last = nullptr;

void actAll(void*) {
  while (last) {
    ThreadEnd& note = *last;
    last = note.before;
    std::exchange(note.act, nullptr)();
  }
}

/// The C library calls `actAll` in threads where the key has a value.
struct Key {
  Key() : isMade(pthread_key_create(&key, actAll) == 0) {}
  pthread_key_t key = 0;
  bool isMade;
};

}  // namespace

bool noteThreadEnd(ThreadEnd& note, void (*act)()) noexcept {
  static const Key ofThreads;
  if (note.act) return true;
  if (!ofThreads.isMade || pthread_setspecific(ofThreads.key, &last) != 0) return false;
  note = {act, last};
  last = &note;
  return true;
}

}  // namespace tessel
