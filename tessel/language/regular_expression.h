/// Regular expressions over texts of bytes, in the notation of Perl.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace tessel {

class RegularExpression {
 public:
  /// Where a match, or a token of it, stands; a token that took no part is empty and at 0.
  struct Extent {
    std::size_t begin = 0, end = 0;
    std::string_view in(std::string_view text) const { return text.substr(begin, end - begin); }
  };
  /// The match, then its tokens.
  using Match = std::vector<Extent>;

  /// Raises "Tessel:badExpression" for what is no expression; `function` is named in the errors.
  RegularExpression(std::string function, const std::string& pattern, bool ignoresCase);

  /// All matches, from left to right, none overlapping another. Raises "Tessel:expressionTooHard" where trying
  /// all ways to match at one place would not end in reasonable time, and "Tessel:interrupted".
  std::vector<Match> matchesIn(std::string_view text) const;
  /// The text with its matches replaced: in `replacement` "$1" to "$9" are tokens, "$0" and "$&" the match,
  /// "$$" is "$".
  std::string replaced(std::string_view text, std::string_view replacement) const;

 private:
  struct Code;
  std::string function_, pattern_;
  std::shared_ptr<const Code> code_;
};

}  // namespace tessel
