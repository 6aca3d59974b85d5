/// Reading files whole.
#pragma once

#include <string>

namespace tessel {

/// The content of a file. Raises "Tessel:fileNotFound" for one that cannot be opened, "Tessel:fileNotReadable"
/// for what has no content to read, such as a folder, "Tessel:outOfMemory" for one that never ends, and
/// "Tessel:interrupted".
std::string readFile(const std::string& name);

[[noreturn]] void raiseFileNotFound(const std::string& name);

}  // namespace tessel
