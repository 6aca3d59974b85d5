// Files that stay open, piece by piece.
#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <optional>

#include <fmt/format.h>
#include "tessel/console.h"
#include "tessel/language/builtins/builtins.h"
#include "tessel/language/builtins/support.h"
#include "tessel/language/interpreter.h"
#include "tessel/language/open_files.h"
#include "tessel/language/text_format.h"
#include "tessel/messages.h"
#include "tessel/runtime/convert.h"

namespace tessel {
namespace {

constexpr double kOutput = 1, kErrors = 2;

/// Whether numbers stand with their highest byte first.
bool orderArgument(const char* function, const HostArray& argument) {
  const std::string name = textArgument(function, argument);
  if (name == "n" || name == "native") return std::endian::native == std::endian::big;
  if (name == "b" || name == "ieee-be") return true;
  if (name != "l" && name != "ieee-le")
    raiseInvalidArgument(function, "the order of bytes is 'native', 'ieee-le' or 'ieee-be'.");
  return false;
}

/// A mode without the letters that make no difference here.
std::string modeArgument(const HostArray& argument) {
  std::string mode = textArgument("fopen", argument);
  std::erase_if(mode, [](char c) { return c == 'b' || c == 't'; });
  constexpr std::string_view kModes[] = {"r", "w", "a", "r+", "w+", "a+"};
  if (std::ranges::find(kModes, mode) == std::end(kModes))
    raiseInvalidArgument("fopen", "the mode is 'r', 'w', 'a', 'r+', 'w+' or 'a+'.");
  return mode;
}

/// [fid, message] = fopen(name, mode, order), fids = fopen('all'), [name, mode] = fopen(fid)
Arrays callFopen(OpenFiles& files, const Arrays& in) {
  if (in[0].isNumeric()) {
    const OpenFile& file = files.at(numberArgument("fopen", in[0]));
    return {HostArray::text(file.name()), HostArray::text(file.mode())};
  }
  const std::string name = fileNameArgument("fopen", in[0]);
  if (in.size() == 1 && name == "all") return {doubles(files.numbers(), {files.numbers().size(), 1})};
  const std::string mode = in.size() > 1 ? modeArgument(in[1]) : "r";
  const bool isBigEndian = orderArgument("fopen", in.size() > 2 ? in[2] : HostArray::text("n"));
  auto file = OpenFile::open(name, mode, isBigEndian);
  if (!file) return {HostArray::scalar(-1), HostArray::text(std::strerror(errno))};
  return {HostArray::scalar(files.add(std::move(file))), HostArray::text("")};
}

Arrays callFclose(OpenFiles& files, const Arrays& in) {
  if (!in[0].isChar())
    files.close(numberArgument("fclose", in[0]));
  else if (textArgument("fclose", in[0]) == "all")
    files.closeAll();
  else
    raiseInvalidArgument("fclose", "a number that fopen gave, or 'all', is needed.");
  return {HostArray::scalar(0)};
}

/// A line, or its beginning of at most `most` bytes; −1 at the end of the file. The end is seen with the last
/// line, so that loops until feof read no line too many.
HostArray nextLine(OpenFile& file, bool keepsEnd, std::size_t most) {
  std::string line;
  int next = 0;
  while (line.size() < most && (next = file.readByte()) != EOF) {
    if (next == '\n') {
      if (keepsEnd) line += '\n';
      break;
    }
    line += static_cast<char>(next);
  }
  if (next == EOF && line.empty()) return HostArray::scalar(-1);
  file.peekByte();
  if (!keepsEnd && line.ends_with('\r')) line.pop_back();
  return HostArray::text(line);
}

Arrays callFgets(OpenFiles& files, const Arrays& in) {
  const std::size_t most = in.size() > 1 && !std::isinf(numberArgument("fgets", in[1]))
                               ? countArgument("fgets", in[1])
                               : std::numeric_limits<std::size_t>::max();
  return {nextLine(files.at(numberArgument("fgets", in[0])), true, most)};
}

/// To the output, to the errors, or to an open file.
void writeTo(OpenFiles& files, double stream, std::string_view bytes) {
  if (stream == kErrors)
    fmt::print(stderr, "{}", bytes);
  else if (stream == kOutput)
    print(bytes);
  else
    files.at(stream).write(bytes);
}

/// fprintf(format, …), fprintf(fid, format, …)
Arrays callFprintf(OpenFiles& files, const Arrays& in, int outputCount) {
  const bool hasStream = in.size() > 1 && in[0].isNumeric() && in[1].isChar();
  const double stream = hasStream ? numberArgument("fprintf", in[0]) : kOutput;
  const std::size_t first = hasStream ? 1 : 0;
  const std::string text =
      formatText(textArgument("fprintf", in[first]), {in.data() + first + 1, in.size() - first - 1});
  writeTo(files, stream, text);
  if (outputCount == 0) return {};
  return {HostArray::scalar(static_cast<double>(text.size()))};
}

// Numbers as they stand in memory

/// What stands in the file, and the class of what is made of it.
struct Precision {
  ArrayClass source = ArrayClass::Uint8;
  ArrayClass result = ArrayClass::Double;
};

std::optional<ArrayClass> sourceClass(std::string_view name) {
  constexpr std::pair<std::string_view, ArrayClass> kNames[] = {
      {"char", ArrayClass::Uint8},    {"uchar", ArrayClass::Uint8},   {"schar", ArrayClass::Int8},
      {"short", ArrayClass::Int16},   {"ushort", ArrayClass::Uint16}, {"int", ArrayClass::Int32},
      {"uint", ArrayClass::Uint32},   {"float", ArrayClass::Single},  {"float32", ArrayClass::Single},
      {"float64", ArrayClass::Double}};
  for (const auto& [known, arrayClass] : kNames)
    if (known == name) return arrayClass;
  const auto found = numericClassNamed(name);
  return found && *found <= ArrayClass::Uint64 ? found : std::nullopt;
}

/// 'int16' becomes double, '*int16' stays int16, 'uint8=>char' becomes char.
Precision precisionArgument(const char* function, const HostArray& argument) {
  const std::string text = textArgument(function, argument);
  const std::size_t arrow = text.find("=>");
  const bool keeps = text.starts_with('*');
  const std::string name = text.substr(keeps ? 1 : 0, arrow);
  const auto source = sourceClass(name);
  if (!source) raiseInvalidArgument(function, fmt::format("there is no precision '{}'.", text));
  Precision precision{*source, keeps ? *source : ArrayClass::Double};
  const std::string result =
      arrow == std::string::npos ? (keeps && name == "char" ? name : "") : text.substr(arrow + 2);
  if (result.empty()) return precision;
  const auto wanted = numericClassNamed(result);
  if (!wanted) raiseInvalidArgument(function, fmt::format("there is no class '{}'.", result));
  precision.result = *wanted;
  return precision;
}

std::size_t bytesOf(ArrayClass c) {
  return visitElementType(c, [](auto zero) { return sizeof zero; });
}

void turnBytes(std::string& bytes, std::size_t each, bool isBigEndian) {
  if (isBigEndian == (std::endian::native == std::endian::big)) return;
  for (std::size_t first = 0; first + each <= bytes.size(); first += each)
    std::reverse(bytes.begin() + static_cast<std::ptrdiff_t>(first),
                 bytes.begin() + static_cast<std::ptrdiff_t>(first + each));
}

/// `count` numbers of so many bytes, or as many as are left, each with `skipped` bytes behind it.
std::string readNumbers(OpenFile& file, double count, std::size_t each, std::size_t skipped) {
  const double most = std::min(count * static_cast<double>(each), 0x1p62);
  if (skipped == 0) return file.read(static_cast<std::size_t>(most));
  std::string bytes;
  for (double k = 0; k < count; ++k) {
    const std::string number = file.read(each);
    bytes += number;
    if (number.size() < each) break;
    file.read(skipped);
  }
  return bytes;
}

/// [a, count] = fread(fid, size, precision, skip, order)
Arrays callFread(OpenFiles& files, const Arrays& in) {
  OpenFile& file = files.at(numberArgument("fread", in[0]));
  const ReadSize size("fread", in, 1);
  const Precision precision = precisionArgument("fread", in.size() > 2 ? in[2] : HostArray::text("uint8"));
  const std::size_t skipped = in.size() > 3 ? countArgument("fread", in[3]) : 0;
  const bool isBigEndian = in.size() > 4 ? orderArgument("fread", in[4]) : file.isBigEndian();
  const std::size_t each = bytesOf(precision.source);
  std::string bytes = readNumbers(file, size.count(), each, skipped);
  const std::size_t count = bytes.size() / each;
  turnBytes(bytes, each, isBigEndian);
  HostArray values = HostArray::zeros(precision.source, size.dims(count));
  if (count > 0) std::memcpy(values.mutableRealData(), bytes.data(), count * each);
  return {convertTo(values, precision.result), HostArray::scalar(static_cast<double>(count))};
}

/// count = fwrite(fid, a, precision, skip, order)
Arrays callFwrite(OpenFiles& files, const Arrays& in) {
  requireReal("fwrite", in[1]);
  const double stream = numberArgument("fwrite", in[0]);
  const Precision precision = precisionArgument("fwrite", in.size() > 2 ? in[2] : HostArray::text("uint8"));
  if (in.size() > 3 && countArgument("fwrite", in[3]) != 0)
    raiseInvalidArgument("fwrite", "nothing can be skipped between the numbers.");
  const bool isProcess = stream == kOutput || stream == kErrors;
  const bool isBigEndian =
      in.size() > 4 ? orderArgument("fwrite", in[4]) : !isProcess && files.at(stream).isBigEndian();
  const HostArray values = convertTo(in[1], precision.source);
  const std::size_t each = bytesOf(precision.source);
  std::string bytes(each * values.numel(), '\0');
  if (!bytes.empty()) std::memcpy(bytes.data(), values.realData(), bytes.size());
  turnBytes(bytes, each, isBigEndian);
  writeTo(files, stream, bytes);
  return {HostArray::scalar(static_cast<double>(values.numel()))};
}

// Places

int originArgument(const HostArray& argument) {
  const std::string name = argument.isChar() ? argument.toText() : "";
  const double number = argument.isChar() ? 2 : numberArgument("fseek", argument);
  if (name == "bof" || number == -1) return SEEK_SET;
  if (name == "cof" || number == 0) return SEEK_CUR;
  if (name == "eof" || number == 1) return SEEK_END;
  raiseInvalidArgument("fseek", "the origin is 'bof', 'cof' or 'eof'.");
}

/// status = fseek(fid, offset, origin)
Arrays callFseek(OpenFiles& files, const Arrays& in) {
  const double offset = numberArgument("fseek", in[1]);
  if (offset != std::floor(offset) || std::abs(offset) > 0x1p62)
    raiseInvalidArgument("fseek", "the offset is a whole number of bytes.");
  const int origin = in.size() > 2 ? originArgument(in[2]) : SEEK_SET;
  OpenFile& file = files.at(numberArgument("fseek", in[0]));
  return {HostArray::scalar(file.moveTo(static_cast<long>(offset), origin) ? 0 : -1)};
}

}  // namespace

void registerStreamBuiltins(Interpreter& interpreter) {
  OpenFiles* files = &interpreter.openFiles();
  const auto file = [files](const char* function, const Arrays& in) -> OpenFile& {
    return files->at(numberArgument(function, in[0]));
  };
  registerAll({
      {"fopen", [=](Arrays& in, int) { return callFopen(*files, in); }, 1, 3, 2,
       "[fid, message] = fopen(name, mode), fopen(name, mode, order): opens a file for reading ('r'), writing "
       "anew ('w'), at its\n"
       "end ('a'), or both ('r+', 'w+', 'a+'); fid is its number, -1 where that fails, and the message says "
       "why. The order of bytes is\n"
       "'native', 'ieee-le' or 'ieee-be'. fopen('all'): the numbers of open files; [name, mode] = fopen(fid).\n"
       "Files are closed when the program ends; a loss is an error then."},
      {"fclose", [=](Arrays& in, int) { return callFclose(*files, in); }, 1, 1, 1,
       "fclose(fid), fclose('all'): closes files. Raises \"Tessel:outputLost\" where not all reached the disk, "
       "\"Tessel:fileNotOpen\"."},
      {"fgetl", [=](Arrays& in, int) { return Arrays{nextLine(file("fgetl", in), false, std::string::npos)}; },
       1, 1, 1, "line = fgetl(fid): the next line without its end; -1 at the end of the file."},
      {"fgets", [=](Arrays& in, int) { return callFgets(*files, in); }, 1, 2, 1,
       "line = fgets(fid), fgets(fid, n): the next line with its end, at most n bytes; -1 at the end of the "
       "file."},
      {"feof", [=](Arrays& in, int) { return Arrays{HostArray::logical(file("feof", in).hasEnded())}; }, 1, 1,
       1, "t = feof(fid): has reading come to the end of the file? After the last line it has."},
      {"fprintf", [=](Arrays& in, int n) { return callFprintf(*files, in, n); }, 1, -1, 1,
       "fprintf(format, ...), fprintf(fid, format, ...), n = fprintf(...): prints as sprintf, to the output, "
       "to an open file, or\n"
       "to 1, the output, or 2, the errors; n is the number of bytes."},
      {"fread", [=](Arrays& in, int) { return callFread(*files, in); }, 1, 5, 2,
       "[a, n] = fread(fid, size, precision, skip, order): numbers as they stand in the file, n of them. The "
       "size is Inf, a count, or\n"
       "[rows columns]; the precision a class such as 'int16' for doubles, '*int16' for that class, "
       "'uint8=>char' for another; skip\n"
       "bytes are left out behind each. Without them all bytes, as a column."},
      {"fwrite", [=](Arrays& in, int) { return callFwrite(*files, in); }, 2, 5, 1,
       "n = fwrite(fid, a, precision, 0, order): writes numbers as they stand in memory, n of them, converted "
       "to a class such as\n"
       "'int16'; without one to bytes."},
      {"fseek", [=](Arrays& in, int) { return callFseek(*files, in); }, 2, 3, 1,
       "status = fseek(fid, offset, origin): goes on so many bytes after 'bof', the beginning, 'cof', the "
       "place here, or 'eof', the\n"
       "end; -1 where there is no such place."},
      {"ftell",
       [=](Arrays& in, int) {
         return Arrays{HostArray::scalar(static_cast<double>(file("ftell", in).position()))};
       },
       1, 1, 1, "k = ftell(fid): the place in a file, in bytes from 0."},
      {"frewind",
       [=](Arrays& in, int) -> Arrays {
         file("frewind", in).moveTo(0, SEEK_SET);
         return {};
       },
       1, 1, 0, "frewind(fid): goes on at the beginning."},
  });
}

}  // namespace tessel
