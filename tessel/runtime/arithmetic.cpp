#include "tessel/runtime/arithmetic.h"

#include "tessel/messages.h"
#include "tessel/runtime/elements.h"
#include "tessel/runtime/matrix_arithmetic.h"

namespace tessel {
namespace {

/// The integer nearest to the exact sum value + error, ties away from zero; |error| is at most half a unit of
/// `value` in the last place.
long double roundedSum(long double value, long double error) {
  const long double rounded = std::round(value);
  const long double toUpperTie = 0.5L - (value - rounded);
  const long double toLowerTie = -0.5L - (value - rounded);
  if (error > toUpperTie || (error == toUpperTie && value > 0)) return rounded + 1;
  if (error < toLowerTie || (error == toLowerTie && value < 0)) return rounded - 1;
  return rounded;
}

/// Whether the error of a rounded result could decide which integer is nearest.
bool errorDecides(long double value) {
  return std::abs(value - std::round(value)) == 0.5L || std::abs(value) >= 0x1p63L;
}

struct Plus {
  template <class E>
  E operator()(E x, E y) const {
    return x + y;
  }
  long double wideInteger(long double x, long double y) const {
    const long double sum = x + y;
    const long double part = sum - x;
    return roundedSum(sum, (x - (sum - part)) + (y - part));
  }
  template <class E>
  std::complex<E> complex(E xr, E xi, E yr, E yi, bool, bool) const {
    return {xr + yr, xi + yi};
  }
};

struct Minus {
  template <class E>
  E operator()(E x, E y) const {
    return x - y;
  }
  long double wideInteger(long double x, long double y) const { return Plus{}.wideInteger(x, -y); }
  template <class E>
  std::complex<E> complex(E xr, E xi, E yr, E yi, bool, bool) const {
    return {xr - yr, xi - yi};
  }
};

// A real factor or divisor acts on each part alone: its absent imaginary part must not turn infinities into
// NaN.
struct Times {
  template <class E>
  E operator()(E x, E y) const {
    return x * y;
  }
  long double wideInteger(long double x, long double y) const {
    const long double product = x * y;
    return errorDecides(product) ? roundedSum(product, std::fma(x, y, -product)) : std::round(product);
  }
  template <class E>
  std::complex<E> complex(E xr, E xi, E yr, E yi, bool xReal, bool yReal) const {
    if (xReal) return {xr * yr, xr * yi};
    if (yReal) return {xr * yr, xi * yr};
    return {xr * yr - xi * yi, xr * yi + xi * yr};
  }
};

struct Divide {
  template <class E>
  E operator()(E x, E y) const {
    return x / y;
  }
  long double wideInteger(long double x, long double y) const {
    const long double quotient = x / y;
    return errorDecides(quotient) ? roundedSum(quotient, std::fma(-quotient, y, x) / y) : std::round(quotient);
  }
  template <class E>
  std::complex<E> complex(E xr, E xi, E yr, E yi, bool, bool yReal) const {
    if (yReal) return {xr / yr, xi / yr};
    return std::complex<E>(xr, xi) / std::complex<E>(yr, yi);
  }
};

struct Power {
  template <class E>
  E operator()(E x, E y) const {
    return y == 2 ? x * x : std::pow(x, y);
  }
  long double wideInteger(long double x, long double y) const {
    if (y < 0 || y != std::floor(y) || y > 64) return std::round(std::pow(x, y));
    return byMultiplying(x, static_cast<unsigned>(y));  // exact where it does not saturate
  }
  template <class E>
  std::complex<E> complex(E xr, E xi, E yr, E yi, bool, bool) const {
    const bool realExponent = yi == 0, integerExponent = realExponent && yr == std::floor(yr);
    if (realExponent && xi == 0 && (xr >= 0 || integerExponent)) return std::pow(xr, yr);
    const std::complex<E> base(xr, xi);
    if (base == std::complex<E>(0)) return E{0};
    if (!integerExponent || std::abs(yr) > 1024) return std::pow(base, std::complex<E>(yr, yi));
    const std::complex<E> result = byMultiplying(base, static_cast<unsigned>(std::abs(yr)));
    return yr < 0 ? E{1} / result : result;
  }

