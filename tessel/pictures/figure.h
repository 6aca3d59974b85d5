/// What a picture shows: figures of axes of lines, as plain values. Nothing here knows how it is drawn.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tessel {

/// How the points of a line are shown.
enum class LineKind {
  Points,  ///< connected, marked, or both, as its style says
  Stems,   ///< each on a stem from zero, marked
  Stairs,  ///< each value held until the next point
  Boxes    ///< boxes from zero around x, as wide as `widths` says
};

enum class Dash { None, Solid, Dashed, Dotted, DashDotted };

/// A marker's character as in 'r--o'; 0 for none.
struct LineStyle {
  std::optional<std::uint32_t> colour = {};  ///< 0xRRGGBB; else the next of a palette
  std::optional<Dash> dash = {};
  std::optional<char> marker = {};
  double width = 1.5, markerSize = 1;
  bool isFilled = false;
};

/// Points in order; `widths` has as many where the kind is Boxes, else none. A NaN interrupts a line.
struct Line {
  LineKind kind = LineKind::Points;
  std::vector<double> x = {}, y = {}, widths = {};
  LineStyle style = {};
  std::string label = {};
};

/// One direction of the axes.
struct Axis {
  std::string label = {};
  bool isLogarithmic = false, isTight = false;
  std::optional<std::pair<double, double>> limits = {};
  std::vector<double> ticks = {};  ///< empty: at values of the drawing program's choice
};

/// Where axes lie in their figure, in fractions of its size from the lower left corner.
struct Place {
  double left = 0, bottom = 0, width = 1, height = 1;
  bool operator==(const Place&) const = default;
  bool overlaps(const Place& other) const;
};

struct Axes {
  Place place = {};
  Axis x = {}, y = {};
  std::string title = {};
  std::vector<Line> lines = {};
  bool isHeld = false, hasGrid = false, hasFrame = true, hasEqualUnits = false;
  std::optional<std::string> legendPlace = {};  ///< where there is a legend: one of `legendPlaces`

  /// Makes room for new lines, unless what is there is held: all but the place goes.
  void prepareForLines();
};

struct Figure {
  int number = 1;
  std::string name = {};
  double width = 800, height = 600;  ///< in pixels of a screen
  std::vector<Axes> axes = {};
  std::size_t currentAxes = 0;
  bool isShown = false, isWritten = false;  ///< as it is now

  void noteChange() { isShown = isWritten = false; }
  /// The axes that commands mean; the first command makes them.
  Axes& current();
  /// Makes the axes at `place` current, new ones in place of all that they would cover.
  void selectPlace(const Place& place);
};

/// The figures of a session, by number, and the one that commands mean.
class Figures {
 public:
  /// Makes the figure of that number current, a new one where there is none.
  Figure& select(int number);
  /// A new figure with the smallest number that is free.
  Figure& add();
  /// The current figure; the first command makes it.
  Figure& current();
  bool has(int number) const { return figures_.contains(number); }
  bool isEmpty() const { return figures_.empty(); }
  void close(int number);
  void closeAll();
  std::map<int, Figure>& all() { return figures_; }

 private:
  std::map<int, Figure> figures_;
  int current_ = 0;
};

/// The figures of this program. One thread draws.
Figures& figures();

}  // namespace tessel
