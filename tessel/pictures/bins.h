/// How many values lie where.
#pragma once

#include <cstddef>
#include <vector>

namespace tessel {

/// `counts[i]` values lie from `edges[i]` on and below `edges[i + 1]`; the last bin holds its upper edge as
/// well.
struct Bins {
  std::vector<double> edges, counts;
};

/// `edges`, two at least, must increase. What lies outside, or is no number, is not counted.
Bins binned(const std::vector<double>& values, std::vector<double> edges);

/// `count` + 1 edges, even between the smallest and the largest finite value; half a unit to each side of a
/// single one.
std::vector<double> evenEdges(const std::vector<double>& values, std::size_t count);

/// Edges at round numbers, near the width of Scott's rule, 3.49 times the standard deviation over the cube root
/// of the count.
std::vector<double> chosenEdges(const std::vector<double>& values);

}  // namespace tessel
