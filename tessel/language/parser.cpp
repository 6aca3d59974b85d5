#include "tessel/language/parser.h"

#include <algorithm>
#include <initializer_list>
#include <utility>

#include <fmt/format.h>
#include "tessel/language/expression_parser.h"
#include "tessel/language/replaced.h"

namespace tessel {
namespace {

class Parser : private ExpressionParser {
 public:
  using ExpressionParser::ExpressionParser;

  Program run() {
    Program program;
    for (skipSeparators(); !isAt(TokenKind::EndOfText); skipSeparators()) {
      if (isAt(TokenKind::Function))
        program.functions.push_back(parseFunction(program.functions));
      else
        program.statements.push_back(parseStatement());
    }
    program.comments = std::move(list_.comments);
    return program;
  }

 private:
  using Functions = std::vector<std::shared_ptr<const FunctionCode>>;

  void skipSeparators() {
    while (isAtAny({TokenKind::NewLine, TokenKind::Comma, TokenKind::Semicolon})) take();
  }

  /// Statements up to one of `ends`, which stays. `opening` is the word that needs the end.
  Block parseBlock(const Token& opening, std::initializer_list<TokenKind> ends) {
    Block block;
    for (skipSeparators(); !isAtAny(ends); skipSeparators()) {
      if (isAt(TokenKind::EndOfText)) {
        throw SyntaxError(fmt::format("This '{}' has no end.", wordOf(opening)), opening.line, opening.column,
                          true);
      }
      if (isAt(TokenKind::Function)) failHere("A function cannot stand inside another block.");
      block.push_back(parseStatement());
    }
    return block;
  }

  std::string_view wordOf(const Token& token) const {
    return source_.substr(token.begin, token.end - token.begin);
  }

  Statement parseStatement() {
    const Nesting nesting(*this);
    Statement statement;
    statement.line = lineOf(current());
    const Replaced<int> line(statementLine_, current().line);
    switch (current().kind) {
      case TokenKind::If: statement.node = parseIf(); break;
      case TokenKind::While: statement.node = parseWhile(); break;
      case TokenKind::For: statement.node = parseFor(); break;
      case TokenKind::Switch: statement.node = parseSwitch(); break;
      case TokenKind::Try: statement.node = parseTry(); break;
      case TokenKind::Break: statement.node = parseJump<BreakStatement>("break"); break;
      case TokenKind::Continue: statement.node = parseJump<ContinueStatement>("continue"); break;
      case TokenKind::Return: take(), statement.node = ReturnStatement{}; break;
      case TokenKind::Global:
      case TokenKind::Persistent: statement.node = parseDeclaration(); break;
      default: parseSimple(statement);
    }
    statement.lastLine = previous().line;
    expectSeparator();
    return statement;
  }

  void expectSeparator() {
    using enum TokenKind;
    if (!isAtAny({NewLine, Comma, Semicolon, EndOfText})) failUnexpected();
  }

  template <class Jump>
  Jump parseJump(const char* word) {
    if (loopDepth_ == 0) failHere(fmt::format("'{}' stands outside a loop.", word));
    take();
    return {};
  }

  [[gnu::noinline]] Declaration parseDeclaration() {
    const Token& opening = take();
    Declaration node{opening.kind == TokenKind::Global, {}};
    do {
      const std::string& name = expect(TokenKind::Name, "The name of a variable").text;
      node.names.push_back({name, variables().slotOf(name)});
    } while (isAt(TokenKind::Name));
    if (isAt(TokenKind::Assign)) failHere("A declaration gives no values: assign them behind it.");
    return node;
  }

