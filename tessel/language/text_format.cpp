#include "tessel/language/text_format.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <new>
#include <variant>

#include "tessel/interruption.h"
#include "tessel/messages.h"
#include "tessel/runtime/dispatch.h"
#include "tessel/runtime/elements.h"

namespace tessel {
namespace {

/// A number in as many digits as it has.
struct Decimal {
  std::string text;
};

using Item = std::variant<long double, std::string, Decimal>;

const MemberName kDecimal{"decimal"};

/// Where the imaginary part of a complex number's text begins, or its end where it is real.
std::size_t imaginaryStart(const std::string& text) {
  if (!text.ends_with('i')) return text.size();
  std::size_t start = text.find_last_of("+-");
  while (text[start - 1] == 'e' || text[start - 1] == '^')  // signs of exponents
    start = text.find_last_of("+-", start - 1);
  return start;
}

/// The number nearest to a decimal text, which may end with a power of two: `3*2^-20000`.
long double numberFrom(const std::string& text) {
  char* rest = nullptr;
  const long double number = std::strtold(text.c_str(), &rest);
  return *rest == '*' ? std::ldexp(number, std::atoi(rest + 3)) : number;
}

void appendDecimals(std::deque<Item>& items, const HostArray& texts) {
  for (std::size_t k = 0; k < texts.numel(); ++k) {
    const std::string text = texts.cellAt(k).toText();
    const std::size_t split = imaginaryStart(text);
    items.emplace_back(Decimal{text.substr(0, split)});
    if (split == text.size()) continue;
    const std::size_t first = text[split] == '+' ? split + 1 : split;
    items.emplace_back(Decimal{text.substr(first, text.size() - first - 1)});
  }
}

void requireFormattable(const HostArray& value) {
  if (findMethodOf(value, kDecimal)) return;
  if (!value.isNumeric() && !value.isLogical() && !value.isChar()) {
    raiseError("Tessel:invalidArgument", "Values of class '" + value.className() + "' cannot be formatted.");
  }
}

void appendItems(std::deque<Item>& items, const HostArray& value, std::size_t first, std::size_t count) {
  std::vector<long double> re(count), im(count);
  loadElements(value, false, first, 1, count, re.data());
  loadElements(value, true, first, 1, count, im.data());
  for (std::size_t i = 0; i < count; ++i) {
    items.emplace_back(re[i]);
    if (value.isComplex()) items.emplace_back(im[i]);
  }
}

/// One piece of a format: text as it stands, or a conversion.
struct Piece {
  std::string text;  ///< of a conversion: flags, width and precision
  char conversion = 0;
};

constexpr std::string_view kConversions = "diuoxXcsfFeEgGaA";

/// Widths and precisions are at most this.
constexpr long double kLongestField = 10'000'000;

long double checkedLength(long double length) {
  if (!(std::abs(length) <= kLongestField)) {
    raiseError("Tessel:invalidFormat", "The width and the precision of a conversion are at most 10000000.");
  }
  return length;
}

/// Moves a width or precision, digits or a star, from the format to `text`.
void takeLength(std::string_view format, std::size_t& at, std::string& text) {
  if (at < format.size() && format[at] == '*') {
    text += format[at++];
    return;
  }
  long double length = 0;
  for (; at < format.size() && format[at] >= '0' && format[at] <= '9'; ++at) {
    length = checkedLength(10 * length + (format[at] - '0'));
    text += format[at];
  }
}

Piece parseConversion(std::string_view format, std::size_t& at) {
  Piece piece;
  while (at < format.size() && std::string_view("-+ 0#").find(format[at]) != std::string_view::npos)
    piece.text += format[at++];
  takeLength(format, at, piece.text);
  if (at < format.size() && format[at] == '.') {
    piece.text += format[at++];
    takeLength(format, at, piece.text);
  }
  while (at < format.size() && (format[at] == 'l' || format[at] == 'h')) ++at;
  if (at == format.size() || kConversions.find(format[at]) == std::string_view::npos) {
    raiseError("Tessel:invalidFormat", "The format '" + std::string(format) + "' has an unknown conversion.");
  }
  piece.conversion = format[at++];
  return piece;
}

std::vector<Piece> parseFormat(std::string_view format) {
  std::vector<Piece> pieces;
  const auto literal = [&](std::string_view text) {
    if (pieces.empty() || pieces.back().conversion != 0) pieces.emplace_back();
    pieces.back().text += text;
  };
  for (std::size_t at = 0; at < format.size();) {
    const std::size_t end = std::min(format.find('%', at), format.size());
    if (end > at) literal(unescaped(format.substr(at, end - at)));
    at = end;
    if (at == format.size()) break;
    ++at;
    if (at < format.size() && format[at] == '%')
      literal("%"), ++at;
    else
      pieces.push_back(parseConversion(format, at));
  }
  return pieces;
}

template <class... Arguments>
std::string printed(const std::string& directive, Arguments... arguments) {
  const int length = std::snprintf(nullptr, 0, directive.c_str(), arguments...);
  if (length < 0) throw std::bad_alloc();
  std::string text(static_cast<std::size_t>(length) + 1, '\0');
  std::snprintf(text.data(), text.size(), directive.c_str(), arguments...);
  text.pop_back();
  return text;
}

/// Flags and width of a directive as `%s` understands them.
std::string textDirective(std::string flags, bool keepPrecision) {
  const std::size_t point = keepPrecision ? std::string::npos : flags.find('.');
  flags.resize(std::min(point, flags.size()));
  std::string kept;
  for (const char c : flags) {
    const bool isFlag = c == '+' || c == ' ' || c == '#' || (c == '0' && kept.empty());
    if (!isFlag) kept += c;
  }
  return "%" + kept + "s";
}

std::string printText(const Piece& piece, const std::string& text) {
  return printed(textDirective(piece.text, true), text.c_str());
}

std::string withoutPoint(const std::string& flags) { return flags.substr(0, flags.find('.')); }

std::string printInteger(const Piece& piece, long double value) {
  const std::string start = "%" + piece.text;
  const bool isUnsigned = piece.conversion != 'd' && piece.conversion != 'i';
  if (isUnsigned && value >= 0 && value < 0x1p64L) {
    return printed(start + "ll" + piece.conversion, static_cast<unsigned long long>(value));
  }
  if (!isUnsigned && std::abs(value) < 0x1p63L) return printed(start + "lld", static_cast<long long>(value));
  // Decimal digits would be taken for those of another base.
  if (isUnsigned && piece.conversion != 'u') return printed("%" + piece.text + "Le", value);
  return printed("%" + withoutPoint(piece.text) + ".0Lf", value);
}

std::string printNumber(const Piece& piece, long double value) {
  if (std::isnan(value) || std::isinf(value)) {
    const char* text = std::isnan(value) ? "NaN" : value < 0 ? "-Inf" : "Inf";
    return printed(textDirective(piece.text, false), text);
  }
  const bool isWhole = value == std::floor(value);
  const bool isInteger = std::string_view("diuoxX").find(piece.conversion) != std::string_view::npos;
  const bool isCharacter = piece.conversion == 'c' || piece.conversion == 's';
  if (isCharacter && isWhole && value >= 0 && value < 256) {
    return printText({withoutPoint(piece.text), 's'},
                     std::string(1, static_cast<char>(static_cast<unsigned char>(value))));
  }
  if (isInteger && isWhole) return printInteger(piece, value);
  // The digits of longer numbers differ in this base alone.
  if (piece.conversion == 'a' || piece.conversion == 'A')
    return printed("%" + piece.text + piece.conversion, static_cast<double>(value));
  const char conversion = isInteger ? 'e' : isCharacter ? 'g' : piece.conversion;
  return printed("%" + piece.text + 'L' + conversion, value);
}

/// Texts as they are, and integers that no native type holds, digit by digit; other conversions as numbers.
std::string printDecimal(const Piece& piece, const std::string& text) {
  constexpr std::size_t kNativeDigits = 18;
  const bool isInteger = piece.conversion == 'd' || piece.conversion == 'i' || piece.conversion == 'u';
  const bool isLong = text.size() > kNativeDigits && text.find_first_not_of("-0123456789") == std::string::npos;
  if (piece.conversion == 's' || (isInteger && isLong))
    return printed(textDirective(piece.text, piece.conversion == 's'), text.c_str());
  return printNumber(piece, numberFrom(text));
}

/// Walks through the elements while the format is applied.
class Formatter {
 public:
  Formatter(std::string_view format, std::span<const HostArray> values)
      : pieces_(parseFormat(format)), values_(values) {
    for (const HostArray& value : values) requireFormattable(value);
    hasConversions_ =
        std::any_of(pieces_.begin(), pieces_.end(), [](const Piece& p) { return p.conversion != 0; });
  }