 private:
  template <class V>
  static V byMultiplying(V base, unsigned exponent) {
    V result(1);
    for (; exponent != 0; exponent >>= 1) {
      if (exponent & 1) result *= base;
      base *= base;
    }
    return result;
  }
};

template <class Op>
HostArray arithmetic(const char* name, const HostArray& a, const HostArray& b) {
  const ArrayClass resultClass = arithmeticClass(name, a, b);
  return elementwise(name, a, b, Op{}, resultClass, resultClass);
}

struct Equal {
  template <class E>
  bool operator()(E x, E y) const {
    return x == y;
  }
  template <class E>
  bool complex(E xr, E xi, E yr, E yi, bool, bool) const {
    return (xr == yr) & (xi == yi);
  }
};

struct Unequal {
  template <class E>
  bool operator()(E x, E y) const {
    return x != y;
  }
  template <class E>
  bool complex(E xr, E xi, E yr, E yi, bool, bool) const {
    return (xr != yr) | (xi != yi);
  }
};

/// A comparison by order, of real parts.
template <class Compare>
struct Ordered {
  template <class E>
  bool operator()(E x, E y) const {
    return Compare{}(x, y);
  }
  template <class E>
  bool complex(E xr, E, E yr, E, bool, bool) const {
    return Compare{}(xr, yr);
  }
};

/// 64-bit integers need more than a double to be compared exactly.
ArrayClass comparisonClass(const HostArray& a, const HostArray& b) {
  return is64Bit(a.arrayClass()) || is64Bit(b.arrayClass()) ? ArrayClass::Int64 : ArrayClass::Double;
}

template <class Op>
HostArray comparison(const char* name, const HostArray& a, const HostArray& b) {
  requireNumeric(name, a);
  requireNumeric(name, b);
  return elementwise(name, a, b, Op{}, ArrayClass::Logical, comparisonClass(a, b));
}

void requireTruthValues(const char* name, const HostArray& a) {
  requireReal(name, a);
  if (!a.isFloat()) return;
  const HostArray isNaN = mapElements(a, ArrayClass::Logical, [](auto x) -> bool { return x != x; });
  const bool* flags = isNaN.real<bool>();
  if (std::find(flags, flags + isNaN.numel(), true) != flags + isNaN.numel()) {
    raiseError("Tessel:nologicalnan", "NaN values cannot be converted to logicals.");
  }
}

template <class Op>
HostArray logicalOperation(const char* name, const HostArray& a, const HostArray& b, const Op& op) {
  requireTruthValues(name, a);
  requireTruthValues(name, b);
  return elementwise(name, a, b, op, ArrayClass::Logical, ArrayClass::Double);
}

template <class Predicate>
bool anyValue(const HostArray& a, const Predicate& predicate) {
  const std::vector<double> values = realParts(a);
  return std::any_of(values.begin(), values.end(), predicate);
}

bool givesComplexPowers(const HostArray& a, const HostArray& b, ArrayClass resultClass) {
  return !isIntegerClass(resultClass) && a.isFloat() && b.isFloat() && !a.isComplex() && !b.isComplex() &&
         anyValue(b, [](double y) { return y != std::floor(y); }) &&
         anyValue(a, [](double x) { return x < 0; });
}

}  // namespace

HostArray plus(const HostArray& a, const HostArray& b) { return arithmetic<Plus>("plus", a, b); }
HostArray minus(const HostArray& a, const HostArray& b) { return arithmetic<Minus>("minus", a, b); }
HostArray times(const HostArray& a, const HostArray& b) { return arithmetic<Times>("times", a, b); }
HostArray rdivide(const HostArray& a, const HostArray& b) { return arithmetic<Divide>("rdivide", a, b); }
HostArray ldivide(const HostArray& a, const HostArray& b) { return arithmetic<Divide>("ldivide", b, a); }

/// 2^-n of an integer n is 0: of all that can happen to the scaling of a number the least wanted.
void warnOfLostFraction(ArrayClass result, const HostArray& base, const HostArray& exponent) {
  if (!isIntegerClass(result) || exponent.isComplex()) return;
  const std::vector<double> exponents = realParts(exponent), bases = realParts(base);
  const auto hasFraction = [](double x) { return std::abs(x) > 1; };
  if (std::none_of(exponents.begin(), exponents.end(), [](double y) { return y < 0; })) return;
  if (std::none_of(bases.begin(), bases.end(), hasFraction)) return;
  const std::string name = HostArray::zeros(result, {1, 1}).className();
  warn("Tessel:integerPower", "A power with a negative exponent is rounded to an integer of class '" + name +
                                  "': double(n) as exponent keeps the fraction.");
}

HostArray power(const HostArray& a, const HostArray& b) {
  const ArrayClass resultClass = arithmeticClass("power", a, b);
  warnOfLostFraction(resultClass, a, b);
  if (!givesComplexPowers(a, b, resultClass)) return arithmetic<Power>("power", a, b);
  HostArray base = a;
  base.mutableImagData();
  return arithmetic<Power>("power", base, b);
}

HostArray uminus(const HostArray& a) {
  requireNumeric("uminus", a);
  return mapElements(a, numericClass(a.arrayClass()), [](auto x) { return -x; });
}

HostArray uplus(const HostArray& a) {
  requireNumeric("uplus", a);
  return mapElements(a, numericClass(a.arrayClass()), [](auto x) { return x; });
}

HostArray eq(const HostArray& a, const HostArray& b) { return comparison<Equal>("eq", a, b); }
HostArray ne(const HostArray& a, const HostArray& b) { return comparison<Unequal>("ne", a, b); }
HostArray lt(const HostArray& a, const HostArray& b) { return comparison<Ordered<std::less<>>>("lt", a, b); }
HostArray le(const HostArray& a, const HostArray& b) {
  return comparison<Ordered<std::less_equal<>>>("le", a, b);
}
HostArray gt(const HostArray& a, const HostArray& b) { return comparison<Ordered<std::greater<>>>("gt", a, b); }
HostArray ge(const HostArray& a, const HostArray& b) {
  return comparison<Ordered<std::greater_equal<>>>("ge", a, b);
}

HostArray logicalAnd(const HostArray& a, const HostArray& b) {
  return logicalOperation("and", a, b, [](auto x, auto y) -> bool { return (x != 0) & (y != 0); });
}

HostArray logicalOr(const HostArray& a, const HostArray& b) {
  return logicalOperation("or", a, b, [](auto x, auto y) -> bool { return (x != 0) | (y != 0); });
}

HostArray logicalXor(const HostArray& a, const HostArray& b) {
  return logicalOperation("xor", a, b, [](auto x, auto y) -> bool { return (x != 0) != (y != 0); });
}

HostArray logicalNot(const HostArray& a) {
  requireTruthValues("not", a);
  return mapElements(a, ArrayClass::Logical, [](auto x) -> bool { return x == decltype(x)(0); });
}

namespace {

constexpr double kLongestRange = 0x1p40;
constexpr double kDoublePrecision = 0x1p-52;

/// The number of steps from `first` that do not pass `last`, where passing it by rounding errors of the ends
/// does not count; −1 when there is none.
template <class E>
double stepCount(E first, E step, E last, double precision) {
  if (step == 0 || (step > 0 && first > last) || (step < 0 && first < last)) return -1;
  const double slack =
      2 * precision * static_cast<double>(std::max(std::abs(first), std::abs(last)) / std::abs(step));
  return std::floor(static_cast<double>((last - first) / step) + (step == std::floor(step) ? 0 : slack));
}

ArrayClass rangeClass(const HostArray& first, const HostArray& step, const HostArray& last) {
  for (const HostArray* argument : {&first, &step, &last}) {
    requireReal("colon", *argument);
    if (!argument->isScalar())
      raiseError("Tessel:mustBeScalar", "The ends and the step of a range must be scalars.");
  }
  const ArrayClass ends = arithmeticClass("colon", first, last);
  return arithmeticClass("colon", HostArray::zeros(ends, {1, 1}), step);
}

}  // namespace

template <class E>
EqualSteps<E>::EqualSteps(E first, E step, E last, double precision) : first_(first), step_(step), last_(last) {
  const double steps = stepCount(first, step, last, precision);
  if (!(steps < kLongestRange)) raiseError("Tessel:rangeTooLarge", "The range has too many elements.");
  count_ = static_cast<std::size_t>(steps + 1);
  if (count_ == 1) step_ = std::copysign(E{1}, step_);  // it may be infinite, or longer than any position
}

std::optional<EqualSteps<double>> doubleSteps(double first, double step, double last) {
  if (std::isnan(first) || std::isnan(step) || std::isnan(last)) return std::nullopt;
  return EqualSteps<double>(first, step, last, kDoublePrecision);
}

HostArray rowOf(const EqualSteps<double>& steps) {
  HostArray row = HostArray::unset(ArrayClass::Double, {1, steps.count()});
  double* to = row.mutableReal<double>();
  for (std::size_t k = 0; k < steps.count(); ++k) to[k] = steps[k];
  return row;
}

HostArray colon(const HostArray& first, const HostArray& step, const HostArray& last) {
  const ArrayClass resultClass = rangeClass(first, step, last);
  const bool isText = first.isChar() && last.isChar();
  return visitComputeType(resultClass, [&](auto zero) {
    using E = decltype(zero);
    E start, increment, end;
    loadElements(first, false, 0, 1, 1, &start);
    loadElements(step, false, 0, 1, 1, &increment);
    loadElements(last, false, 0, 1, 1, &end);
    if (start != start || increment != increment || end != end) return HostArray::scalar(std::nan(""));
    const EqualSteps<E> steps(start, increment, end,
                              resultClass == ArrayClass::Single ? 0x1p-23 : kDoublePrecision);
    HostArray result = HostArray::zeros(isText ? ArrayClass::Char : resultClass, {1, steps.count()});
    Results<E, E> results(result);
    forEachBlock(steps.count(), [&](std::size_t from, std::size_t length) {
      results.fill(from, length, [&](std::size_t i) { return steps[from + i]; });
    });
    return result;
  });
}

namespace {

struct UnaryOperator {
  const char* name;
  HostArray (*call)(const HostArray&);
  const char* help;
};

struct BinaryOperator {
  const char* name;
  HostArray (*call)(const HostArray&, const HostArray&);
  const char* help;
};

constexpr UnaryOperator kUnaryOperators[] = {
    {"uminus", uminus, "uminus(a): the negated elements: -a."},
    {"uplus", uplus, "uplus(a): the elements as they are: +a."},
    {"not", logicalNot, "not(a): true where an element is zero: ~a."},
    {"transpose", transpose, "transpose(a): rows and columns exchanged: a.'."},
    {"ctranspose", ctranspose, "ctranspose(a): rows and columns exchanged, conjugated: a'."},
};

constexpr BinaryOperator kBinaryOperators[] = {
    {"plus", plus, "plus(a, b): the sum element by element: a + b."},
    {"minus", minus, "minus(a, b): the difference element by element: a - b."},
    {"times", times, "times(a, b): the product element by element: a .* b."},
    {"rdivide", rdivide, "rdivide(a, b): the quotient element by element: a ./ b."},
    {"ldivide", ldivide, "ldivide(a, b): the quotient element by element: a .\\ b = b ./ a."},
    {"power", power, "power(a, b): powers element by element: a .^ b."},
    {"mtimes", mtimes, "mtimes(a, b): the matrix product: a * b."},
    {"mldivide", mldivide, "mldivide(a, b): the solution x of a*x = b: a \\ b."},
    {"mrdivide", mrdivide, "mrdivide(a, b): the solution x of x*b = a: a / b."},
    {"mpower", mpower, "mpower(a, n): a square matrix to an integer power: a ^ n."},
    {"and", logicalAnd, "and(a, b): true where both elements are non-zero: a & b."},
    {"or", logicalOr, "or(a, b): true where an element is non-zero: a | b."},
    {"xor", logicalXor, "xor(a, b): true where one element alone is non-zero."},
    {"eq", eq, "eq(a, b): true where elements are equal: a == b."},
    {"ne", ne, "ne(a, b): true where elements differ: a ~= b."},
    {"lt", lt, "lt(a, b): true where a is less: a < b."},
    {"le", le, "le(a, b): true where a is less or equal: a <= b."},
    {"gt", gt, "gt(a, b): true where a is greater: a > b."},
    {"ge", ge, "ge(a, b): true where a is greater or equal: a >= b."},
};

Arrays callColon(Arrays& inputs, int) {
  if (inputs.size() == 2) return {colon(inputs[0], HostArray::scalar(1), inputs[1])};
  return {colon(inputs[0], inputs[1], inputs[2])};
}

}  // namespace

std::vector<FunctionInfo> arithmeticFunctions() {
  std::vector<FunctionInfo> functions;
  for (const UnaryOperator& row : kUnaryOperators) {
    const auto call = [f = row.call](Arrays& in, int) { return Arrays{f(in[0])}; };
    functions.push_back({row.name, call, 1, 1, 1, row.help});
  }
  for (const BinaryOperator& row : kBinaryOperators) {
    const auto call = [f = row.call](Arrays& in, int) { return Arrays{f(in[0], in[1])}; };
    functions.push_back({.name = row.name,
                         .call = call,
                         .minInputs = 2,
                         .maxInputs = 2,
                         .maxOutputs = 1,
                         .help = row.help,
                         .ofTwo = row.call});
  }
  functions.push_back(
      {"colon", callColon, 2, 3, 1, "colon(first, last), colon(first, step, last): a row of equal steps."});
  return functions;
}

}  // namespace tessel
