/// How built-in arrays look to a reader: five significant digits or, as users say, all; columns wrapped.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tessel/array.h"
#include "tessel/interpreter.h"

namespace tessel {

/// The lines that show the value, without a name. `name` heads the pages of arrays with more than two
/// dimensions.
std::string displayBody(const HostArray& value, std::string_view name = {});
/// What a statement without semicolon prints: the name, an empty line, the value, an empty line.
std::string displayText(const HostArray& value, std::string_view name);
/// One line for the value inside a cell or a field: "[3]", "'text'", "[2x3 double]".
std::string summaryText(const HostArray& value);
/// "2x3", "1x2x4".
std::string sizeText(const HostArray& value);

/// The functions "disp", "display" and "format".
std::vector<FunctionInfo> displayFunctions();

}  // namespace tessel
