// What stands on and around the current axes of a picture, and where axes lie.
#include <algorithm>
#include <cmath>

#include <fmt/format.h>
#include "tessel/language/builtins/builtins.h"
#include "tessel/language/builtins/support.h"
#include "tessel/messages.h"
#include "tessel/pictures/figure.h"
#include "tessel/pictures/legend_place.h"

namespace tessel {
namespace {

/// The current axes, which the caller is about to change.
Axes& changedAxes() {
  Figure& figure = figures().current();
  figure.noteChange();
  return figure.current();
}

/// Lines of text: a text, a char matrix, a cell of texts or a number.
std::string linesOfText(std::string_view function, const HostArray& argument) {
  if (argument.isNumeric() && argument.isScalar()) return fmt::format("{}", numberArgument(function, argument));
  return fmt::format("{}", fmt::join(textsArgument(function, argument), "\n"));
}

FunctionInfo labelling(const char* name, std::string& (*label)(Axes&), const char* help) {
  return {name,
          [=](Arrays& in, int) -> Arrays {
            std::string text = linesOfText(name, in[0]);
            label(changedAxes()) = std::move(text);
            return {};
          },
          1,
          1,
          0,
          help};
}

/// A switch of the axes: on, off, or without an argument the other way.
FunctionInfo switching(const char* name, bool Axes::*value, const char* help) {
  return {name,
          [=](Arrays& in, int) -> Arrays {
            const std::string word = in.empty() ? "" : textArgument(name, in[0]);
            if (!word.empty() && word != "on" && word != "off")
              raiseInvalidArgument(name, "the argument is 'on' or 'off'.");
            Axes& axes = changedAxes();
            axes.*value = word.empty() ? !(axes.*value) : word == "on";
            return {};
          },
          0,
          1,
          0,
          help};
}

std::pair<double, double> limitsOf(std::string_view function, double low, double high) {
  if (!(low < high)) raiseInvalidArgument(function, "the lower limit must be below the upper one.");
  return {low, high};
}

FunctionInfo limiting(const char* name, Axis Axes::*axis, const char* help) {
  return {name,
          [=](Arrays& in, int) -> Arrays {
            if (in[0].isText()) {
              const std::string word = in[0].toText();
              if (word != "auto" && word != "tight")
                raiseInvalidArgument(name, "the argument is [low high], 'auto' or 'tight'.");
              Axis& changed = changedAxes().*axis;
              changed.limits.reset();
              changed.isTight = word == "tight";
              return {};
            }
            requireReal(name, in[0]);
            if (in[0].numel() != 2) raiseInvalidArgument(name, "limits are two numbers.");
            const auto limits = limitsOf(name, in[0].realAt(0), in[0].realAt(1));
            (changedAxes().*axis).limits = limits;
            return {};
          },
          1,
          1,
          0,
          help};
}

FunctionInfo ticking(const char* name, Axis Axes::*axis, const char* help) {
  return {name,
          [=](Arrays& in, int) -> Arrays {
            requireReal(name, in[0]);
            const bool isWord = in[0].isChar();
            if (isWord && textArgument(name, in[0]) != "auto")
              raiseInvalidArgument(name, "the argument is positions or 'auto'.");
            std::vector<double> ticks = isWord ? std::vector<double>() : realParts(in[0]);
            const auto isFinite = [](double tick) { return std::isfinite(tick); };
            if (!std::all_of(ticks.begin(), ticks.end(), isFinite))
              raiseInvalidArgument(name, "positions must be finite.");
            (changedAxes().*axis).ticks = std::move(ticks);
            return {};
          },
          1,
          1,
          0,
          help};
}

struct AxisWord {
  std::string_view word;
  void (*apply)(Axes& axes);
};

constexpr AxisWord kAxisWords[] = {
    {"auto",
     [](Axes& a) {
       a.x.limits = a.y.limits = std::nullopt;
       a.x.isTight = a.y.isTight = a.hasEqualUnits = false;
     }},
    {"equal", [](Axes& a) { a.hasEqualUnits = true; }},
    {"off", [](Axes& a) { a.hasFrame = false; }},
    {"on", [](Axes& a) { a.hasFrame = true; }},
    {"tight",
     [](Axes& a) {
       a.x.limits = a.y.limits = std::nullopt;
       a.x.isTight = a.y.isTight = true;
     }},
};

Arrays callAxis(Arrays& in, int) {
  if (in[0].isText()) {
    const std::string word = in[0].toText();
    const auto* row = std::find_if(std::begin(kAxisWords), std::end(kAxisWords),
                                   [&](const AxisWord& w) { return w.word == word; });
    if (row == std::end(kAxisWords))
      raiseInvalidArgument("axis",
                           "the argument is [xmin xmax ymin ymax], 'auto', 'equal', 'off', 'on' or 'tight'.");
    row->apply(changedAxes());
    return {};
  }
  requireReal("axis", in[0]);
  if (in[0].numel() != 4) raiseInvalidArgument("axis", "limits are four numbers: [xmin xmax ymin ymax].");
  const auto x = limitsOf("axis", in[0].realAt(0), in[0].realAt(1)),
             y = limitsOf("axis", in[0].realAt(2), in[0].realAt(3));
  Axes& axes = changedAxes();
  axes.x.limits = x;
  axes.y.limits = y;
  return {};
}

/// Takes "'Location', place" off the end.
std::optional<std::string> takeLocation(Arrays& in) {
  if (in.size() < 2 || !in[in.size() - 2].isText() || in[in.size() - 2].toText() != "Location")
    return std::nullopt;
  std::string place = textArgument("legend", in.back());
  const std::vector<std::string> places = legendPlaces();
  if (std::find(places.begin(), places.end(), place) == places.end())
    raiseInvalidArgument("legend", fmt::format("there is no place '{}'.{}", place, suggestion(place, places)));
  in.resize(in.size() - 2);
  return place;
}

Arrays callLegend(Arrays& in, int) {
  const std::optional<std::string> place = takeLocation(in);
  std::vector<std::string> labels;
  for (const HostArray& argument : in)
    for (std::string& text : textsArgument("legend", argument)) labels.push_back(std::move(text));
  const std::string word = labels.size() == 1 ? labels[0] : "";
  if (word == "off") {
    changedAxes().legendPlace.reset();
    return {};
  }
  if (word == "show") labels.clear();
  const std::size_t lineCount = figures().current().current().lines.size();
  if (labels.size() > lineCount)
    raiseInvalidArgument("legend", fmt::format("{} labels for {} lines.", labels.size(), lineCount));
  Axes& axes = changedAxes();
  for (std::size_t i = 0; i < axes.lines.size(); ++i) {
    std::string& label = axes.lines[i].label;
    if (i < labels.size())
      label = std::move(labels[i]);
    else if (labels.empty() && label.empty())
      label = fmt::format("line {}", i + 1);
  }
  axes.legendPlace = place.value_or(axes.legendPlace.value_or("best"));
  return {};
}

Arrays callSubplot(Arrays& in, int) {
  const auto rows = countArgument("subplot", in[0]), columns = countArgument("subplot", in[1]);
  if (rows == 0 || columns == 0 || rows > 100 || columns > 100)
    raiseInvalidArgument("subplot", "there are 1 to 100 rows and columns.");
  requireReal("subplot", in[2]);
  std::size_t top = rows, bottom = 0, left = columns, right = 0;
  for (const double position : realParts(in[2])) {
    if (!(position >= 1 && position <= static_cast<double>(rows * columns)) || position != std::floor(position))
      raiseInvalidArgument("subplot", fmt::format("positions are whole numbers from 1 to {}.", rows * columns));
    const std::size_t cell = static_cast<std::size_t>(position) - 1;
    top = std::min(top, cell / columns), bottom = std::max(bottom, cell / columns + 1);
    left = std::min(left, cell % columns), right = std::max(right, cell % columns + 1);
  }
  if (bottom == 0) raiseInvalidArgument("subplot", "there is no position.");
  const auto share = [](std::size_t part, std::size_t whole) {
    return static_cast<double>(part) / static_cast<double>(whole);
  };
  figures().current().selectPlace({share(left, columns), share(rows - bottom, rows),
                                   share(right - left, columns), share(bottom - top, rows)});
  return {};
}

}  // namespace

void registerAxesBuiltins() {
  registerAll({
      labelling(
          "title", [](Axes& a) -> std::string& { return a.title; },
          "title(text): a title above the current axes."),
      labelling(
          "xlabel", [](Axes& a) -> std::string& { return a.x.label; }, "xlabel(text): a text at the x axis."),
      labelling(
          "ylabel", [](Axes& a) -> std::string& { return a.y.label; }, "ylabel(text): a text at the y axis."),
      switching("hold", &Axes::isHeld, "hold on, hold off, hold: do new lines join those that are there?"),
      switching("grid", &Axes::hasGrid, "grid on, grid off, grid: lines at the ticks of the current axes."),
      limiting("xlim", &Axes::x, "xlim([low high]), xlim auto, xlim tight: what the x axis shows."),
      limiting("ylim", &Axes::y, "ylim([low high]), ylim auto, ylim tight: what the y axis shows."),
      ticking("xticks", &Axes::x, "xticks(positions), xticks auto: where the x axis has ticks."),
      ticking("yticks", &Axes::y, "yticks(positions), yticks auto: where the y axis has ticks."),
      {"axis", callAxis, 1, 1, 0,
       "axis([xmin xmax ymin ymax]), axis auto, axis equal, axis off, axis on, axis tight: what both axes "
       "show."},
      {"legend", callLegend, 0, -1, 0,
       "legend(label, ...), legend(cell), legend(..., 'Location', place), legend show, legend off: names the "
       "lines.\n"
       "Places: 'best', inside where it covers the least of the lines, unless another is given; 'northeast' "
       "and other corners and sides; 'northeastoutside', 'eastoutside', 'southoutside', 'northoutside'."},
      {"subplot", callSubplot, 3, 3, 0,
       "subplot(m, n, p): parts the figure into m rows of n axes and makes the one at position p the current "
       "one.\n"
       "Positions count along the rows; several of them are joined."},
  });
}

}  // namespace tessel
