/// Memory that runs out at a chosen allocation: of C, of C++, of whatever library asks for it.
#pragma once

#include <cstddef>

namespace memory_tests {

/// While it lives, the `which`-th allocation of this thread, from 1, finds no memory; with `forGood`, all after
/// it neither.
class FailingAllocation {
 public:
  explicit FailingAllocation(int which, bool forGood = false);
  FailingAllocation(const FailingAllocation&) = delete;
  FailingAllocation& operator=(const FailingAllocation&) = delete;
  ~FailingAllocation();
  /// Whether that allocation was asked for.
  bool hasFailed() const;
};

/// Blocks that this thread has allocated less those that it has freed.
std::ptrdiff_t blocksInUse();

}  // namespace memory_tests
