#include "tessel/language/text_scan.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>

#include "tessel/messages.h"
#include "tessel/runtime/arguments.h"

namespace tessel {
namespace {

using Kind = ScanPiece::Kind;

bool isBlank(char c) { return kBlanks.find(c) != std::string_view::npos; }
bool isDigit(char c) { return c >= '0' && c <= '9'; }

class FormatReader {
 public:
  explicit FormatReader(std::string_view format) : format_(format) {}

  std::vector<ScanPiece> run() {
    std::vector<ScanPiece> pieces;
    while (at_ < format_.size()) pieces.push_back(next());
    return pieces;
  }

 private:
  [[noreturn]] void fail() const {
    raiseError("Tessel:invalidFormat", "The format '" + std::string(format_) + "' has an unknown conversion.");
  }
  char here() const { return at_ < format_.size() ? format_[at_] : '\0'; }

  ScanPiece next() {
    if (isBlank(here())) {
      while (isBlank(here())) ++at_;
      return {Kind::Blank};
    }
    if (here() == '%' && format_.substr(at_, 2) != "%%") return conversion();
    ScanPiece piece{Kind::Literal};
    while (at_ < format_.size() && !isBlank(here())) {
      if (here() == '%' && format_.substr(at_, 2) != "%%") break;
      at_ += here() == '%' ? 1 : 0;
      piece.text += format_[at_++];
    }
    return piece;
  }

  ScanPiece conversion() {
    ScanPiece piece{Kind::Number};
    ++at_;
    if (here() == '*') piece.isDropped = true, ++at_;
    if (isDigit(here())) piece.width = number();
    if (here() == '.') {  // digits behind the point are read as they come
      ++at_;
      number();
    }
    while (here() == 'l' || here() == 'h') ++at_;
    piece.conversion = here();
    ++at_;
    switch (piece.conversion) {
      case 'd':
      case 'u': readClass(piece); break;
      case 'i':
      case 'x':
      case 'o': break;
      case 'f':
      case 'e':
      case 'g':
      case 'n':
        if (const std::string_view bits = format_.substr(std::min(at_, format_.size()), 2);
            bits == "32" || bits == "64") {
          piece.arrayClass = bits == "32" ? ArrayClass::Single : ArrayClass::Double;
          at_ += 2;
        }
        piece.conversion = 'f';
        break;
      case 's': piece.kind = Kind::Word; break;
      case 'q': piece.kind = Kind::Quoted; break;
      case 'c': piece.kind = Kind::Letters; break;
      case '[': readSet(piece); break;
      default: fail();
    }
    return piece;
  }

  std::size_t number() {
    std::size_t value = 0;
    const auto [end, error] = std::from_chars(format_.data() + at_, format_.data() + format_.size(), value);
    if (error == std::errc::result_out_of_range) fail();
    at_ = static_cast<std::size_t>(end - format_.data());
    return value;
  }

  /// `%d` is int32, `%u16` uint16.
  void readClass(ScanPiece& piece) {
    std::string name = piece.conversion == 'd' ? "int" : "uint";
    const bool isSized = isDigit(here());
    name += isSized ? std::to_string(number()) : "32";
    const auto arrayClass = numericClassNamed(name);
    if (!arrayClass) fail();
    piece.arrayClass = *arrayClass;
  }

  /// `[a-z_]`, `[^,]`; a bracket that stands first belongs to the set.
  void readSet(ScanPiece& piece) {
    piece.kind = Kind::Set;
    if (here() == '^') piece.isInverted = true, ++at_;
    for (bool isFirst = true; isFirst || here() != ']'; isFirst = false) {
      if (at_ >= format_.size()) fail();
      const bool isRange = at_ + 2 < format_.size() && format_[at_ + 1] == '-' && format_[at_ + 2] != ']';
      const auto first = static_cast<unsigned char>(here());
      const auto last = isRange ? static_cast<unsigned char>(format_[at_ + 2]) : first;
      for (unsigned c = first; c <= last; ++c) piece.text += static_cast<char>(c);
      at_ += isRange ? 3 : 1;
    }
    ++at_;
  }

