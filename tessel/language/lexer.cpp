#include "tessel/language/lexer.h"

#include <algorithm>
#include <array>
#include <bitset>
#include <cstdlib>
#include <utility>

namespace tessel {
namespace {

struct Spelling {
  std::string_view text;
  TokenKind kind;
};

constexpr Spelling kKeywords[] = {
    {"if", TokenKind::If},
    {"elseif", TokenKind::Elseif},
    {"else", TokenKind::Else},
    {"end", TokenKind::End},
    {"for", TokenKind::For},
    {"while", TokenKind::While},
    {"break", TokenKind::Break},
    {"continue", TokenKind::Continue},
    {"switch", TokenKind::Switch},
    {"case", TokenKind::Case},
    {"otherwise", TokenKind::Otherwise},
    {"try", TokenKind::Try},
    {"catch", TokenKind::Catch},
    {"function", TokenKind::Function},
    {"return", TokenKind::Return},
    {"global", TokenKind::Global},
    {"persistent", TokenKind::Persistent},
};

/// A spelling that is the beginning of another stands after it.
constexpr Spelling kSymbols[] = {
    {".*", TokenKind::DotTimes},
    {"./", TokenKind::DotDivide},
    {".\\", TokenKind::DotLeftDivide},
    {".^", TokenKind::DotPower},
    {".'", TokenKind::DotQuote},
    {"==", TokenKind::Equal},
    {"~=", TokenKind::NotEqual},
    {"!=", TokenKind::NotEqual},
    {"<=", TokenKind::LessEqual},
    {"+=", TokenKind::PlusAssign},
    {"-=", TokenKind::MinusAssign},
    {"*=", TokenKind::TimesAssign},
    {"/=", TokenKind::DivideAssign},
    {">=", TokenKind::GreaterEqual},
    {"&&", TokenKind::AndAnd},
    {"||", TokenKind::OrOr},
    {",", TokenKind::Comma},
    {";", TokenKind::Semicolon},
    {"(", TokenKind::LeftParen},
    {")", TokenKind::RightParen},
    {"[", TokenKind::LeftBracket},
    {"]", TokenKind::RightBracket},
    {"{", TokenKind::LeftBrace},
    {"}", TokenKind::RightBrace},
    {"@", TokenKind::At},
    {".", TokenKind::Dot},
    {":", TokenKind::Colon},
    {"=", TokenKind::Assign},
    {"^", TokenKind::Power},
    {"+", TokenKind::Plus},
    {"-", TokenKind::Minus},
    {"~", TokenKind::Not},
    {"!", TokenKind::Not},
    {"*", TokenKind::Times},
    {"/", TokenKind::Divide},
    {"\\", TokenKind::LeftDivide},
    {"<", TokenKind::Less},
    {">", TokenKind::Greater},
    {"&", TokenKind::And},
    {"|", TokenKind::Or},
};

/// Characters that typesetting puts in place of those of the language.
constexpr std::pair<std::string_view, std::string_view> kForeign[] = {
    {"\u2018", "' (apostrophe)"},
    {"\u2019", "' (apostrophe)"},
    {"\u201C", "\" (quotation mark)"},
    {"\u201D", "\" (quotation mark)"},
    {"\u201E", "\" (quotation mark)"},
    {"\u00AB", "\" (quotation mark)"},
    {"\u00BB", "\" (quotation mark)"},
    {"`", "' (apostrophe)"},
    {"\u2212", "- (hyphen)"},
    {"\u2013", "- (hyphen)"},
    {"\u2014", "- (hyphen)"},
    {"\u00D7", "*"},
    {"\u00B7", "*"},
    {"\u00F7", "/"},
    {"\u2264", "<="},
    {"\u2265", ">="},
    {"\u2260", "~="},
    {"\u00B2", "^2"},
    {"\u00B3", "^3"},
    {"\u03C0", "pi"},
    {"\u221E", "Inf"},
    {"\u2026", "... (three points)"},
    {"\u00A0", "a blank"},
    {"\u202F", "a blank"},
    {"\u00AC", "~"},
};

const Spelling* findKeyword(std::string_view text) {
  const auto* found = std::find_if(std::begin(kKeywords), std::end(kKeywords),
                                   [&](const Spelling& keyword) { return keyword.text == text; });
  return found == std::end(kKeywords) ? nullptr : found;
}

bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool isWordCharacter(char c) { return isLetter(c) || isDigit(c) || c == '_'; }

class Lexer {
 public:
  explicit Lexer(std::string_view source) : source_(source) {
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    if (source_.starts_with(kByteOrderMark)) position_ = lineStart_ = kByteOrderMark.size();
  }

