// Spectra and polynomials.
#include <algorithm>
#include <numbers>
#include <numeric>

#include "tessel/interruption.h"
#include "tessel/language/builtins/builtins.h"
#include "tessel/language/builtins/support.h"
#include "tessel/language/fourier.h"
#include "tessel/messages.h"
#include "tessel/runtime/arraydata.h"
#include "tessel/runtime/convert.h"
#include "tessel/runtime/indexpath.h"
#include "tessel/runtime/matrix_arithmetic.h"

namespace tessel {
namespace {

using Complex = std::complex<double>;

using Numbers = std::vector<FourierTransform::Number>;

bool isReal(const Numbers& values) {
  return std::ranges::all_of(values, [](const auto& z) { return z.imag() == 0; });
}

/// Whether element n − k is the conjugate of element k.
bool isSymmetric(const Numbers& values) {
  for (std::size_t k = 0; k <= values.size() / 2 && k < values.size(); ++k)
    if (values[k] != std::conj(values[(values.size() - k) % values.size()])) return false;
  return true;
}

/// Real numbers have a symmetric transform, and symmetric ones a real one: to the last bit.
void transformLine(const FourierTransform& transform, Numbers& values) {
  const bool wasReal = isReal(values), wasSymmetric = isSymmetric(values);
  transform.apply(values);
  if (wasReal) {
    for (std::size_t k = 0; k <= values.size() / 2 && k < values.size(); ++k) {
      const std::size_t mirrored = (values.size() - k) % values.size();
      if (mirrored == k) values[k].imag(0);
      values[mirrored] = std::conj(values[k]);
    }
  }
  if (wasSymmetric)
    for (auto& z : values) z.imag(0);
}

/// fft(x), fft(x, n), fft(x, n, dim), and ifft likewise. Lines are cut, or filled with zeros, to n.
Arrays transformed(const char* name, Arrays& in, bool isInverse) {
  requireFloat(name, in[0]);
  const std::size_t d = workingDimension(name, in, 2);
  const bool hasLength = in.size() > 1 && !in[1].isEmpty();
  const std::size_t length = hasLength ? countArgument(name, in[1]) : in[0].dim(d);
  // A convolution in place of the transform holds up to four times the length, in five lists.
  requireMemory(length, 24 * sizeof(FourierTransform::Number));
  HostArray x = convertTo(in[0], floatClass(in[0]));
  x.mutableImagData();
  const FourierTransform transform(length, isInverse);
  const long double divisor = isInverse ? static_cast<long double>(std::max<std::size_t>(length, 1)) : 1;
  Numbers values;
  return alongDimension(x, d, length, x.arrayClass(), [&](const auto& line, auto& out) {
    using V = typename std::decay_t<decltype(line)>::value_type;
    if constexpr (!std::is_arithmetic_v<V>) {
      using E = typename V::value_type;
      values.assign(length, {});
      for (std::size_t k = 0; k < std::min(length, line.size()); ++k)
        values[k] = {line[k].real(), line[k].imag()};
      transformLine(transform, values);
      for (std::size_t k = 0; k < length; ++k)
        out[k] = {static_cast<E>(values[k].real() / divisor), static_cast<E>(values[k].imag() / divisor)};
    }
  });
}

/// A vector of numbers; an object by what its method "double" gives.
std::vector<Complex> coefficients(const char* function, const HostArray& argument) {
  const HostArray a = argument.isObject() ? callFunction("double", {argument}).at(0) : argument;
  requireNumeric(function, a);
  if (!a.isVector() && !a.isEmpty()) raiseInvalidArgument(function, "coefficients are a vector.");
  const std::vector<double> re = realParts(a), im = imaginaryParts(a);
  std::vector<Complex> values(re.size());
  for (std::size_t k = 0; k < values.size(); ++k) values[k] = {re[k], im[k]};
  return values;
}

HostArray complexArray(const std::vector<Complex>& values, Dimensions dims) {
  HostArray result = HostArray::zeros(ArrayClass::Double, std::move(dims), true);
  storeLine(result, 0, 1, values);
  return narrowed(std::move(result));
}

/// The points of freqz, in radians a sample: of all that it is given after the coefficients.
struct Frequencies {
  std::vector<double> radians, shown;
  bool isRow = false;
};

Frequencies frequencies(Arrays in) {
  Frequencies points;
  bool isWhole = false;
  if (in.size() > 2 && in.back().isChar()) {
    isWhole = textArgument("freqz", in.back()) == "whole";
    if (!isWhole) raiseInvalidArgument("freqz", "the option is 'whole'.");
    in.pop_back();
  } else if (in.size() > 4) {
    isWhole = textArgument("freqz", in[3]) == "whole";
    if (!isWhole) raiseInvalidArgument("freqz", "the option is 'whole'.");
    in.erase(in.begin() + 3);
  }
  constexpr double kCircle = 2 * std::numbers::pi;
  const double rate = in.size() > 3 ? numberArgument("freqz", in[3]) : kCircle;
  if (!(rate > 0)) raiseInvalidArgument("freqz", "the sampling rate must be positive.");
  if (in.size() > 2 && in[2].numel() > 1) {
    requireVector("freqz", in[2]);
    requireReal("freqz", in[2]);
    points.isRow = in[2].dim(0) == 1;
    points.shown = realParts(in[2]);
  } else {
    constexpr std::size_t kUsualCount = 512;
    const std::size_t count = in.size() > 2 && !in[2].isEmpty() ? countArgument("freqz", in[2]) : kUsualCount;
    requireMemory(count, 4 * sizeof(Complex));
    points.shown.resize(count);
    for (std::size_t k = 0; k < count; ++k)
      points.shown[k] = rate * static_cast<double>(k) / static_cast<double>(isWhole ? count : 2 * count);
  }
  for (const double f : points.shown) points.radians.push_back(rate == kCircle ? f : kCircle * (f / rate));
  return points;
}

/// c(1) + c(2)·z + …
Complex valueAt(const std::vector<Complex>& c, Complex z) {
  return std::accumulate(c.rbegin(), c.rend(), Complex(),
                         [z](Complex sum, Complex each) { return sum * z + each; });
}

/// [h, w] = freqz(b, a, …)
Arrays callFreqz(Arrays& in, int) {
  const std::vector<Complex> b = coefficients("freqz", in[0]);
  const std::vector<Complex> a = in.size() > 1 ? coefficients("freqz", in[1]) : std::vector<Complex>{1};
  const Frequencies points = frequencies(in);
  std::vector<Complex> response;
  for (const double w : points.radians) {
    raiseIfInterrupted();
    const Complex delay = std::polar(1.0, -w);
    response.push_back(valueAt(b, delay) / valueAt(a, delay));
  }
  const std::size_t count = response.size();
  const Dimensions dims = points.isRow ? Dimensions{1, count} : Dimensions{count, 1};
  return {complexArray(response, dims), doubles(points.shown, dims)};
}

HostArray elementOf(const HostArray& a, std::size_t position) {
  const IndexLevel level{IndexLevel::Kind::Paren, {HostArray::scalar(static_cast<double>(position + 1))}, {}};
  return reference(a, {&level, 1}).at(0);
}

/// By Horner's rule, in the arithmetic of the operands: that of objects rounds as its types say.
Arrays callPolyval(Arrays& in, int) {
  for (const HostArray& a : in)
    if (!a.isObject()) requireNumeric("polyval", a);
  const auto count = static_cast<std::size_t>(callFunction("numel", {in[0]}).at(0).scalarValue());
  if (!in[0].isObject() && count > 0) requireVector("polyval", in[0]);
  const auto combined = [](const char* function, const HostArray& a, const HostArray& b) {
    return callFunction(function, {a, b}).at(0);
  };
  if (count < 2) {
    const HostArray nothing = in[1].isObject() ? combined("times", in[1], HostArray::scalar(0))
                                               : HostArray::zeros(floatClass(in[1]), in[1].dims());
    return {count == 0 ? nothing : combined("plus", nothing, elementOf(in[0], 0))};
  }
  HostArray sum = elementOf(in[0], 0);
  for (std::size_t k = 1; k < count; ++k)
    sum = combined("plus", combined("times", sum, in[1]), elementOf(in[0], k));
  return {sum};
}

/// The eigenvalues of the companion matrix; a zero for each last coefficient that is zero.
Arrays callRoots(Arrays& in, int) {
  std::vector<Complex> p = coefficients("roots", in[0]);
  for (const Complex& c : p) {
    if (!std::isfinite(c.real()) || !std::isfinite(c.imag()))
      raiseInvalidArgument("roots", "coefficients must be finite.");
  }
  p.erase(p.begin(), std::ranges::find_if(p, [](const Complex& c) { return c != 0.0; }));
  std::size_t zeros = 0;
  for (; !p.empty() && p.back() == 0.0; p.pop_back()) ++zeros;
  const std::size_t order = p.empty() ? 0 : p.size() - 1;
  requireMemory(elementCount({order, order}), 4 * sizeof(Complex));
  std::vector<Complex> matrix(order * order);
  for (std::size_t k = 0; k < order; ++k) {
    matrix[k * order] = -p[k + 1] / p[0];
    if (k + 1 < order) matrix[k * order + k + 1] = 1;
  }
  std::vector<Complex> roots;
  if (order > 0) roots = eigenvalues(complexArray(matrix, {order, order}));
  if (p.empty()) zeros = 0;  // every number is one
  roots.resize(order + zeros);
  return {roots.empty() ? HostArray::zeros(ArrayClass::Double, {0, 1})
                        : complexArray(roots, {roots.size(), 1})};
}

}  // namespace

void registerSignalBuiltins() {
  registerAll({
      {"fft", [](Arrays& in, int) { return transformed("fft", in, false); }, 1, 3, 1,
       "fft(x), fft(x, n), fft(x, n, dim): the discrete Fourier transform of lines, cut or filled with zeros "
       "to n elements.\n"
       "Any length; computed with 64 bits and rounded once."},
      {"ifft", [](Arrays& in, int) { return transformed("ifft", in, true); }, 1, 3, 1,
       "ifft(x), ifft(x, n), ifft(x, n, dim): the inverse of fft."},
      {"freqz", callFreqz, 1, 5, 2,
       "[h, w] = freqz(b, a, n), freqz(b, a, n, 'whole'), freqz(b, a, n, rate), freqz(b, a, w), freqz(b, a, f, "
       "rate): the frequency\n"
       "response of the filter b/a at n points of the upper half of the unit circle, 512 without n, or at "
       "given frequencies: w in\n"
       "radians a sample, or in the unit of the sampling rate. A fi counts by its values."},
      {"polyval", callPolyval, 2, 2, 1,
       "polyval(p, x): p(1)*x^n + ... + p(n+1), element by element, by Horner's rule in the arithmetic of p "
       "and x."},
      {"roots", callRoots, 1, 1, 1,
       "roots(p): the roots of the polynomial with the coefficients p, highest power first, as a column. A fi "
       "counts by its values."},
  });
}

}  // namespace tessel
