/// Arrays made of nothing but their sizes or ends, and the numeric classes as functions.
#pragma once

#include <vector>

#include "tessel/interpreter.h"

namespace tessel {

/// The functions "zeros", "ones", "inf", "Inf", "nan", "NaN", "pi", "true", "false", "linspace",
/// "logspace", "eye" and "cell".
std::vector<FunctionInfo> creationFunctions();
/// The functions "rng", "rand", "randn", "randi" and "randperm".
std::vector<FunctionInfo> randomFunctions();
/// The functions named after the numeric classes and "logical", which convert to them.
std::vector<FunctionInfo> conversionFunctions();

}  // namespace tessel
