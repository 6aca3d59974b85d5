/// Memory that runs out at a chosen allocation: of C, of C++, of whatever library asks for it.
#pragma once

#include <cstddef>

namespace memory_tests {

/// While it lives, the `which`-th allocation of this thread, from 1, finds no memory. With `holds` it is that
/// of other threads; where `holds` is true, this one's allocations wait until then, a few milliseconds at most.
class FailingAllocation {
 public:
  using Holds = bool (*)();
  explicit FailingAllocation(int which, Holds holds = nullptr);
  FailingAllocation(const FailingAllocation&) = delete;
  FailingAllocation& operator=(const FailingAllocation&) = delete;
  ~FailingAllocation();
  /// Whether that allocation was asked for.
  bool hasFailed() const;
};

/// Blocks that were allocated and not freed.
std::ptrdiff_t blocksInUse();

}  // namespace memory_tests
