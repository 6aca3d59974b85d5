/// Refusals that several operations share.
#pragma once

#include "qfcore/number/errors.h"

namespace embedded::message {

inline constexpr Message complexSlopeBias{
    "numforge:fi:complexslopebiasnotdefined",
    "Function '%s' is not defined for complex-value FI objects with slope and bias scaling."};
inline constexpr Message castBeforeSumFalse{
    "numforge:fi:castbeforesumfalseslopebiasnotdefined",
    "Function '%s' is not defined for FI objects with slope and bias scaling when CastBeforeSum is false."};

inline constexpr Message realOnly{"numforge:fi:realonly", "Function '%s' takes real FI objects only."};
inline constexpr Message badIndex{"numforge:fi:badindex", "Index exceeds matrix dimensions."};

inline constexpr Message viewChangesTarget{
    "numforge:fi:FiReference:changesTarget",
    "The shape, numeric type or storage of an array cannot be changed through a view of it."};

}  // namespace embedded::message
