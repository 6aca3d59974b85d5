// The direction of dependence: which folder may include which, where multiprecision headers belong, and that no
// header reaches itself.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

constexpr const char* kBoundary = "tessel/include/tessel/";

/// What the files below `folder` may include: files whose path starts with one of `mayInclude` and with none of
/// `butNot`. All paths are seen from the root; the first rule whose folder a file lies in holds.
struct Rule {
  std::string folder;
  std::vector<std::string> mayInclude, butNot = {};
};

constexpr const char* kPaths = "qfcore/fi/paths/";

std::string boundary(const std::string& header = "") { return kBoundary + header; }

const std::vector<Rule>& rules() {
  static const std::vector<Rule> table = [] {
    std::vector<Rule> rows = {
        {kBoundary, {boundary()}},
        {"tessel/runtime/", {"tessel/runtime/", boundary()}},
        {"tessel/pictures/",
         {"tessel/pictures/", boundary("interruption.h"), boundary("messages.h"), boundary("api.h")}},
        {"tessel/language/", {"tessel/language/", "tessel/pictures/", "tessel/runtime/", boundary()}},
        {"tessel/shell/",
         {"tessel/shell/", "tessel/language/", "tessel/pictures/", "tessel/runtime/", boundary()}},
        {"qfcore/number/",
         {"qfcore/number/", boundary("console.h"), boundary("freelist.h"), boundary("memory.h"),
          boundary("threadend.h")}},
    };
    std::vector<std::string> lower = {"qfcore/number/"};
    for (const char* header :
         {"api.h", "array.h", "console.h", "interpreter.h", "memory.h", "messages.h", "threadend.h"})
      lower.push_back(boundary(header));
    for (const char* folder : {"qfcore/types/", "qfcore/logging/", "qfcore/math/", "qfcore/fi/"}) {
      // What moves elements, runs for long or multiplies matrices is an operation of arrays.
      if (folder == std::string("qfcore/fi/"))
        for (const char* header : {"arrangement.h", "interruption.h", "products.h"})
          lower.push_back(boundary(header));
      lower.push_back(folder);
      rows.push_back({folder, lower});
    }
    // The paths serve the sources of the array's operations and nothing else: neither what the module shows of
    // itself nor the host knows them. They know the array, its types and the bits that values need, and no
    // operation.
    lower.pop_back();
    for (const char* header :
         {kPaths, "qfcore/fi/fi.h", "qfcore/fi/exactness.h", "qfcore/fi/scratch.h", "qfcore/fi/radixtext.h"})
      lower.push_back(header);
    rows.insert(rows.begin(), {kPaths, lower});
    // What the array shows of itself.
    for (const char* face :
         {"qfcore/fi/fi.h", "qfcore/fi/heldarray.h", "qfcore/fi/arrayshape.h", "qfcore/fi/arrayformat.h"})
      rows.insert(rows.begin(), {face,
                                 {"qfcore/fi/fi", "qfcore/fi/heldarray.h", "qfcore/fi/array", "qfcore/math/",
                                  "qfcore/logging/", "qfcore/types/", "qfcore/number/", boundary()}});
    rows.push_back({"qfcore/host/", {"qfcore/", boundary()}, {kPaths}});
    rows.push_back({"qfcore/qfcore.h", {"qfcore/"}, {kPaths}});
    // Python sees what a program of its own would: the boundary, arrays and records, and no binding but the
    // tables.
    rows.push_back({"python/",
                    {"python/", "qfcore/fi/fi.h", "qfcore/host/exchange.h", "qfcore/host/module.h",
                     "qfcore/logging/savedrecord.h", boundary()}});
    return rows;
  }();
  return table;
}

/// A source file: its path from the root, and its text.
using Sources = std::map<std::string, std::string>;

bool startsWithAny(const std::string& path, const std::vector<std::string>& prefixes) {
  for (const std::string& prefix : prefixes)
    if (path.starts_with(prefix)) return true;
  return false;
}

bool mayIncludeMultiprecision(const std::string& path) {
  return path.starts_with("qfcore/number/") && fs::path(path).filename().string().starts_with("mp");
}

/// The file of the tree that an include in quotes names; empty when there is none.
std::string resolve(const Sources& sources, const std::string& written) {
  for (const std::string& candidate : {written, "tessel/include/" + written})
    if (sources.contains(candidate)) return candidate;
  return "";
}

/// Headers outside the paths would hand them on to whoever includes them.
bool isPathForHeader(const std::string& path, const std::string& target) {
  return target.starts_with(kPaths) && !path.starts_with(kPaths) && path.ends_with(".h");
}

