/// Draws figures with the program gnuplot: into files and, where the screen has windows, into windows.
///
/// Each function raises "Tessel:noGnuplot" where the program is not installed, "Tessel:gnuplotFailed" with its
/// message where it fails, and "Tessel:interrupted".
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tessel/pictures/figure.h"

namespace tessel {

/// What `picture` can make: "svg", "png", "pdf", "eps".
std::vector<std::string> pictureFormats();

/// The content of a file of that format. `dotsPerInch` scales what is made of dots; an inch is 100 pixels of
/// the figure.
std::string picture(Figure& figure, std::string_view format, double dotsPerInch);

/// Opens or renews the windows of the figures that changed since, and closes those of figures that are gone.
/// Where there is no screen, or gnuplot has nothing to open a window with, a warning says so once.
void showFigures();

}  // namespace tessel
