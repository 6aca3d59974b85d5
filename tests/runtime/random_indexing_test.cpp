// Random indexing against a model that keeps elements in a map by their coordinates, one operation at a time.
#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <random>
#include <set>

#include "tessel/runtime/indexing.h"
#include "tests/runtime/helpers.h"

namespace tessel {
namespace {

using Coordinates = std::vector<std::size_t>;  // from 1

struct ModelError {
  std::string identifier;
};

struct Model {
  Dimensions dims;
  std::map<Coordinates, double> at;  // what is missing is 0

  std::size_t count() const {
    std::size_t n = 1;
    for (std::size_t d : dims) n *= d;
    return n;
  }
  double value(const Coordinates& c) const {
    const auto found = at.find(c);
    return found == at.end() ? 0 : found->second;
  }
};

/// All coordinates within `sizes`, first dimension fastest.
std::vector<Coordinates> allWithin(const Dimensions& sizes) {
  std::vector<Coordinates> all{{}};
  for (std::size_t d = sizes.size(); d-- > 0;) {
    std::vector<Coordinates> longer;
    for (const Coordinates& tail : all) {
      for (std::size_t i = 1; i <= sizes[d]; ++i) {
        longer.push_back({i});
        longer.back().insert(longer.back().end(), tail.begin(), tail.end());
      }
    }
    all = longer;
  }
  return all;
}

Dimensions trimmed(Dimensions dims) {
  while (dims.size() > 2 && dims.back() == 1) dims.pop_back();
  return dims;
}

/// The same elements in the same order under other sizes.
Model reshaped(const Model& a, const Dimensions& dims) {
  Model result{dims, {}};
  const auto from = allWithin(a.dims), to = allWithin(dims);
  for (std::size_t i = 0; i < from.size(); ++i) result.at[to[i]] = a.value(from[i]);
  return result;
}

Dimensions foldedSizes(const Dimensions& dims, std::size_t count) {
  Dimensions sizes(count, 1);
  for (std::size_t d = 0; d < dims.size(); ++d) sizes[std::min(d, count - 1)] *= dims[d];
  return sizes;
}

/// A subscript before it is an array: positions (which may be wrong), and the shape that it has as an index.
struct Index {
  HostArray array;
  bool isColon = false;
  Dimensions shape;
  std::vector<double> positions;

