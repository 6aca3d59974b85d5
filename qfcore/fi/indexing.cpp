/// Indexing with parentheses: the host indexes arrays of positions, elements move where the positions say.
#include <algorithm>
#include <cmath>
#include <optional>

#include "qfcore/fi/assignmentlog.h"
#include "qfcore/fi/elementcopy.h"
#include "qfcore/fi/elementvisit.h"
#include "qfcore/fi/messages.h"
#include "qfcore/fi/paths/blocks.h"
#include "qfcore/fi/paths/integersums.h"
#include "qfcore/fi/positionmap.h"
#include "tessel/interpreter.h"
#include "tessel/messages.h"

namespace embedded {

using EmbeddedTypeSystem::DataTypeEnum;
using tessel::ArrayClass;
using tessel::HostArray;

namespace {

constexpr Message kReferenceParenLast{"numforge:fi:subsref:parenlast",
                                      "Error: ()-indexing must appear last in an index expression."};
constexpr Message kAssignmentParenLast{"numforge:fi:subsasgn:parenlast",
                                       "Error: ()-indexing must appear last in an index expression."};
constexpr Message kDoubleIndex{"numforge:fi:subsref:double_index", "Index argument must be double."};
constexpr Message kBadSubscript{"numforge:fi:badsubscript",
                                "Subscript indices must either be real positive integers or logicals."};
constexpr Message kNotAssignable{
    "numforge:fi:subsasgn:notnumeric",
    "Only fi objects, numeric and logical arrays can be assigned to elements of a fi."};

HostArray callIndexing(const char* name, tessel::Arrays inputs) {
  return std::move(tessel::callBuiltin(name, std::move(inputs)).at(0));
}

/// A position as an index that counts from 0. Out of the range of positions, the host's own error is raised.
long long indexOf(double position) {
  if (!(position > -1 && position < 4294967296.0))
    tessel::raiseError("Tessel:badsubscript", kBadSubscript.text);
  return static_cast<long long>(position) - 1;
}

std::vector<unsigned> checkedPositions(const fi& array, const HostArray& positions) {
  fi::checkValidIndexType(positions);
  std::vector<unsigned> indices(positions.numel());
  const double* position = positions.real<double>();
  for (unsigned& index : indices) {
    const long long signedIndex = indexOf(*position++);
    array.checkSignedIndex(signedIndex);
    index = static_cast<unsigned>(signedIndex);
  }
  return indices;
}

/// The map that an assignment on position maps returns, taken apart: elements kept, and elements assigned.
struct AssignmentMap {
  std::vector<unsigned> kept;  ///< for each place, the target's element or `kNoElement`
  std::vector<unsigned> targets, sources;

