#include "tessel/language/operators.h"

#include <cmath>

namespace tessel {

Value scalarOperation(Operator code, double a, double b) {
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
      return a >= 0 || std::floor(b) == b ? Value(std::pow(a, b)) : Value();
    case Operator::Less: return Value(a < b);
    case Operator::LessEqual: return Value(a <= b);
    case Operator::Greater: return Value(a > b);
    case Operator::GreaterEqual: return Value(a >= b);
    case Operator::Equal: return Value(a == b);
    case Operator::NotEqual: return Value(a != b);
    case Operator::And: return std::isnan(a) || std::isnan(b) ? Value() : Value(a != 0 && b != 0);
    case Operator::Or: return std::isnan(a) || std::isnan(b) ? Value() : Value(a != 0 || b != 0);
    default: return {};
  }
}

Value scalarOperation(Operator code, double a) {
  switch (code) {
    case Operator::UnaryMinus: return Value(-a);
    case Operator::UnaryPlus: return Value(a);
    case Operator::Not: return std::isnan(a) ? Value() : Value(a == 0);
    default: return {};
  }
}

}  // namespace tessel
