#include "tessel/runtime/rearrangement.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <numeric>
#include <string>

#include "tessel/arrangement.h"
#include "tessel/messages.h"
#include "tessel/runtime/arguments.h"
#include "tessel/runtime/arithmetic.h"
#include "tessel/runtime/arraydata.h"
#include "tessel/runtime/concatenate.h"
#include "tessel/runtime/lines.h"
#include "tessel/runtime/matrix_arithmetic.h"

namespace tessel {

namespace {

using PositionList = std::vector<std::size_t>;

void requireMatrix(const char* name, const HostArray& a) {
  if (a.dims().size() > 2) raiseError("Tessel:mustBe2D", "The argument must have two dimensions.");
  if (a.isFunction()) raiseUndefinedFor(name, a);
}

/// Refuses what is no whole number, infinity and NaN too, or of which doubles do not hold every one.
double wholeNumber(const char* name, double number, const char* explanation) {
  constexpr double kLargest = 0x1p53;
  if (number != std::floor(number) || std::abs(number) > kLargest) raiseInvalidArgument(name, explanation);
  return number;
}

double diagonalArgument(const char* name, const Arrays& in) {
  const double offset = in.size() > 1 ? numberArgument(name, in[1]) : 0;
  return wholeNumber(name, offset, "the diagonal must be a whole number.");
}

/// The matrix that takes elements of `a` by `rule`.
template <class Source>
HostArray assembled(const HostArray& a, const Arrangement<Source>& rule) {
  requireMemory(elementCount({rule.rows, rule.columns}), sizeof(std::size_t));
  PositionList positions;
  positions.reserve(rule.rows * rule.columns);
  for (std::size_t column = 0; column < rule.columns; ++column)
    for (std::size_t row = 0; row < rule.rows; ++row) positions.push_back(rule.source(row, column));
  return rearranged(a, positions, {rule.rows, rule.columns});
}

Arrays callDiag(Arrays& in, int) {
  const HostArray& a = in[0];
  requireMatrix("diag", a);
  const auto k = static_cast<std::ptrdiff_t>(diagonalArgument("diag", in));
  if (a.isVector()) return {assembled(a, matrixOfDiagonal(a.numel(), k))};
  return {assembled(a, diagonalOf(a.dim(0), a.dim(1), k))};
}

/// The part of a matrix below or above a diagonal.
template <auto Part>
FunctionInfo triangle(const char* name, const char* help) {
  return {name,
          [=](Arrays& in, int) {
            requireMatrix(name, in[0]);
            return Arrays{assembled(in[0], Part(in[0].dim(0), in[0].dim(1), diagonalArgument(name, in)))};
          },
          1,
          2,
          1,
          help};
}

/// A column and a row, one after the other.
HostArray border(const char* name, HostArray column, HostArray row) {
  requireVector(name, column);
  requireVector(name, row);
  column.reshape({column.numel(), 1});
  row.reshape({row.numel(), 1});
  return concatenate(0, {column, row});
}

Arrays callToeplitz(Arrays& in, int) {
  const bool isPair = in.size() > 1;
  requireVector("toeplitz", in[0]);
  const HostArray column = isPair ? in[0] : ctranspose(in[0]);
  return {assembled(border("toeplitz", column, in.back()),
                    constantDiagonals(column.numel(), in.back().numel(), isPair))};
}

Arrays callHankel(Arrays& in, int) {
  return {assembled(border("hankel", in[0], in.back()),
                    constantAntiDiagonals(in[0].numel(), in.back().numel(), in.size() > 1))};
}

Arrays callKron(Arrays& in, int) {
  const HostArray &a = in[0], &b = in[1];
  requireMatrix("kron", a);
  requireMatrix("kron", b);
  const std::size_t m = b.dim(0), n = b.dim(1), rows = elementCount({a.dim(0), m}),
                    columns = elementCount({a.dim(1), n});
  const Arrangement left{
      rows, columns, [=, height = a.dim(0)](std::size_t r, std::size_t c) { return c / n * height + r / m; }};
  const Arrangement right{rows, columns, [=](std::size_t r, std::size_t c) { return c % n * m + r % m; }};
  return {times(assembled(a, left), assembled(b, right))};
}

// Elements elsewhere

Arrays callRepmat(Arrays& in, int) {
  const HostArray& a = in[0];
  if (a.isFunction()) raiseUndefinedFor("repmat", a);
  const Dimensions counts = sizeArguments("repmat", in, 1);
  Dimensions dims(std::max(counts.size(), a.dims().size()));
  for (std::size_t d = 0; d < dims.size(); ++d) {
    dims[d] = elementCount({a.dim(d), d < counts.size() ? counts[d] : 1});
  }
  requireMemory(elementCount(dims), sizeof(std::size_t));
  PositionList positions{0};
  if (a.isEmpty()) positions.clear();
  std::size_t block = 1;
  for (std::size_t d = 0; d < dims.size(); block *= a.dim(d), ++d) {
    PositionList next;
    next.reserve(positions.size() * dims[d]);
    for (std::size_t k = 0; k < dims[d]; ++k)
      for (std::size_t p : positions) next.push_back(k % a.dim(d) * block + p);
    positions = std::move(next);
  }
  return {rearranged(a, positions, dims)};
}

/// reshape(a, m, n, ...), reshape(a, [m n ...]), one size may be [].
Arrays callReshape(Arrays& in, int) {
  std::size_t known = 1, open = 0;
  Arrays sizes(in.begin() + 1, in.end());
  for (std::size_t k = 0; k < sizes.size(); ++k) {
    if (sizes[k].isEmpty())
      open = open == 0 ? k + 1 : sizes.size() + 1;
    else if (sizes.size() > 1)
      known *= countArgument("reshape", sizes[k]);
  }
  if (open > sizes.size()) raiseInvalidArgument("reshape", "one size at most can be left open.");
  if (open > 0) {
    const bool divides = known != 0 && in[0].numel() % known == 0;
    const std::size_t rest = divides ? in[0].numel() / known : 0;
    sizes[open - 1] = HostArray::scalar(static_cast<double>(rest));
  }
  if (sizes.size() == 1 && sizes[0].isScalar()) raiseInvalidArgument("reshape", "two sizes are needed.");
  const Dimensions dims = sizeArguments("reshape", sizes, 0);
  const std::size_t count = std::accumulate(dims.begin(), dims.end(), std::size_t{1}, std::multiplies<>());
  if (count != in[0].numel()) raiseError("Tessel:reshape", "The number of elements must not change.");
  HostArray result = in[0];
  result.reshape(dims);
  return {result};
}

Arrays callSqueeze(Arrays& in, int) {
  HostArray result = in[0];
  if (result.dims().size() <= 2) return {result};
  Dimensions dims;
  for (std::size_t d : result.dims())
    if (d != 1) dims.push_back(d);
  dims.resize(std::max<std::size_t>(dims.size(), 2), 1);
  result.reshape(dims);
  return {result};
}

std::vector<std::size_t> orderArgument(const char* name, const Arrays& in) {
  std::vector<std::size_t> order;
  requireReal(name, in[1]);
  for (double d : realParts(in[1])) order.push_back(dimensionArgument(name, HostArray::scalar(d)));
  std::vector<std::size_t> sorted = order;
  std::sort(sorted.begin(), sorted.end());
  for (std::size_t d = 0; d < sorted.size(); ++d)
    if (sorted[d] != d) raiseInvalidArgument(name, "the order must name every dimension once.");
  if (order.size() < in[0].dims().size())
    raiseInvalidArgument(name, "the order must name every dimension once.");
  return order;
}

/// Dimension d of the result is dimension order[d] of `a`.
HostArray permuted(const HostArray& a, const std::vector<std::size_t>& order) {
  std::vector<std::size_t> strides(order.size(), 1), subscripts(order.size(), 0);
  for (std::size_t d = 1; d < order.size(); ++d) strides[d] = strides[d - 1] * a.dim(d - 1);
  Dimensions dims;
  for (std::size_t d : order) dims.push_back(a.dim(d));
  PositionList positions(a.numel());
  std::size_t position = 0;
  for (std::size_t& target : positions) {
    target = position;
    for (std::size_t d = 0; d < order.size(); ++d) {
      position += strides[order[d]];
      if (++subscripts[d] < dims[d]) break;
      position -= dims[d] * strides[order[d]];
      subscripts[d] = 0;
    }
  }
  return rearranged(a, positions, dims);
}

Arrays callPermute(Arrays& in, int) { return {permuted(in[0], orderArgument("permute", in))}; }

Arrays callIpermute(Arrays& in, int) {
  const std::vector<std::size_t> order = orderArgument("ipermute", in);
  std::vector<std::size_t> inverse(order.size());
  for (std::size_t d = 0; d < order.size(); ++d) inverse[order[d]] = d;
  return {permuted(in[0], inverse)};
}

/// Element k along `dimension` comes from element source(k, length).
template <class Source>
HostArray alongReordered(const HostArray& a, std::size_t dimension, const Source& source) {
  const Lines lines(a.dims(), dimension);
  PositionList positions(a.numel());
  lines.forEach([&](std::size_t, std::size_t first) {
    for (std::size_t k = 0; k < lines.length; ++k)
      positions[first + k * lines.inner] = first + source(k, lines.length) * lines.inner;
  });
  return rearranged(a, positions, a.dims());
}

HostArray flipped(const HostArray& a, std::size_t dimension) {
  return alongReordered(a, dimension, [](std::size_t k, std::size_t length) { return length - 1 - k; });
}

Arrays callFlip(Arrays& in, int) {
  return {flipped(in[0], in.size() > 1 ? dimensionArgument("flip", in[1]) : firstLongDimension(in[0]))};
}

Arrays callCircshift(Arrays& in, int) {
  requireReal("circshift", in[1]);
  const std::vector<double> shifts = realParts(in[1]);
  HostArray result = in[0];
  for (std::size_t d = 0; d < shifts.size(); ++d) {
    const double shift = wholeNumber("circshift", shifts[d], "shifts must be whole numbers.");
    std::size_t dimension = shifts.size() > 1 ? d : firstLongDimension(in[0]);
    if (in.size() > 2) dimension = dimensionArgument("circshift", in[2]);
    result = alongReordered(result, dimension, [&](std::size_t k, std::size_t length) {
      const double size = static_cast<double>(length), from = std::fmod(static_cast<double>(k) - shift, size);
      return static_cast<std::size_t>(from < 0 ? from + size : from);
    });
  }
  return {result};
}

Arrays callRot90(Arrays& in, int) {
  requireMatrix("rot90", in[0]);
  const double given = in.size() > 1 ? numberArgument("rot90", in[1]) : 1;
  const double turns = wholeNumber("rot90", given, "the number of turns must be whole.");
  const double quarter = turns - 4 * std::floor(turns / 4);
  if (quarter == 0) return {in[0]};
  if (quarter == 2) return {flipped(flipped(in[0], 0), 1)};
  return {flipped(transpose(in[0]), quarter == 1 ? 0 : 1)};
}

}  // namespace

std::vector<FunctionInfo> rearrangementFunctions() {
  return {
      {"diag", callDiag, 1, 2, 1,
       "diag(v, k), diag(A, k): a matrix with v on its k-th diagonal; the diagonal of A."},
      triangle<lowerTriangle>("tril", "tril(A, k): A up to its k-th diagonal."),
      triangle<upperTriangle>("triu", "triu(A, k): A from its k-th diagonal."),
      {"toeplitz", callToeplitz, 1, 2, 1, "toeplitz(r), toeplitz(c, r): the matrix with constant diagonals."},
      {"hankel", callHankel, 1, 2, 1, "hankel(c), hankel(c, r): the matrix with constant antidiagonals."},
      {"kron", callKron, 2, 2, 1, "kron(A, B): the Kronecker product."},
      {"repmat", callRepmat, 2, -1, 1, "repmat(a, m, n, ...): copies of a side by side."},
      {"reshape", callReshape, 2, -1, 1,
       "reshape(a, m, n, ...): the elements of a in other sizes; one may be []."},
      {"squeeze", callSqueeze, 1, 1, 1, "squeeze(a): a without dimensions of size 1."},
      {"permute", callPermute, 2, 2, 1, "permute(a, order): the dimensions of a in another order."},
      {"ipermute", callIpermute, 2, 2, 1, "ipermute(a, order): undoes permute(a, order)."},
      {"flip", callFlip, 1, 2, 1,
       "flip(a), flip(a, dim): the elements of a in reverse order along a dimension."},
      {"fliplr", [](Arrays& in, int) { return Arrays{flipped(in[0], 1)}; }, 1, 1, 1,
       "fliplr(a): left and right exchanged."},
      {"flipud", [](Arrays& in, int) { return Arrays{flipped(in[0], 0)}; }, 1, 1, 1,
       "flipud(a): up and down exchanged."},
      {"rot90", callRot90, 1, 2, 1, "rot90(A), rot90(A, k): a turned by k quarters counterclockwise."},
      {"circshift", callCircshift, 2, 3, 1,
       "circshift(a, k), circshift(a, k, dim): a moved by k elements in a circle."},
  };
}

}  // namespace tessel
