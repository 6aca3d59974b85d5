/// Minima and maxima: of two arrays, of all elements, along one dimension.
#include <algorithm>
#include <functional>
#include <optional>
#include <utility>
#include <vector>

#include "qfcore/fi/exactness.h"
#include "qfcore/fi/expansion.h"
#include "qfcore/fi/lastones.h"
#include "qfcore/fi/messages.h"
#include "qfcore/fi/paths/blocks.h"
#include "qfcore/fi/paths/wideloops.h"
#include "qfcore/fi/scratch.h"

namespace embedded {

using tessel::ArrayClass;

namespace {

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

/// Real elements are compared as they are held, complex ones by keys that doubles may not hold.
Ways waysOfExtremes(const NumericType& type, bool isComplex) {
  if (!isComplex) return {.wideLoops = WideLoops::OfWide};
  return {.hasBlocks = exactness::doublesHoldSquaredMagnitudes(type)};
}

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
    const NumericType& type = x.getNumericType();
    return type.isFixed() ? carryingPrecision(2 * type.wordLength() + 1, 2 * exactness::fractionBits(type))
                          : kMaxDoublePrecision;
  }

  const fi& x_;
  bool byMagnitude_;
  Scratch key_, term_;
};

struct SquaredMagnitude {
  double operator()(double re, double im) const { return re * re + im * im; }
};

/// The same keys, as contiguous doubles.
class KeyBlocks {
 public:
  explicit KeyBlocks(const fi& x) : parts_(OperandParts::of(x)) {}
  /// Those of `size` elements, at most a block; valid until the next call.
  const double* operator()(std::size_t first, std::size_t size) {
    if (!parts_.im) return parts_.re + first;
    combineBy<false, false>(keys_.data(), parts_.re + first, parts_.im + first, size, SquaredMagnitude());
    return keys_.data();
  }

 private:
  OperandParts parts_;
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
        path_(choosePath(waysOfExtremes(x.getNumericType(), x.iscomplex()), x)),
        keys_(x),
        wide_(x, x.realPart()) {}

  /// The place of the extreme among `count` elements, from 0; by blocks, which take neighbours, of a stride
  /// of 1.
  unsigned operator()(unsigned first, unsigned stride, unsigned count) {
    if (path_ == Path::Blocks) return placeInRow(first, count);
    return path_ == Path::Wide ? placeOfWide(first, stride, count) : placeOfElement(first, stride, count);
  }

  /// For the `stride` sequences of `count` elements that start at `first` and its neighbours, places from 1.
  void inStep(unsigned first, unsigned stride, unsigned count, double* places) {
    if (path_ != Path::Blocks || stride == 1) {
      for (unsigned k = 0; k < stride; ++k) places[k] = (*this)(first + k, stride, count) + 1.0;
      return;
    }
    forEachBlock(stride, [&](std::size_t begin, std::size_t size) {
      Block best;
      std::copy_n(keys_(first + begin, size), size, best.data());
      std::fill_n(places + begin, size, 1.0);
      for (unsigned k = 1; k < count; ++k) {
        const double* keys = keys_(first + begin + std::size_t{k} * stride, size);
        keepExtremes<Extreme>(best.data(), places + begin, keys, k + 1.0, size);
      }
    });
  }

