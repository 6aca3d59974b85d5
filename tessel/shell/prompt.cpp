#include "tessel/shell/prompt.h"

#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <readline/history.h>
#include <readline/readline.h>

#include "tessel/language/error_place.h"
#include "tessel/runtime/interruption.h"
#include "tessel/shell/completion.h"
#include "tessel/shell/session.h"

namespace tessel {
namespace {

constexpr const char* kPrompt = ">> ";

// Readline and signals call back without an argument of ours.
Interpreter* promptInterpreter = nullptr;

volatile std::sig_atomic_t wasInterrupted = 0, isLineGivenUp = 0;

void onInterrupt(int) {
  wasInterrupted = 1;
  isLineGivenUp = 1;
  requestInterruption();
}

/// Gives the line up, and with it the block that it belongs to.
void startAnew() {
  rl_replace_line("", 0);
  rl_set_prompt(kPrompt);
  rl_crlf();
  rl_on_new_line();
  rl_redisplay();
}

/// Called by readline for a key. Readline waits for one even where a signal comes just before it begins to.
int readKey(std::FILE* stream) {
  sigset_t interrupt, usual;
  sigemptyset(&interrupt);
  sigaddset(&interrupt, SIGINT);
  for (bool hasKey = false; !hasKey;) {
    rl_check_signals();
    if (std::exchange(isLineGivenUp, 0) != 0) startAnew();
    sigprocmask(SIG_BLOCK, &interrupt, &usual);
    pollfd source{fileno(stream), POLLIN, 0};
    const bool isAsked = rl_pending_signal() != 0 || isLineGivenUp != 0;
    hasKey = !isAsked && (ppoll(&source, 1, nullptr, &usual) >= 0 || errno != EINTR);
    sigprocmask(SIG_SETMASK, &usual, nullptr);
  }
  return rl_getc(stream);
}

std::optional<std::string> readLine(const char* prompt) {
  std::fflush(stdout);
  isLineGivenUp = 0;
  char* line = readline(prompt);
  if (!line) return std::nullopt;
  std::string text = line;
  std::free(line);
  return text;
}

/// What is typed, kept from one session to the next in the file that the environment variable TESSEL_HISTORY
/// names, or else in the user's folder; an empty name keeps nothing.
class History {
 public:
  History() : file_(fileName()) {
    using_history();
    stifle_history(kMostEntries);
    // Entries of several lines stay together only where times stand between the entries.
    history_comment_char = '#';
    history_write_timestamps = 1;
    if (!file_.empty()) read_history(file_.c_str());
  }

  /// A statement with all its lines, without the line end behind it.
  void add(std::string text) {
    while (text.ends_with('\n')) text.pop_back();
    if (text.find_first_not_of(" \t\n") == std::string::npos) return;
    const HIST_ENTRY* last = history_length > 0 ? history_get(history_base + history_length - 1) : nullptr;
    if (last && text == last->line) return;
    add_history(text.c_str());
    add_history_time(("#" + std::to_string(std::time(nullptr))).c_str());
    save();
  }

 private:
  static constexpr int kMostEntries = 2000;

  static std::string fileName() {
    if (const char* chosen = std::getenv("TESSEL_HISTORY")) return chosen;
    const char* home = std::getenv("HOME");
    return home && *home ? std::string(home) + "/.tessel_history" : "";
  }

  /// Written at once: a session that ends by `exit` or a signal keeps what was typed. Sessions beside each
  /// other add to one file.
  void save() const {
    if (file_.empty()) return;
    const mode_t before = umask(S_IRWXG | S_IRWXO);
    if (append_history(1, file_.c_str()) != 0) write_history(file_.c_str());
    umask(before);
  }

  std::string file_;
};

/// Runs `text` unless more lines can complete it; returns whether it is done with. What is done with goes into
/// the history before it runs, since it may end the session.
bool tryToRun(Interpreter& interpreter, const std::string& text, History& history) {
  try {
    const Program program = interpreter.load(text, kPromptFile);
    history.add(text);
    runLoaded(interpreter, program);
  } catch (const SyntaxError& error) {
    if (error.isUnfinished()) return false;
    history.add(text);
    printError(interpreter, error, kPromptFile);
  }
  return true;
}

/// What ends a word for completion; inside a text its beginning alone, and behind a command blanks, so that
/// names of files are whole.
char* breakCharacters() {
  static char usual[] = " \t\n()[]{},;:=+-*/\\^<>~&|@'\"", insideText[] = "'\"", blanks[] = " \t\n";
  const std::string line(rl_line_buffer, static_cast<std::size_t>(rl_point));
  return endsInText(line) ? insideText : commandWordAtEnd(line) != CommandWord::None ? blanks : usual;
}

std::vector<std::string> candidates;

char* nextCompletion(const char*, int state) {
  static std::size_t next = 0;
  if (state == 0) next = 0;
  return next < candidates.size() ? strdup(candidates[next++].c_str()) : nullptr;
}

/// Inside a text the values or names that its call takes, or else names of files; behind a command files, or
/// names, first.
char** complete(const char* word, int start, int) {
  rl_completion_append_character = '\0';
  const std::string before(rl_line_buffer, static_cast<std::size_t>(start));
  const bool isText = endsInText(before);
  const CommandWord command = isText ? CommandWord::None : commandWordAtEnd(before + word);
  if (command == CommandWord::File) {
    if (char** files = rl_completion_matches(word, rl_filename_completion_function)) return files;
  }
  candidates =
      isText ? textCompletions(*promptInterpreter, before, word) : completions(*promptInterpreter, word);
  const bool mayBeFile = isText || command != CommandWord::None;
  rl_attempted_completion_over = mayBeFile && candidates.empty() ? 0 : 1;
  return candidates.empty() ? nullptr : rl_completion_matches(word, nextCompletion);
}

}  // namespace

void runPrompt(Interpreter& interpreter) {
  promptInterpreter = &interpreter;
  rl_attempted_completion_function = complete;
  rl_getc_function = readKey;
  rl_completion_word_break_hook = breakCharacters;
  struct sigaction action {};
  action.sa_handler = onInterrupt;
  sigaction(SIGINT, &action, nullptr);
  if (isatty(STDOUT_FILENO) == 1)
    std::puts("tessel " TESSEL_VERSION ": 'help' lists what there is, 'help fi' explains, 'exit' ends.");
  History history;
  std::string text;
  while (const auto line = readLine(text.empty() ? kPrompt : "   ")) {
    if (std::exchange(wasInterrupted, 0) != 0) text.clear();
    text += *line + '\n';
    if (tryToRun(interpreter, text, history)) text.clear();
  }
  if (!text.empty()) runProgram(interpreter, text, kPromptFile);
  std::fputc('\n', stdout);
}

}  // namespace tessel
