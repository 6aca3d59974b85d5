/// Methods of `embedded.fi` on the bits of stored integers.
#include <cmath>
#include <limits>
#include <map>

#include "qfcore/host/FiObjClass.h"
#include "qfcore/host/NumericTypeObjClass.h"

namespace embedded::host {

namespace {

constexpr Message kNotInteger{"numforge:fi:shift:notinteger",
                              "The second argument of '%s' must be a real integer scalar."};

constexpr Message kSizesDiffer{"numforge:fi:dimagree", "Matrix dimensions must agree."};

/// bitset(a, bit), bitset(a, bit, value)
Arrays bitset(Arrays& inputs, int) {
  const fi& x = fiArgument(inputs[0]);
  if (inputs.size() == 2) return resultOf([&] { return x.bitset(numbersOf(inputs[1])); });
  return resultOf([&] { return x.bitset(numbersOf(inputs[1]), numbersOf(inputs[2])); });
}

Arrays bitget(Arrays& inputs, int) {
  return resultOf([&] { return fiArgument(inputs[0]).bitget(numbersOf(inputs[1])); });
}

int integerArgument(const HostArray& argument, const char* name) {
  const HostArray value = numbersOf(argument);
  const bool isScalar = value.isScalar() && (value.isNumeric() || value.isLogical()) && !value.isComplex();
  const double number = isScalar ? value.realAt(0) : std::nan("");
  if (!(std::fabs(number) <= std::numeric_limits<int>::max()) || number != std::floor(number))
    fail<kNotInteger>(name);
  return static_cast<int>(number);
}

/// Every element shifted by its own count; `shifts` are numbers, and a scalar `x` is shifted by each of them.
fi shiftedEach(const fi& x, const HostArray& shifts) {
  tessel::Dimensions dims(x.dims().begin(), x.dims().end());
  HostArray positions = HostArray::zeros(tessel::ArrayClass::Double, x.isscalar() ? shifts.dims() : dims);
  double* to = positions.mutableReal<double>();
  for (std::size_t k = 0; k < positions.numel(); ++k) to[k] = x.isscalar() ? 1 : static_cast<double>(k + 1);
  if (positions.dims() != shifts.dims()) fail<kSizesDiffer>();
  fi result = x.subscriptedReference(positions);
  std::map<int, fi> shifted;
  for (unsigned k = 0; k < result.numel(); ++k) {
    const int count = integerArgument(HostArray::scalar(shifts.realAt(k)), "bitshift");
    auto found = shifted.find(count);
    if (found == shifted.end()) found = shifted.emplace(count, x.bitshift(count)).first;
    const unsigned from = x.isscalar() ? 0 : k;
    result.realPart()[k] = found->second.realPart()[from];
    if (result.iscomplex()) result.imagPart()[k] = found->second.imagPart()[from];
  }
  return result;
}

Arrays bitshift(Arrays& inputs, int) {
  const fi& x = fiArgument(inputs[0]);
  const HostArray shifts = numbersOf(inputs[1]);
  const bool isArray = !shifts.isScalar() && (shifts.isNumeric() || shifts.isLogical()) && !shifts.isComplex();
  if (isArray) return resultOf([&] { return shiftedEach(x, shifts); });
  return resultOf([&] { return x.bitshift(integerArgument(shifts, "bitshift")); });
}

/// pow2(a, n), pow2(a, n, movesPoint)
Arrays pow2(Arrays& inputs, int) {
  const bool movesPoint = inputs.size() > 2 && inputs[2].scalarValue() != 0;
  return resultOf([&] { return fiArgument(inputs[0]).pow2(integerArgument(inputs[1], "pow2"), movesPoint); });
}

Arrays reinterpretcast(Arrays& inputs, int) {
  return resultOf([&] { return fiArgument(inputs[0]).reinterpretcast(numericTypeArgument(inputs[1])); });
}

constexpr char kBitset[] = "bitset", kBitget[] = "bitget", kBitshift[] = "bitshift", kPow2[] = "pow2";

const Method kMethods[] = {
    {"bitand", 2, 2, 1, binaryMethod<&fi::fibitand, operandInTypeOf>,
     "bitand(a, b): bit by bit, in the type of both."},
    {"bitor", 2, 2, 1, binaryMethod<&fi::fibitor, operandInTypeOf>,
     "bitor(a, b): bit by bit, in the type of both."},
    {"bitxor", 2, 2, 1, binaryMethod<&fi::bitxor, operandInTypeOf>,
     "bitxor(a, b): bit by bit, in the type of both."},
    {"bitcmp", 1, 1, 1, askArray<&fi::bitcmp>, "bitcmp(a): every bit complemented."},
    {"bitset", 2, 3, 1, ofArrayOrNumbers<kBitset, bitset>,
     "bitset(a, bit, value): one bit, 1 the least significant, made 1 or `value`."},
    {"bitget", 2, 2, 1, ofArrayOrNumbers<kBitget, bitget>,
     "bitget(a, bit): one bit, 1 the least significant, as an unsigned word of 1 bit."},
    {"bitshift", 2, 2, 1, ofArrayOrNumbers<kBitshift, bitshift>,
     "bitshift(a, k): stored integers times 2^k, rounded down; the overflow mode brings them into range. k is "
     "a "
     "number, or one for each element."},
    {"pow2", 2, 3, 1, ofArrayOrNumbers<kPow2, pow2>,
     "pow2(a, n), pow2(a, n, true): a times 2^n in the type of a; exactly, by moving the binary point."},
    {"intmin", 1, 1, 1, askArray<&fi::intmin>, "intmin(a): the smallest stored integer of the type."},
    {"intmax", 1, 1, 1, askArray<&fi::intmax>, "intmax(a): the largest stored integer of the type."},
    {"stripscaling", 1, 1, 1, askArray<&fi::stripscaling>, "stripscaling(a): the stored integers as values."},
    {"reinterpretcast", 2, 2, 1, reinterpretcast,
     "reinterpretcast(a, T): the same bits read in another type of the same word length."},
};

}  // namespace

std::span<const Method> bitMethods() { return kMethods; }

}  // namespace embedded::host
