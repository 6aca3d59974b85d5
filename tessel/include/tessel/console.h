/// The host's console: where a module prints what a user reads.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "tessel/api.h"
#include "tessel/array.h"

namespace tessel {

/// Prints `text` as it stands, without a line end of its own.
/// Goes to standard output unless the host redirects its console. Raises "Tessel:outputLost" where it cannot be
/// written, to a full disk or a closed pipe.
TESSEL_API void print(std::string_view text);

/// printf-style form of `print`.
TESSEL_API void printFormatted(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// How many characters a line holds: of a terminal as many as it is wide, else 80.
TESSEL_API std::size_t lineWidth();

/// How many digits users want to see of numbers: a few that tell them apart, or all.
enum class NumberFormat { Short, Long };
TESSEL_API NumberFormat numberFormat();
TESSEL_API void setNumberFormat(NumberFormat format);

/// The lines that show `texts`, the elements of an array of the sizes `dims` in column-major order, as the host
/// shows its own arrays: right-aligned, in columns that are wrapped at the line's width, every page of an array
/// with more than two dimensions under `name` and its subscripts. `dims` are two or more, none of them 0.
TESSEL_API std::string tableText(std::vector<std::string> texts, const Dimensions& dims,
                                 std::string_view name = {});

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
