/// Relational operators, equality, minima and maxima.
#include <algorithm>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "qfcore/fi/arithmeticstate.h"
#include "qfcore/fi/messages.h"
#include "qfcore/fi/paths/blocks.h"
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

/// The operand whose shape the result has, once the sizes agree.
const fi& shapeOfResult(const fi& a, const fi& b) {
  if (!a.isscalar() && !b.isscalar()) a.checkElementwiseSize(b);
  return a.isscalar() ? b : a;
}

/// Whether the elements compare as contiguous doubles, without adjustment.
bool compareAsDoubles(const fi& a, const fi& b) {
  return areDoubles(a) && areDoubles(b) && haveSameScaling(a.getNumericType(), b.getNumericType());
}

/// The same for multiprecision values; of real arrays.
bool compareAsWide(const fi& a, const fi& b) {
  return a.isreal() && b.isreal() && areWide(a) && areWide(b) &&
         haveSameScaling(a.getNumericType(), b.getNumericType());
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
    compareDoubles<Relation, Besides, aIsScalar(), bIsScalar()>(result, a.values, b.values, count);
  });
}

/// Logical array of `holds(k)`, with both cursors at element k.
template <class Holds>
HostArray compareElements(const fi& a, const fi& b, Holds holds) {
  const fi& shape = shapeOfResult(a, b);
  HostArray result = logicalLike(shape);
  bool* out = result.mutableReal<bool>();
  for (unsigned k = 0; k < shape.numel(); ++k) {
    a.setIndex(a.isscalar() ? 0 : k);
    b.setIndex(b.isscalar() ? 0 : k);
    out[k] = holds();
  }
  return result;
}

template <class Relation>
HostArray compareWide(const fi& a, const fi& b) {
  const fi& shape = shapeOfResult(a, b);
  HostArray result = logicalLike(shape);
  bool* out = result.mutableReal<bool>();
  const WideOperand left(a, a.realPart()), right(b, b.realPart());
  for (unsigned k = 0; k < shape.numel(); ++k) out[k] = Relation()(left[k], right[k]);
  return result;
}

