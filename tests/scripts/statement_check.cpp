#include "tests/scripts/statement_check.h"

#include <cstdio>
#include <optional>

#include "fmt/format.h"
#include "tessel/console.h"
#include "tessel/language/interpreter.h"
#include "tessel/messages.h"
#include "tests/scripts/expectations.h"

namespace tessel {
namespace {

/// What the statements that end on one line did.
struct Outcome {
  std::string output;
  std::optional<ErrorRecord> error;
  Warning warning;
};

class Checker {
 public:
  explicit Checker(std::string file) : file_(std::move(file)) {}

  CheckResult run(const std::string& source) {
    const Program program = interpreter_.load(source, file_);
    Expectations expectations = readExpectations(program.comments);
    for (std::size_t first = 0; first < program.statements.size();) {
      const int line = program.statements[first].lastLine;
      const Outcome outcome = runLine(program, first, line);
      const auto found = expectations.find(line);
      check(line, outcome, found == expectations.end() ? std::vector<Expectation>() : found->second);
      if (found != expectations.end()) expectations.erase(found);
    }
    for (const auto& [line, unchecked] : expectations) fail(line, "a statement that ends here", "none");
    return result_;
  }

 private:
  /// Executes the statements from `first` on that end on `line`, and moves `first` behind them.
  Outcome runLine(const Program& program, std::size_t& first, int line) {
    Outcome outcome;
    lastWarning() = {};
    const ConsoleRedirect redirect;
    try {
      while (first < program.statements.size() && program.statements[first].lastLine == line) {
        interpreter_.run(program.statements[first++]);
      }
    } catch (const HostError&) {
      outcome.error = interpreter_.lastError();
      while (first < program.statements.size() && program.statements[first].lastLine == line) ++first;
    }
    outcome.output = redirect.text();
    outcome.warning = lastWarning();
    return outcome;
  }

  void check(int line, const Outcome& outcome, const std::vector<Expectation>& expectations) {
    bool isErrorExpected = false, isOutputExpected = false;
    for (const Expectation& expectation : expectations) {
      ++result_.expectationCount;
      switch (expectation.kind) {
        case Expectation::Kind::Output:
          isOutputExpected = true;
          if (folded(outcome.output) != expectation.text) fail(line, expectation.text, folded(outcome.output));
          break;
        case Expectation::Kind::Error:
          isErrorExpected = true;
          if (outcome.error)
            checkMessage(line, "error", expectation, outcome.error->identifier, outcome.error->text);
          else
            fail(line, "error " + expectation.identifier, "no error");
          break;
        case Expectation::Kind::Warning:
          checkMessage(line, "warning", expectation, outcome.warning.identifier, outcome.warning.text);
      }
    }
    if (!isOutputExpected && !folded(outcome.output).empty()) fail(line, "no output", folded(outcome.output));
    if (outcome.error && !isErrorExpected) {
      fail(line, "no error", fmt::format("error {}: {}", outcome.error->identifier, outcome.error->text));
    }
  }

  void checkMessage(int line, const char* kind, const Expectation& expectation, const std::string& identifier,
                    const std::string& text) {
    const std::string wanted = expectation.identifier == "-" ? "" : expectation.identifier;
    if (identifier == wanted && (expectation.text.empty() || expectation.text == folded(text))) return;
    fail(line, fmt::format("{} {} {}", kind, expectation.identifier, expectation.text),
         fmt::format("{} {} {}", kind, identifier, folded(text)));
  }

  void fail(int line, const std::string& expected, const std::string& actual) {
    ++result_.failureCount;
    std::fputs(fmt::format("{}:{}:\n  expected: {}\n  actual:   {}\n", file_, line, expected, actual).c_str(),
               stdout);
  }

  std::string file_;
  Interpreter interpreter_;
  CheckResult result_;
};

}  // namespace

CheckResult checkStatements(const std::string& source, const std::string& file) {
  return Checker(file).run(source);
}

}  // namespace tessel
