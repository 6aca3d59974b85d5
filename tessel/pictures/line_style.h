/// The short texts that say how a line looks, such as "r--o", and the names of colours.
#pragma once

#include <optional>
#include <string_view>

#include "tessel/pictures/figure.h"

namespace tessel {

/// A colour's name ("red", "r") or "#RRGGBB"; nothing for another text.
std::optional<std::uint32_t> colourNamed(std::string_view name);
/// "-", "--", ":", "-.", or "none"; nothing for another text.
std::optional<Dash> dashNamed(std::string_view name);
/// One of the characters o + * . x s d ^ v < > p h, or "none" as 0; nothing for another text.
std::optional<char> markerNamed(std::string_view name);

/// A colour's letter, a dash and a marker in any order, each at most once; nothing for another text.
std::optional<LineStyle> lineStyle(std::string_view text);

/// The colour of the line at position `index`, from 0, of its axes: of a palette that colour-blind readers tell
/// apart.
std::uint32_t paletteColour(std::size_t index);

}  // namespace tessel