template <class Relation>
HostArray compareReal(const fi& a, const fi& b) {
  if (compareAsWide(a, b)) return compareWide<Relation>(a, b);
  if (!compareAsDoubles(a, b)) {
    return compareElements(a, b, [&] { return Relation()(a.realPart(), fi::getAdjustedReal(b, a)); });
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
  if (!compareAsDoubles(a, b) || a.getNumericType().isSlopeBias()) {
    return compareElements(a, b, [&] { return Relation()(a, b); });
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

/// A rule by which one of two values is kept: the first, unless the second is preferred to it.
template <class Preferred>
struct Preference {
  template <class T>
  static bool replaces(const T& candidate, const T& kept) {
    return Preferred()(candidate, kept);
  }
  static double apply(double a, double b) { return replaces(b, a) ? b : a; }
};

struct Minimum : Preference<std::less<>> {
  static constexpr const char* kName = "min";
  static constexpr Message kTypeMismatch{"numforge:fi:min:numerictypemismatch",
                                         "NUMERICTYPE of both operands must be equal."};
  static constexpr Message kFimathMismatch{"numforge:fi:min:fimathmismatch",
                                           "FIMATH of both operands must be equal."};
};

struct Maximum : Preference<std::greater<>> {
  static constexpr const char* kName = "max";
  static constexpr Message kTypeMismatch{"numforge:fi:max:numerictypemismatch",
                                         "NUMERICTYPE of both operands must be equal."};
  static constexpr Message kFimathMismatch{"numforge:fi:max:fimathmismatch",
                                           "FIMATH of both operands must be equal."};
};

/// What elements are ordered by: real values themselves, of complex ones the square of the magnitude, exactly;
/// in data types without a word the magnitude.
class OrderingKey {
 public:
  OrderingKey(const fi& x, bool byMagnitude)
      : x_(x), byMagnitude_(byMagnitude), key_(precisionFor(x)), term_(precisionFor(x)) {}

  /// The key of the element at the cursor; valid until the next call.
  const number& operator()() {
    if (!byMagnitude_) return x_.realPart();
    if (!x_.getNumericType().isFixed()) {
      x_.abs(key_);
      return key_;
    }
    key_ = x_.realPart();
    key_ *= x_.realPart();
    if (x_.isreal()) return key_;
    term_ = x_.imagPart();
    term_ *= x_.imagPart();
    key_ += term_;
    return key_;
  }

 private:
  static unsigned precisionFor(const fi& x) {
    return x.getNumericType().isFixed() ? 2 * x.getPrecision() + 1 : kMaxDoublePrecision;
  }

  const fi& x_;
  bool byMagnitude_;
  Scratch key_, term_;
};

struct SquaredMagnitude {
  double operator()(double re, double im) const { return re * re + im * im; }
};

/// Whether doubles hold the squares of complex elements, and the sums of two.
bool hasExactSquares(const NumericType& type) {
  const int bits = 2 * type.wordLength() + 1, exponent = 2 * type.fixedExponent();
  return type.isFixed() && bits <= static_cast<int>(kDoubleBits) && isNormalPow2(exponent) &&
         isNormalPow2(exponent + bits);
}

/// The same keys, as contiguous doubles.
class KeyBlocks {
 public:
  /// None where doubles do not hold them.
  static std::optional<KeyBlocks> of(const fi& x) {
    if (!areDoubles(x) || !(x.isreal() || hasExactSquares(x.getNumericType()))) return std::nullopt;
    return KeyBlocks(x);
  }
  /// Those of `size` elements, at most a block; valid until the next call.
  const double* operator()(std::size_t first, std::size_t size) {
    if (!parts_.im) return parts_.re + first;
    combineBy<false, false>(keys_.data(), parts_.re + first, parts_.im + first, size, SquaredMagnitude());
    return keys_.data();
  }

 private:
  explicit KeyBlocks(const fi& x) : parts_(Factor::of(x)) {}

  Factor parts_;
  Block keys_;
};

/// The extreme of `best` and the values.
template <class Extreme>
QFCORE_VECTORISED double extremeOf(const double* values, std::size_t count, double best) {
  constexpr std::size_t kLanes = 32;
  double lanes[kLanes];
  std::fill_n(lanes, kLanes, best);
  std::size_t i = 0;
  for (; i + kLanes <= count; i += kLanes) {
    for (std::size_t lane = 0; lane < kLanes; ++lane)
      lanes[lane] = Extreme::apply(lanes[lane], values[i + lane]);
  }
  for (; i < count; ++i) best = Extreme::apply(best, values[i]);
  for (const double lane : lanes) best = Extreme::apply(best, lane);
  return best;
}

/// The extremes of neighbouring fibers so far, and their places.
template <class Extreme>
QFCORE_VECTORISED void keepExtremes(double* best, double* places, const double* candidates, double place,
                                    std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    const bool replaces = Extreme::replaces(candidates[i], best[i]);
    best[i] = replaces ? candidates[i] : best[i];
    places[i] = replaces ? place : places[i];
  }
}

/// Finds first extremes among elements that start at `first` and stand `stride` apart.
template <class Extreme>
class ExtremeFinder {
 public:
  explicit ExtremeFinder(const fi& x)
      : x_(x),
        keys_(KeyBlocks::of(x)),
        wide_(x, x.realPart()),
        isWide_(x.isreal() && areWide(x)),
        key_(x, x.iscomplex()),
        best_(std::max(2 * x.getPrecision() + 1, x.realPart().getprecision())) {}

  /// The place of the extreme among `count` elements, from 0.
  unsigned operator()(unsigned first, unsigned stride, unsigned count) {
    if (keys_ && stride == 1) return placeInRow(first, count);
    return isWide_ ? placeOfWide(first, stride, count) : placeOfElement(first, stride, count);
  }

  /// For the `stride` sequences of `count` elements that start at `first` and its neighbours, places from 1.
  void inStep(unsigned first, unsigned stride, unsigned count, double* places) {
    if (!keys_ || stride == 1) {
      for (unsigned k = 0; k < stride; ++k) places[k] = (*this)(first + k, stride, count) + 1.0;
      return;
    }
    forEachBlock(stride, [&](std::size_t begin, std::size_t size) {
      Block best;
      std::copy_n((*keys_)(first + begin, size), size, best.data());
      std::fill_n(places + begin, size, 1.0);
      for (unsigned k = 1; k < count; ++k) {
        const double* keys = (*keys_)(first + begin + std::size_t{k} * stride, size);
        keepExtremes<Extreme>(best.data(), places + begin, keys, k + 1.0, size);
      }
    });
  }

 private:
  unsigned placeInRow(unsigned start, std::size_t count) {
    double best = *(*keys_)(start, 1);
    std::size_t place = 0;
    forEachBlock(count, [&](std::size_t first, std::size_t size) {
      const double* keys = (*keys_)(start + first, size);
      const double candidate = extremeOf<Extreme>(keys, size, best);
      if (!Extreme::replaces(candidate, best)) return;
      best = candidate;
      place = first + static_cast<std::size_t>(std::find(keys, keys + size, best) - keys);
    });
    return static_cast<unsigned>(place);
  }

  unsigned placeOfWide(unsigned first, unsigned stride, unsigned count) const {
    unsigned place = first;
    for (unsigned k = 1; k < count; ++k) {
      if (Extreme::replaces(wide_[first + k * stride], wide_[place])) place = first + k * stride;
    }
    return (place - first) / stride;
  }

  unsigned placeOfElement(unsigned first, unsigned stride, unsigned count) {
    unsigned place = 0;
    number& best = best_;
    for (unsigned k = 0; k < count; ++k) {
      x_.setIndex(first + k * stride);
      const number& candidate = key_();
      if (k != 0 && !Extreme::replaces(candidate, best)) continue;
      best = candidate;
      place = k;
    }
    return place;
  }

  const fi& x_;
  std::optional<KeyBlocks> keys_;
  WideOperand wide_;
  bool isWide_;
  OrderingKey key_;
  Scratch best_;
};

/// result[i] = b[i] where its key replaces that of a[i], else a[i].
template <class Extreme, bool AIsScalar, bool BIsScalar>
QFCORE_VECTORISED void choose(double* result, const double* aKeys, const double* bKeys, const double* a,
                              const double* b, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    const double own = a[AIsScalar ? 0 : i], other = b[BIsScalar ? 0 : i];
    result[i] = Extreme::replaces(bKeys[i], aKeys[i]) ? other : own;
  }
}

/// The element-wise extremes of complex elements, or of such and real ones, by blocks.
template <class Extreme>
void extremesByMagnitude(const fi& a, const fi& b, fi& result) {
  const BlockOperand aRe = BlockOperand::real(a), aIm = BlockOperand::imag(a);
  const BlockOperand bRe = BlockOperand::real(b), bIm = BlockOperand::imag(b);
  Block aKeys, bKeys;
  forEachBlock(result.numel(), [&](std::size_t first, std::size_t size) {
    const auto keysOf = [&](Block& keys, const BlockOperand& re, const BlockOperand& im) {
      combineBy(keys.data(), re.at(first), re.isScalar, im.at(first), im.isScalar, size, SquaredMagnitude());
    };
    const auto chooseParts = [&](number& part, const BlockOperand& own, const BlockOperand& other) {
      withFlags(own.isScalar, other.isScalar, [&](auto ownIsScalar, auto otherIsScalar) {
        choose<Extreme, ownIsScalar(), otherIsScalar()>(part.doubles() + first, aKeys.data(), bKeys.data(),
                                                        own.at(first), other.at(first), size);
      });
    };
    keysOf(aKeys, aRe, aIm);
    keysOf(bKeys, bRe, bIm);
    chooseParts(result.realPart(), aRe, bRe);
    chooseParts(result.imagPart(), aIm, bIm);
  });
}

}  // namespace

