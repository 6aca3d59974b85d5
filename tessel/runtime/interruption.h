/// The user's wish that the running program end, which long loops ask for by `raiseIfInterrupted`.
#pragma once

#include <atomic>

#include "tessel/api.h"

namespace tessel {

/// May be called by a signal handler.
TESSEL_API void requestInterruption() noexcept;
TESSEL_API void clearInterruption() noexcept;

/// Set while the wish stands; a signal handler sets it.
extern TESSEL_API std::atomic<bool> interruptionFlag;
static_assert(std::atomic<bool>::is_always_lock_free);

/// What loops of a few nanoseconds ask.
inline bool isInterruptionRequested() noexcept { return interruptionFlag.load(std::memory_order_relaxed); }

}  // namespace tessel
