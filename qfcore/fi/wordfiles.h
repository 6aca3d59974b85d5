/// Texts by which hardware descriptions and firmware take stored integers, and give them back.
#pragma once

#include <string>
#include <string_view>

#include "qfcore/fi/fi.h"

namespace embedded {

/// The forms in which simulators read and write words: hexadecimal digits for Verilog's `$readmemh`, bits for
/// `read` of VHDL's `std.textio`.
enum class WordFile { Memh, Bits };

/// The stored integers of `x`, a line each in the order of the elements; a negative one is its pattern in
/// exactly the word's bits. Raises "numforge:fi:wordfile:real" where `x` is complex or not of fixed point.
std::string wordLines(const fi& x, WordFile form);

/// A column of words from such lines: parted by white space, with `_` between digits, with comments (`//`, `--`
/// and between `/*` and `*/`), and in hexadecimal files with `@` before the address, also in hexadecimal, of
/// the word that follows. Words that no line gives are 0. Raises "numforge:fi:wordfile:word" for what is no
/// word of `type`, unknown bits (`x`, `z`) among them, and "numforge:fi:wordfile:address" for addresses beyond
/// 2^26.
fi fromWordLines(std::string_view text, WordFile form, const NumericType& type, const fimath& math);

/// A header that defines the stored integers as the array `name` of the narrowest of int8_t, uint8_t, ...
/// uint64_t, with its length and its scaling. Raises as `wordLines`; "numforge:fi:wordfile:name" where `name`
/// is no identifier of C, and "numforge:fi:wordfile:length" for words of more than 64 bits.
std::string cHeader(const fi& x, const std::string& name);

}  // namespace embedded
