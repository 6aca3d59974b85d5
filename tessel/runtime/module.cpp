#include "tessel/module.h"

#include <dlfcn.h>

#include <filesystem>
#include <map>
#include <vector>

#include "tessel/messages.h"
#include "tessel/objects.h"

namespace tessel {

namespace {

namespace fs = std::filesystem;

constexpr const char* kBasePackage = "tessel.base";

std::map<std::string, void*, std::less<>>& loadedLibraries() {
  static std::map<std::string, void*, std::less<>> libraries;
  return libraries;
}

/// Where the host's own libraries are: beside this one, and in the "lib" folder next to the program's folder.
std::vector<fs::path> ownFolders() {
  std::vector<fs::path> folders;
  Dl_info self;
  if (dladdr(reinterpret_cast<void*>(&ownFolders), &self) != 0) {
    folders.push_back(fs::absolute(self.dli_fname).parent_path());
  }
  std::error_code ignored;
  const fs::path program = fs::read_symlink("/proc/self/exe", ignored);
  if (!program.empty()) folders.push_back(program.parent_path().parent_path() / "lib");
  return folders;
}

/// The file to load: an existing one in the host's folders, else the bare name, for which the system looks.
/// Where libraries are shipped without the name that programs are linked by, the one with a version is the only
/// one.
std::string fileOf(const std::string& name) {
  std::string fileName = "lib" + name + ".so";
  for (const fs::path& folder : ownFolders()) {
    std::error_code ignored;
    if (fs::exists(folder / fileName, ignored)) return (folder / fileName).string();
    for (const fs::directory_entry& entry : fs::directory_iterator(folder, ignored)) {
      if (entry.path().filename().string().starts_with(fileName + ".")) return entry.path().string();
    }
  }
  return fileName;
}

}  // namespace

void loadPackage(std::string_view name) {
  if (name == kBasePackage)
    getPackage(name);
  else if (findPackage(name) == nullptr) {
    raiseError("Tessel:noSuchPackage", "There is no package '" + std::string(name) + "'.");
  }
}

void* loadLibrary(std::string_view name) {
  const auto loaded = loadedLibraries().find(name);
  if (loaded != loadedLibraries().end()) return loaded->second;
  // Local symbols suffice: a module takes the exception and object classes from this library, which it links,
  // so each has one type identity in the process. It also keeps the internals of two modules apart.
  void* library = dlopen(fileOf(std::string(name)).c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
  if (library == nullptr) {
    const char* reason = dlerror();
    raiseError("Tessel:libraryNotLoaded", "Library '" + std::string(name) + "' cannot be loaded: " +
                                              (reason != nullptr ? reason : "unknown reason"));
  }
  loadedLibraries().emplace(name, library);
  return library;
}

void* librarySymbol(void* library, const std::string& symbol) { return dlsym(library, symbol.c_str()); }

void loadModule(std::string_view name) {
  const std::string entry = "TesselInitialize_" + std::string(name);
  auto* initialise = reinterpret_cast<void (*)()>(librarySymbol(loadLibrary(name), entry));
  if (initialise == nullptr) {
    raiseError("Tessel:notAModule",
               "Library '" + std::string(name) + "' is no module: it has no '" + entry + "'.");
  }
  // The module itself knows whether it is initialised already.
  initialise();
}

}  // namespace tessel
