/// Brings values into a number format and counts what falls outside it.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "qfcore/logging/qlogger.h"
#include "qfcore/math/quantizerrules.h"
#include "qfcore/number/number.h"
#include "qfcore/types/numerictype.h"

namespace embedded {

struct WideOutcome;

/// A format (mode and lengths), a rounding rule and an overflow rule, with the constants derived from them and
/// the logger that records what the quantizations met.
///
/// Quantizing is const: the settings stay, the logger records. The kernel and the constants are those of the
/// settings' rules, which quantizers share, so a quantization itself decides nothing. Values carried in doubles
/// go through array kernels, wide ones through the same rules on numbers; both round exactly once.
class QFCORE_API quantizer {
 public:
  /// Mode "fixed", "floor", "saturate", word length 16, fraction length 15.
  quantizer();
  /// The quantizer of a numeric type. Raises "numforge:quantizer:unspecifiedscaling" when its scaling is
  /// unspecified.
  quantizer(const EmbeddedTypeSystem::NumericType& type, RoundModeEnum roundMode, OverflowModeEnum overflowMode,
            const std::string& tag = {}, OperationTypeEnum operationType = OperationTypeEnum::Assignment);
  /// The quantizer of `type` under rules that are shared; they must be those of the type.
  quantizer(const QuantizerRulesPtr& rules, const EmbeddedTypeSystem::SharedType& type, const Tag& tag,
            OperationTypeEnum operationType)
      : rules_(rules), logger_(tag, operationType, type) {}
  /// A copy, or with `keepRecord` false one that has recorded nothing.
  quantizer(const quantizer& other, bool keepRecord)
      : rules_(other.rules_), logger_(other.logger_, keepRecord) {}

  /// Takes over a numeric type and the two modes; tag, operation kind and record stay. On error nothing
  /// changes.
  void set(const EmbeddedTypeSystem::NumericType& type, RoundModeEnum roundMode, OverflowModeEnum overflowMode);
  /// The same with rules that are shared.
  void set(const EmbeddedTypeSystem::SharedTypePtr& type, const QuantizerRulesPtr& rules);

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

  QuantizerModeEnum mode() const { return settings().mode; }
  RoundModeEnum roundMode() const { return settings().roundMode; }
  OverflowModeEnum overflowMode() const { return settings().overflowMode; }
  /// Bits; 64 and 32 in the modes "double" and "single".
  int wordLength() const { return settings().bits(); }
  /// Of a floating-point format: its fraction bits.
  int fractionLength() const { return settings().fractionBits(); }
  int exponentLength() const { return settings().exponentBits(); }
  int exponentBias() const { return settings().exponentBias(); }
  int exponentMin() const { return settings().exponentMin(); }
  int exponentMax() const { return exponentBias(); }
  bool isFloatingPoint() const { return settings().isFloatingPoint(); }
  bool isSigned() const { return settings().isSigned(); }
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
  unsigned constantPrecision() const { return settings().constantPrecision(); }
  /// Whether values of the format are carried in doubles.
  bool isDoubleBacked() const { return rules_->isDoubleBacked; }

  /// Makes the constants now that otherwise are made when wide values first need them.
  void updateparameters();
  /// What `updateparameters` does for signed fixed-point, unsigned fixed-point and floating-point modes;
  /// nothing in a mode of another kind.
  void updatefixedparameters();
  void updateufixedparameters();
  void updatefloatparameters();

  /// The constants as doubles; exact for a double-backed format.
  const DoubleFormat& doubleFormat() const { return rules_->format; }

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
  /// The same in a pass that finds them finite. False where they are not all so, or where more than that is to
  /// be done with each: what is at `to` means nothing then, and nothing is recorded.
  bool quantizeFinite(const double* from, double* to, std::size_t count) const;
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
#define QFCORE_ROUNDED_KERNELS(Round, round)                                                      \
  QFCORE_KERNEL(Round, round, Wrap, wrap)                                                         \
  QFCORE_KERNEL(Round, round, Saturate, saturate)                                                 \
  number& QuantizeFloat##Round(number& x) const {                                                 \
    return run(kernelFor(QuantizerModeEnum::floatMode, RoundModeEnum::round, overflowMode()), x); \
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
  const QuantizerSettings& settings() const { return rules_->settings; }
  const Kernel& kernelFor(QuantizerModeEnum mode) const { return kernelFor(mode, roundMode(), overflowMode()); }
  static const Kernel& kernelFor(QuantizerModeEnum mode, RoundModeEnum roundMode,
                                 OverflowModeEnum overflowMode);
  number& run(const Kernel& kernel, number& value) const;
  void quantizeCounting(const double* from, double* to, std::size_t count) const;
  number& recorded(const WideOutcome& outcome, number& quantized) const;
  bool hasPatterns() const;
  void requireFittingLengths() const;
  void change(const QuantizerSettings& changed);
  const WideFormat& wideFormat() const { return rules_->wide(); }
  number constant(double DoubleFormat::*plain, number WideFormat::*wide) const;

  QuantizerRulesPtr rules_;
  qlogger logger_;
};

}  // namespace embedded