  std::vector<std::size_t> resolved(std::size_t extent) const {
    std::vector<std::size_t> all;
    if (isColon) {
      for (std::size_t i = 1; i <= extent; ++i) all.push_back(i);
    }
    for (double p : positions) {
      if (p < 1 || p != static_cast<double>(static_cast<long>(p))) throw ModelError{"Tessel:badsubscript"};
      all.push_back(static_cast<std::size_t>(p));
    }
    return all;
  }
};
using Indices = std::vector<Index>;

std::vector<std::vector<std::size_t>> resolve(const Indices& indices, const Dimensions& sizes) {
  std::vector<std::vector<std::size_t>> all;
  for (std::size_t d = 0; d < indices.size(); ++d) all.push_back(indices[d].resolved(sizes[d]));
  return all;
}

Dimensions countsOf(const std::vector<std::vector<std::size_t>>& lists) {
  Dimensions counts;
  for (const auto& list : lists) counts.push_back(list.size());
  return counts;
}

Coordinates pick(const std::vector<std::vector<std::size_t>>& lists, const Coordinates& which) {
  Coordinates picked;
  for (std::size_t d = 0; d < which.size(); ++d) picked.push_back(lists[d][which[d] - 1]);
  return picked;
}

std::size_t sizesOtherThanOne(const Dimensions& dims) {
  return dims.size() - static_cast<std::size_t>(std::count(dims.begin(), dims.end(), 1u));
}

Model modelReference(const Model& a, const Indices& indices) {
  const Model source = reshaped(a, foldedSizes(a.dims, indices.size()));
  const auto lists = resolve(indices, source.dims);
  Model result{countsOf(lists), {}};
  for (const Coordinates& c : allWithin(result.dims)) {
    const Coordinates from = pick(lists, c);
    for (std::size_t d = 0; d < from.size(); ++d) {
      if (from[d] > source.dims[d]) throw ModelError{"Tessel:badindex"};
    }
  }
  for (std::size_t d = 0; d < lists.size(); ++d) {
    for (std::size_t p : lists[d]) {
      if (p > source.dims[d]) throw ModelError{"Tessel:badindex"};
    }
  }
  for (const Coordinates& c : allWithin(result.dims)) result.at[c] = source.value(pick(lists, c));
  if (indices.size() > 1) return reshaped(result, trimmed(result.dims));
  Dimensions shape = indices[0].isColon ? Dimensions{a.count(), 1} : indices[0].shape;
  const bool bothLines = sizesOtherThanOne(a.dims) == 1 && sizesOtherThanOne(shape) <= 1 && a.count() != 1;
  if (!indices[0].isColon && bothLines) {
    shape = a.dims;
    for (std::size_t& size : shape) size = size == 1 ? 1 : result.count();
  }
  return reshaped(result, trimmed(shape));
}

/// Sizes after growth to hold the positions.
Dimensions modelGrowth(const Model& a, const Indices& indices,
                       const std::vector<std::vector<std::size_t>>& lists) {
  const Dimensions sizes = foldedSizes(a.dims, indices.size());
  Dimensions needed = sizes;
  bool grows = false;
  for (std::size_t d = 0; d < lists.size(); ++d) {
    for (std::size_t p : lists[d]) {
      grows = grows || p > sizes[d];
      needed[d] = std::max(needed[d], p);
    }
  }
  if (!grows) return a.dims;
  if (indices.size() >= a.dims.size()) return needed;
  const bool isRow = a.dims.size() == 2 && a.dims[0] == 1, isColumn = a.dims.size() == 2 && a.dims[1] == 1;
  if (indices.size() == 1 && (isRow || a.dims == Dimensions{0, 0})) return {1, needed[0]};
  if (indices.size() == 1 && isColumn) return {needed[0], 1};
  throw ModelError{"Tessel:growresize"};
}

Model modelAssignment(const Model& a, const Indices& indices, const Model& rhs) {
  const auto lists = resolve(indices, foldedSizes(a.dims, indices.size()));
  const Dimensions counts = countsOf(lists);
  std::size_t total = 1;
  for (std::size_t n : counts) total *= n;
  if (rhs.count() != 1) {
    Dimensions left = counts, right = rhs.dims;
    std::erase(left, 1u);
    std::erase(right, 1u);
    if (indices.size() == 1 && total != rhs.count()) throw ModelError{"Tessel:subsassignnumelmismatch"};
    if (indices.size() > 1 && left != right) throw ModelError{"Tessel:subsassigndimmismatch"};
  }
  if (total == 0) return a;
  const Dimensions grown = modelGrowth(a, indices, lists);
  Model enlarged{grown, {}};
  for (const Coordinates& c : allWithin(a.dims)) {
    Coordinates padded = c;
    padded.resize(grown.size(), 1);
    enlarged.at[padded] = a.value(c);
  }
  Model target = reshaped(enlarged, foldedSizes(grown, indices.size()));
  const auto from = allWithin(rhs.dims), to = allWithin(counts);
  for (std::size_t i = 0; i < to.size(); ++i)
    target.at[pick(lists, to[i])] = rhs.value(from[rhs.count() == 1 ? 0 : i]);
  return reshaped(target, trimmed(grown));
}

Model modelDeletion(const Model& a, const Indices& indices) {
  const Model source = reshaped(a, foldedSizes(a.dims, indices.size()));
  const auto lists = resolve(indices, source.dims);
  std::vector<std::size_t> explicitOnes, partial;
  bool nothing = false;
  for (std::size_t d = 0; d < lists.size(); ++d) {
    const std::set<std::size_t> distinct(lists[d].begin(), lists[d].end());
    if (!distinct.empty() && *distinct.rbegin() > source.dims[d])
      throw ModelError{"Tessel:subsdelnumelmismatch"};
    if (indices[d].isColon) continue;
    nothing = nothing || distinct.empty();
    explicitOnes.push_back(d);
    if (distinct.size() < source.dims[d]) partial.push_back(d);
  }
  if (indices.size() == 1 && indices[0].isColon) return {{0, 0}, {}};
  if (nothing) return a;
  if (explicitOnes.size() > 1 && partial.size() > 1) throw ModelError{"Tessel:subsdeldimmismatch"};
  const std::size_t along = explicitOnes.size() == 1 ? explicitOnes[0] : partial.empty() ? 0 : partial[0];
  Model result{source.dims, {}};
  std::vector<std::size_t> kept;
  for (std::size_t p = 1; p <= source.dims[along]; ++p) {
    if (std::find(lists[along].begin(), lists[along].end(), p) == lists[along].end()) kept.push_back(p);
  }
  result.dims[along] = kept.size();
  for (const Coordinates& c : allWithin(result.dims)) {
    Coordinates from = c;
    from[along] = kept[c[along] - 1];
    result.at[c] = source.value(from);
  }
  if (indices.size() > 1) return reshaped(result, trimmed(result.dims));
  const bool isColumn = a.dims.size() == 2 && a.dims[1] == 1 && a.dims[0] != 1;
  return reshaped(result, isColumn ? Dimensions{kept.size(), 1} : Dimensions{1, kept.size()});
}

// Arrays of every class that stand for a model: value 0 is what growth fills in.

enum class Kind { Double, Int8, Complex, Char, Cell, Struct, Object };

HostArray emptyArray(Kind kind, const Dimensions& dims) {
  switch (kind) {
    case Kind::Int8: return HostArray::zeros(ArrayClass::Int8, dims);
    case Kind::Complex: return HostArray::zeros(ArrayClass::Double, dims, true);
    case Kind::Char: return HostArray::zeros(ArrayClass::Char, dims);
    case Kind::Cell: return HostArray::cell(dims);
    case Kind::Struct: return HostArray::structure(dims, {"a", "b"});
    case Kind::Object: return HostArray::objects({}, {0, 0});
    default: return HostArray::zeros(ArrayClass::Double, dims);
  }
}

HostArray encoded(Kind kind, const Model& model) {
  const auto places = allWithin(model.dims);
  if (kind == Kind::Object && !places.empty()) {
    std::vector<std::shared_ptr<HostObject>> objects;
    for (const Coordinates& c : places) objects.push_back(box(model.value(c)).objectAt());
    return HostArray::objects(objects, model.dims);
  }
  if (kind == Kind::Object) {  // an empty array which knows its class
    HostArray one = box(1);
    deleteElements(one, {num(1)});
    one.reshape(model.dims);
    return one;
  }
  HostArray a = emptyArray(kind, model.dims);
  for (std::size_t i = 0; i < places.size(); ++i) {
    const double v = model.value(places[i]);
    switch (kind) {
      case Kind::Int8: a.mutableReal<std::int8_t>()[i] = static_cast<std::int8_t>(v); break;
      case Kind::Complex: a.mutableImag<double>()[i] = -v; [[fallthrough]];
      case Kind::Double: a.mutableReal<double>()[i] = v; break;
      case Kind::Char: a.mutableReal<char>()[i] = static_cast<char>(' ' + v); break;
      case Kind::Cell:
        if (v != 0) a.mutableCellAt(i) = num(v);
        break;
      case Kind::Struct:
        if (v != 0) a.mutableFieldAt("a", i) = num(v), a.mutableFieldAt("b", i) = num(-v);
        break;
      default: break;
    }
  }
  return a;
}

double contentValue(const HostArray& content) { return content.isEmpty() ? 0 : content.scalarValue(); }

std::optional<double> decoded(Kind kind, const HostArray& a, std::size_t i) {
  switch (kind) {
    case Kind::Complex: return a.imagAt(i) == -a.realAt(i) ? std::optional(a.realAt(i)) : std::nullopt;
    case Kind::Char: return a.realAt(i) - ' ';
    case Kind::Cell: return contentValue(a.cellAt(i));
    case Kind::Struct: {
      const double v = contentValue(a.fieldAt("a", i));
      return contentValue(a.fieldAt("b", i)) == -v ? std::optional(v) : std::nullopt;
    }
    case Kind::Object: return valueOf(a, i);
    default: return a.realAt(i);
  }
}

std::string mismatch(Kind kind, const HostArray& a, const Model& model) {
  if (a.dims() != model.dims)
    return "sizes " + testing::PrintToString(a.dims()) + " not " + testing::PrintToString(model.dims);
  const auto places = allWithin(model.dims);
  for (std::size_t i = 0; i < places.size(); ++i) {
    if (decoded(kind, a, i) != model.value(places[i])) return "element " + std::to_string(i);
  }
  return {};
}

class Generator {
 public:
  explicit Generator(unsigned seed) : random_(seed) {}
  std::size_t upTo(std::size_t most) { return std::uniform_int_distribution<std::size_t>(0, most)(random_); }
  bool oneIn(std::size_t n) { return upTo(n - 1) == 0; }

