/// How far the exponents of multiprecision values go.
#pragma once

#include "qfcore/number/errors.h"

namespace embedded {

/// Lets them go as far as they can, on this thread: floating-point formats with 31 exponent bits have values
/// beyond MPFR's default exponents. The thread that loads the module has done so.
QFCORE_API void widenExponentRange();

}  // namespace embedded
