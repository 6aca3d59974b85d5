/// The math settings of fixed-point arrays: rounding, overflow, and how word lengths grow in arithmetic.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "qfcore/math/modes.h"
#include "qfcore/number/errors.h"
#include "qfcore/types/slope.h"
#include "tessel/array.h"

namespace embedded {

enum class ArithmeticModeEnum : int { FullPrecision = 0, KeepLSB, KeepMSB, SpecifyPrecision };
enum class PrecisionModeEnum : int { Arbitrary = 0, Stepped };

namespace detail {

inline constexpr EmbeddedTypeSystem::EnumRow kArithmeticModeRows[] = {
    {0, "FullPrecision"}, {1, "KeepLSB"}, {2, "KeepMSB"}, {3, "SpecifyPrecision"}};
inline constexpr EmbeddedTypeSystem::EnumRow kPrecisionModeRows[] = {{0, "Arbitrary"}, {1, "Stepped"}};

inline constexpr EmbeddedTypeSystem::EnumTable kArithmeticModeTable{
    "fimathArithmeticModeEnum", "fimathArithmeticModeEnum", kArithmeticModeRows};
inline constexpr EmbeddedTypeSystem::EnumTable kPrecisionModeTable{
    "fimathPrecisionModeEnum", "fimathPrecisionModeEnum", kPrecisionModeRows};

}  // namespace detail

constexpr const EmbeddedTypeSystem::EnumTable& tableOf(ArithmeticModeEnum) {
  return detail::kArithmeticModeTable;
}
constexpr const EmbeddedTypeSystem::EnumTable& tableOf(PrecisionModeEnum) {
  return detail::kPrecisionModeTable;
}

/// How the type of one kind of register, product or sum, is chosen. The factory values are those written here.
struct QFCORE_API RegisterSettings {
  ArithmeticModeEnum mode = ArithmeticModeEnum::FullPrecision;
  int wordLength = 32;      ///< 1 … 65535; used by the modes other than FullPrecision
  int maxWordLength = 128;  ///< 1 … 65535; limit under FullPrecision
  int fixedExponent = -30;
  double slopeAdjustmentFactor = 1.0;  ///< in [1, 2), or NaN
  double bias = 0.0;

  int fractionLength() const { return EmbeddedTypeSystem::negatedExponent(fixedExponent); }
  /// slopeAdjustmentFactor · 2^fixedExponent
  double slope() const;
  /// The factor is not exactly 1 (or is NaN), or the bias not exactly 0.
  bool isSlopeBiasScaled() const { return !(slopeAdjustmentFactor == 1 && bias == 0); }
  /// Equal in what the mode makes matter to a result; see `fimath::matches`.
  bool matches(const RegisterSettings& other) const;
  bool operator==(const RegisterSettings&) const = default;
  /// 0 where all is equal, bit by bit.
  std::uint64_t differingBits(const RegisterSettings& other) const {
    // Word by word, as memory has them: of copies, compilers would compare what they have just stored.
    std::uint64_t differing = 0, mine, others;
    for (std::size_t at = 0; at < sizeof *this; at += sizeof mine) {
      std::memcpy(&mine, reinterpret_cast<const std::byte*>(this) + at, sizeof mine);
      std::memcpy(&others, reinterpret_cast<const std::byte*>(&other) + at, sizeof others);
      differing |= mine ^ others;
    }
    return differing;
  }

