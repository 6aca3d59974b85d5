// Lines, stems, stairs and histograms on the current axes.
#include <algorithm>
#include <cmath>

#include <fmt/format.h>
#include "tessel/language/builtins/builtins.h"
#include "tessel/language/builtins/support.h"
#include "tessel/messages.h"
#include "tessel/pictures/bins.h"
#include "tessel/pictures/figure.h"
#include "tessel/pictures/line_style.h"

namespace tessel {
namespace {

/// A number array of any class, values of objects included.
HostArray plainNumbers(std::string_view function, const HostArray& argument) {
  if (argument.isObject()) return callFunction("double", {argument}).at(0);
  requireNumeric(function, argument);
  if (argument.dims().size() > 2) raiseInvalidArgument(function, "arrays must have two dimensions.");
  return argument;
}

std::vector<double> realNumbers(std::string_view function, const HostArray& argument) {
  const HostArray numbers = plainNumbers(function, argument);
  requireReal(function, numbers);
  return realParts(numbers);
}

std::vector<double> column(const std::vector<double>& values, std::size_t rows, std::size_t c) {
  const auto first = values.begin() + static_cast<std::ptrdiff_t>(c * rows);
  return {first, first + static_cast<std::ptrdiff_t>(rows)};
}

/// The columns of a matrix; a vector is one column.
struct Columns {
  std::size_t rows, count;
  std::vector<double> values;

