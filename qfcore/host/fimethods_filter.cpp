/// Methods of `embedded.fi` that filter and accumulate.
#include <optional>

#include "qfcore/fi/filter.h"
#include "qfcore/host/FiObjClass.h"

namespace embedded::host {

namespace {

constexpr Message kBadDimension{"numforge:fi:filter:dimension", "%s takes a dimension from 1 on."};
constexpr Message kBadShape{"numforge:fi:conv:shape", "CONV takes 'full', 'same' or 'valid'."};

/// The dimension that argument `place` names; 0, the first that is not 1, where there is none.
unsigned dimensionAt(const Arrays& inputs, std::size_t place, const char* name) {
  if (inputs.size() <= place || inputs[place].isEmpty()) return 0;
  const std::optional<unsigned> dimension = dimensionArgument(inputs[place]);
  if (!dimension) fail<kBadDimension>(name);
  return *dimension;
}

/// The first of so many arguments that is an array of this module.
const fi& firstArray(const Arrays& inputs, std::size_t count) {
  for (std::size_t k = 0; k < count; ++k) {
    if (const fi* x = unwrapped<fi>(inputs[k])) return *x;
  }
  return fiArgument(inputs[0]);
}

/// Initial states as they are given, before they are brought into their type; none for no argument and [].
std::optional<fi> statesArgument(const Arrays& inputs, std::size_t place) {
  if (inputs.size() <= place) return std::nullopt;
  if (const fi* states = unwrapped<fi>(inputs[place])) return *states;
  if (inputs[place].isEmpty()) return std::nullopt;
  return operandAsItIs(inputs[place], fi());
}

Arrays outputsOf(Filtered&& filtered, int outputCount) {
  Arrays outputs{toHost(std::move(filtered.signal))};
  if (outputCount > 1) outputs.push_back(toHost(std::move(filtered.states)));
  return outputs;
}

/// filter(b, a, x, zi, dim)
Arrays callFilter(Arrays& inputs, int outputCount) {
  const fi& known = firstArray(inputs, 3);
  const std::optional<fi> states = statesArgument(inputs, 3);
  return outputsOf(
      filter(operandBeside(inputs[0], known), operandBeside(inputs[1], known), operandBeside(inputs[2], known),
             states ? &*states : nullptr, dimensionAt(inputs, 4, "FILTER")),
      outputCount);
}

/// sosfilt(sos, x, zi, dim)
Arrays callSosfilt(Arrays& inputs, int outputCount) {
  const fi& known = firstArray(inputs, 2);
  const std::optional<fi> states = statesArgument(inputs, 2);
  return outputsOf(sosfilt(operandBeside(inputs[0], known), operandBeside(inputs[1], known),
                           states ? &*states : nullptr, dimensionAt(inputs, 3, "SOSFILT")),
                   outputCount);
}

ConvolutionShape shapeArgument(const Arrays& inputs) {
  if (inputs.size() < 3) return ConvolutionShape::Full;
  const std::string text = inputs[2].isChar() ? inputs[2].toText() : std::string();
  if (text == "full") return ConvolutionShape::Full;
  if (text == "same") return ConvolutionShape::Same;
  if (text != "valid") fail<kBadShape>();
  return ConvolutionShape::Valid;
}

/// conv(u, v, shape)
Arrays callConv(Arrays& inputs, int) {
  const fi& known = firstArray(inputs, 2);
  return {
      toHost(conv(operandBeside(inputs[0], known), operandBeside(inputs[1], known), shapeArgument(inputs)))};
}

/// dot(a, b, dim)
Arrays callDot(Arrays& inputs, int) {
  const fi& known = firstArray(inputs, 2);
  return {toHost(
      dot(operandBeside(inputs[0], known), operandBeside(inputs[1], known), dimensionAt(inputs, 2, "DOT")))};
}

Arrays callCumsum(Arrays& inputs, int) {
  return {toHost(cumsum(fiArgument(inputs[0]), dimensionAt(inputs, 1, "CUMSUM")))};
}

Arrays callMean(Arrays& inputs, int) {
  return {toHost(mean(fiArgument(inputs[0]), dimensionAt(inputs, 1, "MEAN")))};
}

const Method kMethods[] = {
    {"filter", 3, 5, 2, callFilter,
     "[y, zf] = filter(b, a, x, zi, dim): x through the filter b/a, by the transposed direct form II; a(1) is "
     "1. "
     "States and sums have one type; y has that of x where a has further coefficients."},
    {"sosfilt", 2, 4, 2, callSosfilt,
     "[y, zf] = sosfilt(sos, x, zi, dim): x through sections of second order, rows [b0 b1 b2 1 a1 a2]."},
    {"conv", 2, 3, 1, callConv,
     "conv(u, v), conv(u, v, 'same'), conv(u, v, 'valid'): the convolution of two vectors."},
    {"dot", 2, 3, 1, callDot, "dot(a, b), dot(a, b, dim): the sum of the products conj(a) .* b."},
    {"cumsum", 1, 2, 1, callCumsum, "cumsum(x), cumsum(x, dim): running sums, in the type of sum(x, dim)."},
    {"mean", 1, 2, 1, callMean, "mean(x), mean(x, dim): the mean, rounded into the type of x."},
};

}  // namespace

std::span<const Method> filterMethods() { return kMethods; }

}  // namespace embedded::host
