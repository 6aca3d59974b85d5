/// Ending what runs for long when the user asks for it.
#pragma once

#include "tessel/api.h"

namespace tessel {

/// Raises "Tessel:interrupted" when the user has asked the running program to end. What may run for long calls
/// it about every tenth of a second, on any thread.
TESSEL_API void raiseIfInterrupted();

}  // namespace tessel
