#include "tests/scripts/golden.h"

#include <cstdio>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>

#include "fmt/format.h"

namespace tessel {
namespace {

std::string quoted(const std::string& text) {
  std::string result = "'";
  for (const char c : text) result += c == '\'' ? "'\\''" : std::string(1, c);
  return result + "'";
}

}  // namespace

std::filesystem::path goldenFile(const std::filesystem::path& script) {
  return std::filesystem::path(script).replace_extension(".expected");
}

std::string shellOutput(const std::filesystem::path& script, bool withoutModule) {
  const std::filesystem::path shell = std::filesystem::read_symlink("/proc/self/exe").parent_path() / "tessel";
  const std::string command = fmt::format(
      "cd {} && {} {}{} 2>&1 </dev/null", quoted(absolute(script).parent_path().string()),
      quoted(shell.string()), withoutModule ? "--no-module " : "", quoted(script.filename().string()));
  std::FILE* pipe = popen(command.c_str(), "r");
  if (!pipe) throw std::runtime_error("The shell cannot be started.");
  std::string output;
  char block[4096];
  while (const std::size_t count = std::fread(block, 1, sizeof block, pipe)) output.append(block, count);
  pclose(pipe);
  return output;
}

bool matchesGolden(const std::filesystem::path& script, const std::string& output) {
  std::ifstream stream(goldenFile(script), std::ios::binary);
  const std::string golden{std::istreambuf_iterator<char>(stream), {}};
  if (golden == output) return true;
  std::istringstream expectedLines(golden), actualLines(output);
  std::string expected, actual;
  for (int line = 1;; ++line) {
    const bool hasExpected = static_cast<bool>(std::getline(expectedLines, expected));
    const bool hasActual = static_cast<bool>(std::getline(actualLines, actual));
    if (hasExpected && hasActual && expected == actual) continue;
    const std::string place = fmt::format("{}:{}", goldenFile(script).string(), line);
    std::fputs(fmt::format("{}:\n  expected: {}\n  actual:   {}\n", place, hasExpected ? expected : "(the end)",
                           hasActual ? actual : "(the end)")
                   .c_str(),
               stdout);
    return false;
  }
}

void writeGolden(const std::filesystem::path& script, const std::string& output) {
  std::ofstream(goldenFile(script), std::ios::binary) << output;
}

}  // namespace tessel
