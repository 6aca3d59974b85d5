/// The operators: token, precedence, the method or function that each one calls, its meaning on scalars.
#pragma once

#include <algorithm>
#include <cmath>

#include "tessel/language/lexer.h"
#include "tessel/language/value.h"

namespace tessel {

enum class Operator {
  Plus,
  Minus,
  Times,
  DotTimes,
  Divide,
  DotDivide,
  LeftDivide,
  DotLeftDivide,
  Power,
  DotPower,
  Less,
  LessEqual,
  Greater,
  GreaterEqual,
  Equal,
  NotEqual,
  And,
  Or,
  AndAnd,
  OrOr,
  UnaryPlus,
  UnaryMinus,
  Not,
  Transpose,
  ConjugateTranspose
};

struct OperatorInfo {
  Operator code;
  TokenKind token;
  /// The method of objects and function of arrays; empty for short-circuit operators, which call none.
  const char* function;
  /// Of a binary operator: a higher one binds tighter. 0 for the others, which bind tighter than all of these.
  int precedence;
};

/// Where ranges stand between the binary operators.
inline constexpr int kRangePrecedence = 6;

inline constexpr OperatorInfo kOperators[] = {
    {Operator::OrOr, TokenKind::OrOr, "", 1},
    {Operator::AndAnd, TokenKind::AndAnd, "", 2},
    {Operator::Or, TokenKind::Or, "or", 3},
    {Operator::And, TokenKind::And, "and", 4},
    {Operator::Less, TokenKind::Less, "lt", 5},
    {Operator::LessEqual, TokenKind::LessEqual, "le", 5},
    {Operator::Greater, TokenKind::Greater, "gt", 5},
    {Operator::GreaterEqual, TokenKind::GreaterEqual, "ge", 5},
    {Operator::Equal, TokenKind::Equal, "eq", 5},
    {Operator::NotEqual, TokenKind::NotEqual, "ne", 5},
    {Operator::Plus, TokenKind::Plus, "plus", 7},
    {Operator::Minus, TokenKind::Minus, "minus", 7},
    {Operator::Times, TokenKind::Times, "mtimes", 8},
    {Operator::DotTimes, TokenKind::DotTimes, "times", 8},
    {Operator::Divide, TokenKind::Divide, "mrdivide", 8},
    {Operator::DotDivide, TokenKind::DotDivide, "rdivide", 8},
    {Operator::LeftDivide, TokenKind::LeftDivide, "mldivide", 8},
    {Operator::DotLeftDivide, TokenKind::DotLeftDivide, "ldivide", 8},
    {Operator::UnaryPlus, TokenKind::Plus, "uplus", 0},
    {Operator::UnaryMinus, TokenKind::Minus, "uminus", 0},
    {Operator::Not, TokenKind::Not, "not", 0},
    {Operator::Power, TokenKind::Power, "mpower", 0},
    {Operator::DotPower, TokenKind::DotPower, "power", 0},
    {Operator::ConjugateTranspose, TokenKind::Quote, "ctranspose", 0},
    {Operator::Transpose, TokenKind::DotQuote, "transpose", 0},
};

/// The binary operator of a token whose precedence is given above, or null.
constexpr const OperatorInfo* findBinaryOperator(TokenKind token) {
  for (const OperatorInfo& info : kOperators) {
    if (info.token == token && info.precedence > 0) return &info;
  }
  return nullptr;
}

/// The operator that an assignment such as `+=` applies, or null.
constexpr const OperatorInfo* findAssigningOperator(TokenKind token) {
  switch (token) {
    case TokenKind::PlusAssign: return findBinaryOperator(TokenKind::Plus);
    case TokenKind::MinusAssign: return findBinaryOperator(TokenKind::Minus);
    case TokenKind::TimesAssign: return findBinaryOperator(TokenKind::Times);
    case TokenKind::DivideAssign: return findBinaryOperator(TokenKind::Divide);
    default: return nullptr;
  }
}

/// The row of an operator.
constexpr const OperatorInfo& operatorInfo(Operator code) {
  return *std::ranges::find(kOperators, code, &OperatorInfo::code);
}

/// `a` to the power `b`, or what `otherwise` gives where that is no real number.
template <class Otherwise>
[[gnu::noinline]] Value scalarPower(double a, double b, const Otherwise& otherwise) {
  return a >= 0 || std::floor(b) == b ? Value(std::pow(a, b)) : otherwise();
}

/// The operator on real scalars, or what `otherwise` gives where its result is no real scalar, or an error.
template <class Otherwise>
[[gnu::always_inline]] inline Value scalarOperation(Operator code, double a, double b,
                                                    const Otherwise& otherwise) {
  switch (code) {
    case Operator::Plus: return Value(a + b);
    case Operator::Minus: return Value(a - b);
    case Operator::Times:
    case Operator::DotTimes: return Value(a * b);
    case Operator::Divide:
    case Operator::DotDivide: return Value(a / b);
    case Operator::LeftDivide:
    case Operator::DotLeftDivide: return Value(b / a);
    case Operator::Power:
    case Operator::DotPower:
      if (b == 2) return Value(a * a);  // as the operator on arrays
      return scalarPower(a, b, otherwise);
    case Operator::Less: return Value(a < b);
    case Operator::LessEqual: return Value(a <= b);
    case Operator::Greater: return Value(a > b);
    case Operator::GreaterEqual: return Value(a >= b);
    case Operator::Equal: return Value(a == b);
    case Operator::NotEqual: return Value(a != b);
    case Operator::And: return a == a && b == b ? Value(a != 0 && b != 0) : otherwise();
    case Operator::Or: return a == a && b == b ? Value(a != 0 || b != 0) : otherwise();
    default: return otherwise();
  }
}
template <class Otherwise>
Value scalarOperation(Operator code, double a, const Otherwise& otherwise) {
  switch (code) {
    case Operator::UnaryMinus: return Value(-a);
    case Operator::UnaryPlus: return Value(a);
    case Operator::Not: return a == a ? Value(a == 0) : otherwise();
    default: return otherwise();
  }
}

}  // namespace tessel
