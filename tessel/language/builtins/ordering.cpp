// Extremes, sorting and sets.
#include <functional>
#include <tuple>

#include "tessel/interruption.h"
#include "tessel/language/builtins/builtins.h"
#include "tessel/language/builtins/support.h"
#include "tessel/messages.h"
#include "tessel/runtime/concatenate.h"

namespace tessel {
namespace {

/// Numbers by value, complex ones by magnitude and then by angle; NaN comes after all numbers.
template <class V>
bool comesBefore(const V& a, const V& b) {
  if (isNaN(a) || isNaN(b)) return !isNaN(a);
  if constexpr (std::is_arithmetic_v<V>) {
    return a < b;
  } else {
    const auto left = std::abs(a), right = std::abs(b);
    if (left != right) return left < right;
    // Equal values have one place, whatever the signs of their zeros, and others that round alike have two.
    const auto place = [](const V& v) { return std::tuple(std::arg(v + V{}), v.real(), v.imag()); };
    return place(a) < place(b);
  }
}

/// Is `a` larger (or smaller) than `best`? Every number is, where that is NaN.
template <bool Largest, class V>
bool surpasses(const V& a, const V& best) {
  return !isNaN(a) && (isNaN(best) || (Largest ? comesBefore(best, a) : comesBefore(a, best)));
}

/// The largest (or smallest) element of each line, NaN only if there is nothing else, and where it first
/// stands.
template <bool Largest>
Arrays extremesAlong(const HostArray& a, std::size_t dimension) {
  const std::size_t length = a.dim(dimension) == 0 ? 0 : 1;
  return alongDimension(a, dimension, length, numericClass(a.arrayClass()),
                        [](const auto& line, auto& out, auto& positions) {
                          if (line.empty()) return;
                          std::size_t best = 0;
                          for (std::size_t k = 1; k < line.size(); ++k) {
                            if (surpasses<Largest>(line[k], line[best])) best = k;
                          }
                          out[0] = line[best];
                          positions[0] = static_cast<double>(best + 1);
                        });
}

/// cummax(x), cummax(x, dim): the extreme of all up to each element, and where it first stands.
template <bool Largest>
Arrays callRunningExtreme(Arrays& in, int) {
  const char* name = Largest ? "cummax" : "cummin";
  requireNumeric(name, in[0]);
  const std::size_t d = workingDimension(name, in, 1);
  return alongDimension(in[0], d, in[0].dim(d), numericClass(in[0].arrayClass()),
                        [](const auto& line, auto& out, auto& positions) {
                          std::size_t best = 0;
                          for (std::size_t k = 0; k < line.size(); ++k) {
                            if (surpasses<Largest>(line[k], line[best])) best = k;
                            out[k] = line[best];
                            positions[k] = static_cast<double>(best + 1);
                          }
                        });
}

template <bool Largest>
struct Extreme {
  template <class E>
  E operator()(E x, E y) const {
    if (x != x) return y;
    return Largest ? (y > x ? y : x) : (y < x ? y : x);
  }
  template <class E>
  std::complex<E> complex(E xr, E xi, E yr, E yi, bool, bool) const {
    const std::complex<E> x(xr, xi), y(yr, yi);
    if (isNaN(x)) return y;
    return isNaN(y) || (Largest ? !comesBefore(x, y) : !comesBefore(y, x)) ? x : y;
  }
};

/// max(x), max(x, [], dim), max(x, y), and min likewise.
template <bool Largest>
Arrays callExtreme(Arrays& in, int) {
  const char* name = Largest ? "max" : "min";
  requireNumeric(name, in[0]);
  if (in.size() == 2) {
    const ArrayClass resultClass = arithmeticClass(name, in[0], in[1]);
    return {elementwise(name, in[0], in[1], Extreme<Largest>{}, resultClass, resultClass)};
  }
  if (in.size() == 3 && !in[1].isEmpty())
    raiseInvalidArgument(name, "with a dimension the second argument must be [].");
  if (in.size() < 3 && in[0].dims() == Dimensions{0, 0}) return {in[0], in[0]};
  return extremesAlong<Largest>(in[0], workingDimension(name, in, 2));
}

/// The order in which the elements of `line` are sorted, ties in order of appearance.
template <class Line, class Before>
std::vector<std::size_t> sortedOrder(const Line& line, bool descending, const Before& before) {
  constexpr std::size_t kAtOnce = 1 << 16;
  std::vector<std::size_t> order;
  order.reserve(line.size());
  for (std::size_t k = 0; k < line.size(); ++k) {
    if (k % kAtOnce == 0) raiseIfInterrupted();
    order.push_back(k);
  }
  std::size_t comparisons = 0;
  std::stable_sort(order.begin(), order.end(), [&](std::size_t i, std::size_t k) {
    if (++comparisons % kAtOnce == 0) raiseIfInterrupted();
    return descending ? before(line[k], line[i]) : before(line[i], line[k]);
  });
  return order;
}

HostArray positionsFromOne(const std::vector<std::size_t>& positions, Dimensions dims) {
  std::vector<double> values;
  values.reserve(positions.size());
  for (std::size_t p : positions) values.push_back(static_cast<double>(p + 1));
  return doubles(values, std::move(dims));
}

Arrays sortedTexts(const HostArray& a, bool descending) {
  const std::vector<std::size_t> order = sortedOrder(textsArgument("sort", a), descending, std::less<>());
  return {rearranged(a, order, a.dims()), positionsFromOne(order, a.dims())};
}

/// sort(x), sort(x, dim), sort(x, 'descend'), sort(x, dim, 'descend'); cells of texts sort as a whole.
Arrays callSort(Arrays& in, int) {
  bool descending = false;
  if (in.size() > 2 || (in.size() > 1 && in.back().isChar())) {
    const std::string direction = textArgument("sort", in.back());
    if (direction != "ascend" && direction != "descend")
      raiseInvalidArgument("sort", "'ascend' or 'descend' is needed.");
    descending = direction == "descend";
    in.pop_back();
  }
  if (in[0].isCell()) return sortedTexts(in[0], descending);
  requireNumeric("sort", in[0]);
  const std::size_t d = workingDimension("sort", in, 1);
  const bool keepsClass = in[0].isLogical() || in[0].isChar();
  return alongDimension(in[0], d, in[0].dim(d),
                        keepsClass ? in[0].arrayClass() : numericClass(in[0].arrayClass()),
                        [&](const auto& line, auto& out, auto& positions) {
                          using V = typename std::decay_t<decltype(line)>::value_type;
                          const auto order = sortedOrder(line, descending, comesBefore<V>);
                          for (std::size_t k = 0; k < order.size(); ++k) {
                            out[k] = line[order[k]];
                            positions[k] = static_cast<double>(order[k] + 1);
                          }
                        });
}

/// Which elements stay, in sorted order, and for every element the place of its value among them.
struct Distinct {
  std::vector<std::size_t> kept, placeOf;

