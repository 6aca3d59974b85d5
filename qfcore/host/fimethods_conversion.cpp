/// Methods of `embedded.fi` that show values and stored integers in other forms, and read them back.
#include <cmath>

#include "qfcore/host/FiObjClass.h"

namespace embedded::host {

namespace {

/// A base as an integer; what is none becomes one that every operation refuses.
int baseArgument(const HostArray& base) {
  const double value = base.scalarValue();
  return value == std::floor(value) && std::abs(value) < 1000 ? static_cast<int>(value) : 0;
}

Arrays num2base(Arrays& inputs, int) {
  const int base = inputs.size() > 1 ? baseArgument(inputs[1]) : 10;
  return {fiArgument(inputs[0]).num2base(base)};
}

Arrays base2num(Arrays& inputs, int outputCount) {
  fiArgument(inputs[0]).base2num(inputs[1], baseArgument(inputs[2]));
  return outputCount > 0 ? Arrays{inputs[0]} : Arrays{};
}

HostArray intArray(const fi& x) { return x.getIntArray(); }

const Method kMethods[] = {
    {"data", 1, 1, 1, askArray<&fi::getDataHostArray>, "data(a): the real-world values in the host's class."},
    {"single", 1, 1, 1, askArray<&fi::getSingleHostArray>, "single(a): the real-world values as singles."},
    {"logical", 1, 1, 1, askArray<&fi::getBooleanHostArray>, "logical(a): true where a value is not 0."},
    {"int", 1, 1, 1, askArray<&fi::getIntHostArray>,
     "int(a): the stored integers in the narrowest integer class."},
    {"intarray", 1, 1, 1, askArray<intArray>,
     "intarray(a): the stored integers; words of more than 32 bits in 32-bit chunks, least significant first."},
    {"corvanearray", 1, 1, 1, askArray<&fi::getCorvaneArray>,
     "corvanearray(a): the stored integers as block diagrams take them."},
    {"bin", 1, 1, 1, askArray<&fi::bin>, "bin(a): the stored integers in binary."},
    {"oct", 1, 1, 1, askArray<&fi::oct>, "oct(a): the stored integers in octal."},
    {"dec", 1, 1, 1, askArray<&fi::dec>, "dec(a): the patterns of the stored integers in decimal."},
    {"hex", 1, 1, 1, askArray<&fi::hex>, "hex(a): the stored integers in hexadecimal."},
    {"num2base", 1, 2, 1, num2base, "num2base(a, base): the stored integers in a base from 2 to 18."},
    {"sdec", 1, 1, 1, askArray<&fi::num2sdec>, "sdec(a): the stored integers as signed decimals."},
    {"num2sdec", 1, 1, 1, askArray<&fi::num2sdec>, "num2sdec(a): the stored integers as signed decimals."},
    {"base2num", 3, 3, 1, base2num,
     "base2num(a, text, base): gives a the stored integers that a text of numbers in a base writes.", true},
};

}  // namespace

std::span<const Method> conversionMethods() { return kMethods; }

}  // namespace embedded::host
