/// The settings of a quantizer and what follows from them.
#pragma once

#include <atomic>

#include "qfcore/math/format.h"
#include "qfcore/math/modes.h"
#include "qfcore/number/immutable.h"
#include "qfcore/number/precision.h"
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

/// What users set, and what can be told from it at once. `fractionLength` is that of a fixed-point format,
/// `exponentLength` that of mode "float"; the functions tell those of every format.
struct QFCORE_API QuantizerSettings {
  QuantizerModeEnum mode = QuantizerModeEnum::fixed;
  RoundModeEnum roundMode = RoundModeEnum::floor;
  OverflowModeEnum overflowMode = OverflowModeEnum::saturate;
  int wordLength = 16, fractionLength = 15, exponentLength = 5;

  bool isFixedPoint() const { return mode == QuantizerModeEnum::fixed || mode == QuantizerModeEnum::ufixed; }
  bool isFloatingPoint() const;
  bool isSigned() const;
  int bits() const;
  int fractionBits() const;
  int exponentBits() const;
  int exponentBias() const;
  int exponentMin() const { return 1 - exponentBias(); }
  unsigned constantPrecision() const;
  /// False in mode "float" while the word has no room for the exponent.
  bool lengthsFit() const { return mode != QuantizerModeEnum::floatMode || exponentLength < wordLength; }
  /// Whether values of the format are carried in doubles.
  bool isDoubleBacked() const {
    constexpr int kMaxDoubleExponentLength = 11;
    if (isFixedPoint()) return doublesCarry(wordLength, fractionLength);
    return mode != QuantizerModeEnum::floatMode || (exponentLength <= kMaxDoubleExponentLength &&
                                                    fractionBits() <= static_cast<int>(kMaxDoublePrecision));
  }
};

/// Those of a numeric type under two modes. Raises "numforge:quantizer:unspecifiedscaling" when the scaling of
/// the type is unspecified.
QFCORE_API QuantizerSettings quantizerSettings(const EmbeddedTypeSystem::NumericType& type,
                                               RoundModeEnum roundMode, OverflowModeEnum overflowMode);

/// Settings with the kernel that they choose and the constants of their format, worked out once for all
/// quantizers that share them.
class QFCORE_API QuantizerRules : public Immutable {
 public:
  explicit QuantizerRules(const QuantizerSettings& itsSettings);
  ~QuantizerRules();
  /// The constants of a format that doubles do not hold, and of wide values in one that they hold; made when
  /// first asked for, by any thread.
  const WideFormat& wide() const {
    const WideFormat* made = wide_.load(std::memory_order_acquire);
    return made ? *made : makeWide();
  }

  const QuantizerSettings settings;
  const Kernel& kernel;
  const DoubleFormat format;
  /// Null where there is none.
  const ValueKernel valueKernel;
  const bool isDoubleBacked;

 private:
  const WideFormat& makeWide() const;

  mutable std::atomic<const WideFormat*> wide_ = nullptr;
};

using QuantizerRulesPtr = ImmutablePtr<QuantizerRules>;

}  // namespace embedded
