/// The files that a program has opened.
#pragma once

#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace tessel {

/// One of them. Reading and writing may alternate where the mode has both.
class OpenFile {
 public:
  /// `mode` is "r", "w", "a", "r+", "w+" or "a+". Null, with errno set, for a file that cannot be opened.
  static std::unique_ptr<OpenFile> open(const std::string& name, const std::string& mode, bool isBigEndian);

  const std::string& name() const { return name_; }
  const std::string& mode() const { return mode_; }
  /// The order of bytes in which numbers of several stand in it.
  bool isBigEndian() const { return isBigEndian_; }

  /// Raises "Tessel:outputLost" where the disk is full or the file is open for reading alone.
  void write(std::string_view bytes);
  /// At most so many bytes; fewer at the end. Raises "Tessel:fileNotReadable", "Tessel:outOfMemory".
  std::string read(std::size_t count);
  /// The next byte, or EOF.
  int readByte();
  /// What `readByte` gives next; at the end `hasEnded` is true from here on.
  int peekByte();
  /// Whether somebody has tried to read on at the end.
  bool hasEnded() const { return std::feof(stream_.get()) != 0; }
  long position() const { return std::ftell(stream_.get()); }
  /// False for a place before the beginning, and where the file has no places.
  bool moveTo(long offset, int origin);
  /// Ends it, once; raises "Tessel:outputLost" where what was written last does not reach the disk.
  void close();

 private:
  enum class Use { None, Reading, Writing };
  explicit OpenFile(std::FILE* stream) : stream_(stream, std::fclose) {}
  void startReading();

  std::unique_ptr<std::FILE, int (*)(std::FILE*)> stream_;
  std::string name_, mode_;
  bool isBigEndian_ = false;
  Use use_ = Use::None;
};

/// All of them, by numbers from 3 on: 0, 1 and 2 are input, output and errors of the process.
class OpenFiles {
 public:
  /// The lowest free number.
  int add(std::unique_ptr<OpenFile> file);
  /// Raises "Tessel:fileNotOpen" for numbers that no open file has.
  OpenFile& at(double number);
  std::vector<double> numbers() const;
  void close(double number);
  /// Closes all; the error of the first that lost something is raised once all are closed.
  void closeAll();

 private:
  std::map<int, std::unique_ptr<OpenFile>> files_;
};

}  // namespace tessel
