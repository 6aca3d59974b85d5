/// Bit operations: on the patterns of stored integers, as 64-bit integers over doubles, else number by number.
#include <algorithm>
#include <cmath>
#include <cstdint>

#include "qfcore/fi/assignmentlog.h"
#include "qfcore/fi/elementwise.h"
#include "qfcore/number/messages.h"
#include "qfcore/number/rounding.h"
#include "qfcore/number/wordconstants.h"

namespace embedded {

using EmbeddedTypeSystem::ScalingEnum;
using EmbeddedTypeSystem::SignedEnum;
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

/// A word of a type: its stored integers beside the values that hold them.
struct Word {
  explicit Word(const NumericType& type)
      : isSigned(type.isSigned()),
        wordLength(type.wordLength()),
        exponent(type.isFixedOrScaledDouble() ? type.fixedExponent() : 0),
        constants(wordLength) {}

  // For words of up to 52 bits, carried in doubles.
  std::int64_t stored(double value) const {
    const double units = timesPow2(value, -exponent);
    return static_cast<std::int64_t>(units + std::copysign(0.5, units));
  }
  double value(std::int64_t integer) const { return timesPow2(static_cast<double>(integer), exponent); }
  /// The stored integer whose pattern the low bits are.
  std::int64_t fromPattern(std::int64_t bits) const {
    const auto pattern = static_cast<std::uint64_t>(bits) & constants.xorMask();
    const bool isNegative = isSigned && pattern >> (wordLength - 1) != 0;
    return static_cast<std::int64_t>(isNegative ? pattern | ~constants.xorMask() : pattern);
  }

