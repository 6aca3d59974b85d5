/// Relational operators and equality.
#include <algorithm>
#include <functional>
#include <memory>

#include "qfcore/fi/arithmeticstate.h"
#include "qfcore/fi/expansion.h"
#include "qfcore/fi/paths/blocks.h"
#include "qfcore/fi/paths/integerblocks.h"
#include "qfcore/fi/paths/wideloops.h"

namespace embedded {

using tessel::ArrayClass;
using tessel::HostArray;

namespace {

/// Equal factor and bias: held values compare as they are.
bool haveSameScaling(const NumericType& a, const NumericType& b) {
  if (!a.isSlopeBias() && !b.isSlopeBias()) return true;
  return a.isSlopeBias() && b.isSlopeBias() && a.slopeAdjustmentFactor() == b.slopeAdjustmentFactor() &&
         a.bias() == b.bias();
}

// Relations of whole elements: `kDecisive` is what one part of complex ones decides for both.
struct Equal : std::equal_to<> {
  static constexpr bool kDecisive = false;
};
struct NotEqual : std::not_equal_to<> {
  static constexpr bool kDecisive = true;
};

HostArray logicalLike(const fi& shape) {
  return HostArray::unset(ArrayClass::Logical, tessel::Dimensions(shape.dims().begin(), shape.dims().end()));
}

/// Elements compare as they are held where no adjustment is needed; wide ones where they are real.
Path pathOfComparison(const fi& a, const fi& b) {
  const bool areComparable = haveSameScaling(a.getNumericType(), b.getNumericType());
  const bool hasWide = areComparable && a.isreal() && b.isreal();
  return choosePath({.hasBlocks = areComparable, .wideLoops = hasWide ? WideLoops::OfWide : WideLoops::None}, a,
                    b);
}

/// The integers that words on one grid compare as, where not both are doubles.
IntegerSizes integersOfComparison(const fi& a, const fi& b) {
  const NumericType &ta = a.getNumericType(), &tb = b.getNumericType();
  if (areDoubles(a) && areDoubles(b)) return IntegerSizes::None;
  if (ta.fractionLength() != tb.fractionLength()) return IntegerSizes::None;
  const IntegerSizes sizes = smallestIntegers([&](auto, auto stored) {
    return exactness::integersHold(kBitsOf<decltype(stored)>, ta) &&
           exactness::integersHold(kBitsOf<decltype(stored)>, tb);
  });
  const Path path = choosePath({.hasBlocks = false, .hasIntegers = sizes != IntegerSizes::None}, a, b);
  return path == Path::Integers ? sizes : IntegerSizes::None;
}

/// result[i] = whether the relation holds between a[i] and b[i]; with `Besides` where that is decisive, else it
/// stays.
template <class Relation, bool Besides, bool AIsScalar, bool BIsScalar>
QFCORE_VECTORISED void compareDoubles(bool* result, const double* a, const double* b, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    const bool holds = Relation()(a[AIsScalar ? 0 : i], b[BIsScalar ? 0 : i]);
    if constexpr (Besides) {
      result[i] = holds == Relation::kDecisive ? Relation::kDecisive : result[i];
    } else {
      result[i] = holds;
    }
  }
}

template <class Relation, bool Besides>
void compareParts(bool* result, const BlockOperand& a, const BlockOperand& b, std::size_t count) {
  withFlags(a.isScalar, b.isScalar, [&](auto aIsScalar, auto bIsScalar) {
    shareLoop(count, kSharedDoubles, [&](std::size_t first, std::size_t size) {
      compareDoubles<Relation, Besides, aIsScalar(), bIsScalar()>(result + first, a.at(first), b.at(first),
                                                                  size);
    });
  });
}

/// Logical array of `holds(x, y)` for elements at the cursors of `x` and `y`.
template <class Holds>
HostArray compareElements(const fi& a, const fi& b, Holds holds) {
  const fi& shape = shapeOfResult(a, b);
  HostArray result = logicalLike(shape);
  bool* out = result.mutableReal<bool>();
  const fi x(a, Reading{}), y(b, Reading{});
  for (unsigned k = 0; k < shape.numel(); ++k) {
    x.setIndex(a.isscalar() ? 0 : k);
    y.setIndex(b.isscalar() ? 0 : k);
    out[k] = holds(x, y);
  }
  return result;
}

template <class Relation>
HostArray compareWide(const fi& a, const fi& b) {
  const fi& shape = shapeOfResult(a, b);
  HostArray result = logicalLike(shape);
  bool* out = result.mutableReal<bool>();
  const WideOperand left(a, a.realPart()), right(b, b.realPart());
  shareLoop(shape.numel(), kSharedIntegers, [&](std::size_t first, std::size_t size) {
    for (std::size_t k = first; k < first + size; ++k) out[k] = Relation()(left[k], right[k]);
  });
  return result;
}

template <class Relation>
HostArray compareIntegers(const fi& a, const fi& b, IntegerSizes sizes) {
  const fi& shape = shapeOfResult(a, b);
  HostArray result = logicalLike(shape);
  bool* out = result.mutableReal<bool>();
  withIntegers(sizes, [&](auto, auto stored) {
    using Stored = decltype(stored);
    const IntegerOperand left(a, a.realPart()), right(b, b.realPart());
    shareLoop(shape.numel(), kSharedIntegers, [&](std::size_t begin, std::size_t count) {
      IntegerBlock<Stored> roomA, roomB;
      forEachIntegerBlock(begin, count, [&](std::size_t first, std::size_t size) {
        const Stored *x = left.read(roomA, first, size), *y = right.read(roomB, first, size);
        for (std::size_t k = 0; k < size; ++k) out[first + k] = Relation()(x[k], y[k]);
      });
    });
  });
  return result;
}

template <class Relation>
HostArray compareReal(const fi& a, const fi& b) {
  if (const IntegerSizes sizes = integersOfComparison(a, b); sizes != IntegerSizes::None)
    return compareIntegers<Relation>(a, b, sizes);
  const Path path = pathOfComparison(a, b);
  if (path == Path::Wide) return compareWide<Relation>(a, b);
  if (path == Path::Elements) {
    return compareElements(
        a, b, [](const fi& x, const fi& y) { return Relation()(x.realPart(), fi::getAdjustedReal(y, x)); });
  }
  const fi& shape = shapeOfResult(a, b);
  HostArray result = logicalLike(shape);
  compareParts<Relation, false>(result.mutableReal<bool>(), BlockOperand::real(a), BlockOperand::real(b),
                                shape.numel());
  return result;
}

/// `Equal` or `NotEqual`, imaginary parts taken in.
template <class Relation>
HostArray compareBoth(const fi& a, const fi& b) {
  if (a.isreal() && b.isreal()) return compareReal<Relation>(a, b);
  // A missing part is real-world zero, which with slope and bias is not held as 0.
  if (pathOfComparison(a, b) != Path::Blocks || a.getNumericType().isSlopeBias()) {
    return compareElements(a, b, Relation());
  }
  HostArray result = compareReal<Relation>(a, b);
  compareParts<Relation, true>(result.mutableReal<bool>(), BlockOperand::imag(a), BlockOperand::imag(b),
                               result.numel());
  return result;
}

QFCORE_VECTORISED bool areEqualBlocks(const double* a, const double* b, std::size_t count) {
  unsigned differing = 0;
  for (std::size_t i = 0; i < count; ++i) differing |= static_cast<unsigned>(a[i] != b[i]);
  return differing == 0;
}

bool areEqual(const double* a, const double* b, std::size_t count) {
  for (std::size_t first = 0; first < count; first += kBlock) {
    const std::size_t size = std::min(kBlock, count - first);
    if (!areEqualBlocks(a + first, b + first, size)) return false;
  }
  return true;
}

}  // namespace

