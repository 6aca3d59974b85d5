/// The program `tessel_expect`: checks scripts against the expectations in them and beside them.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "fmt/format.h"
#include "tessel/language/lexer.h"
#include "tessel/module.h"
#include "tests/scripts/expectations.h"
#include "tests/scripts/golden.h"
#include "tests/scripts/statement_check.h"

namespace tessel {
namespace {

struct Options {
  std::vector<std::string> files;
  bool withoutModule = false;
  bool isUpdate = false;
};

std::string readFile(const std::string& file) {
  std::ifstream stream(file, std::ios::binary);
  if (!stream) throw std::runtime_error("The file cannot be read.");
  return {std::istreambuf_iterator<char>(stream), {}};
}

bool checkFile(const std::string& file, const Options& options) {
  const std::string source = readFile(file);
  const bool hasComments = !readExpectations(tokenize(source).comments).empty();
  const bool hasGolden = std::filesystem::exists(goldenFile(file)) || (options.isUpdate && !hasComments);
  if (!hasComments && !hasGolden) throw std::runtime_error("The file expects nothing.");
  bool isGood = true;
  if (hasGolden) {
    const std::string output = shellOutput(file, options.withoutModule);
    if (options.isUpdate) writeGolden(file, output);
    isGood = matchesGolden(file, output);
  }
  if (hasComments) {
    const CheckResult result = checkStatements(source, file);
    std::printf("%s: %d expectations, %d failures\n", file.c_str(), result.expectationCount,
                result.failureCount);
    isGood = isGood && result.failureCount == 0;
  }
  return isGood;
}

bool checkFiles(const Options& options) {
  bool isGood = true;
  for (const std::string& file : options.files) {
    try {
      isGood = checkFile(file, options) && isGood;
    } catch (const SyntaxError& error) {
      std::printf("%s:%d:%d: %s\n", file.c_str(), error.line(), error.column(), error.what());
      isGood = false;
    } catch (const std::exception& error) {
      std::printf("%s: %s\n", file.c_str(), error.what());
      isGood = false;
    }
  }
  return isGood;
}

}  // namespace
}  // namespace tessel

/// Called with scripts. `--no-module` starts without the module; `--update` rewrites NAME.expected, and makes
/// it for a script without comments.
int main(int argc, char** argv) {
  tessel::Options options;
  for (const std::string word : std::span(argv, static_cast<std::size_t>(argc)).subspan(1)) {
    if (word == "--no-module")
      options.withoutModule = true;
    else if (word == "--update")
      options.isUpdate = true;
    else
      options.files.push_back(word);
  }
  try {
    if (options.files.empty())
      throw std::runtime_error("usage: tessel_expect [--no-module] [--update] SCRIPT.tsl...");
    if (!options.withoutModule) tessel::loadModule("qfcore");
  } catch (const std::exception& error) {
    std::printf("%s\n", error.what());
    return 1;
  }
  return tessel::checkFiles(options) ? 0 : 1;
}
