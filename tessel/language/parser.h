/// Tokens to a tree: statements and functions.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "tessel/language/ast.h"
#include "tessel/language/lexer.h"

namespace tessel {

struct Program {
  Block statements;
  std::vector<std::shared_ptr<const FunctionCode>> functions;
  std::vector<Comment> comments;
};

/// Parses a whole program. `file` names it in the places of its functions; `variables` gets a slot for each
/// name that the statements outside functions use. With a `line`, all statements stand there: where a program
/// has the text evaluated. Raises SyntaxError, also for nesting deeper than any sensible program.
Program parseProgram(std::string_view source, const std::string& file, SymbolTable& variables, int line = 0);

}  // namespace tessel
