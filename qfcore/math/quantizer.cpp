#include "qfcore/math/quantizer.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "qfcore/math/kernels.h"
#include "qfcore/math/widekernels.h"

namespace embedded {

using EmbeddedTypeSystem::DataTypeEnum;
using EmbeddedTypeSystem::NumericType;
using EmbeddedTypeSystem::ScalingEnum;
using EmbeddedTypeSystem::SignedEnum;

/// The kernels of one mode: for contiguous doubles and for a single number of either kind.
struct Kernel {
  ArrayKernel array;
  WideKernel wide;
  WideRounding rounding;
  OverflowModeEnum overflowMode;
};

namespace {

constexpr Message kUnspecifiedScaling{"numforge:quantizer:unspecifiedscaling",
                                      "Unspecified scaling is not allowed in quantizers."};
constexpr Message kWordLengthTooSmall{"numforge:quantizer:wordlengthtoosmall",
                                      "Wordlength cannot be negative or zero."};
constexpr Message kWordLengthTooBig{"numforge:quantizer:wordlengthtoobig",
                                    "Word length cannot be greater than 65535."};
constexpr Message kExponentTooBig{"numforge:quantizer:exponenttoobig",
                                  "Exponent length cannot be greater than 31."};
constexpr Message kExponentTooSmall{"numforge:quantizer:exponenttoosmall",
                                    "Exponent length cannot be negative."};
constexpr Message kExponentLargerThanWordLength{"numforge:quantizer:exponentlargerthanwordlength",
                                                "Exponentlength must be less than wordlength."};
constexpr Message kWordLengthLargerThanExponent{"numforge:quantizer:wordlengthlargerthanexponent",
                                                "Wordlength must be larger than exponentlength."};
constexpr Message kNotAnInteger{"numforge:quantizer:notinteger", "The lengths of a format must be integers."};

constexpr int kMaxWordLength = 65535;
constexpr int kMaxExponentLength = 31;

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

int asInteger(double length) {
  if (!(std::abs(length) <= std::numeric_limits<int>::max()) || length != std::floor(length))
    fail<kNotAnInteger>();
  return static_cast<int>(length);
}

int checkedWordLength(double wordLength) {
  if (wordLength <= 0) fail<kWordLengthTooSmall>();
  if (wordLength > kMaxWordLength) fail<kWordLengthTooBig>();
  return asInteger(wordLength);
}

int checkedExponentLength(double exponentLength) {
  if (exponentLength > kMaxExponentLength) fail<kExponentTooBig>();
  if (exponentLength < 0) fail<kExponentTooSmall>();
  return asInteger(exponentLength);
}

Kernel makeKernel(QuantizerModeEnum mode, RoundModeEnum roundMode, OverflowModeEnum overflowMode) {
  const WideRounding rounding = WideRounding::of(roundMode);
  switch (mode) {
    case QuantizerModeEnum::fixed:
    case QuantizerModeEnum::ufixed:
      return {fixedKernel(roundMode, overflowMode), quantizeFixedWide, rounding, overflowMode};
    case QuantizerModeEnum::floatMode:
      return {floatKernel(roundMode), quantizeFloatWide, rounding, overflowMode};
    case QuantizerModeEnum::doubleMode: return {doubleKernel(), quantizeDoubleWide, rounding, overflowMode};
    case QuantizerModeEnum::singleMode: return {singleKernel(), quantizeSingleWide, rounding, overflowMode};
    case QuantizerModeEnum::boolean: return {booleanKernel(), quantizeBooleanWide, rounding, overflowMode};
    case QuantizerModeEnum::none: return {noneKernel(), quantizeNoneWide, rounding, overflowMode};
    default: return {scaledDoubleKernel(), quantizeScaledDoubleWide, rounding, overflowMode};
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

}  // namespace

quantizer::quantizer() { settingsChanged(); }

quantizer::quantizer(const NumericType& type, RoundModeEnum roundMode, OverflowModeEnum overflowMode,
                     const std::string& tag, OperationTypeEnum operationType)
    : settings_{modeOf(type), roundMode, overflowMode, type.wordLength(), type.fractionLength()},
      logger_(tag, operationType, type) {}

void quantizer::set(const NumericType& type, RoundModeEnum roundMode, OverflowModeEnum overflowMode) {
  settings_ = {modeOf(type),          roundMode,
               overflowMode,          type.wordLength(),
               type.fractionLength(), settings_.exponentLength};
  forgetDerived();
  logger_.setNumericType(type);
}

void quantizer::setMode(QuantizerModeEnum mode) {
  settings_.mode = mode;
  settingsChanged();
}

void quantizer::setRoundMode(RoundModeEnum roundMode) {
  settings_.roundMode = roundMode;
  settingsChanged();
}

void quantizer::setOverflowMode(OverflowModeEnum overflowMode) {
  settings_.overflowMode = overflowMode;
  settingsChanged();
}

void quantizer::setWordlength(double wordLength) {
  const int checked = checkedWordLength(wordLength);
  if (settings_.mode == QuantizerModeEnum::floatMode && checked <= settings_.exponentLength)
    fail<kWordLengthLargerThanExponent>();
  settings_.wordLength = checked;
  settingsChanged();
}

void quantizer::setFractionlength(double fractionLength) {
  settings_.fractionLength = asInteger(fractionLength);
  settingsChanged();
}

void quantizer::setExponentlength(double exponentLength) {
  const int checked = checkedExponentLength(exponentLength);
  if (settings_.mode == QuantizerModeEnum::floatMode && checked >= settings_.wordLength)
    fail<kExponentLargerThanWordLength>();
  settings_.exponentLength = checked;
  settingsChanged();
}

void quantizer::setFormat(double wordLength, double secondLength) {
  const int word = checkedWordLength(wordLength);
  if (settings_.mode == QuantizerModeEnum::floatMode) {
    const int exponent = checkedExponentLength(secondLength);
    if (exponent >= word) fail<kExponentLargerThanWordLength>();
    settings_.exponentLength = exponent;
  } else {
    settings_.fractionLength = asInteger(secondLength);
  }
  settings_.wordLength = word;
  settingsChanged();
}

bool quantizer::isFloatingPoint() const {
  return settings_.mode == QuantizerModeEnum::floatMode || settings_.mode == QuantizerModeEnum::doubleMode ||
         settings_.mode == QuantizerModeEnum::singleMode;
}

bool quantizer::isSigned() const {
  return settings_.mode != QuantizerModeEnum::ufixed &&
         settings_.mode != QuantizerModeEnum::UnsignedScaledDouble &&
         settings_.mode != QuantizerModeEnum::boolean;
}

int quantizer::wordLength() const {
  if (settings_.mode == QuantizerModeEnum::doubleMode) return 64;
  return settings_.mode == QuantizerModeEnum::singleMode ? 32 : settings_.wordLength;
}

int quantizer::exponentLength() const {
  if (settings_.mode == QuantizerModeEnum::doubleMode) return 11;
  if (settings_.mode == QuantizerModeEnum::singleMode) return 8;
  return settings_.exponentLength;
}

int quantizer::fractionLength() const {
  if (settings_.mode == QuantizerModeEnum::doubleMode) return 52;
  if (settings_.mode == QuantizerModeEnum::singleMode) return 23;
  return settings_.mode == QuantizerModeEnum::floatMode ? settings_.wordLength - settings_.exponentLength - 1
                                                        : settings_.fractionLength;
}

int quantizer::exponentBias() const {
  const int bits = exponentLength();
  return bits == 0 ? 0 : static_cast<int>((1U << (bits - 1)) - 1U);
}

bool quantizer::isequal(const quantizer& other) const {
  if (settings_.mode != other.settings_.mode || settings_.roundMode != other.settings_.roundMode ||
      settings_.overflowMode != other.settings_.overflowMode)
    return false;
  if (settings_.mode == QuantizerModeEnum::doubleMode || settings_.mode == QuantizerModeEnum::singleMode)
    return true;
  return settings_.wordLength == other.settings_.wordLength &&
         (settings_.mode == QuantizerModeEnum::floatMode
              ? settings_.exponentLength == other.settings_.exponentLength
              : settings_.fractionLength == other.settings_.fractionLength);
}

unsigned quantizer::constantPrecision() const {
  const int bits = isFloatingPoint() ? fractionLength()
                                     : settings_.wordLength + (settings_.mode == QuantizerModeEnum::ufixed);
  return static_cast<unsigned>(std::max(bits, 1));
}

bool quantizer::lengthsFit() const {
  return settings_.mode != QuantizerModeEnum::floatMode || settings_.exponentLength < settings_.wordLength;
}

void quantizer::requireFittingLengths() const {
  if (!lengthsFit()) fail<kWordLengthLargerThanExponent>();
}

void quantizer::settingsChanged() {
  forgetDerived();
  logger_.setNumericType(typeOfSettings());
}

void quantizer::forgetDerived() {
  isDerived_ = false;
  wide_.reset();
}

void quantizer::derive() const {
  // Scalars of one format come in long runs: each takes over what followed from the settings of the one before.
  struct Last {
    Settings settings;
    Derived derived;
  };
  [[gnu::tls_model("initial-exec")]] static constinit thread_local Last last{};
  if (!last.derived.kernel || last.settings != settings_) {
    DoubleFormat format{};
    if (isFloatingPoint()) {
      deriveFloat(format);
    } else {
      deriveFixed(format);
    }
    last = {settings_, {&kernelFor(settings_.mode), format}};
  }
  derived_ = last.derived;
  isDerived_ = true;
}

void quantizer::deriveFixed(DoubleFormat& format) const {
  const long w = settings_.wordLength, f = settings_.fractionLength;
  const auto power = [](long exponent) { return timesPow2(1.0, exponent); };
  format.fractionLength = settings_.fractionLength;
  format.grid = GridFactors(GridFactors::exist(f) ? settings_.fractionLength : 0);
  format.eps = power(-f);
  format.range = power(w - f);
  format.inverseRange = power(f - w);
  const double modulus = power(w);
  format.stored.max = modulus * (isSigned() ? 0.5 : 1.0) - 1.0;
  format.stored.min = isSigned() ? -0.5 * modulus : 0.0;
  format.stored.inverseModulus = power(-w);
  format.stored.maxTurns = format.stored.max / modulus;
  const double half = power(w - f - 1);
  const double end = isSigned() ? half : format.range;
  format.max = end - format.eps;
  format.min = isSigned() ? -half : 0.0;
  format.greatest = format.max < end ? format.max : std::nextafter(end, 0.0);
  format.least = std::max(format.min, std::numeric_limits<double>::lowest());
}

void quantizer::deriveFloat(DoubleFormat& format) const {
  if (!lengthsFit()) return;
  const int m = fractionLength();
  format.fractionBits = m;
  format.exponentMin = exponentMin();
  format.eps = std::ldexp(1.0, -m);
  format.max = std::ldexp(2.0 - format.eps, exponentBias());
  format.min = -format.max;
}

void quantizer::deriveAnew() {
  forgetDerived();
  derive();
  if (!isDoubleBacked() && lengthsFit()) (void)wideFormat();
}

void quantizer::updatefixedparameters() {
  if (!isFloatingPoint() && isSigned()) deriveAnew();
}

void quantizer::updateufixedparameters() {
  if (!isFloatingPoint() && !isSigned()) deriveAnew();
}

void quantizer::updatefloatparameters() {
  if (isFloatingPoint()) deriveAnew();
}

void quantizer::updateparameters() {
  updatefixedparameters();
  updateufixedparameters();
  updatefloatparameters();
}

const WideFormat& quantizer::wideFormat() const {
  if (!wide_) {
    const int f = fractionLength();
    wide_ = std::make_shared<const WideFormat>(
        isFloatingPoint() ? WideFormat::ofFloatingPoint(f, exponentMin(), exponentBias())
                          : WideFormat::ofFixedPoint(isSigned(), settings_.wordLength, f));
  }
  return *wide_;
}

const Kernel& quantizer::kernelFor(QuantizerModeEnum mode, RoundModeEnum roundMode,
                                   OverflowModeEnum overflowMode) {
  // Every combination once: a kernel is picked for each new array.
  static const KernelTable kernels = makeKernels();
  return kernels[static_cast<std::size_t>(mode)][static_cast<std::size_t>(roundMode)]
                [static_cast<std::size_t>(overflowMode)];
}

number& quantizer::run(const Kernel& kernel, number& value) const {
  requireFittingLengths();
  if (kernel.wide && !(isDoubleBacked() && value.gettype() == kDoubleRepresentation)) {
    return recorded(kernel.wide(wideFormat(), kernel.rounding, kernel.overflowMode, value), value);
  }
  Tally tally;
  double quantized = value.todouble();
  kernel.array(derived().format, &quantized, &quantized, 1, logger_.isOn() ? &tally : nullptr);
  value = quantized;
  logger_.record(tally);
  return value;
}

number& quantizer::recorded(const WideOutcome& outcome, number& quantized) const {
  if (!logger_.isOn()) return quantized;
  if (outcome.overflow) logger_.nOverflowsPlusOne();
  if (outcome.underflow) logger_.nUnderflowsPlusOne();
  logger_.updateminmax(quantized);
  return quantized;
}

number& quantizer::quantize(const number& from, number& to) const {
  const Kernel& kernel = *derived().kernel;
  const mpnumber* source = from.multiprecision();
  mpnumber* target = to.multiprecision();
  if (source && target && kernel.wide == quantizeFixedWide) {
    const LimbOutcome outcome = quantizeFixedByLimbs(wideFormat(), kernel.rounding, kernel.overflowMode,
                                                     source->getelement(), target->getmodifiableelement());
    if (outcome != LimbOutcome::NotDone) return recorded({outcome == LimbOutcome::Overflow, false}, to);
  }
  if (!source || (target && from.getprecision() <= to.getprecision())) {
    to = from;
    return quantize(to);
  }
  number moved(0.0, std::max(from.getprecision(), to.getprecision()), true);
  moved = from;
  return to = quantize(moved);
}

void quantizer::quantize(const number& from, unsigned fromFirst, number& to, unsigned toFirst,
                         unsigned count) const {
  const Kernel& kernel = *derived().kernel;
  const mpnumber* source = from.multiprecision();
  mpnumber* target = to.multiprecision();
  const bool byLimbs = source && target && kernel.wide == quantizeFixedWide && !logger_.isOn();
  const WideFormat* format = byLimbs ? &wideFormat() : nullptr;
  const number reader(from, Reading{});
  for (unsigned k = 0; k < count; ++k) {
    const bool isDone =
        byLimbs &&
        quantizeFixedByLimbs(*format, kernel.rounding, kernel.overflowMode, source->getelement(fromFirst + k),
                             target->getmodifiableelement(toFirst + k)) != LimbOutcome::NotDone;
    if (isDone) continue;
    if (&from == &to) {
      quantize(to[toFirst + k]);
    } else {
      quantize(reader[fromFirst + k], to[toFirst + k]);
    }
  }
}

number& quantizer::quantize(number& value) const { return run(*derived().kernel, value); }

void quantizer::quantize(const double* from, double* to, std::size_t count) const {
  requireFittingLengths();
  const Derived& by = derived();
  if (!logger_.isOn()) return by.kernel->array(by.format, from, to, count, nullptr);
  Tally tally;
  by.kernel->array(by.format, from, to, count, &tally);
  logger_.record(tally);
}

void quantizer::quantizeAll(number& values) const {
  if (double* plain = values.doubles(); plain && isDoubleBacked()) return quantize(plain, values.numel());
  quantize(values, 0, values, 0, values.numel());
}

number quantizer::constant(double DoubleFormat::*plain, number WideFormat::*wide) const {
  requireFittingLengths();
  if (isDoubleBacked()) return number(doubleFormat().*plain, kMaxDoublePrecision, false);
  return wideFormat().*wide;
}

number quantizer::eps() const { return constant(&DoubleFormat::eps, &WideFormat::eps); }
number quantizer::negativeEps() const { return -eps(); }
number quantizer::max() const { return constant(&DoubleFormat::max, &WideFormat::max); }
number quantizer::min() const { return constant(&DoubleFormat::min, &WideFormat::min); }
number quantizer::range() const { return constant(&DoubleFormat::range, &WideFormat::range); }

number quantizer::realmin() const {
  number result = eps();
  if (!isFloatingPoint()) return result;
  result = 1.0;
  result.pow2(exponentMin());
  return result;
}

number quantizer::denormalmin() const {
  number result = realmin();
  if (isFloatingPoint()) result.pow2(-fractionLength());
  return result;
}

number quantizer::denormalmax() const {
  number result = realmin();
  if (isFloatingPoint()) result -= denormalmin();
  return result;
}

NumericType quantizer::typeOfSettings() const {
  // A floating-point format of other lengths has no numeric type of its own; the double type is the nearest.
  const auto builtIn = [](DataTypeEnum dataType) {
    NumericType type;
    type.setDataType(dataType);
    return type;
  };
  switch (settings_.mode) {
    case QuantizerModeEnum::doubleMode:
    case QuantizerModeEnum::floatMode: return builtIn(DataTypeEnum::Double);
    case QuantizerModeEnum::singleMode: return builtIn(DataTypeEnum::Single);
    case QuantizerModeEnum::boolean: return builtIn(DataTypeEnum::Boolean);
    default: break;
  }
  NumericType type(isSigned(), settings_.wordLength, settings_.fractionLength);
  if (settings_.mode == QuantizerModeEnum::ScaledDouble ||
      settings_.mode == QuantizerModeEnum::UnsignedScaledDouble) {
    type.setDataType(DataTypeEnum::ScaledDouble);
  }
  return type;
}

}  // namespace embedded