  AssignmentMap(const HostArray& positions, const fi& target, const fi& rhs)
      : kept(positions.numel(), kNoElement) {
    fi::checkValidIndexType(positions);
    const double* position = positions.real<double>();
    for (unsigned place = 0; place < kept.size(); ++place) {
      const double p = position[place];
      const long long index = indexOf(std::abs(p));
      if (index < 0) continue;
      (p < 0 ? rhs : target).checkSignedIndex(index);
      if (p > 0) {
        kept[place] = static_cast<unsigned>(index);
      } else {
        targets.push_back(place);
        sources.push_back(static_cast<unsigned>(index));
      }
    }
  }
};

/// The only level of an index structure.
template <const Message& ParenLast>
const HostArray& subscriptsOf(const HostArray& index) {
  if (index.numel() > 1) fail<ParenLast>();
  return index.fieldAt("subs");
}

/// A subscript that is one real double with an integer value.
bool isScalarSubscript(const HostArray& subscript) {
  if (subscript.arrayClass() != ArrayClass::Double || !subscript.isScalar() || subscript.isComplex())
    return false;
  const double position = *subscript.real<double>();
  return position == std::floor(position) && std::abs(position) < 4294967296.0;
}

/// A size vector that sizes which differ by dimensions of 1 have in common.
fi::Shape withoutOnes(fi::Shape dims) {
  dims.erase(std::remove(dims.begin(), dims.end(), 1U), dims.end());
  return dims;
}

}  // namespace

// ------------------------------------------------------------------------------------------------------ checks

void fi::checkValidIndexType(const HostArray& positions) {
  if (positions.arrayClass() != ArrayClass::Double) fail<kDoubleIndex>();
}

void fi::checkNegativeSignedIndex(long long index) {
  if (index < 0) fail<kBadSubscript>();
}

void fi::checkSignedIndex(long long index) const {
  checkNegativeSignedIndex(index);
  if (index >= static_cast<long long>(numel_)) fail<message::badIndex>();
}

bool fi::isParenthesisIndex(const HostArray& index) {
  if (index.isEmpty()) return false;
  const HostArray* type = index.findField("type");
  return type && type->isChar() && !type->isEmpty() && *type->real<char>() == '(' && index.findField("subs");
}

namespace {

enum class BeyondEnd { Refused, Grows };

/// The element from 0 that one or two scalar subscripts name, or −1 where the general way has to decide.
long long scalarPosition(const fi& x, const HostArray& subscripts, BeyondEnd beyondEnd) {
  constexpr long long kGeneral = -1;
  if (!subscripts.isCell() || subscripts.numel() == 0 || subscripts.numel() > 2) return kGeneral;
  const HostArray& first = subscripts.cellAt(0);
  const HostArray* second = subscripts.numel() == 2 ? &subscripts.cellAt(1) : nullptr;
  if (!isScalarSubscript(first) || (second && !isScalarSubscript(*second))) return kGeneral;
  auto index = static_cast<long long>(*first.real<double>()) - 1;
  fi::checkNegativeSignedIndex(index);
  if (second) {
    const auto column = static_cast<long long>(*second->real<double>()) - 1;
    fi::checkNegativeSignedIndex(column);
    if (index >= static_cast<long long>(x.rows())) return kGeneral;
    index += column * static_cast<long long>(x.rows());
  }
  if (beyondEnd == BeyondEnd::Grows && index >= static_cast<long long>(x.numel())) return kGeneral;
  x.checkSignedIndex(index);
  return index;
}

}  // namespace

// --------------------------------------------------------------------------------------------------- reference

fi fi::elementAt(unsigned position) const {
  fi element(*this, CopyElement{}, position);
  if (element.numDims() != 2) {
    const unsigned dims[] = {1, 1};
    element.copyDimensions(dims, 2);
  }
  return element;
}

namespace {

/// Calls `visit(count, positions)` for the positions that ranges select, a stretch of them at a time.
template <class Visit>
void forEachVisit(const fi::Shape& dims, tessel::IndexRanges ranges, const Visit& visit) {
  tessel::forEachStretch(dims, ranges, [&](std::size_t first, std::ptrdiff_t step, std::size_t count) {
    visit(static_cast<unsigned>(count),
          ElementVisit::from(static_cast<unsigned>(first), static_cast<unsigned>(step)));
  });
}

}  // namespace

fi fi::elementsAt(tessel::IndexRanges ranges) const {
  if (ranges.size() == 1 && ranges[0].count == 1) return elementAt(static_cast<unsigned>(ranges[0].first));
  // The only way out of a function: what it returns is then made in its place.
  return [&] {
    fi result = unset(tessel::selectedSizes(dims_, ranges), iscomplex());
    unsigned place = 0;
    forEachVisit(dims_, ranges, [&](unsigned count, const ElementVisit& sources) {
      copyElements(result, ElementVisit::from(place), sources, count);
      place += count;
    });
    result.assignmentQuantizer_ = getAssignmentQuantizer();
    return result;
  }();
}

fi fi::subsref(const HostArray& index) const {
  const HostArray& subscripts = subscriptsOf<kReferenceParenLast>(index);
  if (const long long position = scalarPosition(*this, subscripts, BeyondEnd::Refused); position >= 0) {
    return elementAt(static_cast<unsigned>(position));
  }
  return subscriptedReference(callIndexing("subsref", {positionMap(dims_), index}));
}

fi fi::subscriptedReference(const HostArray& positions) const {
  fi result = rearranged(shapeOf(positions), checkedPositions(*this, positions));
  result.assignmentQuantizer_ = getAssignmentQuantizer();
  return result;
}

fi fi::rearranged(const Shape& dims, const std::vector<unsigned>& positions) const {
  fi result = blank(dims, iscomplex());
  copyElements(result, ElementVisit::from(0), positions, result.numel_);
  return result;
}

// -------------------------------------------------------------------------------------------------- assignment

fi fi::unquantized(const HostArray& values) {
  if (!values.isNumeric() && !values.isLogical()) fail<kNotAssignable>();
  const bool is64Bits = values.arrayClass() == ArrayClass::Int64 || values.arrayClass() == ArrayClass::Uint64;
  NumericType type(values.arrayClass() == ArrayClass::Int64, 64, 0);
  if (!is64Bits) type.setDataType(DataTypeEnum::Double);
  // What is only about to be assigned or compared counts in no total.
  return fi(&values, type, {}, {}, OperationTypeEnum::Unspecified);
}

void fi::errorIfNotAssignable(const fi& rhs) const {
  const DataTypeEnum dataType = getNumericType().dataType();
  NumericType::errorIfComplexLogical(dataType, rhs.iscomplex());
  if (!rhs.getNumericType().isFloat() && !rhs.getNumericType().isScaledDouble()) return;
  const number re(rhs.realPart_, Reading{}), im(rhs.imagPart_, Reading{});
  for (unsigned k = 0; k < rhs.numel_; ++k) {
    NumericType::checkNaNInf(dataType, re[k].todouble());
    if (rhs.iscomplex()) NumericType::checkNaNInf(dataType, im[k].todouble());
  }
}

void fi::storePart(number& to, const ElementVisit& targets, const fi& rhs, const number& from,
                   const ElementVisit& sources, unsigned count) const {
  const quantizer& q = *assignmentQuantizerInUse_;
  double* target = to.doubles();
  const double* source = from.doubles();
  if (isSlopeBias() || rhs.isSlopeBias()) {
    const number reader(from, Reading{});
    for (unsigned k = 0; k < count; ++k) {
      assignPart(to[targets[k]], reader[sources[k]], rhs.getNumericType());
    }
    return;
  }
  const bool isInStep = sources.isInStep() && targets.isInStep();
  const bool readsInStep = sources.isInStep() || rhs.isscalar();
  const bool isWide = readsInStep && targets.isInStep() && !(areDoubles(from) && areDoubles(to));
  const IntegerSizes sizes =
      isWide ? integersForCast(rhs.getNumericType(), q.numericType()) : IntegerSizes::None;
  const Path path = choosePath({.hasBlocks = q.isDoubleBacked(),
                                .hasIntegers = sizes != IntegerSizes::None,
                                .wideLoops = isInStep ? WideLoops::OfAny : WideLoops::None},
                               rhs, to);
  if (path == Path::Integers) {
    return castByIntegers(rhs, rhs.getNumericType().fractionLength(), from, sources[0], q, sizes, to,
                          targets[0], count);
  }
  if (path != Path::Blocks) {
    if (path == Path::Wide) {
      return q.quantize(from, sources[0], to, targets[0], count);
    }
    const number reader(from, Reading{});
    for (unsigned k = 0; k < count; ++k) q.quantize(reader[sources[k]], to[targets[k]]);
    return;
  }
  if (isInStep) {
    return shareLoop(count, kSharedDoubles, std::array{&q},
                     [&](std::size_t begin, std::size_t length, const auto& own) {
                       const auto first = static_cast<unsigned>(begin);
                       own[0]->quantize(source + sources[first], target + targets[first], length);
                     });
  }
  const auto storeRange = [&](std::size_t begin, std::size_t length, const auto& own) {
    Block block;
    forEachBlock(length, [&](std::size_t offset, std::size_t size) {
      const auto first = static_cast<unsigned>(begin + offset);
      if (sources.isInStep()) {
        own[0]->quantize(source + sources[first], block.data(), size);
      } else {
        for (unsigned i = 0; i < size; ++i) block[i] = source[sources[first + i]];
        own[0]->quantize(block.data(), size);
      }
      if (targets.isInStep()) {
        std::copy_n(block.data(), size, target + targets[first]);
      } else {
        for (unsigned i = 0; i < size; ++i) target[targets[first + i]] = block[i];
      }
    });
  };
  // Positions may repeat, and then the last value stays.
  if (!targets.isInStep()) return storeRange(0, count, std::array{&q});
  shareLoop(count, kSharedDoubles, std::array{&q}, storeRange);
}

void fi::storeQuantized(fi& into, const ElementVisit& targets, const fi& rhs, const ElementVisit& sources,
                        unsigned count) const {
  storePart(into.realPart_, targets, rhs, rhs.realPart_, sources, count);
  if (into.isreal()) return;
  if (rhs.iscomplex()) {
    storePart(into.imagPart_, targets, rhs, rhs.imagPart_, sources, count);
    return;
  }
  overwriteWithZeroValue(into.imagPart_, targets, count);
}

namespace {

/// Whether assigning takes no memory once it has begun, so that elements may be changed in their place.
bool assignsInPlace(const fi& x, const fi& rhs) {
  const quantizer& q = x.assignmentQuantizerInUse();
  return !q.logger().isOn() && q.isDoubleBacked() && x.realPart().doubles() && rhs.realPart().doubles() &&
         x.iscomplex() == rhs.iscomplex() && !x.getNumericType().isSlopeBias() &&
         !rhs.getNumericType().isSlopeBias();
}

/// The same for neighbours in real arrays of long words for which stored integers stand, which they stay.
bool assignsIntegers(fi& x, const fi& rhs) {
  const NumericType& type = x.getNumericType();
  mpnumber* const values = x.realPart().multiprecision();
  if (!values || x.iscomplex() || rhs.iscomplex() || x.assignmentQuantizerInUse().logger().isOn() ||
      elementPathOnly() || integersForCast(rhs.getNumericType(), type) == IntegerSizes::None)
    return false;
  return exactness::integersHold(kBitsOf<std::int64_t>, type)
             ? values->modifiableIntegers<std::int64_t>(type.fractionLength()) != nullptr
             : values->modifiableIntegers<Int128>(type.fractionLength()) != nullptr;
}

}  // namespace

/// Assignments to elements that exist.
struct fi::Indexing {
  /// Assigns the real-world value to one where that takes no more than a quantization in doubles; false, and
  /// nothing done, where it takes more.
  static bool assignPlain(fi& x, unsigned position, double value) {
    double* values = x.realPart_.doubles();
    const quantizer& q = *x.assignmentQuantizerInUse_;
    if (!values || x.iscomplex() || x.isSlopeBias() || !q.isDoubleBacked() || q.logger().isOn() ||
        elementPathOnly())
      return false;
    NumericType::checkNaNInf(x.getNumericType().dataType(), value);
    q.quantize(&value, values + position, 1);
    return true;
  }

