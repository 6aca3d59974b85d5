#include "tessel/shell/prompt.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <readline/history.h>
#include <readline/readline.h>

#include "tessel/runtime/interruption.h"
#include "tessel/shell/completion.h"
#include "tessel/shell/session.h"

namespace tessel {
namespace {

constexpr const char* kPrompt = ">> ";

// Readline and signals call back without an argument of ours.
Interpreter* promptInterpreter = nullptr;

volatile std::sig_atomic_t wasInterrupted = 0;

void onInterrupt(int) {
  wasInterrupted = 1;
  requestInterruption();
}

/// Called by readline after a signal: gives the line up, and with it the block that it belongs to.
int startAnew() {
  rl_replace_line("", 0);
  rl_set_prompt(kPrompt);
  rl_crlf();
  rl_on_new_line();
  rl_redisplay();
  return 0;
}

std::optional<std::string> readLine(const char* prompt) {
  std::fflush(stdout);
  char* line = readline(prompt);
  if (!line) return std::nullopt;
  std::string text = line;
  std::free(line);
  if (!text.empty()) add_history(text.c_str());
  return text;
}

/// Runs `text` unless more lines can complete it; returns whether it is done with.
bool tryToRun(Interpreter& interpreter, const std::string& text) {
  try {
    runLoaded(interpreter, interpreter.load(text, kPromptFile));
  } catch (const SyntaxError& error) {
    if (error.isUnfinished()) return false;
    printError(error, kPromptFile);
  }
  return true;
}

char* nextCompletion(const char* word, int state) {
  static std::vector<std::string> candidates;
  static std::size_t next = 0;
  if (state == 0) {
    candidates = completions(*promptInterpreter, word);
    next = 0;
  }
  return next < candidates.size() ? strdup(candidates[next++].c_str()) : nullptr;
}

char** complete(const char* word, int, int) {
  rl_completion_append_character = '\0';
  return rl_completion_matches(word, nextCompletion);
}

}  // namespace

void runPrompt(Interpreter& interpreter) {
  promptInterpreter = &interpreter;
  rl_attempted_completion_function = complete;
  rl_signal_event_hook = startAnew;
  rl_completer_word_break_characters = " \t\n()[]{},;:=+-*/\\^<>~&|@'\"";
  struct sigaction action {};
  action.sa_handler = onInterrupt;
  sigaction(SIGINT, &action, nullptr);
  std::string text;
  while (const auto line = readLine(text.empty() ? kPrompt : "   ")) {
    if (std::exchange(wasInterrupted, 0) != 0) text.clear();
    text += *line + '\n';
    if (tryToRun(interpreter, text)) text.clear();
  }
  if (!text.empty()) runProgram(interpreter, text, kPromptFile);
  std::fputc('\n', stdout);
}

}  // namespace tessel
