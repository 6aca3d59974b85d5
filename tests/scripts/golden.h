/// Comparing all that the shell prints for a script with a reviewed file.
#pragma once

#include <filesystem>
#include <string>

namespace tessel {

/// The file beside the script that holds its output.
std::filesystem::path goldenFile(const std::filesystem::path& script);

/// What the program `tessel` beside this one prints, standard output and standard error together, when it runs
/// the script in the script's folder.
std::string shellOutput(const std::filesystem::path& script, bool withoutModule);

/// Compares with the golden file; prints the first line that differs.
bool matchesGolden(const std::filesystem::path& script, const std::string& output);

void writeGolden(const std::filesystem::path& script, const std::string& output);

}  // namespace tessel