  /// Assigns elements of `rhs` to those at `targets`, logged.
  static void overwrite(fi& x, const std::vector<unsigned>& targets, const fi& rhs,
                        const ElementVisit& sources) {
    const auto count = static_cast<unsigned>(targets.size());
    if (assignsInPlace(x, rhs)) return x.storeQuantized(x, targets, rhs, sources, count);
    makeValues(x);
    fi assigned = x.unset({count, 1U}, x.iscomplex() || rhs.iscomplex());
    x.assignLogged(
        kAssignment,
        [&] {
          x.storeQuantized(assigned, ElementVisit::from(0), rhs, sources, count);
          makeValues(assigned);
        },
        [&] {
          if (assigned.iscomplex() && x.isreal()) x.coordinateComplexity(true, x.numel_);
          copyPart(x.realPart_, assigned.realPart_, targets, ElementVisit::from(0), count);
          if (assigned.iscomplex())
            copyPart(x.imagPart_, assigned.imagPart_, targets, ElementVisit::from(0), count);
        });
  }

  /// Overwrites without a pass over the whole array where the subscripts name existing elements, one for each
  /// right-hand element or all for a scalar; the host decides about everything else.
  static bool overwriteExisting(fi& x, const HostArray& index, const fi& rhs) {
    if (index.fieldAt("subs").isEmpty()) return false;
    HostArray positions;
    try {
      positions = callIndexing("subsref", {positionMap(x.dims_), index});
    } catch (const tessel::HostError&) {
      return false;
    }
    const Shape selected = shapeOf(positions);
    const bool isLinear = index.fieldAt("subs").numel() == 1;
    const bool sameSize =
        isLinear ? positions.numel() == rhs.numel_ : withoutOnes(selected) == withoutOnes(rhs.dims_);
    if (positions.isEmpty() || !(rhs.isscalar() || sameSize)) return false;
    const std::vector<unsigned> targets = checkedPositions(x, positions);
    overwrite(x, targets, rhs, rhs.isscalar() ? ElementVisit::same(0) : ElementVisit::from(0));
    return true;
  }
};

fi& fi::subsasgn(const HostArray& index, const fi& rhs) {
  const HostArray& subscripts = subscriptsOf<kAssignmentParenLast>(index);
  if (rhs.sharesElementsWith(*this)) return subsasgn(index, fi(rhs));
  const long long position = rhs.isscalar() ? scalarPosition(*this, subscripts, BeyondEnd::Grows) : -1;
  if (position >= 0) {
    subsasgnScalarIndexing(static_cast<unsigned>(position), rhs);
  } else {
    subsasgnGeneralIndexing(index, rhs);
  }
  return *this;
}

fi& fi::subsasgn(const HostArray& index, const HostArray& rhs) {
  const HostArray& subscripts = subscriptsOf<kAssignmentParenLast>(index);
  if (rhs.isEmpty()) {
    subscriptedDeleteFromStruct(index);
    return *this;
  }
  if (rhs.arrayClass() == ArrayClass::Double && rhs.numel() == 1 && !rhs.isComplex()) {
    if (const long long position = scalarPosition(*this, subscripts, BeyondEnd::Grows); position >= 0) {
      subsasgnScalarIndexing(static_cast<unsigned>(position), *rhs.real<double>());
      return *this;
    }
  }
  return subsasgn(index, unquantized(rhs));
}

void fi::subsasgnScalarIndexing(unsigned position, double rhs) {
  checkIndex(position);
  if (Indexing::assignPlain(*this, position, rhs)) return;
  makeValues(*this);
  number held(1U, realPart_.getprecision(), NumberVector{});
  storeRealWorld(held, &rhs);
  std::optional<number> zero;
  if (iscomplex()) zero.emplace(zeroValue());
  assignLogged(
      kAssignment, [&] { assignmentQuantizerInUse_->quantize(held); },
      [&] {
        setIndex(position);
        realPart_ = held;
        if (zero) imagPart_ = *zero;
      });
}

void fi::subsasgnScalarIndexing(unsigned position, const fi& rhs) {
  checkIndex(position);
  rhs.checkIndex(0);
  const double* value = rhs.isreal() && !rhs.isSlopeBias() ? rhs.realPart_.doubles() : nullptr;
  if (value && Indexing::assignPlain(*this, position, *value)) return;
  errorIfNotAssignable(rhs);
  if (rhs.isscalar() && assignsIntegers(*this, rhs))
    return storeQuantized(*this, ElementVisit::from(position), rhs, ElementVisit::same(0), 1);
  makeValues(*this);
  const fi first(rhs, Reading{});
  std::optional<NewElement> element;
  assignLogged(
      kAssignment, [&] { element.emplace(*this, first, iscomplex() || rhs.iscomplex()); },
      [&] {
        if (rhs.iscomplex() && isreal()) coordinateComplexity(true, numel_);
        setIndex(position);
        element->put(*this);
      });
}

void fi::assignAt(tessel::IndexRanges ranges, const fi& rhs) {
  if (ranges.size() == 1 && ranges[0].count == 1)
    return subsasgnScalarIndexing(static_cast<unsigned>(ranges[0].first), rhs);
  if (rhs.sharesElementsWith(*this)) return assignAt(ranges, fi(rhs));
  errorIfNotAssignable(rhs);
  const auto sourcesFrom = [&](unsigned place) {
    return rhs.isscalar() ? ElementVisit::same(0) : ElementVisit::from(place);
  };
  unsigned place = 0;
  if (assignsInPlace(*this, rhs) || (ranges[0].step == 1 && assignsIntegers(*this, rhs))) {
    forEachVisit(dims_, ranges, [&](unsigned count, const ElementVisit& targets) {
      storeQuantized(*this, targets, rhs, sourcesFrom(place), count);
      place += count;
    });
    return;
  }
  const auto total = static_cast<unsigned>(tessel::selectedCount(ranges));
  fi assigned = unset({total, 1U}, iscomplex() || rhs.iscomplex());
  assignLogged(
      kAssignment, [&] { storeQuantized(assigned, ElementVisit::from(0), rhs, sourcesFrom(0), total); },
      [&] {
        if (assigned.iscomplex() && isreal()) coordinateComplexity(true, numel_);
        forEachVisit(dims_, ranges, [&](unsigned count, const ElementVisit& targets) {
          // By the cursors of the array itself, for readers of it would need memory.
          copyPart(realPart_, assigned.realPart_, targets, ElementVisit::from(place), count);
          if (assigned.iscomplex())
            copyPart(imagPart_, assigned.imagPart_, targets, ElementVisit::from(place), count);
          place += count;
        });
      });
}

void fi::subsasgnGeneralIndexing(const HostArray& index, const fi& rhs) {
  if (rhs.isempty()) return subscriptedDeleteFromStruct(index);
  errorIfNotAssignable(rhs);
  if (Indexing::overwriteExisting(*this, index, rhs)) return;
  const HostArray positions = callIndexing("subsasgn", {positionMap(dims_), index, sourceMap(rhs.dims_)});
  if (positions.numel() == numel_) {
    subscriptedOverwriteAssignment(positions, rhs);
  } else {
    subscriptedGrowAssignment(positions, rhs);
  }
}

void fi::subscriptedOverwriteAssignment(const HostArray& positions, const fi& rhs) {
  if (rhs.sharesElementsWith(*this)) return subscriptedOverwriteAssignment(positions, fi(rhs));
  errorIfNotAssignable(rhs);
  if (positions.numel() != numel_) fail<message::badIndex>();
  const AssignmentMap map(positions, *this, rhs);
  Indexing::overwrite(*this, map.targets, rhs, map.sources);
}

void fi::subscriptedOverwriteAssignment(const HostArray& positions, const HostArray& rhs) {
  subscriptedOverwriteAssignment(positions, unquantized(rhs));
}

void fi::subscriptedGrowAssignment(const HostArray& positions, const fi& rhs) {
  errorIfNotAssignable(rhs);
  const AssignmentMap map(positions, *this, rhs);
  const bool isComplex = iscomplex() || rhs.iscomplex();
  errorIfViewCannotTake(shapeOf(positions), getNumericType(), isComplex);
  fi grown = blank(shapeOf(positions), isComplex);
  copyElements(grown, ElementVisit::from(0), map.kept, grown.numel_);
  assignLogged(
      kAssignment,
      [&] { storeQuantized(grown, map.targets, rhs, map.sources, static_cast<unsigned>(map.targets.size())); },
      [&] { replaceElements(grown); });
}

void fi::subscriptedGrowAssignment(const HostArray& positions, const HostArray& rhs) {
  subscriptedGrowAssignment(positions, unquantized(rhs));
}

void fi::subscriptedGrowAssignmentFromStruct(const HostArray& index, const fi& rhs) {
  subscriptedGrowAssignment(callIndexing("subsasgn", {positionMap(dims_), index, sourceMap(rhs.dims_)}), rhs);
}

void fi::subscriptedDelete(const HostArray& positions) {
  errorIfViewCannotTake(shapeOf(positions), getNumericType(), iscomplex());
  fi kept = rearranged(shapeOf(positions), checkedPositions(*this, positions));
  replaceElements(kept);
}

void fi::subscriptedDeleteFromStruct(const HostArray& index) {
  subscriptedDelete(callIndexing("subsasgn", {positionMap(dims_), index, HostArray()}));
}

void fi::copydata(const fi& source) {
  errorIfNotAssignable(source);
  fi replaced = replacement(source.dims_, source.iscomplex());
  assignLogged(
      kAssignment,
      [&] { storeQuantized(replaced, ElementVisit::from(0), source, ElementVisit::from(0), source.numel_); },
      [&] { replaceElements(replaced); });
}

}  // namespace embedded
