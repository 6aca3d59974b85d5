#include "tessel/pictures/gnuplot_script.h"

#include <algorithm>
#include <cmath>
#include <iterator>

#include <fmt/format.h>
#include "tessel/pictures/legend_place.h"
#include "tessel/pictures/line_style.h"

namespace tessel {

namespace {

using Out = std::back_insert_iterator<std::string>;

/// The length of the UTF-8 character at the start of `text`; 0 where there is none, or one that a file of
/// pictures must not hold.
std::size_t characterLength(std::string_view text) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char first = byte(0);
  if (first < 0x80) return first >= 0x20 && first != 0x7F ? 1 : 0;
  const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  if (first < 0xC2 || first > 0xF4 || text.size() < length) return 0;
  std::uint32_t code = first & (0xFFu >> (length + 1));
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) return 0;
    code = code << 6 | (byte(i) & 0x3Fu);
  }
  constexpr std::uint32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
  const bool isSurrogate = code >= 0xD800 && code <= 0xDFFF, isNoCharacter = (code & 0xFFFE) == 0xFFFE;
  return code < kSmallest[length] || code > 0x10FFFF || isSurrogate || isNoCharacter ? 0 : length;
}

bool isDrawable(const Axis& axis, double value) {
  return std::isfinite(value) && (!axis.isLogarithmic || value > 0);
}

/// gnuplot draws no axes without any point.
bool hasPoints(const Axes& axes) {
  for (const Line& line : axes.lines)
    for (std::size_t i = 0; i < line.x.size(); ++i)
      if (isDrawable(axes.x, line.x[i]) && isDrawable(axes.y, line.y[i])) return true;
  return false;
}

std::string numberText(double value) { return std::isfinite(value) ? fmt::format("{}", value) : "NaN"; }

void writeData(Out out, const Line& line, std::size_t index) {
  fmt::format_to(out, "$line{} << EOD\n", index);
  for (std::size_t i = 0; i < line.x.size(); ++i) {
    fmt::format_to(out, "{} {}", numberText(line.x[i]), numberText(line.y[i]));
    if (line.kind == LineKind::Boxes) fmt::format_to(out, " {}", numberText(line.widths[i]));
    fmt::format_to(out, "\n");
  }
  fmt::format_to(out, "EOD\n");
}

int dashNumber(Dash dash) {
  switch (dash) {
    case Dash::Dashed: return 2;
    case Dash::Dotted: return 3;
    case Dash::DashDotted: return 4;
    default: return 1;
  }
}

struct Marker {
  char letter;
  int open, filled;
};

/// Types of points that all of gnuplot's better terminals share.
constexpr Marker kMarkers[] = {{'o', 6, 7},   {'+', 1, 1},   {'*', 3, 3},  {'.', 7, 7},   {'x', 2, 2},
                               {'s', 4, 5},   {'d', 12, 13}, {'^', 8, 9},  {'v', 10, 11}, {'<', 8, 9},
                               {'>', 10, 11}, {'p', 14, 15}, {'h', 14, 15}};

std::string pointText(const LineStyle& style, char letter) {
  const auto* marker = std::find_if(std::begin(kMarkers), std::end(kMarkers),
                                    [&](const Marker& m) { return m.letter == letter; });
  return fmt::format("pt {} ps {}", style.isFilled ? marker->filled : marker->open,
                     style.markerSize * (letter == '.' ? 0.4 : 1));
}

/// How one line is drawn, in one or two elements of the plot command.
class LineText {
 public:
  LineText(const Line& line, std::size_t index)
      : line_(line),
        source_(fmt::format("$line{} using 1:2", index)),
        colour_(fmt::format("lc rgb '#{:06X}'", line.style.colour.value_or(paletteColour(index)))) {}

  std::string text() const {
    switch (line_.kind) {
      case LineKind::Stems: return stems();
      case LineKind::Stairs:
        if (style().dash == Dash::None) return invisible();
        return fmt::format("{} with steps {}{}", source_, strokes(), title());
      case LineKind::Boxes:
        return fmt::format("{}:3 with boxes {} fs solid 0.55 border {}", source_, colour_, colour_) + title();
      default: return points();
    }
  }

 private:
  const LineStyle& style() const { return line_.style; }
  std::string strokes() const {
    return fmt::format("{} lw {} dt {}", colour_, style().width,
                       dashNumber(style().dash.value_or(Dash::Solid)));
  }
  /// What is not drawn counts for the ranges of the axes, and may have a title.
  std::string invisible() const { return source_ + " with dots lc rgb '#FFFFFF'" + title(); }
  std::string title() const { return line_.label.empty() ? " notitle" : " title " + gnuplotText(line_.label); }

  std::string stems() const {
    const char marker = style().marker.value_or('o');
    const bool hasStems = style().dash != Dash::None;
    if (marker == '\0' && !hasStems) return invisible();
    const std::string stems = hasStems ? fmt::format("{} with impulses {}", source_, strokes()) : "";
    if (marker == '\0') return stems + title();
    return fmt::format("{}{}{} with points {} {}{}", stems, hasStems ? " notitle, " : "", source_, colour_,
                       pointText(style(), marker), title());
  }

