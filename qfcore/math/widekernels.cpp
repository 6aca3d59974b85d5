#include "qfcore/math/widekernels.h"

#include <algorithm>
#include <limits>
#include <type_traits>

#include "qfcore/number/precision.h"
#include "qfcore/number/storedinteger.h"

namespace embedded {

namespace {

template <class Policy>
constexpr std::uint16_t growthsOf() {
  std::uint16_t bits = 0;
  for (unsigned i = 0; i < Cut::kCases; ++i) {
    if (Policy::grows(Cut(i))) bits |= static_cast<std::uint16_t>(1U << i);
  }
  return bits;
}

/// Makes powers of two that hold differences of `bits` bits.
struct PowersOfTwo {
  int bits;
  number operator()(long exponent) const {
    number result(1.0, std::max(static_cast<unsigned>(bits) + 1, kMaxDoublePrecision + 1), true);
    result.multiprecision()->getmodifiableelement().scaleByPow2(exponent);
    return result;
  }
};

/// Brings a value on the grid into range, in bits of which there is one more than the word has.
void wrap(number& x, const WideFormat& format) {
  x.mod(format.range);
  x -= format.min;
  x.mod(format.range);
  x += format.min;
}

template <unsigned Limbs>
LimbOutcome quantizeIn(const WideFormat& format, const WideRounding& rounding, OverflowModeEnum overflowMode,
                       const MpFloat& from, MpFloat& to) {
  using Integer = StoredInteger<Limbs>;
  const int f = format.fractionLength;
  if (!Integer::fits(from, f)) return LimbOutcome::NotDone;
  Integer stored;
  const Cut cut = stored.take(from, f);
  stored.growIf(rounding.grows(cut));
  const WideFormat::Magnitude& limit = stored.isNegative ? format.minMagnitude : format.maxMagnitude;
  if (!stored.exceeds(limit.data())) {
    const bool isThere = &from == &to && cut.isExact();
    return isThere || stored.store(to, f) ? LimbOutcome::InRange : LimbOutcome::NotDone;
  }
  if (overflowMode == OverflowModeEnum::saturate) {
    std::copy_n(limit.data(), Limbs, stored.limbs.begin());
  } else {
    stored.toPattern(static_cast<unsigned>(format.wordLength));
    stored.fromPattern(static_cast<unsigned>(format.wordLength), format.isSigned);
  }
  return stored.store(to, f) ? LimbOutcome::Overflow : LimbOutcome::NotDone;
}

}  // namespace

WideFormat WideFormat::ofFixedPoint(bool isSigned, int wordLength, int fractionLength) {
  const PowersOfTwo power{wordLength + 1};
  const long w = wordLength, f = fractionLength;
  WideFormat format{fractionLength, fractionLength, 0,          power(-f), power(w - f - isSigned),
                    power(0),       power(w - f),   wordLength, isSigned};
  format.min = isSigned ? -format.max : number(0.0, format.max.getprecision(), true);
  format.max -= format.eps;
  constexpr unsigned kLimbBits = GMP_NUMB_BITS;
  const auto magnitudeBits = static_cast<unsigned>(w - isSigned);
  if (magnitudeBits + 2 > kMaxStoredLimbs * kLimbBits) return format;
  const mp_limb_t top = mp_limb_t{1} << magnitudeBits % kLimbBits;
  format.maxMagnitude.assign(kMaxStoredLimbs, 0);
  format.minMagnitude = format.maxMagnitude;
  std::fill_n(format.maxMagnitude.begin(), magnitudeBits / kLimbBits, ~mp_limb_t{0});
  format.maxMagnitude[magnitudeBits / kLimbBits] = top - 1;
  if (isSigned) format.minMagnitude[magnitudeBits / kLimbBits] = top;
  return format;
}

WideFormat WideFormat::ofFloatingPoint(int fractionBits, int exponentMin, int exponentBias) {
  const PowersOfTwo power{fractionBits};
  WideFormat format{fractionBits, fractionBits, exponentMin, power(-fractionBits),
                    power(1),     power(0),     power(0)};
  format.max -= format.eps;
  format.max.pow2(exponentBias);
  format.min = -format.max;
  return format;
}

WideRounding WideRounding::of(RoundModeEnum roundMode) {
  switch (roundMode) {
    case RoundModeEnum::ceil: return {&number::ceil, growthsOf<Ceil>()};
    case RoundModeEnum::convergent: return {&number::convergent, growthsOf<Convergent>()};
    case RoundModeEnum::fix: return {&number::fix, growthsOf<Fix>()};
    case RoundModeEnum::floor: return {&number::floor, growthsOf<Floor>()};
    case RoundModeEnum::nearest: return {&number::nearest, growthsOf<Nearest>()};
    default: return {&number::round, growthsOf<Round>()};
  }
}

WideOutcome quantizeFixedWide(const WideFormat& format, const WideRounding& rounding,
                              OverflowModeEnum overflowMode, number& x) {
  if (mpnumber* wide = x.multiprecision()) {
    MpFloat& value = wide->getmodifiableelement();
    const LimbOutcome outcome = quantizeFixedByLimbs(format, rounding, overflowMode, value, value);
    if (outcome != LimbOutcome::NotDone) return {outcome == LimbOutcome::Overflow, false};
  }
  return quantizeFixedByFloats(format, rounding, overflowMode, x);
}

LimbOutcome quantizeFixedByLimbs(const WideFormat& format, const WideRounding& rounding,
                                 OverflowModeEnum overflowMode, const MpFloat& from, MpFloat& to) {
  if (format.maxMagnitude.empty()) return LimbOutcome::NotDone;
  // One more bit than the word, so that a magnitude that has grown is seen to exceed it.
  const unsigned limbs =
      std::max(limbCount(from.bits()), limbCount(static_cast<unsigned>(format.wordLength) + 1));
  return visitLimbs(
      limbs, [&](auto size) { return quantizeIn<size()>(format, rounding, overflowMode, from, to); },
      LimbOutcome::NotDone);
}

WideOutcome quantizeFixedByFloats(const WideFormat& format, const WideRounding& rounding,
                                  OverflowModeEnum overflowMode, number& x) {
  WideOutcome outcome;
  if (x.iszero()) return outcome;
  (x.*rounding.member)(format.fractionLength);
  outcome.underflow = x.iszero();
  const bool above = x > format.max;
  outcome.overflow = above || x < format.min;
  if (!outcome.overflow) return outcome;
  if (overflowMode == OverflowModeEnum::saturate) {
    x = above ? format.max : format.min;
  } else if (const mpnumber* wide = x.multiprecision();
             wide && wide->getelement().bits() > static_cast<unsigned>(format.wordLength)) {
    wrap(x, format);
  } else {
    // Its own bits would round what is formed on the way.
    number word(0.0, static_cast<unsigned>(format.wordLength) + kDoubleBits, true);
    word = x;
    wrap(word, format);
    x = word;
  }
  return outcome;
}

WideOutcome quantizeFloatWide(const WideFormat& format, const WideRounding& rounding, OverflowModeEnum,
                              number& x) {
  if (x.iszero()) return {};
  if (!x.isFinite()) return {true, false};
  const bool above = x > format.max;
  if (above || x < format.min) {
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    x = above ? kInfinity : -kInfinity;
    return {true, false};
  }
  (x.*rounding.member)(format.fractionBits - std::max(x.unbiasedexponent(), format.exponentMin));
  return {false, x.iszero()};
}

WideOutcome quantizeDoubleWide(const WideFormat&, const WideRounding&, OverflowModeEnum, number& x) {
  return {x.myisinf(), false};
}

WideOutcome quantizeSingleWide(const WideFormat&, const WideRounding&, OverflowModeEnum, number& x) {
  constexpr int kFractionBits = 23, kExponentMin = -126, kExponentMax = 127;
  if (x.iszero() || !x.isFinite()) return {x.myisinf(), false};
  x.convergent(kFractionBits - std::max(x.unbiasedexponent(), kExponentMin));
  if (x.iszero() || x.unbiasedexponent() <= kExponentMax) return {};  // never an underflow
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  x = x.isnegative() ? -kInfinity : kInfinity;
  return {true, false};
}

WideOutcome quantizeBooleanWide(const WideFormat&, const WideRounding&, OverflowModeEnum, number& x) {
  x = x.iszero() ? 0.0 : 1.0;
  return {};
}

WideOutcome quantizeNoneWide(const WideFormat& format, const WideRounding&, OverflowModeEnum, number& x) {
  return {x > format.max || x < format.min, false};
}

WideOutcome quantizeScaledDoubleWide(const WideFormat& format, const WideRounding& rounding,
                                     OverflowModeEnum overflowMode, number& x) {
  WideOutcome outcome = quantizeNoneWide(format, rounding, overflowMode, x);
  number magnitude(x);
  outcome.underflow = !x.iszero() && magnitude.abs() < format.eps;
  return outcome;
}

}  // namespace embedded
