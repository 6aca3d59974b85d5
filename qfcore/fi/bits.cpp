/// Bit operations: on the patterns of stored integers, as 64-bit integers over doubles, else number by number.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "qfcore/fi/assignmentlog.h"
#include "qfcore/fi/exactness.h"
#include "qfcore/fi/expansion.h"
#include "qfcore/fi/paths/integersums.h"
#include "qfcore/fi/paths/patterns.h"
#include "qfcore/fi/resulttypes.h"
#include "qfcore/number/messages.h"
#include "qfcore/number/wordconstants.h"

namespace embedded {

using EmbeddedTypeSystem::ScalingEnum;
using tessel::HostArray;

namespace {

constexpr Message kFixedOnly{"numforge:fi:fixedonly",
                             "Function '%s' is defined only for FI objects with data type Fixed or boolean."};
constexpr Message kNotReal{"numforge:fi:bitset:inputsMustBeReal", "The arguments to BITSET must be real."};
constexpr Message kGetNotReal{"numforge:fi:bitget:inputsMustBeReal", "The arguments to BITGET must be real."};
constexpr Message kSizeMismatch{"numforge:fi:bitSet:sizeMismatch", "Inputs must have the same size."};
constexpr Message kGetSizeMismatch{"numforge:fi:bitget:sizeMismatch", "Inputs must have the same size."};
constexpr Message kArgSizeMismatch{"numforge:fi:bitSet:ArgSizeMismatch",
                                   "Second and third argument to BITSET must be the same size."};
constexpr Message kBitAndValue{"numforge:fi:bitset:BITOutOfRange", "BIT must be integer and V must be 0 or 1."};
constexpr Message kBit{"numforge:fi:bitset:BITOutOfRange", "BIT must be integer."};
constexpr Message kMixedTypes{"numforge:fi:bitAndXorOr:mixedNumericTypes",
                              "Bit AND/OR/XOR must have matching operand types."};
constexpr Message kWordLengthChanges{
    "numforge:fi:reinterpretcast:wordlength",
    "The word length of the FI object and that of the numerictype must be equal."};

void requirePatterns(const fi& x, const char* name) {
  fi::errorIfScaledDouble(x, name);
  if (x.getNumericType().isFloat()) fail<kFixedOnly>(name);
}

/// A word of a type.
struct Word {
  explicit Word(const NumericType& type)
      : isSigned(type.isSigned()),
        wordLength(type.wordLength()),
        exponent(type.isFixedOrScaledDouble() ? type.fixedExponent() : 0),
        constants(wordLength) {}

  bool isSigned;
  int wordLength, exponent;
  WordConstants constants;
};

bool isDouble(const number& x) { return x.gettype() == kDoubleRepresentation; }

/// What a number's bit operations of two words look like, for doubles and for multiprecision.
template <class Modulus>
using WordOperation = number& (number::*)(const number&, bool isSigned, int wordLength, double slope,
                                          int exponent, double bias, Modulus twoToWordLength);

template <WordOperation<unsigned long long> OfDoubles, WordOperation<const MpFloat&> OfMultiprecision>
void applyToWords(number& a, const number& b, const Word& w) {
  if (isDouble(a)) {
    (a.*OfDoubles)(b, w.isSigned, w.wordLength, 1, w.exponent, 0, w.constants.twoToWordLength());
  } else {
    (a.*OfMultiprecision)(b, w.isSigned, w.wordLength, 1, w.exponent, 0, w.constants.mpTwoToWordLength());
  }
}

// Bit operations of two words: on stored integers, and on numbers.

struct And {
  static constexpr const char* kName = "bitand";
  static constexpr auto onNumbers = applyToWords<&number::doublebitand, &number::mpbitand>;
  static std::int64_t apply(std::int64_t a, std::int64_t b) { return a & b; }
};

struct Or {
  static constexpr const char* kName = "bitor";
  static constexpr auto onNumbers = applyToWords<&number::doublebitor, &number::mpbitor>;
  static std::int64_t apply(std::int64_t a, std::int64_t b) { return a | b; }
};

struct Xor {
  static constexpr const char* kName = "bitxor";
  static constexpr auto onNumbers = applyToWords<&number::doublebitxor, &number::mpbitxor>;
  static std::int64_t apply(std::int64_t a, std::int64_t b) { return a ^ b; }
};

template <class WordPatterns>
struct Complement {
  WordPatterns patterns;
  const Word* word;
  double operator()(double x) const { return patterns.value(patterns.fromPattern(~patterns.stored(x))); }
  void operator()(number& x) const {
    const WordConstants& constants = word->constants;
    if (isDouble(x)) {
      x.bitcmp(word->isSigned, word->wordLength, 1, word->exponent, 0, constants.twoToWordLength(),
               constants.xorMask());
    } else {
      x.bitcmp(word->isSigned, word->wordLength, 1, word->exponent, 0, constants.mpXorMask(),
               constants.mpTwoToWordLength());
    }
  }
};

void setBit(number& x, int position, bool value, const Word& w) {
  if (isDouble(x)) {
    x.bitset(position, value, w.isSigned, w.wordLength, 1, w.exponent, 0, w.constants.twoToWordLength());
  } else {
    x.bitset(position, value, w.isSigned, w.wordLength, 1, w.exponent, 0, w.constants.mpTwoToWordLength());
  }
}

bool getBit(const number& x, int position, const Word& w) {
  if (isDouble(x)) {
    return x.bitget(position, w.isSigned, w.wordLength, 1, w.exponent, 0, w.constants.twoToWordLength());
  }
  return x.bitget(position, w.isSigned, w.wordLength, 1, w.exponent, 0, w.constants.mpTwoToWordLength());
}

template <class ToStored>
struct StripScaling {
  ToStored toStored;
  double operator()(double x) const { return std::round(toStored(x)); }
  void operator()(number& x) const { x.stripscaling(1, -toStored.exponent, 0); }
};

/// From the value of a pattern in one type to its value in another of the same word length, whose range starts
/// at `least`.
template <class ToStored, class ToValue>
struct Reinterpretation {
  ToStored toStored;
  ToValue toValue;
  double least, end, plainModulus;
  const number *half, *modulus;
  bool isSigned;

