#include "tessel/shell/session.h"

#include <cstdio>

#include <fmt/format.h>
#include "tessel/language/files.h"

namespace tessel {

void printError(std::string_view text, const std::string& place) {
  std::fflush(stdout);
  std::string line = fmt::format("Error: {}", text);
  if (!place.empty()) line += fmt::format(" ({})", place);
  line += '\n';
  std::fwrite(line.data(), 1, line.size(), stderr);
}

void printError(const SyntaxError& error, const std::string& file) {
  printError(error.what(), fmt::format("{}:{}:{}", file, error.line(), error.column()));
}

bool runLoaded(Interpreter& interpreter, const Program& program) {
  try {
    interpreter.run(program);
    return true;
  } catch (const HostError&) {
    const ErrorRecord& error = interpreter.lastError();
    const bool hasPlace = !error.stack.empty() && error.stack[0].file != kPromptFile;
    printError(error.text, hasPlace ? fmt::format("{}:{}", error.stack[0].file, error.stack[0].line) : "");
  }
  return false;
}

bool runProgram(Interpreter& interpreter, std::string_view source, const std::string& file) {
  try {
    return runLoaded(interpreter, interpreter.load(source, file));
  } catch (const SyntaxError& error) {
    printError(error, file);
  }
  return false;
}

std::optional<std::string> readProgram(const std::string& file) {
  try {
    return readFile(file);
  } catch (const HostError& error) {
    printError(error.what());
  }
  return std::nullopt;
}

}  // namespace tessel
