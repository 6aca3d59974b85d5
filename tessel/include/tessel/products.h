/// The matrix product of doubles, which the linear-algebra library does.
#pragma once

#include "tessel/api.h"

namespace tessel {

/// target = factor · left · right + keep · target, for a left matrix of `rows` by `inner` and a right one of
/// `inner` by `columns` elements, each column by column in one piece; with `keep` 0 the target's old elements
/// do not count. The library is loaded by the first call, so that programs without products start without it;
/// raises "Tessel:libraryNotLoaded" where it is missing.
TESSEL_API void multiplyAdd(int rows, int columns, int inner, double factor, const double* left,
                            const double* right, double keep, double* target);

}  // namespace tessel
