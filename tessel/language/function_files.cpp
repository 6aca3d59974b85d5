#include "tessel/language/function_files.h"

#include <algorithm>

namespace tessel {

namespace fs = std::filesystem;

namespace {

bool isFile(const fs::path& path) {
  std::error_code error;
  return fs::is_regular_file(path, error);
}

}  // namespace

/// Until `visit` returns true.
template <class Visit>
void FunctionFiles::forEachFolder(std::string_view caller, const Visit& visit) const {
  if (visit(fs::path(caller).parent_path())) return;
  for (const std::string& folder : path_)
    if (visit(fs::path(folder))) return;
}

const FunctionCode* FunctionFiles::find(const std::string& name, std::string_view caller) {
  const auto [known, isNew] = known_.try_emplace(fs::path(caller).replace_filename(name).string(), nullptr);
  if (!isNew) return known->second;
  forEachFolder(caller, [&, place = &known->second](const fs::path& folder) {
    const fs::path path = folder / (name + kProgramEnding);
    if (!isFile(path)) return false;
    const Functions& functions = fileAt(path).functions;
    const auto found = functions.find(name);
    if (found != functions.end()) *place = found->second.get();
    return *place != nullptr;
  });
  return known->second;
}

/// The content of a file, read again where the file has changed.
const FunctionFiles::File& FunctionFiles::fileAt(const fs::path& path) {
  std::error_code error;
  const auto written = fs::last_write_time(path, error);
  const std::uintmax_t size = fs::file_size(path, error);
  if (const auto known = files_.find(path.string()); known != files_.end()) {
    const File& file = *known->second;
    if (file.written == written && file.size == size) return file;
  }
  auto content = std::make_unique<File>(File{written, size, {}});
  Program program = parse_(path.string());
  if (program.statements.empty())
    for (auto& code : program.functions) content->functions[code->name] = std::move(code);
  std::unique_ptr<File>& file = files_[path.string()];
  if (file) outdated_.push_back(std::move(file));
  file = std::move(content);
  return *file;
}

std::shared_ptr<const FunctionCode> FunctionFiles::findLocal(std::string_view file,
                                                             const std::string& name) const {
  if (files_.empty()) return nullptr;
  const auto found = files_.find(std::string(file));
  if (found == files_.end()) return nullptr;
  const auto code = found->second->functions.find(name);
  return code == found->second->functions.end() ? nullptr : code->second;
}

std::string FunctionFiles::findProgram(const std::string& name, std::string_view caller) const {
  const auto inFolder = [&](const fs::path& folder) {
    for (const std::string& file : {name, name + kProgramEnding})
      if (isFile(folder / file)) return (folder / file).string();
    return std::string();
  };
  std::string found = inFolder({});
  if (!found.empty()) return found;
  forEachFolder(caller, [&](const fs::path& folder) {
    found = inFolder(folder);
    return !found.empty();
  });
  return found;
}

std::vector<std::string> FunctionFiles::names(std::string_view caller) const {
  std::vector<std::string> all;
  forEachFolder(caller, [&](const fs::path& folder) {
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(folder.empty() ? "." : folder, error))
      if (entry.path().extension() == kProgramEnding) all.push_back(entry.path().stem().string());
    return false;
  });
  return all;
}

void FunctionFiles::setPath(std::vector<std::string> folders) {
  path_ = std::move(folders);
  refresh();
}

}  // namespace tessel