  TokenList run() {
    while (skipBlanks(), position_ < source_.size()) lexToken();
    push(TokenKind::EndOfText, position_);
    return std::move(result_);
  }

 private:
  char at(std::size_t offset) const {
    return position_ + offset < source_.size() ? source_[position_ + offset] : '\0';
  }
  bool startsWith(std::string_view text) const { return source_.substr(position_, text.size()) == text; }
  /// Most places are asked for in order, so that counting goes on where it has stopped.
  int column(std::size_t position) const {
    if (countedFrom_ != lineStart_ || counted_ > position)
      countedFrom_ = counted_ = lineStart_, characters_ = 0;
    for (; counted_ < position; ++counted_) characters_ += continuesCharacter(source_[counted_]) ? 0 : 1;
    return characters_ + 1;
  }
  [[noreturn]] void fail(const std::string& text, std::size_t position, bool isUnfinished = false) const {
    throw SyntaxError(text, line_, column(position), isUnfinished);
  }

  Token& push(TokenKind kind, std::size_t begin) {
    Token token;
    token.kind = kind;
    token.line = line_;
    token.column = column(begin);
    token.begin = begin;
    token.end = position_;
    token.spaceBefore = spaceBefore_;
    spaceBefore_ = false;
    isAfterParameters_ = false;
    return result_.tokens.emplace_back(std::move(token));
  }

  void startLine() {
    ++line_;
    lineStart_ = position_;
    spaceBefore_ = true;
  }

  bool isAtLineStart() const {
    return source_.substr(lineStart_, position_ - lineStart_).find_first_not_of(" \t\r") ==
           std::string_view::npos;
  }
  std::string_view restOfLine() const {
    const std::string_view rest = source_.substr(position_);
    return rest.substr(0, rest.find('\n'));
  }
  bool isAloneOnLine(std::string_view mark) const {
    return startsWith(mark) && isAtLineStart() &&
           restOfLine().substr(mark.size()).find_first_not_of(" \t\r") == std::string_view::npos;
  }

  void skipBlanks() {
    while (position_ < source_.size()) {
      const char c = source_[position_];
      if (c == ' ' || c == '\t' || c == '\r') {
        ++position_;
        spaceBefore_ = true;
      } else if (c == '%') {
        isAloneOnLine("%{") ? skipBlockComment() : skipComment();
      } else if (c == '#') {
        skipComment();
      } else if (startsWith("...")) {
        position_ += restOfLine().size();
        spaceBefore_ = true;
        if (position_ < source_.size()) {
          ++position_;
          startLine();
        }
      } else {
        return;
      }
    }
  }

  void skipComment() {
    std::string_view text = restOfLine();
    position_ += text.size();
    if (text.ends_with('\r')) text.remove_suffix(1);
    result_.comments.push_back({line_, std::string(text)});
  }

  void skipBlockComment() {
    const int openingLine = line_, openingColumn = column(position_);
    int depth = 0;
    do {
      while (position_ < source_.size() && (at(0) == ' ' || at(0) == '\t')) ++position_;
      if (position_ >= source_.size()) {
        throw SyntaxError("The block comment has no end.", openingLine, openingColumn, true);
      }
      if (isAloneOnLine("%{")) ++depth;
      if (isAloneOnLine("%}")) --depth;
      position_ += restOfLine().size();
      if (depth > 0 && position_ < source_.size()) {
        ++position_;
        startLine();
      }
    } while (depth > 0);
  }

  void lexToken() {
    const char c = at(0);
    if (c == '\n') {
      push(TokenKind::NewLine, position_++);
      startLine();
    } else if (isDigit(c) || (c == '.' && isDigit(at(1)))) {
      lexNumber();
    } else if (isLetter(c)) {
      lexWord();
    } else if (c == '"' || (c == '\'' && !isTransposeHere())) {
      lexText(c);
    } else {
      lexSymbol();
    }
  }

