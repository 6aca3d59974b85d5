/// Statements of a script: what the interpreter, the indexing and the binding cost besides the arithmetic.
#include <cstdlib>
#include <memory>
#include <stdexcept>

#include "bench/languages.h"
#include "bench/operands.h"
#include "tessel/language/interpreter.h"
#include "tessel/module.h"

namespace bench {
namespace {

constexpr std::size_t kStatements = 20'000;

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

// -------------------------------------------------------------------------------------------- beside languages

/// The same work on doubles in three languages.
struct Comparison {
  const char* what;
  const char *functions, *tessel;
  const char *pythonSetUp, *python;
  const char *luaSetUp, *lua;
};

constexpr Comparison kComparisons[] = {
    {"call of a function", "function r = add(a, b)\n r = a + b;\nend\n",
     "s = 0; for k = 1:n, s = add(s, k); end", "def add(a, b): return a + b\n",
     "s = 0.0\n for k in range(n): s = add(s, k)", "local function add(a, b) return a + b end",
     "local s = 0.0 for k = 1.0, n do s = add(s, k) end"},
    {"call of a function that calls itself",
     "function r = fib(k)\n if k < 2\n  r = k;\n else\n  r = fib(k - 1) + fib(k - 2);\n end\nend\n",
     "for k = 1:n/1973, fib(15); end", "def fib(k):\n return k if k < 2.0 else fib(k - 1.0) + fib(k - 2.0)\n",
     "for k in range(n // 1973): fib(15.0)",
     "local function fib(k) if k < 2.0 then return k end return fib(k - 1.0) + fib(k - 2.0) end",
     "for k = 1, n // 1973 do fib(15.0) end"},
    {"anonymous function", "", "f = @(x) x + 1; s = 0; for k = 1:n, s = f(s); end", "f = lambda x: x + 1.0\n",
     "s = 0.0\n for k in range(n): s = f(s)", "local f = function(x) return x + 1.0 end",
     "local s = 0.0 for k = 1, n do s = f(s) end"},
    {"abs of a number", "", "s = 0; for k = 1:n, s = s + abs(k); end", "",
     "s = 0.0\n for k in range(n): s = s + abs(k)", "local abs = math.abs",
     "local s = 0.0 for k = 1.0, n do s = s + abs(k) end"},
    {"for loop", "", "s = 0; for k = 1:n, s = s + k; end", "", "s = 0.0\n for k in range(n): s = s + k", "",
     "local s = 0.0 for k = 1.0, n do s = s + k end"},
    {"while loop", "", "k = 0; while k < n, k = k + 1; end", "", "k = 0.0\n while k < n: k = k + 1.0", "",
     "local k = 0.0 while k < n do k = k + 1.0 end"},
    {"comparisons", "", "a = 0; for k = 1:n, if k > 7 && k ~= a, a = k; elseif k == 3, a = 2; end, end", "",
     "a = 0.0\n for k in range(n):\n  if k > 7.0 and k != a: a = k\n  elif k == 3.0: a = 2.0", "",
     "local a = 0.0 for k = 1.0, n do if k > 7.0 and k ~= a then a = k elseif k == 3.0 then a = 2.0 end end"},
    {"members", "", "s.x = 0; s.d = 2; for k = 1:n, s.x = s.x + s.d; end",
     "class S: pass\ns = S()\ns.x = 0.0\ns.d = 2.0\n", "for k in range(n): s.x = s.x + s.d",
     "local s = {x = 0.0, d = 2.0}", "for k = 1, n do s.x = s.x + s.d end"},
    {"arithmetic of a filter section", "",
     "p = 0; q = 0; x = 0.5;\nfor k = 1:n, y = 0.2*x + p; p = 0.3*x - 0.4*y + q; q = 0.5*x - 0.1*y; end", "",
     "p, q, x = 0.0, 0.0, 0.5\n for k in range(n): y = 0.2*x + p; p = 0.3*x - 0.4*y + q; q = 0.5*x - 0.1*y", "",
     "local p, q, x, y = 0.0, 0.0, 0.5, 0.0\n"
     "for k = 1, n do y = 0.2*x + p p = 0.3*x - 0.4*y + q q = 0.5*x - 0.1*y end"},
    {"elements", "", "a = zeros(1, n); x = ones(1, n); for k = 2:n, a(k) = a(k-1)*0.5 + x(k); end",
     "a, x = [0.0]*n, [1.0]*n\n", "for k in range(1, n): a[k] = a[k-1]*0.5 + x[k]",
     "local a, x = {}, {} for k = 1, n do a[k], x[k] = 0.0, 1.0 end",
     "for k = 2, n do a[k] = a[k-1]*0.5 + x[k] end"},
};

Job comparisonJob(const Comparison& row) {
  Job job{std::string("script beside languages, doubles: ") + row.what, {}, {kStatements}};
  std::vector<Goal> goals;
#ifdef QFCORE_PYTHON_PACKAGE
  job.contenders.push_back({"CPython", byPython(row.pythonSetUp, row.python)});
  goals.push_back(atMost(1, "CPython"));
#endif
  job.contenders.push_back({"Lua", byLua(row.luaSetUp, row.lua)});
  const std::string work = std::string("function work(n)\n") + row.tessel + "\nend\n";
  job.contenders.push_back({"Tessel", byScript(row.functions + work, "work(n);"), goals});
  return job;
}

// -------------------------------------------------------------------------------------------- single
// statements

constexpr const char* kDoubles = "x = rand(1, 20) - 0.5; y = x(1:4); s = 0.25; a = 2; b = 5;";
constexpr const char* kSettings =
    "F = fimath('ProductMode', 'SpecifyPrecision', 'ProductWordLength', 16, 'ProductFractionLength', 15, "
    "'SumMode', 'SpecifyPrecision', 'SumWordLength', 16, 'SumFractionLength', 15); G = fimath;"
    "T = numerictype(1, 16, 15); W = numerictype(1, 32, 31);"
    "p = fi(0.3, T, F); q = fi(0.2, T, F); u = fi(0.3, W); v = fi(0.2, W); acc = u * v;";

std::string fixedPoint(int wordLength) {
  const std::string word = std::to_string(wordLength), fraction = std::to_string(wordLength - 1);
  return "a = 2; b = 5; x = fi(rand(1, 20) - 0.5, 1, " + word + ", " + fraction + "); y = x(1:4); s = x(7);";
}

Prepare byStatement(const std::string& setUp, const std::string& statement) {
  return byScript(setUp, "for k = 1:n, " + statement + " end");
}

Job rangeJob(const std::string& statement) {
  const std::vector<Goal> goal = {atMostNanoseconds(400)};
  return {"script, short range: " + statement,
          {{"doubles", byStatement(kDoubles, statement), goal},
           {"fi s16,15", byStatement(fixedPoint(16), statement), goal},
           {"fi s64,63", byStatement(fixedPoint(64), statement), goal}},
          {kStatements}};
}

Job scalarJob(const std::string& statement) {
  return {"script, single values: " + statement,
          {{"fi", byStatement(kSettings, statement), {atMostNanoseconds(300)}}},
          {kStatements}};
}

/// Copies all of an array but one element, as memory allows, and as a range does.
Job longRangeJob() {
  const auto copying = [](std::size_t elementCount) -> Work {
    return [from = randomValues(elementCount, 1)] {
      Values copied(from.begin() + 1, from.end());
      benchmark::DoNotOptimize(copied.data());
    };
  };
  return {
      "script, long range: y = x(2:end)",
      {{"copy", copying},
       {"doubles", byScript("x = rand(1, n);", "y = x(2:end);"), {atMost(1.2, "copy")}},
       {"fi s16,15", byScript("x = fi(rand(1, n) - 0.5, 1, 16, 15);", "y = x(2:end);"), {atMost(1.5, "copy")}}},
      {100'000, 1'000'000}};
}

/// Settings under which sums and products are of so many bits, with the fraction that words of half as many
/// before and behind the point leave.
std::string keptTo(int bits, int fraction) {
  const std::string length = std::to_string(bits), places = std::to_string(fraction);
  return "F = fimath('RoundMode', 'floor', 'OverflowMode', 'wrap', 'ProductMode', 'SpecifyPrecision', "
         "'ProductWordLength', " +
         length + ", 'ProductFractionLength', " + places +
         ", 'SumMode', 'SpecifyPrecision', 'SumWordLength', " + length + ", 'SumFractionLength', " + places +
         ");";
}

constexpr std::size_t kSamples = 2'000;

/// A feedback filter sample by sample: a section of second order of ten operations, each as long as one may
/// take.
Job sectionJob(int word, int accumulator) {
  const std::string settings = keptTo(accumulator, accumulator - 4) + "T = numerictype(1, " +
                               std::to_string(word) + ", " + std::to_string(word - 1) +
                               "); C = numerictype(1, " + std::to_string(word) + ", " +
                               std::to_string(word - 2) + ");";
  return {"script: biquad section s" + std::to_string(word) + ", sums of " + std::to_string(accumulator) +
              " bits, per sample",
          {subject("fi",
                   byScript(settings + "b = fi([0.2 0.3 0.1], C, F); a = fi([1 -0.5 0.2], C, F);"
                                       "x = fi(rand(1, n) - 0.5, T, F); y = x; p = b(1) * x(1); q = p;"
                                       "c0 = b(1); c1 = b(2); c2 = b(3); d1 = a(2); d2 = a(3);",
                            "for k = 1:n, u = x(k); v = fi(c0 * u + p, T, F); p = c1 * u - d1 * v + q;"
                            " q = c2 * u - d2 * v; y(k) = v; end"),
                   {atMostNanoseconds(10 * 300)})},
          {kSamples}};
}

/// Weights that follow a signal: two products of rows, a sum of rows and a shifted delay line a sample.
Job adaptiveJob() {
  return {"script: adaptive filter of 16 taps s16,15, per sample",
          {subject("fi",
                   byScript(keptTo(32, 30) + "T = numerictype(1, 16, 15); w = fi(zeros(1, 16), T, F); line = w;"
                                             "x = fi(rand(1, n) - 0.5, T, F); d = fi(rand(1, n) - 0.5, T, F);"
                                             "mu = fi(0.05, T, F);",
                            "for k = 1:n, line = [x(k) line(1:15)]; e = fi(d(k) - dot(w, line), T, F);"
                            " w = fi(w + mu * e * line, T, F); end"))},
          {kSamples}};
}

/// A fresh process that runs one statement.
Job startJob() {
  const Prepare starting = [](std::size_t) -> Work {
    return [] {
      if (std::system("'" QFCORE_TESSEL "' -e '1;'") != 0) throw std::runtime_error("tessel does not start");
    };
  };
  return {"start of tessel -e '1;'",
          {{"tessel", starting, {atMostNanoseconds(5e6)}}},
          {1},
          [](std::size_t elementCount) { return elementCount; },
          true};
}

}  // namespace

Prepare byScript(const std::string& setUp, const std::string& statements) {
  return [=](std::size_t count) -> Work {
    tessel::loadModule("qfcore");
    auto script = std::make_shared<Script>();
    script->run("n = " + std::to_string(count) + ";\n" + setUp);
    script->run(statements);
    return [=] { script->runAgain(); };
  };
}

std::vector<Job> scriptJobs() {
  constexpr const char* statements = "for k = 2 : n, a(k) = a(k-1) * c + x(k); end";
  constexpr const char* doubles = "a = zeros(1, n); x = rand(1, n) - 0.5; c = 0.5;";
  constexpr const char* values =
      "T = numerictype(1, 16, 15); a = fi(zeros(1, n), T); x = fi(rand(1, n) - 0.5, T); c = fi(0.5, T);";
  std::vector<Job> jobs = {
      {"script: a(k) = a(k-1) * c + x(k), per statement",
       {{"doubles", byScript(doubles, statements)}, subject("fi", byScript(values, statements))},
       {1'000'000}}};
  jobs.push_back(sectionJob(16, 40));
  jobs.push_back(sectionJob(32, 64));
  jobs.push_back(adaptiveJob());
  for (const Comparison& row : kComparisons) jobs.push_back(comparisonJob(row));
  for (const char* statement :
       {"r = x(a:b);", "r = x(:);", "r = x(2:end);", "x(a:b) = y;", "x(2:5) = x(1:4);", "r = [x(2:end) s];"})
    jobs.push_back(rangeJob(statement));
  jobs.push_back(longRangeJob());
  for (const char* statement :
       {"r = p + q;", "r = u + v;", "r = p * q;", "r = u * v;", "r = fi(acc, T, G);", "r = pow2(p, 2);",
        "r = divide(T, p, q);", "r = p < q;", "r = bitshift(acc, -2);"})
    jobs.push_back(scalarJob(statement));
  jobs.push_back(startJob());
  return jobs;
}

}  // namespace bench