  std::string run() {
    const bool hadItems = hasItems();
    do {
      for (const Piece& piece : pieces_) {
        if (piece.conversion == 0)
          out_ += piece.text;
        else if (hasItems() ? !convert(piece) : hadItems)
          return std::move(out_);
      }
    } while (hasItems() && hasConversions_);
    return std::move(out_);
  }

 private:
  /// Whether there is another item; takes it from the values where none waits.
  bool hasItems() {
    constexpr std::size_t kAtOnce = 1024;
    while (items_.empty() && !values_.empty()) {
      const HostArray& value = values_.front();
      if (const auto texts = decimalTexts(value)) {
        appendDecimals(items_, *texts);
        values_ = values_.subspan(1);
        continue;
      }
      const std::size_t count = value.isText() ? 1 : value.numel();
      if (taken_ >= count) {
        values_ = values_.subspan(1);
        taken_ = 0;
        continue;
      }
      if (value.isText())
        items_.emplace_back(value.toText());
      else
        appendItems(items_, value, taken_, std::min(kAtOnce, count - taken_));
      taken_ += kAtOnce;
    }
    return !items_.empty();
  }

  /// False where items are missing.
  bool convert(Piece piece) {
    raiseIfInterrupted();
    for (std::size_t star; (star = piece.text.find('*')) != std::string::npos;) {
      if (!hasItems()) return false;
      const auto length = static_cast<int>(checkedLength(takeNumber()));
      const bool isPrecision = star > 0 && piece.text[star - 1] == '.';
      // A negative precision is none.
      if (isPrecision && length < 0)
        piece.text.erase(star - 1);
      else
        piece.text.replace(star, 1, std::to_string(length));
    }
    if (!hasItems()) return false;
    if (piece.conversion == 's' && std::holds_alternative<std::string>(items_.front())) {
      out_ += printText(piece, std::get<std::string>(items_.front()));
      items_.pop_front();
    } else if (const auto* decimal = std::get_if<Decimal>(&items_.front())) {
      out_ += printDecimal(piece, decimal->text);
      items_.pop_front();
    } else if (splitText()) {
      out_ += printNumber(piece, takeNumber());
    }
    return true;
  }