  /// `format long`: two words where no expression has them. The words behind the first are texts.
  bool isCommand() const {
    const Token& next = ahead();
    if (!isAt(TokenKind::Name) || !next.spaceBefore || next.line != current().line) return false;
    const bool isWord = next.kind == TokenKind::Name || next.kind == TokenKind::Text ||
                        isKeyword(wordOf(next)) || beginsWithDigits();
    if (current().text != "help" || isWord) return isWord;
    const TokenKind last = ahead(2).kind;
    return next.kind > TokenKind::At && next.kind != TokenKind::Assign &&
           (last == TokenKind::NewLine || last == TokenKind::EndOfText);
  }

  /// `run 2x`, `load 2026-11-22.dat`: a word that cannot be part of an expression, behind the first one.
  bool beginsWithDigits() const {
    if (ahead().kind != TokenKind::Number && ahead().kind != TokenKind::NoNumber) return false;
    std::size_t last = 1;
    while (ahead(last).kind != TokenKind::NoNumber && !endsWord(ahead(last + 1))) ++last;
    return ahead(last).kind == TokenKind::NoNumber;
  }

  static bool endsWord(const Token& next) {
    using enum TokenKind;
    return next.spaceBefore || next.kind == NewLine || next.kind == Comma || next.kind == Semicolon ||
           next.kind == EndOfText;
  }

  ExpressionPtr parseCommand() {
    NameReference command{current().text, variables().slotOf(current().text)};
    command.name.column = columnOf(take());
    IndexStep words{IndexStep::Kind::Paren, {}, {}, false};
    while (!isAtAny({TokenKind::NewLine, TokenKind::Comma, TokenKind::Semicolon, TokenKind::EndOfText})) {
      const Token& first = take();
      while (!endsWord(current())) take();
      const bool isQuoted = first.kind == TokenKind::Text && first.end == previous().end;
      const std::string_view text =
          isQuoted ? first.text : source_.substr(first.begin, previous().end - first.begin);
      words.arguments.push_back(make(Constant{Value(HostArray::text(text))}));
    }
    std::vector<IndexStep> steps;
    steps.push_back(std::move(words));
    return make(IndexExpression{std::move(command), std::move(steps)}, 2);
  }

  /// `run /there`, `run ../there`, `clear -all`: what looks like a path or an option behind a word and a blank.
  bool mayBePathOrOption() const {
    using enum TokenKind;
    const Token& next = ahead();
    if (!isAt(Name) || !next.spaceBefore || next.line != current().line || ahead(2).spaceBefore) return false;
    const TokenKind second = ahead(2).kind;
    const bool isAbove = next.kind == Dot && (second == Dot || second == DotDivide);
    const bool isOption = next.kind == Minus && second == Name;
    return next.kind == Divide || next.kind == DotDivide || isAbove || isOption ||
           (next.kind == Not && second == Divide);
  }

  /// Which of both it is, only the program knows while it runs.
  CommandOrExpression parseWords() {
    const std::size_t start = position_;
    const auto silenced = [&](ExpressionPtr expression) {
      return ExpressionStatement{std::move(expression), isAt(TokenKind::Semicolon)};
    };
    CommandOrExpression node{variables().slotOf(current().text), {}, {}, {}, 0};
    try {
      node.expression = silenced(parseExpression());
      expectSeparator();
    } catch (const SyntaxError& error) {
      node.expression = {};
      node.fault = error.what();
      node.faultColumn = line_ == 0 && error.line() == statementLine_ ? error.column() : 0;
    }
    position_ = start;
    node.command = silenced(parseCommand());
    return node;
  }

