/// A figure in the language of gnuplot.
#pragma once

#include <string>
#include <string_view>

#include "tessel/pictures/figure.h"

namespace tessel {

/// The commands that draw `figure` on the terminal set before, data included. Texts of the figure are shown as
/// they are: whatever they hold, none is a command. Characters that a text on a picture cannot have are left
/// out.
std::string gnuplotScript(const Figure& figure);

/// An expression of gnuplot whose value is `text`, as far as a picture can show it.
std::string gnuplotText(std::string_view text);

}  // namespace tessel
