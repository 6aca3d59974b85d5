#include "tessel/runtime/interruption.h"

#include "tessel/interruption.h"
#include "tessel/messages.h"

namespace tessel {

std::atomic<bool> interruptionFlag = false;

void requestInterruption() noexcept { interruptionFlag.store(true, std::memory_order_relaxed); }

void clearInterruption() noexcept { interruptionFlag.store(false, std::memory_order_relaxed); }

void raiseIfInterrupted() {
  if (isInterruptionRequested()) raiseError("Tessel:interrupted", "Interrupted.");
}

}  // namespace tessel
