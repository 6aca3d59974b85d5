/// How values get into an array: the host's, a program's, stored words, and one element's into another.
#include <algorithm>
#include <bit>
#include <cassert>
#include <cmath>
#include <limits>

#include "qfcore/fi/elementvisit.h"
#include "qfcore/fi/paths/elementwise.h"
#include "qfcore/fi/paths/integerblocks.h"

namespace embedded {

using tessel::HostArray;

number HeldArray::zeroValue() const {
  const NumericType& type = getNumericType();
  number zero(type.isSlopeBias() ? -type.bias() : 0.0, realPart_.getprecision(), false);
  // Not moved to the grid, so that it reads as real-world zero.
  if (type.isSlopeBias()) zero /= number(type.slopeAdjustmentFactor(), realPart_.getprecision(), false);
  return zero;
}

void HeldArray::fillWithZeroValue(number& part, unsigned first) const {
  if (first >= part.numel()) return;
  if (isSlopeBias()) return fillWith(zeroValue(), part, first);
  if (double* plain = part.doubles()) std::fill(plain + first, plain + part.numel(), 0.0);
}

void HeldArray::fillWith(const number& value, number& part, unsigned first) {
  for (unsigned k = first; k < part.numel(); ++k) part[k] = value;
}

void HeldArray::overwriteWithZeroValue(number& part, const ElementVisit& targets, unsigned count) const {
  const number zero = zeroValue();
  for (unsigned k = 0; k < count; ++k) part[targets[k]] = zero;
}

namespace {

/// Whether there is an integer that the doubles, which hold all of up to 2^53, may not hold.
template <class Element>
bool anyBeyondDoubles(const Element* re, const Element* im, unsigned count) {
  if constexpr (!std::is_integral_v<Element> || sizeof(Element) < 8) {
    return false;
  } else {
    const auto isBeyond = [](Element value) {
      constexpr std::uint64_t kLimit = std::uint64_t{1} << 53;
      const auto pattern = static_cast<std::uint64_t>(value);
      return std::is_signed_v<Element> ? pattern + kLimit > 2 * kLimit : pattern > kLimit;
    };
    return anyOf(re, count, isBeyond) || (im && anyOf(im, count, isBeyond));
  }
}

/// Whether there is a NaN or an infinity. Their difference with themselves is a NaN, that of others 0, all bits
/// of which are 0 then.
template <class Element>
QFCORE_VECTORISED bool anyNotFinite(const Element* values, std::size_t count) {
  using Bits = std::conditional_t<sizeof(Element) == sizeof(std::uint64_t), std::uint64_t, std::uint32_t>;
  Bits found = 0;
  for (std::size_t i = 0; i < count; ++i) found |= std::bit_cast<Bits>(values[i] - values[i]);
  return found != 0;
}

/// Turns real-world values or stored integers, checked for the data type, into held values.
class ToHeld {
 public:
  explicit ToHeld(const NumericType& type, bool isStored = false)
      : dataType_(type.dataType()),
        isStored_(isStored),
        isSlopeBias_(!isStored && type.isSlopeBias()),
        exponent_(type.fixedExponent()),
        factor_(type.slopeAdjustmentFactor()),
        bias_(type.bias()) {}
  EmbeddedTypeSystem::DataTypeEnum dataType() const { return dataType_; }
  /// Whether doubles are held as they are.
  bool isIdentity() const { return !isStored_ && !isSlopeBias_; }
  template <class Element>
  void operator()(const Element* from, double* to, std::size_t count) const {
    if constexpr (std::is_floating_point_v<Element>) requireSuited(from, count);
    const auto convert = [&](auto operation) {
      transformValues(from, to, count, [=](Element value) { return operation(static_cast<double>(value)); });
    };
    if (isStored_) {
      withPow2(exponent_, [&](auto toValue, auto) { convert(toValue); });
    } else if (isSlopeBias_) {
      convert([factor = factor_, bias = bias_](double value) { return (value - bias) / factor; });
    } else if constexpr (std::is_same_v<Element, double>) {
      std::copy_n(from, count, to);
    } else {
      convert([](double value) { return value; });
    }
  }
  void inPlace(number& value) const {
    if (isStored_) value.pow2(exponent_);
    if (!isSlopeBias_) return;
    value -= number(bias_, value.getprecision(), false);
    value /= number(factor_, value.getprecision(), false);
  }

  /// Raises for a NaN or an infinity that the data type does not hold.
  template <class Element>
  void requireSuited(const Element* values, std::size_t count) const {
    if (!anyNotFinite(values, count)) return;
    std::for_each_n(values, count, [this](Element value) { NumericType::checkNaNInf(dataType_, value); });
  }