/// What is wrong with one include of `path`; empty when nothing is.
std::string fault(const Sources& sources, const std::string& path, bool inQuotes, const std::string& written) {
  static const std::set<std::string> multiprecision = {"mpfr.h", "gmp.h", "gmpxx.h", "mpf2mpfr.h"};
  if (multiprecision.contains(written))
    return mayIncludeMultiprecision(path) ? "" : "only the multiprecision files know " + written;
  const std::string target = resolve(sources, written);
  if (target.empty()) return inQuotes ? "in quotes, but no file of the tree: " + written : "";
  for (const Rule& rule : rules())
    if (path.starts_with(rule.folder))
      return startsWithAny(target, rule.mayInclude) && !startsWithAny(target, rule.butNot) &&
                     !isPathForHeader(path, target)
                 ? ""
                 : rule.folder + " must not know " + target;
  return "no rule for the folder of this file";
}

struct Findings {
  std::vector<std::string> faults;                        ///< "file:line: what is wrong"
  std::map<std::string, std::vector<std::string>> graph;  ///< file -> files of the tree that it includes
};

Findings readIncludes(const Sources& sources) {
  Findings found;
  for (const auto& [path, text] : sources) {
    std::istringstream lines(text);
    char opening = 0, name[256];
    std::string line;
    for (int number = 1; std::getline(lines, line); ++number) {
      if (std::sscanf(line.c_str(), " # include %c%255[^>\"]", &opening, name) != 2) continue;
      const std::string problem = fault(sources, path, opening == '"', name);
      if (!problem.empty()) found.faults.push_back(path + ":" + std::to_string(number) + ": " + problem);
      if (std::string target = resolve(sources, name); !target.empty()) found.graph[path].push_back(target);
    }
  }
  return found;
}

/// One fault for each include that closes a circle.
std::vector<std::string> circles(const std::map<std::string, std::vector<std::string>>& graph) {
  std::vector<std::string> found;
  std::set<std::string> done, open;
  std::function<void(const std::string&)> visit = [&](const std::string& path) {
    if (done.contains(path)) return;
    open.insert(path);
    if (auto node = graph.find(path); node != graph.end())
      for (const std::string& next : node->second) {
        if (open.contains(next))
          found.push_back(path + ": includes " + next + ", which reaches it again");
        else
          visit(next);
      }
    open.erase(path);
    done.insert(path);
  };
  for (const auto& [path, targets] : graph) visit(path);
  return found;
}

std::vector<std::string> violations(const Sources& sources) {
  Findings found = readIncludes(sources);
  for (std::string& circle : circles(found.graph)) found.faults.push_back(std::move(circle));
  return found.faults;
}

Sources readTree(const fs::path& root) {
  Sources sources;
  for (const char* top : {"tessel", "qfcore", "python"})
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(root / top)) {
      const std::string ending = entry.path().extension().string();
      if (!entry.is_regular_file() || (ending != ".h" && ending != ".cpp")) continue;
      std::ostringstream text;
      text << std::ifstream(entry.path()).rdbuf();
      sources[entry.path().lexically_relative(root).string()] = text.str();
    }
  return sources;
}

TEST(IncludeRules, TheTreeKeepsThem) {
  const Sources sources = readTree(QFCORE_SOURCE_ROOT);
  for (const Rule& rule : rules()) {
    const auto first = sources.lower_bound(rule.folder);
    EXPECT_TRUE(first != sources.end() && first->first.starts_with(rule.folder))
        << "no file in " << rule.folder;
  }
  for (const std::string& violation : violations(sources)) ADD_FAILURE() << violation;
}

