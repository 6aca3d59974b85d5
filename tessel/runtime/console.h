/// The runtime's side of the console: capturing what is printed.
#pragma once

#include <string>

#include "tessel/api.h"
#include "tessel/console.h"

namespace tessel {

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