  bool isSigned;
  int wordLength, exponent;
  WordConstants constants;
};

bool isDouble(const number& x) { return x.gettype() == kDoubleRepresentation; }

struct And {
  static constexpr const char* kName = "bitand";
  static std::int64_t apply(std::int64_t a, std::int64_t b) { return a & b; }
  static void apply(number& a, const number& b, const Word& w) {
    if (isDouble(a)) {
      a.doublebitand(b, w.isSigned, w.wordLength, 1, w.exponent, 0, w.constants.twoToWordLength());
    } else {
      a.mpbitand(b, w.isSigned, w.wordLength, 1, w.exponent, 0, w.constants.mpTwoToWordLength());
    }
  }
};

struct Or {
  static constexpr const char* kName = "bitor";
  static std::int64_t apply(std::int64_t a, std::int64_t b) { return a | b; }
  static void apply(number& a, const number& b, const Word& w) {
    if (isDouble(a)) {
      a.doublebitor(b, w.isSigned, w.wordLength, 1, w.exponent, 0, w.constants.twoToWordLength());
    } else {
      a.mpbitor(b, w.isSigned, w.wordLength, 1, w.exponent, 0, w.constants.mpTwoToWordLength());
    }
  }
};

struct Xor {
  static constexpr const char* kName = "bitxor";
  static std::int64_t apply(std::int64_t a, std::int64_t b) { return a ^ b; }
  static void apply(number& a, const number& b, const Word& w) {
    if (isDouble(a)) {
      a.doublebitxor(b, w.isSigned, w.wordLength, 1, w.exponent, 0, w.constants.twoToWordLength());
    } else {
      a.mpbitxor(b, w.isSigned, w.wordLength, 1, w.exponent, 0, w.constants.mpTwoToWordLength());
    }
  }
};

struct Complement {
  const Word& word;
  double operator()(double x) const { return word.value(word.fromPattern(~word.stored(x))); }
  void operator()(number& x) const {
    const WordConstants& constants = word.constants;
    if (isDouble(x)) {
      x.bitcmp(word.isSigned, word.wordLength, 1, word.exponent, 0, constants.twoToWordLength(),
               constants.xorMask());
    } else {
      x.bitcmp(word.isSigned, word.wordLength, 1, word.exponent, 0, constants.mpXorMask(),
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

struct TimesPow2 {
  int exponent;
  double operator()(double x) const { return timesPow2(x, exponent); }
  void operator()(number& x) const { x.pow2(exponent); }
};

struct StripScaling {
  int exponent;
  double operator()(double x) const { return std::round(timesPow2(x, -exponent)); }
  void operator()(number& x) const { x.stripscaling(1, exponent, 0); }
};

/// From the value of a pattern in one type to its value in another of the same word length.
class Reinterpretation {
 public:
  Reinterpretation(const NumericType& from, const NumericType& to)
      : fromExponent_(from.isFixed() ? from.fixedExponent() : 0),
        toExponent_(to.fixedExponent()),
        isSigned_(to.isSigned()),
        half_(power(to.wordLength() - 1)),
        modulus_(power(to.wordLength())),
        plainHalf_(half_.todouble()),
        plainModulus_(modulus_.todouble()) {}

  double operator()(double x) const {
    double stored = std::round(timesPow2(x, -fromExponent_));
    if (!isSigned_ && stored < 0) stored += plainModulus_;
    if (isSigned_ && stored >= plainHalf_) stored -= plainModulus_;
    return timesPow2(stored, toExponent_);
  }
  void operator()(number& x) const {
    x.stripscaling(1, fromExponent_, 0);
    if (!isSigned_ && x.isnegative()) x += modulus_;
    if (isSigned_ && x >= half_) x -= modulus_;
    x.pow2(toExponent_);
  }

 private:
  static number power(int exponent) {
    number result(1.0, kMaxDoublePrecision + 1, true);
    result.pow2(exponent);
    return result;
  }

  int fromExponent_, toExponent_;
  bool isSigned_;
  number half_, modulus_;
  double plainHalf_, plainModulus_;
};

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

double at(const HostArray& array, std::size_t k) { return array.realAt(array.isScalar() ? 0 : k); }

/// Raises `NotInteger` for a position that is no integer, then `OutOfRange` for one outside the word.
template <const Message& NotInteger, const Message& OutOfRange>
void checkPositions(const HostArray& bit, int wordLength) {
  for (std::size_t k = 0; k < bit.numel(); ++k) {
    if (const double position = bit.realAt(k); position != std::floor(position)) fail<NotInteger>();
  }
  for (std::size_t k = 0; k < bit.numel(); ++k) {
    if (const double position = bit.realAt(k); position < 1 || position > wordLength) fail<OutOfRange>();
  }
}

void checkValues(const HostArray& value) {
  for (std::size_t k = 0; k < value.numel(); ++k) {
    if (const double v = value.realAt(k); v != 0 && v != 1) fail<kBitAndValue>();
  }
}

/// The type of stored integers as values.
NumericType integerType(const NumericType& type) {
  const bool isScaledDouble = type.isScaledDouble();
  return NumericType(isScaledDouble ? type.dataType() : EmbeddedTypeSystem::DataTypeEnum::Fixed,
                     ScalingEnum::BinaryPoint, type.signedEnum(), type.wordLength(), 1.0, 0, 0.0);
}

}  // namespace

// ------------------------------------------------------------------------------------------------ single bits

fi fi::setBits(const HostArray& bit, const HostArray* value) const {
  requirePatterns(*this, "bitset");
  if (iscomplex() || !isReal(bit) || (value && !isReal(*value))) fail<kNotReal>();
  if (value && sizesClash(bit, *value)) fail<kArgSizeMismatch>();
  if (sizesClash(*this, bit) || (value && sizesClash(*this, *value))) fail<kSizeMismatch>();
  if (value) {
    checkValues(*value);
    checkPositions<kBitAndValue, message::bitsetOutOfRange>(bit, getNumericType().wordLength());
  } else {
    checkPositions<kBit, message::bitsetOutOfRange>(bit, getNumericType().wordLength());
  }
  const Word word(getNumericType());
  fi result = blank(resultShape(*this, bit, value), false);
  for (unsigned k = 0; k < result.numel_; ++k) {
    setIndex(isscalar() ? 0 : k);
    number& target = result.realPart_[k];
    target = realPart_;
    setBit(target, static_cast<int>(at(bit, k)), value ? at(*value, k) != 0 : true, word);
  }
  return result;
}

fi fi::bitset(const HostArray& bit) const { return setBits(bit, nullptr); }
fi fi::bitset(const HostArray& bit, const HostArray& value) const { return setBits(bit, &value); }
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
  checkPositions<message::bitgetOutOfRange, message::bitgetOutOfRange>(bit, getNumericType().wordLength());
  const Word word(getNumericType());
  const Shape dims = resultShape(*this, bit, nullptr);
  fi result(dims.data(), static_cast<unsigned>(dims.size()), NumericType(false, 1, 0), fimath_, false, tag());
  for (unsigned k = 0; k < result.numel_; ++k) {
    setIndex(isscalar() ? 0 : k);
    result.realPart_[k] = getBit(realPart_, static_cast<int>(at(bit, k)), word) ? 1.0 : 0.0;
  }
  return result;
}

// ------------------------------------------------------------------------------------------------ whole words

fi fi::bitcmp() const {
  requirePatterns(*this, "bitcmp");
  const Word word(getNumericType());
  fi result = blank(dims_, iscomplex());
  transformParts(*this, result, Complement{word});
  return result;
}

template <class Operation>
fi fi::bitandorxor(const fi& b) const {
  requirePatterns(*this, Operation::kName);
  requirePatterns(b, Operation::kName);
  if (!getNumericType().isequivalent(b.getNumericType())) fail<kMixedTypes>();
  if (!isscalar() && !b.isscalar()) checkElementwiseSize(b);
  const Word word(getNumericType());
  fi result = blank(isscalar() ? b.dims_ : dims_, coordinateComplexityForBitwiseOps(*this, b));
  const number zero(0.0, realPart_.getprecision(), false);
  const auto combinePart = [&](number& target, const BlockOperand& x, const BlockOperand& y) {
    double* to = target.doubles();
    for (unsigned k = 0; k < result.numel_; ++k) {
      to[k] = word.value(Operation::apply(word.stored(*x.at(k)), word.stored(*y.at(k))));
    }
  };
  if (areDoubles(*this) && areDoubles(b)) {
    combinePart(result.realPart_, BlockOperand::real(*this), BlockOperand::real(b));
    if (result.iscomplex()) combinePart(result.imagPart_, BlockOperand::imag(*this), BlockOperand::imag(b));
    return result;
  }
  for (unsigned k = 0; k < result.numel_; ++k) {
    setIndex(isscalar() ? 0 : k);
    b.setIndex(b.isscalar() ? 0 : k);
    result.setIndex(k);
    result.realPart_ = realPart_;
    Operation::apply(result.realPart_, b.realPart_, word);
    if (result.isreal()) continue;
    result.imagPart_ = isreal() ? zero : imagPart_;
    Operation::apply(result.imagPart_, b.isreal() ? zero : b.imagPart_, word);
  }
  return result;
}

fi fi::fibitand(const fi& b) const { return bitandorxor<And>(b); }
fi fi::fibitor(const fi& b) const { return bitandorxor<Or>(b); }
fi fi::bitxor(const fi& b) const { return bitandorxor<Xor>(b); }

// ---------------------------------------------------------------------------------------------- powers of two

fi fi::scaledByPow2(int exponent, RoundModeEnum roundMode, const char* name) const {
  // Shifts beyond the word give what these give: nothing but the sign, or nothing that fits.
  const int beyond = getNumericType().wordLength() + 2;
  if (getNumericType().isFixed()) exponent = std::clamp(exponent, -beyond, beyond);
  fi result = blank(dims_, iscomplex());
  result.assignLogged(name, [&] {
    const quantizer& inUse = result.assignmentQuantizerInUse();
    quantizer q(inUse);
    q.logger().reset();
    q.set(NumericType(inUse.numericType()), roundMode, fimath_.overflowMode());
    mapParts(*this, result, q, TimesPow2{exponent});
    inUse.logger().merge(q.logger());
  });
  return result;
}

fi fi::bitshift(int places) const {
  requirePatterns(*this, "bitshift");
  return scaledByPow2(places, RoundModeEnum::floor, "bitshift");
}

fi fi::pow2(int exponent, bool movesPoint) const {
  errorIfSlopeBiasMath(*this);
  if (!movesPoint || getNumericType().isBuiltIn()) return scaledByPow2(exponent, fimath_.roundMode(), "pow2");
  NumericType type(getNumericType());
  type.setFixedExponent(type.fixedExponent() + exponent);
  fi result(dims_.data(), numDims(), type, fimath_, iscomplex(), tag());
  transformParts(*this, result, TimesPow2{exponent});
  return result;
}

// -------------------------------------------------------------------------------------------- stored integers

fi fi::integerBound(const number& bound) const {
  fi result(1, 1, integerType(getNumericType()), fimath_, false, tag());
  result.realPart_ = bound;
  StripScaling{Word(getNumericType()).exponent}(result.realPart_);
  return result;
}

fi fi::intmin() const {
  if (getNumericType().isFloat()) fail<kFixedOnly>("intmin");
  return integerBound(getAssignmentQuantizer().min());
}

fi fi::intmax() const {
  if (getNumericType().isFloat()) fail<kFixedOnly>("intmax");
  return integerBound(getAssignmentQuantizer().max());
}

fi fi::stripscaling() const {
  if (getNumericType().isBuiltIn()) return detached();
  fi result(dims_.data(), numDims(), integerType(getNumericType()), fimath_, iscomplex(), tag());
  transformParts(*this, result, StripScaling{getNumericType().fixedExponent()});
  return result;
}

fi fi::reinterpretcast(const NumericType& type) const {
  requirePatterns(*this, "reinterpretcast");
  if (!type.isFixed()) fail<kFixedOnly>("reinterpretcast");
  if (type.wordLength() != getNumericType().wordLength()) fail<kWordLengthChanges>();
  fi result(dims_.data(), numDims(), type, fimath_, iscomplex(), tag());
  transformParts(*this, result, Reinterpretation(getNumericType(), result.getNumericType()));
  return result;
}

}  // namespace embedded
