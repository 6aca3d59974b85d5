// Numbers and columns out of texts.
#include <algorithm>

#include <fmt/format.h>
#include "tessel/interruption.h"
#include "tessel/language/builtins/builtins.h"
#include "tessel/language/builtins/support.h"
#include "tessel/language/interpreter.h"
#include "tessel/language/open_files.h"
#include "tessel/language/text_format.h"
#include "tessel/language/text_scan.h"
#include "tessel/messages.h"
#include "tessel/runtime/convert.h"

namespace tessel {
namespace {

using Kind = ScanPiece::Kind;

void skipBlanks(std::string_view& rest, std::string_view blanks) {
  rest.remove_prefix(std::min(rest.find_first_not_of(blanks), rest.size()));
}

/// Takes what one piece reads off the front and appends what it keeps. False where the text does not fit.
bool scanPiece(std::string_view& rest, const ScanPiece& piece, std::vector<double>& values) {
  if (piece.kind != Kind::Letters && piece.kind != Kind::Set && piece.kind != Kind::Literal)
    skipBlanks(rest, kBlanks);
  if (piece.kind == Kind::Blank) return true;
  if (piece.kind == Kind::Literal) {
    if (!rest.starts_with(piece.text)) return false;
    rest.remove_prefix(piece.text.size());
    return true;
  }
  if (piece.kind == Kind::Number) {
    const auto number = takeNumber(rest, piece.conversion, piece.width);
    if (number && !piece.isDropped) values.push_back(*number);
    return number.has_value();
  }
  const std::string text = takeText(rest, piece);
  if (!piece.isDropped)
    for (const char c : text) values.push_back(static_cast<unsigned char>(c));
  return !text.empty();
}

/// [a, count] = sscanf(text, format, size)
Arrays callSscanf(Arrays& in, int) {
  const std::string text = textArgument("sscanf", in[0]);
  const std::vector<ScanPiece> pieces = parseScanFormat(unescaped(textArgument("sscanf", in[1])));
  const ReadSize size("sscanf", in, 2);
  std::string_view rest = text;
  std::vector<double> values;
  double count = 0;
  const auto isKept = [](const ScanPiece& piece) { return piece.isConversion() && !piece.isDropped; };
  for (bool goesOn = true; goesOn;) {
    const std::size_t before = rest.size();
    for (const ScanPiece& piece : pieces) {
      goesOn =
          !rest.empty() && static_cast<double>(values.size()) < size.count() && scanPiece(rest, piece, values);
      if (!goesOn) break;
      count += isKept(piece) ? 1 : 0;
    }
    raiseIfInterrupted();
    goesOn = goesOn && rest.size() < before;
  }
  if (static_cast<double>(values.size()) > size.count()) values.resize(static_cast<std::size_t>(size.count()));
  const auto isNumber = [&](const ScanPiece& piece) { return isKept(piece) && !piece.isText(); };
  const bool isText = std::ranges::none_of(pieces, isNumber) && std::ranges::any_of(pieces, isKept);
  const bool isRow = isText && !size.isShaped();
  HostArray result =
      HostArray::zeros(ArrayClass::Double, isRow ? Dimensions{1, values.size()} : size.dims(values.size()));
  std::ranges::copy(values, result.mutableReal<double>());
  if (values.empty()) result = HostArray();
  return {isText ? convertTo(result, ArrayClass::Char) : result, HostArray::scalar(count)};
}

// Columns

struct ColumnOptions {
  std::string delimiters;
  std::size_t headerLines = 0;
  double emptyValue = std::numeric_limits<double>::quiet_NaN();
  bool joinsDelimiters = false;
};

ColumnOptions columnOptions(const Arrays& in, std::size_t first) {
  ColumnOptions options;
  if ((in.size() - first) % 2 != 0) raiseInvalidArgument("textscan", "an option needs a value.");
  for (std::size_t k = first; k < in.size(); k += 2) {
    const std::string name = textArgument("textscan", in[k]);
    if (name == "Delimiter") {
      for (const std::string& each : textsArgument("textscan", in[k + 1]))
        options.delimiters += unescaped(each);
    } else if (name == "HeaderLines") {
      options.headerLines = countArgument("textscan", in[k + 1]);
    } else if (name == "EmptyValue") {
      options.emptyValue = numberArgument("textscan", in[k + 1]);
    } else if (name == "MultipleDelimsAsOne") {
      options.joinsDelimiters = numberArgument("textscan", in[k + 1]) != 0;
    } else {
      raiseInvalidArgument("textscan", fmt::format("there is no option '{}'.", name));
    }
  }
  return options;
}

/// Reads passes of a format, each from one line. Fields that a line ends before are empty.
class ColumnReader {
 public:
  ColumnReader(std::string_view text, std::string_view format, ColumnOptions options)
      : rest_(text), pieces_(parseScanFormat(format)), options_(std::move(options)) {
    const auto isConversion = [](const ScanPiece& piece) { return piece.isConversion(); };
    // Blanks before each piece are skipped anyway.
    std::erase_if(pieces_, [](const ScanPiece& piece) { return piece.kind == Kind::Blank; });
    if (std::ranges::none_of(pieces_, isConversion))
      raiseInvalidArgument("textscan", "the format needs a conversion.");
    for (const char c : kBlanks)
      if (c != '\n' && options_.delimiters.find(c) == std::string::npos) blanks_ += c;
    numbers_.resize(pieces_.size());
    texts_.resize(pieces_.size());
  }

