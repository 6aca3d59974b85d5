/// Brings values into a number format and counts what falls outside it.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "qfcore/logging/qlogger.h"
#include "qfcore/math/format.h"
#include "qfcore/math/modes.h"
#include "qfcore/number/number.h"
#include "qfcore/types/enumtable.h"
#include "qfcore/types/numerictype.h"

namespace embedded {

/// Named after the host's texts where C++ allows it.
enum class QuantizerModeEnum : int {
  doubleMode = 0,
  floatMode,
  fixed,
  singleMode,
  ufixed,
  none,
  boolean,
  ScaledDouble,
  UnsignedScaledDouble
};

namespace detail {

inline constexpr EmbeddedTypeSystem::EnumRow kQuantizerModeRows[] = {
    {0, "double"},  {1, "float"},        {2, "fixed"},
    {3, "single"},  {4, "ufixed"},       {5, "none"},
    {6, "boolean"}, {7, "ScaledDouble"}, {8, "UnsignedScaledDouble"}};
inline constexpr EmbeddedTypeSystem::EnumTable kQuantizerModeTable{"quantizer Mode", "quantizer Mode",
                                                                   kQuantizerModeRows};

}  // namespace detail

constexpr const EmbeddedTypeSystem::EnumTable& tableOf(QuantizerModeEnum) {
  return detail::kQuantizerModeTable;
}

struct Kernel;
struct WideFormat;
struct WideOutcome;

/// A format (mode and lengths), a rounding rule and an overflow rule, with the constants derived from them and
/// the logger that records what the quantizations met.
///
/// Quantizing is const: the settings stay, the logger records. One kernel is chosen for the settings, so a
/// quantization itself decides nothing. Values carried in doubles go through array kernels,
/// wide ones through the same rules on numbers; both round exactly once.
class QFCORE_API quantizer {
 public:
  /// Mode "fixed", "floor", "saturate", word length 16, fraction length 15.
  quantizer();
  /// The quantizer of a numeric type. Raises "numforge:quantizer:unspecifiedscaling" when its scaling is
  /// unspecified.
  quantizer(const EmbeddedTypeSystem::NumericType& type, RoundModeEnum roundMode, OverflowModeEnum overflowMode,
            const std::string& tag = {}, OperationTypeEnum operationType = OperationTypeEnum::Assignment);
  /// A copy, or with `keepRecord` false one that has recorded nothing.
  quantizer(const quantizer& other, bool keepRecord)
      : settings_(other.settings_),
        isDerived_(other.isDerived_),
        derived_(other.derived_),
        wide_(other.wide_),
        logger_(other.logger_, keepRecord) {}

  /// Takes over a numeric type and the two modes; tag, operation kind and record stay. On error nothing
  /// changes.
  void set(const EmbeddedTypeSystem::NumericType& type, RoundModeEnum roundMode, OverflowModeEnum overflowMode);

  void setMode(QuantizerModeEnum mode);
  void setRoundMode(RoundModeEnum roundMode);
  void setOverflowMode(OverflowModeEnum overflowMode);
  /// Bits, 1 to 65535; in mode "float" above the exponent length. Raises
  /// "numforge:quantizer:wordlengthtoosmall", "…:wordlengthtoobig", "…:wordlengthlargerthanexponent".
  void setWordlength(double wordLength);
  /// Bits behind the binary point, any integer.
  void setFractionlength(double fractionLength);
  /// Bits, 0 to 31 and below the word length. Raises "numforge:quantizer:exponenttoobig", "…:exponenttoosmall",
  /// "…:exponentlargerthanwordlength".
  void setExponentlength(double exponentLength);
  /// Word length and fraction length; in mode "float" word length and exponent length. All or nothing.
  void setFormat(double wordLength, double secondLength);

