#include "tessel/pictures/gnuplot.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <memory>

#include <fmt/format.h>
#include "tessel/interruption.h"
#include "tessel/messages.h"
#include "tessel/pictures/gnuplot_script.h"

extern char** environ;

namespace tessel {

namespace {

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

[[noreturn]] void raiseFailed(const std::string& what) {
  raiseError("Tessel:gnuplotFailed", "gnuplot could not draw the picture: " + what);
}

File temporaryFile() {
  File file(std::tmpfile(), std::fclose);
  if (!file) raiseFailed(std::string("no temporary file: ") + std::strerror(errno));
  return file;
}

std::string contentOf(std::FILE* file) {
  std::string content;
  std::rewind(file);
  char block[1 << 16];
  while (const std::size_t count = std::fread(block, 1, sizeof block, file)) content.append(block, count);
  return content;
}

/// Starts gnuplot with the descriptors given as its own 0, 1 and 2; −1 stands for none. What users set up for
/// their own work with gnuplot is not read.
pid_t startGnuplot(int input, int output, int errors, bool isPersistent) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  const int given[] = {input, output, errors};
  for (int own = 0; own < 3; ++own) {
    if (given[own] >= 0)
      posix_spawn_file_actions_adddup2(&actions, given[own], own);
    else
      posix_spawn_file_actions_addopen(&actions, own, "/dev/null", O_RDWR, 0);
  }
  // The shell ignores broken pipes; a program that it starts has the usual signals.
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  sigset_t usual;
  sigemptyset(&usual);
  sigaddset(&usual, SIGPIPE);
  posix_spawnattr_setsigdefault(&attributes, &usual);
  // A window outlives the Ctrl-C that ends a statement.
  posix_spawnattr_setpgroup(&attributes, 0);
  posix_spawnattr_setflags(
      &attributes, static_cast<short>(POSIX_SPAWN_SETSIGDEF | (isPersistent ? POSIX_SPAWN_SETPGROUP : 0)));
  char name[] = "gnuplot", defaults[] = "-d", persist[] = "-persist";
  char* arguments[] = {name, defaults, isPersistent ? persist : nullptr, nullptr};
  pid_t process = 0;
  const int error = posix_spawnp(&process, name, &actions, &attributes, arguments, environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  if (error == 0) return process;
  raiseError("Tessel:noGnuplot",
             "Pictures are drawn by the program 'gnuplot', which cannot be started here. Install the package "
             "gnuplot-nox.");
}

int statusOf(pid_t process) {
  int status = 0;
  while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
  }
  return status;
}

/// What gnuplot writes to its standard output when it runs `script`. All three streams are files, so that
/// nobody waits for a full pipe.
std::string outputOf(const std::string& script) {
  const File input = temporaryFile(), output = temporaryFile(), errors = temporaryFile();
  const bool isWritten = std::fwrite(script.data(), 1, script.size(), input.get()) == script.size();
  if (!isWritten || std::fflush(input.get()) != 0) raiseFailed("the temporary file cannot be written");
  std::rewind(input.get());
  const int status =
      statusOf(startGnuplot(fileno(input.get()), fileno(output.get()), fileno(errors.get()), false));
  raiseIfInterrupted();
  if (status != 0) raiseFailed(contentOf(errors.get()));
  return contentOf(output.get());
}

/// `scale` and `width`, `height` stand in the terminal's options; the latter in dots or, for pages, in inches.
struct PictureFormat {
  const char *name, *terminal;
  bool isPage;
};

constexpr PictureFormat kFormats[] = {
    {"svg", "svg noenhanced background rgb '#FFFFFF' font 'Sans,12' size {width:.0f},{height:.0f}", false},
    {"png",
     "pngcairo noenhanced font 'Sans,10' fontscale {scale} linewidth {scale} pointscale {scale} size "
     "{width:.0f},{height:.0f}",
     false},
    {"pdf", "pdfcairo noenhanced font 'Sans,9' size {width}in,{height}in", true},
    {"eps", "epscairo noenhanced font 'Sans,9' size {width}in,{height}in", true}};

constexpr double kPixelsPerInch = 100;

std::string terminalText(const PictureFormat& format, const Figure& figure, double dotsPerInch) {
  const double scale = std::string_view(format.name) == "png" ? dotsPerInch / kPixelsPerInch : 1;
  const double unit = format.isPage ? 1 / kPixelsPerInch : scale;
  return fmt::format(fmt::runtime(format.terminal), fmt::arg("scale", scale),
                     fmt::arg("width", figure.width * unit), fmt::arg("height", figure.height * unit));
}

/// The first kind of window that gnuplot has; empty where it has none.
const std::string& windowTerminal() {
  static const std::string found = [] {
    const std::string known = outputOf("set print '-'\nprint GPVAL_TERMINALS\n");
    for (const char* terminal : {"qt", "wxt", "x11"})
      if (known.find(fmt::format(" {} ", terminal)) != std::string::npos) return std::string(terminal);
    return std::string();
  }();
  return found;
}

bool hasScreen() {
  const auto isSet = [](const char* name) {
    return std::getenv(name) != nullptr && *std::getenv(name) != '\0';
  };
  return isSet("DISPLAY") || isSet("WAYLAND_DISPLAY");
}

/// A gnuplot that draws windows for as long as the session runs, and leaves them open after it.
class Window {
 public:
  ~Window() { end(); }

