/// The user's wish that the running program end, which long loops ask for by `raiseIfInterrupted`.
#pragma once

#include "tessel/api.h"

namespace tessel {

/// May be called by a signal handler.
TESSEL_API void requestInterruption() noexcept;
TESSEL_API void clearInterruption() noexcept;
TESSEL_API bool isInterruptionRequested() noexcept;

}  // namespace tessel
