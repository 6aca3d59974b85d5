/// Where an error arose, in the words that users read.
#pragma once

#include <string>
#include <vector>

#include "tessel/language/interpreter.h"

namespace tessel {

/// What is typed at the prompt stands in this file.
inline constexpr const char* kPromptFile = "prompt";

/// "file:line:column in function" of the innermost level, without a column that is 0; empty at the prompt and
/// where the place is not known.
std::string placeText(const std::vector<StackEntry>& stack, int column);
/// A line each for the calls that led there, the first ones of many.
std::string callsText(const std::vector<StackEntry>& stack);

}  // namespace tessel
