/// Methods of `embedded.fi` that let an array stand where the host's functions take numbers.
#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <numeric>

#include "qfcore/fi/display.h"
#include "qfcore/fi/integers.h"
#include "qfcore/fi/messages.h"
#include "qfcore/host/FiObjClass.h"
#include "qfcore/host/NumericTypeObjClass.h"
#include "tessel/interpreter.h"

namespace embedded::host {

namespace {

using tessel::ArrayClass;

constexpr Message kBadExponent{
    "numforge:fi:power:exponent",
    "The exponent must be an integer from 0 on; 1 ./ a divides, and a.double.^x takes "
    "any."};
constexpr Message kBadPlaces{"numforge:fi:round:badargument",
                             "ROUND of a fi gives integers; round(a.double, n) rounds to decimal places."};
constexpr Message kBadDimension{"numforge:fi:badargument", "Function '%s' takes a dimension from 1 on."};
constexpr Message kBadTimes{"numforge:fi:diff:badargument",
                            "DIFF takes an array, how many times, an integer from 0 on, and a dimension."};
constexpr Message kBadNorm{
    "numforge:fi:norm:badargument",
    "NORM of a fi takes a vector and 1, 2 or Inf, or any array and 'fro'; norm(a.double) "
    "takes the others."};
constexpr Message kBadCast{
    "numforge:fi:cast:badargument",
    "CAST takes an array and a numerictype, 'like' and an array, or the name of a class."};

template <const auto& Name>
Arrays withNumbers(Arrays& inputs, int outputCount) {
  return callWithNumbers(Name, inputs, outputCount);
}

template <const auto& Name, RoundModeEnum Mode>
Arrays rounded(Arrays& inputs, int) {
  return {toHost(roundedToIntegers(fiArgument(inputs[0]), Mode, Name))};
}

constexpr char kRound[] = "round";

/// round(a); of a host number to as many places as an array says, the host's.
Arrays round(Arrays& inputs, int outputCount) {
  if (unwrapped<fi>(inputs[0]) && inputs.size() > 1) fail<kBadPlaces>();
  return ofArrayOrNumbers<kRound, rounded<kRound, RoundModeEnum::round>>(inputs, outputCount);
}

template <const auto& Name, RemainderSign Sign>
fi remainderOf(const fi& a, const fi& b) {
  return remainder(a, b, Sign, Name);
}

/// A count of operations from 0 on; nothing for what is none.
std::optional<unsigned> countArgument(const HostArray& argument) {
  constexpr double kMost = 65535;
  const HostArray value = numbersOf(argument);
  const bool isNumber = (value.isNumeric() || value.isLogical()) && value.isScalar() && !value.isComplex();
  const double count = isNumber ? value.realAt(0) : -1;
  if (!(count >= 0 && count <= kMost) || count != std::floor(count)) return std::nullopt;
  return static_cast<unsigned>(count);
}

unsigned exponentArgument(const HostArray& argument) {
  const std::optional<unsigned> exponent = countArgument(argument);
  if (!exponent) fail<kBadExponent>();
  return *exponent;
}

unsigned timesArgument(const HostArray& argument) {
  const std::optional<unsigned> times = countArgument(argument);
  if (!times) fail<kBadTimes>();
  return *times;
}

constexpr char kPower[] = "power", kMpower[] = "mpower";

/// A power of an array; of a host number with an array as exponent, the host's.
template <fi (*Power)(const fi&, unsigned), const auto& Name>
Arrays powerOf(Arrays& inputs, int outputCount) {
  const fi* base = unwrapped<fi>(inputs[0]);
  if (!base) return withNumbers<Name>(inputs, outputCount);
  return {toHost(Power(*base, exponentArgument(inputs[1])))};
}

/// The dimension that the input at `place` names, else the first one of `x` that is not 1.
unsigned dimensionAt(const fi& x, const Arrays& inputs, std::size_t place, const char* name) {
  if (inputs.size() <= place) return x.firstNonSingleton();
  constexpr unsigned kMost = 255;
  const std::optional<unsigned> dimension = dimensionArgument(inputs[place]);
  if (!dimension || *dimension > kMost) fail<kBadDimension>(name);
  return *dimension;
}

fi allElements(const fi& x) {
  HostArray positions = HostArray::zeros(ArrayClass::Double, {x.numel(), 1});
  std::iota(positions.mutableReal<double>(), positions.mutableReal<double>() + x.numel(), 1.0);
  return x.subscriptedReference(positions);
}

bool isNothing(const fi& x) { return x.numDims() == 2 && x.rows() == 0 && x.cols() == 0; }

/// prod(a), prod(a, dim); of no elements at all one, as the host has it.
Arrays prod(Arrays& inputs, int) {
  const fi& x = fiArgument(inputs[0]);
  const bool givesOne = inputs.size() == 1 && isNothing(x);
  return {toHost(givesOne ? product(allElements(x), 1) : product(x, dimensionAt(x, inputs, 1, "prod")))};
}

/// diff(a), diff(a, n), diff(a, n, dim): n times the differences of neighbours.
Arrays diff(Arrays& inputs, int) {
  fi x = fiArgument(inputs[0]);
  const bool isGiven = inputs.size() > 2;
  const unsigned given = isGiven ? dimensionAt(x, inputs, 2, "diff") : 0;
  for (unsigned times = inputs.size() > 1 ? timesArgument(inputs[1]) : 1; times > 0 && !x.isempty(); --times)
    x = difference(x, isGiven ? given : x.firstNonSingleton());
  return {toHost(std::move(x))};
}

fi largestOf(const fi& x) {
  unsigned index = 0;
  HostArray position;
  return x.unary_max(index, position);
}

/// norm(v), norm(v, p), norm(a, 'fro'); 0 of no elements, as the host has it.
Arrays norm(Arrays& inputs, int) {
  const fi& x = fiArgument(inputs[0]);
  const bool isFrobenius = inputs.size() > 1 && inputs[1].isText() && inputs[1].toText() == "fro";
  const HostArray kind = inputs.size() > 1 && !isFrobenius ? numbersOf(inputs[1]) : HostArray::scalar(2);
  const double p = kind.isNumeric() && kind.isScalar() && !kind.isComplex() ? kind.realAt(0) : 0;
  const bool isKnown = p == 1 || p == 2 || p == std::numeric_limits<double>::infinity();
  if (!isKnown || (!isFrobenius && !x.isvector() && !x.isempty())) fail<kBadNorm>();
  const fi values = allElements(x);
  if (p == 2) {
    const fi real = values.getRealFi();
    fi squares = real.times(real);
    if (values.iscomplex()) {
      const fi imaginary = values.getImagFi();
      squares = squares.plus(imaginary.times(imaginary));
    }
    return {toHost(squares.sumAlong(1).sqrtBisection())};
  }
  const fi magnitudes = values.abs();
  return {toHost(p == 1 || x.isempty() ? magnitudes.sumAlong(1) : largestOf(magnitudes))};
}

// ------------------------------------------------------------------------------------------- integers of the
// host

/// The elements of `x`, integers of 64 bits at most, in the class of the elements `Integer`.
template <class Integer>
HostArray hostIntegers(const fi& x) {
  HostArray result =
      HostArray::zeros(tessel::arrayClassOf<Integer>(), {x.dims().begin(), x.dims().end()}, x.iscomplex());
  const NumericType& type = x.getNumericType();
  const auto read = [&](const number& values, Integer* to) {
    const number part(values, Reading{});
    for (unsigned k = 0; k < part.numel(); ++k) {
      const std::string text = part[k].fixed2sdec(type.isSigned(), type.wordLength(), 1, 0, 0);
      std::from_chars(text.data(), text.data() + text.size(), to[k]);
    }
  };
  read(x.realPart(), result.mutableReal<Integer>());
  if (x.iscomplex()) read(x.imagPart(), result.mutableImag<Integer>());
  return result;
}

/// int8(a), ...: rounded to nearest, ties away from zero, and saturated, as the host does with its own numbers.
template <class Integer>
Arrays toIntegers(Arrays& inputs, int) {
  const fi& x = fiArgument(inputs[0]);
  const NumericType type(std::is_signed_v<Integer>, static_cast<int>(8 * sizeof(Integer)), 0);
  if (!x.getNumericType().isFixed()) {
    const HostArray model = HostArray::zeros(tessel::arrayClassOf<Integer>(), {1, 1});
    return tessel::callBuiltin(model.className(), {x.getDataHostArray()});
  }
  fi integers(x);
  fimath math;
  math.setRoundMode(RoundModeEnum::round);
  math.setOverflowMode(OverflowModeEnum::saturate);
  integers.setFimath(math);
  integers.setNumericType(type);
  return {hostIntegers<Integer>(integers)};
}

// ------------------------------------------------------------------------------------------------ other
// functions

/// [c, i, j] = unique(a): c = a(i), a = c(j); equal values stand for the first of them.
Arrays unique(Arrays& inputs, int) {
  const fi& x = fiArgument(inputs[0]);
  if (x.iscomplex()) fail<message::realOnly>("unique");
  HostArray order, placeOf = HostArray::zeros(ArrayClass::Double, {x.numel(), 1});
  const fi sorted = allElements(x).stridesort(true, 1, x.numel(), &order);
  std::vector<double> kept;
  number last(0.0, x.realPart().getprecision(), false);
  for (unsigned k = 0; k < x.numel(); ++k) {
    const number& value = sorted.realPart()[k];
    const double position = order.real<double>()[k];
    if (k == 0 || value != last) kept.push_back(position);
    last = value;
    placeOf.mutableReal<double>()[static_cast<std::size_t>(position) - 1] = static_cast<double>(kept.size());
  }
  const bool isRow = x.isrow() && !x.isempty();
  const auto places = [&](std::size_t rows, std::size_t columns) {
    HostArray result = HostArray::zeros(ArrayClass::Double, {rows, columns});
    std::ranges::copy(kept, result.mutableReal<double>());
    return result;
  };
  fi values =
      isNothing(x) ? x : x.subscriptedReference(isRow ? places(1, kept.size()) : places(kept.size(), 1));
  return {toHost(std::move(values)), places(kept.size(), 1), std::move(placeOf)};
}

constexpr std::string_view kNumberClasses[] = {"double", "single", "logical", "int8",   "int16", "int32",
                                               "int64",  "uint8",  "uint16",  "uint32", "uint64"};

/// cast(a, T), cast(a, 'like', b), cast(a, 'int8')
Arrays cast(Arrays& inputs, int outputCount) {
  const bool isLike = inputs.size() == 3 && inputs[1].isText() && equalIgnoringCase(inputs[1].toText(), "like");
  const HostArray& model = inputs.back();
  if (inputs.size() == 3 && !isLike) fail<kBadCast>();
  const fi* x = unwrapped<fi>(inputs[0]);
  if (const fi* other = isLike ? unwrapped<fi>(model) : nullptr) {
    fi result = x ? *x : fi(&inputs[0], other->getNumericType(), other->getFimath());
    result.setFimath(other->getFimath());
    result.setNumericType(other->getNumericType());
    return {toHost(std::move(result))};
  }
  if (x && !isLike && unwrapped<NumericType>(model)) {
    fi result(*x);
    result.setNumericType(numericTypeArgument(model));
    return {toHost(std::move(result))};
  }
  if (!x || !(isLike || model.isText())) fail<kBadCast>();
  const std::string name = isLike ? model.className() : model.toText();
  if (std::ranges::find(kNumberClasses, name) == std::end(kNumberClasses)) fail<kBadCast>();
  return tessel::callFunction(name, {inputs[0]}, outputCount);
}

/// cast(x, T) of the host's numbers
Arrays castNumbers(Arrays& inputs, int) {
  return resultOf([&] { return fi(&inputs[0], numericTypeArgument(inputs[1]), fimath()); });
}

HostArray doublesOf(const std::vector<int>& values, const fi& shape) {
  HostArray result = HostArray::zeros(ArrayClass::Double, {shape.dims().begin(), shape.dims().end()});
  std::copy(values.begin(), values.end(), result.mutableReal<double>());
  return result;
}

Arrays leadingSignsOf(Arrays& inputs, int) {
  const fi& x = fiArgument(inputs[0]);
  return {doublesOf(leadingSigns(x, "leadingsigns"), x)};
}

Arrays normalize(Arrays& inputs, int) {
  const fi& x = fiArgument(inputs[0]);
  std::vector<int> shifts;
  fi result = normalized(x, shifts);
  return {toHost(std::move(result)), doublesOf(shifts, x)};
}

/// decimal(a): what the host writes wherever it writes numbers.
Arrays decimal(Arrays& inputs, int) {
  const fi& x = fiArgument(inputs[0]);
  HostArray cell = HostArray::cell({x.dims().begin(), x.dims().end()});
  const std::vector<std::string> texts = exactTexts(x);
  for (std::size_t k = 0; k < texts.size(); ++k) cell.mutableCellAt(k) = HostArray::text(texts[k]);
  return {std::move(cell)};
}

/// `Answer` for the elements whose parts, or one of them, have the property. Fixed-point values never do, also
/// where no double is as large.
template <bool (*Property)(double), bool Answer>
Arrays elementsThat(Arrays& inputs, int) {
  const fi& x = fiArgument(inputs[0]);
  HostArray result = HostArray::zeros(ArrayClass::Logical, {x.dims().begin(), x.dims().end()});
  bool* answers = result.mutableReal<bool>();
  std::fill_n(answers, x.numel(), !Answer);
  if (x.getNumericType().isFixed()) return {std::move(result)};
  const HostArray values = x.getDataHostArray();
  for (std::size_t k = 0; k < values.numel(); ++k)
    if (Property(values.realAt(k)) || (values.isComplex() && Property(values.imagAt(k)))) answers[k] = Answer;
  return {std::move(result)};
}

bool isNotANumber(double value) { return std::isnan(value); }
bool isInfinite(double value) { return std::isinf(value); }
bool isNotFinite(double value) { return !std::isfinite(value); }

Arrays isNumeric(Arrays&, int) { return {toHost(true)}; }

constexpr char kFloor[] = "floor", kCeil[] = "ceil", kFix[] = "fix", kNearest[] = "nearest",
               kConvergent[] = "convergent", kMod[] = "mod", kRem[] = "rem", kColon[] = "colon",
               kZeros[] = "zeros", kOnes[] = "ones", kEye[] = "eye", kRand[] = "rand", kRandn[] = "randn",
               kCell[] = "cell", kLinspace[] = "linspace";

const Method kMethods[] = {
    {"floor", 1, 1, 1, rounded<kFloor, RoundModeEnum::floor>,
     "floor(a): the next integers below, in the bits before the point."},
    {"ceil", 1, 1, 1, rounded<kCeil, RoundModeEnum::ceil>,
     "ceil(a): the next integers above, in one bit more."},
    {"fix", 1, 1, 1, rounded<kFix, RoundModeEnum::fix>, "fix(a): without what stands behind the point."},
    {"round", 1, 3, 1, round, "round(a): nearest integers, ties away from zero."},
    {"nearest", 1, 1, 1, rounded<kNearest, RoundModeEnum::nearest>,
     "nearest(a): nearest integers, ties towards positive infinity."},
    {"convergent", 1, 1, 1, rounded<kConvergent, RoundModeEnum::convergent>,
     "convergent(a): nearest integers, ties to even ones."},
    {"mod", 2, 2, 1, binaryMethod<remainderOf<kMod, RemainderSign::OfDivisor>>,
     "mod(a, b): the remainder of a ./ b with the sign of b, exactly: in the longer integer part and fraction "
     "of both."},
    {"rem", 2, 2, 1, binaryMethod<remainderOf<kRem, RemainderSign::OfDividend>>,
     "rem(a, b): the remainder of a ./ b with the sign of a, exactly: in the longer integer part and fraction "
     "of both."},
    {"power", 2, 2, 1, powerOf<elementPower, kPower>,
     "power(a, n), a .^ n: n - 1 products by the rule of times; n is an integer from 0 on."},
    {"mpower", 2, 2, 1, powerOf<matrixPower, kMpower>,
     "mpower(a, n), a ^ n: n - 1 products by the rule of mtimes."},
    {"prod", 1, 2, 1, prod,
     "prod(a), prod(a, dim): the product along a dimension, by the rule of times from the first element on."},
    {"diff", 1, 3, 1, diff,
     "diff(a), diff(a, n), diff(a, n, dim): differences of neighbours along a dimension, n times, by the rule "
     "of minus."},
    {"norm", 1, 2, 1, norm,
     "norm(v), norm(v, 1), norm(v, Inf), norm(a, 'fro'): by the rules of times, sum, sqrt, abs and max."},
    {"int8", 1, 1, 1, toIntegers<std::int8_t>, "int8(a): nearest integers of 8 bits, saturated."},
    {"int16", 1, 1, 1, toIntegers<std::int16_t>, "int16(a): nearest integers of 16 bits, saturated."},
    {"int32", 1, 1, 1, toIntegers<std::int32_t>, "int32(a): nearest integers of 32 bits, saturated."},
    {"int64", 1, 1, 1, toIntegers<std::int64_t>, "int64(a): nearest integers of 64 bits, saturated."},
    {"uint8", 1, 1, 1, toIntegers<std::uint8_t>, "uint8(a): nearest integers of 8 bits, saturated."},
    {"uint16", 1, 1, 1, toIntegers<std::uint16_t>, "uint16(a): nearest integers of 16 bits, saturated."},
    {"uint32", 1, 1, 1, toIntegers<std::uint32_t>, "uint32(a): nearest integers of 32 bits, saturated."},
    {"uint64", 1, 1, 1, toIntegers<std::uint64_t>, "uint64(a): nearest integers of 64 bits, saturated."},
    {"unique", 1, 1, 3, unique, "[c, i, j] = unique(a): the different values in order, and where they stand."},
    {"cast", 2, 3, 1, cast,
     "cast(a, T), cast(a, 'like', b), cast(a, class): a in another type under its own math settings; in type "
     "and settings of b; in a class of the host."},
    {"leadingsigns", 1, 1, 1, leadingSignsOf,
     "leadingsigns(a): the bits behind the sign bit that repeat it; of unsigned words the zeros in front."},
    {"normalize", 1, 1, 2, normalize,
     "[b, k] = normalize(a): b = a .* 2.^k without leading signs, in the type of a; zeros stay."},
    {"decimal", 1, 1, 1, decimal, "decimal(a): a cell with the exact decimal text of every element."},
    {"isnumeric", 1, 1, 1, isNumeric, "isnumeric(a): true."},
    {"isnan", 1, 1, 1, elementsThat<isNotANumber, true>,
     "isnan(a): which elements are NaN; never those of fixed-point types."},
    {"isinf", 1, 1, 1, elementsThat<isInfinite, true>, "isinf(a): which elements are infinite."},
    {"isfinite", 1, 1, 1, elementsThat<isNotFinite, false>, "isfinite(a): which elements are finite."},
    {"colon", 2, 3, 1, withNumbers<kColon>, "colon(a, b), colon(a, step, b): a:step:b as doubles."},
    {"linspace", 2, 3, 1, withNumbers<kLinspace>,
     "linspace(a, b), linspace(a, b, n): n (100) doubles from a to b in equal steps."},
    {"zeros", 1, -1, 1, withNumbers<kZeros>, "zeros(m, n, ...): zeros of the host, the sizes being a fi."},
    {"ones", 1, -1, 1, withNumbers<kOnes>, "ones(m, n, ...): ones of the host, the sizes being a fi."},
    {"eye", 1, -1, 1, withNumbers<kEye>, "eye(m, n): the unit matrix of the host, the sizes being a fi."},
    {"rand", 1, -1, 1, withNumbers<kRand>, "rand(m, n, ...): random doubles, the sizes being a fi."},
    {"randn", 1, -1, 1, withNumbers<kRandn>, "randn(m, n, ...): random doubles, the sizes being a fi."},
    {"cell", 1, -1, 1, withNumbers<kCell>, "cell(m, n, ...): an empty cell array, the sizes being a fi."},
};

const Method kNumericTypeMethods[] = {
    {"cast", 2, 2, 1, castNumbers, "cast(x, T): the numbers x as an array of the type T, as fi(x, T)."},
};

}  // namespace

HostArray numbersOf(const HostArray& argument) {
  const fi* x = unwrapped<fi>(argument);
  return x ? x->getDataHostArray() : argument;
}

Arrays callWithNumbers(const char* name, const Arrays& inputs, int outputCount) {
  Arrays numbers;
  for (const HostArray& input : inputs) numbers.push_back(numbersOf(input));
  return tessel::callBuiltin(name, std::move(numbers), outputCount);
}

std::span<const Method> numberMethods() { return kMethods; }
std::span<const Method> numericTypeNumberMethods() { return kNumericTypeMethods; }

}  // namespace embedded::host