  /// The texts of the editing dialog.
  std::string wordLengthString() const;
  std::string maxWordLengthString() const;
  std::string fractionLengthString() const;
  std::string fixedExponentString() const;
  std::string slopeString() const;
  std::string slopeAdjustmentFactorString() const;
  std::string biasString() const;
};

/// The rules of arithmetic of a fixed-point array. A plain value.
///
/// A setter that raises or warns leaves the object as it was. Word-length setters raise
/// "numforge:fimath:NonPositiveX" below 1 and "numforge:fimath:TooBigX" above 65535, X the property's name. The
/// setters of slope adjustment factors warn outside [1, 2) with "Numforge:fimathInvalidSetting" and return
/// false then; the setters of slopes raise "Numforge:fimath:InvalidSetting" for one that is not greater than 0
/// and finite.
class QFCORE_API fimath {
 public:
  /// The settings of the default `fimath`.
  fimath() : fimath(getDefaultFimath()) {}
  /// The factory settings with these two modes.
  fimath(RoundModeEnum roundMode, OverflowModeEnum overflowMode);
  /// Both slope adjustment factors are 1, both biases 0. Raises what the word-length setters raise.
  fimath(RoundModeEnum roundMode, OverflowModeEnum overflowMode, PrecisionModeEnum precisionMode,
         ArithmeticModeEnum productMode, int productWordLength, int maxProductWordLength,
         int productFractionLength, ArithmeticModeEnum sumMode, int sumWordLength, int maxSumWordLength,
         int sumFractionLength, bool castBeforeSum);

  /// The module-wide default, at first the factory settings.
  static const fimath& getDefaultFimath();
  static void setDefaultFimath(const fimath& settings);
  static void resetDefaultFimath();

  RoundModeEnum roundMode() const { return roundMode_; }
  OverflowModeEnum overflowMode() const { return overflowMode_; }
  PrecisionModeEnum precisionMode() const { return precisionMode_; }
  bool castBeforeSum() const { return castBeforeSum_; }
  const RegisterSettings& product() const { return product_; }
  const RegisterSettings& sum() const { return sum_; }

  ArithmeticModeEnum productMode() const { return product_.mode; }
  int productWordLength() const { return product_.wordLength; }
  int maxProductWordLength() const { return product_.maxWordLength; }
  int productFractionLength() const { return product_.fractionLength(); }
  int productFixedExponent() const { return product_.fixedExponent; }
  double productSlope() const { return product_.slope(); }
  double productSlopeAdjustmentFactor() const { return product_.slopeAdjustmentFactor; }
  double productBias() const { return product_.bias; }
  bool isProductSlopeBiasScaled() const { return product_.isSlopeBiasScaled(); }

  ArithmeticModeEnum sumMode() const { return sum_.mode; }
  int sumWordLength() const { return sum_.wordLength; }
  int maxSumWordLength() const { return sum_.maxWordLength; }
  int sumFractionLength() const { return sum_.fractionLength(); }
  int sumFixedExponent() const { return sum_.fixedExponent; }
  double sumSlope() const { return sum_.slope(); }
  double sumSlopeAdjustmentFactor() const { return sum_.slopeAdjustmentFactor; }
  double sumBias() const { return sum_.bias; }
  bool isSumSlopeBiasScaled() const { return sum_.isSlopeBiasScaled(); }

  void setRoundMode(RoundModeEnum mode) { roundMode_ = mode; }
  void setOverflowMode(OverflowModeEnum mode) { overflowMode_ = mode; }
  void setPrecisionMode(PrecisionModeEnum mode) { precisionMode_ = mode; }
  void setCastBeforeSum(bool castBeforeSum) { castBeforeSum_ = castBeforeSum; }

  void setProductMode(ArithmeticModeEnum mode) { product_.mode = mode; }
  void setProductWordLength(int wordLength);
  void setMaxProductWordLength(int wordLength);
  void setProductFractionLength(int length) {
    product_.fixedExponent = EmbeddedTypeSystem::negatedExponent(length);
  }
  void setProductFixedExponent(int exponent) { product_.fixedExponent = exponent; }
  void setProductSlope(double slope);
  bool setProductSlopeAdjustmentFactor(double factor);
  void setProductBias(double bias) { product_.bias = bias; }
  /// Lengths lose their fraction. Raises "numforge:fimath:badconversion" for one that is no 32-bit integer.
  void setProductFormat(double wordLength, double fractionLength);