 private:
  EmbeddedTypeSystem::DataTypeEnum dataType_;
  bool isStored_, isSlopeBias_;
  int exponent_;
  double factor_, bias_;
};

template <class Element>
void assignDoubles(number& part, const Element* values, const ToHeld& toHeld, const quantizer& q) {
  assert(q.isDoubleBacked());
  const bool byBlocks = takesBlocks(part);
  double* held = part.doubles();
  shareLoop(part.numel(), kSharedDoubles, std::array{&q},
            [&](std::size_t begin, std::size_t count, const auto& own) {
              const bool areHeldAsGiven = byBlocks && std::is_same_v<Element, double> && toHeld.isIdentity();
              if constexpr (std::is_same_v<Element, double>) {
                if (areHeldAsGiven && own[0]->quantizeFinite(values + begin, held + begin, count)) return;
              }
              forEachBlock(count, [&](std::size_t offset, std::size_t size) {
                const std::size_t first = begin + offset;
                if constexpr (std::is_same_v<Element, double>) {
                  if (areHeldAsGiven) {
                    toHeld.requireSuited(values + first, size);
                    return own[0]->quantize(values + first, held + first, size);
                  }
                }
                toHeld(values + first, held + first, size);
                if (byBlocks) own[0]->quantize(held + first, size);
              });
            });
  for (unsigned i = 0; !byBlocks && i < part.numel(); ++i) q.quantize(part[i]);
}

/// The way of most arrays, which asks for nothing else: one pass on one thread. False where it does not do.
bool assignAtOnce(number& part, const double* values, const quantizer& q) {
  double* held = part.doubles();
  return held && takesBlocks(part) && detail::pieceCount(part.numel(), kSharedDoubles) == 1 &&
         q.quantizeFinite(values, held, part.numel());
}

template <class Element>
void assignNumbers(number& part, const Element* values, const ToHeld& toHeld, const quantizer& q) {
  const NumericType& type = q.numericType();
  std::optional<IntegerTarget> stored;
  if (!elementPathOnly() && exactness::integersHold(kBitsOf<Int128>, type)) stored.emplace(part, type);
  const auto assignRange = [&](std::size_t first, std::size_t count, const auto& own) {
    number exact(0.0, std::max(part.getprecision(), 65U), true);
    for (std::size_t i = first; i < first + count; ++i) {
      if constexpr (std::is_integral_v<Element> && sizeof(Element) == 8) {
        const auto pattern = static_cast<std::uint64_t>(values[i]);
        const unsigned words[] = {static_cast<unsigned>(pattern), static_cast<unsigned>(pattern >> 32)};
        exact.setvalue(words, 2, std::is_signed_v<Element>, 64, 1.0, 0, 0.0);
      } else {
        NumericType::checkNaNInf(toHeld.dataType(), static_cast<double>(values[i]));
        exact = static_cast<double>(values[i]);
      }
      toHeld.inPlace(exact);
      if (stored) {
        own[0]->quantize(exact);
        const auto word = storedInteger<Int128>(exact.multiprecision()->getelement(), type.fractionLength());
        stored->write(i, &word, 1);
      } else {
        storeExactly(own[0]->quantize(exact), part, static_cast<unsigned>(i));
      }
    }
  };
  if (!stored) makeStorable(part);
  shareLoop(part.numel(), kSharedWide, std::array{&q}, assignRange);
}

}  // namespace

void HeldArray::storeRealWorld(number& part, const double* values) const {
  const ToHeld toHeld(getNumericType());
  const unsigned count = part.numel();
  if (double* plain = part.doubles()) return toHeld(values, plain, count);
  for (unsigned i = 0; i < count; ++i) {
    NumericType::checkNaNInf(getNumericType().dataType(), values[i]);
    part[i] = values[i];
    toHeld.inPlace(part[i]);
  }
}

void HeldArray::fillWithRealWorld(number& part, double value) const {
  const unsigned count = part.numel();
  if (count == 0) return;
  const NumericType& type = getNumericType();
  NumericType::checkNaNInf(type.dataType(), value);
  double* plain = part.doubles();
  if (plain && !type.isSlopeBias()) {
    std::fill_n(plain, count, value);
    return;
  }
  number held(value, part.getprecision(), false);
  ToHeld(type).inPlace(held);
  for (unsigned i = 0; i < count; ++i) part[i] = held;
}

void HeldArray::fillQuantized(double value) {
  fillWithRealWorld(realPart_, value);
  quantizeAll();
}

namespace {

/// Patterns of words that native integers hold, which become their stored integers.
void readWords(number& part, const NumericType& type, const unsigned* words, unsigned wordsEach) {
  const IntegerTarget to(part, type);
  const int unused = kBitsOf<Int128> - type.wordLength(), count = (type.wordLength() + 31) / 32;
  shareLoop(part.numel(), kSharedIntegers, [&](std::size_t begin, std::size_t length) {
    IntegerBlock<Int128> block;
    forEachIntegerBlock(begin, length, [&](std::size_t first, std::size_t size) {
      for (std::size_t k = 0; k < size; ++k) {
        const unsigned* const word = words + (first + k) * wordsEach;
        Uint128 pattern = 0;
        for (int i = count; i-- > 0;) pattern = pattern << 32 | word[i];
        pattern <<= unused;
        block[k] =
            type.isSigned() ? static_cast<Int128>(pattern) >> unused : static_cast<Int128>(pattern >> unused);
      }
      to.write(first, block.data(), size);
    });
  });
}

}  // namespace

void HeldArray::storeWords(number& part, const unsigned* words, unsigned wordsEach) const {
  const NumericType& type = getNumericType();
  const int wordsNeeded = (type.wordLength() + 31) / 32;
  boost::container::small_vector<unsigned, 8> pattern(static_cast<std::size_t>(wordsNeeded));
  if (!elementPathOnly() && !areDoubles(part) && exactness::integersHold(kBitsOf<Int128>, type))
    return readWords(part, type, words, wordsEach);
  const unsigned topBits = static_cast<unsigned>(type.wordLength()) % 32;
  for (unsigned i = 0; i < part.numel(); ++i, words += wordsEach) {
    std::copy(words, words + wordsNeeded, pattern.begin());
    if (topBits != 0) pattern.back() &= (1U << topBits) - 1U;
    part[i].setvalue(pattern.data(), wordsNeeded, type.isSigned(), type.wordLength(),
                     type.slopeAdjustmentFactor(), type.fixedExponent(), type.bias());
  }
}

void HeldArray::storeHostValues(const HostArray& values, ValueMeaning meaning) {
  NumericType::errorIfComplexLogical(getNumericType().dataType(), values.isComplex());
  tessel::visitElementType(values.arrayClass(), [&](auto element) {
    using Element = decltype(element);
    assignValues(values.real<Element>(), values.imag<Element>(), meaning);
  });
}

template <class Element>
void HeldArray::assignValues(const Element* re, const Element* im, ValueMeaning meaning) {
  if constexpr (std::is_same_v<Element, double>) {
    if (!im && meaning == ValueMeaning::RealWorld && !format()->isSlopeBias() &&
        assignAtOnce(realPart_, re, *assignmentQuantizerInUse_))
      return;
  }
  // An integer that no double holds is quantized as it is: a double on the way would be a rounding too many.
  const bool exactly = assignmentQuantizerInUse_->isDoubleBacked() && anyBeyondDoubles(re, im, numel_);
  const ToHeld toHeld(getNumericType(), meaning == ValueMeaning::StoredInteger);
  const auto assignPart = [&](number& part, const Element* values) {
    if (part.doubles() && !exactly) {
      assignDoubles(part, values, toHeld, *assignmentQuantizerInUse_);
    } else {
      assignNumbers(part, values, toHeld, *assignmentQuantizerInUse_);
    }
  };
  assignPart(realPart_, re);
  if (im) assignPart(imagPart_, im);
}

template void HeldArray::assignValues(const double*, const double*, ValueMeaning);

void HeldArray::quantizeAll() {
  const quantizer& q = *assignmentQuantizerInUse_;
  // Only a view has to ask its target.
  const bool isComplex = isView_ ? iscomplex() : !isReal_;
  if (elementPathOnly()) {
    for (unsigned i = 0; i < numel_; ++i) {
      q.quantize(realPart_[i]);
      if (isComplex) q.quantize(imagPart_[i]);
    }
    return;
  }
  q.quantizeAll(realPart_);
  if (isComplex) q.quantizeAll(imagPart_);
}

void HeldArray::assignElement(const HeldArray& source) {
  requireElements();
  source.requireElements();
  RecordsKept kept;
  const qlogger& record = assignmentQuantizerInUse_->logger();
  if (record.isOn()) kept.keep(&record);
  NewElement(*this, source, iscomplex()).put(*this);
  kept.complete();
}

HeldArray::NewElement::NewElement(const HeldArray& array, const HeldArray& source, bool isComplex)
    : real_(1U, array.realPart_.getprecision(), NumberVector{}),
      imag_(isComplex ? 1U : 0U, array.realPart_.getprecision(), NumberVector{}) {
  array.assignPart(real_, source.realPart_, source.getNumericType());
  if (!isComplex) return;
  if (source.iscomplex()) {
    array.assignPart(imag_, source.imagPart_, source.getNumericType());
  } else {
    imag_ = array.zeroValue();
  }
}

void HeldArray::NewElement::put(HeldArray& array) const {
  array.realPart_ = real_;
  if (!imag_.isempty()) array.imagPart_ = imag_;
}

void HeldArray::assignPart(number& target, const number& value, const NumericType& from) const {
  const NumericType& to = getNumericType();
  if (!from.isSlopeBias() && !to.isSlopeBias()) {
    assignmentQuantizerInUse_->quantize(value, target);
    return;
  }
  number moved(0.0, std::max(value.getprecision(), target.getprecision()), false);
  moved.setvalue(value, from.slopeAdjustmentFactor(), from.bias());
  ToHeld(to).inPlace(moved);
  assignmentQuantizerInUse_->quantize(moved, target);
}

}  // namespace embedded
