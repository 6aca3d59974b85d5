/// Running a script statement by statement against its expectations.
#pragma once

#include <string>

namespace tessel {

struct CheckResult {
  int expectationCount = 0;
  int failureCount = 0;
};

/// Executes the script `source` in a new workspace. Prints place, expected and actual of each failure, to which
/// errors that nothing expects belong.
CheckResult checkStatements(const std::string& source, const std::string& file);

}  // namespace tessel