// -------------------------------------------------------------------------------------------------- adjusting

fi& fi::adjustedRoom(const fi& x, const fi& y) {
  const NumericType &from = x.getNumericType(), &to = y.getNumericType();
  std::unique_ptr<Adjustment>& kept = x.arithmeticState().adjustment;
  if (!kept || !kept->from.isequal(from) || !kept->to.isequal(to)) {
    const RealWorldScaling fromScaling(from), toScaling(to);
    const unsigned precision =
        std::max(toScaling.heldPrecision(BitRange::ofRealWorld(from)), x.realPart_.getprecision());
    const unsigned dims[] = {1, 1};
    kept = std::make_unique<Adjustment>(
        Adjustment{from, to, fromScaling, toScaling,
                   fi(dims, 2, to, x.fimath_, true, {}, OperationTypeEnum::Unspecified,
                      std::max(precision, kDoubleBits))});
  }
  return kept->room;
}

const number& fi::getAdjustedReal(const fi& x, const fi& y) {
  if (haveSameScaling(x.getNumericType(), y.getNumericType())) return x.realPart_;
  number& value = adjustedRoom(x, y).realPart_;
  const Adjustment& adjustment = *x.arithmeticState().adjustment;
  value = x.realPart_;
  adjustment.fromScaling.fromHeld(value);
  adjustment.toScaling.toHeld(value);
  return value;
}

