#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>

#include <fmt/format.h>

namespace {

namespace fs = std::filesystem;

struct Result {
  std::string output;
  std::string errors;
  int status;
};

std::string readAll(const fs::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

class Shell : public testing::Test {
 protected:
  Shell() : folder_(fs::temp_directory_path() / ("tessel_shell_test_" + std::to_string(getpid()))) {
    fs::create_directories(folder_);
    setenv("TESSEL_HISTORY", (folder_ / "history").c_str(), 1);
    setenv("NO_COLOR", "1", 1);
  }
  ~Shell() override { fs::remove_all(folder_); }

  /// Runs the shell in a folder of its own with `arguments` as the command line has them.
  Result run(const std::string& arguments, const std::string& input = "") const {
    write("input", input);
    return runCommand(kShell + arguments + " <input");
  }
  Result runCommand(const std::string& command) const {
    const std::string redirected = "cd '" + folder_.string() + "' && { " + command + "\n} >output 2>errors";
    const int status = std::system(redirected.c_str());
    return {readAll(folder_ / "output"), readAll(folder_ / "errors"),
            WIFEXITED(status) ? WEXITSTATUS(status) : -1};
  }
  void write(const std::string& name, const std::string& content) const {
    std::ofstream(folder_ / name, std::ios::binary) << content;
  }
  /// A program of the shell in place of gnuplot.
  void writeGnuplot(const std::string& content) const {
    write("gnuplot", "#!/bin/sh\n" + content);
    fs::permissions(folder_ / "gnuplot", fs::perms::owner_all);
  }

  const std::string kShell = "'" TESSEL_SHELL "' --no-module ";
  fs::path folder_;
};

struct Case {
  std::string arguments;
  std::string input;
  Result expected;
};

TEST_F(Shell, RunsAndReports) {
  write("good.tsl", "disp('good'), c = argv; disp(numel(c)), if numel(c) > 1, disp(c{2}), end\n");
  write(
      "bad.tsl",
      "function f(x)\n  y = x;\n  error('an:id', 'two\\nlines')\nend\ndisp('before')\n\nf(1)\ndisp('after')\n");
  write("syntax.tsl", "disp('never')\nx = (1\n");
  write("empty.tsl", "");
  write("open.tsl", "a = [1 2\n3 4\nb = 5;\n");
  fs::create_directory(folder_ / "folder.tsl");
  const Case cases[] = {
      {"good.tsl", "", {"good\n     0\n", "", 0}},
      {"good.tsl one --two", "", {"good\n     2\n--two\n", "", 0}},
      {"empty.tsl", "", {"", "", 0}},
      {"bad.tsl",
       "",
       {"before\n",
        "Error: two\nlines (bad.tsl:3:3 in f)\n    error('an:id', 'two\\nlines')\n    ^\n  called from "
        "bad.tsl:7:1\n",
        1}},
      {"syntax.tsl",
       "",
       {"",
        "Error: ')' is missing: the '(' in line 2, column 5 is open. (syntax.tsl:2:7)\n  x = (1\n        ^\n",
        1}},
      {"missing.tsl", "", {"", "Error: Cannot open file 'missing.tsl'.\n", 1}},
      {"folder.tsl", "", {"", "Error: 'folder.tsl' is a folder, not a program.\n", 1}},
      {"good", "", {"", "Error: Cannot open file 'good'. Did you mean 'good.tsl'?\n", 1}},
      {"open.tsl",
       "",
       {"", "Error: Unexpected '=': the '[' in line 1, column 5 is open. (open.tsl:3:3)\n  b = 5;\n    ^\n",
        1}},
      {"--nosuch", "", {"", "Error: The option '--nosuch' is not known.\n", 1}},
      {"-e", "", {"", "Error: The option '-e' needs a text.\n", 1}},
      {"-e \"x = 2;\" -e \"disp(x)\"", "", {"     2\n", "", 0}},
      {"-e \"fprintf(2, 'lost %d', 5), fwrite(2, 10); fprintf('kept')\"", "", {"kept", "lost 5\n", 0}},
      {"-- good.tsl one", "", {"good\n     1\n", "", 0}},
      {"-e \"x = 1; x++\"",
       "",
       {"", "Error: There is no operator '++': write += 1. (-e:1:9)\n  x = 1; x++\n          ^\n", 1}},
      {"-e \"pause, disp(max(1, 2, 3, 4))\"",
       "",
       {"",
        "Error: Too many input arguments: 'max' takes 3 at most. (-e:1:13)\n  pause, disp(max(1, 2, 3, 4))\n"
        "              ^\n",
        1}},
      {"-e \"disp(3), error('boom')\"",
       "",
       {"     3\n", "Error: boom (-e:1:10)\n  disp(3), error('boom')\n           ^\n", 1}},
      {"-e \"disp(argv{1})\" word", "", {"word\n", "", 0}},
      {"-e \"warning('w:x', 'careful'), warning off, warning('no'), warning on, disp(['on' mfilename])\"",
       "",
       {"on\n", "Warning: careful\n", 0}},
      {"-e \"try, exit(3), catch, end, disp('never')\"", "", {"", "", 3}},
      {"-e \"exit(256)\"",
       "",
       {"", "Error: Function 'exit': the status must be from 0 to 255. (-e:1:1)\n  exit(256)\n  ^\n", 1}},
      {"-e \"disp(1); x = ;\"",
       "",
       {"", "Error: Unexpected ';'. (-e:1:14)\n  disp(1); x = ;\n               ^\n", 1}},
      {"-e \"eval('1 +')\"",
       "",
       {"",
        "Error: The program ends unexpectedly. (line 1, column 4 of the evaluated text) (-e:1:1)\n  eval('1 "
        "+')\n  ^\n",
        1}},
      {"",
       "x = 2;\ndisp(x)\nnosuch\n",
       {"     2\n", "Error: Undefined function or variable 'nosuch'. (stdin:3:1)\n  nosuch\n  ^\n", 1}},
      {"- one", "disp(argv{1})", {"one\n", "", 0}},
      {"-e \"x = 3; \tx /2y\"",
       "",
       {"", "Error: A number and a name must be separated. (-e:1:13)\n  x = 3; \tx /2y\n         \t    ^\n",
        1}},
      // What is raised again tells of the place where it arose, as far as that is known.
      {"-e \"try, nosuch, catch e, end\n      rethrow(e)\"",
       "",
       {"", "Error: Undefined function or variable 'nosuch'. (-e:1:1)\n  try, nosuch, catch e, end\n  ^\n", 1}},
      {"-e \"# nothing\nx = zerso(2)\"",
       "",
       {"",
        "Error: Undefined function or variable 'zerso'. Did you mean 'zeros'? (-e:2:5)\n  x = zerso(2)\n      "
        "^\n",
        1}},
      {"-e \"x = '\u00e4\u00f6\u00fc'; nosuch\"",
       "",
       {"",
        "Error: Undefined function or variable 'nosuch'. (-e:1:12)\n  x = '\u00e4\u00f6\u00fc'; nosuch\n       "
        "      ^\n",
        1}},
      {"-e \"y = \u201Ca\u201D\"",
       "",
       {"",
        "Error: Unexpected character '\u201C': write \" (quotation mark). (-e:1:5)\n  y = "
        "\u201Ca\u201D\n      ^\n",
        1}},
  };
  for (const Case& c : cases) {
    const Result result = run(c.arguments, c.input);
    std::string output = result.output;
    EXPECT_EQ(result.status, c.expected.status) << c.arguments;
    EXPECT_EQ(result.errors, c.expected.errors) << c.arguments;
    EXPECT_EQ(output, c.expected.output) << c.arguments;
  }
  for (const auto& [file, line] : {std::pair{"f.tsl", "3"}, {"-e", "0"}, {"-e", "9"}, {"-e", "2"}}) {
    const std::string place = fmt::format("struct('file', '{}', 'name', 'n', 'line', {})", file, line);
    const Result result =
        run("-e \"rethrow(struct('identifier', 'a:b', 'message', 'm', 'stack', " + place + "))\n\n\"");
    EXPECT_EQ(result.errors, fmt::format("Error: m ({}:{} in n)\n", file, line));
  }
}

TEST_F(Shell, TellsThatItsModuleIsMissing) {
  const Result result = runCommand("mkdir -p bin lib; cp '" TESSEL_SHELL "' bin; cp \"$(dirname '" TESSEL_SHELL
                                   "')\"/../lib/libtessel.so* lib; bin/tessel -e 'disp(1)'");
  EXPECT_EQ(result.status, 1);
  EXPECT_TRUE(result.errors.starts_with("Error: Library 'qfcore' cannot be loaded: ")) << result.errors;
}

TEST_F(Shell, OutputAndErrorsKeepTheirOrder) {
  write("order.tsl", "disp('a'), warning('b'), disp('c'), error('d')");
  const Result result = runCommand(kShell + "order.tsl 2>&1");
  EXPECT_EQ(result.output,
            "a\nWarning: b\nc\nError: d (order.tsl:1:37)\n  disp('a'), warning('b'), disp('c'), error('d')\n" +
                std::string(38, ' ') + "^\n");
}

TEST_F(Shell, LostOutputIsAnError) {
  const std::string lost = "Error: The output could not be written.";
  for (const char* program : {"-e 'disp(1)'", "-e 'disp(1), exit(0)'", "-e 'for k = 1:1e5, disp(k), end'",
                              "-e 'try, while true, disp(1), end, catch, end, exit'", "--help", "--version"}) {
    const Result result = runCommand(kShell + program + " >/dev/full");
    EXPECT_EQ(result.status, 1) << program;
    EXPECT_TRUE(result.errors.starts_with(lost)) << program << result.errors;
  }
  const Result file = runCommand(kShell + "-e \"f = fopen('/dev/full', 'w'); fprintf(f, 'x');\"");
  EXPECT_EQ(file.status, 1);
  EXPECT_EQ(file.errors, "Error: The file '/dev/full' could not be written: No space left on device.\n");
  EXPECT_EQ(runCommand(kShell + "-e \"f = fopen('/dev/full', 'w'); fprintf(f, 'x'); exit(3)\"").status, 3);
  const Result result = runCommand("{ " + kShell + "-e 'while true, disp(1), end'; echo $? >&2; } | true");
  EXPECT_EQ(result.errors, lost + " (-e:1:13)\n  while true, disp(1), end\n              ^\n1\n");
}

TEST_F(Shell, PromptReadsWhatIsNoTerminal) {
  write("callee.tsl", "function callee(), nosuch, end\n");
  write("typed",
        "x + 5\nx + 5\nx = )\ncallee\ntry, callee, catch e, end, getReport(e)\ntry, nosuch, catch e, end, "
        "getReport(e)\ny = [1\n");
  const std::string prompt = kShell + "-i -e 'x = 2;' <typed";
  const Result result = runCommand("unset TESSEL_HISTORY; HOME=\"$PWD\" " + prompt);
  const std::string undefined = "Error: Undefined function or variable 'nosuch'.";
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.errors, "Error: Unexpected ')'. (prompt:1:5)\n  x = )\n      ^\n" + undefined +
                               " (callee.tsl:1:20 in callee)\n  function callee(), nosuch, end\n" +
                               std::string(21, ' ') +
                               "^\nError: This '[' has no ']'. (prompt:1:5)\n  y = [1\n      ^\n");
  for (const std::string& text :
       {std::string("ans =\n\n     7\n"), undefined + " (callee.tsl:1 in callee)\n", undefined + "\n"})
    EXPECT_NE(result.output.find(text), std::string::npos) << result.output;
  EXPECT_EQ(result.output.find("tessel "), std::string::npos) << result.output;
  const std::string kept = readAll(folder_ / ".tessel_history");
  EXPECT_EQ(kept.find("x + 5\n#"), kept.rfind("x + 5\n")) << kept;
  EXPECT_NE(kept.find("x = )\n"), std::string::npos) << kept;
  for (const char* nowhere :
       {"TESSEL_HISTORY= ", "unset TESSEL_HISTORY; HOME= ", "unset TESSEL_HISTORY HOME; "})
    EXPECT_EQ(runCommand(nowhere + prompt).status, 0) << nowhere;
  EXPECT_EQ(readAll(folder_ / ".tessel_history"), kept);
}

/// A shell at a terminal.
class Terminal {
 public:
  explicit Terminal(const winsize* size = nullptr) : shell_(forkpty(&file_, nullptr, nullptr, size)) {
    // As a process's number, what stands for a failure would have the end of this reach every process there is.
    if (shell_ < 0) throw std::system_error(errno, std::generic_category(), "no terminal can be opened");
    if (shell_ == 0) {
      execl(TESSEL_SHELL, TESSEL_SHELL, nullptr);
      _exit(127);
    }
  }
  ~Terminal() {
    // A shell that ends by itself tells what it has run, in builds that count that.
    type("\025exit\n");
    pollfd source{file_, POLLIN, 0};
    char buffer[4096];
    while (poll(&source, 1, 5000) == 1 && read(file_, buffer, sizeof buffer) > 0) {
    }
    kill(shell_, SIGKILL);
    waitpid(shell_, nullptr, 0);
    close(file_);
  }
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  void type(const std::string& text) {
    ASSERT_EQ(write(file_, text.data(), text.size()), ssize_t(text.size()));
  }
  /// Reads until `text` has come; false when it does not come within 20 seconds, which is far more than it
  /// takes.
  bool await(const std::string& text) {
    pollfd source{file_, POLLIN, 0};
    char buffer[4096];
    while (seen_.find(text) == std::string::npos) {
      if (poll(&source, 1, 20000) != 1) return false;
      const ssize_t count = read(file_, buffer, sizeof buffer);
      if (count <= 0) return false;
      seen_.append(buffer, static_cast<std::size_t>(count));
    }
    seen_.erase(0, seen_.find(text) + text.size());
    return true;
  }
  /// Seconds that all threads of the shell have had a processor.
  double processorTime() const {
    clockid_t clock = 0;
    timespec time{};
    if (clock_getcpuclockid(shell_, &clock) != 0 || clock_gettime(clock, &time) != 0) return NAN;
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
  }
  /// Seconds that have passed, without those for which the shell, or this program, was waiting for a processor.
  double timeAwayFromQueues() const {
    const std::chrono::duration<double> now = std::chrono::steady_clock::now().time_since_epoch();
    double had = 0, waitedFor = 0, waited = 0;
    for (const std::string& process : {std::to_string(shell_), std::string("self")}) {
      std::ifstream("/proc/" + process + "/schedstat") >> had >> waitedFor;
      waited += waitedFor;
    }
    return now.count() - waited * 1e-9;
  }

