// Positions in arrays: one number an element, or one a dimension.
#include <algorithm>

#include <fmt/format.h>
#include "tessel/language/builtins/builtins.h"
#include "tessel/language/builtins/support.h"
#include "tessel/messages.h"
#include "tessel/runtime/positions.h"

namespace tessel {
namespace {

Dimensions sizesArgument(const char* function, const HostArray& argument) {
  requireReal(function, argument);
  if (!argument.isVector() || argument.numel() < 2)
    raiseInvalidArgument(function, "the sizes are a row of two or more.");
  Dimensions sizes;
  double total = 1;
  for (const double size : realParts(argument)) {
    sizes.push_back(countArgument(function, HostArray::scalar(size)));
    total *= size;
  }
  // Beyond, doubles do not tell positions apart.
  if (!(total < 0x1p53)) raiseInvalidArgument(function, "the array has fewer than 2^53 elements.");
  return sizes;
}

/// Positions from 1 to `extent`, as doubles; those of an object by its method "double".
std::vector<double> positionsArgument(const char* function, HostArray& argument, std::size_t extent) {
  if (argument.isObject()) argument = callFunction("double", {argument}).at(0);
  requireReal(function, argument);
  std::vector<double> positions = realParts(argument);
  for (const double k : positions) {
    if (!(k >= 1 && std::isfinite(k) && k == std::floor(k)))
      raiseInvalidArgument(function, "positions are whole numbers from 1 on.");
    if (k > static_cast<double>(extent))
      raiseError("Tessel:badindex",
                 fmt::format("Function '{}': position {} is beyond {}.", function, k, extent));
  }
  return positions;
}

/// i = sub2ind(sizes, s1, s2, …)
Arrays callSub2ind(Arrays& in, int) {
  const Dimensions extents = folded(sizesArgument("sub2ind", in[0]), in.size() - 1);
  std::vector<double> indices(in[1].numel(), 1.0);
  double stride = 1;
  for (std::size_t d = 0; d < extents.size(); ++d) {
    const std::vector<double> positions = positionsArgument("sub2ind", in[d + 1], extents[d]);
    if (in[d + 1].dims() != in[1].dims()) raiseSizesDiffer(in[1], in[d + 1]);
    for (std::size_t k = 0; k < indices.size(); ++k) indices[k] += (positions[k] - 1) * stride;
    stride *= static_cast<double>(extents[d]);
  }
  return {doubles(indices, in[1].dims())};
}

/// [s1, s2, …] = ind2sub(sizes, i)
Arrays callInd2sub(Arrays& in, int outputCount) {
  const auto count = static_cast<std::size_t>(std::max(outputCount, 1));
  const Dimensions extents = folded(sizesArgument("ind2sub", in[0]), count);
  std::size_t total = 1;
  for (const std::size_t extent : extents) total *= extent;
  std::vector<double> rest = positionsArgument("ind2sub", in[1], total);
  for (double& k : rest) k -= 1;
  Arrays subscripts;
  for (const std::size_t extent : extents) {
    std::vector<double> positions;
    for (double& k : rest) {
      const double position = std::fmod(k, static_cast<double>(extent));
      positions.push_back(position + 1);
      k = (k - position) / static_cast<double>(extent);
    }
    subscripts.push_back(doubles(positions, in[1].dims()));
  }
  return subscripts;
}

}  // namespace

void registerLocationBuiltins() {
  registerAll({
      {"sub2ind", callSub2ind, 2, -1, 1,
       "k = sub2ind(sizes, i, j, ...): the linear positions of elements in an array of these sizes.\n"
       "Raises \"Tessel:badindex\" for positions beyond them."},
      {"ind2sub", callInd2sub, 2, 2, -1,
       "[i, j, ...] = ind2sub(sizes, k): the subscripts of linear positions; the last one runs over the "
       "dimensions that\n"
       "are left. Raises \"Tessel:badindex\" for positions beyond the array."},
  });
}

}  // namespace tessel