const fi& fi::getAdjustedElement(const fi& x, const fi& y) {
  if (haveSameScaling(x.getNumericType(), y.getNumericType())) return x;
  fi& room = adjustedRoom(x, y);
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

bool fi::imaginaryPartsAreEqual(const fi& b) const {
  if (isreal() && b.isreal()) return true;
  if (isreal()) return b.imagPart_ == b.zeroValue();
  if (b.isreal()) return imagPart_ == zeroValue();
  return imagPart_ == getAdjustedElement(b, *this).imagPart_;
}

bool fi::operator==(const fi& b) const {
  return realPart_ == getAdjustedReal(b, *this) && imaginaryPartsAreEqual(b);
}

HostArray fi::eq(const fi& b) const { return compareBoth<Equal>(*this, b); }
HostArray fi::ne(const fi& b) const { return compareBoth<NotEqual>(*this, b); }

bool fi::isequal(const fi& b) const {
  if (!isSameSize(b)) return false;
  if (compareAsDoubles(*this, b) && ((isreal() && b.isreal()) || !isSlopeBias())) {
    const Factor own = Factor::of(*this), other = Factor::of(b);
    if (!areEqual(own.re, other.re, numel_)) return false;
    if (own.im && other.im) return areEqual(own.im, other.im, numel_);
    const double* im = own.im ? own.im : other.im;
    return !im || !anyOf(im, numel_, [](double value) { return value != 0; });
  }
  if (compareAsWide(*this, b)) {
    const WideOperand left(*this, realPart_), right(b, b.realPart_);
    for (unsigned k = 0; k < numel_; ++k) {
      if (left[k] != right[k]) return false;
    }
    return true;
  }
  for (unsigned k = 0; k < numel_; ++k) {
    setIndex(k);
    b.setIndex(k);
    if (!(*this == b)) return false;
  }
  return true;
}

// --------------------------------------------------------------------------------------------------- extremes

template <class Extreme>
fi fi::extreme(const fi& b) const {
  if (!getNumericType().isequivalent(b.getNumericType())) fail<Extreme::kTypeMismatch>();
  if (!fimath_.matches(b.fimath_)) fail<Extreme::kFimathMismatch>();
  const bool isComplex = iscomplex() || b.iscomplex();
  if (isComplex && isSlopeBias()) fail<message::complexSlopeBias>(Extreme::kName);
  const fi& shape = shapeOfResult(*this, b);
  fi result = unset(shape.dims_, isComplex);
  if (!isComplex && areDoubles(*this) && areDoubles(b) && areDoubles(result)) {
    combine<Extreme>(result.realPart_.doubles(), valuesOf(*this, realPart_), isscalar(),
                     valuesOf(b, b.realPart_), b.isscalar(), result.numel_);
    return result;
  }
  if (mpnumber* extremes = result.realPart_.multiprecision(); extremes && compareAsWide(*this, b)) {
    const WideOperand own(*this, realPart_), other(b, b.realPart_);
    for (unsigned k = 0; k < result.numel_; ++k) {
      extremes->setelement(k, Extreme::replaces(other[k], own[k]) ? other[k] : own[k]);
    }
    return result;
  }
  if (isComplex && areDoubles(*this) && areDoubles(b) && areDoubles(result) &&
      hasExactSquares(getNumericType())) {
    extremesByMagnitude<Extreme>(*this, b, result);
    return result;
  }
  OrderingKey ownKey(*this, isComplex), otherKey(b, isComplex);
  for (unsigned k = 0; k < result.numel_; ++k) {
    setIndex(isscalar() ? 0 : k);
    b.setIndex(b.isscalar() ? 0 : k);
    result.setIndex(k);
    const fi& chosen = Extreme::replaces(otherKey(), ownKey()) ? b : *this;
    result.realPart_ = chosen.realPart_;
    if (chosen.iscomplex()) {
      result.imagPart_ = chosen.imagPart_;
    } else if (isComplex) {
      result.imagPart_ = 0.0;
    }
  }
  return result;
}

fi fi::min(const fi& b) const { return extreme<Minimum>(b); }
fi fi::max(const fi& b) const { return extreme<Maximum>(b); }

template <class Extreme>
fi fi::firstExtremes(unsigned dimension, HostArray& positions) const {
  if (iscomplex() && isSlopeBias()) fail<message::complexSlopeBias>(Extreme::kName);
  const unsigned length = getDimension(dimension);
  Shape dims = dims_;
  if (length > 1) dims[dimension - 1] = 1;
  unsigned stride = 1;
  for (unsigned d = 0; d + 1 < dimension && d < numDims(); ++d) stride *= dims_[d];
  positions = HostArray::zeros(ArrayClass::Double, tessel::Dimensions(dims.begin(), dims.end()));
  if (isempty()) return blank(dims, iscomplex());

  double* places = positions.mutableReal<double>();
  ExtremeFinder<Extreme> find(*this);
  std::vector<unsigned> chosen(numel_ / length);
  for (unsigned k = 0; k < chosen.size(); k += stride) find.inStep(k * length, stride, length, places + k);
  for (unsigned k = 0; k < chosen.size(); ++k) {
    chosen[k] = k % stride + (k / stride * length + static_cast<unsigned>(places[k]) - 1) * stride;
  }
  return rearranged(dims, chosen);
}

template <class Extreme>
fi fi::firstExtreme(unsigned& index, HostArray& position) const {
  index = 0;
  if (isempty()) {
    position = HostArray();
    return blank({0, 0}, iscomplex());
  }
  index = ExtremeFinder<Extreme>(*this)(0, 1, numel_);
  position = HostArray::scalar(index + 1.0);
  return rearranged({1, 1}, {index});
}

fi fi::unary_min(unsigned& index, HostArray& position) const { return firstExtreme<Minimum>(index, position); }
fi fi::unary_max(unsigned& index, HostArray& position) const { return firstExtreme<Maximum>(index, position); }
fi fi::minAlong(unsigned dimension, HostArray& positions) const {
  return firstExtremes<Minimum>(dimension, positions);
}
fi fi::maxAlong(unsigned dimension, HostArray& positions) const {
  return firstExtremes<Maximum>(dimension, positions);
}

unsigned fi::firstNonSingleton() const {
  const auto found = std::find_if(dims_.begin(), dims_.end(), [](unsigned size) { return size != 1; });
  return found == dims_.end() ? 1 : static_cast<unsigned>(found - dims_.begin()) + 1;
}

}  // namespace embedded