  Dimensions dims() {
    static const std::vector<Dimensions> shapes{{0, 0},    {1, 1},    {1, 0},   {0, 1}, {0, 3},
                                                {1, 4},    {4, 1},    {2, 3},   {3, 2}, {1, 1, 3},
                                                {2, 2, 2}, {2, 0, 2}, {1, 3, 2}};
    return shapes[upTo(shapes.size() - 1)];
  }
  Model model(const Dimensions& sizes) {
    Model m{sizes, {}};
    for (const Coordinates& c : allWithin(sizes)) m.at[c] = static_cast<double>(++last_ % 90 + 1);
    return m;
  }

  /// A subscript into `extent` positions; `beyond` lets it leave the array.
  Index index(std::size_t extent, bool beyond) {
    const std::size_t kind = upTo(9);
    if (kind == 0) return {colon(), true, {}, {}};
    if (kind <= 2) return maskIndex(extent, beyond);
    Index i;
    static const std::vector<Dimensions> shapes{{1, 1}, {1, 1}, {1, 2}, {2, 1},   {2, 2},
                                                {0, 0}, {1, 0}, {1, 3}, {1, 1, 2}};
    i.shape = shapes[upTo(shapes.size() - 1)];
    const std::size_t most = extent + (beyond ? 2 : 0);
    std::size_t count = 1;
    for (std::size_t d : i.shape) count *= d;
    for (std::size_t k = 0; k < count; ++k)
      i.positions.push_back(static_cast<double>(1 + (most == 0 ? 0 : upTo(most - 1))));
    if (count > 1 && oneIn(2)) {  // equal steps
      const double step = most < 3 ? 0 : static_cast<double>(upTo(2)) - 1;
      i.positions[0] = step < 0 ? 3 : 1;
      for (std::size_t k = 1; k < count; ++k) i.positions[k] = i.positions[k - 1] + step;
    }
    if (count > 0 && oneIn(25)) i.positions.back() = std::vector<double>{0, -1, 1.5}[upTo(2)];
    i.array = matrix(i.shape, i.positions);
    return i;
  }
  Indices indices(const Dimensions& dims, bool beyond) {
    Indices all;
    const std::size_t count = 1 + upTo(2 + (oneIn(4) ? 1 : 0));
    const Dimensions sizes = foldedSizes(dims, count);
    for (std::size_t d = 0; d < count; ++d) all.push_back(index(sizes[d], beyond && oneIn(2)));
    return all;
  }

