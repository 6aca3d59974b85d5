#include "tessel/pictures/bins.h"

#include <algorithm>
#include <cmath>

namespace tessel {

namespace {

struct Spread {
  double low = 0, high = 0, deviation = 0;
  std::size_t count = 0;
};

Spread spreadOf(const std::vector<double>& values) {
  Spread spread;
  double mean = 0, squares = 0;
  for (const double value : values) {
    if (!std::isfinite(value)) continue;
    spread.low = spread.count == 0 ? value : std::min(spread.low, value);
    spread.high = spread.count == 0 ? value : std::max(spread.high, value);
    const double before = value - mean;
    mean += before / static_cast<double>(++spread.count);
    squares += before * (value - mean);
  }
  if (spread.count > 1) spread.deviation = std::sqrt(squares / static_cast<double>(spread.count - 1));
  return spread;
}

/// The nearest of 1, 2, 5 times a power of ten from `width` on.
double roundWidth(double width) {
  const double power = std::pow(10, std::floor(std::log10(width)));
  for (const double step : {1.0, 2.0, 5.0})
    if (step * power >= width) return step * power;
  return 10 * power;
}

}  // namespace

Bins binned(const std::vector<double>& values, std::vector<double> edges) {
  Bins bins{std::move(edges), {}};
  bins.counts.assign(bins.edges.size() - 1, 0);
  for (const double value : values) {
    if (!(value >= bins.edges.front() && value <= bins.edges.back())) continue;
    const auto above = std::upper_bound(bins.edges.begin(), bins.edges.end(), value);
    const auto bin = static_cast<std::size_t>(above - bins.edges.begin()) - 1;
    bins.counts[std::min(bin, bins.counts.size() - 1)] += 1;
  }
  return bins;
}

std::vector<double> evenEdges(const std::vector<double>& values, std::size_t count) {
  const Spread spread = spreadOf(values);
  const double margin = spread.low == spread.high ? 0.5 : 0;
  std::vector<double> edges;
  for (std::size_t i = 0; i <= count; ++i) {
    const double share = static_cast<double>(i) / static_cast<double>(count);
    edges.push_back((spread.low - margin) * (1 - share) + (spread.high + margin) * share);
  }
  return edges;
}

std::vector<double> chosenEdges(const std::vector<double>& values) {
  const Spread spread = spreadOf(values);
  const double wanted = 3.49 * spread.deviation / std::cbrt(static_cast<double>(spread.count));
  constexpr double kMostBins = 1000;
  const double width = roundWidth(std::max(wanted, (spread.high - spread.low) / kMostBins));
  const double first = std::floor(spread.low / width), last = std::floor(spread.high / width) + 1;
  // Where the width drowns in the size of the values, or is no number, even edges remain.
  if (!(std::fabs(last) < 1e15)) return evenEdges(values, 1);
  std::vector<double> edges;
  for (double k = first; k <= last; ++k) edges.push_back(k * width);
  return edges;
}

}  // namespace tessel
