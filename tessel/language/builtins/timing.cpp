// Clocks.
#include <poll.h>
#include <unistd.h>

#include <chrono>
#include <ctime>
#include <thread>

#include "tessel/console.h"
#include "tessel/interruption.h"
#include "tessel/language/builtins/builtins.h"
#include "tessel/language/builtins/support.h"
#include "tessel/messages.h"
#include "tessel/pictures/gnuplot.h"

namespace tessel {
namespace {

using Clock = std::chrono::steady_clock;

std::int64_t nanoseconds() {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now().time_since_epoch()).count();
}

/// When `tic` was called last; 0 when it was not.
std::int64_t& started() {
  static std::int64_t time = 0;
  return time;
}

/// tic starts the watch; t = tic starts another one.
Arrays callTic(Arrays&, int outputCount) {
  const std::int64_t now = nanoseconds();
  if (outputCount > 0) return {HostArray::scalarOf(now)};
  started() = now;
  return {};
}

Arrays callToc(Arrays& in, int outputCount) {
  if (!in.empty() && (in[0].arrayClass() != ArrayClass::Int64 || !in[0].isScalar())) {
    raiseInvalidArgument("toc", "the argument must come from tic.");
  }
  const std::int64_t start = in.empty() ? started() : *in[0].real<std::int64_t>();
  if (start == 0) raiseError("Tessel:ticNotCalled", "Function 'tic' must be called before 'toc'.");
  const double seconds = static_cast<double>(nanoseconds() - start) * 1e-9;
  if (outputCount > 0) return {HostArray::scalar(seconds)};
  printFormatted("Elapsed time is %.6f seconds.\n", seconds);
  return {};
}

struct CalendarTime {
  std::tm date;
  double fraction;  ///< of a second
};

CalendarTime localTime() {
  const auto now = std::chrono::system_clock::now();
  const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
  CalendarTime time{};
  localtime_r(&seconds, &time.date);
  time.fraction = std::chrono::duration<double>(now - std::chrono::system_clock::from_time_t(seconds)).count();
  return time;
}

Arrays callClock(Arrays&, int) {
  const auto [date, fraction] = localTime();
  return {doubleRow(std::vector<double>{date.tm_year + 1900.0, date.tm_mon + 1.0, date.tm_mday + 0.0,
                                        date.tm_hour + 0.0, date.tm_min + 0.0, date.tm_sec + fraction})};
}

Arrays callDate(Arrays&, int) {
  char text[32];
  const std::tm date = localTime().date;
  return {HostArray::text({text, std::strftime(text, sizeof text, "%d-%b-%Y", &date)})};
}

/// Days since the start of the year 0, where 1-Jan-1970 is day 719529.
Arrays callNow(Arrays&, int) {
  auto [date, fraction] = localTime();
  const double seconds = static_cast<double>(timegm(&date)) + fraction;
  return {HostArray::scalar(719529 + seconds / 86400)};
}

Arrays callCputime(Arrays&, int) {
  return {HostArray::scalar(static_cast<double>(std::clock()) / CLOCKS_PER_SEC)};
}

/// Until there is a line on the terminal; programs that nobody sits at go on.
void awaitEnter() {
  pollfd input{STDIN_FILENO, POLLIN, 0};
  constexpr int kSliceMilliseconds = 50;
  if (isatty(STDIN_FILENO) == 0) return;
  while (poll(&input, 1, kSliceMilliseconds) <= 0) raiseIfInterrupted();
  for (char c = 0; c != '\n';)
    if (read(STDIN_FILENO, &c, 1) != 1) return;
}

Arrays callPause(Arrays& in, int) {
  if (in.empty()) {
    showFigures();
    awaitEnter();
    return {};
  }
  const double seconds = numberArgument("pause", in[0]);
  if (!(seconds >= 0 && seconds <= 1e6))
    raiseInvalidArgument("pause", "the time must be from 0 to 1e6 seconds.");
  showFigures();
  const auto end =
      Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
  constexpr Clock::duration kSlice = std::chrono::milliseconds(50);
  for (auto left = end - Clock::now(); left > Clock::duration::zero(); left = end - Clock::now()) {
    std::this_thread::sleep_for(std::min(left, kSlice));
    raiseIfInterrupted();
  }
  return {};
}

}  // namespace

void registerTimingBuiltins() {
  registerAll({
      {"tic", callTic, 0, 0, 1, "tic, t = tic: starts a stopwatch."},
      {"toc", callToc, 0, 1, 1, "toc, s = toc, s = toc(t): the seconds since tic."},
      {"clock", callClock, 0, 0, 1, "clock: year, month, day, hour, minute and seconds of the local time."},
      {"date", callDate, 0, 0, 1, "date: the local date as text."},
      {"now", callNow, 0, 0, 1, "now: the local time in days."},
      {"cputime", callCputime, 0, 0, 1, "cputime: the seconds of processor time that the program has used."},
      {"pause", callPause, 0, 1, 0, "pause(s), pause: waits for s seconds, or until the Enter key is pressed."},
  });
}

}  // namespace tessel
