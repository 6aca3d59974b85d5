/// scanf-style formats: texts to numbers.
#pragma once

#include <cstddef>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tessel/array.h"

namespace tessel {

/// One piece of a format.
struct ScanPiece {
  enum class Kind {
    Blank,    ///< any white space, also none
    Literal,  ///< `text` itself
    Number,   ///< in the notation of `conversion`
    Word,     ///< up to white space
    Quoted,   ///< as Word, or up to the closing quote
    Letters,  ///< so many characters as `width` says, one without it
    Set,      ///< of the characters in `text`, or of all others
  };
  Kind kind;
  char conversion = 0;
  std::string text = {};
  bool isInverted = false;
  bool isDropped = false;  ///< read, and not kept
  std::size_t width = std::numeric_limits<std::size_t>::max();
  ArrayClass arrayClass = ArrayClass::Double;  ///< of `%d8` … `%u64`, `%n`; int32 and uint32 without a width

  bool isConversion() const { return kind != Kind::Blank && kind != Kind::Literal; }
  bool isText() const { return kind >= Kind::Word; }
};

/// Raises "Tessel:invalidFormat".
std::vector<ScanPiece> parseScanFormat(std::string_view format);

inline constexpr std::string_view kBlanks = " \t\r\n\f\v";

/// Takes a number off the front, of at most `width` characters: `d`, `u` decimal, `i` with the prefix of its
/// base, `x`, `o`, and `f` with a point, an exponent, "Inf" or "NaN". Nothing, and `rest` as it was, where
/// there is none.
std::optional<double> takeNumber(std::string_view& rest, char conversion, std::size_t width);
/// Takes the text off the front that a piece for texts reads, which may be empty.
std::string takeText(std::string_view& rest, const ScanPiece& piece);

}  // namespace tessel
