/// Integer parts, remainders, integer powers, differences, and how far values fill their words.
#pragma once

#include <vector>

#include "qfcore/fi/fi.h"

namespace embedded {

// Results carry the math settings of the first operand. Everything here is exact but for products and
// differences, which follow the rules of `times`, `mtimes` and `minus`. Slope-bias types are refused,
// "numforge:fi:binarypointonly".

/// Every value rounded to an integer. Fixed-point types lose their fraction: the result has the fraction length
/// 0 and the bits before the point, one more unless `mode` is floor or fix. A type without fraction stays.
QFCORE_API fi roundedToIntegers(const fi& x, RoundModeEnum mode, const char* name);

enum class RemainderSign { OfDivisor, OfDividend };
/// x − n·y with an integer n, smaller than y in magnitude; x where y is 0. Element by element with scalar
/// expansion. The type holds the longer fraction and the longer integer part, signed where either is. Complex
/// and boolean operands are refused ("numforge:fi:realonly", "numforge:fi:nobooleanmath").
QFCORE_API fi remainder(const fi& x, const fi& y, RemainderSign sign, const char* name);

/// x .^ n as n − 1 products from the left; 1 in a word of 1 bit (2 where signed) for n = 0.
QFCORE_API fi elementPower(const fi& x, unsigned exponent);
/// x ^ n of a square matrix or a scalar; raises what `mtimes` raises, "numforge:fi:mpower:square", and for n =
/// 0 of a matrix "numforge:fi:mpower:exponent".
QFCORE_API fi matrixPower(const fi& x, unsigned exponent);
/// The product of the elements along a dimension (from 1), from the first on; of none, 1 as `elementPower`.
QFCORE_API fi product(const fi& x, unsigned dimension);
/// Neighbours along a dimension: the later one minus the earlier one. Empty where there are less than two.
QFCORE_API fi difference(const fi& x, unsigned dimension);

/// For every element the bits behind the sign bit that repeat it; of an unsigned word the zeros in front.
/// Fixed-point and real arrays only.
QFCORE_API std::vector<int> leadingSigns(const fi& x, const char* name);
/// Every value times 2^shifts[k], in its type: such that leadingSigns are 0. A zero stays and has the shift 0.
QFCORE_API fi normalized(const fi& x, std::vector<int>& shifts);

}  // namespace embedded