 private:
  int file_ = -1;
  pid_t shell_;
  std::string seen_;
};

#ifndef __SANITIZE_ADDRESS__  // which takes more addresses than any limit
TEST_F(Shell, TellsOfFilesThatAreLongerThanItsMemory) {
  for (const char* call : {"/dev/zero", "-e \"fileread('/dev/zero')\"", "-e \"fread(fopen('/dev/zero'))\""}) {
    const Result result = runCommand("ulimit -v 300000; " + kShell + call);
    EXPECT_EQ(result.status, 1) << call;
    EXPECT_TRUE(result.errors.starts_with("Error: ") && result.errors.find("memory") < 40) << result.errors;
  }
  write("long.tsl", std::string(20'000'000, ';'));
  EXPECT_EQ(runCommand("ulimit -v 300000; " + kShell + "long.tsl").errors, "Error: Out of memory.\n");
}

TEST_F(Shell, RecursionEndsBeforeTheStackDoes) {
  for (const char* limit : {"200", "1000", "unlimited"}) {
    const Result result = runCommand("ulimit -s " + std::string(limit) + "; " + kShell +
                                     "-e \"function r = f(n), r = [f(n + 1) {cellfun(@f, {n})}]; end\nf(1)\"");
    EXPECT_EQ(result.status, 1) << limit;
    EXPECT_TRUE(result.errors.starts_with("Error: The calls are nested too deeply")) << limit << result.errors;
  }
}
#endif

TEST_F(Shell, FitsItsTerminal) {
  unsetenv("NO_COLOR");
  setenv("TERM", "xterm", 1);
  setenv("PAGER", "sed s/^/paged:/", 1);
  const winsize size{12, 40, 0, 0};
  Terminal terminal(&size);
  ASSERT_TRUE(terminal.await(">> "));
  terminal.type("1:12\n");
  EXPECT_TRUE(terminal.await("Columns 1 through 6"));
  terminal.type("error('a:b', 'red')\n");
  EXPECT_TRUE(terminal.await("\x1b[1;31mError:\x1b[0m red"));
  terminal.type("help\n");
  EXPECT_TRUE(terminal.await("paged:"));
  terminal.type("help sin\n");
  EXPECT_TRUE(terminal.await("sin(x): the sine")) << "shorter than the screen";
  terminal.type("x = evalc('help'); x(1:9)\n");
  EXPECT_TRUE(terminal.await("help NAME")) << "for no screen at all";
  // Without a pager of one's own there is the usual one; without any, or a height, the shell prints.
  for (const char* pager : {"", "no_such_pager", "paged", "unset"}) {
    std::string_view(pager) == "unset" ? unsetenv("PAGER") : setenv("PAGER", pager, 1);
    Terminal other(pager == std::string("paged") ? nullptr : &size);
    ASSERT_TRUE(other.await(">> "));
    other.type("help\n");
    EXPECT_TRUE(other.await("explains a function")) << pager;
    other.type("q\n");
  }
}

TEST_F(Shell, ShowsNoColoursWhereTheyAreNotWanted) {
  const struct {
    const char *refusal, *terminal, *expected;
  } cases[] = {{"", "xterm", "\x1b[1;31mError:\x1b[0m red"},
               {"1", "xterm", "Error: red"},
               {"", "dumb", "Error: red"},
               {"", nullptr, "Error: red"}};
  for (const auto& each : cases) {
    setenv("NO_COLOR", each.refusal, 1);
    each.terminal ? setenv("TERM", each.terminal, 1) : unsetenv("TERM");
    Terminal terminal;
    ASSERT_TRUE(terminal.await(">> "));
    terminal.type("error('a:b', 'red')\n");
    EXPECT_TRUE(terminal.await(each.expected)) << each.refusal << " " << each.expected;
  }
  unsetenv("NO_COLOR");
}

// Within half a second. What computes is timed by its processors, what waits by the clock: a busy machine gives
// processors late, and none of that is the shell's.
TEST_F(Shell, InterruptEndsWhatRunsForLong) {
  constexpr double kLimit = 0.5 * TESSEL_SLOWNESS;
  Terminal terminal;
  ASSERT_TRUE(terminal.await("'help' lists what there is"));
  ASSERT_TRUE(terminal.await(">> "));
  // As the last statement of a line: what is not interrupted itself would end with nothing said. Arrays are of
  // less than a hundred megabytes: virtual machines may take seconds to give a process more for the first time.
  for (const char* call :
       {"pause(100)", "x = ones(3500); x = x * x", "x = int8(ones(2000)); x = x * x",
        "x = repmat([3 1 2], 1, 4e6); x = sort(x)", "x = sprintf('%d', ones(1, 1.2e7))",
        "x = fileread('/dev/zero')", "for k = 1:1e11, end", "x = fi(ones(1, 1e5), 1, 16); x = conv(x, x)",
        "b = x(1:5e4); x = filter(b, 1, x)", "s = fi(repmat([1 0 0 1 0 0], 2e4, 1), 1, 16); x = sosfilt(s, x)",
        "x = fi(ones(1, 2e4) * 1i, 1, 16); x = conv(x, x)", "b = x(1:1e4); x = filter(b, 1, x)"}) {
    const std::string text(call);
    const std::size_t last = text.rfind("; ") == std::string::npos ? 0 : text.rfind("; ") + 2;
    terminal.type(text.substr(0, last) + "disp(7 * 11111), " + text.substr(last) + ";\n");
    ASSERT_TRUE(terminal.await("77777")) << call;
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    const auto now = [&] {
      return text.starts_with("pause") ? terminal.timeAwayFromQueues() : terminal.processorTime();
    };
    const double before = now();
    terminal.type("\x03");
    ASSERT_TRUE(terminal.await("Error: Interrupted.")) << call;
    EXPECT_LT(now() - before, kLimit) << call;
  }
}

TEST_F(Shell, InterruptEndsAProgram) {
  const Result result = runCommand(kShell + "-e 'disp(1), pause(100)' & sleep 1; kill -INT $!; wait $!");
  EXPECT_EQ(result.status, 130);
  EXPECT_EQ(result.output, "     1\n");
}

TEST_F(Shell, TabulatorCompletes) {
  write("zero program.tsl", "");
  write("zero.tsl", "");
  write("hours.tsl", "function y = hours(x), y = x; end");
  write("only.dat", "");
  fs::current_path(folder_);
  Terminal terminal;
  ASSERT_TRUE(terminal.await(">> "));
  terminal.type("a = fi(1); s.one.two = 1; n = 5; v = struct('f', {1, 2});\n");
  for (const auto& [typed, completed] : {std::pair{"a.WordL\t", "ength"},
                                         {"a.RoundMode = 'conv\t", "ergent"},
                                         {"fi(1, 'OverflowMode', 'sat\t", "urate"},
                                         {"fipref('Log\t", "gingMode"},
                                         {"plot(1, 'LineW\t", "idth"},
                                         {"a.numerictype.SlopeA\t", "djustmentFactor"},
                                         {"s.one.t\t", "wo"},
                                         {"source zero.\t", "tsl"},
                                         {"load on\t", "ly.dat"},
                                         {"help on\t", "es"},
                                         {"help hou\t;", "rs;"},
                                         {"y = hou\t", "rs"},
                                         {"fileread('zero p\t", "rogram.tsl"},
                                         {"set(a, 'RoundM\t", "ode"},
                                         {"fi('OverflowM\t", "ode"},
                                         {"fipref(\"Log\t", "gingMode"},
                                         {"embedded.numerict\t", "ype"},
                                         {"numel(hou\t", "rs"},
                                         {"numel(1) + hou\t", "rs"},
                                         {"x) + hou\t", "rs"},
                                         {"'t', n' + (n)' + [1]' + n'' + hou\t", "rs"},
                                         {"if hou\t", "rs"},
                                         {"disp hou\t", "rs"},
                                         {"disp leadings\t", "igns"},
                                         // Names of files, where nothing is known of the values.
                                         {"a.WordLength = 'on\t", "ly.dat"},
                                         {"n.b = 'on\t", "ly.dat"},
                                         {"a_b('on\t", "ly.dat"},
                                         {"fi(1, 'WordLength', 'on\t", "ly.dat"},
                                         // Nothing: the bell.
                                         {"n.x.y\t", "\a"},
                                         {"v.f.g\t", "\a"},
                                         {"s.none.x\t", "\a"},
                                         {"a.nosuch.x\t", "\a"},
                                         {"a.WordLength.x\t", "\a"},
                                         {"nosuch.x\t", "\a"},
                                         {"leadings\t", "igns"}}) {
    ASSERT_TRUE(terminal.await(">> ")) << typed;
    terminal.type(typed);
    EXPECT_TRUE(terminal.await(completed)) << typed;
    terminal.type("\x15\n");
  }
  fs::current_path("/");
}

TEST_F(Shell, InterruptGivesUpWhatIsTyped) {
  Terminal terminal;
  ASSERT_TRUE(terminal.await(">> "));
  terminal.type("x = [1\n");
  ASSERT_TRUE(terminal.await("   "));
  terminal.type("2 3\x03");
  ASSERT_TRUE(terminal.await(">> "));
  terminal.type("disp(7 * 11111)\n");
  EXPECT_TRUE(terminal.await("77777"));
}

TEST_F(Shell, PauseWaitsForEnter) {
  Terminal terminal;
  ASSERT_TRUE(terminal.await(">> "));
  terminal.type("disp(7 * 11111), pause, disp(7 * 22222)\n");
  ASSERT_TRUE(terminal.await("77777"));
  std::this_thread::sleep_for(std::chrono::milliseconds(120));
  terminal.type("\n");
  EXPECT_TRUE(terminal.await("155554"));
  // So does the end of what is typed.
  terminal.type("disp(3 * 11111), pause, disp(3 * 22222)\n");
  ASSERT_TRUE(terminal.await("33333"));
  terminal.type("\x04");
  EXPECT_TRUE(terminal.await("66666"));
}

/// The prompt needs a terminal, which `script` gives.
TEST_F(Shell, PromptGathersUnfinishedBlocks) {
  if (std::system("command -v script >/dev/null 2>&1") != 0)
    GTEST_SKIP() << "no program to make a terminal with";
  write("typed",
        "x = 5;\nfor k = 1:2\ndisp(k * 100)\nend\nerror('boom')\ny = [1\n2];\ndisp(x + sum(y))\nexit(4)\n");
  const std::string command = "cd '" + folder_.string() +
                              "' && script -qec \"'" TESSEL_SHELL
                              "' --no-module\" /dev/null <typed >session 2>&1";
  const int status = std::system(command.c_str());
  const std::string session = readAll(folder_ / "session");
  EXPECT_EQ(WEXITSTATUS(status), 4) << session;
  std::size_t place = 0;
  for (const char* text : {"100", "200", "Error: boom\r\n", "8"}) {
    place = session.find(text, place);
    ASSERT_NE(place, std::string::npos) << text << " is missing in:\n" << session;
  }
  EXPECT_NE(readAll(folder_ / "history").find("for k = 1:2\ndisp(k * 100)\nend\n#"), std::string::npos);
}

/// A gnuplot that has windows and keeps what it is told.
constexpr const char* kRecorder = "cat >>\"$0.log\"\necho ' qt svg '\n";

TEST_F(Shell, FiguresAreShownInWindowsWhereThereIsAScreen) {
  writeGnuplot(kRecorder);
  const std::string onScreen = "DISPLAY=:1 PATH=\"$PWD:$PATH\" " + kShell;
  const Result shown = runCommand(onScreen + "-e \"plot([1 2]), figure(3), close(1), figure(2)\"; sleep 0.2");
  EXPECT_EQ(shown.errors + shown.output, "");
  const std::string told = readAll(folder_ / "gnuplot.log");
  EXPECT_NE(told.find("set terminal qt 3 "), std::string::npos) << told;
  EXPECT_NE(told.find("title 'Figure 2'"), std::string::npos) << told;
  EXPECT_EQ(told.find("set terminal qt 1 "), std::string::npos) << told;
  const Result without = runCommand("env -u DISPLAY -u WAYLAND_DISPLAY " + kShell + "-e \"plot(1)\"");
  EXPECT_EQ(without.errors,
            "Warning: No window can show the figure here; print('picture.svg') writes it to a file.\n");
  for (const char* program : {"print('a.svg')", "plot(1)"}) {
    const Result missing = runCommand("DISPLAY=:1 PATH=/nonexistent " + kShell + "-e \"" + program + "\"");
    EXPECT_NE(missing.errors.find("Install the package gnuplot-nox."), std::string::npos) << missing.errors;
    EXPECT_EQ(missing.status, 1);
  }
}

TEST_F(Shell, WindowsFollowTheirFigures) {
  // Windows outlive the shell, and have written what they were told some time after its end.
  const auto until = [](const std::string& line, const std::string& file) {
    return "; for k in $(seq 100); do grep -q '" + line + "' " + file + " && break; sleep 0.1; done";
  };
  writeGnuplot(kRecorder);
  runCommand("DISPLAY= WAYLAND_DISPLAY=w PATH=\"$PWD:$PATH\" " + kShell +
             "-e \"figure('Name', 'mine'), plot(1), drawnow, drawnow, close, drawnow, drawnow\"" +
             until("close", "gnuplot.log"));
  const std::string told = readAll(folder_ / "gnuplot.log");
  const std::size_t title = told.find("title 'mine'"), end = told.find("set terminal qt 1 close");
  ASSERT_TRUE(title != std::string::npos && end != std::string::npos) << told;
  EXPECT_LT(title, end);
  EXPECT_EQ(title, told.rfind("title 'mine'"));
  EXPECT_EQ(end, told.rfind("set terminal qt 1 close"));
  // One that ends without reading is started again, once.
  const std::string kinds = "[ \"$2\" = -persist ] || { cat >/dev/null; echo ' qt '; exit; }\n";
  writeGnuplot(kinds + "[ -e once ] || { touch once; exit; }\ncat >again\n");
  runCommand("DISPLAY=:1 PATH=\"$PWD:$PATH\" " + kShell + "-e 'plot(1), drawnow, plot(1:50000)'" +
             until("^plot", "again"));
  EXPECT_NE(readAll(folder_ / "again").find("\n50000 50000\nEOD\nplot "), std::string::npos);
}

TEST_F(Shell, TellsWhyThereIsNoPicture) {
  const std::string kinds = "[ \"$2\" = -persist ] || { /bin/cat >/dev/null; echo ' qt '; exit; }\n";
  const std::string lost = "gnuplot could not draw the picture: ", print = "plot(1), print('a.svg')";
  const struct {
    std::string gnuplot, limit, program, error;
  } cases[] = {{"echo 'no font' >&2; exit 1\n", "", print, lost + "no font"},
               {"exit 0\n", "", print, lost + "it has drawn nothing"},
               {"exit 0\n", "exec 3>&- 4>&- 5>&- 6>&- 7>&- 8>&- 9>&-; ulimit -n 5;", print,
                lost + "no temporary file: Too many open files"},
               {"echo ' svg '\n", "", "plot(1)", "Warning: No window can show the figure here"},
               {kinds, "", "plot(1:50000)", lost + "it does not take commands"},
               {"/bin/cat >/dev/null; echo ' qt '; /bin/rm \"$0\"\n", "", "plot(1)",
                "Install the package gnuplot-nox."}};
  for (const auto& [gnuplot, limit, program, error] : cases) {
    writeGnuplot(gnuplot);
    const Result result = runCommand(limit + " DISPLAY=:1 PATH=\"$PWD\" " + kShell + "-e \"" + program + "\"");
    EXPECT_NE(result.errors.find(error), std::string::npos) << error << "\n" << result.errors;
    EXPECT_FALSE(fs::exists(folder_ / "a.svg"));
  }
}

TEST_F(Shell, ThreadsAreAsManyAsTheEnvironmentSays) {
  const auto threads = [&](const std::string& setting) {
    return runCommand("env " + setting + " '" TESSEL_SHELL "' -e \"fprintf('%d', feature('Threads'))\"").output;
  };
  EXPECT_EQ(threads("QFCORE_THREADS=3"), "3");
  EXPECT_EQ(threads("QFCORE_THREADS=1000000"), "1024");
  EXPECT_EQ(threads("QFCORE_THREADS=0"), threads("-u QFCORE_THREADS"));
}

TEST_F(Shell, VersionAndHelp) {
  EXPECT_EQ(run("--version").output.rfind("tessel ", 0), 0u);
  EXPECT_NE(run("--help").output.find("SCRIPT.tsl"), std::string::npos);
}

}  // namespace
