/// Methods of `embedded.quantizer` that write values as digits of a base and read them.
#include "qfcore/fi/quantizertext.h"
#include "qfcore/fi/radixtext.h"
#include "qfcore/host/QuantizerObjClass.h"

namespace embedded::host {

namespace {

constexpr Message kNotChar{"numforge:quantizer:base2num:notchar", "Value to convert must be character array"};
constexpr Message kBadBase{"numforge:quantizer:badbase", "The base must be an integer from 2 to 18."};

int baseArgument(const HostArray& array) {
  const double base = array.isNumeric() && array.isScalar() && !array.isComplex() ? array.realAt(0) : 0;
  if (!isBase(base) || base != static_cast<int>(base)) fail<kBadBase>();
  return static_cast<int>(base);
}

Arrays num2base(Arrays& inputs, int) {
  const quantizer& q = quantizerArgument(inputs[0]);
  return {embedded::num2base(q, inputs[1], baseArgument(inputs[2]))};
}

Arrays num2sdec(Arrays& inputs, int) { return {embedded::num2sdec(quantizerArgument(inputs[0]), inputs[1])}; }

Arrays base2num(Arrays& inputs, int) {
  const quantizer& q = quantizerArgument(inputs[0]);
  if (!inputs[1].isChar()) fail<kNotChar>();
  return {embedded::base2num(q, inputs[1], baseArgument(inputs[2]))};
}

const Method kMethods[] = {
    {"num2base", 3, 3, 1, num2base,
     "num2base(q, x, base): the bit patterns of the numbers x in the format of q, as text in a base from 2 to "
     "18."},
    {"num2sdec", 2, 2, 1, num2sdec,
     "num2sdec(q, x): the stored integers of the numbers x as signed decimal text."},
    {"base2num", 3, 3, 1, base2num, "base2num(q, text, base): the numbers whose bit patterns the text writes."},
};

}  // namespace

std::span<const Method> quantizerRadixMethods() { return kMethods; }

}  // namespace embedded::host
