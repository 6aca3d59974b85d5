/// What the terminal behind a stream can do.
#pragma once

#include <string>
#include <string_view>

#include "tessel/api.h"

namespace tessel {

/// Does the stream of this descriptor show colours? A terminal does, unless the environment variable NO_COLOR
/// is set or TERM says that it is a dumb one.
TESSEL_API bool hasColours(int descriptor);

/// Does what is printed go to a terminal, and not into a redirection?
bool hasTerminalConsole();

enum class Colour { Red = 31, Yellow = 33 };
/// `text` in bold of a colour where the stream shows colours, else as it is.
TESSEL_API std::string coloured(std::string_view text, Colour colour, int descriptor);

/// Prints on the console; what is longer than the screen of a terminal through the program that the environment
/// variable PAGER names, or "less".
TESSEL_API void printPaged(const std::string& text);

}  // namespace tessel