  double operator()(double x) const {
    const double stored = std::round(toStored(x));
    const double above = stored < least ? stored + plainModulus : stored;
    return toValue(above >= end ? above - plainModulus : above);
  }
  void operator()(number& x) const {
    x.stripscaling(1, -toStored.exponent, 0);
    if (!isSigned && x.isnegative()) x += *modulus;
    if (isSigned && x >= *half) x -= *modulus;
    x.pow2(toValue.exponent);
  }
};

number power(int exponent) {
  number result(1.0, kMaxDoublePrecision + 1, true);
  result.pow2(exponent);
  return result;
}

bool isReal(const HostArray& array) {
  return (array.isNumeric() || array.isLogical() || array.isChar()) && !array.isComplex();
}

bool sizesClash(const HostArray& a, const HostArray& b) {
  return !a.isScalar() && !b.isScalar() && a.dims() != b.dims();
}

bool sizesClash(const fi& a, const HostArray& b) {
  return !a.isscalar() && !b.isScalar() &&
         !std::equal(a.dims().begin(), a.dims().end(), b.dims().begin(), b.dims().end());
}

/// The shape of a result: that of the first operand that is not scalar.
fi::Shape resultShape(const fi& a, const HostArray& bit, const HostArray* value) {
  return a.isscalar() ? fi::shapeOf(bit.isScalar() && value ? *value : bit) : a.dims();
}

/// The numbers of a host array, one for all elements where it is scalar.
class Numbers {
 public:
  explicit Numbers(double value) : values_{value} {}
  explicit Numbers(const HostArray& array) : values_(array.numel()) {
    tessel::visitElementType(array.arrayClass(), [&](auto element) {
      using Element = decltype(element);
      std::copy_n(array.real<Element>(), values_.size(), values_.data());
    });
  }
  BlockOperand operand() const { return {values_.data(), values_.size() == 1}; }
  double operator[](std::size_t k) const { return values_[values_.size() == 1 ? 0 : k]; }
  template <class Predicate>
  bool any(Predicate holds) const {
    return anyOf(values_.data(), values_.size(), holds);
  }

