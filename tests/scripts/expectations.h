/// The expectations that stand in the comments of a script.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "tessel/language/lexer.h"

namespace tessel {

struct Expectation {
  enum class Kind { Output, Error, Warning };
  Kind kind;
  std::string identifier;  ///< of an error or a warning; "-" stands for none
  std::string text;        ///< white space folded; of an error or a warning, empty: any text
};

/// By the line on which the statement ends.
using Expectations = std::map<int, std::vector<Expectation>>;

/// Reads "% expect: TEXT", "% expect error: IDENTIFIER [TEXT]" and "% expect warning: IDENTIFIER [TEXT]"; one
/// comment may hold several. Raises "Tessel:badExpectation" for a comment that means to be one and is not.
Expectations readExpectations(const std::vector<Comment>& comments);

/// `text` without white space at its ends and with one blank for each run of white space inside.
std::string folded(std::string_view text);

}  // namespace tessel
