#include "qfcore/fi/wordfiles.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <vector>

#include "qfcore/fi/radixtext.h"

namespace embedded {

using tessel::ArrayClass;
using tessel::HostArray;

namespace {

constexpr Message kReal{"numforge:fi:wordfile:real", "Files of words hold real fixed-point values only."};
constexpr Message kWord{"numforge:fi:wordfile:word", "'%s' (word %d of the file) is no word of %d bits."};
constexpr Message kAddress{"numforge:fi:wordfile:address", "'@%s' is no address from 0 to 3FFFFFF."};
constexpr Message kName{"numforge:fi:wordfile:name", "'%s' is no identifier of C."};
constexpr Message kLength{"numforge:fi:wordfile:length",
                          "Headers hold words of up to 64 bits; these have %d bits."};

constexpr std::size_t kLargestAddress = (std::size_t{1} << 26) - 1;

int baseOf(WordFile form) { return form == WordFile::Memh ? 16 : 2; }
unsigned bitsOfDigit(WordFile form) { return form == WordFile::Memh ? 4 : 1; }

/// The same elements in one column.
fi asColumn(const fi& x) {
  if (x.iscomplex() || !x.getNumericType().isFixed()) fail<kReal>();
  fi column(x);
  const unsigned dims[] = {x.numel(), 1};
  column.copyDimensions(dims, 2);
  return column;
}

/// The rows of a char matrix without blanks.
std::vector<std::string> rowsOf(const HostArray& text) {
  const std::size_t rows = text.dim(0), columns = rows > 0 ? text.numel() / rows : 0;
  std::vector<std::string> all(rows);
  const char* characters = text.real<char>();
  for (std::size_t row = 0; row < rows; ++row) {
    for (std::size_t column = 0; column < columns; ++column)
      if (const char c = characters[column * rows + row]; c != ' ') all[row] += c;
  }
  return all;
}

bool isBlank(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }

/// The text without its comments, each of which parts words.
std::string withoutComments(std::string_view text) {
  std::string kept;
  while (!text.empty()) {
    const std::string_view opening = text.substr(0, 2);
    if (opening == "//" || opening == "--") {
      text.remove_prefix(std::min(text.find('\n'), text.size()));
    } else if (opening == "/*") {
      const std::size_t end = text.find("*/", 2);
      text.remove_prefix(end == std::string_view::npos ? text.size() : end + 2);
      kept += ' ';
    } else {
      kept += text[0];
      text.remove_prefix(1);
    }
  }
  return kept;
}

std::vector<std::string> wordsIn(std::string_view text) {
  std::vector<std::string> words(1);
  for (const char c : withoutComments(text)) {
    if (c == '_') continue;
    if (!isBlank(c))
      words.back() += c;
    else if (!words.back().empty())
      words.emplace_back();
  }
  if (words.back().empty()) words.pop_back();
  return words;
}

std::size_t addressIn(const std::string& digits) {
  std::size_t address = 0;
  const bool areHexadecimal =
      std::ranges::all_of(digits, [](unsigned char c) { return std::isxdigit(c) != 0; });
  if (areHexadecimal && !digits.empty() && digits.size() <= 15) address = std::stoull(digits, nullptr, 16);
  if (!areHexadecimal || digits.empty() || digits.size() > 15 || address > kLargestAddress)
    fail<kAddress>(digits.c_str());
  return address;
}

/// Whether digits of a file's form write a pattern of at most `wordLength` bits.
bool isPattern(const std::string& digits, WordFile form, unsigned wordLength) {
  const auto meanings = meaningsOfCharacters(baseOf(form), false);
  std::size_t bits = 0;
  for (const char c : digits) {
    const unsigned char digit = meanings[static_cast<unsigned char>(c)];
    if (digit == kInvalid || digit == kDelimiter) return false;
    if (bits > 0)
      bits += bitsOfDigit(form);
    else
      for (unsigned rest = digit; rest != 0; rest >>= 1) ++bits;
  }
  return bits <= wordLength;
}

/// A word and the row where it stands.
struct PlacedWord {
  std::size_t row;
  std::string digits;
};

/// A char matrix of the words, each at the right of as many digits as the longest has; the last of several in
/// a row counts, and other rows are 0.
HostArray matrixOf(const std::vector<PlacedWord>& words, std::size_t rows) {
  std::size_t width = 1;
  for (const PlacedWord& word : words) width = std::max(width, word.digits.size());
  HostArray matrix = HostArray::unset(ArrayClass::Char, {rows, width});
  char* characters = matrix.mutableReal<char>();
  std::fill_n(characters, matrix.numel(), '0');
  for (const auto& [row, digits] : words) {
    const std::size_t lead = width - digits.size();
    for (std::size_t k = 0; k < width; ++k) characters[k * rows + row] = k < lead ? '0' : digits[k - lead];
  }
  return matrix;
}

bool isIdentifier(const std::string& name) {
  const auto isPart = [](unsigned char c) { return std::isalnum(c) != 0 || c == '_'; };
  return !name.empty() && std::isdigit(static_cast<unsigned char>(name[0])) == 0 &&
         std::ranges::all_of(name, isPart);
}

/// A literal of C: the least 64-bit integer has none.
std::string literal(const std::string& integer, unsigned bits, bool isSigned) {
  if (bits < 64) return integer;
  if (integer == "-9223372036854775808") return "-INT64_C(9223372036854775807) - 1";
  return fmt::format("{}INT64_C({})", isSigned ? "" : "U", integer);
}

}  // namespace

std::string wordLines(const fi& x, WordFile form) {
  std::string lines;
  for (const std::string& row : rowsOf(asColumn(x).num2base(baseOf(form)))) lines += row + '\n';
  return lines;
}

fi fromWordLines(std::string_view text, WordFile form, const NumericType& type, const fimath& math) {
  const auto wordLength = static_cast<unsigned>(type.wordLength());
  std::vector<PlacedWord> words;
  std::size_t place = 0, rows = 0;
  int count = 0;
  for (std::string& word : wordsIn(text)) {
    if (form == WordFile::Memh && word[0] == '@') {
      place = addressIn(word.substr(1));
      continue;
    }
    ++count;
    if (!isPattern(word, form, wordLength)) fail<kWord>(word.c_str(), count, static_cast<int>(wordLength));
    if (place > kLargestAddress) fail<kAddress>(fmt::format("{:X}", place).c_str());
    // Digits before the word's own are zeros.
    const std::size_t most = (wordLength + bitsOfDigit(form) - 1) / bitsOfDigit(form);
    words.push_back({place, word.size() > most ? word.substr(word.size() - most) : std::move(word)});
    rows = std::max(rows, ++place);
  }
  fi column(static_cast<unsigned>(rows), 1, type, math);
  if (!column.getNumericType().isFixed()) fail<kReal>();
  if (rows > 0) column.base2num(matrixOf(words, rows), baseOf(form));
  return column;
}

std::string cHeader(const fi& x, const std::string& name) {
  if (!isIdentifier(name)) fail<kName>(name.c_str());
  const fi column = asColumn(x);
  const NumericType& type = column.getNumericType();
  const int length = type.wordLength();
  if (length > 64) fail<kLength>(length);
  unsigned bits = 8;
  while (bits < static_cast<unsigned>(length)) bits *= 2;
  const bool isSigned = type.isSigned();
  std::string upper = name;
  std::ranges::transform(upper, upper.begin(),
                         [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  std::string header = fmt::format("#ifndef {0}_H\n#define {0}_H\n\n#include <stdint.h>\n\n", upper);
  header += fmt::format("#define {}_LENGTH {}\n", upper, column.numel());
  if (type.isSlopeBias())
    header += fmt::format("/* value = {} * stored + {} */\n", type.slope(), type.bias());
  else
    header += fmt::format("/* value = stored * 2^-{0}_FRACTION_LENGTH */\n#define {0}_FRACTION_LENGTH {1}\n",
                          upper, type.fractionLength());
  header += fmt::format("static const {}int{}_t {}[{}] = {{", isSigned ? "" : "u", bits, name,
                        std::max(column.numel(), 1u));
  std::size_t width = 0;
  std::string line;
  for (const std::string& integer : rowsOf(column.num2sdec())) {
    line = literal(integer, bits, isSigned) + ',';
    const bool breaks = width == 0 || width + line.size() > 96;
    header += (breaks ? "\n  " : " ") + line;
    width = breaks ? line.size() : width + line.size() + 1;
  }
  header += fmt::format("{}\n}};\n\n#endif\n", column.numel() == 0 ? "\n  0" : "");
  return header;
}

}  // namespace embedded