  /// A call of its own, as the one above: blocks nest through their caller, and would carry what it needs.
  [[gnu::noinline]] void parseSimple(Statement& statement) {
    if (mayBePathOrOption()) {
      statement.node = parseWords();
      return;
    }
    if (isCommand()) {
      ExpressionPtr command = parseCommand();
      statement.node = ExpressionStatement{std::move(command), isAt(TokenKind::Semicolon)};
      return;
    }
    if (isAt(TokenKind::LeftBracket) && isTargetList()) {
      std::vector<AssignmentTarget> targets = parseTargetList();
      const bool isList = std::ranges::any_of(targets, [](const AssignmentTarget& target) {
        return !target.steps.empty() && target.steps.back().kind != IndexStep::Kind::Paren;
      });
      Assignment node = finishAssignment(std::move(targets));
      if (isList)
        statement.node = ListAssignment{std::move(node.targets), std::move(node.value), node.isSilent};
      else
        statement.node = std::move(node);
      return;
    }
    const Token& first = current();
    ExpressionPtr expression = parseExpression();
    if (isAt(TokenKind::Assign)) {
      std::vector<AssignmentTarget> targets;
      targets.push_back(asTarget(std::move(expression), first));
      statement.node = finishAssignment(std::move(targets));
    } else if (const OperatorInfo* info = findAssigningOperator(current().kind)) {
      AssignmentTarget target = asTarget(std::move(expression), first);
      const int column = columnOf(take());
      ExpressionPtr value = parseExpression();
      CompoundAssignment node{std::move(target), info, std::move(value), isAt(TokenKind::Semicolon)};
      node.method.column = column;
      statement.node = std::move(node);
    } else {
      statement.node = ExpressionStatement{std::move(expression), isAt(TokenKind::Semicolon)};
    }
  }

  Assignment finishAssignment(std::vector<AssignmentTarget> targets) {
    expect(TokenKind::Assign, "'='");
    ExpressionPtr value = parseExpression();
    const bool isOne = targets.size() == 1 && !targets[0].name.empty();
    const int wholeSlot = isOne && targets[0].steps.empty() ? targets[0].slot : -1;
    return {std::move(targets), std::move(value), isAt(TokenKind::Semicolon), isOne, wholeSlot};
  }

  AssignmentTarget asTarget(ExpressionPtr expression, const Token& place) {
    if (auto* index = std::get_if<IndexExpression>(&expression->node))
      return {index->base.name.text(), index->base.slot, std::move(index->steps)};
    if (const auto* name = std::get_if<NameReference>(&expression->node))
      return {name->name.text(), name->slot, {}};
    fail("This cannot be assigned to.", place);
  }

  /// Is the bracket here the left side of an assignment?
  bool isTargetList() const {
    using enum TokenKind;
    int depth = 0;
    for (std::size_t i = position_; i < tokens_.size(); ++i) {
      const TokenKind kind = tokens_[i].kind;
      if (kind == LeftBracket || kind == LeftParen || kind == LeftBrace) ++depth;
      if (kind == RightBracket || kind == RightParen || kind == RightBrace) --depth;
      if (depth == 0) return tokens_[i + 1].kind == Assign;
    }
    return false;
  }

  std::vector<AssignmentTarget> parseTargetList() {
    const Replaced<const Token*> open(opening_, &take());
    const bool oldSpaces = std::exchange(spaceSeparates_, true);
    std::vector<AssignmentTarget> targets;
    while (!isAt(TokenKind::RightBracket)) {
      if (accept(TokenKind::Not)) {
        targets.emplace_back();
      } else {
        const Token& place = current();
        if (!isAt(TokenKind::Name)) failUnexpected();
        targets.push_back(asTarget(parseNameWithSteps(), place));
      }
      if (!accept(TokenKind::Comma) && !isAt(TokenKind::RightBracket) && !current().spaceBefore)
        failUnexpected();
    }
    if (targets.empty()) failHere("Nothing is assigned to.");
    take();
    spaceSeparates_ = oldSpaces;
    return targets;
  }

  Block parseLoopBody(const Token& opening) {
    ++loopDepth_;
    Block body = parseBlock(opening, {TokenKind::End});
    --loopDepth_;
    take();
    return body;
  }

  IfStatement parseIf() {
    IfStatement node;
    const Token& opening = current();
    do {
      take();
      ExpressionPtr condition = parseExpression();
      Block body = parseBlock(opening, {TokenKind::Elseif, TokenKind::Else, TokenKind::End});
      node.branches.push_back({std::move(condition), std::move(body)});
    } while (isAt(TokenKind::Elseif));
    if (accept(TokenKind::Else)) node.otherwise = parseBlock(opening, {TokenKind::End});
    take();
    return node;
  }

