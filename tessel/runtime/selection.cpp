#include "tessel/runtime/selection.h"

#include <algorithm>
#include <string>

#include "tessel/runtime/arguments.h"
#include "tessel/runtime/lines.h"

namespace tessel {

namespace {

/// size(a), size(a, dims), [m, n, ...] = size(a): the last output takes all further dimensions.
Arrays callSize(Arrays& in, int outputCount) {
  const Dimensions& dims = in[0].dims();
  std::vector<double> sizes(dims.begin(), dims.end());
  if (in.size() > 1) {
    sizes.clear();
    requireReal("size", in[1]);
    for (double d : realParts(in[1])) {
      sizes.push_back(static_cast<double>(in[0].dim(dimensionArgument("size", HostArray::scalar(d)))));
    }
  }
  if (outputCount <= 1) return {doubleRow(sizes)};
  const auto wanted = static_cast<std::size_t>(outputCount);
  Arrays outputs;
  for (std::size_t k = 0; k < wanted; ++k)
    outputs.push_back(HostArray::scalar(k < sizes.size() ? sizes[k] : 1));
  double last = 1;
  for (std::size_t k = wanted - 1; k < sizes.size(); ++k) last *= sizes[k];
  outputs.back() = HostArray::scalar(last);
  return outputs;
}

// Elements that are not zero

template <class Visit>
void forEachNonzero(const char* function, const HostArray& a, Visit&& visit) {
  requireNumeric(function, a);
  const HostArray isNonzero =
      mapElements(a, ArrayClass::Logical, [](auto x) -> bool { return x != decltype(x)(0); });
  for (std::size_t k = 0; k < a.numel(); ++k)
    if (isNonzero.real<bool>()[k]) visit(k);
}

Arrays callNnz(Arrays& in, int) {
  double found = 0;
  forEachNonzero("nnz", in[0], [&](std::size_t) { ++found; });
  return {HostArray::scalar(found)};
}

/// find(a), find(a, n), find(a, n, 'last'); [row, column, value] = find(...).
Arrays callFind(Arrays& in, int outputCount) {
  const HostArray& a = in[0];
  std::vector<std::size_t> positions;
  forEachNonzero("find", a, [&](std::size_t k) { positions.push_back(k); });
  const std::size_t wanted =
      std::min(positions.size(), in.size() > 1 ? countArgument("find", in[1]) : positions.size());
  const std::string end = in.size() > 2 ? textArgument("find", in[2]) : "first";
  if (end != "first" && end != "last") raiseInvalidArgument("find", "'first' or 'last' is needed.");
  if (end == "last") positions.erase(positions.begin(), positions.end() - static_cast<std::ptrdiff_t>(wanted));
  positions.resize(wanted);
  const bool isRow = a.dims().size() == 2 && a.dim(0) == 1 && a.dim(1) != 1;
  const Dimensions dims = a.dims() == Dimensions{0, 0} ? a.dims()
                          : isRow                      ? Dimensions{1, wanted}
                                                       : Dimensions{wanted, 1};
  std::vector<double> linear, rows, columns;
  for (std::size_t p : positions) {
    const std::size_t row = p % a.dim(0), column = p / a.dim(0);
    linear.push_back(static_cast<double>(p + 1));
    rows.push_back(static_cast<double>(row + 1));
    columns.push_back(static_cast<double>(column + 1));
  }
  if (outputCount <= 1) return {doubles(linear, dims)};
  return {doubles(rows, dims), doubles(columns, dims), rearranged(a, positions, dims)};
}

/// f(x), f(x, dim): one truth value from each line.
template <class Test>
FunctionInfo truthOfLines(const char* name, Test test, const char* help) {
  return {name,
          [=](Arrays& in, int) {
            requireNumeric(name, in[0]);
            makeLineOfNothing(in[0], in.size() > 1);
            return alongDimension(
                in[0], workingDimension(name, in, 1), 1, ArrayClass::Logical,
                [&]<class V>(const std::vector<V>& line, std::vector<V>& out) { out[0] = V(test(line)); });
          },
          1,
          2,
          1,
          help};
}

}  // namespace

std::vector<FunctionInfo> selectionFunctions() {
  return {
      {"size", callSize, 1, 2, -1, "size(a), size(a, dim), [m, n, ...] = size(a): the sizes of an array."},
      truthOfLines(
          "any",
          []<class V>(const std::vector<V>& line) {
            return std::any_of(line.begin(), line.end(), [](const V& v) { return v != V(0) && !isNaN(v); });
          },
          "any(x), any(x, dim): true for columns with an element that is not zero."),
      truthOfLines(
          "all",
          []<class V>(const std::vector<V>& line) {
            return std::all_of(line.begin(), line.end(), [](const V& v) { return v != V(0); });
          },
          "all(x), all(x, dim): true for columns whose elements are all not zero."),
      {"nnz", callNnz, 1, 1, 1, "nnz(a): the number of elements that are not zero."},
      {"find", callFind, 1, 3, 3,
       "find(a), find(a, n, 'last'), [row, column, value] = find(a): positions of elements that are not zero."},
  };
}

}  // namespace tessel
