#include "qfcore/math/parallel.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <barrier>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "qfcore/types/features.h"

namespace embedded {
namespace {

class ThreadsOfLoops : public ::testing::Test {
 protected:
  ~ThreadsOfLoops() override {
    s_feature_fi_stack_trace_logging = false;
    setSharingShortLoops(false);
    setThreadCount(before_);
  }
  unsigned before_ = threadCount();
};

TEST_F(ThreadsOfLoops, MeetEveryElementOnceWhateverTheThreads) {
  for (const unsigned threads : {1U, 2U, 3U, 16U}) {
    setThreadCount(threads);
    setSharingShortLoops(true);
    std::barrier all(threads);  // each waits for all others: this hangs where threads are missing
    shareLoop(threads, 1, [&](std::size_t, std::size_t) { all.arrive_and_wait(); });
    for (const std::size_t count : {0UL, 1UL, 5UL, 1000UL, 4099UL}) {
      for (const std::size_t unit : {1UL, 64UL}) {
        setSharingShortLoops(count < 2000);
        std::vector<std::atomic<int>> met(count);
        std::atomic<bool> isOnOthers = false;
        const auto caller = std::this_thread::get_id();
        const auto visit = [&](std::size_t first, std::size_t size) {
          EXPECT_EQ(first % unit, 0U);
          if (std::this_thread::get_id() != caller) isOnOthers = true;
          for (std::size_t k = first; k < first + size; ++k) ++met[k];
        };
        // A record's stack trace is told by the caller's thread.
        s_feature_fi_stack_trace_logging = unit > 1 && count == 1000;
        shareLoop(count, 1000, visit, unit);
        for (const auto& times : met) EXPECT_EQ(times, 1);
        EXPECT_TRUE((threads > 1 && !s_feature_fi_stack_trace_logging) || !isOnOthers);
      }
    }
  }
}

TEST_F(ThreadsOfLoops, FailAsTheFirstRangeDoesAndStayUsable) {
  setThreadCount(3);
  setSharingShortLoops(true);
  for (int trial = 0; trial < 100; ++trial) {
    try {
      shareLoop(100, 1, [](std::size_t first, std::size_t size) {
        // A loop within runs on the thread that it is called on.
        const auto here = std::this_thread::get_id();
        shareLoop(10, 1, [&](std::size_t, std::size_t) { EXPECT_EQ(std::this_thread::get_id(), here); });
        if (first + size > 30) throw std::runtime_error(std::to_string(first));
      });
      FAIL();
    } catch (const std::runtime_error& error) {
      EXPECT_EQ(std::string(error.what()), "27");
    }
  }
}

TEST_F(ThreadsOfLoops, AreTheirOwnAloneInAForkedProcess) {
  const auto visitAll = [] {
    setThreadCount(2);
    setSharingShortLoops(true);
    std::atomic<std::size_t> met = 0;
    shareLoop(100, 1, [&](std::size_t, std::size_t size) { met += size; });
    return met == 100;
  };
  EXPECT_TRUE(visitAll());
  const pid_t child = fork();
  if (child == 0) {
    alarm(20);  // where it would wait for the threads of its parent
    _exit(visitAll() && threadCount() == 1 ? 0 : 1);
  }
  int status = -1;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
}

}  // namespace
}  // namespace embedded