 private:
  std::vector<double> values_;
};

/// Raises `NotInteger` for a position that is no integer, then `OutOfRange` for one outside the word.
template <const Message& NotInteger, const Message& OutOfRange>
void checkPositions(const Numbers& bit, int wordLength) {
  if (bit.any([](double position) { return position != std::floor(position); })) fail<NotInteger>();
  if (bit.any([wordLength](double position) { return position < 1 || position > wordLength; }))
    fail<OutOfRange>();
}

/// The shift that brings the bit at a position, from 1, down.
std::int64_t bitOf(double position) { return static_cast<std::int64_t>(position) - 1; }

/// A bit, with its new value as its sign, which 0 would not show.
double signedBit(double position, double value) {
  const auto bit = static_cast<double>(std::int64_t{1} << bitOf(position));
  return value != 0 ? bit : -bit;
}

/// The words with one bit each set to 1 where `values` is not 0, else to 0.
template <class WordPatterns>
void setBitsByBlocks(double* result, const BlockOperand& words, const BlockOperand& positions,
                     const BlockOperand& values, std::size_t count, WordPatterns patterns) {
  const auto setBits = [patterns](double x, double bitAndValue) {
    const auto bit = static_cast<std::int64_t>(std::abs(bitAndValue));
    const std::int64_t set = bitAndValue > 0 ? bit : 0;
    return patterns.value(patterns.fromPattern((patterns.stored(x) & ~bit) | set));
  };
  if (count > 0 && positions.isScalar && values.isScalar) {
    const double bit = signedBit(*positions.values, *values.values);
    return combineBy(result, words.values, words.isScalar, &bit, true, count, setBits);
  }
  forEachBlock(count, [&](std::size_t first, std::size_t size) {
    Block bits;
    combineBy(bits.data(), positions.at(first), positions.isScalar, values.at(first), values.isScalar, size,
              [](double position, double value) { return signedBit(position, value); });
    combineBy(result + first, words.at(first), words.isScalar, bits.data(), false, size, setBits);
  });
}

/// The type of stored integers as values.
NumericType integerType(const NumericType& type) {
  const bool isScaledDouble = type.isScaledDouble();
  return NumericType(isScaledDouble ? type.dataType() : EmbeddedTypeSystem::DataTypeEnum::Fixed,
                     ScalingEnum::BinaryPoint, type.signedEnum(), type.wordLength(), 1.0, 0, 0.0);
}

}  // namespace

// ------------------------------------------------------------------------------------------------ single bits

/// The operations that several names share.
struct fi::Bits {
  static fi set(const fi& x, const HostArray& bit, const HostArray* value) {
    requirePatterns(x, "bitset");
    if (x.iscomplex() || !isReal(bit) || (value && !isReal(*value))) fail<kNotReal>();
    if (value && sizesClash(bit, *value)) fail<kArgSizeMismatch>();
    if (sizesClash(x, bit) || (value && sizesClash(x, *value))) fail<kSizeMismatch>();
    const Numbers positions(bit), values = value ? Numbers(*value) : Numbers(1);
    const Word word(x.getNumericType());
    if (value) {
      if (values.any([](double v) { return v != 0 && v != 1; })) fail<kBitAndValue>();
      checkPositions<kBitAndValue, message::bitsetOutOfRange>(positions, word.wordLength);
    } else {
      checkPositions<kBit, message::bitsetOutOfRange>(positions, word.wordLength);
    }
    fi result = x.unset(resultShape(x, bit, value), false);
    if (takesBlocks(x)) {
      withPatterns(x.getNumericType(), [&](auto patterns) {
        setBitsByBlocks(result.realPart_.doubles(), BlockOperand::real(x), positions.operand(),
                        values.operand(), result.numel_, patterns);
      });
      return result;
    }
    const number source(x.realPart_, Reading{});
    for (unsigned k = 0; k < result.numel_; ++k) {
      number& target = result.realPart_[k];
      target = source[x.isscalar() ? 0 : k];
      setBit(target, static_cast<int>(positions[k]), values[k] != 0, word);
    }
    return result;
  }

  template <class Operation>
  static fi combined(const fi& a, const fi& b) {
    requirePatterns(a, Operation::kName);
    requirePatterns(b, Operation::kName);
    if (!a.getNumericType().isequivalent(b.getNumericType())) fail<kMixedTypes>();
    const fi& shape = shapeOfResult(a, b);
    const Word word(a.getNumericType());
    fi result = a.unset(shape.dims_, a.iscomplex() || b.iscomplex());
    const number zero(0.0, a.realPart_.getprecision(), false);
    if (takesBlocks(a, b)) {
      withPatterns(a.getNumericType(), [&](auto patterns) {
        const auto combinePart = [&](number& target, const BlockOperand& x, const BlockOperand& y) {
          combineBy(target.doubles(), x.values, x.isScalar, y.values, y.isScalar, result.numel_,
                    [patterns](double p, double q) {
                      return patterns.value(Operation::apply(patterns.stored(p), patterns.stored(q)));
                    });
        };
        combinePart(result.realPart_, BlockOperand::real(a), BlockOperand::real(b));
        if (result.iscomplex()) combinePart(result.imagPart_, BlockOperand::imag(a), BlockOperand::imag(b));
      });
      return result;
    }
    const fi left(a, Reading{}), right(b, Reading{});
    for (unsigned k = 0; k < result.numel_; ++k) {
      left.setIndex(a.isscalar() ? 0 : k);
      right.setIndex(b.isscalar() ? 0 : k);
      result.setIndex(k);
      result.realPart_ = left.realPart_;
      Operation::onNumbers(result.realPart_, right.realPart_, word);
      if (result.isreal()) continue;
      result.imagPart_ = a.isreal() ? zero : left.imagPart_;
      Operation::onNumbers(result.imagPart_, b.isreal() ? zero : right.imagPart_, word);
    }
    return result;
  }

