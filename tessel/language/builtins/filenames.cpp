// Names of files: their parts, and that of the program itself.
#include <filesystem>

#include "tessel/language/builtins/builtins.h"
#include "tessel/language/builtins/support.h"
#include "tessel/language/interpreter.h"

namespace tessel {
namespace {

namespace fs = std::filesystem;

/// The file in which the call stands, without its ending; empty at the prompt and in a text of the command
/// line.
Arrays callMfilename(Interpreter& interpreter, const Arrays& inputs) {
  const bool isWhole = !inputs.empty();
  if (isWhole && textArgument("mfilename", inputs[0]) != "fullpath")
    raiseInvalidArgument("mfilename", "the argument is 'fullpath'.");
  const fs::path file(interpreter.frame().file());
  std::error_code error;
  if (!fs::is_regular_file(file, error)) return {HostArray::text("")};
  if (!isWhole) return {HostArray::text(file.stem().string())};
  return {HostArray::text(fs::absolute(file).lexically_normal().replace_extension().string())};
}

Arrays callFileparts(Arrays& in, int) {
  const fs::path file(textArgument("fileparts", in[0]));
  return arraysOf(HostArray::text(file.parent_path().string()), HostArray::text(file.stem().string()),
                  HostArray::text(file.extension().string()));
}

Arrays callFullfile(Arrays& in, int) {
  std::string joined;
  for (const HostArray& part : in) {
    const std::string text = textArgument("fullfile", part);
    if (text.empty()) continue;
    if (!joined.empty() && !joined.ends_with('/')) joined += '/';
    joined += joined.empty() ? text : text.substr(std::min(text.find_first_not_of('/'), text.size()));
  }
  return {HostArray::text(joined)};
}

}  // namespace

void registerFilenameBuiltins(Interpreter& interpreter) {
  Interpreter* i = &interpreter;
  registerAll({
      {"mfilename", [i](Arrays& inputs, int) { return callMfilename(*i, inputs); }, 0, 1, 1,
       "t = mfilename, t = mfilename('fullpath'): the file in which the call stands, without its ending; with "
       "all "
       "its folders.\n"
       "fullfile(fileparts(mfilename('fullpath')), 'data.csv') is a file beside the program, whatever the "
       "current "
       "folder."},
      {"fileparts", callFileparts, 1, 1, 3,
       "[folder, name, ending] = fileparts(file): the parts of a file's name; the ending has its point."},
      {"fullfile", callFullfile, 1, -1, 1,
       "file = fullfile(folder, ..., name): joins the parts of a file's name."},
  });
}

}  // namespace tessel
