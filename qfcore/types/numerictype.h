/// The data type of fixed-point values: built-in, fixed-point or scaled double.
#pragma once

#include <bit>
#include <cmath>
#include <concepts>
#include <cstdint>
#include <span>
#include <string>

#include "qfcore/types/enumerations.h"
#include "qfcore/types/slope.h"
#include "qfcore/types/type.h"
#include "tessel/array.h"

namespace EmbeddedTypeSystem {

/// Module-wide switch: a numeric type's sign may be left unspecified. Off at start.
QFCORE_API void setNumericTypeUnspecifiedSign(bool allowed);
QFCORE_API bool numericTypeUnspecifiedSign();

/// The data type of a fixed-point array: signedness, word length and scaling, or one of the built-in data
/// types. The real-world value of stored integer Q is SlopeAdjustmentFactor · 2^FixedExponent · Q + Bias.
///
/// A property that cannot apply to the current mode is not stored. Where a setter warns it issues a warning,
/// where it raises it throws ErrorIdException, both with the identifier "Numforge:numerictype:InvalidSetting"
/// unless another is told. The property setters return whether the value was taken: stored, or silently passed
/// over where it says nothing new; false after a warning. Only `setDataTypeProps` and the constructors store
/// without a check.
class QFCORE_API NumericType : public ScalarType {
 public:
  static constexpr int kMaxWordLength = 65535;

  /// Fixed-point, signed, 16 bits, fraction length 15.
  NumericType() : ScalarType(TypeKind::Numeric) {}
  /// Fixed-point with binary-point scaling.
  NumericType(bool isSigned, int wordLength, int fractionLength);
  /// These three raise "numerictype:constructor:unhandledcase" for a data type or mode that does not exist.
  NumericType(DataTypeEnum dataType, ScalingEnum scaling, SignedEnum sign, int wordLength,
              double slopeAdjustmentFactor, int fixedExponent, double bias);
  NumericType(DataTypeEnum dataType, ScalingEnum scaling, bool isSigned, int wordLength,
              double slopeAdjustmentFactor, int fixedExponent, double bias);
  NumericType(DataTypeModeEnum mode, bool isSigned, int wordLength, double slopeAdjustmentFactor,
              int fixedExponent, double bias);
  /// The type of what quantizes to one: of a `quantizer`, its `numericType()`.
  template <class Format>
  requires requires(const Format& format) {
    { format.numericType() } -> std::same_as<const NumericType&>;
  }
  explicit NumericType(const Format& format) : NumericType(format.numericType()) {}

  DataTypeModeEnum dataTypeMode() const { return dataTypeMode_; }
  DataTypeEnum dataType() const { return dataType_; }
  ScalingEnum scaling() const { return scaling_; }
  SignedEnum signedEnum() const { return sign_; }
  /// True for the sign Signed alone.
  bool isSigned() const { return sign_ == SignedEnum::Signed; }
  bool isSignUnspecified() const { return sign_ == SignedEnum::Unspecified; }
  /// A logical scalar, or a 0-by-0 logical where the sign is unspecified.
  tessel::HostArray signedArray() const;
  /// Total bits, the sign bit included.
  int wordLength() const { return wordLength_; }
  int fixedExponent() const { return fixedExponent_; }
  /// −FixedExponent.
  int fractionLength() const { return negatedExponent(fixedExponent_); }
  double slopeAdjustmentFactor() const { return slopeAdjustmentFactor_; }
  double bias() const { return bias_; }
  /// SlopeAdjustmentFactor · 2^FixedExponent; 0 or infinity where the exponent leaves the range of doubles.
  double slope() const { return std::ldexp(slopeAdjustmentFactor_, fixedExponent_); }

  bool isFixed() const { return dataType_ == DataTypeEnum::Fixed; }
  bool isScaledDouble() const { return dataType_ == DataTypeEnum::ScaledDouble; }
  bool isBoolean() const { return dataType_ == DataTypeEnum::Boolean; }
  bool isDouble() const { return dataType_ == DataTypeEnum::Double; }
  bool isSingle() const { return dataType_ == DataTypeEnum::Single; }
  bool isFloat() const { return isDouble() || isSingle(); }
  /// Boolean, double or single: the data types without fixed-point properties.
  bool isBuiltIn() const { return isFloat() || isBoolean(); }
  bool isFixedOrScaledDouble() const { return isFixed() || isScaledDouble(); }
  bool isBinaryPointScalingSet() const { return scaling_ == ScalingEnum::BinaryPoint; }
  bool isSlopeBiasScalingSet() const { return scaling_ == ScalingEnum::SlopeBias; }
  bool isScalingUnspecified() const { return scaling_ == ScalingEnum::Unspecified; }
  /// Fixed or ScaledDouble with a slope adjustment factor other than 1 or a bias other than 0 (a NaN is other).
  /// The exponent does not count: held values are in units of the binary-point grid.
  bool isSlopeBias() const { return isFixedOrScaledDouble() && !isUnscaled(); }
  /// A numeric type is never an alias of another.
  static constexpr bool isAlias() { return false; }

