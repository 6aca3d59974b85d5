#include "tessel/pictures/line_style.h"

#include <charconv>
#include <iterator>

namespace tessel {

namespace {

struct NamedColour {
  char letter;
  std::string_view name;
  std::uint32_t colour;
};

constexpr NamedColour kColours[] = {
    {'r', "red", 0xD00000},     {'g', "green", 0x008A00},  {'b', "blue", 0x0000E0}, {'c', "cyan", 0x00A0B0},
    {'m', "magenta", 0xC000C0}, {'y', "yellow", 0xD0B000}, {'k', "black", 0},       {'w', "white", 0xFFFFFF}};

struct NamedDash {
  std::string_view name;
  Dash dash;
};

/// Longer names first: a text is read from its start.
constexpr NamedDash kDashes[] = {
    {"--", Dash::Dashed}, {"-.", Dash::DashDotted}, {"-", Dash::Solid}, {":", Dash::Dotted}};

constexpr std::string_view kMarkers = "o+*.xsd^v<>ph";

// Okabe and Ito's colours.
constexpr std::uint32_t kPalette[] = {0x0072B2, 0xD55E00, 0x009E73, 0xCC79A7, 0xE69F00, 0x56B4E9, 0x000000};

/// Takes the part of a style that stands at the start of `text`; false where there is none or its second.
bool takePart(std::string_view& text, LineStyle& style) {
  for (const NamedDash& row : kDashes) {
    if (!text.starts_with(row.name)) continue;
    if (style.dash) return false;
    style.dash = row.dash;
    text.remove_prefix(row.name.size());
    return true;
  }
  const char letter = text[0];
  text.remove_prefix(1);
  if (kMarkers.find(letter) != std::string_view::npos) {
    if (style.marker) return false;
    style.marker = letter;
    return true;
  }
  if (style.colour) return false;
  style.colour = colourNamed({&letter, 1});
  return style.colour.has_value();
}

}  // namespace

std::optional<std::uint32_t> colourNamed(std::string_view name) {
  for (const NamedColour& row : kColours)
    if (name == row.name || (name.size() == 1 && name[0] == row.letter)) return row.colour;
  if (name.size() != 7 || name[0] != '#') return std::nullopt;
  std::uint32_t colour = 0;
  const auto [end, error] = std::from_chars(name.data() + 1, name.data() + 7, colour, 16);
  return error == std::errc() && end == name.data() + 7 ? std::optional(colour) : std::nullopt;
}

std::optional<Dash> dashNamed(std::string_view name) {
  if (name == "none") return Dash::None;
  for (const NamedDash& row : kDashes)
    if (name == row.name) return row.dash;
  return std::nullopt;
}

std::optional<char> markerNamed(std::string_view name) {
  if (name == "none") return '\0';
  if (name.size() != 1 || kMarkers.find(name[0]) == std::string_view::npos) return std::nullopt;
  return name[0];
}

std::optional<LineStyle> lineStyle(std::string_view text) {
  LineStyle style;
  while (!text.empty())
    if (!takePart(text, style)) return std::nullopt;
  return style;
}

std::uint32_t paletteColour(std::size_t index) { return kPalette[index % std::size(kPalette)]; }

}  // namespace tessel