  /// Sends commands; starts gnuplot where none runs, or the user has ended it.
  void send(const std::string& script) {
    if (process_ == 0 || !write(script)) {
      end();
      start();
      if (!write(script)) raiseFailed("it does not take commands");
    }
  }

 private:
  void start() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) raiseFailed(std::strerror(errno));
    input_ = ends[1];
    try {
      process_ = startGnuplot(ends[0], -1, -1, true);
    } catch (...) {
      close(ends[0]);
      end();
      throw;
    }
    close(ends[0]);
  }
  /// gnuplot itself stays until its windows are closed: nobody waits for it.
  void end() {
    if (input_ >= 0) close(input_);
    input_ = -1;
    process_ = 0;
  }
  bool write(std::string_view text) const {
    while (!text.empty()) {
      const ssize_t count = ::write(input_, text.data(), text.size());
      if (count < 0 && errno == EINTR) {
        raiseIfInterrupted();
        continue;
      }
      if (count < 0) return false;
      text.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
  }

  int input_ = -1;
  pid_t process_ = 0;
};

void warnOfNoWindow() {
  static bool hasWarned = false;
  const auto isLost = [](const auto& row) { return !row.second.isWritten; };
  if (hasWarned || std::none_of(figures().all().begin(), figures().all().end(), isLost)) return;
  hasWarned = true;
  warn("Tessel:noWindow", "No window can show the figure here; print('picture.svg') writes it to a file.");
}

}  // namespace

std::vector<std::string> pictureFormats() {
  std::vector<std::string> names;
  for (const PictureFormat& format : kFormats) names.emplace_back(format.name);
  return names;
}

std::string picture(Figure& figure, std::string_view name, double dotsPerInch) {
  figure.current();
  const auto* format =
      std::find_if(std::begin(kFormats), std::end(kFormats), [&](const auto& f) { return f.name == name; });
  std::string content = outputOf("set terminal " + terminalText(*format, figure, dotsPerInch) + "\n" +
                                 gnuplotScript(figure) + "unset output\n");
  if (content.empty()) raiseFailed("it has drawn nothing");
  figure.isWritten = true;
  return content;
}

void showFigures() {
  static std::vector<int> shown;
  if (figures().isEmpty() && shown.empty()) return;
  if (!hasScreen() || windowTerminal().empty()) return warnOfNoWindow();
  static Window window;
  for (const int number : std::exchange(shown, {}))
    if (!figures().has(number))
      window.send(fmt::format("set terminal {} {} close\n", windowTerminal(), number));
  for (auto& [number, figure] : figures().all()) {
    shown.push_back(number);
    if (std::exchange(figure.isShown, true)) continue;
    figure.current();
    const std::string title = figure.name.empty() ? fmt::format("Figure {}", number) : figure.name;
    window.send(fmt::format("set terminal {} {} noenhanced size {:.0f},{:.0f} title {}\n", windowTerminal(),
                            number, figure.width, figure.height, gnuplotText(title)) +
                gnuplotScript(figure));
  }
}

}  // namespace tessel