  template <class Line, class Before>
  Distinct(const Line& line, const Before& before) : placeOf(line.size()) {
    const std::vector<std::size_t> order = sortedOrder(line, false, before);
    for (std::size_t k = 0; k < order.size(); ++k) {
      if (k == 0 || !(line[order[k - 1]] == line[order[k]])) kept.push_back(order[k]);
      placeOf[order[k]] = kept.size() - 1;
    }
  }
};

/// [u, ia, ic] = unique(x): u = x(ia), x = u(ic).
Arrays callUnique(Arrays& in, int) {
  const HostArray& a = in[0];
  const auto results = [&](const Distinct& distinct) {
    const std::size_t count = distinct.kept.size();
    const bool isRow = a.dims().size() == 2 && a.dim(0) == 1 && a.dim(1) > 0;
    const Dimensions dims = isRow                          ? Dimensions{1, count}
                            : a.dims() == Dimensions{0, 0} ? a.dims()
                                                           : Dimensions{count, 1};
    return Arrays{rearranged(a, distinct.kept, dims), positionsFromOne(distinct.kept, {count, 1}),
                  positionsFromOne(distinct.placeOf, {a.numel(), 1})};
  };
  if (a.isCell()) return results(Distinct(textsArgument("unique", a), std::less<>()));
  requireNumeric("unique", a);
  return visitComputeType(numericClass(a.arrayClass()), [&](auto zero) {
    const auto distinct = [&](auto line) {
      loadLine(a, 0, 1, line);
      return results(Distinct(line, comesBefore<typename decltype(line)::value_type>));
    };
    if (a.isComplex()) return distinct(std::vector<std::complex<decltype(zero)>>(a.numel()));
    return distinct(std::vector<decltype(zero)>(a.numel()));
  });
}

/// For each element of `items` where it first stands in `set`, from 1; 0 where it does not.
template <class Items, class Before>
std::vector<double> placesIn(const Items& items, const Items& set, const Before& before) {
  const std::vector<std::size_t> order = sortedOrder(set, false, before);
  std::vector<double> places;
  for (const auto& item : items) {
    const auto at = std::lower_bound(order.begin(), order.end(), item,
                                     [&](std::size_t k, const auto& wanted) { return before(set[k], wanted); });
    places.push_back(at != order.end() && set[*at] == item ? static_cast<double>(*at + 1) : 0);
  }
  return places;
}

/// Numbers in numbers, or texts in a cell of texts.
std::vector<double> memberPlaces(const HostArray& a, const HostArray& set) {
  if (a.isCell() || set.isCell()) {
    return placesIn(textsArgument("ismember", a), textsArgument("ismember", set), std::less<>());
  }
  for (const HostArray* x : {&a, &set}) requireReal("ismember", *x);
  std::vector<long double> items(a.numel()), members(set.numel());
  loadLine(a, 0, 1, items);
  loadLine(set, 0, 1, members);
  return placesIn(items, members, comesBefore<long double>);
}

/// [tf, place] = ismember(a, set)
Arrays callIsmember(Arrays& in, int) {
  const std::vector<double> found = memberPlaces(in[0], in[1]);
  const bool areRows = in[0].isChar() && in[1].isCell();
  const HostArray places = doubles(found, areRows ? Dimensions{found.size(), 1} : in[0].dims());
  return {mapElements(places, ArrayClass::Logical, [](auto p) -> bool { return p != decltype(p)(0); }), places};
}

enum class SetOperation { Union, Intersection, Difference };

HostArray distinctValues(const HostArray& a) {
  Arrays in{a};
  return callUnique(in, 1)[0];
}

/// The values of both, one after the other: a row where both are rows.
HostArray joinedValues(HostArray a, HostArray b, bool isRow) {
  for (HostArray* each : {&a, &b})
    each->reshape(isRow ? Dimensions{1, each->numel()} : Dimensions{each->numel(), 1});
  return concatenate(isRow ? 1 : 0, {a, b});
}

/// union(a, b), intersect(a, b), setdiff(a, b): different values in order.
template <SetOperation operation>
Arrays callSetOperation(Arrays& in, int) {
  const char* name = operation == SetOperation::Union          ? "union"
                     : operation == SetOperation::Intersection ? "intersect"
                                                               : "setdiff";
  const bool areTexts = in[0].isCell() || in[1].isCell();
  for (HostArray& set : in) {
    if (!areTexts) {
      requireReal(name, set);
    } else {
      const std::vector<std::string> texts = textsArgument(name, set);
      set = cellOfTexts(texts, set.isCell() ? set.dims() : Dimensions{texts.size(), 1});
    }
  }
  const auto fitsRow = [](const HostArray& a) { return a.dims().size() == 2 && a.dim(0) <= 1; };
  if (operation == SetOperation::Union)
    return {distinctValues(joinedValues(in[0], in[1], fitsRow(in[0]) && fitsRow(in[1])))};
  const HostArray values = distinctValues(in[0]);
  const std::vector<double> places = memberPlaces(values, in[1]);
  std::vector<std::size_t> kept;
  for (std::size_t k = 0; k < places.size(); ++k) {
    if ((places[k] != 0) == (operation == SetOperation::Intersection)) kept.push_back(k);
  }
  const bool givesRow = fitsRow(in[0]) && (operation == SetOperation::Difference || fitsRow(in[1]));
  return {rearranged(values, kept, givesRow ? Dimensions{1, kept.size()} : Dimensions{kept.size(), 1})};
}

}  // namespace

void registerOrderingBuiltins() {
  registerAll({
      {"max", callExtreme<true>, 1, 3, 2,
       "[m, i] = max(x), max(x, [], dim), max(x, y): the largest values, and where they first stand."},
      {"min", callExtreme<false>, 1, 3, 2,
       "[m, i] = min(x), min(x, [], dim), min(x, y): the smallest values, and where they first stand."},
      {"cummax", callRunningExtreme<true>, 1, 2, 2,
       "[m, i] = cummax(x), cummax(x, dim): the largest value so far down each column, and where it stands."},
      {"cummin", callRunningExtreme<false>, 1, 2, 2,
       "[m, i] = cummin(x), cummin(x, dim): the smallest value so far down each column, and where it stands."},
      {"sort", callSort, 1, 3, 2,
       "[s, i] = sort(x), sort(x, dim), sort(..., 'descend'): the elements in order, and where they stood."},
      {"unique", callUnique, 1, 1, 3,
       "[u, ia, ic] = unique(x): the different values in order; u = x(ia), x = u(ic)."},
      {"ismember", callIsmember, 2, 2, 2,
       "[tf, place] = ismember(a, set): which numbers or texts stand in a set, and where."},
      {"union", callSetOperation<SetOperation::Union>, 2, 2, 1,
       "union(a, b): the different numbers or texts of both, in order."},
      {"intersect", callSetOperation<SetOperation::Intersection>, 2, 2, 1,
       "intersect(a, b): the different numbers or texts that stand in both, in order."},
      {"setdiff", callSetOperation<SetOperation::Difference>, 2, 2, 1,
       "setdiff(a, b): the different numbers or texts of a that do not stand in b, in order."},
  });
}

}  // namespace tessel
