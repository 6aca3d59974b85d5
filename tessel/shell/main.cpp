/// The program `tessel`: runs a script, a text or an interactive session.
#include <getopt.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <exception>
#include <iostream>
#include <iterator>
#include <new>
#include <stdexcept>
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

constexpr const char* kHelp =
    "Runs a script of the Tessel language, a text, or, without either, an interactive session.\n"
    "\n"
    "Usage: tessel [OPTION...] [SCRIPT.tsl [ARGUMENT...]]\n"
    "       tessel [OPTION...] -e TEXT [ARGUMENT...]\n"
    "\n"
    "Options:\n"
    "  -e TEXT      Execute TEXT; several are lines of one program\n"
    "  -i           Open a prompt after the program, with its variables\n"
    "  --no-module  Start without the module qfcore\n"
    "  --version    Print the version and exit\n"
    "  -h,--help    Print this and exit\n"
    "\n"
    "The script '-' is read from standard input. The status is 0; 1 after an error; 130 after an\n"
    "interruption; that of exit(status).\n";

struct Options {
  std::string text;
  bool hasText = false;
  bool withoutModule = false;
  bool isInteractive = false;  ///< a prompt follows the program
  const char* told = nullptr;  ///< what is printed in place of all that
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

/// Options end at the script. Raises std::runtime_error.
Options optionsOf(int argc, char** argv) {
  enum Long { Help = 'h', NoModule = 256, Version };
  constexpr option known[] = {{"help", no_argument, nullptr, Help},
                              {"no-module", no_argument, nullptr, NoModule},
                              {"version", no_argument, nullptr, Version},
                              {}};
  Options options;
  for (;;) {
    const char* word = argv[optind];
    switch (getopt_long(argc, argv, "+:e:ih", known, nullptr)) {
      case 'e':
        options.text += (options.hasText ? "\n" : "") + std::string(optarg);
        options.hasText = true;
        break;
      case 'i': options.isInteractive = true; break;
      case NoModule: options.withoutModule = true; break;
      case Version: options.told = "tessel " TESSEL_VERSION "\n"; break;
      case Help: options.told = kHelp; break;
      case ':': throw std::runtime_error("The option '-e' needs a text.");
      case -1: options.rest.assign(argv + optind, argv + argc); return options;
      default:
        throw std::runtime_error("The option '" + std::string(word) + "' is not known." +
                                 suggestion(word, {"-e", "-i", "--no-module", "--version", "--help"}));
    }
  }
}

}  // namespace
}  // namespace tessel

int main(int argc, char** argv) {
  // Writing to a closed pipe is an error like others, not the silent end of the process.
  std::signal(SIGPIPE, SIG_IGN);
  try {
    const tessel::Options options = tessel::optionsOf(argc, argv);
    if (!options.told) return tessel::runShell(options);
    std::fputs(options.told, stdout);
    return tessel::finished(0, false);
  } catch (const std::exception& error) {
    tessel::printError(error.what());
    return 1;
  }
}