  QuantizerModeEnum mode() const { return settings_.mode; }
  RoundModeEnum roundMode() const { return settings_.roundMode; }
  OverflowModeEnum overflowMode() const { return settings_.overflowMode; }
  /// Bits; 64 and 32 in the modes "double" and "single".
  int wordLength() const;
  /// Of a floating-point format: its fraction bits.
  int fractionLength() const;
  int exponentLength() const;
  int exponentBias() const;
  int exponentMin() const { return 1 - exponentBias(); }
  int exponentMax() const { return exponentBias(); }
  bool isFloatingPoint() const;
  bool isSigned() const;
  /// The numeric type that the settings amount to; the one given at construction or to `set`, if that is newer.
  const EmbeddedTypeSystem::NumericType& numericType() const { return logger_.numericType(); }
  bool isequal(const quantizer& other) const;

  /// Derived constants, in held units. Those of words beyond the double threshold are multiprecision numbers of
  /// `constantPrecision()` bits.
  number eps() const;
  number negativeEps() const;
  number max() const;
  number min() const;
  /// The wrap modulus of a fixed-point format.
  number range() const;
  /// The smallest positive normal value: eps in fixed point, 2^exponentMin in floating point.
  number realmin() const;
  /// The smallest positive value of a floating-point format, 2^(exponentMin − fraction bits); eps in fixed
  /// point.
  number denormalmin() const;
  /// The largest denormal, realmin − denormalmin; eps in fixed point.
  number denormalmax() const;
  /// Bits of the constants: the word length for "fixed", one more for "ufixed", the fraction bits for "float".
  unsigned constantPrecision() const;
  /// Whether values of the format are carried in doubles.
  bool isDoubleBacked() const {
    constexpr int kMaxDoubleExponentLength = 11;
    const bool isFixed =
        settings_.mode == QuantizerModeEnum::fixed || settings_.mode == QuantizerModeEnum::ufixed;
    if (isFixed) return doublesCarry(settings_.wordLength, settings_.fractionLength);
    return settings_.mode != QuantizerModeEnum::floatMode ||
           (settings_.exponentLength <= kMaxDoubleExponentLength &&
            fractionLength() <= static_cast<int>(kMaxDoublePrecision));
  }

  /// Derives the constants and chooses the kernel now. Setters leave that to when a value or a constant is
  /// first asked for, so nothing but the time it takes depends on this.
  void updateparameters();
  /// What `updateparameters` does for signed fixed-point, unsigned fixed-point and floating-point modes;
  /// nothing in a mode of another kind.
  void updatefixedparameters();
  void updateufixedparameters();
  void updatefloatparameters();

  /// The constants as doubles; exact for a double-backed format.
  const DoubleFormat& doubleFormat() const { return derived().format; }

  /// Quantizes the current element in place and returns it.
  number& quantize(number& value) const;
  /// The current element of `from`, quantized, becomes that of `to`, another number; returns `to`. A value that
  /// `to` could not hold is rounded by this quantizer alone.
  number& quantize(const number& from, number& to) const;
  /// The same for `count` neighbouring elements, from place `fromFirst` to place `toFirst`, or in place. Moves
  /// the cursor of `to`.
  void quantize(const number& from, unsigned fromFirst, number& to, unsigned toFirst, unsigned count) const;
  /// Quantizes contiguous doubles from `from` to `to`, or in place. The format must be double-backed.
  void quantize(const double* from, double* to, std::size_t count) const;
  void quantize(double* values, std::size_t count) const { quantize(values, values, count); }
  /// Quantizes every element of a vector; moves its cursor.
  void quantizeAll(number& values) const;

  // Radix text, bases 2 to 18, lower-case digits: the bit pattern of one value (two's complement, or sign,
  // exponent and fraction), padded with zeros to what the word needs.

  /// Raises "numforge:quantizer:num2base:notdefined" in the modes "none" and ScaledDouble.
  std::string num2base(const number& value, int base) const;
  /// The stored integer, signed and without padding. Raises "numforge:quantizer:sdec:fixedonly" for
  /// floating-point modes.
  std::string num2sdec(const number& value) const;
  /// Reads a pattern, digits in either case, and quantizes what it writes; the empty text is 0. False, and
  /// `value` as it was, for a text that is no pattern. Raises "numforge:quantizer:base2num:notdefined".
  bool base2num(number& value, const char* text, int base) const;