 private:
  unsigned placeInRow(unsigned start, std::size_t count) {
    double best = *keys_(start, 1);
    std::size_t place = 0;
    forEachBlock(count, [&](std::size_t first, std::size_t size) {
      const double* keys = keys_(start + first, size);
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
    if (!elements_) elements_.emplace(x_);
    number& best = elements_->best;
    unsigned place = 0;
    for (unsigned k = 0; k < count; ++k) {
      elements_->x.setIndex(first + k * stride);
      const number& candidate = elements_->key();
      if (k != 0 && !Extreme::replaces(candidate, best)) continue;
      best = candidate;
      place = k;
    }
    return place;
  }

  const fi& x_;
  Path path_;
  KeyBlocks keys_;
  WideOperand wide_;
  /// What goes through elements one by one; most arrays never do.
  struct Elements {
    explicit Elements(const fi& values)
        : x(values, Reading{}),
          key(x, x.iscomplex()),
          best(std::max(2 * x.getPrecision() + 1, x.realPart().getprecision())) {}
    const fi x;
    OrderingKey key;
    Scratch best;
  };
  std::optional<Elements> elements_;
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

/// The extremes of two arrays, of one, and along one of its dimensions.
struct fi::Extremes {
  template <class Extreme>
  static fi ofBoth(const fi& a, const fi& b) {
    if (!a.getNumericType().isequivalent(b.getNumericType())) fail<Extreme::kTypeMismatch>();
    if (!a.getFimath().matches(b.getFimath())) fail<Extreme::kFimathMismatch>();
    const bool isComplex = a.iscomplex() || b.iscomplex();
    if (isComplex && a.isSlopeBias()) fail<message::complexSlopeBias>(Extreme::kName);
    const fi& shape = shapeOfResult(a, b);
    fi result = a.unset(shape.dims_, isComplex);
    const Path path = choosePath(waysOfExtremes(a.getNumericType(), isComplex), a, b, result);
    if (path == Path::Blocks) {
      if (isComplex) {
        extremesByMagnitude<Extreme>(a, b, result);
      } else {
        combine<Extreme>(result.realPart_.doubles(), valuesOf(a, a.realPart_), a.isscalar(),
                         valuesOf(b, b.realPart_), b.isscalar(), result.numel_);
      }
      return result;
    }
    if (path == Path::Wide) {
      mpnumber* const extremes = result.realPart_.multiprecision();  // none of an empty array
      const WideOperand own(a, a.realPart_), other(b, b.realPart_);
      for (unsigned k = 0; k < result.numel_; ++k) {
        extremes->setelement(k, Extreme::replaces(other[k], own[k]) ? other[k] : own[k]);
      }
      return result;
    }
    const fi own(a, Reading{}), other(b, Reading{});
    OrderingKey ownKey(own, isComplex), otherKey(other, isComplex);
    for (unsigned k = 0; k < result.numel_; ++k) {
      own.setIndex(a.isscalar() ? 0 : k);
      other.setIndex(b.isscalar() ? 0 : k);
      result.setIndex(k);
      const fi& chosen = Extreme::replaces(otherKey(), ownKey()) ? other : own;
      result.realPart_ = chosen.realPart_;
      if (chosen.iscomplex()) {
        result.imagPart_ = chosen.imagPart_;
      } else if (isComplex) {
        result.imagPart_ = 0.0;
      }
    }
    return result;
  }

  template <class Extreme>
  static fi along(const fi& a, unsigned dimension, HostArray& positions) {
    if (a.iscomplex() && a.isSlopeBias()) fail<message::complexSlopeBias>(Extreme::kName);
    const unsigned length = a.getDimension(dimension);
    Shape dims = a.dims_;
    if (length > 1) dims[dimension - 1] = 1;
    dims = withoutLastOnes(std::move(dims));
    unsigned stride = 1;
    for (unsigned d = 0; d + 1 < dimension && d < a.numDims(); ++d) stride *= a.dims_[d];
    positions = HostArray::zeros(ArrayClass::Double, tessel::Dimensions(dims.begin(), dims.end()));
    if (a.isempty()) return a.blank(dims, a.iscomplex());

    double* places = positions.mutableReal<double>();
    ExtremeFinder<Extreme> find(a);
    std::vector<unsigned> chosen(a.numel_ / length);
    for (unsigned k = 0; k < chosen.size(); k += stride) find.inStep(k * length, stride, length, places + k);
    for (unsigned k = 0; k < chosen.size(); ++k) {
      chosen[k] = k % stride + (k / stride * length + static_cast<unsigned>(places[k]) - 1) * stride;
    }
    return a.rearranged(dims, chosen);
  }

  template <class Extreme>
  static fi first(const fi& a, unsigned& index, HostArray& position) {
    index = 0;
    if (a.isempty()) {
      position = HostArray();
      return a.blank({0, 0}, a.iscomplex());
    }
    index = ExtremeFinder<Extreme>(a)(0, 1, a.numel_);
    position = HostArray::scalar(index + 1.0);
    return a.rearranged({1, 1}, {index});
  }
};

fi fi::min(const fi& b) const { return Extremes::ofBoth<Minimum>(*this, b); }
fi fi::max(const fi& b) const { return Extremes::ofBoth<Maximum>(*this, b); }

fi fi::unary_min(unsigned& index, HostArray& position) const {
  return Extremes::first<Minimum>(*this, index, position);
}
fi fi::unary_max(unsigned& index, HostArray& position) const {
  return Extremes::first<Maximum>(*this, index, position);
}
fi fi::minAlong(unsigned dimension, HostArray& positions) const {
  return Extremes::along<Minimum>(*this, dimension, positions);
}
fi fi::maxAlong(unsigned dimension, HostArray& positions) const {
  return Extremes::along<Maximum>(*this, dimension, positions);
}

}  // namespace embedded
