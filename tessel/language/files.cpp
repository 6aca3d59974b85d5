#include "tessel/language/files.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <stdexcept>

#include "tessel/interruption.h"
#include "tessel/messages.h"
#include "tessel/runtime/arraydata.h"

namespace tessel {

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

void raiseFileNotFound(const std::string& name) {
  raiseError("Tessel:fileNotFound", "Cannot open file '" + name + "'.");
}

void raiseOutputLost(const std::string& name) {
  const std::string reason = std::strerror(errno);
  raiseError("Tessel:outputLost", "The file '" + name + "' could not be written: " + reason + '.');
}

namespace {

/// Opens a file; empty where that fails. The system would take what stands before a NUL for the name.
File opened(const std::string& name, const char* mode) {
  const bool isName = name.find('\0') == std::string::npos;
  return {isName ? std::fopen(name.c_str(), mode) : nullptr, std::fclose};
}

}  // namespace

void writeFile(const std::string& name, std::string_view content) {
  const File file = opened(name, "wb");
  if (!file) raiseFileNotFound(name);
  if (std::fwrite(content.data(), 1, content.size(), file.get()) != content.size() ||
      std::fflush(file.get()) != 0)
    raiseOutputLost(name);
}

std::string readFile(const std::string& name) {
  const File file = opened(name, "rb");
  if (!file) raiseFileNotFound(name);
  constexpr std::size_t kAtOnce = std::size_t{1} << 20;
  std::string content;
  const auto raiseTooLarge = [&] {
    content = {};
    raiseError("Tessel:outOfMemory", "There is not enough memory for the content of file '" + name + "'.");
  };
  try {
    for (std::size_t got = kAtOnce; got == kAtOnce;) {
      const std::size_t done = content.size();
      if (!hasMemory(2 * (done + kAtOnce), 1)) raiseTooLarge();
      content.resize(done + kAtOnce);
      got = std::fread(content.data() + done, 1, kAtOnce, file.get());
      content.resize(done + got);
      raiseIfInterrupted();
    }
  } catch (const std::bad_alloc&) {
    raiseTooLarge();
  }
  if (std::ferror(file.get()) != 0) raiseError("Tessel:fileNotReadable", "Cannot read file '" + name + "'.");
  return content;
}

}  // namespace tessel
