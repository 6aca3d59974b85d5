/// printf-style formatting of arrays.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "tessel/array.h"

namespace tessel {

/// Formats the elements of `values`, one after the other, by the conversions of `format`, which starts over as
/// long as elements are left. With too few, the output ends before the first conversion that finds none;
/// without any values or elements, conversions print nothing.
///
/// `%d %i %u %o %x %X` print whole numbers of any size; another number prints as `%e` would. A text is one
/// element for `%s`, and gives its characters one by one to other conversions. `%s` and `%c` print a whole
/// number as the character with that code. `%f %e %g %a` and their capitals, `%%`, flags, widths, precisions
/// and `*` are as usual. Escapes such as `\n`, `\t`, `\\`, `\x41` in the format stand for their characters.
/// Raises "Tessel:invalidFormat" for an unknown conversion, "Tessel:invalidArgument" for values that are
/// neither numbers nor texts.
std::string formatText(std::string_view format, std::span<const HostArray> values);

/// `text` with its escapes replaced.
std::string unescaped(std::string_view text);

/// The values of an object as texts, a cell in its shape, where its class has a method "decimal" that writes
/// them exactly: `-1.5`, `2e-05`, `3*2^-20000`, and complex ones as `1-2i`; nothing for other arrays.
std::optional<HostArray> decimalTexts(const HostArray& value);

}  // namespace tessel
