/// How the host's names are spelled in Python.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tessel/registries.h"

namespace face {

/// "WordLength" -> "word_length", "CStyle" -> "c_style", "noverflows" as it is; a keyword gets a "_" behind.
std::string snakeCase(std::string_view hostName);
/// A property of another name is a different one; a text of an enumeration may differ in case and in what
/// stands between words: "full_precision" is "FullPrecision". Null where none fits.
const std::string* textOf(const tessel::EnumeratedType& type, std::string_view spelled);
/// "quantizer Round Mode" -> "RoundMode", "fimathArithmeticModeEnum" -> "ArithmeticMode".
std::string enumerationName(std::string_view hostName);
/// "Fixed-point: binary point scaling" -> "FIXED_POINT_BINARY_POINT_SCALING".
std::string memberName(std::string_view text);
/// "; did you mean 'floor'?", or nothing when no choice resembles `wrong`. Calls Python.
std::string suggestion(std::string_view wrong, const std::vector<std::string>& choices);

}  // namespace face
