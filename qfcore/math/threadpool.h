/// Threads that wait for work.
#pragma once

namespace embedded {

/// Calls `work(data)`, which must not throw, on this thread and, as soon as they are free, on up to `others`
/// threads of the module; returns when all calls have. Those that are free only after this thread's call has
/// returned have come too late: the work is what the calls share among themselves. Several threads of a program
/// may call this at once.
///
/// The threads start with the first work that wants them, and sleep between works until the process ends. It
/// takes no memory but what a new thread needs; where the system has none, or no room for another thread, those
/// that are there do the work.
void runOnThreads(unsigned others, void (*work)(void* data), void* data) noexcept;

}  // namespace embedded
