#include "tests/scripts/expectations.h"

#include "fmt/format.h"
#include "tessel/messages.h"

namespace tessel {
namespace {

constexpr std::string_view kMark = "% expect";

bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

/// Takes `prefix` off the front of `text`; false when it is not there.
bool takePrefix(std::string_view& text, std::string_view prefix) {
  if (!text.starts_with(prefix)) return false;
  text.remove_prefix(prefix.size());
  return true;
}

Expectation readMessage(Expectation::Kind kind, std::string_view rest) {
  const std::string words = folded(rest);
  const std::size_t blank = words.find(' ');
  return {kind, words.substr(0, blank), blank == std::string::npos ? "" : words.substr(blank + 1)};
}

/// Reads one expectation without its mark.
Expectation readExpectation(std::string_view text, int line) {
  if (takePrefix(text, ":")) return {Expectation::Kind::Output, {}, folded(text)};
  Expectation expectation{};
  if (takePrefix(text, " error:"))
    expectation = readMessage(Expectation::Kind::Error, text);
  else if (takePrefix(text, " warning:"))
    expectation = readMessage(Expectation::Kind::Warning, text);
  if (expectation.identifier.empty()) {
    raiseError("Tessel:badExpectation",
               fmt::format("Line {}: this is no expectation: '{}{}'.", line, kMark, text));
  }
  return expectation;
}

}  // namespace

std::string folded(std::string_view text) {
  std::string result;
  for (const char c : text) {
    if (!isSpace(c))
      result += c;
    else if (!result.empty() && result.back() != ' ')
      result += ' ';
  }
  if (result.ends_with(' ')) result.pop_back();
  return result;
}

Expectations readExpectations(const std::vector<Comment>& comments) {
  Expectations expectations;
  for (const Comment& comment : comments) {
    std::size_t mark = comment.text.find(kMark);
    while (mark != std::string::npos) {
      const std::size_t begin = mark + kMark.size();
      mark = comment.text.find(kMark, begin);
      const std::string_view text = std::string_view(comment.text).substr(begin, mark - begin);
      expectations[comment.line].push_back(readExpectation(text, comment.line));
    }
  }
  return expectations;
}

}  // namespace tessel
