/// Matrices built from the elements of others, and elements put elsewhere.
#pragma once

#include <vector>

#include "tessel/interpreter.h"

namespace tessel {

/// The functions "diag", "tril", "triu", "toeplitz", "hankel", "kron", "repmat", "reshape", "squeeze",
/// "permute", "ipermute", "flip", "fliplr", "flipud", "rot90" and "circshift".
std::vector<FunctionInfo> rearrangementFunctions();

}  // namespace tessel
