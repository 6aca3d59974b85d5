/// Values in the format of a quantizer as text in a base, and back. Nothing is counted.
#pragma once

#include "qfcore/math/quantizer.h"
#include "tessel/array.h"

namespace embedded {

/// A number that carries a value until the quantizer brings it into its format.
number carrierOf(const quantizer& q, double value);

/// The patterns of quantized values, one row of text for each row, further dimensions side by side, complex
/// ones as "re + imi". Raises "numforge:quantizer:num2base:notdouble" and what `quantizer::num2base` raises.
tessel::HostArray num2base(const quantizer& q, const tessel::HostArray& values, int base);
/// The stored integers in the same way, as signed decimal text.
tessel::HostArray num2sdec(const quantizer& q, const tessel::HostArray& values);
/// The values whose patterns the rows of a char matrix write; with an "i" anywhere each is a pair of a real and
/// an imaginary part. Raises "numforge:quantizer:base2num:EmptyInput", "…:InvalidElement".
tessel::HostArray base2num(const quantizer& q, const tessel::HostArray& text, int base);

}  // namespace embedded