  static fi scaledByPow2(const fi& x, int exponent, RoundModeEnum roundMode, const char* name) {
    // Shifts beyond the word give what these give: nothing but the sign, or nothing that fits.
    const int beyond = x.getNumericType().wordLength() + 2;
    if (x.getNumericType().isFixed()) exponent = std::clamp(exponent, -beyond, beyond);
    fi result = x.unset(x.dims_, x.iscomplex());
    result.assignLogged(name, [&] {
      const quantizer& inUse = result.assignmentQuantizerInUse();
      const ArrayFormat::Ptr format = formatRounding(x, roundMode);
      quantizer q(inUse, false);
      q.set(SharedTypePtr(format.get()), format->rules());
      if (!scaleByIntegers(x, exponent, q, result))
        withPow2(exponent, [&](auto times, auto) { mapParts(x, result, q, times); });
      inUse.logger().merge(q.logger());
    });
    return result;
  }

 private:
  /// That of `x`, with another way of rounding.
  static ArrayFormat::Ptr formatRounding(const fi& x, RoundModeEnum roundMode) {
    fimath math(x.getFimath());
    if (math.roundMode() == roundMode) return x.format();
    math.setRoundMode(roundMode);
    return ArrayFormat::of(x.getNumericType(), math);
  }

  /// The same for stored integers of native size, read with fewer or more fraction bits; whether it has.
  static bool scaleByIntegers(const fi& x, int exponent, const quantizer& q, fi& result) {
    NumericType scaled(x.getNumericType());
    if (areDoubles(x) || !exactness::integersHold(kBitsOf<Int128>, scaled)) return false;
    const long fractionLength = exactness::fractionBits(scaled) - exponent;
    if (fractionLength != static_cast<int>(fractionLength)) return false;
    scaled.setFractionLength(static_cast<int>(fractionLength));
    const IntegerSizes sizes = integersForCast(scaled, result.getNumericType());
    if (choosePath({.hasIntegers = sizes != IntegerSizes::None}, x, result) != Path::Integers) return false;
    const auto scale = [&](const number& part, number& target) {
      castByIntegers(x, fractionLength, part, 0, q, sizes, target, 0, x.numel());
    };
    scale(x.realPart(), result.realPart());
    if (x.iscomplex()) scale(x.imagPart(), result.imagPart());
    return true;
  }
};

fi fi::bitset(const HostArray& bit) const { return Bits::set(*this, bit, nullptr); }
fi fi::bitset(const HostArray& bit, const HostArray& value) const { return Bits::set(*this, bit, &value); }
fi fi::bitset(const fi& bit) const { return bitset(bit.getDoubleHostArray()); }
fi fi::bitset(const fi& bit, const fi& value) const {
  return bitset(bit.getDoubleHostArray(), value.getDoubleHostArray());
}
fi fi::bitset(const fi& bit, const HostArray& value) const { return bitset(bit.getDoubleHostArray(), value); }
fi fi::bitset(const HostArray& bit, const fi& value) const { return bitset(bit, value.getDoubleHostArray()); }

fi fi::bitget(const HostArray& bit) const {
  requirePatterns(*this, "bitget");
  if (iscomplex() || !isReal(bit)) fail<kGetNotReal>();
  if (sizesClash(*this, bit)) fail<kGetSizeMismatch>();
  const Numbers positions(bit);
  const Word word(getNumericType());
  checkPositions<message::bitgetOutOfRange, message::bitgetOutOfRange>(positions, word.wordLength);
  const Shape dims = resultShape(*this, bit, nullptr);
  fi result(dims.data(), static_cast<unsigned>(dims.size()), NumericType(false, 1, 0), getFimath(), false,
            tag());
  if (takesBlocks(*this)) {
    const BlockOperand own = BlockOperand::real(*this), places = positions.operand();
    withPatterns(getNumericType(), [&](auto patterns) {
      combineBy(result.realPart_.doubles(), own.values, own.isScalar, places.values, places.isScalar,
                result.numel_, [patterns](double x, double position) {
                  return static_cast<double>(patterns.stored(x) >> bitOf(position) & 1);
                });
    });
    return result;
  }
  const number source(realPart_, Reading{});
  for (unsigned k = 0; k < result.numel_; ++k) {
    result.realPart_[k] = getBit(source[isscalar() ? 0 : k], static_cast<int>(positions[k]), word) ? 1.0 : 0.0;
  }
  return result;
}

// ------------------------------------------------------------------------------------------------ whole words

fi fi::bitcmp() const {
  requirePatterns(*this, "bitcmp");
  const Word word(getNumericType());
  fi result = unset(dims_, iscomplex());
  withPatterns(getNumericType(), [&](auto patterns) {
    transformParts(*this, result, Complement<decltype(patterns)>{patterns, &word});
  });
  return result;
}

fi fi::fibitand(const fi& b) const { return Bits::combined<And>(*this, b); }
fi fi::fibitor(const fi& b) const { return Bits::combined<Or>(*this, b); }
fi fi::bitxor(const fi& b) const { return Bits::combined<Xor>(*this, b); }

// ---------------------------------------------------------------------------------------------- powers of two

fi fi::bitshift(int places) const {
  requirePatterns(*this, "bitshift");
  return Bits::scaledByPow2(*this, places, RoundModeEnum::floor, "bitshift");
}

fi fi::pow2(int exponent, bool movesPoint) const {
  errorIfSlopeBiasMath(*this);
  if (!movesPoint || getNumericType().isBuiltIn())
    return Bits::scaledByPow2(*this, exponent, getFimath().roundMode(), "pow2");
  NumericType type(getNumericType());
  type.setFractionLength(resulttypes::checkedFractionLength(exactness::fractionBits(type) - exponent));
  fi result(dims_.data(), numDims(), type, getFimath(), iscomplex(), tag());
  withPow2(exponent, [&](auto times, auto) { transformParts(*this, result, times); });
  return result;
}

// -------------------------------------------------------------------------------------------- stored integers

namespace {

fi integerBound(const fi& x, const number& bound) {
  fi result(1, 1, integerType(x.getNumericType()), x.getFimath(), false, x.tag());
  result.realPart() = bound;
  result.realPart().stripscaling(1, Word(x.getNumericType()).exponent, 0);
  return result;
}

}  // namespace

fi fi::intmin() const {
  if (getNumericType().isFloat()) fail<kFixedOnly>("intmin");
  return integerBound(*this, getAssignmentQuantizer().min());
}

fi fi::intmax() const {
  if (getNumericType().isFloat()) fail<kFixedOnly>("intmax");
  return integerBound(*this, getAssignmentQuantizer().max());
}

fi fi::stripscaling() const {
  if (getNumericType().isBuiltIn()) return detached();
  fi result(dims_.data(), numDims(), integerType(getNumericType()), getFimath(), iscomplex(), tag());
  withPow2(getNumericType().fixedExponent(), [&](auto, auto toStored) {
    transformParts(*this, result, StripScaling<decltype(toStored)>{toStored});
  });
  return result;
}

fi fi::reinterpretcast(const NumericType& type) const {
  requirePatterns(*this, "reinterpretcast");
  if (!type.isFixed()) fail<kFixedOnly>("reinterpretcast");
  if (type.wordLength() != getNumericType().wordLength()) fail<kWordLengthChanges>();
  fi result(dims_.data(), numDims(), type, getFimath(), iscomplex(), tag());
  const Word from(getNumericType()), to(result.getNumericType());
  const number half = power(to.wordLength - 1), modulus = power(to.wordLength);
  const double range = modulus.todouble(), end = to.isSigned ? half.todouble() : range;
  withPow2(from.exponent, [&](auto, auto toStored) {
    withPow2(to.exponent, [&](auto toValue, auto) {
      transformParts(*this, result,
                     Reinterpretation<decltype(toStored), decltype(toValue)>{
                         toStored, toValue, end - range, end, range, &half, &modulus, to.isSigned});
    });
  });
  return result;
}

}  // namespace embedded