  // The kernels by name: each takes the value to quantize and returns it, with this quantizer's constants.
  // Whether they are those of a signed or an unsigned format is data, so both names reach the same kernel.
#define QFCORE_KERNEL(Round, round, Overflow, overflow)                                                   \
  number& QuantizeFixed##Round##Overflow(number& x) const {                                               \
    return run(kernelFor(QuantizerModeEnum::fixed, RoundModeEnum::round, OverflowModeEnum::overflow), x); \
  }                                                                                                       \
  number& QuantizeUfixed##Round##Overflow(number& x) const { return QuantizeFixed##Round##Overflow(x); }
#define QFCORE_ROUNDED_KERNELS(Round, round)                                                              \
  QFCORE_KERNEL(Round, round, Wrap, wrap)                                                                 \
  QFCORE_KERNEL(Round, round, Saturate, saturate)                                                         \
  number& QuantizeFloat##Round(number& x) const {                                                         \
    return run(kernelFor(QuantizerModeEnum::floatMode, RoundModeEnum::round, settings_.overflowMode), x); \
  }
  QFCORE_ROUNDED_KERNELS(Round, round)
  QFCORE_ROUNDED_KERNELS(Nearest, nearest)
  QFCORE_ROUNDED_KERNELS(Floor, floor)
  QFCORE_ROUNDED_KERNELS(Ceil, ceil)
  QFCORE_ROUNDED_KERNELS(Fix, fix)
  QFCORE_ROUNDED_KERNELS(Convergent, convergent)
#undef QFCORE_ROUNDED_KERNELS
#undef QFCORE_KERNEL
  number& QuantizeDouble(number& x) const { return run(kernelFor(QuantizerModeEnum::doubleMode), x); }
  number& QuantizeSingle(number& x) const { return run(kernelFor(QuantizerModeEnum::singleMode), x); }
  number& QuantizeBoolean(number& x) const { return run(kernelFor(QuantizerModeEnum::boolean), x); }
  number& QuantizeScaledDouble(number& x) const { return run(kernelFor(QuantizerModeEnum::ScaledDouble), x); }
  number& QuantizeNone(number& x) const { return run(kernelFor(QuantizerModeEnum::none), x); }

  const qlogger& logger() const { return logger_; }
  qlogger& logger() { return logger_; }
  std::size_t noverflows() const { return logger_.noverflows(); }
  std::size_t nunderflows() const { return logger_.nunderflows(); }

 private:
  const Kernel& kernelFor(QuantizerModeEnum mode) const {
    return kernelFor(mode, settings_.roundMode, settings_.overflowMode);
  }
  static const Kernel& kernelFor(QuantizerModeEnum mode, RoundModeEnum roundMode,
                                 OverflowModeEnum overflowMode);
  number& run(const Kernel& kernel, number& value) const;
  number& recorded(const WideOutcome& outcome, number& quantized) const;
  bool lengthsFit() const;
  bool hasPatterns() const;
  void requireFittingLengths() const;
  void settingsChanged();
  /// What follows from the settings: the kernel that they choose and the constants of the format.
  struct Derived {
    const Kernel* kernel;
    DoubleFormat format;
  };
  const Derived& derived() const {
    if (!isDerived_) derive();
    return derived_;
  }
  void derive() const;
  void deriveAnew();
  void forgetDerived();
  void deriveFixed(DoubleFormat& format) const;
  void deriveFloat(DoubleFormat& format) const;
  EmbeddedTypeSystem::NumericType typeOfSettings() const;
  const WideFormat& wideFormat() const;
  number constant(double DoubleFormat::*plain, number WideFormat::*wide) const;

  struct Settings {
    QuantizerModeEnum mode = QuantizerModeEnum::fixed;
    RoundModeEnum roundMode = RoundModeEnum::floor;
    OverflowModeEnum overflowMode = OverflowModeEnum::saturate;
    int wordLength = 16, fractionLength = 15, exponentLength = 5;
    bool operator==(const Settings&) const = default;
  };

  Settings settings_;
  // Made when a value is first quantized: many an array only stands for a type.
  mutable bool isDerived_ = false;
  mutable Derived derived_;
  // Made when a wide value or a wide format first needs it; a pure function of the settings, so copies share
  // it.
  mutable std::shared_ptr<const WideFormat> wide_;
  qlogger logger_;
};

}  // namespace embedded
