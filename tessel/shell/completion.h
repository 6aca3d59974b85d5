/// What the tabulator key offers at the prompt.
#pragma once

#include <string>
#include <vector>

#include "tessel/language/interpreter.h"

namespace tessel {

/// The names that can complete `word`: variables and functions, and behind a point the fields, properties and
/// methods of a variable or the classes of a package.
std::vector<std::string> completions(Interpreter& interpreter, const std::string& word);

}  // namespace tessel
