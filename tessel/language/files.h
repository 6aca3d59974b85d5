/// Reading and writing files whole.
#pragma once

#include <string>
#include <string_view>

namespace tessel {

/// The content of a file. Raises "Tessel:fileNotFound" for one that cannot be opened, "Tessel:fileNotReadable"
/// for what has no content to read, such as a folder, "Tessel:outOfMemory" for one that never ends, and
/// "Tessel:interrupted".
std::string readFile(const std::string& name);

/// Makes `content` that of a file. Raises "Tessel:fileNotFound" for one that cannot be opened, and
/// "Tessel:outputLost".
void writeFile(const std::string& name, std::string_view content);

[[noreturn]] void raiseFileNotFound(const std::string& name);
/// What was written to a file has not reached it, for the reason that errno tells.
[[noreturn]] void raiseOutputLost(const std::string& name);

}  // namespace tessel
