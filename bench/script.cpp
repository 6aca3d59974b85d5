/// Statements of a script: what the interpreter, the indexing and the binding cost besides the arithmetic.
#include <memory>

#include "bench/job.h"
#include "bench/operands.h"
#include "tessel/language/interpreter.h"
#include "tessel/module.h"

namespace bench {
namespace {

constexpr const char* kStatements = "for k = 2 : n, a(k) = a(k-1) * c + x(k); end";
constexpr const char* kDoubles = "a = zeros(1, n); x = rand(1, n) - 0.5; c = 0.5;";
constexpr const char* kFixedPoint =
    "T = numerictype(1, 16, 15); a = fi(zeros(1, n), T); x = fi(rand(1, n) - 0.5, T); c = fi(0.5, T);";

/// A program in a workspace of its own.
class Script {
 public:
  void run(const std::string& source) {
    program_ = interpreter_.load(source, "bench");
    runAgain();
  }
  void runAgain() { interpreter_.run(program_); }

 private:
  tessel::Interpreter interpreter_;
  tessel::Program program_;
};

/// The loop's statements on variables that `operands` makes.
Prepare byScript(const char* operands) {
  return [=](std::size_t statementCount) -> Work {
    tessel::loadModule("qfcore");
    auto script = std::make_shared<Script>();
    script->run("n = " + std::to_string(statementCount + 1) + "; " + operands);
    script->run(kStatements);
    return [=] { script->runAgain(); };
  };
}

}  // namespace

std::vector<Job> scriptJobs() {
  return {{"script: a(k) = a(k-1) * c + x(k), per statement",
           {{"doubles", byScript(kDoubles)}, subject("fi", byScript(kFixedPoint))},
           {1'000'000}}};
}

}  // namespace bench
