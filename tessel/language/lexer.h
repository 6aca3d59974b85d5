/// Characters to tokens.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tessel/messages.h"

namespace tessel {

/// A text that is no program: "Tessel:syntaxError" with its place.
class SyntaxError : public HostError {
 public:
  SyntaxError(const std::string& text, int line, int column, bool isUnfinished = false)
      : HostError("Tessel:syntaxError", text), line_(line), column_(column), isUnfinished_(isUnfinished) {}
  /// Both count from 1; columns count characters, as editors do.
  int line() const { return line_; }
  int column() const { return column_; }
  /// The text ends inside a block or a bracket, so that more lines could complete it.
  bool isUnfinished() const { return isUnfinished_; }

 private:
  int line_;
  int column_;
  bool isUnfinished_;
};

enum class TokenKind {
  EndOfText,
  NewLine,
  Comma,
  Semicolon,
  Number,
  Imaginary,
  Text,
  Name,
  NoNumber,
  LeftParen,
  RightParen,
  LeftBracket,
  RightBracket,
  LeftBrace,
  RightBrace,
  At,
  Dot,
  Colon,
  Assign,
  PlusAssign,
  MinusAssign,
  TimesAssign,
  DivideAssign,
  Quote,
  DotQuote,
  Power,
  DotPower,
  Plus,
  Minus,
  Not,
  Times,
  DotTimes,
  Divide,
  DotDivide,
  LeftDivide,
  DotLeftDivide,
  Less,
  LessEqual,
  Greater,
  GreaterEqual,
  Equal,
  NotEqual,
  And,
  Or,
  AndAnd,
  OrOr,
  If,
  Elseif,
  Else,
  End,
  For,
  While,
  Break,
  Continue,
  Switch,
  Case,
  Otherwise,
  Try,
  Catch,
  Function,
  Return,
  Global,
  Persistent
};

struct Token {
  TokenKind kind = TokenKind::EndOfText;
  /// The name, or the content of a text literal without its quotes; of NoNumber what is wrong with it, at the
  /// column.
  std::string text;
  /// Of a number.
  double value = 0;
  int line = 1;
  int column = 1;
  /// Where the token stands in the source, in bytes.
  std::size_t begin = 0;
  std::size_t end = 0;
  /// White space, a continuation or the start of a line stands directly before the token.
  bool spaceBefore = false;
};

struct Comment {
  int line = 1;
  /// With its leading percent sign.
  std::string text;
};

struct TokenList {
  /// The last one is EndOfText.
  std::vector<Token> tokens;
  /// Comments to a line's end, block comments left out.
  std::vector<Comment> comments;
};

/// Splits a whole program. Digits that go on as no number does, as in "2x", are a NoNumber: names of files
/// behind a command may begin so. A quote is a transpose after a value, unless it follows white space between
/// the elements of a matrix. Raises SyntaxError.
TokenList tokenize(std::string_view source);

/// Is this a byte of a UTF-8 character that another one begins?
constexpr bool continuesCharacter(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

/// Is `text` a word of the language, such as "while"?
bool isKeyword(std::string_view text);

}  // namespace tessel
