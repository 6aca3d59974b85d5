#include "tessel/shell/session.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <system_error>

#include <fmt/format.h>
#include "tessel/language/error_place.h"
#include "tessel/language/files.h"
#include "tessel/language/function_files.h"
#include "tessel/pictures/gnuplot.h"
#include "tessel/runtime/terminal.h"

namespace tessel {

namespace {

/// A line of a program with a caret below one of its columns, which are characters.
std::string markedLine(std::string_view line, int column) {
  std::string blanks;  // with tabulators as they are, so that the caret stands below
  for (const char c : line) {
    if (!continuesCharacter(c)) blanks += c == '\t' ? '\t' : ' ';
  }
  blanks.resize(std::min(blanks.size(), static_cast<std::size_t>(column) - 1));
  return fmt::format("  {}\n  {}^\n", line, blanks);
}

}  // namespace

void printError(std::string_view text, const std::string& place, std::string_view details) {
  std::fflush(stdout);
  std::string lines = coloured("Error:", Colour::Red, STDERR_FILENO) + fmt::format(" {}", text);
  if (!place.empty()) lines += fmt::format(" ({})", place);
  lines += '\n';
  lines += details;
  std::fwrite(lines.data(), 1, lines.size(), stderr);
}

namespace {

/// Errors of what was typed last name no place: the line stands right above.
void printRunError(const Interpreter& interpreter, const ErrorRecord& error) {
  if (error.stack.empty() || error.stack[0].file == kPromptFile) return printError(error.text);
  const StackEntry& entry = error.stack[0];
  const auto line = interpreter.sourceLine(entry.file, entry.line);
  const std::size_t first = line ? line->find_first_not_of(" \t") : std::string_view::npos;
  const int column =
      entry.column > 0 || first == std::string_view::npos ? entry.column : static_cast<int>(first) + 1;
  printError(error.text, placeText(error.stack, column),
             (line && column > 0 ? markedLine(*line, column) : "") + callsText(error.stack));
}

bool hasShownFigures() {
  try {
    showFigures();
    return true;
  } catch (const HostError& error) {
    printError(error.what());
  }
  return false;
}

}  // namespace

void printError(const Interpreter& interpreter, const SyntaxError& error, const std::string& file) {
  const std::string_view line = interpreter.sourceLine(file, error.line()).value();
  printError(error.what(), fmt::format("{}:{}:{}", file, error.line(), error.column()),
             markedLine(line, error.column()));
}

bool runLoaded(Interpreter& interpreter, const Program& program) {
  bool isDone = true;
  try {
    interpreter.run(program);
  } catch (const HostError&) {
    printRunError(interpreter, interpreter.lastError());
    isDone = false;
  }
  return hasShownFigures() && isDone;
}

bool runProgram(Interpreter& interpreter, std::string_view source, const std::string& file) {
  try {
    return runLoaded(interpreter, interpreter.load(source, file));
  } catch (const SyntaxError& error) {
    printError(interpreter, error, file);
  }
  return false;
}

std::optional<std::string> readProgram(const std::string& file) {
  std::error_code unread;
  if (std::filesystem::is_directory(file, unread)) {
    printError(fmt::format("'{}' is a folder, not a program.", file));
    return std::nullopt;
  }
  try {
    return readFile(file);
  } catch (const HostError& error) {
    const std::string whole = file + kProgramEnding;
    const bool lacksEnding = std::filesystem::exists(whole, unread);
    printError(error.what() + (lacksEnding ? fmt::format(" Did you mean '{}'?", whole) : ""));
  }
  return std::nullopt;
}

}  // namespace tessel