  bool isInMatrix() const { return !brackets_.empty() && brackets_.back().kind != TokenKind::LeftParen; }

  /// `hold 'on'`, `help '+'`: a quote between a blank and a letter, behind the first word of a statement.
  bool isCommandText() const {
    const auto& tokens = result_.tokens;
    if (tokens.back().kind != TokenKind::Name || !spaceBefore_ || !brackets_.empty() ||
        !(isWordCharacter(at(1)) || tokens.back().text == "help") ||
        restOfLine().substr(1).find('\'') == std::string_view::npos)
      return false;
    if (tokens.size() == 1) return true;
    const TokenKind before = tokens[tokens.size() - 2].kind;
    return before == TokenKind::NewLine || before == TokenKind::Semicolon || before == TokenKind::Comma;
  }

  bool isTransposeHere() const {
    if (result_.tokens.empty() || (isInMatrix() && spaceBefore_) || isAfterParameters_ || isCommandText())
      return false;
    switch (result_.tokens.back().kind) {
      case TokenKind::Name:
      case TokenKind::Number:
      case TokenKind::NoNumber:
      case TokenKind::Imaginary:
      case TokenKind::Text:
      case TokenKind::RightParen:
      case TokenKind::RightBracket:
      case TokenKind::RightBrace:
      case TokenKind::Quote:
      case TokenKind::DotQuote: return true;
      case TokenKind::End: return !brackets_.empty();
      default: return false;
    }
  }

  void lexNumber() {
    const std::size_t begin = position_;
    const bool isBinary = at(0) == '0' && (at(1) == 'b' || at(1) == 'B');
    const bool isHexadecimal = at(0) == '0' && (at(1) == 'x' || at(1) == 'X');
    const char* fault = isBinary ? skipBinary() : isHexadecimal ? skipHexadecimal() : skipDecimal();
    const std::string digits(source_.substr(begin, position_ - begin));
    const bool isImaginary = !fault && (at(0) == 'i' || at(0) == 'j') && !isWordCharacter(at(1));
    if (isImaginary) ++position_;
    if (!fault && isWordCharacter(at(0))) fault = "A number and a name must be separated.";
    if (fault) {
      pushNoNumber(begin, fault);
      return;
    }
    push(isImaginary ? TokenKind::Imaginary : TokenKind::Number, begin).value =
        isBinary ? valueOfBits(std::string_view(digits).substr(2)) : std::strtod(digits.c_str(), nullptr);
  }

  void pushNoNumber(std::size_t begin, const char* fault) {
    const int place = column(position_);
    while (isWordCharacter(at(0))) ++position_;
    Token& token = push(TokenKind::NoNumber, begin);
    token.text = fault;
    token.column = place;
  }

  /// Rounded once, as numbers in other bases are: by the same reader, in hexadecimal.
  static double valueOfBits(std::string_view bits) {
    std::string digits((4 - bits.size() % 4) % 4, '0');
    digits += bits;
    std::string hexadecimal = "0x";
    for (std::size_t k = 0; k < digits.size(); k += 4)
      hexadecimal += "0123456789abcdef"[std::bitset<4>(digits, k, 4).to_ulong()];
    return std::strtod(hexadecimal.c_str(), nullptr);
  }

  // These go behind the number, or to where it stops being one, and return what is wrong there.

  static bool isBit(char c) { return c == '0' || c == '1'; }

  const char* skipBinary() {
    position_ += 2;
    if (!isBit(at(0))) return "A binary number needs a digit.";
    while (isBit(at(0))) ++position_;
    return isDigit(at(0)) ? "A binary number has the digits 0 and 1 only." : nullptr;
  }

  const char* skipHexadecimal() {
    const auto isHexDigit = [](char c) {
      return isDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
    };
    position_ += 2;
    if (!isHexDigit(at(0))) return "A hexadecimal number needs a digit.";
    while (isHexDigit(at(0))) ++position_;
    return nullptr;
  }

