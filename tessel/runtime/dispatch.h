/// How calls find their function: the runtime's own entrances besides those of "tessel/interpreter.h".
#pragma once

#include <string_view>

#include "tessel/array.h"
#include "tessel/interpreter.h"
#include "tessel/objects.h"

namespace tessel {

/// The class of an object array, also of an empty one; null for other arrays and where an empty one has lost
/// it.
const HostClass* objectClass(const HostArray& array);

/// The method of that name of the first object among `inputs` whose class has one, or null.
const MethodInfo* findMethodFor(std::string_view name, const Arrays& inputs);

/// Checks the numbers of inputs and outputs against what `function` takes, then calls it.
/// Raises "Tessel:TooManyInputs", "Tessel:NotEnoughInputs", "Tessel:TooManyOutputs" and what the function
/// raises. When it raises, `inputs[0]` is as it was; the other inputs may have been moved from.
Arrays invoke(const FunctionInfo& function, Arrays& inputs, int outputCount);

}  // namespace tessel
