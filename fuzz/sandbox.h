/// Programs run as the targets want them: without reaching outside, without end or any size, from the same
/// beginning.
#pragma once

#include <map>
#include <string>
#include <string_view>

namespace fuzz {

/// While it lives, blocks of more than 4 MiB are not to be had, and whoever has asked for 128 MiB altogether is
/// interrupted. Only a build with AddressSanitizer counts what elements of arrays take.
class MemoryLimit {
 public:
  MemoryLimit();
  ~MemoryLimit();
  MemoryLimit(const MemoryLimit&) = delete;
  MemoryLimit& operator=(const MemoryLimit&) = delete;
};

/// What a program did.
struct Outcome {
  bool isParsed = false;
  bool isCutOff = false;  ///< by the limit of steps or memory
  std::string output;     ///< what it printed, and the error that ended it
  /// The values that it left, as texts that tell all of them, under the names of their variables.
  std::map<std::string, std::string> values;
};

/// Runs `program` in an interpreter of its own. Functions that touch files or wait raise an error, `exit` ends
/// the program. After so many statements, passes of loops and calls it is cut off. Requires that every error is
/// one of the host's that names its kind, and that all arrays left in variables hold what their types say.
Outcome run(std::string_view program, bool elementPathOnly);

}  // namespace fuzz
