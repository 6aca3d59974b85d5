/// How the runtime's and the language's functions read their arguments and make their results.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "tessel/array.h"
#include "tessel/runtime/elements.h"

namespace tessel {

/// Raises "Tessel:invalidArgument" / "Function 'NAME': EXPLANATION"; the explanation ends with a period.
[[noreturn]] void raiseInvalidArgument(std::string_view function, std::string_view explanation);

/// Raises "Tessel:mustBeText".
[[noreturn]] void raiseMustBeText(std::string_view function);
/// A text argument; raises "Tessel:mustBeText" for anything else.
std::string textArgument(std::string_view function, const HostArray& argument);
/// Refuses what is not a numeric vector.
void requireVector(std::string_view function, const HostArray& argument);
/// A real numeric scalar.
double numberArgument(std::string_view function, const HostArray& argument);
/// A real numeric scalar that is a whole number, not negative and below 2^48.
std::size_t countArgument(std::string_view function, const HostArray& argument);
/// A dimension that a user counts from 1; returns it counted from 0.
std::size_t dimensionArgument(std::string_view function, const HostArray& argument);
/// Sizes given from argument `first` on: none (1-by-1), `n` (n-by-n), `m, n, …`, or one row `[m n …]`.
/// Negative sizes count as 0.
Dimensions sizeArguments(std::string_view function, const Arrays& inputs, std::size_t first);
/// Takes a trailing class name, such as 'int8', off `inputs`; `fallback` when the last argument is no text.
/// Raises "Tessel:invalidArgument" for a name that is not numeric.
ArrayClass takeClassArgument(std::string_view function, Arrays& inputs, ArrayClass fallback);

/// The class of a name such as "int8", "logical" or "char"; nothing for others.
std::optional<ArrayClass> numericClassNamed(std::string_view name);
/// A double array of `values`, in column-major order.
HostArray doubles(std::span<const double> values, Dimensions dims);
HostArray doubleRow(std::span<const double> values);

}  // namespace tessel
