/// Sizes of arrays, and which of their elements are not zero.
#pragma once

#include <vector>

#include "tessel/interpreter.h"

namespace tessel {

/// The functions "size", "any", "all", "nnz" and "find".
std::vector<FunctionInfo> selectionFunctions();

}  // namespace tessel