  const char* skipDecimal() {
    while (isDigit(at(0))) ++position_;
    const bool isPoint = at(0) == '.' && !(at(1) == '*' || at(1) == '/' || at(1) == '\\' || at(1) == '^' ||
                                           at(1) == '\'' || startsWith("..."));
    if (isPoint) ++position_;
    while (isDigit(at(0))) ++position_;
    if (at(0) != 'e' && at(0) != 'E') return nullptr;
    const std::size_t sign = at(1) == '+' || at(1) == '-' ? 1 : 0;
    if (!isDigit(at(1 + sign))) return "The exponent of a number needs a digit.";
    position_ += 1 + sign;
    while (isDigit(at(0))) ++position_;
    return nullptr;
  }

  void lexWord() {
    const std::size_t begin = position_;
    while (isWordCharacter(at(0))) ++position_;
    const std::string_view word = source_.substr(begin, position_ - begin);
    const bool isField = !result_.tokens.empty() && result_.tokens.back().kind == TokenKind::Dot;
    const Spelling* keyword = isField ? nullptr : findKeyword(word);
    push(keyword ? keyword->kind : TokenKind::Name, begin).text = word;
  }

  void lexText(char quote) {
    const std::size_t begin = position_++;
    std::string content;
    for (;; ++position_) {
      if (position_ >= source_.size() || at(0) == '\n') fail("The text has no closing quote.", begin);
      if (at(0) == quote) {
        if (at(1) != quote) break;
        ++position_;
      }
      content += at(0);
    }
    ++position_;
    push(TokenKind::Text, begin).text = std::move(content);
  }

  void lexSymbol() {
    if (at(0) == '\'') {
      push(TokenKind::Quote, position_++);
      return;
    }
    for (const Spelling& symbol : kSymbols) {
      if (!startsWith(symbol.text)) continue;
      const std::size_t begin = position_;
      position_ += symbol.text.size();
      const bool endsParameters = trackBracket(symbol.kind);
      push(symbol.kind, begin);
      isAfterParameters_ = endsParameters;
      return;
    }
    failAtCharacter();
  }

  [[noreturn]] void failAtCharacter() const {
    for (const auto& [character, instead] : kForeign) {
      if (startsWith(character))
        fail("Unexpected character '" + std::string(character) + "': write " + std::string(instead) + ".",
             position_);
    }
    // All bytes of a character beyond ASCII; a byte that shows nothing by its code.
    std::size_t end = position_ + 1;
    while (end < source_.size() && continuesCharacter(source_[end])) ++end;
    const std::string text(source_.substr(position_, end - position_));
    const auto code = static_cast<unsigned char>(text[0]);
    if (code >= ' ' && code != 0x7F) fail("Unexpected character '" + text + "'.", position_);
    fail("Unexpected character with the code " + std::to_string(code) + ".", position_);
  }

  /// Keeps account of open brackets; true when `kind` closes the parameters of an anonymous function, behind
  /// which a quote begins a text.
  bool trackBracket(TokenKind kind) {
    using enum TokenKind;
    if (kind == LeftParen || kind == LeftBracket || kind == LeftBrace) {
      const bool isParameters =
          kind == LeftParen && !result_.tokens.empty() && result_.tokens.back().kind == At;
      brackets_.push_back({kind, isParameters});
    } else if ((kind == RightParen || kind == RightBracket || kind == RightBrace) && !brackets_.empty()) {
      const bool endsParameters = brackets_.back().isParameters;
      brackets_.pop_back();
      return endsParameters;
    }
    return false;
  }

  struct Bracket {
    TokenKind kind;
    bool isParameters;
  };
  std::string_view source_;
  std::size_t position_ = 0;
  std::size_t lineStart_ = 0;
  mutable std::size_t countedFrom_ = 0, counted_ = 0;  ///< the characters of a line, from its start on
  mutable int characters_ = 0;
  int line_ = 1;
  bool spaceBefore_ = true;
  std::vector<Bracket> brackets_;
  bool isAfterParameters_ = false;
  TokenList result_;
};

}  // namespace

TokenList tokenize(std::string_view source) { return Lexer(source).run(); }

bool isKeyword(std::string_view text) { return findKeyword(text) != nullptr; }

}  // namespace tessel
