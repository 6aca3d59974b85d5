#include "qfcore/types/numerictype.h"

#include "qfcore/types/hashing.h"
#include "qfcore/types/md5checksummodendian.h"
#include "qfcore/types/numerictype_messages.h"
#include "qfcore/types/warnings.h"

namespace EmbeddedTypeSystem {

using embedded::fail;
using embedded::warn;

namespace {

bool unspecifiedSignAllowed = false;

// How the warnings and errors of the setters describe the modes to which a property does not apply.
constexpr const char* kBuiltIn = "Double, Single or Boolean";
constexpr const char* kBuiltInWithComma = "Double, Single, or Boolean";
constexpr const char* kWithoutExponent =
    "Double, Single, Boolean, Scaled double or Fixed-point: unspecified scaling";
constexpr const char* kWithoutSlopeBias =
    "Scaled double or Fixed-point: unspecified scaling or binary point scaling";

[[noreturn]] void failSigned(const char* objectName) {
  const std::string name = objectName;
  throw embedded::ErrorIdException(
      "numforge:" + name + ":signed:InvalidValue",
      "The SIGNED property of the " + name + " object must be " +
          (unspecifiedSignAllowed ? "1 (true), 0 (false), or [] (unspecified)." : "1 (true) or 0 (false)."));
}

/// The scaling that a mode stands for.
ScalingEnum scalingOf(DataTypeModeEnum mode) {
  switch (mode) {
    case DataTypeModeEnum::FixedUnspecified:
    case DataTypeModeEnum::ScaledDoubleUnspecified: return ScalingEnum::Unspecified;
    case DataTypeModeEnum::FixedBinaryPoint:
    case DataTypeModeEnum::ScaledDoubleBinaryPoint: return ScalingEnum::BinaryPoint;
    case DataTypeModeEnum::FixedSlopeBias:
    case DataTypeModeEnum::ScaledDoubleSlopeBias: return ScalingEnum::SlopeBias;
    default: return ScalingEnum::Unused;
  }
}

bool isDataType(DataTypeEnum dataType) { return textOf(dataType) != nullptr; }
bool isMode(DataTypeModeEnum mode) { return textOf(mode) != nullptr; }

/// The one word length of a built-in mode; 0 for the other modes.
int canonicalWordLength(DataTypeModeEnum mode) {
  switch (mode) {
    case DataTypeModeEnum::Boolean: return 1;
    case DataTypeModeEnum::Single: return 32;
    case DataTypeModeEnum::Double: return 64;
    default: return 0;
  }
}

}  // namespace

void setNumericTypeUnspecifiedSign(bool allowed) { unspecifiedSignAllowed = allowed; }
bool numericTypeUnspecifiedSign() { return unspecifiedSignAllowed; }

NumericType::NumericType(bool isSigned, int wordLength, int fractionLength)
    : NumericType(DataTypeEnum::Fixed, ScalingEnum::BinaryPoint, isSigned, wordLength, 1.0,
                  negatedExponent(fractionLength), 0.0) {}

NumericType::NumericType(DataTypeEnum dataType, ScalingEnum scaling, bool isSigned, int wordLength,
                         double slopeAdjustmentFactor, int fixedExponent, double bias)
    : NumericType(dataType, scaling, isSigned ? SignedEnum::Signed : SignedEnum::Unsigned, wordLength,
                  slopeAdjustmentFactor, fixedExponent, bias) {}

NumericType::NumericType(DataTypeEnum dataType, ScalingEnum scaling, SignedEnum sign, int wordLength,
                         double slopeAdjustmentFactor, int fixedExponent, double bias)
    : NumericType() {
  if (!isDataType(dataType)) fail<msg::unhandledCase>();
  setDataTypeProps(dataType, scaling, sign, wordLength, slopeAdjustmentFactor, fixedExponent, bias);
}

NumericType::NumericType(DataTypeModeEnum mode, bool isSigned, int wordLength, double slopeAdjustmentFactor,
                         int fixedExponent, double bias)
    : NumericType() {
  if (!isMode(mode)) fail<msg::unhandledCase>();
  setDataTypeProps(convertDataTypeModeToDataType(mode), scalingOf(mode),
                   isSigned ? SignedEnum::Signed : SignedEnum::Unsigned, wordLength, slopeAdjustmentFactor,
                   fixedExponent, bias);
}

DataTypeEnum NumericType::convertDataTypeModeToDataType(DataTypeModeEnum mode) {
  switch (mode) {
    case DataTypeModeEnum::Boolean: return DataTypeEnum::Boolean;
    case DataTypeModeEnum::Single: return DataTypeEnum::Single;
    case DataTypeModeEnum::Double: return DataTypeEnum::Double;
    case DataTypeModeEnum::FixedUnspecified:
    case DataTypeModeEnum::FixedBinaryPoint:
    case DataTypeModeEnum::FixedSlopeBias: return DataTypeEnum::Fixed;
    case DataTypeModeEnum::ScaledDoubleUnspecified:
    case DataTypeModeEnum::ScaledDoubleBinaryPoint:
    case DataTypeModeEnum::ScaledDoubleSlopeBias: return DataTypeEnum::ScaledDouble;
  }
  fail<msg::unknownDataTypeMode>();
}

DataTypeModeEnum NumericType::convertDataTypeToDataTypeMode(DataTypeEnum dataType, ScalingEnum scaling) {
  const bool binaryPoint = scaling == ScalingEnum::BinaryPoint;
  const bool slopeBias = scaling == ScalingEnum::SlopeBias;
  switch (dataType) {
    case DataTypeEnum::Fixed:
      return binaryPoint ? DataTypeModeEnum::FixedBinaryPoint
             : slopeBias ? DataTypeModeEnum::FixedSlopeBias
                         : DataTypeModeEnum::FixedUnspecified;
    case DataTypeEnum::ScaledDouble:
      return binaryPoint ? DataTypeModeEnum::ScaledDoubleBinaryPoint
             : slopeBias ? DataTypeModeEnum::ScaledDoubleSlopeBias
                         : DataTypeModeEnum::ScaledDoubleUnspecified;
    case DataTypeEnum::Boolean: return DataTypeModeEnum::Boolean;
    case DataTypeEnum::Single: return DataTypeModeEnum::Single;
    case DataTypeEnum::Double: return DataTypeModeEnum::Double;
  }
  fail<msg::invalidDataType>();
}

tessel::HostArray NumericType::signedArray() const {
  if (isSignUnspecified()) return tessel::HostArray::zeros(tessel::ArrayClass::Logical, {0, 0});
  return tessel::HostArray::logical(isSigned());
}

void NumericType::errorIfBadWordLength() const {
  if (isBuiltIn()) return;
  if (wordLength_ < 1) fail<msg::wordLengthTooSmall>();
  if (wordLength_ > kMaxWordLength) fail<msg::wordLengthTooBig>();
}

bool NumericType::setWordLength(int wordLength) {
  if (isBuiltIn()) {
    if (wordLength == canonicalWordLength(dataTypeMode_)) return true;
    warn<msg::cannotChange>("WordLength", kBuiltIn);
    return false;
  }
  if (wordLength < 1) {
    warn<msg::wordLengthTooSmall>();
    return false;
  }
  if (wordLength > kMaxWordLength) {
    warn<msg::wordLengthTooBig>();
    return false;
  }
  wordLength_ = wordLength;
  return true;
}

bool NumericType::setSignedEnum(SignedEnum sign) {
  if (sign == SignedEnum::Unspecified && !unspecifiedSignAllowed) failSigned("NUMERICTYPE");
  if (isBuiltIn()) {
    const SignedEnum refused =
        dataTypeMode_ == DataTypeModeEnum::Boolean ? SignedEnum::Signed : SignedEnum::Unsigned;
    if (sign != refused) return true;
    warn<msg::cannotChange>("Signed", kBuiltIn);
    return false;
  }
  sign_ = sign;
  return true;
}

bool NumericType::setSigned(bool isSigned) {
  return setSignedEnum(isSigned ? SignedEnum::Signed : SignedEnum::Unsigned);
}

bool NumericType::setSignedEnum(const tessel::HostArray& value, const char* objectName) {
  if (value.isEmpty()) {
    if (!unspecifiedSignAllowed) failSigned(objectName);
    return setSignedEnum(SignedEnum::Unspecified);
  }
  if (!value.isScalar() || value.isComplex() || !(value.isNumeric() || value.isLogical()))
    failSigned(objectName);
  const double number = value.realAt(0);
  if (number != 0 && number != 1) failSigned(objectName);  // a NaN differs from both
  return setSigned(number == 1);
}

bool NumericType::storeExponent(int fixedExponent, const char* property) {
  if (fixedExponent != 0 && (isBuiltIn() || isScalingUnspecified())) {
    warn<msg::cannotChange>(property, kWithoutExponent);
    return false;
  }
  fixedExponent_ = fixedExponent;
  return true;
}

bool NumericType::setFixedExponent(int fixedExponent) { return storeExponent(fixedExponent, "FixedExponent"); }

bool NumericType::setFractionLength(int fractionLength) {
  return storeExponent(negatedExponent(fractionLength), "FractionLength");
}

bool NumericType::setSlope(double slope) {
  if (isBuiltIn() || unspecifiedScaling()) {
    if (slope == 1) return true;
    warn<msg::cannotChange>("Slope", kWithoutExponent);
    return false;
  }
  if (!isValidSlope(slope)) fail<msg::invalidSlope>();
  const SlopeParts parts = splitSlope(slope);
  // A scaled double leaves the refusal to the factor's own rule, with that rule's text.
  if (dataTypeMode_ == DataTypeModeEnum::FixedBinaryPoint && parts.factor != 1) fail<msg::slopeNoPowerOfTwo>();
  setSlopeAdjustmentFactor(parts.factor);  // may throw, so it comes before the exponent is stored
  return setFixedExponent(parts.exponent);
}

bool NumericType::setSlopeAdjustmentFactor(double factor) {
  if (isSlopeBiasScalingSet() && !isBuiltIn()) {
    if (!isValidSlopeAdjustmentFactor(factor)) fail<msg::invalidSlopeAdjustmentFactor>();
    slopeAdjustmentFactor_ = factor;
    return true;
  }
  if (factor == 1) return true;
  // Fixed-point with unspecified scaling is described as the built-in types are.
  const bool warns = isBuiltIn() || dataTypeMode_ == DataTypeModeEnum::FixedUnspecified;
  if (!warns) fail<msg::cannotChange>("SlopeAdjustmentFactor", kWithoutSlopeBias);
  warn<msg::cannotChange>("SlopeAdjustmentFactor", kBuiltIn);
  return false;
}

bool NumericType::setBias(double bias) {
  if (isSlopeBiasScalingSet() && !isBuiltIn()) {
    bias_ = bias;
    return true;
  }
  if (bias == 0) return true;
  if (!isBuiltIn()) fail<msg::cannotChange>("Bias", kWithoutSlopeBias);
  // The warning names the other property, and its list of modes has a comma of its own.
  warn<msg::cannotChange>("SlopeAdjustmentFactor", kBuiltInWithComma);
  return false;
}

bool NumericType::setScaling(ScalingEnum scaling) {
  if (isBuiltIn()) {
    if (scaling == ScalingEnum::Unused) return true;
    warn<msg::cannotChange>("Scaling", kBuiltIn);
    return false;
  }
  if (scaling == ScalingEnum::Unused) {
    warn<msg::cannotChange>("Scaling", isFixed() ? "Fixed point" : "Scaled double");
    return false;
  }
  setDataTypeMode(convertDataTypeToDataTypeMode(dataType_, scaling));
  return true;
}

void NumericType::setDataType(DataTypeEnum dataType) {
  setDataTypeMode(convertDataTypeToDataTypeMode(dataType, scaling_), true);
}

void NumericType::setDataTypeMode(DataTypeModeEnum mode, bool resetFromBuiltIn) {
  if (!isMode(mode)) fail<msg::invalidDataTypeMode>();
  const DataTypeEnum dataType = convertDataTypeModeToDataType(mode);
  const ScalingEnum scaling = scalingOf(mode);
  const int canonical = canonicalWordLength(mode);
  if (canonical != 0) {
    const SignedEnum sign = dataType == DataTypeEnum::Boolean ? SignedEnum::Unsigned : SignedEnum::Signed;
    setDataTypeProps(dataType, scaling, sign, canonical, 1.0, 0, 0.0);
  } else if (resetFromBuiltIn && isBuiltIn()) {
    setDataTypeProps(dataType, scaling, SignedEnum::Signed, 16, 1.0, 0, 0.0);
  } else if (scaling == ScalingEnum::SlopeBias) {
    setDataTypeProps(dataType, scaling, sign_, wordLength_, slopeAdjustmentFactor_, fixedExponent_, bias_);
  } else {
    const int exponent = scaling == ScalingEnum::BinaryPoint ? fixedExponent_ : 0;
    setDataTypeProps(dataType, scaling, sign_, wordLength_, 1.0, exponent, 0.0);
  }
}

void NumericType::setDataTypeProps(DataTypeEnum dataType, ScalingEnum scaling, SignedEnum sign, int wordLength,
                                   double slopeAdjustmentFactor, int fixedExponent, double bias) {
  dataTypeMode_ = convertDataTypeToDataTypeMode(dataType, scaling);  // may throw, so it comes first
  dataType_ = dataType;
  scaling_ = scalingOf(dataTypeMode_);
  sign_ = sign;
  wordLength_ = wordLength;
  slopeAdjustmentFactor_ = slopeAdjustmentFactor;
  fixedExponent_ = fixedExponent;
  bias_ = bias;
}

void NumericType::setFixedPointProps(bool isSigned, int wordLength, double slopeAdjustmentFactor,
                                     int fixedExponent, double bias) {
  const bool unscaled = slopeAdjustmentFactor == 1 && bias == 0;
  setDataTypeProps(isScaledDouble() ? DataTypeEnum::ScaledDouble : DataTypeEnum::Fixed,
                   unscaled ? ScalingEnum::BinaryPoint : ScalingEnum::SlopeBias,
                   isSigned ? SignedEnum::Signed : SignedEnum::Unsigned, wordLength, slopeAdjustmentFactor,
                   fixedExponent, bias);
}

void NumericType::checkNotFinite(DataTypeEnum dataType, double value) {
  const bool isNaN = std::isnan(value);
  switch (dataType) {
    case DataTypeEnum::Boolean:
      if (isNaN) fail<msg::booleanNaN>();
      return;
    case DataTypeEnum::Fixed:
      if (isNaN) fail<msg::fixedNaN>();
      fail<msg::fixedInf>();
    case DataTypeEnum::ScaledDouble:
      if (isNaN) fail<msg::scaledDoubleNaN>();
      fail<msg::scaledDoubleInf>();
    default: return;
  }
}

void NumericType::errorIfComplexLogical(DataTypeEnum dataType, bool isComplex) {
  if (isComplex && dataType == DataTypeEnum::Boolean) fail<msg::booleanComplex>();
}

std::partial_ordering NumericType::compareSameKind(const Type& other) const {
  const auto& b = static_cast<const NumericType&>(other);
  if (auto order = dataTypeMode_ <=> b.dataTypeMode_; order != 0) return order;
  if (auto order = sign_ <=> b.sign_; order != 0) return order;
  if (auto order = wordLength_ <=> b.wordLength_; order != 0) return order;
  if (auto order = fixedExponent_ <=> b.fixedExponent_; order != 0) return order;
  if (auto order = slopeAdjustmentFactor_ <=> b.slopeAdjustmentFactor_; order != 0) return order;
  return bias_ <=> b.bias_;
}

std::size_t NumericType::hash() const {
  return hashOf(dataTypeMode_, sign_, wordLength_, fixedExponent_, slopeAdjustmentFactor_, bias_);
}

bool NumericType::canBeConvertedTo(const Type& other) const { return isNumberLike(other.kind()); }

void NumericType::addCheckSum(MD5CheckSumModEndian& sum) const {
  sum.addText("Numeric");
  sum.addInt32(static_cast<int>(dataTypeMode_));
  sum.addInt32(static_cast<int>(dataType_));
  sum.addInt32(static_cast<int>(scaling_));
  sum.addInt32(static_cast<int>(sign_));
  sum.addInt32(wordLength_);
  sum.addInt32(fixedExponent_);
  sum.addReal64(slopeAdjustmentFactor_);
  sum.addReal64(bias_);
  Type::addCheckSum(sum);
}

}  // namespace EmbeddedTypeSystem
