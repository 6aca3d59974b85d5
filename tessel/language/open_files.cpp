#include "tessel/language/open_files.h"

#include <algorithm>
#include <exception>
#include <utility>

#include <fmt/format.h>
#include "tessel/interruption.h"
#include "tessel/language/files.h"
#include "tessel/messages.h"
#include "tessel/runtime/arraydata.h"

namespace tessel {

std::unique_ptr<OpenFile> OpenFile::open(const std::string& name, const std::string& mode, bool isBigEndian) {
  std::FILE* stream = std::fopen(name.c_str(), mode.c_str());
  if (stream == nullptr) return nullptr;
  std::unique_ptr<OpenFile> file(new OpenFile(stream));
  file->name_ = name;
  file->mode_ = mode;
  file->isBigEndian_ = isBigEndian;
  return file;
}

void OpenFile::write(std::string_view bytes) {
  if (std::exchange(use_, Use::Writing) == Use::Reading) std::fseek(stream_.get(), 0, SEEK_CUR);
  if (std::fwrite(bytes.data(), 1, bytes.size(), stream_.get()) != bytes.size()) raiseOutputLost(name_);
}

void OpenFile::startReading() {
  if (std::exchange(use_, Use::Reading) == Use::Writing && std::fflush(stream_.get()) != 0)
    raiseOutputLost(name_);
  if (mode_ == "w" || mode_ == "a")
    raiseError("Tessel:fileNotReadable", fmt::format("The file '{}' is open for writing alone.", name_));
}

std::string OpenFile::read(std::size_t count) {
  startReading();
  constexpr std::size_t kAtOnce = std::size_t{1} << 20;
  std::string bytes;
  while (bytes.size() < count) {
    const std::size_t done = bytes.size(), wanted = std::min(kAtOnce, count - done);
    requireMemory(2 * (done + wanted), 1);
    bytes.resize(done + wanted);
    const std::size_t got = std::fread(bytes.data() + done, 1, wanted, stream_.get());
    bytes.resize(done + got);
    raiseIfInterrupted();
    if (got < wanted) break;
  }
  if (std::ferror(stream_.get()) != 0) {
    std::clearerr(stream_.get());
    raiseError("Tessel:fileNotReadable", fmt::format("Cannot read file '{}'.", name_));
  }
  return bytes;
}

int OpenFile::readByte() {
  startReading();
  return std::getc(stream_.get());
}

int OpenFile::peekByte() {
  startReading();
  const int next = std::getc(stream_.get());
  return next == EOF ? EOF : std::ungetc(next, stream_.get());
}

bool OpenFile::moveTo(long offset, int origin) {
  use_ = Use::None;
  return std::fseek(stream_.get(), offset, origin) == 0;
}

void OpenFile::close() {
  if (std::fclose(stream_.release()) != 0) raiseOutputLost(name_);
}

int OpenFiles::add(std::unique_ptr<OpenFile> file) {
  int number = 3;
  for (const auto& [taken, each] : files_) number += taken == number ? 1 : 0;
  files_[number] = std::move(file);
  return number;
}

OpenFile& OpenFiles::at(double number) {
  const auto found = std::ranges::find_if(files_, [number](const auto& each) { return each.first == number; });
  if (found != files_.end()) return *found->second;
  raiseError("Tessel:fileNotOpen", fmt::format("There is no open file with the number {}.", number));
}

std::vector<double> OpenFiles::numbers() const {
  std::vector<double> numbers;
  for (const auto& [number, file] : files_) numbers.push_back(number);
  return numbers;
}

void OpenFiles::close(double number) {
  at(number);
  const auto node = files_.extract(static_cast<int>(number));
  node.mapped()->close();
}

void OpenFiles::closeAll() {
  std::exception_ptr lost;
  while (!files_.empty()) {
    try {
      close(files_.begin()->first);
    } catch (...) {
      if (!lost) lost = std::current_exception();
    }
  }
  if (lost) std::rethrow_exception(lost);
}

}  // namespace tessel
