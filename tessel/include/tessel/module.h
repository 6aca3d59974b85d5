/// Packages and libraries that the host loads on request.
#pragma once

#include <string>
#include <string_view>

#include "tessel/api.h"

namespace tessel {

/// Loads a package of the host by name; one that is loaded already stays as it is. The embedded host has one
/// built-in package, "tessel.base". Raises "Tessel:noSuchPackage".
TESSEL_API void loadPackage(std::string_view name);

/// Loads the shared library `name` (without "lib" prefix or ending) and keeps it resident; a second load adds
/// nothing. Looks beside the host's own library first, then where the system looks. Raises
/// "Tessel:libraryNotLoaded". Returns the library's handle for `librarySymbol`.
TESSEL_API void* loadLibrary(std::string_view name);

/// The address of a symbol with C linkage in a loaded library, or null.
TESSEL_API void* librarySymbol(void* library, const std::string& symbol);

/// Loads library `name` and calls its `TesselInitialize_<name>`. Raises "Tessel:notAModule" when there is none.
TESSEL_API void loadModule(std::string_view name);

}  // namespace tessel
