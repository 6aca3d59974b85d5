#include "qfcore/math/threadpool.h"

#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <csignal>
#include <mutex>
#include <new>
#include <thread>
#include <utility>

namespace embedded {

namespace {

/// Work that threads may join. It stands on its caller's stack, and in a list while there are places left.
struct Offer {
  void (*work)(void* data);
  void* data;
  unsigned places;                    // for threads that have not joined
  std::atomic<unsigned> working = 0;  // threads that have, and did not return
  Offer* behind = nullptr;
};

class ThreadPool {
 public:
  void run(Offer& own) noexcept {
    std::unique_lock lock(changes_);
    while (started_ < own.places && start()) ++started_;
    own.behind = offers_.exchange(&own);
    for (unsigned k = std::min(own.places, started_); k > 0; --k) offered_.notify_one();
    lock.unlock();
    own.work(own.data);
    lock.lock();
    if (own.places > 0) remove(own);
    lingerUntil(lock, returned_, [&] { return own.working == 0; });
  }

 private:
  /// Waits for what `changed` tells of. To wake a thread takes longer than many works, and programs offer one
  /// after the other; so it stays awake a while, giving way to whoever else has work.
  template <class Condition>
  void lingerUntil(std::unique_lock<std::mutex>& lock, std::condition_variable& changed, Condition condition) {
    constexpr int kLingers = 200;
    lock.unlock();
    for (int k = 0; k < kLingers && !condition(); ++k) std::this_thread::yield();
    lock.lock();
    changed.wait(lock, condition);
  }

  void remove(const Offer& offer) {
    if (offers_ == &offer) {
      offers_ = offer.behind;
      return;
    }
    Offer* before = offers_;
    while (before->behind != &offer) before = before->behind;
    before->behind = offer.behind;
  }

  /// False where the system has no memory or no room for one more thread.
  bool start() noexcept {
    const auto serve = [](void* pool) -> void* { static_cast<ThreadPool*>(pool)->serve(); };
    // Signals are for the program's threads: what they interrupt waits there.
    sigset_t all, before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    pthread_t thread{};
    const bool isStarted = pthread_create(&thread, nullptr, serve, this) == 0;
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    if (isStarted) pthread_detach(thread);
    return isStarted;
  }

  [[noreturn]] void serve() noexcept {
    for (std::unique_lock lock(changes_);;) {
      lingerUntil(lock, offered_, [&] { return offers_ != nullptr; });
      Offer& joined = *offers_;
      if (--joined.places == 0) offers_ = joined.behind;
      ++joined.working;
      lock.unlock();
      joined.work(joined.data);
      lock.lock();
      if (--joined.working == 0) returned_.notify_all();
    }
  }

  std::mutex changes_;
  std::condition_variable offered_, returned_;
  std::atomic<Offer*> offers_ = nullptr;
  unsigned started_ = 0;
};

/// Threads sleep in it until the process ends, so nothing destroys it.
ThreadPool& pool() {
  alignas(ThreadPool) static unsigned char place[sizeof(ThreadPool)];
  static ThreadPool& made = *new (place) ThreadPool;
  return made;
}

}  // namespace

void runOnThreads(unsigned others, void (*work)(void* data), void* data) noexcept {
  if (others == 0) return work(data);
  Offer offer{work, data, others};
  pool().run(offer);
}

}  // namespace embedded