// -------------------------------------------------------------------------------------------------- adjusting

/// What comparisons of elements share.
struct fi::Comparison {
  static fi& adjustedRoom(const fi& x, const fi& y) {
    const NumericType &from = x.getNumericType(), &to = y.getNumericType();
    std::unique_ptr<Adjustment>& kept = x.arithmeticState().adjustment;
    if (!kept || !kept->from.isequal(from) || !kept->to.isequal(to)) {
      const RealWorldScaling fromScaling(from), toScaling(to);
      const unsigned precision =
          std::max(toScaling.heldPrecision(BitRange::ofRealWorld(from)), x.realPart_.getprecision());
      const unsigned dims[] = {1, 1};
      kept = std::make_unique<Adjustment>(
          Adjustment{from, to, fromScaling, toScaling,
                     fi(dims, 2, to, x.getFimath(), true, {}, OperationTypeEnum::Unspecified,
                        std::max(precision, kDoubleBits))});
    }
    return kept->room;
  }

  static bool imaginaryPartsAreEqual(const fi& a, const fi& b) {
    if (a.isreal() && b.isreal()) return true;
    if (a.isreal()) return b.imagPart_ == b.zeroValue();
    if (b.isreal()) return a.imagPart_ == a.zeroValue();
    return a.imagPart_ == getAdjustedElement(b, a).imagPart_;
  }
};

