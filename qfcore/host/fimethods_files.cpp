/// Methods that write arrays to files for hardware and firmware, and read them back.
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "qfcore/fi/wordfiles.h"
#include "qfcore/host/FiObjClass.h"
#include "qfcore/host/NumericTypeObjClass.h"
#include "tessel/interruption.h"

namespace embedded::host {

namespace {

constexpr Message kText{"numforge:fi:wordfile:text",
                        "The name of a file, and that of an array in it, are texts."};
constexpr Message kCannotWrite{"numforge:fi:wordfile:cannotWrite", "The file '%s' cannot be written."};
constexpr Message kCannotRead{"numforge:fi:wordfile:cannotRead", "The file '%s' cannot be read."};

std::string textOf(const HostArray& argument) {
  if (!argument.isText()) fail<kText>();
  std::string text = argument.toText();
  if (text.find('\0') != std::string::npos) fail<kText>();
  return text;
}

void write(const std::string& name, const std::string& content) {
  std::ofstream file(name, std::ios::binary);
  if (!(file << content << std::flush)) fail<kCannotWrite>(name.c_str());
}

template <WordFile Form>
Arrays writeWords(Arrays& inputs, int) {
  const std::string name = textOf(inputs[1]);
  write(name, wordLines(fiArgument(inputs[0]), Form));
  return {};
}

Arrays writeHeader(Arrays& inputs, int) {
  const std::string name = textOf(inputs[1]);
  write(name, cHeader(fiArgument(inputs[0]), textOf(inputs[2])));
  return {};
}

std::string read(const std::string& name) {
  std::ifstream file(name, std::ios::binary);
  std::string content;
  for (std::vector<char> part(1 << 20); file.read(part.data(), std::ssize(part)) || file.gcount() > 0;) {
    content.append(part.data(), static_cast<std::size_t>(file.gcount()));
    tessel::raiseIfInterrupted();
  }
  if (!file.is_open() || file.bad()) fail<kCannotRead>(name.c_str());
  return content;
}

template <WordFile Form>
Arrays readWords(Arrays& inputs, int) {
  const std::string content = read(textOf(inputs[1]));
  const NumericType& type = numericTypeArgument(inputs[0]);
  return {toHost(fromWordLines(content, Form, type, fimath::getDefaultFimath()))};
}

const Method kMethods[] = {
    {"writememh", 2, 2, 0, writeWords<WordFile::Memh>,
     "writememh(a, file): writes the stored integers as Verilog's $readmemh reads them, a line each."},
    {"writebits", 2, 2, 0, writeWords<WordFile::Bits>,
     "writebits(a, file): writes the stored integers in bits, a line each, as VHDL's textio reads them."},
    {"writeheader", 3, 3, 0, writeHeader,
     "writeheader(a, file, name): writes a header for C that defines the stored integers as the array name."},
};

const Method kNumericTypeMethods[] = {
    {"readmemh", 2, 2, 1, readWords<WordFile::Memh>,
     "readmemh(T, file): the words of a file for Verilog's $readmemh, as a column of type T."},
    {"readbits", 2, 2, 1, readWords<WordFile::Bits>,
     "readbits(T, file): words in bits, as a column of type T."},
};

}  // namespace

std::span<const Method> fileMethods() { return kMethods; }
std::span<const Method> numericTypeFileMethods() { return kNumericTypeMethods; }

}  // namespace embedded::host
