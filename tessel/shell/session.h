/// Running programs from the command line: errors become one line on standard error and an exit status.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "tessel/language/interpreter.h"
#include "tessel/language/parser.h"

namespace tessel {

/// Prints "Error: TEXT (PLACE)" and the lines `details` on standard error, after what was printed before; an
/// empty place is left out.
void printError(std::string_view text, const std::string& place = {}, std::string_view details = {});
/// Prints an error of the program `file`, which was loaded last: file, line, column, and the line with a caret.
void printError(const Interpreter& interpreter, const SyntaxError& error, const std::string& file);

/// Executes a program that has been loaded; prints its error with the place, the line with a caret and the
/// calls that led there. Then the figures that it drew are shown. False after an error.
bool runLoaded(Interpreter& interpreter, const Program& program);
/// Loads and executes a program; prints its error. False after an error.
bool runProgram(Interpreter& interpreter, std::string_view source, const std::string& file);

/// The content of a file, or nothing (and an error printed) when it cannot be read.
std::optional<std::string> readProgram(const std::string& file);

}  // namespace tessel