const number& fi::getAdjustedReal(const fi& x, const fi& y) {
  x.requireElements();
  if (haveSameScaling(x.getNumericType(), y.getNumericType())) return x.realPart_;
  number& value = Comparison::adjustedRoom(x, y).realPart_;
  const Adjustment& adjustment = *x.arithmeticState().adjustment;
  value = x.realPart_;
  adjustment.fromScaling.fromHeld(value);
  adjustment.toScaling.toHeld(value);
  return value;
}

const fi& fi::getAdjustedElement(const fi& x, const fi& y) {
  x.requireElements();
  if (haveSameScaling(x.getNumericType(), y.getNumericType())) return x;
  fi& room = Comparison::adjustedRoom(x, y);
  getAdjustedReal(x, y);
  room.setIsReal(x.isreal());
  if (x.isreal()) return room;
  const Adjustment& adjustment = *x.arithmeticState().adjustment;
  room.imagPart_ = x.imagPart_;
  adjustment.fromScaling.fromHeld(room.imagPart_);
  adjustment.toScaling.toHeld(room.imagPart_);
  return room;
}

// ------------------------------------------------------------------------------------- relations and equality

HostArray fi::ge(const fi& b) const { return compareReal<std::greater_equal<>>(*this, b); }
HostArray fi::le(const fi& b) const { return compareReal<std::less_equal<>>(*this, b); }
HostArray fi::gt(const fi& b) const { return compareReal<std::greater<>>(*this, b); }
HostArray fi::lt(const fi& b) const { return compareReal<std::less<>>(*this, b); }

bool fi::operator==(const fi& b) const {
  requireElements();
  return realPart_ == getAdjustedReal(b, *this) && Comparison::imaginaryPartsAreEqual(*this, b);
}

HostArray fi::eq(const fi& b) const { return compareBoth<Equal>(*this, b); }
HostArray fi::ne(const fi& b) const { return compareBoth<NotEqual>(*this, b); }

bool fi::isequal(const fi& b) const {
  if (!isSameSize(b)) return false;
  const Path path = pathOfComparison(*this, b);
  if (path == Path::Blocks && ((isreal() && b.isreal()) || !isSlopeBias())) {
    const OperandParts own = OperandParts::of(*this), other = OperandParts::of(b);
    if (!areEqual(own.re, other.re, numel_)) return false;
    if (own.im && other.im) return areEqual(own.im, other.im, numel_);
    const double* im = own.im ? own.im : other.im;
    return !im || !anyOf(im, numel_, [](double value) { return value != 0; });
  }
  if (path == Path::Wide) {
    const WideOperand left(*this, realPart_), right(b, b.realPart_);
    for (unsigned k = 0; k < numel_; ++k) {
      if (left[k] != right[k]) return false;
    }
    return true;
  }
  const fi own(*this, Reading{}), other(b, Reading{});
  for (unsigned k = 0; k < numel_; ++k) {
    own.setIndex(k);
    other.setIndex(k);
    if (!(own == other)) return false;
  }
  return true;
}

}  // namespace embedded
