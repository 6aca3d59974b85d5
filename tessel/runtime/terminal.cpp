#include "tessel/runtime/terminal.h"

#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include <fmt/format.h>
#include "tessel/console.h"

namespace tessel {

bool hasColours(int descriptor) {
  const char* refusal = std::getenv("NO_COLOR");
  const char* terminal = std::getenv("TERM");
  const bool isRefused = refusal && *refusal;
  return !isRefused && terminal && std::string_view(terminal) != "dumb" && isatty(descriptor) == 1;
}

std::string coloured(std::string_view text, Colour colour, int descriptor) {
  if (!hasColours(descriptor)) return std::string(text);
  return fmt::format("\x1b[1;{}m{}\x1b[0m", static_cast<int>(colour), text);
}

void printPaged(const std::string& text) {
  winsize size{};
  const bool isScreen = isatty(STDIN_FILENO) == 1 && hasTerminalConsole() &&
                        ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_row > 0;
  if (!isScreen || std::count(text.begin(), text.end(), '\n') < size.ws_row) return print(text);
  const char* chosen = std::getenv("PAGER");
  std::fflush(stdout);
  std::FILE* pager = popen(chosen && *chosen ? chosen : "less -FRX", "w");
  const bool isWritten = pager && std::fwrite(text.data(), 1, text.size(), pager) == text.size();
  constexpr int kNotFound = 127;
  const int status = pager ? pclose(pager) : -1;
  if ((WIFEXITED(status) && WEXITSTATUS(status) == kNotFound) || !isWritten) print(text);
}

}  // namespace tessel