  /// At most so many passes.
  void run(double passes) {
    for (std::size_t k = 0; k < options_.headerLines; ++k) nextLine();
    line_ = {};
    while (passes > 0 && (hasField() || !rest_.empty())) {
      if (!hasField()) {
        nextLine();
        continue;
      }
      const std::size_t before = line_.size();
      readPass();
      if (line_.size() == before) fail("the format reads nothing");
      raiseIfInterrupted();
      --passes;
    }
  }

  /// What stands behind the last field that was read.
  std::size_t leftCount() const {
    const char* next = line_.empty() ? rest_.data() : line_.data();
    return static_cast<std::size_t>(rest_.data() + rest_.size() - next);
  }

  HostArray cell() const {
    Arrays columns;
    for (std::size_t k = 0; k < pieces_.size(); ++k) {
      if (!pieces_[k].isConversion() || pieces_[k].isDropped) continue;
      if (pieces_[k].isText())
        columns.push_back(cellOfTexts(texts_[k], {texts_[k].size(), 1}));
      else
        columns.push_back(convertTo(doubles(numbers_[k], {numbers_[k].size(), 1}), pieces_[k].arrayClass));
    }
    HostArray cell = HostArray::cell({1, columns.size()});
    for (std::size_t k = 0; k < columns.size(); ++k) cell.mutableCellAt(k) = std::move(columns[k]);
    return cell;
  }

 private:
  void nextLine() {
    const std::size_t end = std::min(rest_.find('\n'), rest_.size());
    full_ = line_ = rest_.substr(0, end);
    rest_.remove_prefix(std::min(end + 1, rest_.size()));
    if (line_.ends_with('\r')) line_.remove_suffix(1);
    ++lineNumber_;
  }

  bool hasField() {
    skipBlanks(line_, blanks_);
    return !line_.empty();
  }

  void readPass() {
    for (std::size_t k = 0; k < pieces_.size(); ++k) {
      const ScanPiece& piece = pieces_[k];
      skipBlanks(line_, blanks_);
      if (piece.kind == Kind::Literal)
        readLiteral(piece);
      else
        readField(piece, k);
    }
  }

  void readLiteral(const ScanPiece& piece) {
    if (line_.starts_with(piece.text))
      line_.remove_prefix(piece.text.size());
    else if (!line_.empty())
      fail(fmt::format("'{}' is missing", piece.text));
  }

  void readField(const ScanPiece& piece, std::size_t column) {
    const bool isEmpty = line_.empty() || isDelimiter(line_[0]);
    if (piece.kind == Kind::Number) {
      const auto number = isEmpty ? options_.emptyValue : takeNumber(line_, piece.conversion, piece.width);
      if (!number) fail(fmt::format("'{}' is no number", line_.substr(0, fieldEnd(line_))));
      if (!piece.isDropped) numbers_[column].push_back(*number);
    } else {
      std::string text = isEmpty && piece.kind != Kind::Letters ? "" : fieldText(piece);
      if (!piece.isDropped) texts_[column].push_back(std::move(text));
    }
    endField(column);
  }

  std::string fieldText(const ScanPiece& piece) {
    if (piece.kind == Kind::Quoted && line_.starts_with('"')) return quotedText();
    if (options_.delimiters.empty() || piece.kind == Kind::Letters || piece.kind == Kind::Set)
      return takeText(line_, piece);
    const std::string_view field = line_.substr(0, std::min(fieldEnd(line_), piece.width));
    line_.remove_prefix(field.size());
    const std::size_t last = field.find_last_not_of(blanks_);
    return std::string(field.substr(0, last == std::string_view::npos ? 0 : last + 1));
  }