  explicit Columns(const HostArray& a)
      : rows(a.isVector() ? a.numel() : a.dim(0)), count(a.isVector() ? 1 : a.dim(1)), values(realParts(a)) {}
  std::vector<double> at(std::size_t c) const { return column(values, rows, count == 1 ? 0 : c); }
  void transpose() {
    std::vector<double> turned;
    for (std::size_t r = 0; r < rows; ++r)
      for (std::size_t c = 0; c < count; ++c) turned.push_back(values[c * rows + r]);
    values = std::move(turned);
    std::swap(rows, count);
  }
};

std::vector<double> countedFrom1(std::size_t count) {
  std::vector<double> positions;
  for (std::size_t i = 1; i <= count; ++i) positions.push_back(static_cast<double>(i));
  return positions;
}

/// Lines of the columns of `y` over their numbers, or of imaginary parts over real ones.
std::vector<Line> linesOf(const HostArray& y) {
  std::vector<Line> lines;
  if (y.isComplex()) {
    lines.push_back({.x = realParts(y), .y = imaginaryParts(y)});
    return lines;
  }
  const Columns columns(y);
  for (std::size_t c = 0; c < columns.count; ++c)
    lines.push_back({.x = countedFrom1(columns.rows), .y = columns.at(c)});
  return lines;
}

/// Lines of the columns of `y` over those of `x`, or over `x` where that is a vector: then `y` may have the
/// lines as rows.
std::vector<Line> linesOf(std::string_view function, const HostArray& x, const HostArray& y) {
  requireReal(function, x);
  requireReal(function, y);
  Columns over(x), values(y);
  if (over.count == 1 && values.rows != over.rows) values.transpose();
  if (values.rows != over.rows || (over.count != 1 && over.count != values.count)) raiseSizesDiffer(x, y);
  std::vector<Line> lines;
  for (std::size_t c = 0; c < values.count; ++c) lines.push_back({.x = over.at(c), .y = values.at(c)});
  return lines;
}

/// A colour's name, or red, green and blue from 0 to 1.
std::uint32_t colourArgument(std::string_view function, const HostArray& value) {
  if (value.isText()) {
    if (const auto colour = colourNamed(value.toText())) return *colour;
  } else {
    const std::vector<double> parts = realNumbers(function, value);
    const auto isPart = [](double part) { return part >= 0 && part <= 1; };
    if (parts.size() == 3 && std::all_of(parts.begin(), parts.end(), isPart)) {
      std::uint32_t colour = 0;
      for (const double part : parts)
        colour = colour << 8 | static_cast<std::uint32_t>(std::lround(part * 255));
      return colour;
    }
  }
  raiseInvalidArgument(function, "a colour is a name, such as 'red', '#RRGGBB', or three numbers from 0 to 1.");
}

double sizeArgument(std::string_view function, const HostArray& value) {
  const double size = numberArgument(function, value);
  if (!(size > 0 && size <= 1000))
    raiseInvalidArgument(function, "a width or size is above 0 and at most 1000.");
  return size;
}

template <class T>
T known(std::string_view function, const std::optional<T>& value, const std::string& text) {
  if (!value) raiseInvalidArgument(function, fmt::format("there is no line style or marker '{}'.", text));
  return *value;
}

struct LineProperty {
  std::string_view name;
  void (*set)(std::string_view function, Line& line, const HostArray& value);
};

constexpr LineProperty kLineProperties[] = {
    {"Color",
     [](std::string_view f, Line& line, const HostArray& v) { line.style.colour = colourArgument(f, v); }},
    {"DisplayName",
     [](std::string_view f, Line& line, const HostArray& v) { line.label = textArgument(f, v); }},
    {"LineStyle",
     [](std::string_view f, Line& line, const HostArray& v) {
       line.style.dash = known(f, dashNamed(textArgument(f, v)), textArgument(f, v));
     }},
    {"LineWidth",
     [](std::string_view f, Line& line, const HostArray& v) { line.style.width = sizeArgument(f, v); }},
    {"Marker",
     [](std::string_view f, Line& line, const HostArray& v) {
       const char marker = known(f, markerNamed(textArgument(f, v)), textArgument(f, v));
       // A marker that is named leaves the line as it is: there is none beside a marker of a style.
       if (!line.style.dash && line.kind == LineKind::Points)
         line.style.dash = line.style.marker ? Dash::None : Dash::Solid;
       line.style.marker = marker;
     }},
    {"MarkerSize", [](std::string_view f, Line& line,
                      const HostArray& v) { line.style.markerSize = sizeArgument(f, v) / 6; }},
};

/// `names` are further properties of the function, which it sets itself.
void setProperty(std::string_view function, const std::string& name, const HostArray& value,
                 std::vector<Line>& lines, std::vector<std::string> names = {}) {
  for (const LineProperty& property : kLineProperties) {
    names.emplace_back(property.name);
    if (property.name != name) continue;
    for (Line& line : lines) property.set(function, line, value);
    return;
  }
  raiseInvalidArgument(
      function, fmt::format("'{}' is neither a line style nor a property.{}", name, suggestion(name, names)));
}

/// The lines that the arguments of a call tell: groups of y or x, y and a style, then names and values for all.
std::vector<Line> linesArguments(std::string_view function, const Arrays& in, LineKind kind) {
  std::vector<Line> lines;
  std::size_t i = 0;
  const auto isText = [&](std::size_t k) { return k < in.size() && in[k].isText(); };
  while (i < in.size() && !isText(i)) {
    const HostArray first = plainNumbers(function, in[i++]);
    const bool hasBoth = i < in.size() && !isText(i);
    std::vector<Line> group =
        hasBoth ? linesOf(function, first, plainNumbers(function, in[i++])) : linesOf(first);
    std::optional<LineStyle> style;
    if (isText(i) && (style = lineStyle(in[i].toText()))) ++i;
    for (Line& line : group) {
      line.kind = kind;
      if (style) line.style = *style;
      lines.push_back(std::move(line));
    }
  }
  if (i == 0) raiseInvalidArgument(function, "the first argument must be numbers.");
  while (i < in.size()) {
    const std::string name = textArgument(function, in[i++]);
    if (name == "filled") {
      for (Line& line : lines) line.style.isFilled = true;
    } else if (i < in.size()) {
      setProperty(function, name, in[i++], lines);
    } else {
      std::vector<Line> none;
      setProperty(function, name, {}, none);
      raiseInvalidArgument(function, fmt::format("property '{}' has no value.", name));
    }
  }
  return lines;
}

void addLines(std::vector<Line> lines, bool isLogX, bool isLogY) {
  Figure& figure = figures().current();
  Axes& axes = figure.current();
  axes.prepareForLines();
  axes.x.isLogarithmic = axes.x.isLogarithmic || isLogX;
  axes.y.isLogarithmic = axes.y.isLogarithmic || isLogY;
  for (Line& line : lines) {
    if (!line.label.empty() && !axes.legendPlace) axes.legendPlace = "best";
    axes.lines.push_back(std::move(line));
  }
  figure.noteChange();
}

FunctionInfo plotting(const char* name, LineKind kind, bool isLogX, bool isLogY, const char* help) {
  return {name,
          [=](Arrays& in, int) -> Arrays {
            addLines(linesArguments(name, in, kind), isLogX, isLogY);
            return {};
          },
          1,
          -1,
          0,
          help};
}

/// Counts, or shares of them, as 'Normalization' says.
void normalize(std::string_view function, const std::string& rule, Bins& bins) {
  if (rule != "count" && rule != "probability" && rule != "pdf")
    raiseInvalidArgument(function, "the normalization is 'count', 'probability' or 'pdf'.");
  double total = 0;
  for (const double count : bins.counts) total += count;
  if (total == 0) return;
  for (std::size_t i = 0; i < bins.counts.size(); ++i) {
    if (rule != "count") bins.counts[i] /= total;
    if (rule == "pdf") bins.counts[i] /= bins.edges[i + 1] - bins.edges[i];
  }
}

Bins binsArguments(const std::vector<double>& values, const HostArray* wanted) {
  if (wanted == nullptr) return binned(values, chosenEdges(values));
  std::vector<double> edges = realNumbers("histogram", *wanted);
  if (edges.size() == 1) {
    const std::size_t count = countArgument("histogram", *wanted);
    if (count == 0 || count > 100000) raiseInvalidArgument("histogram", "there are 1 to 100000 bins.");
    edges = evenEdges(values, count);
  }
  const auto isOrdered = [](double a, double b) { return !(a < b); };
  if (edges.empty() || !std::isfinite(edges.front()) || !std::isfinite(edges.back()) ||
      std::adjacent_find(edges.begin(), edges.end(), isOrdered) != edges.end())
    raiseInvalidArgument("histogram", "the edges of the bins must increase and be finite.");
  return binned(values, std::move(edges));
}

Arrays callHistogram(Arrays& in, int) {
  const std::vector<double> values = realNumbers("histogram", in[0]);
  const bool hasBins = in.size() > 1 && !in[1].isText();
  Bins bins = binsArguments(values, hasBins ? &in[1] : nullptr);
  std::vector<Line> lines(1);
  std::string rule = "count";
  for (std::size_t i = hasBins ? 2 : 1; i < in.size(); i += 2) {
    const std::string name = textArgument("histogram", in[i]);
    if (i + 1 == in.size()) raiseInvalidArgument("histogram", fmt::format("property '{}' has no value.", name));
    if (name == "Normalization")
      rule = textArgument("histogram", in[i + 1]);
    else
      setProperty("histogram", name, in[i + 1], lines, {"Normalization"});
  }
  normalize("histogram", rule, bins);
  lines[0].kind = LineKind::Boxes;
  for (std::size_t i = 0; i < bins.counts.size(); ++i) {
    lines[0].x.push_back((bins.edges[i] + bins.edges[i + 1]) / 2);
    lines[0].widths.push_back(bins.edges[i + 1] - bins.edges[i]);
  }
  lines[0].y = std::move(bins.counts);
  addLines(std::move(lines), false, false);
  return {};
}

}  // namespace

void registerPlotBuiltins() {
  registerAll({
      plotting("plot", LineKind::Points, false, false,
               "plot(y), plot(x, y), plot(x, y, style, ...), plot(..., name, value): draws lines on the "
               "current axes.\n"
               "A matrix gives a line a column. A style holds a colour (r g b c m y k w), a line (- -- : -.) "
               "and a marker\n"
               "(o + * . x s d ^ v < > p h), such as 'r--o'. Names: Color, DisplayName, LineStyle, LineWidth, "
               "Marker, MarkerSize.\n"
               "print('picture.svg') writes what is drawn."),
      plotting("semilogx", LineKind::Points, true, false, "semilogx(...): plot with a logarithmic x axis."),
      plotting("semilogy", LineKind::Points, false, true, "semilogy(...): plot with a logarithmic y axis."),
      plotting("loglog", LineKind::Points, true, true, "loglog(...): plot with two logarithmic axes."),
      plotting(
          "stem", LineKind::Stems, false, false,
          "stem(y), stem(x, y), stem(..., style), stem(..., 'filled'): draws each value as a marker on a stem "
          "from zero."),
      plotting("stairs", LineKind::Stairs, false, false,
               "stairs(y), stairs(x, y), stairs(..., style): draws values that hold until the next one."),
      {"histogram", callHistogram, 1, -1, 0,
       "histogram(x), histogram(x, count), histogram(x, edges), histogram(..., name, value): draws how many "
       "values lie where.\n"
       "A bin holds its lower edge, the last one its upper edge as well. Names: Normalization ('count', "
       "'probability', 'pdf'),\n"
       "Color, DisplayName."},
  });
}

}  // namespace tessel
