/// The host's console: where a module prints what a user reads.
#pragma once

#include <string>
#include <string_view>

#include "tessel/api.h"

namespace tessel {

/// Prints `text` as it stands, without a line end of its own.
/// Goes to standard output unless the host redirects its console. Raises "Tessel:outputLost" where it cannot be
/// written, to a full disk or a closed pipe.
TESSEL_API void print(std::string_view text);

/// printf-style form of `print`.
TESSEL_API void printFormatted(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// While it lives, everything printed goes into its text instead of standard output. Redirections nest: the
/// innermost one receives. Warnings are not captured.
class TESSEL_API ConsoleRedirect {
 public:
  ConsoleRedirect();
  ConsoleRedirect(const ConsoleRedirect&) = delete;
  ConsoleRedirect& operator=(const ConsoleRedirect&) = delete;
  ~ConsoleRedirect();
  const std::string& text() const { return text_; }

 private:
  friend void print(std::string_view text);
  std::string text_;
  ConsoleRedirect* outer_;
};

}  // namespace tessel