 private:
  Index maskIndex(std::size_t extent, bool beyond) {
    const std::size_t length = extent + (beyond ? 1 : 0);
    const bool isRow = oneIn(2);
    std::vector<int> flags;
    Index i;
    for (std::size_t k = 0; k < length; ++k) {
      flags.push_back(oneIn(2));
      if (flags.back()) i.positions.push_back(static_cast<double>(k + 1));
    }
    const std::size_t count = i.positions.size();
    i.shape = isRow ? Dimensions{1, count} : Dimensions{count, 1};
    if (length == 1) i.shape = {count, count};
    i.array = mask(isRow ? Dimensions{1, length} : Dimensions{length, 1}, flags);
    return i;
  }
  std::mt19937 random_;
  unsigned last_ = 0;
};

/// The subscripts as ranges that need no lists, if they all are such; `dims` tell what colons stand for.
std::vector<IndexRange> rangesOf(const Indices& indices, const Dimensions& dims) {
  std::vector<IndexRange> ranges;
  for (std::size_t k = 0; k < indices.size(); ++k) {
    const auto& [array, isColon, shape, positions] = indices[k];
    if (isColon) {
      ranges.push_back(IndexRange::all(extentOf(dims, k, indices.size())));
      continue;
    }
    IndexRange range{0, 1, positions.size()};
    if (range.count > 0 && !IndexRange::at(positions[0])) return {};
    if (range.count > 0) range.first = IndexRange::at(positions[0])->first;
    if (range.count > 1) range.step = static_cast<std::ptrdiff_t>(positions[1] - positions[0]);
    for (std::size_t i = 0; i < range.count; ++i) {
      if (static_cast<double>(range[i] + 1) != positions[i]) return {};
    }
    if (array.isLogical() || shape.size() > 2 || shape[0] != 1) return {};
    ranges.push_back(range);
  }
  return ranges;
}

Arrays arraysOf(const Indices& indices) {
  Arrays all;
  for (const Index& i : indices) all.push_back(i.array);
  return all;
}

constexpr Kind kKinds[] = {Kind::Double, Kind::Int8,   Kind::Complex, Kind::Char,
                           Kind::Cell,   Kind::Struct, Kind::Object};

/// Runs one operation on arrays of every class and on the model, and compares results, or errors and the array
/// after the error.
template <class OnModel, class OnArray>
void compare(const Model& start, const std::string& what, OnModel onModel, OnArray onArray) {
  std::optional<Model> expected;
  std::string error;
  try {
    expected = onModel();
  } catch (const ModelError& e) {
    error = e.identifier;
  }
  for (Kind kind : kKinds) {
    HostArray array = encoded(kind, start);
    const HostArray shared = array;
    const std::string raised = errorOf([&] { onArray(kind, array); });
    ASSERT_EQ(raised, error) << what << " kind " << static_cast<int>(kind);
    ASSERT_EQ(mismatch(kind, array, expected ? *expected : start), "")
        << what << " kind " << static_cast<int>(kind);
    ASSERT_EQ(mismatch(kind, shared, start), "") << what << ": a sharing array has changed";
  }
}

std::string describe(const Model& a, const Indices& indices) {
  std::string text = "array " + testing::PrintToString(a.dims) + " indices";
  for (const Index& i : indices) {
    text += i.isColon
                ? " :"
                : " " + testing::PrintToString(i.positions) + " of shape " + testing::PrintToString(i.shape);
  }
  return text;
}

constexpr unsigned kSeed = 20240611;
constexpr int kRounds = 4000;

TEST(RandomIndexing, Reference) {
  Generator g(kSeed);
  int rangeCount = 0;
  for (int round = 0; round < kRounds && !HasFatalFailure(); ++round) {
    const Model a = g.model(g.dims());
    const Indices indices = g.indices(a.dims, g.oneIn(4));
    compare(
        a, "round " + std::to_string(round) + ": " + describe(a, indices),
        [&] { return modelReference(a, indices); },
        [&](Kind, HostArray& array) {
          const std::vector<IndexRange> ranges = rangesOf(indices, array.dims());
          auto direct = ranges.empty() ? std::nullopt : elementsAt(array, ranges);
          rangeCount += direct.has_value();
          array = direct ? *std::move(direct) : subsref(array, arraysOf(indices));
        });
  }
  EXPECT_GT(rangeCount, kRounds);
}

TEST(RandomIndexing, Assignment) {
  Generator g(kSeed + 1);
  int rangeCount = 0;
  for (int round = 0; round < kRounds && !HasFatalFailure(); ++round) {
    Model a = g.model(g.dims());
    const Indices indices = g.indices(a.dims, g.oneIn(2));
    const bool takesSizeFromRhs =
        a.dims == Dimensions{0, 0} &&
        std::any_of(indices.begin(), indices.end(), [](const Index& i) { return i.isColon; });
    if (takesSizeFromRhs) continue;
    Dimensions rhsDims{1, 1};
    if (!g.oneIn(3)) {
      rhsDims.clear();
      try {
        rhsDims = countsOf(resolve(indices, foldedSizes(a.dims, indices.size())));
      } catch (const ModelError&) {
      }
      while (rhsDims.size() < 2) rhsDims.insert(g.oneIn(2) ? rhsDims.begin() : rhsDims.end(), 1);
      if (g.oneIn(10)) ++rhsDims[g.upTo(1)];
    }
    const Model rhs = g.model(trimmed(rhsDims));
    compare(
        a,
        "round " + std::to_string(round) + ": " + describe(a, indices) + " rhs " +
            testing::PrintToString(rhs.dims),
        [&] { return modelAssignment(a, indices, rhs); },
        [&](Kind kind, HostArray& array) {
          const std::vector<IndexRange> ranges = rangesOf(indices, array.dims());
          const HostArray values = encoded(kind, rhs);
          const bool isDone = !ranges.empty() && assignAt(array, ranges, values);
          rangeCount += isDone;
          if (!isDone) subsasgn(array, arraysOf(indices), values);
        });
  }
  EXPECT_GT(rangeCount, kRounds / 4);
}

TEST(RandomIndexing, Deletion) {
  Generator g(kSeed + 2);
  for (int round = 0; round < kRounds && !HasFatalFailure(); ++round) {
    const Model a = g.model(g.dims());
    Indices indices = g.indices(a.dims, g.oneIn(6));
    const std::size_t spared = g.upTo(indices.size() - 1);
    for (std::size_t d = 0; d < indices.size(); ++d) {
      if (d != spared && !g.oneIn(6)) indices[d] = {colon(), true, {}, {}};
    }
    compare(
        a, "round " + std::to_string(round) + ": " + describe(a, indices),
        [&] { return modelDeletion(a, indices); },
        [&](Kind, HostArray& array) { deleteElements(array, arraysOf(indices)); });
  }
}

}  // namespace
}  // namespace tessel
