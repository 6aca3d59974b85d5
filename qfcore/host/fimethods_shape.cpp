/// Methods of `embedded.fi` that put elements elsewhere.
#include <algorithm>
#include <iterator>
#include <limits>
#include <list>
#include <numeric>

#include "qfcore/host/FiObjClass.h"
#include "tessel/interpreter.h"

namespace embedded::host {

namespace {

constexpr Message kBadSortArgument{"numforge:fi:sort:badargument",
                                   "SORT takes a dimension from 1 on and 'ascend' or 'descend'."};
constexpr Message kSizesNotDouble{"numforge:fi:reshape:siz_not_double",
                                  "FI_RESHAPE expecting DOUBLE for the SIZ vector."};

Arrays numbersFrom(const Arrays& inputs, std::size_t first) {
  Arrays numbers;
  std::transform(inputs.begin() + static_cast<std::ptrdiff_t>(first), inputs.end(), std::back_inserter(numbers),
                 numbersOf);
  return numbers;
}

tessel::Dimensions shapeOf(const fi& x) { return {x.dims().begin(), x.dims().end()}; }

/// The host's numbers as an array in the type of `model`, which they are quantized into once.
fi inTypeOf(const fi& model, const HostArray& array) {
  fi result = model;
  result.setDataHostArray(array);
  return result;
}

// ----------------------------------------------------------------------------------------------- concatenation

/// Joins arrays, from argument `first` on, in the type of the first that is a fi. With a cell among them the
/// host makes a cell of all.
Arrays join(const char* name, Arrays& inputs, std::size_t first) {
  const auto begin = inputs.begin() + static_cast<std::ptrdiff_t>(first);
  const auto model =
      std::find_if(begin, inputs.end(), [](const HostArray& a) { return unwrapped<fi>(a) != nullptr; });
  const bool isCell = std::any_of(begin, inputs.end(), [](const HostArray& a) { return a.isCell(); });
  for (std::size_t k = 0; k < first; ++k) inputs[k] = numbersOf(inputs[k]);
  if (isCell || model == inputs.end()) return tessel::callBuiltin(name, inputs);
  std::list<fi> converted;
  std::vector<const fi*> operands;
  operands.reserve(inputs.size());
  for (auto input = begin; input != inputs.end(); ++input) {
    const fi* value = unwrapped<fi>(*input);
    operands.push_back(value ? value : &converted.emplace_back(fi::unquantized(*input)));
  }
  return resultOf(
      [&] { return fi::joined(name, *unwrapped<fi>(*model), operands, Arrays(inputs.begin(), begin)); });
}

Arrays horzcat(Arrays& inputs, int) { return join("horzcat", inputs, 0); }
Arrays vertcat(Arrays& inputs, int) { return join("vertcat", inputs, 0); }
Arrays cat(Arrays& inputs, int) { return join("cat", inputs, 1); }

// ------------------------------------------------------------------------------------- by the host's positions

/// Sizes, counts and dimensions may be arrays; where nothing else is one, the host moves its own elements.
template <const auto& Name>
Arrays rearrange(Arrays& inputs, int outputCount) {
  const fi* x = unwrapped<fi>(inputs[0]);
  if (!x) return callWithNumbers(Name, inputs, outputCount);
  return {toHost(x->rearrangedBy(Name, numbersFrom(inputs, 1)))};
}

constexpr char kCircshift[] = "circshift", kFlip[] = "flip", kFliplr[] = "fliplr", kFlipud[] = "flipud",
               kIpermute[] = "ipermute", kPermute[] = "permute", kRepmat[] = "repmat", kRot90[] = "rot90";

/// reshape(a, [m n ...]), reshape(a, m, n, ...): the host reads the sizes, on an array of the same count.
Arrays reshape(Arrays& inputs, int outputCount) {
  const fi* known = unwrapped<fi>(inputs[0]);
  if (!known) return callWithNumbers("reshape", inputs, outputCount);
  const fi& x = *known;
  Arrays arguments = numbersFrom(inputs, 1);
  for (const HostArray& sizes : arguments) {
    if (sizes.arrayClass() != tessel::ArrayClass::Double) fail<kSizesNotDouble>();
  }
  if (arguments.size() == 1) return {toHost(x.reshape(arguments[0]))};
  arguments.insert(arguments.begin(), HostArray::zeros(tessel::ArrayClass::Logical, shapeOf(x)));
  const HostArray reshaped = tessel::callBuiltin("reshape", std::move(arguments)).at(0);
  HostArray sizes = HostArray::zeros(tessel::ArrayClass::Double, {1, reshaped.dims().size()});
  std::copy(reshaped.dims().begin(), reshaped.dims().end(), sizes.mutableReal<double>());
  return {toHost(x.reshape(sizes))};
}

/// Every element of `a` times all of `b`: the host's products of ones and of positions say which meet.
fi kron(const fi& a, const fi& b) {
  const auto ones = [](const fi& x) {
    HostArray array = HostArray::zeros(tessel::ArrayClass::Double, shapeOf(x));
    std::fill_n(array.mutableReal<double>(), x.numel(), 1.0);
    return array;
  };
  HostArray positions = HostArray::zeros(tessel::ArrayClass::Double, shapeOf(b));
  std::iota(positions.mutableReal<double>(), positions.mutableReal<double>() + b.numel(), 1.0);
  const HostArray right = tessel::callBuiltin("kron", {ones(a), std::move(positions)}).at(0);
  return a.rearrangedBy("kron", {ones(b)}).times(b.subscriptedReference(right));
}

/// num2cell(a): each element as an array of its own.
Arrays num2cell(Arrays& inputs, int) {
  const fi& x = fiArgument(inputs[0]);
  HostArray cell = HostArray::cell(shapeOf(x));
  for (unsigned k = 0; k < x.numel(); ++k)
    cell.mutableCellAt(k) = toHost(x.subscriptedReference(HostArray::scalar(k + 1.0)));
  return {std::move(cell)};
}

// -------------------------------------------------------------------------------------------- matrix structure

/// The number of a diagonal; NaN, which every operation refuses, for what is no number.
double diagonalArgument(const Arrays& inputs) {
  if (inputs.size() < 2) return 0;
  const HostArray k = numbersOf(inputs[1]);
  const bool isNumber = (k.isNumeric() || k.isLogical()) && k.isScalar() && !k.isComplex();
  return isNumber ? k.realAt(0) : std::numeric_limits<double>::quiet_NaN();
}

template <auto Operation>
Arrays onDiagonal(Arrays& inputs, int) {
  return {toHost((fiArgument(inputs[0]).*Operation)(diagonalArgument(inputs)))};
}

using Unary = fi (fi::*)() const;
using Binary = fi (fi::*)(const fi&) const;

/// A method of one array or of two, of which the first, or else the second, gives the type.
template <Unary One, Binary Two>
Arrays ofOneOrTwo(Arrays& inputs, int) {
  if (inputs.size() == 1) return {toHost((fiArgument(inputs[0]).*One)())};
  if (const fi* first = unwrapped<fi>(inputs[0])) {
    const fi* second = unwrapped<fi>(inputs[1]);
    return {toHost((first->*Two)(second ? *second : fi::unquantized(inputs[1])))};
  }
  const fi& second = fiArgument(inputs[1]);
  return {toHost((inTypeOf(second, inputs[0]).*Two)(second))};
}

// ----------------------------------------------------------------------------------------------------- sorting

/// sort(a), sort(a, dim), sort(a, 'descend'), sort(a, dim, 'descend').
Arrays sort(Arrays& inputs, int) {
  const fi& x = fiArgument(inputs[0]);
  bool ascending = true;
  if (inputs.size() > 1 && inputs.back().isChar()) {
    const std::string direction = inputs.back().toText();
    if (!equalIgnoringCase(direction, "ascend") && !equalIgnoringCase(direction, "descend"))
      fail<kBadSortArgument>();
    ascending = equalIgnoringCase(direction, "ascend");
    inputs.pop_back();
  }
  const std::optional<unsigned> given =
      inputs.size() > 1 ? dimensionArgument(inputs[1]) : std::optional(x.firstNonSingleton());
  if (!given || inputs.size() > 2) fail<kBadSortArgument>();
  const unsigned dimension = std::min(*given, x.numDims() + 1);
  unsigned stride = 1;
  for (unsigned d = 1; d < dimension; ++d) stride *= x.getDimension(d);
  HostArray index;
  fi sorted = x.stridesort(ascending, stride, x.getDimension(dimension), &index);
  return {toHost(std::move(sorted)), std::move(index)};
}

/// stridesort2(a, ascending, stride, length)
Arrays stridesort2(Arrays& inputs, int) {
  const auto count = [&](std::size_t k) {
    const double value = inputs[k].scalarValue();
    return value >= 1 && value < 4294967296.0 ? static_cast<unsigned>(value) : 0U;
  };
  HostArray index;
  fi sorted = fiArgument(inputs[0]).stridesort(inputs[1].scalarValue() != 0, count(2), count(3), &index);
  return {toHost(std::move(sorted)), std::move(index)};
}

Arrays stridesort(Arrays& inputs, int outputCount) {
  Arrays results = stridesort2(inputs, outputCount);
  results.pop_back();
  return results;
}

const Method kMethods[] = {
    {"horzcat", 1, -1, 1, horzcat, "horzcat(a, b, ...), [a b]: side by side, in the type of the first fi."},
    {"vertcat", 1, -1, 1, vertcat,
     "vertcat(a, b, ...), [a; b]: below each other, in the type of the first fi."},
    {"cat", 1, -1, 1, cat, "cat(dim, a, b, ...): joined along a dimension, in the type of the first fi."},
    {"repmat", 2, -1, 1, rearrange<kRepmat>, "repmat(a, m, n, ...): copies of a side by side."},
    {"permute", 2, 2, 1, rearrange<kPermute>, "permute(a, order): the dimensions in another order."},
    {"ipermute", 2, 2, 1, rearrange<kIpermute>, "ipermute(a, order): undoes permute(a, order)."},
    {"flip", 1, 2, 1, rearrange<kFlip>, "flip(a, dim): the elements in reverse order along a dimension."},
    {"fliplr", 1, 1, 1, rearrange<kFliplr>, "fliplr(a): left and right exchanged."},
    {"flipud", 1, 1, 1, rearrange<kFlipud>, "flipud(a): up and down exchanged."},
    {"rot90", 1, 2, 1, rearrange<kRot90>, "rot90(a, k): turned by k quarters counterclockwise."},
    {"circshift", 2, 3, 1, rearrange<kCircshift>, "circshift(a, k, dim): moved by k elements in a circle."},
    {"reshape", 2, -1, 1, reshape,
     "reshape(a, [m n ...]), reshape(a, m, n, ...): the elements in other sizes."},
    {"kron", 2, 2, 1, binaryMethod<kron>,
     "kron(a, b): the Kronecker product, a(i, j) * b for every element of a, by the rule of times."},
    {"num2cell", 1, 1, 1, num2cell, "num2cell(a): a cell array with one element of a in each cell."},
    {"squeeze", 1, 1, 1, askArray<&fi::squeeze>, "squeeze(a): without dimensions of size 1."},
    {"transpose", 1, 1, 1, askArray<&fi::transpose>, "transpose(a), a.': rows and columns exchanged."},
    {"ctranspose", 1, 1, 1, askArray<&fi::ctranspose>, "ctranspose(a), a': transposed and conjugated."},
    {"diag", 1, 2, 1, onDiagonal<&fi::diag>,
     "diag(v, k), diag(a, k): v on the k-th diagonal; the diagonal of a."},
    {"tril", 1, 2, 1, onDiagonal<&fi::tril>, "tril(a, k): a up to its k-th diagonal."},
    {"triu", 1, 2, 1, onDiagonal<&fi::triu>, "triu(a, k): a from its k-th diagonal."},
    {"toeplitz", 1, 2, 1, ofOneOrTwo<&fi::toeplitz, &fi::toeplitz>,
     "toeplitz(c), toeplitz(c, r): constant diagonals, first column c and first row r."},
    {"hankel", 1, 2, 1, ofOneOrTwo<&fi::hankel, &fi::hankel>,
     "hankel(c), hankel(c, r): constant anti-diagonals, first column c and last row r."},
    {"complex", 1, 2, 1, ofOneOrTwo<&fi::complex, &fi::complex>, "complex(a, b): a + i*b, in the type of a."},
    {"binaryop_complex", 1, 2, 1, ofOneOrTwo<&fi::complex, &fi::complex>,
     "binaryop_complex(a, b): as complex(a, b)."},
    {"sort", 1, 3, 2, sort, "[s, i] = sort(a, dim, 'descend'): the elements in order, and where they stood."},
    {"basesort", 1, 3, 2, sort, "[s, i] = basesort(a, dim, 'descend'): as sort."},
    {"stridesort", 4, 4, 1, stridesort,
     "stridesort(a, ascending, stride, length): sequences of elements that stand apart, in order."},
    {"stridesort2", 4, 4, 2, stridesort2,
     "[s, i] = stridesort2(a, ascending, stride, length): as stridesort, and where they stood."},
};

}  // namespace

std::span<const Method> shapeMethods() { return kMethods; }

}  // namespace embedded::host
