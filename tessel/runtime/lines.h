/// Loops over the lines of an array along one of its dimensions.
#pragma once

#include <algorithm>
#include <complex>
#include <string_view>
#include <type_traits>
#include <vector>

#include "tessel/array.h"
#include "tessel/interruption.h"
#include "tessel/runtime/elements.h"

namespace tessel {

/// The first dimension of size other than 1, from 0; 0 when there is none.
std::size_t firstLongDimension(const HostArray& a);

/// The dimension given as argument `position`, from 0; without one the first of `inputs[0]` that is not of
/// size 1.
std::size_t workingDimension(std::string_view function, const Arrays& inputs, std::size_t position);
/// Without a dimension given, a 0-by-0 array counts as one empty line.
void makeLineOfNothing(HostArray& a, bool isDimensionGiven);

template <class V>
bool isNaN(const V& v) {
  return v != v;
}

/// How an array divides into lines along one dimension: element k of line (i, o) stands at (o·length + k)·inner
/// + i.
struct Lines {
  std::size_t inner = 1, length = 1, outer = 1;

  Lines(const Dimensions& dims, std::size_t dimension);
  /// Calls `body(line number, position of its first element)`.
  template <class Body>
  void forEach(Body&& body) const {
    for (std::size_t o = 0, line = 0; o < outer; ++o)
      for (std::size_t i = 0; i < inner; ++i) body(line++, o * length * inner + i);
  }
};

/// The sizes of `a` with `length` in dimension `dimension`.
Dimensions resized(const HostArray& a, std::size_t dimension, std::size_t length);

/// Reads a line of numbers, real or complex, from `a`.
template <class V>
void loadLine(const HostArray& a, std::size_t first, std::size_t stride, std::vector<V>& line) {
  if constexpr (std::is_arithmetic_v<V>) {
    loadElements(a, false, first, stride, line.size(), line.data());
  } else {
    std::vector<typename V::value_type> re(line.size()), im(line.size());
    loadElements(a, false, first, stride, re.size(), re.data());
    loadElements(a, true, first, stride, im.size(), im.data());
    for (std::size_t i = 0; i < line.size(); ++i) line[i] = {re[i], im[i]};
  }
}

/// Writes a line of numbers; of complex ones the real parts alone when `a` is real.
template <class V>
void storeLine(HostArray& a, std::size_t first, std::size_t stride, const std::vector<V>& line) {
  if constexpr (std::is_arithmetic_v<V>) {
    storeElements(a, false, first, stride, line.size(), line.data());
  } else {
    std::vector<typename V::value_type> part(line.size());
    std::transform(line.begin(), line.end(), part.begin(), [](const V& v) { return v.real(); });
    storeElements(a, false, first, stride, part.size(), part.data());
    if (!a.isComplex()) return;
    std::transform(line.begin(), line.end(), part.begin(), [](const V& v) { return v.imag(); });
    storeElements(a, true, first, stride, part.size(), part.data());
  }
}

/// Calls `f(line, out)` or `f(line, out, positions)` for each line of `a` along `dimension`, given as numbers
/// (complex for complex arrays) in the type in which its class computes. `out` and `positions` have `outLength`
/// elements, zero at first. Returns the values, in class `resultClass`, and the positions, if `f` gives them,
/// as they are.
template <class F>
Arrays alongDimension(const HostArray& a, std::size_t dimension, std::size_t outLength, ArrayClass resultClass,
                      const F& f) {
  const Dimensions dims = resized(a, dimension, outLength);
  Arrays results{HostArray::zeros(resultClass, dims, a.isComplex() && resultClass != ArrayClass::Logical)};
  const auto run = [&]<class V>(const V&) {
    constexpr bool locates = requires(std::vector<V> v, std::vector<double> p) { f(v, v, p); };
    raiseIfInterrupted();  // between blocks of memory, which large ones take long to get
    if (locates) results.push_back(HostArray::zeros(ArrayClass::Double, dims));
    raiseIfInterrupted();
    const Lines lines(a.dims(), dimension);
    std::vector<V> line(lines.length), out;
    std::vector<double> positions;
    lines.forEach([&](std::size_t number, std::size_t first) {
      raiseIfInterrupted();  // a single line may be long
      loadLine(a, first, lines.inner, line);
      raiseIfInterrupted();
      out.assign(outLength, V{});
      raiseIfInterrupted();
      const std::size_t target = number / lines.inner * outLength * lines.inner + number % lines.inner;
      if constexpr (locates) {
        positions.assign(outLength, 0.0);
        f(line, out, positions);
        storeLine(results[1], target, lines.inner, positions);
      } else {
        f(line, out);
      }
      storeLine(results[0], target, lines.inner, out);
    });
  };
  visitComputeType(numericClass(a.arrayClass()), [&](auto zero) {
    if (a.isComplex())
      run(std::complex<decltype(zero)>{});
    else
      run(zero);
  });
  results[0] = narrowed(std::move(results[0]));
  return results;
}

}  // namespace tessel
