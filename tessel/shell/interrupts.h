/// The interrupt key while a program runs that nobody watches.
#pragma once

namespace tessel {

/// The key interrupts the program, so that it ends as after an error and what it has printed is written. What
/// does not look for interruptions in time ends with the process, in less than half a second.
void endOnInterrupt();

/// The exit status after an interruption, as shells count it.
inline constexpr int kInterruptedStatus = 130;

}  // namespace tessel