  /// Replaces a text in front by its characters. False when nothing is left, after an empty text.
  bool splitText() {
    if (const auto* front = std::get_if<std::string>(&items_.front())) {
      const std::string text = *front;
      items_.pop_front();
      for (std::size_t left = text.size(); left > 0; --left) {
        raiseIfInterrupted();
        items_.emplace_front(static_cast<long double>(static_cast<unsigned char>(text[left - 1])));
      }
      return !text.empty();
    }
    return true;
  }

  long double takeNumber() {
    if (!splitText()) return 0;
    const auto* decimal = std::get_if<Decimal>(&items_.front());
    const long double value = decimal ? numberFrom(decimal->text) : std::get<long double>(items_.front());
    items_.pop_front();
    return value;
  }

  std::vector<Piece> pieces_;
  std::span<const HostArray> values_;
  std::size_t taken_ = 0;  ///< elements of the first of `values_`
  std::deque<Item> items_;
  bool hasConversions_;
  std::string out_;
};

}  // namespace

std::optional<HostArray> decimalTexts(const HostArray& value) {
  if (!findMethodOf(value, kDecimal)) return std::nullopt;
  return callMember(kDecimal, {value}).at(0);
}

std::string formatText(std::string_view format, std::span<const HostArray> values) {
  return Formatter(format, values).run();
}

std::string unescaped(std::string_view text) {
  constexpr std::string_view letters = "abfnrtv\\'\"", characters = "\a\b\f\n\r\t\v\\'\"";
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    raiseIfInterrupted();
    if (text[i] != '\\' || i + 1 == text.size()) {
      out += text[i];
      continue;
    }
    const char next = text[++i];
    const bool isHex = next == 'x';
    const std::string_view digits = isHex ? "0123456789abcdefABCDEF" : "01234567";
    std::size_t end = i + (isHex ? 1 : 0);
    while (end < text.size() && end < i + 3 && digits.find(text[end]) != std::string_view::npos) ++end;
    const std::string code(text.substr(i + (isHex ? 1 : 0), end - i - (isHex ? 1 : 0)));
    if (!code.empty()) {
      out += static_cast<char>(std::stoi(code, nullptr, isHex ? 16 : 8));
      i = end - 1;
    } else if (const std::size_t known = letters.find(next); known != std::string_view::npos) {
      out += characters[known];
    } else {
      out += {'\\', next};
    }
  }
  return out;
}

}  // namespace tessel
