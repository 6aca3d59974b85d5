/// Work in the languages of scripts.
#pragma once

#include <string>

#include "bench/job.h"

namespace bench {

/// Runs `statements`, again and again, on the variables that `setUp` makes; `n` is the count. Both may define
/// functions. The module is loaded.
Prepare byScript(const std::string& setUp, const std::string& statements);

/// Calls a function of Lua without arguments: `body`, after `setUp` has made its variables; `n` is the count.
Prepare byLua(const std::string& setUp, const std::string& body);

#ifdef QFCORE_PYTHON_PACKAGE
/// The same in Python, whose lines of `body` are separated by "\n ".
Prepare byPython(const std::string& setUp, const std::string& body);
#endif

}  // namespace bench