  /// A marker without a dash stands alone.
  std::string points() const {
    const char marker = style().marker.value_or('\0');
    const Dash dash = style().dash.value_or(marker == '\0' ? Dash::Solid : Dash::None);
    if (dash == Dash::None && marker == '\0') return invisible();
    if (marker == '\0') return fmt::format("{} with lines {}{}", source_, strokes(), title());
    const std::string mark = pointText(style(), marker);
    if (dash == Dash::None) return fmt::format("{} with points {} {}{}", source_, colour_, mark, title());
    return fmt::format("{} with linespoints {} {}{}", source_, strokes(), mark, title());
  }

  const Line& line_;
  std::string source_, colour_;
};

void writeAxis(Out out, const char* name, const Axis& axis, bool hasNoPoints) {
  if (!axis.label.empty()) fmt::format_to(out, "set {}label {}\n", name, gnuplotText(axis.label));
  if (axis.isLogarithmic) fmt::format_to(out, "set logscale {}\n", name);
  const std::pair<double, double> nothing(axis.isLogarithmic ? 1 : 0, axis.isLogarithmic ? 10 : 1);
  if (axis.limits || hasNoPoints) {
    const auto [low, high] = axis.limits.value_or(nothing);
    const auto end = [](double limit) { return std::isfinite(limit) ? numberText(limit) : "*"; };
    fmt::format_to(out, "set {}range [{}:{}]\n", name, end(low), end(high));
  } else if (axis.isTight) {
    fmt::format_to(out, "set autoscale {}fix\n", name);
  }
  if (axis.ticks.empty()) return;
  std::vector<std::string> ticks;
  for (const double tick : axis.ticks) ticks.push_back(numberText(tick));
  fmt::format_to(out, "set {}tics ({})\n", name, fmt::join(ticks, ", "));
}

void writeAxes(Out out, const Axes& axes, const Figure& figure) {
  fmt::format_to(out, "reset\nset encoding utf8\nset style data lines\nset border lw 0.8\nset format '%g'\n");
  fmt::format_to(out, "set origin {},{}\nset size {}{},{}\n", axes.place.left, axes.place.bottom,
                 axes.hasEqualUnits ? "ratio -1 " : "", axes.place.width, axes.place.height);
  if (!axes.title.empty()) fmt::format_to(out, "set title {}\n", gnuplotText(axes.title));
  if (axes.hasGrid) fmt::format_to(out, "set grid back lt 1 lc rgb '#D8D8D8' lw 0.6\n");
  const std::string key = legendKey(axes, figure.width, figure.height);
  if (key.empty())
    fmt::format_to(out, "unset key\n");
  else
    fmt::format_to(out, "set key {} width 1 height 0.3 box lc rgb '#A0A0A0' opaque\n", key);
  // gnuplot leaves no room for the axis's label above the key.
  if (axes.legendPlace == "southoutside") fmt::format_to(out, "set bmargin 7\n");
  // The first and the last stem would stand on the border.
  const auto isStem = [](const Line& line) { return line.kind == LineKind::Stems; };
  if (std::any_of(axes.lines.begin(), axes.lines.end(), isStem))
    fmt::format_to(out, "set xzeroaxis lt 1 lc rgb '#000000' lw 0.6\n{}",
                   axes.x.isLogarithmic ? "" : "set offsets graph 0.05, graph 0.05, 0, 0\n");
  const bool hasNone = !hasPoints(axes);
  writeAxis(out, "x", axes.x, hasNone);
  writeAxis(out, "y", axes.y, hasNone);
  if (!axes.hasFrame) fmt::format_to(out, "unset border\nunset xtics\nunset ytics\n");
  if (hasNone) {
    fmt::format_to(out, "plot NaN notitle\n");
    return;
  }
  std::vector<std::string> elements;
  for (std::size_t i = 0; i < axes.lines.size(); ++i) {
    writeData(out, axes.lines[i], i);
    elements.push_back(LineText(axes.lines[i], i).text());
  }
  fmt::format_to(out, "plot {}\n", fmt::join(elements, ", "));
}

}  // namespace

std::string gnuplotText(std::string_view text) {
  // Between single quotes nothing has a meaning but the quote. That one and new lines stand between double
  // quotes, alone.
  std::string quoted = "'";
  while (!text.empty()) {
    const std::size_t length = characterLength(text);
    if (text[0] == '\'')
      quoted += "'.\"'\".'";
    else if (text[0] == '\n')
      quoted += "'.\"\\n\".'";
    else
      quoted += text[0] == '\t' ? " " : text.substr(0, length);
    text.remove_prefix(std::max<std::size_t>(length, 1));
  }
  return quoted + "'";
}

std::string gnuplotScript(const Figure& figure) {
  std::string script;
  const Out out(script);
  const bool isOne = figure.axes.size() == 1;
  if (!isOne) fmt::format_to(out, "set multiplot\n");
  for (const Axes& axes : figure.axes) writeAxes(out, axes, figure);
  if (!isOne) fmt::format_to(out, "unset multiplot\n");
  return script;
}

}  // namespace tessel
