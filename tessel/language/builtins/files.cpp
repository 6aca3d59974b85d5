// Numbers and texts in files.
#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <limits>
#include <optional>
#include <random>

#include "tessel/language/builtins/builtins.h"
#include "tessel/language/builtins/support.h"
#include "tessel/language/files.h"
#include "tessel/language/text_format.h"
#include "tessel/messages.h"

namespace tessel {
namespace {

Arrays callFileread(Arrays& in, int) { return {HostArray::text(readFile(textArgument("fileread", in[0])))}; }

/// The fields of a line: parted by `separator`, or by blanks where it is a blank.
std::vector<std::string_view> fieldsOf(std::string_view line, char separator) {
  std::vector<std::string_view> fields;
  while (!line.empty()) {
    if (separator == ' ') line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
    if (separator == ' ' && line.empty()) break;
    const std::size_t end =
        std::min(separator == ' ' ? line.find_first_of(" \t") : line.find(separator), line.size());
    fields.push_back(line.substr(0, end));
    if (end + 1 == line.size() && separator != ' ') fields.emplace_back();  // the line ends with a separator
    line.remove_prefix(std::min(end + 1, line.size()));
  }
  return fields;
}

/// The number in a field; nothing for an empty one or another text.
std::optional<double> numberIn(std::string_view field) {
  field.remove_prefix(std::min(field.find_first_not_of(" \t"), field.size()));
  field = field.substr(0, field.find_last_not_of(" \t") + 1);
  if (field.starts_with('+') && !field.starts_with("+-")) field.remove_prefix(1);
  double value = 0;
  const auto [end, error] = std::from_chars(field.data(), field.data() + field.size(), value);
  if (error == std::errc::result_out_of_range) value = std::strtod(std::string(field).c_str(), nullptr);
  if (error == std::errc::invalid_argument || end != field.data() + field.size()) return std::nullopt;
  return value;
}

bool hasNumber(const std::vector<std::string_view>& fields) {
  return std::any_of(fields.begin(), fields.end(), [](std::string_view field) { return numberIn(field); });
}

/// The lines that are not blank, without their ends.
std::vector<std::string_view> linesOf(std::string_view content) {
  std::vector<std::string_view> lines;
  while (!content.empty()) {
    const std::size_t end = std::min(content.find('\n'), content.size());
    std::string_view line = content.substr(0, end);
    content.remove_prefix(std::min(end + 1, content.size()));
    if (line.ends_with('\r')) line.remove_suffix(1);
    if (line.find_first_not_of(" \t") != std::string_view::npos) lines.push_back(line);
  }
  return lines;
}

/// What parts numbers; a heading may hold other separators, and lines may end with one.
char separatorOf(const std::vector<std::string_view>& lines) {
  for (const char separator : {',', ';', '\t'})
    for (const std::string_view line : lines)
      if (line.find(separator) != std::string_view::npos && hasNumber(fieldsOf(line, separator)))
        return separator;
  return ' ';
}

/// Rows of numbers. Lines at the start without any number are a heading and skipped; empty lines do not count.
std::vector<std::vector<double>> numberRows(std::string_view content) {
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  if (content.starts_with(kByteOrderMark)) content.remove_prefix(kByteOrderMark.size());
  const std::vector<std::string_view> lines = linesOf(content);
  const char separator = separatorOf(lines);
  std::vector<std::vector<double>> rows;
  for (const std::string_view line : lines) {
    std::vector<double> row;
    bool anyNumber = false;
    for (const std::string_view field : fieldsOf(line, separator)) {
      const std::optional<double> number = numberIn(field);
      row.push_back(number.value_or(std::numeric_limits<double>::quiet_NaN()));
      anyNumber = anyNumber || number;
    }
    if (anyNumber || !rows.empty()) rows.push_back(std::move(row));
  }
  return rows;
}

Arrays callReadmatrix(Arrays& in, int) {
  const std::vector<std::vector<double>> rows = numberRows(readFile(textArgument("readmatrix", in[0])));
  std::size_t columns = 0;
  for (const auto& row : rows) columns = std::max(columns, row.size());
  HostArray result = HostArray::zeros(ArrayClass::Double, {rows.size(), columns});
  double* values = result.mutableReal<double>();
  std::fill_n(values, result.numel(), std::numeric_limits<double>::quiet_NaN());
  for (std::size_t r = 0; r < rows.size(); ++r)
    for (std::size_t c = 0; c < rows[r].size(); ++c) values[c * rows.size() + r] = rows[r][c];
  return {result};
}

/// Comma-separated, with as many digits as bring every value back.
Arrays callWritematrix(Arrays& in, int) {
  const auto decimals = decimalTexts(in[0]);
  const HostArray& a = decimals ? *decimals : in[0];
  if (!decimals) requireReal("writematrix", a);
  if (a.dims().size() > 2) raiseError("Tessel:mustBe2D", "The argument must have two dimensions.");
  const std::string name = fileNameArgument("writematrix", in[1]);
  std::vector<long double> values(decimals ? 0 : a.numel());
  if (!decimals) loadElements(a, false, 0, 1, values.size(), values.data());
  std::string content;
  for (std::size_t row = 0; row < a.dim(0); ++row) {
    for (std::size_t column = 0; column < a.dim(1); ++column) {
      if (decimals) {
        content += (column > 0 ? "," : "") + a.cellAt(column * a.dim(0) + row).toText();
        continue;
      }
      const long double value = values[column * a.dim(0) + row];
      char text[64];
      const auto end = a.isInteger() ? std::to_chars(text, text + sizeof text, value).ptr
                                     : std::to_chars(text, text + sizeof text, static_cast<double>(value)).ptr;
      content += (column > 0 ? "," : "") + std::string(text, end);
    }
    content += '\n';
  }
  writeFile(name, content);
  return {};
}

/// A name in the folder for temporary files that no file has.
Arrays callTempname(Arrays&, int) {
  static std::random_device random;
  for (;;) {
    const std::string name = fmt::format("tessel_{:08x}{:08x}", random(), random());
    const std::filesystem::path path = std::filesystem::temp_directory_path() / name;
    if (!std::filesystem::exists(path)) return {HostArray::text(path.string())};
  }
}

Arrays callDelete(Arrays& in, int) {
  const std::string name = fileNameArgument("delete", in[0]);
  std::error_code error;
  if (!std::filesystem::is_regular_file(name, error) || !std::filesystem::remove(name, error))
    raiseFileNotFound(name);
  return {};
}

}  // namespace

void registerFileBuiltins() {
  registerAll({
      {"tempname", callTempname, 0, 0, 1, "tempname: a name for a temporary file."},
      {"delete", callDelete, 1, 1, 0, "delete(name): removes a file."},
      {"fileread", callFileread, 1, 1, 1, "fileread(name): the content of a file as text."},
      {"readmatrix", callReadmatrix, 1, 1, 1,
       "readmatrix(name): the numbers in a text file, one row a line, parted by commas, semicolons, tabs or "
       "blanks.\n"
       "Heading lines are skipped; missing numbers are NaN."},
      {"writematrix", callWritematrix, 2, 2, 0,
       "writematrix(a, name): writes a matrix to a text file, parted by commas."},
  });
}

}  // namespace tessel