  WhileStatement parseWhile() {
    const Token& opening = take();
    ExpressionPtr condition = parseExpression();
    return {std::move(condition), parseLoopBody(opening)};
  }

  ForStatement parseFor() {
    const Token& opening = take();
    const bool isParenthesized = isAt(TokenKind::LeftParen) && ahead(2).kind == TokenKind::Assign;
    if (isParenthesized) take();
    const int slot = variables().slotOf(expect(TokenKind::Name, "The variable of the loop").text);
    expect(TokenKind::Assign, "'='");
    ExpressionPtr range = parseExpression();
    if (isParenthesized) expect(TokenKind::RightParen, "')'");
    return {slot, std::move(range), parseLoopBody(opening)};
  }

  SwitchStatement parseSwitch() {
    SwitchStatement node;
    const Token& opening = take();
    node.subject = parseExpression();
    skipSeparators();
    while (accept(TokenKind::Case)) {
      ExpressionPtr label = parseExpression();
      Block body = parseBlock(opening, {TokenKind::Case, TokenKind::Otherwise, TokenKind::End});
      node.cases.push_back({std::move(label), std::move(body)});
    }
    if (accept(TokenKind::Otherwise)) node.otherwise = parseBlock(opening, {TokenKind::End});
    expect(TokenKind::End, fmt::format("The end of this '{}'", wordOf(opening)));
    return node;
  }

  TryStatement parseTry() {
    using enum TokenKind;
    TryStatement node{{}, -1, {}};
    const Token& opening = take();
    node.body = parseBlock(opening, {Catch, End});
    if (accept(Catch)) {
      const TokenKind next = ahead().kind;
      if (isAt(Name) && (next == NewLine || next == Semicolon || next == Comma)) {
        node.errorSlot = variables().slotOf(take().text);
      }
      node.handler = parseBlock(opening, {End});
    }
    take();
    return node;
  }

  std::shared_ptr<const FunctionCode> parseFunction(const Functions& others) {
    const Token& opening = take();
    auto code = std::make_shared<FunctionCode>();
    code->file = file_;
    code->line = lineOf(opening);
    const std::vector<std::string> outputs = parseOutputs();
    const Token& name = expect(TokenKind::Name, "The name of the function");
    code->name = name.text;
    const auto isSame = [&](const auto& other) { return other->name == code->name; };
    if (std::any_of(others.begin(), others.end(), isSame)) {
      fail(fmt::format("The function '{}' is defined twice.", code->name), name);
    }
    parseParameters(*code);
    for (const std::string& output : outputs) code->outputs.push_back(code->symbols->slotOf(output));
    code->hasVarargout = !outputs.empty() && outputs.back() == "varargout";
    {
      const Pushed scope(scopes_, code->symbols.get());
      code->body = parseBlock(opening, {TokenKind::End});
    }
    take();
    expectSeparator();
    return code;
  }

  /// Reads "[a, b] =" or "a =" where it stands.
  std::vector<std::string> parseOutputs() {
    std::vector<std::string> outputs;
    if (accept(TokenKind::LeftBracket)) {
      while (!accept(TokenKind::RightBracket)) {
        outputs.push_back(expect(TokenKind::Name, "']'").text);
        accept(TokenKind::Comma);
      }
      expect(TokenKind::Assign, "'='");
    } else if (ahead().kind == TokenKind::Assign) {
      outputs.push_back(expect(TokenKind::Name, "The name of a result").text);
      take();
    }
    return outputs;
  }

  int loopDepth_ = 0;
};

}  // namespace

Program parseProgram(std::string_view source, const std::string& file, SymbolTable& variables, int line) {
  return Parser(source, file, variables, line).run();
}

}  // namespace tessel
