#include "qfcore/math/quantizer.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "qfcore/math/kerneltable.h"
#include "qfcore/math/parallel.h"
#include "qfcore/number/widevalues.h"

namespace embedded {

using EmbeddedTypeSystem::DataTypeEnum;
using EmbeddedTypeSystem::NumericType;
using EmbeddedTypeSystem::SharedType;
using EmbeddedTypeSystem::SharedTypePtr;

namespace {

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

}  // namespace

namespace {

QuantizerRulesPtr rulesOf(const QuantizerSettings& settings) {
  return QuantizerRulesPtr(new QuantizerRules(settings));
}

SharedTypePtr shared(const NumericType& type) { return SharedTypePtr(new SharedType(type)); }

NumericType typeOf(const QuantizerSettings& settings) {
  // A floating-point format of other lengths has no numeric type of its own; the double type is the nearest.
  const auto builtIn = [](DataTypeEnum dataType) {
    NumericType type;
    type.setDataType(dataType);
    return type;
  };
  switch (settings.mode) {
    case QuantizerModeEnum::doubleMode:
    case QuantizerModeEnum::floatMode: return builtIn(DataTypeEnum::Double);
    case QuantizerModeEnum::singleMode: return builtIn(DataTypeEnum::Single);
    case QuantizerModeEnum::boolean: return builtIn(DataTypeEnum::Boolean);
    default: break;
  }
  NumericType type(settings.isSigned(), settings.wordLength, settings.fractionLength);
  if (settings.mode == QuantizerModeEnum::ScaledDouble ||
      settings.mode == QuantizerModeEnum::UnsignedScaledDouble) {
    type.setDataType(DataTypeEnum::ScaledDouble);
  }
  return type;
}

}  // namespace

quantizer::quantizer() : rules_(rulesOf({})) { logger_.setNumericType(typeOf(settings())); }

quantizer::quantizer(const NumericType& type, RoundModeEnum roundMode, OverflowModeEnum overflowMode,
                     const std::string& tag, OperationTypeEnum operationType)
    : quantizer(rulesOf(quantizerSettings(type, roundMode, overflowMode)), *shared(type), Tag(tag),
                operationType) {}

void quantizer::set(const NumericType& type, RoundModeEnum roundMode, OverflowModeEnum overflowMode) {
  QuantizerSettings changed = quantizerSettings(type, roundMode, overflowMode);
  changed.exponentLength = settings().exponentLength;
  set(shared(type), rulesOf(changed));
}

void quantizer::set(const SharedTypePtr& type, const QuantizerRulesPtr& rules) {
  rules_ = rules;
  logger_.shareType(type);
}

void quantizer::change(const QuantizerSettings& changed) { set(shared(typeOf(changed)), rulesOf(changed)); }

void quantizer::setMode(QuantizerModeEnum mode) {
  QuantizerSettings changed = settings();
  changed.mode = mode;
  change(changed);
}

void quantizer::setRoundMode(RoundModeEnum roundMode) {
  QuantizerSettings changed = settings();
  changed.roundMode = roundMode;
  change(changed);
}

void quantizer::setOverflowMode(OverflowModeEnum overflowMode) {
  QuantizerSettings changed = settings();
  changed.overflowMode = overflowMode;
  change(changed);
}

void quantizer::setWordlength(double wordLength) {
  QuantizerSettings changed = settings();
  changed.wordLength = checkedWordLength(wordLength);
  if (!changed.lengthsFit()) fail<kWordLengthLargerThanExponent>();
  change(changed);
}

void quantizer::setFractionlength(double fractionLength) {
  QuantizerSettings changed = settings();
  changed.fractionLength = asInteger(fractionLength);
  change(changed);
}

void quantizer::setExponentlength(double exponentLength) {
  QuantizerSettings changed = settings();
  changed.exponentLength = checkedExponentLength(exponentLength);
  if (!changed.lengthsFit()) fail<kExponentLargerThanWordLength>();
  change(changed);
}

void quantizer::setFormat(double wordLength, double secondLength) {
  QuantizerSettings changed = settings();
  changed.wordLength = checkedWordLength(wordLength);
  if (changed.mode == QuantizerModeEnum::floatMode) {
    changed.exponentLength = checkedExponentLength(secondLength);
    if (!changed.lengthsFit()) fail<kExponentLargerThanWordLength>();
  } else {
    changed.fractionLength = asInteger(secondLength);
  }
  change(changed);
}

bool quantizer::isequal(const quantizer& other) const {
  if (settings().mode != other.settings().mode || settings().roundMode != other.settings().roundMode ||
      settings().overflowMode != other.settings().overflowMode)
    return false;
  if (settings().mode == QuantizerModeEnum::doubleMode || settings().mode == QuantizerModeEnum::singleMode)
    return true;
  return settings().wordLength == other.settings().wordLength &&
         (settings().mode == QuantizerModeEnum::floatMode
              ? settings().exponentLength == other.settings().exponentLength
              : settings().fractionLength == other.settings().fractionLength);
}

void quantizer::requireFittingLengths() const {
  if (!settings().lengthsFit()) fail<kWordLengthLargerThanExponent>();
}

namespace {

void makeConstants(const QuantizerRules& rules) {
  if (!rules.settings.isDoubleBacked() && rules.settings.lengthsFit()) (void)rules.wide();
}

}  // namespace

void quantizer::updatefixedparameters() {
  if (!isFloatingPoint() && isSigned()) makeConstants(*rules_);
}

void quantizer::updateufixedparameters() {
  if (!isFloatingPoint() && !isSigned()) makeConstants(*rules_);
}

void quantizer::updatefloatparameters() {
  if (isFloatingPoint()) makeConstants(*rules_);
}

void quantizer::updateparameters() {
  updatefixedparameters();
  updateufixedparameters();
  updatefloatparameters();
}

const Kernel& quantizer::kernelFor(QuantizerModeEnum mode, RoundModeEnum roundMode,
                                   OverflowModeEnum overflowMode) {
  return embedded::kernelFor(mode, roundMode, overflowMode);
}

number& quantizer::run(const Kernel& kernel, number& value) const {
  requireFittingLengths();
  if (!isDoubleBacked() || value.gettype() != kDoubleRepresentation) {
    const WideOutcome outcome = kernel.wide(wideFormat(), kernel.rounding, kernel.overflowMode, value);
    return logger_.isOn() ? recorded(outcome, value) : value;
  }
  Tally tally;
  double quantized = value.todouble();
  kernel.array(rules_->format, &quantized, &quantized, 1, logger_.isOn() ? &tally : nullptr);
  value = quantized;
  logger_.record(tally);
  return value;
}

number& quantizer::recorded(const WideOutcome& outcome, number& quantized) const {
  if (outcome.overflow) logger_.nOverflowsPlusOne();
  if (outcome.underflow) logger_.nUnderflowsPlusOne();
  logger_.updateminmax(quantized);
  return quantized;
}

number& quantizer::quantize(const number& from, number& to) const {
  const Kernel& kernel = rules_->kernel;
  const mpnumber* source = from.multiprecision();
  mpnumber* target = to.multiprecision();
  if (source && target && kernel.wide == quantizeFixedWide) {
    const LimbOutcome outcome = quantizeFixedByLimbs(wideFormat(), kernel.rounding, kernel.overflowMode,
                                                     source->getelement(), target->getmodifiableelement());
    if (outcome != LimbOutcome::NotDone)
      return logger_.isOn() ? recorded({outcome == LimbOutcome::Overflow, false}, to) : to;
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
  const Kernel& kernel = rules_->kernel;
  const mpnumber* source = from.multiprecision();
  mpnumber* target = to.multiprecision();
  const bool byLimbs = source && target && kernel.wide == quantizeFixedWide && !logger_.isOn() && count > 0;
  const WideFormat* format = byLimbs ? &wideFormat() : nullptr;
  WideValues<const MpFloat> sources;
  WideValues<MpFloat> targets;
  if (byLimbs) {
    const unsigned step = count > 1 ? 1 : 0;
    targets = {target->getmodifiableelement(toFirst), target->getmodifiableelement(toFirst + step)};
    sources = {source->getelement(fromFirst), source->getelement(fromFirst + step)};
  }
  if (!source && !target) {
    const number reader(from, Reading{});
    for (unsigned k = 0; k < count; ++k) quantize(to[toFirst + k] = reader[fromFirst + k]);
    return;
  }
  const unsigned precision = std::max(from.getprecision(), to.getprecision());
  makeStorable(to);
  shareLoop(count, kSharedWide, std::array{this}, [&](std::size_t first, std::size_t size, const auto& own) {
    const number reader(from, Reading{});
    number moved(0.0, precision, true);
    for (std::size_t k = first; k < first + size; ++k) {
      const bool isDone = byLimbs && quantizeFixedByLimbs(*format, kernel.rounding, kernel.overflowMode,
                                                          sources[k], targets[k]) != LimbOutcome::NotDone;
      if (isDone) continue;
      moved = reader[fromFirst + static_cast<unsigned>(k)];
      storeExactly(own[0]->quantize(moved), to, toFirst + static_cast<unsigned>(k));
    }
  });
}

number& quantizer::quantize(number& value) const { return run(rules_->kernel, value); }

void quantizer::quantize(const double* from, double* to, std::size_t count) const {
  requireFittingLengths();
  if (logger_.isOn()) return quantizeCounting(from, to, count);
  rules_->kernel.array(rules_->format, from, to, count, nullptr);
}

void quantizer::quantizeCounting(const double* from, double* to, std::size_t count) const {
  Tally tally;
  rules_->kernel.array(rules_->format, from, to, count, &tally);
  logger_.record(tally);
}

bool quantizer::quantizeFinite(const double* from, double* to, std::size_t count) const {
  const FiniteKernel finite = rules_->kernel.finite;
  return finite && !logger_.isOn() && finite(rules_->format, from, to, count);
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

}  // namespace embedded