  /// Fixed and ScaledDouble: warns outside 1 … 65535. Built-in: warns unless it is the mode's own word length.
  bool setWordLength(int wordLength);
  /// Raises with the texts of `setWordLength` for a Fixed or ScaledDouble type whose word length it would not
  /// take.
  void errorIfBadWordLength() const;
  /// Stored for Fixed and ScaledDouble. Built-in: Signed warns for boolean, Unsigned for single and double.
  /// Unspecified while the module-wide switch is off raises as `setSignedEnum(array, "NUMERICTYPE")` does.
  bool setSignedEnum(SignedEnum sign);
  bool setSigned(bool isSigned);
  bool setIsSigned(bool isSigned) { return setSigned(isSigned); }
  /// Takes a real logical or numeric scalar 1 or 0, or an empty array for Unspecified while the module-wide
  /// switch is on. Anything else raises "numforge:OBJECTNAME:signed:InvalidValue".
  bool setSignedEnum(const tessel::HostArray& value, const char* objectName);
  /// Warn about another exponent than 0 where the data type is built in or the scaling unspecified.
  bool setFixedExponent(int fixedExponent);
  bool setFractionLength(int fractionLength);
  /// Splits the slope into factor and exponent. Raises for one that is not greater than 0 and finite, and for
  /// one that is no power of two under binary-point scaling; warns where the mode has no slope, unless it is 1.
  bool setSlope(double slope);
  /// Stored under slope-bias scaling when 1 <= factor < 2 or NaN, else raises. Other modes take 1 silently,
  /// warn (built-in and fixed-point with unspecified scaling) or raise.
  bool setSlopeAdjustmentFactor(double factor);
  /// Stored under slope-bias scaling. Other modes take 0 silently, warn (built-in) or raise.
  bool setBias(double bias);
  /// Warns where the scaling does not belong to the data type.
  bool setScaling(ScalingEnum scaling);
  /// From a built-in to Fixed or ScaledDouble everything is reset: signed, 16 bits, exponent 0. Otherwise the
  /// mode follows from data type and scaling. Raises "numforge:numerictype:setDataType:invalid".
  void setDataType(DataTypeEnum dataType);
  /// Keeps what has a meaning in the new mode and gives the rest its neutral value. With `resetFromBuiltIn` a
  /// change from a built-in data type resets as `setDataType` does. Raises
  /// "numforge:numerictype:setDataTypeMode:invalid".
  void setDataTypeMode(DataTypeModeEnum mode, bool resetFromBuiltIn = false);

  /// Stores all fields without checks and derives the mode; a scaling that is not one of the data type's
  /// becomes Unused (built-in) or Unspecified.
  void setDataTypeProps(DataTypeEnum dataType, ScalingEnum scaling, SignedEnum sign, int wordLength,
                        double slopeAdjustmentFactor, int fixedExponent, double bias);
  /// The same, as ScaledDouble where this type is ScaledDouble and as Fixed otherwise; binary-point scaling
  /// where the factor is 1 and the bias 0, else slope-bias.
  void setFixedPointProps(bool isSigned, int wordLength, double slopeAdjustmentFactor, int fixedExponent,
                          double bias);

  /// Sets the exponent of the finest grid on which a value of this sign and magnitude fits. Scaling, factor and
  /// bias stay. Nothing happens for built-in data types. Raises "numforge:fi:setBestPrecision:unspecifiedSign",
  /// and for NaN and infinities what `checkNaNInf` raises. // s8: 1 -> 6 fraction bits, −1 -> 7; u8: 1 -> 7
  void setBestPrecisionFromMaxAbs(double value);
  /// The same for many values: an unspecified scaling becomes binary-point first, and the value of largest
  /// magnitude decides, the positive one of two opposite. No values count as zero.
  void setBestPrecision(std::span<const double> real, std::span<const double> imag = {});
  /// The same for a numeric, logical or char array, real and imaginary parts. Raises
  /// "numforge:fi:setBestPrecision:mustbenumeric" for other classes.
  void setBestPrecision(const tessel::HostArray& values);
  /// The finest grid on which the value, rounded to nearest with ties away from zero, lies in the word: s8 has
  /// room for -128.4 at fraction length 0, but not for 127.6 or -128.9. An unspecified scaling becomes
  /// binary-point. Raises as `setBestPrecisionFromMaxAbs`.
  void fxpBestPrecisionExponent(double value);
  /// `fxpBestPrecisionExponent` for the deciding value of a numeric array. Raises
  /// "numforge:fi:setBestPrecision:mustbenumeric" for all other classes, logical and char too.
  void setBestFractionLength(const tessel::HostArray& values);

