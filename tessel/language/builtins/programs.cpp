// Programs of several files: folders that are searched, programs that run others.
#include <algorithm>
#include <filesystem>

#include <fmt/format.h>
#include "tessel/console.h"
#include "tessel/language/builtins/builtins.h"
#include "tessel/language/builtins/support.h"
#include "tessel/language/files.h"
#include "tessel/language/interpreter.h"
#include "tessel/objects.h"

namespace tessel {
namespace {

namespace fs = std::filesystem;

constexpr char kSeparator = ':';

std::vector<std::string> foldersIn(const std::string& text) {
  std::vector<std::string> folders;
  for (std::size_t start = 0; start <= text.size();) {
    const std::size_t end = std::min(text.find(kSeparator, start), text.size());
    if (end > start) folders.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return folders;
}

std::string pathText(const Interpreter& interpreter) {
  return fmt::format("{}", fmt::join(interpreter.files().path(), std::string(1, kSeparator)));
}

/// As the path keeps it, whatever becomes the current folder.
std::string absoluteFolder(const std::string& folder) {
  std::string absolute = fs::absolute(folder).lexically_normal().string();
  if (absolute.size() > 1 && absolute.ends_with('/')) absolute.pop_back();
  return absolute;
}

std::string existingFolder(const std::string& folder) {
  std::error_code error;
  if (folder.find('\0') != std::string::npos || !fs::is_directory(folder, error))
    raiseError("Tessel:folderNotFound", fmt::format("There is no folder '{}'.", folder));
  return absoluteFolder(folder);
}

void setPath(Interpreter& interpreter, std::vector<std::string> folders) {
  interpreter.files().setPath(std::move(folders));
  interpreter.functionsChanged();
}

/// What a function that changes the path returns: the path before, where that is asked for.
Arrays pathBefore(const std::string& before, int outputCount) {
  return outputCount > 0 ? Arrays{HostArray::text(before)} : Arrays();
}

Arrays addpath(Interpreter& interpreter, Arrays& inputs, int outputCount) {
  const std::string before = pathText(interpreter);
  const bool isAtEnd = inputs.size() > 1 && textArgument("addpath", inputs.back()) == "-end";
  if (isAtEnd) inputs.pop_back();
  std::vector<std::string> added;
  for (const HostArray& input : inputs) {
    for (const std::string& folder : foldersIn(textArgument("addpath", input)))
      added.push_back(existingFolder(folder));
  }
  std::vector<std::string> folders;
  for (const std::string& folder : interpreter.files().path())
    if (std::ranges::find(added, folder) == added.end()) folders.push_back(folder);
  folders.insert(isAtEnd ? folders.end() : folders.begin(), added.begin(), added.end());
  setPath(interpreter, std::move(folders));
  return pathBefore(before, outputCount);
}

Arrays rmpath(Interpreter& interpreter, const Arrays& inputs, int outputCount) {
  const std::string before = pathText(interpreter);
  std::vector<std::string> folders = interpreter.files().path();
  for (const HostArray& input : inputs) {
    for (const std::string& folder : foldersIn(textArgument("rmpath", input))) {
      if (std::erase(folders, absoluteFolder(folder)) == 0)
        raiseError("Tessel:folderNotFound", fmt::format("The folder '{}' is not on the path.", folder));
    }
  }
  setPath(interpreter, std::move(folders));
  return pathBefore(before, outputCount);
}

Arrays path(Interpreter& interpreter, const Arrays& inputs, int outputCount) {
  const std::string before = pathText(interpreter);
  if (!inputs.empty()) {
    std::vector<std::string> folders;
    for (const std::string& folder : foldersIn(textArgument("path", inputs[0])))
      folders.push_back(existingFolder(folder));
    setPath(interpreter, std::move(folders));
  } else if (outputCount == 0) {
    for (const std::string& folder : interpreter.files().path()) print(folder + '\n');
  }
  return pathBefore(before, outputCount);
}

Arrays run(Interpreter& interpreter, const char* function, const Arrays& inputs) {
  const std::string name = textArgument(function, inputs[0]);
  const std::string file = name.find('\0') == std::string::npos
                               ? interpreter.files().findProgram(name, interpreter.frame().file())
                               : std::string();
  if (file.empty()) raiseFileNotFound(name);
  interpreter.runFile(file);
  return {};
}

Arrays which(Interpreter& interpreter, const Arrays& inputs, int outputCount) {
  const std::string name = textArgument("which", inputs[0]);
  std::string text;
  if (interpreter.findVariable(name))
    text = "a variable";
  else if (const FunctionCode* code = interpreter.findScriptFunction(name))
    text = fmt::format("a function of {}, line {}", code->file, code->line);
  else if (findFunction(name))
    text = "a built-in function";
  else if (findClass(name))
    text = "a class";
  if (outputCount > 0) return {HostArray::text(text)};
  print(fmt::format("'{}' is {}.\n", name, text.empty() ? "not known" : text));
  return {};
}

}  // namespace

void registerProgramBuiltins(Interpreter& interpreter) {
  Interpreter* i = &interpreter;
  registerAll({
      {"addpath", [i](Arrays& inputs, int n) { return addpath(*i, inputs, n); }, 1, -1, 1,
       "addpath(folder, ...), addpath(..., '-end'), old = addpath(...): functions in files of these folders "
       "can "
       "be called.\n"
       "A file NAME.tsl that has functions alone defines the function NAME; its other functions are its own. "
       "The "
       "folder of the\n"
       "file in which a call stands is searched first, then the path: what was added last first, or last with "
       "'-end'. Functions of\n"
       "the program come before those of files, these before built-in ones. An argument may name several "
       "folders, parted by ':'.\n"
       "Raises \"Tessel:folderNotFound\"."},
      {"rmpath", [i](Arrays& inputs, int n) { return rmpath(*i, inputs, n); }, 1, -1, 1,
       "rmpath(folder, ...), old = rmpath(...): takes folders off the path. Raises \"Tessel:folderNotFound\" "
       "for one that is not on it."},
      {"path", [i](Arrays& inputs, int n) { return path(*i, inputs, n); }, 0, 1, 1,
       "path, p = path, old = path(folders): lists, returns or replaces the folders that are searched for "
       "functions, parted by ':'."},
      {"run", [i](Arrays& inputs, int) { return run(*i, "run", inputs); }, 1, 1, 0,
       "run(name): executes the program NAME or NAME.tsl here, with the variables of this place; its functions "
       "stay known.\n"
       "The file is looked for from the current folder, beside the file of the call, and on the path.\n"
       "Raises \"Tessel:fileNotFound\", \"Tessel:syntaxError\", and what the program raises."},
      {"source", [i](Arrays& inputs, int) { return run(*i, "source", inputs); }, 1, 1, 0,
       "source(name): the same as run(name)."},
      {"which", [i](Arrays& inputs, int n) { return which(*i, inputs, n); }, 1, 1, 1,
       "which NAME, t = which(name): what a name is: a variable, a function and its file, a built-in function, "
       "a "
       "class."},
  });
}

}  // namespace tessel