TEST(IncludeRules, EachBreachIsFoundAtItsLine) {
  struct Case {
    std::string path, line, expected;  // `expected` is empty where the line is allowed
  };
  const std::string number = "qfcore/number/number.h", object = "tessel/include/tessel/objects.h",
                    blocks = "qfcore/fi/paths/blocks.h";
  const Case cases[] = {
      {"tessel/runtime/a.cpp", "#include \"qfcore/number/number.h\"",
       "tessel/runtime/ must not know " + number},
      {"tessel/runtime/a.cpp", "#include \"tessel/language/parser.h\"",
       "must not know tessel/language/parser.h"},
      {"tessel/language/a.cpp", "#include \"tessel/runtime/loader.h\"", ""},
      {"tessel/shell/a.cpp", "#include \"tessel/language/parser.h\"", ""},
      {"tessel/pictures/a.cpp", "#include \"tessel/array.h\"", "must not know tessel/include/tessel/array.h"},
      {"tessel/include/tessel/a.h", "#include \"tessel/runtime/loader.h\"",
       "must not know tessel/runtime/loader.h"},
      {"qfcore/host/a.cpp", "#include \"tessel/runtime/loader.h\"", "must not know tessel/runtime/loader.h"},
      {"qfcore/host/a.cpp", "#include \"tessel/objects.h\"", ""},
      {"qfcore/fi/a.cpp", "#include \"tessel/objects.h\"", "qfcore/fi/ must not know " + object},
      {"qfcore/fi/a.cpp", "#include <tessel/objects.h>", "qfcore/fi/ must not know " + object},
      {"qfcore/fi/a.cpp", "  # include \"tessel/objects.h\"  // why", "qfcore/fi/ must not know " + object},
      {"qfcore/fi/a.cpp", "#include \"qfcore/math/fimath.h\"", ""},
      {"qfcore/fi/a.cpp", "#include \"qfcore/fi/paths/blocks.h\"", ""},
      {"qfcore/fi/a.h", "#include \"qfcore/fi/paths/blocks.h\"", "qfcore/fi/ must not know " + blocks},
      {"qfcore/fi/fi.h", "#include \"qfcore/fi/paths/blocks.h\"", "must not know " + blocks},
      {"qfcore/host/a.cpp", "#include \"qfcore/fi/paths/blocks.h\"", "must not know " + blocks},
      {"qfcore/fi/paths/a.cpp", "#include \"qfcore/fi/messages.h\"", "must not know qfcore/fi/messages.h"},
      {"qfcore/types/a.cpp", "#include \"qfcore/math/fimath.h\"", "must not know qfcore/math/fimath.h"},
      {"qfcore/types/a.cpp", "#include \"tessel/array.h\"", ""},
      {"qfcore/number/a.cpp", "#include \"tessel/array.h\"", "must not know tessel/include/tessel/array.h"},
      {"qfcore/number/a.cpp", "#include \"tessel/console.h\"", ""},
      {"qfcore/number/a.cpp", "#include <mpfr.h>", "only the multiprecision files know mpfr.h"},
      {"qfcore/number/compare.cpp", "#include <gmp.h>", "only the multiprecision files know gmp.h"},
      {"qfcore/fi/mpa.cpp", "#include <gmp.h>", "only the multiprecision files know gmp.h"},
      {"qfcore/number/mpa.cpp", "#include <mpfr.h>", ""},
      {"qfcore/number/a.cpp", "#include \"number.h\"", "in quotes, but no file of the tree: number.h"},
      {"qfcore/number/a.cpp", "// #include \"tessel/array.h\"", ""},
      {"qfcore/number/a.cpp", "#include <vector>", ""},
      {"qfcore/extra/a.cpp", "#include \"qfcore/number/number.h\"", "no rule for the folder"},
  };
  for (const Case& c : cases) {
    Sources sources = {{number, ""},
                       {object, ""},
                       {"qfcore/math/fimath.h", ""},
                       {blocks, ""},
                       {"qfcore/fi/messages.h", ""},
                       {"tessel/include/tessel/array.h", ""},
                       {"tessel/include/tessel/console.h", ""},
                       {"tessel/language/parser.h", ""},
                       {"tessel/runtime/loader.h", ""}};
    sources[c.path] = "#pragma once\n" + c.line + "\n";
    const std::vector<std::string> found = violations(sources);
    ASSERT_EQ(found.size(), c.expected.empty() ? 0u : 1u) << c.path << ": " << c.line;
    if (found.empty()) continue;
    EXPECT_TRUE(found[0].starts_with(c.path + ":2: ")) << found[0];
    EXPECT_NE(found[0].find(c.expected), std::string::npos) << found[0] << "\nexpected: " << c.expected;
  }
}

TEST(IncludeRules, ACircleIsFound) {
  Sources sources = {{"qfcore/fi/a.h", "#include \"qfcore/fi/b.h\"\n"},
                     {"qfcore/fi/b.h", "#include \"qfcore/fi/c.h\"\n#include \"qfcore/fi/d.h\"\n"},
                     {"qfcore/fi/c.h", "#include \"qfcore/fi/d.h\"\n"},
                     {"qfcore/fi/d.h", ""},
                     {"qfcore/fi/e.h", "#include \"qfcore/fi/b.h\"\n"}};
  EXPECT_TRUE(violations(sources).empty());
  sources["qfcore/fi/d.h"] = "#include \"qfcore/fi/b.h\"\n";
  EXPECT_EQ(violations(sources),
            std::vector<std::string>{"qfcore/fi/d.h: includes qfcore/fi/b.h, which reaches it again"});
}

}  // namespace
