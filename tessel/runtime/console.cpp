#include "tessel/console.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>

#include "tessel/messages.h"
#include "tessel/runtime/terminal.h"

namespace tessel {

namespace {

constexpr std::size_t kUsualWidth = 80;

ConsoleRedirect* innermostRedirect = nullptr;
NumberFormat currentFormat = NumberFormat::Short;

}  // namespace

ConsoleRedirect::ConsoleRedirect() : outer_(innermostRedirect) { innermostRedirect = this; }

ConsoleRedirect::~ConsoleRedirect() { innermostRedirect = outer_; }

void print(std::string_view text) {
  if (innermostRedirect != nullptr)
    innermostRedirect->text_ += text;
  else if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::ferror(stdout) != 0)
    raiseError("Tessel:outputLost", "The output could not be written.");
}

bool hasTerminalConsole() { return innermostRedirect == nullptr && isatty(STDOUT_FILENO) == 1; }

std::size_t lineWidth() {
  winsize size{};
  if (!hasTerminalConsole() || ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0)
    return kUsualWidth;
  return size.ws_col;
}

NumberFormat numberFormat() { return currentFormat; }

void setNumberFormat(NumberFormat format) { currentFormat = format; }

void printFormatted(const char* format, ...) {
  va_list arguments, again;
  va_start(arguments, format);
  va_copy(again, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, arguments);
  va_end(arguments);
  if (length > 0) {
    std::string text(static_cast<std::size_t>(length), '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, again);
    print(text);
  }
  va_end(again);
}

}  // namespace tessel