  std::string_view format_;
  std::size_t at_ = 0;
};

bool startsWithWord(std::string_view text, std::string_view word) {
  const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
  return text.size() >= word.size() &&
         std::equal(word.begin(), word.end(), text.begin(), [&](char a, char b) { return a == lower(b); });
}

/// The length of the number at the front, without a sign, and its value; 0 where there is none.
std::size_t readReal(std::string_view text, double& value) {
  if (startsWithWord(text, "inf")) return value = std::numeric_limits<double>::infinity(), 3;
  if (startsWithWord(text, "nan")) return value = std::numeric_limits<double>::quiet_NaN(), 3;
  if (text.empty() || (!isDigit(text[0]) && text[0] != '.')) return 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error == std::errc::invalid_argument) return 0;
  const auto length = static_cast<std::size_t>(end - text.data());
  if (error != std::errc()) value = std::strtod(std::string(text.substr(0, length)).c_str(), nullptr);
  return length;
}

/// Rounded once: of digits that the head has no room for, its last bit says whether one was not zero.
double octalValue(std::string_view digits) {
  std::uint64_t head = 0;
  int bitsBehind = 0;
  for (const char c : digits) {
    const auto digit = static_cast<unsigned>(c - '0');
    if (head >> 60 == 0)
      head = 8 * head + digit;
    else
      head |= digit != 0 ? 1 : 0, bitsBehind += 3;
  }
  return std::ldexp(static_cast<double>(head), bitsBehind);
}

std::size_t readWhole(std::string_view text, int base, double& value) {
  const std::string_view digits = std::string_view("0123456789abcdefABCDEF").substr(0, base == 16 ? 22 : base);
  const std::size_t length = std::min(text.find_first_not_of(digits), text.size());
  if (base == 8) {
    value = octalValue(text.substr(0, length));
  } else if (length > 0) {
    const auto read = std::from_chars(text.data(), text.data() + length, value,
                                      base == 16 ? std::chars_format::hex : std::chars_format::fixed);
    if (read.ec != std::errc()) value = std::numeric_limits<double>::infinity();
  }
  return length;
}

}  // namespace

std::vector<ScanPiece> parseScanFormat(std::string_view format) { return FormatReader(format).run(); }

std::optional<double> takeNumber(std::string_view& rest, char conversion, std::size_t width) {
  std::string_view text = rest.substr(0, width);
  const bool hasSign = text.starts_with('-') || text.starts_with('+');
  const double sign = text.starts_with('-') ? -1 : 1;
  if (hasSign) text.remove_prefix(1);
  const bool isPrefixed = text.starts_with("0x") || text.starts_with("0X");
  std::size_t prefix = isPrefixed && (conversion == 'x' || conversion == 'i') ? 2 : 0;
  const int base = conversion == 'x' || prefix > 0                                     ? 16
                   : conversion == 'o' || (conversion == 'i' && text.starts_with('0')) ? 8
                                                                                       : 10;
  double value = 0;
  std::size_t length = conversion == 'f' ? readReal(text, value) : readWhole(text.substr(prefix), base, value);
  if (length == 0 && prefix > 0) length = 1, prefix = 0, value = 0;  // the zero before an x
  if (length == 0) return std::nullopt;
  rest.remove_prefix((hasSign ? 1 : 0) + prefix + length);
  return sign * value;
}

std::string takeText(std::string_view& rest, const ScanPiece& piece) {
  std::size_t length = 0;
  const std::string_view text = rest.substr(0, piece.width);
  if (piece.kind == Kind::Letters) {
    length = piece.width == std::numeric_limits<std::size_t>::max() ? 1 : piece.width;
  } else if (piece.kind == Kind::Set) {
    length = piece.isInverted ? text.find_first_of(piece.text) : text.find_first_not_of(piece.text);
  } else {
    length = text.find_first_of(kBlanks);
  }
  length = std::min(length, text.size());
  std::string taken(rest.substr(0, length));
  rest.remove_prefix(length);
  return taken;
}

}  // namespace tessel