  /// All fields equal. A NaN factor or bias equals nothing.
  bool isequal(const NumericType& other) const {
    return dataTypeMode_ == other.dataTypeMode_ && sameFields(other);
  }
  /// Same meaning of stored integers: a slope-bias type with factor 1 and bias 0 is a binary-point type. An
  /// unspecified scaling is equivalent to an unspecified scaling only.
  bool isequivalent(const NumericType& other) const {
    if (dataType_ != other.dataType_ || unspecifiedScaling() != other.unspecifiedScaling()) return false;
    if (unspecifiedScaling()) return sign_ == other.sign_ && wordLength_ == other.wordLength_;
    return sameFields(other);
  }
  /// All fields and the qualifiers, bit by bit: −0 and NaN are what users gave, and are to be shown as they
  /// are.
  bool isIdentical(const NumericType& other) const {
    const auto haveSameBits = [](double a, double b) {
      return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
    };
    return wordLength_ == other.wordLength_ && fixedExponent_ == other.fixedExponent_ && sign_ == other.sign_ &&
           dataTypeMode_ == other.dataTypeMode_ &&
           haveSameBits(slopeAdjustmentFactor_, other.slopeAdjustmentFactor_) &&
           haveSameBits(bias_, other.bias_) && readOnly() == other.readOnly() &&
           isVolatile() == other.isVolatile();
  }
  friend bool operator==(const NumericType& a, const NumericType& b) { return a.isequal(b); }

  /// The built-in class of the host that holds the type exactly, such as "int16", or null.
  const char* getEquivalentTesselClassName() const;
  /// Raises "numforge:nologicalnan", "numforge:nofixednan" or "numforge:nofixedinf" for a value that the data
  /// type cannot hold.
  static void checkNaNInf(DataTypeEnum dataType, double value) {
    if (!std::isfinite(value)) checkNotFinite(dataType, value);
  }
  /// Raises "numforge:nologicalcomplex" for complex data of type boolean.
  static void errorIfComplexLogical(DataTypeEnum dataType, bool isComplex);
  /// Raises "numforge:numericytpe:convertDataTypeModeToDataType:unknowndatatypemode".
  static DataTypeEnum convertDataTypeModeToDataType(DataTypeModeEnum mode);
  /// Fixed and ScaledDouble under a scaling that is not theirs count as unspecified. Raises
  /// "numforge:numerictype:setDataType:invalid" for a data type that does not exist.
  static DataTypeModeEnum convertDataTypeToDataTypeMode(DataTypeEnum dataType, ScalingEnum scaling);

  /// What `disp` prints: one property a line, begun by a line end.
  std::string displayText() const;
  void disp() const;
  /// The call that makes this type again, such as "numerictype(true,16,15)".
  std::string tostring(const char* prefix = "numerictype") const;
  /// A short name, such as "s16,15".
  std::string qpointstr() const;
  /// The texts of the editing dialog. The slope is written 2^E where factor and bias are 1 and 0.
  std::string wordLengthString() const;
  std::string fractionLengthString() const;
  std::string slopeString() const;
  std::string biasString() const;

  void addCheckSum(MD5CheckSumModEndian& sum) const override;
  std::size_t hash() const override;
  bool canBeConvertedTo(const Type& other) const override;

 protected:
  /// The fields alone, as `isequal`: qualifiers do not make two numeric types differ.
  std::partial_ordering compareSameKind(const Type& other) const override;

 private:
  bool isUnscaled() const { return slopeAdjustmentFactor_ == 1 && bias_ == 0; }
  bool unspecifiedScaling() const { return isFixedOrScaledDouble() && isScalingUnspecified(); }
  bool sameFields(const NumericType& other) const {
    return sign_ == other.sign_ && wordLength_ == other.wordLength_ && fixedExponent_ == other.fixedExponent_ &&
           slopeAdjustmentFactor_ == other.slopeAdjustmentFactor_ && bias_ == other.bias_;
  }
  static void checkNotFinite(DataTypeEnum dataType, double value);
  bool storeExponent(int fixedExponent, const char* property);
  void requireSign() const;
  const char* signText() const;
  std::string scalingSuffix() const;

  DataTypeModeEnum dataTypeMode_ = DataTypeModeEnum::FixedBinaryPoint;
  DataTypeEnum dataType_ = DataTypeEnum::Fixed;
  ScalingEnum scaling_ = ScalingEnum::BinaryPoint;
  SignedEnum sign_ = SignedEnum::Signed;
  int wordLength_ = 16;
  int fixedExponent_ = -15;
  double slopeAdjustmentFactor_ = 1.0;
  double bias_ = 0.0;
};

}  // namespace EmbeddedTypeSystem
