/// Tokens to a tree: expressions.
#pragma once

#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tessel/language/ast.h"
#include "tessel/language/lexer.h"
#include "tessel/language/operators.h"

namespace tessel {

/// Recursive descent over a list of tokens; precedence comes from the table of operators. Where white space
/// separates the elements of a matrix, `[1 -2]` has two elements and `[1 - 2]` one.
class ExpressionParser {
 public:
  /// `source` and `variables` must outlive the parser. With a `line`, everything stands in that one.
  ExpressionParser(std::string_view source, std::string file, SymbolTable& variables, int line);

  ExpressionPtr parseExpression() { return parseBinary(1); }
  /// A name with the steps of indexing behind it; the current token is the name.
  ExpressionPtr parseNameWithSteps();

 protected:
  /// Counts one level of nesting while it lives; raises SyntaxError beyond the limit.
  class Nesting {
   public:
    explicit Nesting(ExpressionParser& parser);
    ~Nesting() { --parser_.nesting_; }
    Nesting(const Nesting&) = delete;
    Nesting& operator=(const Nesting&) = delete;

   private:
    ExpressionParser& parser_;
  };

  const Token& current() const { return tokens_[position_]; }
  const Token& ahead(std::size_t count = 1) const;
  const Token& previous() const { return tokens_[position_ - 1]; }
  bool isAt(TokenKind kind) const { return current().kind == kind; }
  bool isAtAny(std::initializer_list<TokenKind> kinds) const;
  /// Moves to the next token and returns the one left behind, which is not the end of the text.
  const Token& take();
  bool accept(TokenKind kind);
  const Token& expect(TokenKind kind, std::string_view description);
  [[noreturn]] void fail(const std::string& text, const Token& token) const;
  [[noreturn]] void failHere(const std::string& text) const { fail(text, current()); }
  /// Raises the error for a token that cannot stand where it stands, with what may be meant.
  [[noreturn]] void failUnexpected() const;
  /// Where a token stands in the line of its statement; 0 in another line, and in a text being evaluated.
  int columnOf(const Token& token) const {
    return line_ == 0 && token.line == statementLine_ ? token.column : 0;
  }

  int lineOf(const Token& token) const { return line_ > 0 ? line_ : token.line; }
  SymbolTable& variables() { return *scopes_.back(); }
  /// Reads "(a, ~, varargin)" where it stands, and gives the names slots in the code's own table.
  void parseParameters(FunctionCode& code);

  template <class Node>
  ExpressionPtr make(Node node, int height = 1) {
    requireHeight(height);
    auto expression = std::make_unique<Expression>();
    expression->node = std::move(node);
    expression->height = height;
    return expression;
  }

  std::string_view source_;
  std::string file_;
  int line_;
  TokenList list_;
  const std::vector<Token>& tokens_;
  std::size_t position_ = 0;
  std::vector<SymbolTable*> scopes_;
  int statementLine_ = 0;
  /// The innermost bracket that is open, or null.
  const Token* opening_ = nullptr;
  /// White space ends an element here.
  bool spaceSeparates_ = false;

 private:
  [[noreturn]] void failAtEnd() const;
  std::string hintHere() const;
  std::string openingText() const;
  void requireHeight(int height) const;
  ExpressionPtr parseBinary(int minimumPrecedence);
  ExpressionPtr parseRange(ExpressionPtr start);
  ExpressionPtr parseUnary();
  ExpressionPtr parsePostfix();
  ExpressionPtr parseExponent();
  ExpressionPtr parsePrimary();
  ExpressionPtr parseParenthesized();
  ExpressionPtr parsePart(ExpressionPtr base);
  ExpressionPtr parseMatrix(TokenKind close);
  ExpressionPtr parseHandle();
  ExpressionPtr parseAnonymousFunction();
  void parseSteps(std::vector<IndexStep>& steps);
  IndexStep parseArguments(IndexStep::Kind kind, TokenKind close);
  IndexStep parseField();
  ExpressionPtr parseArgument(TokenKind close);
  bool isNewElement() const;
  /// The source from token `first` to the one before the current, on one line.
  std::string textSince(std::size_t first) const;
  const OperatorInfo* binaryOperatorHere(int minimumPrecedence) const;

  ExpressionPtr makeUnary(Operator code, ExpressionPtr operand, int column = 0);
  ExpressionPtr makeBinary(Operator code, int column, ExpressionPtr left, ExpressionPtr right);

  int nesting_ = 0;
  /// The flags of the steps of indexing around the current token that learn of an `end` inside them.
  std::vector<bool*> endUsers_;
};

}  // namespace tessel
