/// What the tabulator key offers at the prompt.
#pragma once

#include <string>
#include <vector>

#include "tessel/language/interpreter.h"

namespace tessel {

/// The names that can complete `word`: variables, functions and methods, and behind a point the fields,
/// properties and methods of a variable or the classes of a package.
std::vector<std::string> completions(Interpreter& interpreter, const std::string& word);

/// Is the end of `line` inside a text literal?
bool endsInText(const std::string& line);
/// What the end of `line` may be behind a command: a name as in `help plot`, or more likely a file, as in `run
/// prog`.
enum class CommandWord { None, Name, File };
CommandWord commandWordAtEnd(const std::string& line);

/// What can complete `word`, the end of a text literal. Where that is assigned to a property with enumerated
/// values, or stands in a call behind the name of such a property, these; else the properties of the class that
/// the function makes or `set` is to change, and what the help of the function names. `before` is the line up
/// to the word.
std::vector<std::string> textCompletions(Interpreter& interpreter, const std::string& before,
                                         const std::string& word);

}  // namespace tessel
