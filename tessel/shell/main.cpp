/// The program `tessel`: runs a script, a text or an interactive session.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdio>
#include <exception>
#include <iostream>
#include <iterator>
#include <new>
#include <string>
#include <vector>

#include "tessel/language/builtins/support.h"
#include "tessel/language/interpreter.h"
#include "tessel/language/open_files.h"
#include "tessel/messages.h"
#include "tessel/module.h"
#include "tessel/runtime/interruption.h"
#include "tessel/shell/interrupts.h"
#include "tessel/shell/prompt.h"
#include "tessel/shell/session.h"

namespace tessel {
namespace {

struct Options {
  std::string text;
  bool hasText = false;
  bool withoutModule = false;
  bool isInteractive = false;  ///< a prompt follows the program
  /// The script and its arguments; the arguments alone when there is a text.
  std::vector<std::string> rest;
};

/// `argv` in a program: what stands behind the script on the command line.
void provideArguments(std::vector<std::string> arguments) {
  FunctionInfo info;
  info.name = "argv";
  info.maxInputs = 0;
  info.help = "c = argv: the arguments of the script on the command line, as a column of texts.";
  info.call = [arguments = std::move(arguments)](Arrays&, int) -> Arrays {
    return {cellOfTexts(arguments, {arguments.size(), 1})};
  };
  registerFunction(std::move(info));
}

bool runInput(Interpreter& interpreter) {
  const std::string source{std::istreambuf_iterator<char>(std::cin), {}};
  return runProgram(interpreter, source, "stdin");
}

/// A script, or for "-" the program on standard input.
bool runScript(Interpreter& interpreter, const std::string& file) {
  if (file == "-") return runInput(interpreter);
  const auto source = readProgram(file);
  return source && runProgram(interpreter, *source, file);
}

bool runOptions(Interpreter& interpreter, Options options) {
  const bool isScript = !options.hasText && !options.rest.empty();
  const auto firstArgument = options.rest.begin() + (isScript ? 1 : 0);
  provideArguments({firstArgument, options.rest.end()});
  const bool isProgram = options.hasText || isScript;
  const bool isPrompt = options.isInteractive || (!isProgram && isatty(STDIN_FILENO));
  if (!isPrompt) endOnInterrupt();
  bool isDone = true;
  if (options.hasText)
    isDone = runProgram(interpreter, options.text, "-e");
  else if (isScript)
    isDone = runScript(interpreter, options.rest[0]);
  else if (!isPrompt)
    isDone = runInput(interpreter);
  if (!isPrompt) return isDone;
  runPrompt(interpreter);
  return true;
}

/// The exit status of a program that ends with `status`, once all that it printed is written. An error has been
/// printed when `isReported`.
int finished(int status, bool isReported) {
  if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return status;
  if (!isReported) printError("The output could not be written.");
  return status == 0 ? 1 : status;
}

/// The same, once what the program has left open is closed.
int finished(Interpreter& interpreter, int status, bool isReported) {
  try {
    interpreter.openFiles().closeAll();
  } catch (const std::exception& error) {
    printError(error.what());
    return finished(status == 0 ? 1 : status, true);
  }
  return finished(status, isReported);
}

int runShell(const Options& options) {
  Interpreter interpreter;
  try {
    if (!options.withoutModule) loadModule("qfcore");
    if (runOptions(interpreter, options)) return finished(interpreter, 0, false);
    return finished(interpreter, isInterruptionRequested() ? kInterruptedStatus : 1, true);
  } catch (const ExitRequest& request) {
    return finished(interpreter, request.status, false);
  } catch (const std::bad_alloc&) {
    printError("Out of memory.");
  } catch (const std::exception& error) {
    printError(error.what());
  }
  return finished(1, true);
}

}  // namespace
}  // namespace tessel

int main(int argc, char** argv) {
  tessel::Options options;
  CLI::App app("Runs a script of the Tessel language, a text, or, without either, an interactive session.",
               "tessel");
  app.set_version_flag("--version", "tessel " TESSEL_VERSION);
  CLI::Option* text = app.add_option("-e", options.text, "Execute TEXT instead of a script")
                          ->option_text("TEXT")
                          ->multi_option_policy(CLI::MultiOptionPolicy::Join);
  app.add_flag("--no-module", options.withoutModule, "Start without the module qfcore");
  app.add_flag("-i", options.isInteractive, "Open a prompt after the program, with its variables");
  app.footer(
      "A script and its arguments stand last: tessel [OPTIONS] [SCRIPT.tsl [ARGUMENT...]]. The script '-' is "
      "read\n"
      "from standard input. The status is 0; 1 after an error; 130 after an interruption; that of "
      "exit(status).");
  app.prefix_command();
  // Writing to a closed pipe is an error like others, not the silent end of the process.
  std::signal(SIGPIPE, SIG_IGN);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& told) {
    if (told.get_exit_code() == 0) return tessel::finished(app.exit(told), false);
    tessel::printError(std::string("The command line is not understood: ") + told.what() + '.');
    return 1;
  }
  options.hasText = text->count() > 0;
  options.rest = app.remaining();
  const bool isEndOfOptions = !options.rest.empty() && options.rest[0] == "--";
  if (isEndOfOptions) options.rest.erase(options.rest.begin());
  // What the parser does not know counts as the script; an option it does not know is a mistake.
  if (!options.hasText && !isEndOfOptions && !options.rest.empty() && options.rest[0].starts_with("-") &&
      options.rest[0] != "-") {
    const std::vector<std::string> known{"-e", "-i", "--no-module", "--version", "--help"};
    tessel::printError("The option '" + options.rest[0] + "' is not known." +
                       tessel::suggestion(options.rest[0], known));
    return 1;
  }
  return tessel::runShell(options);
}
