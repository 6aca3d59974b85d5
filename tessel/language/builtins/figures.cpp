// Figures, and the files and windows that show them.
#include <algorithm>
#include <filesystem>
#include <tuple>

#include <fmt/format.h>
#include "tessel/language/builtins/builtins.h"
#include "tessel/language/builtins/support.h"
#include "tessel/language/files.h"
#include "tessel/pictures/figure.h"
#include "tessel/pictures/gnuplot.h"

namespace tessel {
namespace {

int figureNumber(std::string_view function, const HostArray& argument) {
  const std::size_t number = countArgument(function, argument);
  if (number == 0 || number > 1000000)
    raiseInvalidArgument(function, "figures have numbers from 1 to 1000000.");
  return static_cast<int>(number);
}

/// The size in [left bottom width height]; where a window lies is the screen's affair.
std::pair<double, double> sizeArgument(const HostArray& position) {
  requireReal("figure", position);
  const auto isSize = [&](std::size_t i) { return position.realAt(i) >= 50 && position.realAt(i) <= 20000; };
  if (position.numel() != 4 || !isSize(2) || !isSize(3))
    raiseInvalidArgument("figure",
                         "the position is [left bottom width height], the sizes from 50 to 20000 pixels.");
  return {position.realAt(2), position.realAt(3)};
}

Arrays callFigure(Arrays& in, int outputCount) {
  const bool hasNumber = in.size() % 2 == 1;
  const int number = hasNumber ? figureNumber("figure", in[0]) : 0;
  std::optional<std::string> name;
  std::optional<std::pair<double, double>> size;
  for (std::size_t i = hasNumber ? 1 : 0; i < in.size(); i += 2) {
    const std::string property = textArgument("figure", in[i]);
    if (property == "Name")
      name = textArgument("figure", in[i + 1]);
    else if (property == "Position")
      size = sizeArgument(in[i + 1]);
    else
      raiseInvalidArgument(
          "figure", fmt::format("there is no property '{}'; there are 'Name' and 'Position'.", property));
  }
  Figure& figure = hasNumber ? figures().select(number) : figures().add();
  if (name) figure.name = *name;
  if (size) std::tie(figure.width, figure.height) = *size;
  figure.noteChange();
  if (outputCount == 0) return {};
  return {HostArray::scalar(figure.number)};
}

Arrays callClose(Arrays& in, int) {
  if (in.empty()) {
    if (!figures().isEmpty()) figures().close(figures().current().number);
  } else if (in[0].isText()) {
    if (in[0].toText() != "all") raiseInvalidArgument("close", "the argument is a figure's number or 'all'.");
    figures().closeAll();
  } else {
    figures().close(figureNumber("close", in[0]));
  }
  return {};
}

Arrays callClf(Arrays&, int) {
  Figure& figure = figures().current();
  figure.axes.clear();
  figure.noteChange();
  return {};
}

/// What a picture is written to: file, format, resolution.
struct Target {
  std::string name, format;
  double dotsPerInch = 100;
};

void setFormat(std::string_view function, Target& target, const std::string& format) {
  const std::vector<std::string> formats = pictureFormats();
  if (std::find(formats.begin(), formats.end(), format) == formats.end())
    raiseInvalidArgument(
        function,
        format.empty()
            ? fmt::format("the name needs an ending that says the format: {}.", fmt::join(formats, ", "))
            : fmt::format("pictures are written as {}, not as '{}'.", fmt::join(formats, ", "), format));
  target.format = format;
}

void setResolution(Target& target, const std::string& option) {
  const std::string number = option.substr(2);
  const bool isNumber =
      !number.empty() && number.size() <= 4 && number.find_first_not_of("0123456789") == std::string::npos;
  target.dotsPerInch = isNumber ? std::stod(number) : 0;
  if (target.dotsPerInch < 10 || target.dotsPerInch > 2400)
    raiseInvalidArgument("print", "the resolution is '-r10' to '-r2400'.");
}

/// Without a format the ending of the name says it.
Target completed(std::string_view function, Target target) {
  const std::string ending = std::filesystem::path(target.name).extension().string();
  if (target.format.empty()) setFormat(function, target, ending.empty() ? "" : ending.substr(1));
  if (ending.empty()) target.name += "." + target.format;
  return target;
}

void writePicture(Figure& figure, const Target& target) {
  writeFile(target.name, picture(figure, target.format, target.dotsPerInch));
}

Arrays callPrint(Arrays& in, int) {
  Target target;
  for (const HostArray& argument : in) {
    const std::string text = textArgument("print", argument);
    if (text.starts_with("-d"))
      setFormat("print", target, text.substr(2));
    else if (text.starts_with("-r"))
      setResolution(target, text);
    else
      target.name = text;
  }
  if (target.name.empty()) raiseInvalidArgument("print", "a file's name is missing.");
  target = completed("print", std::move(target));
  writePicture(figures().current(), target);
  return {};
}

Arrays callSaveas(Arrays& in, int) {
  const int number = figureNumber("saveas", in[0]);
  if (!figures().has(number)) raiseInvalidArgument("saveas", fmt::format("there is no figure {}.", number));
  Target target{textArgument("saveas", in[1]), ""};
  if (in.size() > 2) setFormat("saveas", target, textArgument("saveas", in[2]));
  writePicture(figures().all().at(number), completed("saveas", std::move(target)));
  return {};
}

Arrays callDrawnow(Arrays&, int) {
  showFigures();
  return {};
}

}  // namespace

void registerFigureBuiltins() {
  registerAll({
      {"figure", callFigure, 0, -1, 1,
       "figure, figure(n), h = figure(..., name, value): makes a figure, or figure n, the current one. Names: "
       "Name, Position."},
      {"gcf", [](Arrays&, int) -> Arrays { return {HostArray::scalar(figures().current().number)}; }, 0, 0, 1,
       "h = gcf: the number of the current figure."},
      {"close", callClose, 0, 1, 0,
       "close, close(n), close all: forgets the current figure, figure n, or all."},
      {"clf", callClf, 0, 0, 0, "clf: empties the current figure."},
      {"print", callPrint, 1, 3, 0,
       "print(file), print(format, file), print(..., '-r200'): writes the current figure. The ending of the "
       "name, or '-dsvg', says\n"
       "the format: svg, png, pdf or eps. '-r200' gives a png 200 dots an inch, where an inch has 100 pixels "
       "on the screen."},
      {"saveas", callSaveas, 2, 3, 0, "saveas(n, file), saveas(n, file, format): writes figure n; see print."},
      {"drawnow", callDrawnow, 0, 0, 0,
       "drawnow: brings the windows of figures up to date, where there is a screen; the prompt does that by "
       "itself."},
  });
}

}  // namespace tessel
