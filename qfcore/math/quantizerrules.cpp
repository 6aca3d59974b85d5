#include "qfcore/math/quantizerrules.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <memory>

#include "qfcore/math/kerneltable.h"

namespace embedded {

using EmbeddedTypeSystem::DataTypeEnum;
using EmbeddedTypeSystem::NumericType;
using EmbeddedTypeSystem::SignedEnum;

namespace {

constexpr Message kUnspecifiedScaling{"numforge:quantizer:unspecifiedscaling",
                                      "Unspecified scaling is not allowed in quantizers."};

/// Raises for a type without scaling.
QuantizerModeEnum modeOf(const NumericType& type) {
  if (type.isScalingUnspecified()) fail<kUnspecifiedScaling>();
  const bool isUnsigned = type.signedEnum() == SignedEnum::Unsigned;
  switch (type.dataType()) {
    case DataTypeEnum::Double: return QuantizerModeEnum::doubleMode;
    case DataTypeEnum::Single: return QuantizerModeEnum::singleMode;
    case DataTypeEnum::Boolean: return QuantizerModeEnum::boolean;
    case DataTypeEnum::ScaledDouble:
      return isUnsigned ? QuantizerModeEnum::UnsignedScaledDouble : QuantizerModeEnum::ScaledDouble;
    default: return isUnsigned ? QuantizerModeEnum::ufixed : QuantizerModeEnum::fixed;
  }
}

Kernel makeKernel(QuantizerModeEnum mode, RoundModeEnum roundMode, OverflowModeEnum overflowMode) {
  const WideRounding rounding = WideRounding::of(roundMode);
  switch (mode) {
    case QuantizerModeEnum::fixed:
    case QuantizerModeEnum::ufixed:
      return {fixedKernel(roundMode, overflowMode), finiteFixedKernel(roundMode, overflowMode),
              quantizeFixedWide, rounding, overflowMode};
    case QuantizerModeEnum::floatMode:
      return {floatKernel(roundMode), nullptr, quantizeFloatWide, rounding, overflowMode};
    case QuantizerModeEnum::doubleMode:
      return {doubleKernel(), nullptr, quantizeDoubleWide, rounding, overflowMode};
    case QuantizerModeEnum::singleMode:
      return {singleKernel(), nullptr, quantizeSingleWide, rounding, overflowMode};
    case QuantizerModeEnum::boolean:
      return {booleanKernel(), nullptr, quantizeBooleanWide, rounding, overflowMode};
    case QuantizerModeEnum::none: return {noneKernel(), nullptr, quantizeNoneWide, rounding, overflowMode};
    default: return {scaledDoubleKernel(), nullptr, quantizeScaledDoubleWide, rounding, overflowMode};
  }
}

/// By mode, rounding mode and overflow mode.
using KernelTable = std::array<std::array<std::array<Kernel, 2>, 6>, 9>;

KernelTable makeKernels() {
  KernelTable kernels;
  for (std::size_t mode = 0; mode < kernels.size(); ++mode) {
    for (std::size_t round = 0; round < kernels[mode].size(); ++round) {
      for (std::size_t overflow = 0; overflow < kernels[mode][round].size(); ++overflow) {
        kernels[mode][round][overflow] =
            makeKernel(static_cast<QuantizerModeEnum>(mode), static_cast<RoundModeEnum>(round),
                       static_cast<OverflowModeEnum>(overflow));
      }
    }
  }
  return kernels;
}

double power(long exponent) { return timesPow2(1.0, exponent); }

DoubleFormat fixedFormat(const QuantizerSettings& settings) {
  DoubleFormat format{};
  const long w = settings.wordLength, f = settings.fractionLength;
  const bool isSigned = settings.isSigned();
  format.fractionLength = settings.fractionLength;
  format.grid = GridFactors(GridFactors::exist(f) ? settings.fractionLength : 0);
  format.eps = power(-f);
  format.range = power(w - f);
  format.inverseRange = power(f - w);
  const double modulus = power(w);
  format.stored.max = modulus * (isSigned ? 0.5 : 1.0) - 1.0;
  format.stored.min = isSigned ? -0.5 * modulus : 0.0;
  format.stored.inverseModulus = power(-w);
  format.stored.maxTurns = format.stored.max / modulus;
  const double half = power(w - f - 1);
  const double end = isSigned ? half : format.range;
  format.max = end - format.eps;
  format.min = isSigned ? -half : 0.0;
  format.greatest = format.max < end ? format.max : std::nextafter(end, 0.0);
  format.least = std::max(format.min, std::numeric_limits<double>::lowest());
  return format;
}

DoubleFormat floatFormat(const QuantizerSettings& settings) {
  DoubleFormat format{};
  if (!settings.lengthsFit()) return format;
  format.fractionBits = settings.fractionBits();
  format.exponentMin = settings.exponentMin();
  format.eps = std::ldexp(1.0, -format.fractionBits);
  format.max = std::ldexp(2.0 - format.eps, settings.exponentBias());
  format.min = -format.max;
  return format;
}

}  // namespace

const Kernel& kernelFor(QuantizerModeEnum mode, RoundModeEnum roundMode, OverflowModeEnum overflowMode) {
  static const KernelTable kernels = makeKernels();
  return kernels[static_cast<std::size_t>(mode)][static_cast<std::size_t>(roundMode)]
                [static_cast<std::size_t>(overflowMode)];
}

QuantizerSettings quantizerSettings(const NumericType& type, RoundModeEnum roundMode,
                                    OverflowModeEnum overflowMode) {
  return {modeOf(type), roundMode, overflowMode, type.wordLength(), type.fractionLength()};
}

bool QuantizerSettings::isFloatingPoint() const {
  return mode == QuantizerModeEnum::floatMode || mode == QuantizerModeEnum::doubleMode ||
         mode == QuantizerModeEnum::singleMode;
}

bool QuantizerSettings::isSigned() const {
  return mode != QuantizerModeEnum::ufixed && mode != QuantizerModeEnum::UnsignedScaledDouble &&
         mode != QuantizerModeEnum::boolean;
}

int QuantizerSettings::bits() const {
  if (mode == QuantizerModeEnum::doubleMode) return 64;
  return mode == QuantizerModeEnum::singleMode ? 32 : wordLength;
}

int QuantizerSettings::exponentBits() const {
  if (mode == QuantizerModeEnum::doubleMode) return 11;
  return mode == QuantizerModeEnum::singleMode ? 8 : exponentLength;
}

int QuantizerSettings::fractionBits() const {
  if (mode == QuantizerModeEnum::doubleMode) return 52;
  if (mode == QuantizerModeEnum::singleMode) return 23;
  return mode == QuantizerModeEnum::floatMode ? wordLength - exponentLength - 1 : fractionLength;
}

int QuantizerSettings::exponentBias() const {
  const int length = exponentBits();
  return length == 0 ? 0 : static_cast<int>((1U << (length - 1)) - 1U);
}

unsigned QuantizerSettings::constantPrecision() const {
  const int needed = isFloatingPoint() ? fractionBits() : wordLength + (mode == QuantizerModeEnum::ufixed);
  return static_cast<unsigned>(std::max(needed, 1));
}

QuantizerRules::QuantizerRules(const QuantizerSettings& itsSettings)
    : settings(itsSettings),
      kernel(kernelFor(settings.mode, settings.roundMode, settings.overflowMode)),
      format(settings.isFloatingPoint() ? floatFormat(settings) : fixedFormat(settings)),
      valueKernel(settings.isFixedPoint() ? fixedValueKernel(settings.roundMode, settings.overflowMode)
                                          : nullptr),
      isDoubleBacked(settings.isDoubleBacked()) {}

QuantizerRules::~QuantizerRules() { delete wide_.load(); }

const WideFormat& QuantizerRules::makeWide() const {
  const int f = settings.fractionBits();
  auto made = std::make_unique<const WideFormat>(
      settings.isFloatingPoint()
          ? WideFormat::ofFloatingPoint(f, settings.exponentMin(), settings.exponentBias())
          : WideFormat::ofFixedPoint(settings.isSigned(), settings.wordLength, f));
  const WideFormat* other = nullptr;
  if (!wide_.compare_exchange_strong(other, made.get(), std::memory_order_acq_rel)) return *other;
  return *made.release();
}

}  // namespace embedded
