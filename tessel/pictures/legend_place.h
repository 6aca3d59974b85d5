/// Where the legend of axes stands.
#pragma once

#include <string>
#include <vector>

#include "tessel/pictures/figure.h"

namespace tessel {

/// What `Axes::legendPlace` may be.
std::vector<std::string> legendPlaces();

/// The place of the legend in the words of gnuplot; empty where there is no legend. "best" is the place inside
/// the axes that covers the least of the lines. `width` and `height` are those of the figure in pixels.
std::string legendKey(const Axes& axes, double width, double height);

}  // namespace tessel
