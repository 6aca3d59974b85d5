#include "tessel/language/expression_parser.h"

#include <algorithm>

#include <fmt/format.h>
#include "tessel/language/replaced.h"

namespace tessel {
namespace {

// The evaluator and the destructors walk the tree recursively, so that its height must stay far from what a
// stack holds; long sums grow the tree without nesting the parser.
constexpr int kMaxNesting = 1000;
constexpr int kMaxHeight = 500;

int heightOf(const ExpressionPtr& expression) { return expression ? expression->height : 0; }

int heightOf(const Expressions& expressions) {
  int height = 0;
  for (const ExpressionPtr& e : expressions) height = std::max(height, heightOf(e));
  return height;
}

int heightOf(const std::vector<IndexStep>& steps) {
  int height = 0;
  for (const IndexStep& step : steps) height = std::max(height, heightOf(step.arguments));
  return height;
}

}  // namespace

ExpressionParser::ExpressionParser(std::string_view source, std::string file, SymbolTable& variables, int line)
    : source_(source),
      file_(std::move(file)),
      line_(line),
      list_(tokenize(source)),
      tokens_(list_.tokens),
      scopes_{&variables} {}

ExpressionParser::Nesting::Nesting(ExpressionParser& parser) : parser_(parser) {
  if (parser.nesting_ >= kMaxNesting) parser.failHere("The program is nested too deeply.");
  ++parser.nesting_;
}

const Token& ExpressionParser::ahead(std::size_t count) const {
  return tokens_[std::min(position_ + count, tokens_.size() - 1)];
}

bool ExpressionParser::isAtAny(std::initializer_list<TokenKind> kinds) const {
  return std::find(kinds.begin(), kinds.end(), current().kind) != kinds.end();
}

const Token& ExpressionParser::take() { return tokens_[position_++]; }

bool ExpressionParser::accept(TokenKind kind) {
  if (!isAt(kind)) return false;
  take();
  return true;
}

const Token& ExpressionParser::expect(TokenKind kind, std::string_view description) {
  if (isAt(kind)) return take();
  if (isAtAny({TokenKind::NewLine, TokenKind::EndOfText})) failHere(fmt::format("{} is missing.", description));
  failUnexpected();
}

void ExpressionParser::fail(const std::string& text, const Token& token) const {
  throw SyntaxError(text, token.line, token.column, token.kind == TokenKind::EndOfText);
}

std::string ExpressionParser::hintHere() const {
  using enum TokenKind;
  const bool isClosing = isAtAny({RightParen, RightBracket, RightBrace});
  if (opening_ && (isClosing || current().line != opening_->line)) return openingText();
  return isAt(Assign) ? "== compares" : "";
}

std::string ExpressionParser::openingText() const {
  return fmt::format("the '{}' in line {}, column {} is open", source_[opening_->begin], opening_->line,
                     opening_->column);
}

void ExpressionParser::failUnexpected() const {
  if (isAt(TokenKind::NoNumber)) failHere(current().text);
  const TokenKind before = position_ > 1 ? previous().kind : TokenKind::EndOfText;
  const bool isTwice = (before == TokenKind::Plus || before == TokenKind::Minus) && !previous().spaceBefore &&
                       tokens_[position_ - 2].kind == before;
  if (isTwice) {
    const char sign = source_[previous().begin];
    fail(fmt::format("There is no operator '{0}{0}': write {0}= 1.", sign), tokens_[position_ - 2]);
  }
  if (isAtAny({TokenKind::NewLine, TokenKind::EndOfText})) failAtEnd();
  const std::string hint = hintHere();
  failHere(fmt::format("Unexpected '{}'{}{}.", source_.substr(current().begin, current().end - current().begin),
                       hint.empty() ? "" : ": ", hint));
}

/// More lines complete a program that ends inside a bracket.
void ExpressionParser::failAtEnd() const {
  const bool isLine = isAt(TokenKind::NewLine);
  if (!opening_) failHere(isLine ? "The line ends unexpectedly." : "The program ends unexpectedly.");
  const char bracket = source_[opening_->begin];
  const char missing = bracket == '(' ? ')' : bracket == '[' ? ']' : '}';
  if (isLine) failHere(fmt::format("'{}' is missing: {}.", missing, openingText()));
  throw SyntaxError(fmt::format("This '{}' has no '{}'.", bracket, missing), opening_->line, opening_->column,
                    true);
}

void ExpressionParser::requireHeight(int height) const {
  if (height > kMaxHeight) failHere("The expression is too long.");
}

ExpressionPtr ExpressionParser::makeUnary(Operator code, ExpressionPtr operand, int column) {
  if (auto* constant = std::get_if<Constant>(&operand->node); constant && code == Operator::UnaryMinus) {
    if (const double* number = constant->value.number()) {
      constant->value = Value(-*number);
      return operand;
    }
  }
  const int height = heightOf(operand) + 1;
  UnaryOperation node{&operatorInfo(code), std::move(operand)};
  node.method.column = column;
  return make(std::move(node), height);
}

ExpressionPtr ExpressionParser::makeBinary(Operator code, int column, ExpressionPtr left, ExpressionPtr right) {
  const int height = std::max(heightOf(left), heightOf(right)) + 1;
  BinaryOperation node{&operatorInfo(code), std::move(left), std::move(right)};
  node.method.column = column;
  return make(std::move(node), height);
}

bool ExpressionParser::isNewElement() const {
  return spaceSeparates_ && isAtAny({TokenKind::Plus, TokenKind::Minus}) && current().spaceBefore &&
         !ahead().spaceBefore;
}

const OperatorInfo* ExpressionParser::binaryOperatorHere(int minimumPrecedence) const {
  const OperatorInfo* info = findBinaryOperator(current().kind);
  return info && info->precedence >= minimumPrecedence && !isNewElement() ? info : nullptr;
}

ExpressionPtr ExpressionParser::parseBinary(int minimumPrecedence) {
  const Nesting nesting(*this);
  ExpressionPtr left = parseUnary();
  for (;;) {
    if (isAt(TokenKind::Colon) && kRangePrecedence >= minimumPrecedence) {
      left = parseRange(std::move(left));
    } else if (const OperatorInfo* info = binaryOperatorHere(minimumPrecedence)) {
      const int column = columnOf(take());
      left = makeBinary(info->code, column, std::move(left), parseBinary(info->precedence + 1));
    } else {
      return left;
    }
  }
}

ExpressionPtr ExpressionParser::parseRange(ExpressionPtr start) {
  expect(TokenKind::Colon, "':'");
  ExpressionPtr step;
  ExpressionPtr stop = parseBinary(kRangePrecedence + 1);
  if (accept(TokenKind::Colon)) {
    step = std::move(stop);
    stop = parseBinary(kRangePrecedence + 1);
  }
  const int height = std::max({heightOf(start), heightOf(step), heightOf(stop)}) + 1;
  return make(RangeExpression{std::move(start), std::move(step), std::move(stop)}, height);
}

ExpressionPtr ExpressionParser::parseUnary() {
  const Nesting nesting(*this);
  const int column = columnOf(current());
  if (accept(TokenKind::Minus)) return makeUnary(Operator::UnaryMinus, parseUnary(), column);
  if (accept(TokenKind::Plus)) return makeUnary(Operator::UnaryPlus, parseUnary(), column);
  if (accept(TokenKind::Not)) return makeUnary(Operator::Not, parseUnary(), column);
  return parsePostfix();
}

ExpressionPtr ExpressionParser::parsePostfix() {
  ExpressionPtr operand = parsePrimary();
  for (;;) {
    if (accept(TokenKind::Quote)) {
      operand = makeUnary(Operator::ConjugateTranspose, std::move(operand));
    } else if (accept(TokenKind::DotQuote)) {
      operand = makeUnary(Operator::Transpose, std::move(operand));
    } else if (isAtAny({TokenKind::Power, TokenKind::DotPower})) {
      const Token& sign = take();
      const Operator code = sign.kind == TokenKind::Power ? Operator::Power : Operator::DotPower;
      operand = makeBinary(code, columnOf(sign), std::move(operand), parseExponent());
    } else {
      return operand;
    }
  }
}

ExpressionPtr ExpressionParser::parseExponent() {
  const Nesting nesting(*this);
  if (accept(TokenKind::Minus)) return makeUnary(Operator::UnaryMinus, parseExponent());
  if (accept(TokenKind::Plus)) return makeUnary(Operator::UnaryPlus, parseExponent());
  if (accept(TokenKind::Not)) return makeUnary(Operator::Not, parseExponent());
  return parsePrimary();
}

ExpressionPtr ExpressionParser::parsePrimary() {
  switch (current().kind) {
    case TokenKind::Number: return make(Constant{Value(take().value)});
    case TokenKind::Imaginary: {
      HostArray number = HostArray::zeros(ArrayClass::Double, {1, 1}, true);
      number.mutableImag<double>()[0] = take().value;
      return make(Constant{Value(std::move(number))});
    }
    case TokenKind::Text: return parsePart(make(Constant{Value(HostArray::text(take().text))}));
    case TokenKind::Name: return parseNameWithSteps();
    case TokenKind::LeftParen: return parsePart(parseParenthesized());
    case TokenKind::LeftBracket: return parsePart(parseMatrix(TokenKind::RightBracket));
    case TokenKind::LeftBrace: return parsePart(parseMatrix(TokenKind::RightBrace));
    case TokenKind::At: return parseHandle();
    case TokenKind::End:
      if (endUsers_.empty()) failUnexpected();
      take();
      // Which array it belongs to shows at run time: the steps may turn out to be calls.
      for (bool* usesEnd : endUsers_) *usesEnd = true;
      return make(LastElement{});
    default: failUnexpected();
  }
}

ExpressionPtr ExpressionParser::parseParenthesized() {
  const Replaced<bool> spaces(spaceSeparates_, false);
  const Replaced<const Token*> open(opening_, &take());
  ExpressionPtr inner = parseExpression();
  if (!accept(TokenKind::RightParen)) failUnexpected();
  return inner;
}

ExpressionPtr ExpressionParser::parseMatrix(TokenKind close) {
  const Nesting nesting(*this);
  const Replaced<bool> spaces(spaceSeparates_, true);
  const bool isCell = close == TokenKind::RightBrace;
  const Replaced<const Token*> open(opening_, &take());
  std::vector<Expressions> rows(1);
  int height = 0;
  while (!accept(close)) {
    if (isAtAny({TokenKind::Semicolon, TokenKind::NewLine})) {
      take();
      if (!rows.back().empty()) rows.emplace_back();
      continue;
    }
    rows.back().push_back(parseExpression());
    height = std::max(height, heightOf(rows.back().back()));
    if (accept(TokenKind::Comma)) continue;
    const bool isSeparated =
        isAtAny({TokenKind::Semicolon, TokenKind::NewLine, close}) || current().spaceBefore;
    if (isAt(TokenKind::EndOfText) || !isSeparated) failUnexpected();
  }
  if (rows.back().empty()) rows.pop_back();
  return make(MatrixLiteral{std::move(rows), isCell}, height + 1);
}

ExpressionPtr ExpressionParser::parseNameWithSteps() {
  const Token& token = take();
  NameReference reference{token.text, variables().slotOf(token.text)};
  reference.name.column = columnOf(token);
  std::vector<IndexStep> steps;
  parseSteps(steps);
  if (steps.empty()) return make(std::move(reference));
  const int height = heightOf(steps) + 1;
  return make(IndexExpression{std::move(reference), std::move(steps)}, height);
}

/// The subscripts of a literal or of parentheses, which stand directly behind it: `(a + b)(2)`.
ExpressionPtr ExpressionParser::parsePart(ExpressionPtr base) {
  if (current().spaceBefore) return base;
  std::vector<IndexStep> steps;
  parseSteps(steps);
  if (steps.empty()) return base;
  const int height = std::max(heightOf(base), heightOf(steps)) + 1;
  return make(PartExpression{std::move(base), std::move(steps)}, height);
}

void ExpressionParser::parseSteps(std::vector<IndexStep>& steps) {
  while (!(spaceSeparates_ && current().spaceBefore)) {
    if (isAt(TokenKind::LeftParen)) {
      steps.push_back(parseArguments(IndexStep::Kind::Paren, TokenKind::RightParen));
    } else if (isAt(TokenKind::LeftBrace)) {
      steps.push_back(parseArguments(IndexStep::Kind::Brace, TokenKind::RightBrace));
    } else if (isAt(TokenKind::Dot)) {
      steps.push_back(parseField());
    } else {
      return;
    }
  }
}

IndexStep ExpressionParser::parseArguments(IndexStep::Kind kind, TokenKind close) {
  const Nesting nesting(*this);
  const Replaced<bool> spaces(spaceSeparates_, false);
  IndexStep step{kind, {}, {}, false};
  const Pushed endUser(endUsers_, &step.usesEnd);
  const Replaced<const Token*> open(opening_, &take());
  if (!isAt(close)) {
    do step.arguments.push_back(parseArgument(close));
    while (accept(TokenKind::Comma));
  }
  if (!accept(close)) failUnexpected();
  step.mayHaveLists =
      std::ranges::any_of(step.arguments, [](const ExpressionPtr& argument) { return mayBeList(*argument); });
  if (kind == IndexStep::Kind::Paren && step.arguments.size() == 1 && !step.usesEnd) {
    const Expression& argument = *step.arguments[0];
    step.hasPlainArgument = !std::holds_alternative<AllElements>(argument.node) &&
                            !std::holds_alternative<RangeExpression>(argument.node) && !mayBeList(argument);
  }
  return step;
}

ExpressionPtr ExpressionParser::parseArgument(TokenKind close) {
  if (isAt(TokenKind::Colon) && (ahead().kind == TokenKind::Comma || ahead().kind == close)) {
    take();
    return make(AllElements{});
  }
  return parseExpression();
}

IndexStep ExpressionParser::parseField() {
  take();
  if (isAt(TokenKind::LeftParen)) {
    IndexStep step{IndexStep::Kind::DynamicField, {}, {}, false};
    step.arguments.push_back(parseParenthesized());
    return step;
  }
  return {IndexStep::Kind::Field, {}, expect(TokenKind::Name, "The name of a field").text, false};
}

ExpressionPtr ExpressionParser::parseHandle() {
  if (ahead().kind == TokenKind::LeftParen) return parseAnonymousFunction();
  take();
  std::string name = expect(TokenKind::Name, "The name of a function").text;
  while (isAt(TokenKind::Dot) && ahead().kind == TokenKind::Name) {
    take();
    name += '.' + take().text;
  }
  return make(NamedHandle{std::move(name)});
}

void ExpressionParser::parseParameters(FunctionCode& code) {
  if (!accept(TokenKind::LeftParen)) return;
  while (!accept(TokenKind::RightParen)) {
    if (code.hasVarargin) failHere("varargin must be the last parameter.");
    if (!code.parameters.empty()) expect(TokenKind::Comma, "')'");
    if (accept(TokenKind::Not)) {
      code.parameters.push_back(-1);
      continue;
    }
    const Token& name = expect(TokenKind::Name, "The name of a parameter");
    if (code.symbols->find(name.text) >= 0)
      fail(fmt::format("The parameter '{}' stands twice.", name.text), name);
    code.parameters.push_back(code.symbols->slotOf(name.text));
    code.hasVarargin = name.text == "varargin";
  }
}

std::string ExpressionParser::textSince(std::size_t first) const {
  std::string text;
  for (std::size_t i = first; i < position_; ++i) {
    const Token& token = tokens_[i];
    if (token.spaceBefore && i > first) text += ' ';
    if (token.kind == TokenKind::NewLine)
      text += ';';
    else
      text += source_.substr(token.begin, token.end - token.begin);
  }
  return text;
}

ExpressionPtr ExpressionParser::parseAnonymousFunction() {
  const std::size_t first = position_;
  auto code = std::make_shared<FunctionCode>();
  code->file = file_;
  code->line = lineOf(take());
  parseParameters(*code);
  const std::size_t parameterCount = code->symbols->names().size();
  {
    const Pushed scope(scopes_, code->symbols.get());
    const Replaced<std::vector<bool*>> noEnd(endUsers_, {});
    code->expression = parseExpression();
  }
  code->text = textSince(first);
  code->name = code->text;
  AnonymousFunction node{nullptr, {}};
  const std::vector<std::string>& names = code->symbols->names();
  for (std::size_t i = parameterCount; i < names.size(); ++i) {
    node.captures.push_back({variables().slotOf(names[i]), static_cast<int>(i)});
  }
  const int height = heightOf(code->expression) + 1;
  node.code = std::move(code);
  return make(std::move(node), height);
}

}  // namespace tessel