  void setSumMode(ArithmeticModeEnum mode) { sum_.mode = mode; }
  void setSumWordLength(int wordLength);
  void setMaxSumWordLength(int wordLength);
  void setSumFractionLength(int length) { sum_.fixedExponent = EmbeddedTypeSystem::negatedExponent(length); }
  void setSumFixedExponent(int exponent) { sum_.fixedExponent = exponent; }
  void setSumSlope(double slope);
  bool setSumSlopeAdjustmentFactor(double factor);
  void setSumBias(double bias) { sum_.bias = bias; }
  /// As `setProductFormat`.
  void setSumFormat(double wordLength, double fractionLength);

  /// Arithmetic as in C: words of `wordLength` bits for products and sums that keep the least significant bits,
  /// floor and wrap, with CastBeforeSum.
  void setCStyle(int wordLength);
  /// Logical or numeric with at most one element: empty and 1 mean 32 bits, 0 changes nothing, another integer
  /// is the word length. Raises "numforge:fimath:cstyle:badvalue".
  void setCStyle(const tessel::HostArray& value);
  bool isCStyle() const;
  /// `isCStyle` as a double scalar.
  tessel::HostArray getCStyle() const { return tessel::HostArray::scalar(isCStyle() ? 1.0 : 0.0); }

  /// Equal in what arithmetic compares: the modes and CastBeforeSum, and of product and sum what their mode
  /// uses. Under KeepLSB and KeepMSB both word lengths and the exponent; under SpecifyPrecision the exponent
  /// alone; never slope adjustment factors and biases.
  bool matches(const fimath& other) const;
  /// All settings but PrecisionMode, which has no effect on arithmetic.
  bool isequal(const fimath& other) const;
  /// All settings, those without an effect too, bit by bit.
  bool isIdentical(const fimath& other) const {
    return roundMode_ == other.roundMode_ && overflowMode_ == other.overflowMode_ &&
           precisionMode_ == other.precisionMode_ && castBeforeSum_ == other.castBeforeSum_ &&
           (product_.differingBits(other.product_) | sum_.differingBits(other.sum_)) == 0;
  }
  friend bool operator==(const fimath& a, const fimath& b) { return a.isequal(b); }

  /// What `disp` prints.
  std::string displayText() const;
  void disp() const;
  /// The call that makes these settings again; "fimath" alone where they match the default.
  std::string toString() const;
  /// Reads eleven lines: RoundMode, OverflowMode, ProductMode, SumMode, MaxProductWordLength, MaxSumWordLength,
  /// ProductWordLength, SumWordLength, ProductFractionLength, SumFractionLength, CastBeforeSum (not 0 is true).
  /// Raises "numforge:fimath:string2Fimath" for anything else, and what the word-length setters raise.
  static fimath string2Fimath(std::string_view record);

  /// The dictionary of named settings. Adding raises "numforge:fimath:FimathKeyExists", getting
  /// "numforge:fimath:InvalidFimathKey". Replacing adds where the tag is new; erasing an unknown tag does
  /// nothing.
  static void addToFimathMap(const std::string& tag, const fimath& settings);
  static fimath getFromFimathMap(const std::string& tag);
  static void replaceInFimathMap(const std::string& tag, const fimath& settings);
  static void eraseFromFimathMap(const std::string& tag);
  static bool fimathMapKeyExists(const std::string& tag);

 private:
  struct Factory {};
  explicit fimath(Factory) {}
  static fimath& defaultInstance();

  RoundModeEnum roundMode_ = RoundModeEnum::nearest;
  OverflowModeEnum overflowMode_ = OverflowModeEnum::saturate;
  PrecisionModeEnum precisionMode_ = PrecisionModeEnum::Arbitrary;
  bool castBeforeSum_ = true;
  RegisterSettings product_;
  RegisterSettings sum_;
};

}  // namespace embedded
