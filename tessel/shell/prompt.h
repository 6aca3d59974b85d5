/// The interactive prompt.
#pragma once

#include "tessel/language/interpreter.h"

namespace tessel {

/// Reads and executes statements until the input ends. Lines of an unfinished block or bracket are gathered.
/// Errors are printed and the session goes on; the interrupt key stops a running program.
void runPrompt(Interpreter& interpreter);

}  // namespace tessel
