#include "tessel/pictures/legend_place.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>

namespace tessel {

namespace {

struct LegendPlace {
  const char *name, *key;
  double x,
      y;  ///< of those inside the axes: the share of the free room that lies left of the legend, and below
};

constexpr double kOutside = -1;

/// In the order in which equally good ones are taken.
constexpr LegendPlace kPlaces[] = {{"northeast", "inside top right", 1, 1},
                                   {"northwest", "inside top left", 0, 1},
                                   {"southeast", "inside bottom right", 1, 0},
                                   {"southwest", "inside bottom left", 0, 0},
                                   {"north", "inside top center", 0.5, 1},
                                   {"south", "inside bottom center", 0.5, 0},
                                   {"east", "inside center right", 1, 0.5},
                                   {"west", "inside center left", 0, 0.5},
                                   {"northeastoutside", "outside right top", kOutside, kOutside},
                                   {"eastoutside", "outside right center", kOutside, kOutside},
                                   {"southoutside", "bmargin center horizontal", kOutside, kOutside},
                                   {"northoutside", "tmargin center horizontal", kOutside, kOutside}};

struct Point {
  double x, y;
};

/// Both directions of the axes as numbers from 0 to 1, logarithmic ones included.
class Scale {
 public:
  Scale(const Axis& axis, const std::vector<Line>& lines, std::vector<double> Line::*values, bool holdsZero)
      : isLogarithmic_(axis.isLogarithmic) {
    if (holdsZero) include(0);
    for (const Line& line : lines)
      for (const double value : line.*values) include(value);
    if (!axis.limits) return;
    // What is no place on the axis, zero on a logarithmic one say, is no limit.
    const double low = measure(axis.limits->first), high = measure(axis.limits->second);
    if (std::isfinite(low)) low_ = low;
    if (std::isfinite(high)) high_ = high;
  }
  double operator()(double value) const { return (measure(value) - low_) / (high_ > low_ ? high_ - low_ : 1); }

 private:
  double measure(double value) const {
    if (!isLogarithmic_) return value;
    return value > 0 ? std::log10(value) : -std::numeric_limits<double>::infinity();
  }
  void include(double value) {
    const double place = measure(value);
    if (!std::isfinite(place)) return;
    low_ = std::min(low_, place);
    high_ = std::max(high_, place);
  }

  bool isLogarithmic_;
  double low_ = std::numeric_limits<double>::infinity(), high_ = -low_;
};

/// Points so close on what is drawn that a legend does not fit between them.
class Samples {
 public:
  explicit Samples(const Axes& axes)
      : x_(axes.x, axes.lines, &Line::x, false), y_(axes.y, axes.lines, &Line::y, standsOnZero(axes)) {
    for (const Line& line : axes.lines)
      for (std::size_t i = 0; i < line.x.size(); ++i) addPoint(line, i);
  }

  /// How many lie in the rectangle from (left, bottom) on.
  std::size_t countIn(double left, double bottom, double width, double height) const {
    return static_cast<std::size_t>(std::ranges::count_if(points_, [&](const Point& p) {
      return p.x >= left && p.x <= left + width && p.y >= bottom && p.y <= bottom + height;
    }));
  }

 private:
  static bool standsOnZero(const Axes& axes) {
    return std::ranges::any_of(axes.lines, [](const Line& line) {
      return line.kind == LineKind::Stems || line.kind == LineKind::Boxes;
    });
  }

  void addPoint(const Line& line, std::size_t i) {
    const Point to = place(line.x[i], line.y[i]);
    const bool isConnected = line.kind == LineKind::Points && line.style.dash != Dash::None && i > 0;
    switch (line.kind) {
      case LineKind::Boxes: {
        const double half = line.widths[i] / 2;
        for (const double part : {-1.0, -0.5, 0.0, 0.5, 1.0})
          addSegment(place(line.x[i] + part * half, 0), place(line.x[i] + part * half, line.y[i]));
        break;
      }
      case LineKind::Stems: addSegment(place(line.x[i], 0), to); break;
      case LineKind::Stairs:
        if (i > 0) {
          const Point corner = place(line.x[i], line.y[i - 1]);
          addSegment(place(line.x[i - 1], line.y[i - 1]), corner);
          addSegment(corner, to);
        }
        break;
      case LineKind::Points: addSegment(isConnected ? place(line.x[i - 1], line.y[i - 1]) : to, to);
    }
  }

  Point place(double x, double y) const { return {x_(x), y_(y)}; }

  void addSegment(Point from, Point to) {
    constexpr double kStep = 0.02;
    constexpr double kMost = 200;  // where limits show a small part of the lines
    const double length = std::hypot(to.x - from.x, to.y - from.y);
    if (!std::isfinite(length)) return;
    const double steps = std::min(std::ceil(length / kStep), kMost);
    for (double k = 0; k <= steps; ++k) {
      const double part = steps == 0 ? 0 : k / steps;
      points_.push_back({from.x + part * (to.x - from.x), from.y + part * (to.y - from.y)});
    }
  }

  Scale x_, y_;
  std::vector<Point> points_;
};

const char* emptiestPlace(const Axes& axes, double width, double height) {
  // Of gnuplot's letters and margins, roughly; a legend a little larger than it is keeps off the lines.
  constexpr double kLetter = 7.5, kSample = 75, kRow = 18, kBorder = 16, kShareOfAxes = 0.85;
  std::size_t letters = 0, rows = 0;
  for (const Line& line : axes.lines) {
    letters = std::max(letters, line.label.size());
    rows += line.label.empty() ? 0 : 1;
  }
  const double legendWidth = (kLetter * static_cast<double>(letters) + kSample) / (kShareOfAxes * width),
               legendHeight = (kRow * static_cast<double>(rows) + kBorder) / (kShareOfAxes * height);
  const Samples samples(axes);
  const LegendPlace* best = nullptr;
  std::size_t fewest = std::numeric_limits<std::size_t>::max();
  for (const LegendPlace& place : kPlaces) {
    if (place.x == kOutside) continue;
    const std::size_t count =
        samples.countIn(place.x * (1 - legendWidth), place.y * (1 - legendHeight), legendWidth, legendHeight);
    if (count < fewest) fewest = count, best = &place;
  }
  return best->key;
}

}  // namespace

std::vector<std::string> legendPlaces() {
  std::vector<std::string> names{"best"};
  for (const LegendPlace& place : kPlaces) names.emplace_back(place.name);
  return names;
}

std::string legendKey(const Axes& axes, double width, double height) {
  if (!axes.legendPlace) return "";
  const auto* place =
      std::ranges::find_if(kPlaces, [&](const LegendPlace& p) { return p.name == *axes.legendPlace; });
  if (place != std::end(kPlaces)) return place->key;
  return emptiestPlace(axes, axes.place.width * width, axes.place.height * height);
}

}  // namespace tessel
