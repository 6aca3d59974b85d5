/// Threads that wait for work. Only this pair of files knows the library that keeps them.
#pragma once

#include <memory>

namespace embedded {

/// The threads start with the first work. All pools of a process use the same; those that none needs sleep
/// until the process ends.
class ThreadPool {
 public:
  /// For work on so many threads, the caller's among them.
  explicit ThreadPool(unsigned count);
  ThreadPool(const ThreadPool&) = delete;
  ThreadPool& operator=(const ThreadPool&) = delete;
  ~ThreadPool();
  unsigned count() const { return count_; }

  /// Calls `work(data)`, which must not throw, at least once on this thread and as soon as they are free on the
  /// others; returns when all calls have. Raises what the library does where it lacks memory or threads, once
  /// no call runs any more.
  void run(void (*work)(void* data), void* data);

 private:
  struct Threads;
  unsigned count_;
  std::unique_ptr<Threads> threads_;
};

}  // namespace embedded
