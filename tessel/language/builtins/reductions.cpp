// Sums, products and statistics along a dimension, and filters.
#include <numeric>

#include "tessel/language/builtins/builtins.h"
#include "tessel/language/builtins/support.h"
#include "tessel/messages.h"
#include "tessel/runtime/arithmetic.h"
#include "tessel/runtime/convert.h"

namespace tessel {
namespace {

enum class Result { Same, Float };  ///< the class of a result: numeric as the argument's, or floating-point

ArrayClass classOf(Result result, const HostArray& a) {
  return result == Result::Float ? floatClass(a) : numericClass(a.arrayClass());
}

/// f(x), f(x, dim): one value from each line.
template <class F>
FunctionInfo reduction(const char* name, Result result, F f, const char* help) {
  return {name,
          [=](Arrays& in, int) {
            requireNumeric(name, in[0]);
            makeLineOfNothing(in[0], in.size() > 1);
            return alongDimension(in[0], workingDimension(name, in, 1), 1, classOf(result, in[0]),
                                  [&](const auto& line, auto& out) { out[0] = f(line); });
          },
          1,
          2,
          1,
          help};
}

/// f(x), f(x, dim): a line of the same length from each line.
template <class F>
FunctionInfo accumulation(const char* name, F f, const char* help) {
  return {name,
          [=](Arrays& in, int) {
            requireNumeric(name, in[0]);
            const std::size_t d = workingDimension(name, in, 1);
            return alongDimension(in[0], d, in[0].dim(d), numericClass(in[0].arrayClass()),
                                  [&](const auto& line, auto& out) {
                                    std::partial_sum(line.begin(), line.end(), out.begin(), f);
                                  });
          },
          1,
          2,
          1,
          help};
}

template <class V>
V sumOf(const std::vector<V>& line) {
  return std::accumulate(line.begin(), line.end(), V{});
}

template <class V>
V meanOf(const std::vector<V>& line) {
  return sumOf(line) / static_cast<decltype(std::abs(V{}))>(line.size());
}

template <class V>
V rootMeanSquareOf(const std::vector<V>& line) {
  using Real = decltype(std::abs(V{}));
  const auto rootOf = [&](Real scale) {
    Real sum = 0;
    for (const V& x : line) sum += std::norm(x * scale);
    return std::pair(sum, std::sqrt(sum / static_cast<Real>(line.size())));
  };
  using Limits = std::numeric_limits<Real>;
  const auto [sum, root] = rootOf(1);
  if (sum > Limits::min() / Limits::epsilon() && std::isfinite(sum)) return V(root);
  // Squares have left the range: scaled by a power of two, which is exact, they stay in it.
  Real largest = 0;
  for (const V& x : line) largest = std::max(largest, std::abs(x));
  const int exponent = std::max(std::isfinite(largest) ? std::ilogb(largest) : 0, Limits::min_exponent);
  return V(std::ldexp(rootOf(std::ldexp(Real(1), -exponent)).second, exponent));
}

template <class V>
V medianOf(std::vector<V> line) {
  if constexpr (!std::is_arithmetic_v<V>) {
    raiseComplexNotAllowed("median");
  } else {
    if (line.empty() || std::any_of(line.begin(), line.end(), isNaN<V>))
      return std::numeric_limits<V>::quiet_NaN();
    const auto middle = line.begin() + static_cast<std::ptrdiff_t>(line.size() / 2);
    std::nth_element(line.begin(), middle, line.end());
    if (line.size() % 2 == 1) return *middle;
    return std::midpoint(*std::max_element(line.begin(), middle), *middle);
  }
}

/// The mean square distance from the mean; divided by n − 1 unless `isOfPopulation`.
template <class V>
V varianceOf(const std::vector<V>& line, bool isOfPopulation) {
  if (line.empty()) return V(std::numeric_limits<decltype(std::abs(V{}))>::quiet_NaN());
  const V mean = meanOf(line);
  auto sum = std::norm(V{});
  for (const V& x : line) sum += std::norm(x - mean);
  const std::size_t divisor = isOfPopulation || line.size() == 1 ? line.size() : line.size() - 1;
  return static_cast<V>(sum / static_cast<decltype(sum)>(divisor));
}

/// f(x), f(x, w), f(x, w, dim): w = 1 divides by the number of values, w = 0 or [] by one less.
template <class F>
FunctionInfo spreadMeasure(const char* name, F f, const char* help) {
  return {name,
          [=](Arrays& in, int) {
            requireFloat(name, in[0]);
            const double weight = in.size() > 1 && !in[1].isEmpty() ? numberArgument(name, in[1]) : 0;
            if (weight != 0 && weight != 1) raiseInvalidArgument(name, "the weight must be 0 or 1.");
            makeLineOfNothing(in[0], in.size() > 2);
            return alongDimension(
                in[0], workingDimension(name, in, 2), 1, floatClass(in[0]),
                [&](const auto& line, auto& out) { out[0] = f(varianceOf(line, weight == 1)); });
          },
          1,
          3,
          1,
          help};
}

Builtins reductions() {
  return {
      reduction(
          "sum", Result::Same, [](const auto& line) { return sumOf(line); },
          "sum(x), sum(x, dim): the sum of each column."),
      reduction(
          "prod", Result::Same,
          [](const auto& line) {
            using V = typename std::decay_t<decltype(line)>::value_type;
            return std::accumulate(line.begin(), line.end(), V(1), std::multiplies<>());
          },
          "prod(x), prod(x, dim): the product of each column."),
      reduction(
          "mean", Result::Float, [](const auto& line) { return meanOf(line); },
          "mean(x), mean(x, dim): the mean of each column."),
      reduction(
          "rms", Result::Float, [](const auto& line) { return rootMeanSquareOf(line); },
          "rms(x), rms(x, dim): the root of the mean square of each column."),
      reduction(
          "median", Result::Same, [](const auto& line) { return medianOf(line); },
          "median(x), median(x, dim): the middle value of each column."),
      spreadMeasure(
          "var", [](auto v) { return v; },
          "var(x), var(x, w), var(x, w, dim): the variance of each column; w = 1: of a population."),
      spreadMeasure(
          "std", [](auto v) { return std::sqrt(v); },
          "std(x), std(x, w), std(x, w, dim): the standard deviation of each column; w = 1: of a population."),
      accumulation("cumsum", std::plus<>(), "cumsum(x), cumsum(x, dim): running sums down each column."),
      accumulation("cumprod", std::multiplies<>(),
                   "cumprod(x), cumprod(x, dim): running products down each column."),
  };
}

// Differences and filters

/// diff(x), diff(x, n), diff(x, n, dim)
Arrays callDiff(Arrays& in, int) {
  requireNumeric("diff", in[0]);
  const std::size_t times = in.size() > 1 && !in[1].isEmpty() ? countArgument("diff", in[1]) : 1;
  for (std::size_t k = 0; k < times && !in[0].isEmpty(); ++k) {
    const std::size_t d = workingDimension("diff", in, 2);
    in[0] = alongDimension(in[0], d, in[0].dim(d) - 1, numericClass(in[0].arrayClass()),
                           [](const auto& line, auto& out) {
                             for (std::size_t i = 0; i + 1 < line.size(); ++i) out[i] = line[i + 1] - line[i];
                           })[0];
  }
  return {in[0]};
}

template <class V>
std::vector<V> loadedVector(const HostArray& a) {
  std::vector<V> values(a.numel());
  loadLine(a, 0, 1, values);
  return values;
}

/// Transposed direct form II.
template <class V>
void filterLine(std::vector<V> b, std::vector<V> a, const std::vector<V>& x, std::vector<V>& y) {
  const std::size_t order = std::max(a.size(), b.size()), shared = std::min(a.size(), b.size());
  const V lead = a[0];
  for (V& each : a) each /= lead;
  for (V& each : b) each /= lead;
  std::vector<V> state(order + 1);
  for (std::size_t i = 0; i < x.size(); ++i) {
    y[i] = b[0] * x[i] + state[1];
    for (std::size_t k = 1; k < shared; ++k) state[k] = b[k] * x[i] + state[k + 1] - a[k] * y[i];
    // Coefficients that are not given are no zeros: an infinity times zero would stay in the state.
    for (std::size_t k = shared; k < b.size(); ++k) state[k] = b[k] * x[i] + state[k + 1];
    for (std::size_t k = shared; k < a.size(); ++k) state[k] = state[k + 1] - a[k] * y[i];
  }
}

/// Single where one of the operands is.
ArrayClass floatClass(const HostArray& a, const HostArray& b) {
  return floatClass(a) == ArrayClass::Single ? ArrayClass::Single : floatClass(b);
}

Arrays callFilter(Arrays& in, int) {
  for (const HostArray& a : in) requireFloat("filter", a);
  requireVector("filter", in[0]);
  requireVector("filter", in[1]);
  if (in[1].realAt(0) == 0 && in[1].imagAt(0) == 0)
    raiseInvalidArgument("filter", "the first coefficient a(1) must not be zero.");
  for (std::size_t k : {0, 1}) {
    in[2] = convertTo(in[2], floatClass(in[2], in[k]));
    if (in[k].isComplex()) in[2].mutableImagData();
  }
  const std::size_t d = workingDimension("filter", {in[2]}, 1);
  return alongDimension(in[2], d, in[2].dim(d), in[2].arrayClass(), [&](const auto& line, auto& out) {
    using V = typename std::decay_t<decltype(line)>::value_type;
    filterLine(loadedVector<V>(in[0]), loadedVector<V>(in[1]), line, out);
  });
}

template <class V>
std::vector<V> convolution(const std::vector<V>& a, const std::vector<V>& b) {
  std::vector<V> full(a.size() + b.size() - 1);
  for (std::size_t i = 0; i < a.size(); ++i) {
    raiseIfInterrupted();
    for (std::size_t k = 0; k < b.size(); ++k) full[i + k] += a[i] * b[k];
  }
  return full;
}

/// conv(a, b), conv(a, b, 'same'), conv(a, b, 'valid')
Arrays callConv(Arrays& in, int) {
  for (std::size_t k : {0, 1}) requireFloat("conv", in[k]);
  const std::string shape = in.size() > 2 ? textArgument("conv", in[2]) : "full";
  if (shape != "full" && shape != "same" && shape != "valid")
    raiseInvalidArgument("conv", "'full', 'same' or 'valid' is needed.");
  requireVector("conv", in[0]);
  requireVector("conv", in[1]);
  const std::size_t m = in[0].numel(), n = in[1].numel();
  const bool isColumn = in[0].isScalar() ? in[1].dim(1) == 1 : in[0].dim(1) == 1;
  const std::size_t valid = m >= n ? m - n + 1 : 0;
  const std::size_t length = shape == "full" ? m + n - 1 : shape == "same" ? m : valid;
  const auto first = static_cast<std::ptrdiff_t>(shape == "full" ? 0 : shape == "same" ? n / 2 : n - 1);
  const bool isComplex = in[0].isComplex() || in[1].isComplex();
  HostArray result =
      HostArray::zeros(floatClass(in[0], in[1]), {isColumn ? length : 1, isColumn ? 1 : length}, isComplex);
  const auto convolve = [&]<class V>(const V&) {
    const std::vector<V> full = convolution(loadedVector<V>(in[0]), loadedVector<V>(in[1]));
    const auto begin = full.begin() + first;
    storeLine(result, 0, 1, std::vector<V>(begin, begin + static_cast<std::ptrdiff_t>(length)));
  };
  visitComputeType(result.arrayClass(), [&](auto zero) {
    if (isComplex)
      convolve(std::complex<decltype(zero)>());
    else
      convolve(zero);
  });
  return {narrowed(std::move(result))};
}

/// Counts of values in [edge k, edge k+1); values equal to the last edge count by themselves.
Arrays callHistc(Arrays& in, int) {
  requireReal("histc", in[0]);
  requireReal("histc", in[1]);
  const std::vector<double> edges = realParts(in[1]);
  if (edges.empty() || std::ranges::any_of(edges, isNaN<double>) || !std::ranges::is_sorted(edges))
    raiseInvalidArgument("histc", "the edges must increase.");
  return alongDimension(
      in[0], firstLongDimension(in[0]), edges.size(), ArrayClass::Double, [&](const auto& line, auto& out) {
        for (const auto& value : line) {
          const double x = static_cast<double>(std::real(value));
          if (!(x >= edges.front() && x <= edges.back())) continue;
          out[static_cast<std::size_t>(std::upper_bound(edges.begin(), edges.end(), x) - edges.begin()) - 1] +=
              1;
        }
      });
}

Builtins signalFunctions() {
  return {
      {"diff", callDiff, 1, 3, 1, "diff(x), diff(x, n), diff(x, n, dim): differences of neighbours, n times."},
      {"filter", callFilter, 3, 3, 1, "filter(b, a, x): x through the digital filter b/a."},
      {"conv", callConv, 2, 3, 1,
       "conv(a, b), conv(a, b, 'same'), conv(a, b, 'valid'): the convolution of two vectors."},
      {"histc", callHistc, 2, 2, 1, "histc(x, edges): how many values lie from each edge to the next."},
  };
}

}  // namespace

void registerReductionBuiltins() {
  for (auto family : {reductions, signalFunctions}) registerAll(family());
}

}  // namespace tessel
