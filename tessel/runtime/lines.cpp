#include "tessel/runtime/lines.h"

#include "tessel/runtime/arguments.h"

namespace tessel {

std::size_t firstLongDimension(const HostArray& a) {
  for (std::size_t d = 0; d < a.dims().size(); ++d)
    if (a.dim(d) != 1) return d;
  return 0;
}

std::size_t workingDimension(std::string_view function, const Arrays& inputs, std::size_t position) {
  return inputs.size() > position ? dimensionArgument(function, inputs[position])
                                  : firstLongDimension(inputs[0]);
}

void makeLineOfNothing(HostArray& a, bool isDimensionGiven) {
  if (!isDimensionGiven && a.dims() == Dimensions{0, 0}) a.reshape({0, 1});
}

Lines::Lines(const Dimensions& dims, std::size_t dimension) {
  for (std::size_t d = 0; d < dims.size(); ++d) {
    if (d < dimension)
      inner *= dims[d];
    else if (d == dimension)
      length = dims[d];
    else
      outer *= dims[d];
  }
}

Dimensions resized(const HostArray& a, std::size_t dimension, std::size_t length) {
  Dimensions dims = a.dims();
  if (dimension >= dims.size()) dims.resize(dimension + 1, 1);
  dims[dimension] = length;
  while (dims.size() > 2 && dims.back() == 1) dims.pop_back();
  return dims;
}

}  // namespace tessel
