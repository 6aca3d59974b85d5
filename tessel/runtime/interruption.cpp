#include "tessel/runtime/interruption.h"

#include <atomic>

#include "tessel/interruption.h"
#include "tessel/messages.h"

namespace tessel {

namespace {

std::atomic<bool> isRequested = false;
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler sets it");

}  // namespace

void requestInterruption() noexcept { isRequested.store(true, std::memory_order_relaxed); }

void clearInterruption() noexcept { isRequested.store(false, std::memory_order_relaxed); }

bool isInterruptionRequested() noexcept { return isRequested.load(std::memory_order_relaxed); }

void raiseIfInterrupted() {
  if (isInterruptionRequested()) raiseError("Tessel:interrupted", "Interrupted.");
}

}  // namespace tessel
