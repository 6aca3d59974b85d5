/// Joining arrays: `[a, b]`, `[a; b]` and `cat`.
#pragma once

#include <cstddef>
#include <vector>

#include "tessel/array.h"
#include "tessel/interpreter.h"

namespace tessel {

/// Joins `parts` along `dimension`, which counts from 0: 0 stacks rows, 1 sets columns side by side.
///
/// 0-by-0 parts add nothing; all other sizes than the one joined must agree. The result's class: a cell wins
/// and takes every other part in as one element; then objects, all of one class; structures, all with the same
/// fields; char over numbers; the first integer class over single, double and logical; single over double;
/// double over logical. 0-by-0 double parts have no say in it. The result is complex when a part is.
///
/// Raises "Tessel:dimagree", "Tessel:dissimilarStructures", and "Tessel:concatenationClasses" for classes that
/// do not go together.
HostArray concatenate(std::size_t dimension, const Arrays& parts);

/// The functions "horzcat", "vertcat" and "cat".
std::vector<FunctionInfo> concatenationFunctions();

}  // namespace tessel
