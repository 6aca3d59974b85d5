/// The host's console: where a module prints what a user reads.
#pragma once

#include <string_view>

#include "tessel/api.h"

namespace tessel {

/// Prints `text` as it stands, without a line end of its own.
/// Goes to standard output unless the host redirects its console.
TESSEL_API void print(std::string_view text);

/// printf-style form of `print`.
TESSEL_API void printFormatted(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace tessel
