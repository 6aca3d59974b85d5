/// Methods of `embedded.fi` that compute.

#include "qfcore/host/FiObjClass.h"
#include "qfcore/host/FimathObjClass.h"
#include "qfcore/host/NumericTypeObjClass.h"

namespace embedded::host {

namespace {

constexpr Message kScalarDivisor{
    "numforge:fi:mrdivide:scalardivisor",
    "The divisor of a matrix division must be scalar. Use ./ for element-wise division."};
constexpr Message kBadArgument{"numforge:fi:badargument",
                               "Function '%s' takes a fi, and besides it only a numerictype and a fimath."};
constexpr Message kBadDimension{"numforge:fi:sum:badargument", "SUM takes a dimension from 1 on."};

// ------------------------------------------------------------------------------------------ division, negation

fi quotient(const fi& a, const fi& b) { return a.over(b, a.getNumericTypeForQuotient(b)); }

fi matrixQuotient(const fi& a, const fi& b) {
  if (!b.isscalar()) fail<kScalarDivisor>();
  return quotient(a, b);
}

/// A host number has no fraction length of its own to take off, so an array divided by one keeps its type.
template <fi (*Quotient)(const fi&, const fi&)>
HostArray divisionMethod(const HostArray& left, const HostArray& right) {
  const fi* a = unwrapped<fi>(left);
  const bool byNumber = a && !unwrapped<fi>(right) && (Quotient == quotient || right.isScalar());
  if (!byNumber) return binaryMethod<Quotient>(left, right);
  return translated(
      [&] { return arrayOf([&] { return a->over(operandBeside(right, *a), a->getNumericType()); }); });
}

fi leftQuotient(const fi& a, const fi& b) { return quotient(b, a); }

fi same(const fi& a) { return a; }
fi magnitude(const fi& a) { return a.abs(); }

NumericType typeOfSum(const fi& a, const fi& b) { return a.getNumericTypeForAddOp(b); }

// -------------------------------------------------------------------------------- operations with a given type

using WithType = fi (fi::*)(const NumericType&) const;
using WithMath = fi (fi::*)(const fimath&) const;
using WithBoth = fi (fi::*)(const NumericType&, const fimath&) const;
using Alone = fi (fi::*)() const;

/// f(a), f(a, T), f(a, F), f(a, T, F): the array, and in any order a type and settings.
template <Alone Plain, WithType Typed, WithMath Set, WithBoth Full, const auto& Name>
Arrays withTypeAndMath(Arrays& inputs, int) {
  const fi* x = nullptr;
  const NumericType* type = nullptr;
  const fimath* math = nullptr;
  for (const HostArray& input : inputs) {
    if (!x && (x = unwrapped<fi>(input))) continue;
    if (!type && (type = unwrapped<NumericType>(input))) continue;
    if (!math && (math = unwrapped<fimath>(input))) continue;
    fail<kBadArgument>(Name);
  }
  if (!x) fail<kBadArgument>(Name);
  if (type && math) return resultOf([&] { return (x->*Full)(*type, *math); });
  if (type) return resultOf([&] { return (x->*Typed)(*type); });
  return resultOf([&] { return math ? (x->*Set)(*math) : (x->*Plain)(); });
}

constexpr char kSqrt[] = "sqrt", kRealabs[] = "realabs";
constexpr auto squareRoot =
    withTypeAndMath<&fi::sqrtBisection, &fi::sqrtBisection, &fi::sqrtBisection, &fi::sqrtBisection, kSqrt>;
constexpr auto realAbsolute = withTypeAndMath<&fi::realabs, &fi::realabs, &fi::realabs, &fi::realabs, kRealabs>;

/// add(F, a, b): both operands take the settings F first.
template <auto Operation>
Arrays underSettings(Arrays& inputs, int) {
  const fimath& math = fimathArgument(inputs[0]);
  const fi* known = unwrapped<fi>(inputs[1]) ? unwrapped<fi>(inputs[1]) : &fiArgument(inputs[2]);
  fi a = operandBeside(inputs[1], *known), b = operandBeside(inputs[2], *known);
  a.setFimath(math);
  b.setFimath(math);
  return resultOf([&] { return (a.*Operation)(b); });
}

/// divide(T, a, b)
Arrays divide(Arrays& inputs, int) {
  const NumericType& type = numericTypeArgument(inputs[0]);
  const fi *a = unwrapped<fi>(inputs[1]), *b = unwrapped<fi>(inputs[2]);
  if (a && b) return resultOf([&] { return a->over(*b, type); });
  const fi& known = a ? *a : fiArgument(inputs[2]);
  return resultOf([&] { return operandBeside(inputs[1], known).over(operandBeside(inputs[2], known), type); });
}

// -------------------------------------------------------------------------------------------------------- sums

/// sum(a), sum(a, dim)
Arrays sum(Arrays& inputs, int) {
  const fi& x = fiArgument(inputs[0]);
  if (inputs.size() == 1) return resultOf([&] { return x.sumAlong(x.firstNonSingleton()); });
  const std::optional<unsigned> dimension = dimensionArgument(inputs[1]);
  if (!dimension) fail<kBadDimension>();
  return resultOf([&] { return x.sumAlong(*dimension); });
}

const Method kFimathMethods[] = {
    {"add", 3, 3, 1, underSettings<&fi::plus>, "add(F, a, b): a + b under the settings F."},
    {"sub", 3, 3, 1, underSettings<&fi::minus>, "sub(F, a, b): a - b under the settings F."},
    {"mpy", 3, 3, 1, underSettings<&fi::times>, "mpy(F, a, b): a .* b under the settings F."},
    {"sqrt", 2, 3, 1, squareRoot, "sqrt(F, a): the square root of a, rounded as the settings F say."},
};

const Method kNumericTypeMethods[] = {
    {"divide", 3, 3, 1, divide, "divide(T, a, b): a ./ b in the type T."},
    {"sqrt", 2, 3, 1, squareRoot, "sqrt(T, a): the square root of a in the type T."},
};

const Method kMethods[] = {
    {"plus", 2, 2, 1, binaryMethod<&fi::plus>, "plus(a, b), a + b: element-wise sum in the type of the sum."},
    {"minus", 2, 2, 1, binaryMethod<&fi::minus>, "minus(a, b), a - b: element-wise difference."},
    {"times", 2, 2, 1, binaryMethod<&fi::times>, "times(a, b), a .* b: element-wise product."},
    {"mtimes", 2, 2, 1, binaryMethod<&fi::mtimes>, "mtimes(a, b), a * b: matrix product."},
    {"rdivide", 2, 2, 1, divisionMethod<quotient>,
     "rdivide(a, b), a ./ b: element-wise quotient in the longer word, with a's fraction length less b's; "
     "divided by a host number, a keeps its type."},
    {"ldivide", 2, 2, 1, binaryMethod<leftQuotient>, "ldivide(a, b), a .\\ b: b ./ a."},
    {"mrdivide", 2, 2, 1, divisionMethod<matrixQuotient>, "mrdivide(a, b), a / b: a ./ b, b being scalar."},
    {"uminus", 1, 1, 1, askArray<&fi::uminus>, "uminus(a), -a: negated, brought into the type of a."},
    {"uplus", 1, 1, 1, askArray<same>, "uplus(a), +a: a."},
    {"conj", 1, 1, 1, askArray<&fi::conj>, "conj(a): the complex conjugate."},
    {"sign", 1, 1, 1, askArray<&fi::sign>, "sign(a): -1, 0 or 1 for every element."},
    {"abs", 1, 1, 1, askArray<magnitude>, "abs(a): magnitudes in the type of a."},
    {"realabs", 1, 3, 1, realAbsolute,
     "realabs(a), realabs(a, T), realabs(a, F), realabs(a, T, F): absolute values in the type T, rounded as F "
     "says."},
    {"sqrt", 1, 3, 1, squareRoot,
     "sqrt(a), sqrt(a, T), sqrt(a, F), sqrt(a, T, F): square roots in the type T, rounded as F says."},
    {"sum", 1, 2, 1, sum, "sum(a), sum(a, dim): the sum along a dimension, the first that is not 1 by itself."},
    {"leadingdimension_sum", 1, 1, 1, askArray<&fi::leadingdimension_sum>,
     "leadingdimension_sum(a): the sum along the first dimension."},
    {"GetNumericTypeForPlus", 2, 2, 1, binaryMethod<typeOfSum>,
     "GetNumericTypeForPlus(a, b): the numeric type of a + b."},
};

}  // namespace

std::span<const Method> arithmeticMethods() { return kMethods; }
std::span<const Method> fimathArithmeticMethods() { return kFimathMethods; }
std::span<const Method> numericTypeArithmeticMethods() { return kNumericTypeMethods; }

}  // namespace embedded::host
