/// Functions that stand in files of their own.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "tessel/language/parser.h"

namespace tessel {

/// What names of program files end with.
inline constexpr const char* kProgramEnding = ".tsl";

/// A file NAME.tsl in a folder that is searched, with functions and no statements outside of them, defines the
/// function NAME. Its other functions are known in that file alone.
///
/// The folder of the file in which a call stands is searched first, then the path. What was found holds until
/// `refresh`.
class FunctionFiles {
 public:
  /// `parse` reads and parses the file of that name; what it raises passes on.
  explicit FunctionFiles(std::function<Program(const std::string& file)> parse) : parse_(std::move(parse)) {}

  /// The function of that name for calls in the file `caller`, or null. It stays valid until files are
  /// released.
  const FunctionCode* find(const std::string& name, std::string_view caller);
  /// A function of the file itself, for those that stand in it; or null.
  std::shared_ptr<const FunctionCode> findLocal(std::string_view file, const std::string& name) const;
  /// The file of that name, or of that name with ".tsl": as it is, or else in a folder that is searched. Empty
  /// where there is none.
  std::string findProgram(const std::string& name, std::string_view caller) const;
  /// Names of all functions that could be found, by the names of files.
  std::vector<std::string> names(std::string_view caller) const;

  /// From here on files are looked for, and compared with what was read, again.
  void refresh() { known_.clear(); }
  /// Forgets what changed files contained before. Nothing of it may be running.
  void release() { outdated_.clear(); }

  const std::vector<std::string>& path() const { return path_; }
  void setPath(std::vector<std::string> folders);

 private:
  using Functions = std::unordered_map<std::string, std::shared_ptr<const FunctionCode>>;
  struct File {
    std::filesystem::file_time_type written;
    std::uintmax_t size;
    Functions functions;  ///< none of a program
  };

  template <class Visit>
  void forEachFolder(std::string_view caller, const Visit& visit) const;
  const File& fileAt(const std::filesystem::path& path);

  std::function<Program(const std::string&)> parse_;
  std::vector<std::string> path_;
  std::unordered_map<std::string, std::unique_ptr<File>> files_;
  std::vector<std::unique_ptr<File>> outdated_;
  std::unordered_map<std::string, const FunctionCode*> known_;  ///< by folder and name
};

}  // namespace tessel
