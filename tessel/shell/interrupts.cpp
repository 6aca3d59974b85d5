#include "tessel/shell/interrupts.h"

#include <sys/time.h>

#include <csignal>

#include "tessel/runtime/interruption.h"

namespace tessel {
namespace {

void onAlarm(int) {
  std::signal(SIGINT, SIG_DFL);
  std::raise(SIGINT);
}

void onInterrupt(int) {
  requestInterruption();
  const itimerval patience{{0, 0}, {0, 400000}};
  setitimer(ITIMER_REAL, &patience, nullptr);
}

}  // namespace

void endOnInterrupt() {
  std::signal(SIGALRM, onAlarm);
  struct sigaction action {};
  action.sa_handler = onInterrupt;
  // Writing goes on after the signal, and a second one ends the process at once.
  action.sa_flags = SA_RESTART | static_cast<int>(SA_RESETHAND);
  sigaction(SIGINT, &action, nullptr);
}

}  // namespace tessel