  std::string quotedText() {
    std::string text;
    for (line_.remove_prefix(1); !line_.empty(); line_.remove_prefix(1)) {
      if (line_[0] == '"') {
        line_.remove_prefix(1);
        if (!line_.starts_with('"')) return text;
      }
      text += line_[0];
    }
    fail("a quote is not closed");
  }

  /// Passes the delimiter behind a field.
  void endField(std::size_t column) {
    skipBlanks(line_, blanks_);
    if (line_.empty()) return;
    if (isDelimiter(line_[0])) {
      do {
        line_.remove_prefix(1);
        if (options_.joinsDelimiters) skipBlanks(line_, blanks_);
      } while (options_.joinsDelimiters && !line_.empty() && isDelimiter(line_[0]));
      return;
    }
    // What is left of the field would shift all columns behind it.
    const Kind kind = pieces_[column].kind;
    const bool mayGoOn = column + 1 < pieces_.size() && !pieces_[column + 1].isConversion();
    if (!options_.delimiters.empty() && (kind == Kind::Number || kind == Kind::Quoted) && !mayGoOn)
      fail(fmt::format("'{}' stands behind a {}", line_.substr(0, fieldEnd(line_)),
                       kind == Kind::Number ? "number" : "text"));
  }

  bool isDelimiter(char c) const { return options_.delimiters.find(c) != std::string::npos; }
  std::size_t fieldEnd(std::string_view text) const {
    return std::min(text.find_first_of(options_.delimiters.empty() ? kBlanks : options_.delimiters),
                    text.size());
  }
  [[noreturn]] void fail(const std::string& what) const {
    const std::size_t column = full_.size() - (line_.size() + (full_.ends_with('\r') ? 1 : 0)) + 1;
    raiseError("Tessel:textscan", fmt::format("Line {}, column {}: {}.", lineNumber_, column, what));
  }

  std::string_view rest_, line_, full_;
  std::size_t lineNumber_ = 0;
  std::vector<ScanPiece> pieces_;
  ColumnOptions options_;
  std::string blanks_;
  std::vector<std::vector<double>> numbers_;
  std::vector<std::vector<std::string>> texts_;
};

/// c = textscan(fid or text, format, count, options)
Arrays callTextscan(OpenFiles& files, const Arrays& in) {
  OpenFile* file = in[0].isNumeric() ? &files.at(numberArgument("textscan", in[0])) : nullptr;
  const bool hasCount = in.size() > 2 && in[2].isNumeric();
  const double passes = hasCount ? numberArgument("textscan", in[2]) : std::numeric_limits<double>::infinity();
  const std::string format = in.size() > 1 ? textArgument("textscan", in[1]) : "%f";
  const ColumnOptions options = columnOptions(in, std::min<std::size_t>(in.size(), hasCount ? 3 : 2));
  const std::string text =
      file ? file->read(std::numeric_limits<std::ptrdiff_t>::max()) : textArgument("textscan", in[0]);
  ColumnReader reader(text, format, options);
  reader.run(passes < 0 ? std::numeric_limits<double>::infinity() : passes);
  if (file && reader.leftCount() > 0) file->moveTo(-static_cast<long>(reader.leftCount()), SEEK_CUR);
  return {reader.cell()};
}

}  // namespace

void registerScanningBuiltins(Interpreter& interpreter) {
  OpenFiles* files = &interpreter.openFiles();
  registerAll({
      {"sscanf", callSscanf, 2, 3, 2,
       "[a, n] = sscanf(text, format), sscanf(text, format, size): the numbers in a text, by a scanf format "
       "that repeats as long as\n"
       "it fits: %d %i %u %x %o %f %s %c %[a-z], with widths, and %*d for what is left out. The size is Inf, a "
       "count or [rows columns];\n"
       "texts give their codes, or a text where nothing else is read. n tells how many conversions were read."},
      {"textscan", [=](Arrays& in, int) { return callTextscan(*files, in); }, 1, -1, 1,
       "c = textscan(fid, format), textscan(text, format, count, option, value, ...): the columns of a text, "
       "one cell each.\n"
       "Each pass of the format stands on one line: %f is a column of doubles, %d8 ... %u64 of integers, %s of "
       "texts, %q of texts\n"
       "that may be quoted; %*s is left out. Fields that are missing are EmptyValue, NaN without it, or ''.\n"
       "Options: 'Delimiter' (characters; blanks without it), 'HeaderLines', 'EmptyValue', "
       "'MultipleDelimsAsOne'.\n"
       "Raises \"Tessel:textscan\" with line and column for what is no number."},
  });
}

}  // namespace tessel
