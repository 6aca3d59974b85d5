#include "qfcore/math/kernels.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

#include "qfcore/number/vectorised.h"

namespace embedded {
namespace {

/// Calls `visitor` with a value of the rounding policy of `roundMode`: the one place where run-time settings
/// turn into template arguments.
template <class Visitor>
ArrayKernel withRounding(RoundModeEnum roundMode, Visitor visitor) {
  switch (roundMode) {
    case RoundModeEnum::ceil: return visitor(Ceil{});
    case RoundModeEnum::convergent: return visitor(Convergent{});
    case RoundModeEnum::fix: return visitor(Fix{});
    case RoundModeEnum::floor: return visitor(Floor{});
    case RoundModeEnum::nearest: return visitor(Nearest{});
    default: return visitor(Round{});
  }
}

struct Outcome {
  double value;
  bool overflow, underflow;
};

/// Values above max become max, values below min become min.
struct SaturateInteger {
  static double land(double q, const IntegerRange& r) {
    const double notAbove = q > r.max ? r.max : q;
    return notAbove < r.min ? r.min : notAbove;
  }
};

/// Two's-complement wrapping into [min, min + modulus). The modulus is a power of two, so every step is exact,
/// and integers in range stay what they are. Infinities stand for multiples of the modulus.
struct WrapInteger {
  static double land(double q, const IntegerRange& r) {
    const double remainder = q - std::floor(q * r.inverseModulus) * r.modulus;
    const double positive = remainder > 0 ? remainder : 0.0;  // not NaN
    return positive - (positive > r.max ? r.modulus : 0.0);
  }
};

/// `x` where it is a zero, else `y`: zeros keep their sign. As bits, since a choice between values would have
/// the compiler branch around the rounding and keep the loop from vectorising.
double keepZero(double y, double x) {
  const auto bits = [](double value) { return std::bit_cast<std::uint64_t>(value); };
  return std::bit_cast<double>(x == 0 ? bits(x) : bits(y));
}

template <class Rounding, class Overflow>
Outcome landed(double x, double scaled, const IntegerRange& range) {
  const double q = Rounding::integer(scaled);
  const double inRange = Overflow::land(q, range);
  // Both at once: a branch would keep the loop from vectorising.
  const bool underflow = static_cast<bool>(static_cast<int>(q == 0) & static_cast<int>(x != 0));
  return {keepZero(inRange, x), inRange != q, underflow};
}

/// Fixed point; the stored integer is rounded by `Rounding` and brought into range by `Overflow`.
template <class Rounding, class Overflow>
struct Fixed {
  static Outcome apply(double x, const DoubleFormat& f) {
    Outcome outcome = landed<Rounding, Overflow>(x, x * f.grid.unitsPerOne, f.stored);
    outcome.value *= f.grid.unit;
    return outcome;
  }
};

/// The same for fraction lengths whose scale is no normal double.
template <class Rounding, class Overflow>
struct FixedFar {
  static Outcome apply(double x, const DoubleFormat& f) {
    Outcome outcome = landed<Rounding, Overflow>(x, std::ldexp(x, f.fractionLength), f.stored);
    outcome.value = std::ldexp(outcome.value, -f.fractionLength);
    return outcome;
  }
};

/// Floating point: normal values keep fractionBits bits after the leading one, small ones share the denormal
/// grid.
template <class Rounding>
struct Float {
  static Outcome apply(double x, const DoubleFormat& f) {
    if (x == 0) return {x, false, false};
    if (!std::isfinite(x)) return {x, true, false};
    if (x > f.max) return {std::numeric_limits<double>::infinity(), true, false};
    if (x < f.min) return {-std::numeric_limits<double>::infinity(), true, false};
    int exponent;
    std::frexp(x, &exponent);
    const double y = rounded<Rounding>(x, f.fractionBits - std::max(exponent - 1, f.exponentMin));
    return {y, false, y == 0};
  }
};

struct Double {
  static Outcome apply(double x, const DoubleFormat&) { return {x, std::isinf(x), false}; }
};

struct Single {
  // The underflow test looks at the value before narrowing, which is nonzero: singles never count an underflow.
  static Outcome apply(double x, const DoubleFormat&) {
    const double y = static_cast<float>(x);
    return {y, std::isinf(y), false};
  }
};

struct Boolean {
  static Outcome apply(double x, const DoubleFormat&) { return {x == 0 ? 0.0 : 1.0, false, false}; }
};

struct ScaledDouble {
  static Outcome apply(double x, const DoubleFormat& f) {
    return {x, x > f.max || x < f.min, x != 0 && std::abs(x) < f.eps};
  }
};

struct None {
  static Outcome apply(double x, const DoubleFormat& f) { return {x, x > f.max || x < f.min, false}; }
};

/// Counts and extremes in several independent lanes, which the compiler keeps in vector registers.
struct Lanes {
  static constexpr std::size_t kCount = 8;
  double max[kCount], min[kCount];
  std::uint64_t overflows[kCount] = {}, underflows[kCount] = {};

  explicit Lanes(const Tally& tally) {
    std::fill_n(max, kCount, tally.max);
    std::fill_n(min, kCount, tally.min);
  }

  void count(std::size_t lane, const Outcome& outcome) {
    max[lane] = max[lane] < outcome.value ? outcome.value : max[lane];
    min[lane] = min[lane] > outcome.value ? outcome.value : min[lane];
    overflows[lane] += outcome.overflow;
    underflows[lane] += outcome.underflow;
  }

  // Inlined, so that the lanes' addresses stay unknown to the rest and the loop before can keep them in
  // registers.
  [[gnu::always_inline]] void addTo(Tally& tally, std::size_t values) const {
    tally.values += values;
    for (std::size_t lane = 0; lane < kCount; ++lane) {
      tally.max = tally.max < max[lane] ? max[lane] : tally.max;
      tally.min = tally.min > min[lane] ? min[lane] : tally.min;
      tally.overflows += overflows[lane];
      tally.underflows += underflows[lane];
    }
  }
};

template <class Policy>
QFCORE_VECTORISED void quantizeQuietly(const DoubleFormat& format, const double* from, double* to,
                                       std::size_t count) {
  const DoubleFormat f = format;
  for (std::size_t i = 0; i < count; ++i) to[i] = Policy::apply(from[i], f).value;
}

/// The two arrays must not overlap: lanes would have to wait for what others write.
template <class Policy>
QFCORE_VECTORISED void quantizeCounting(const DoubleFormat& format, const double* __restrict from,
                                        double* __restrict to, std::size_t count, Tally& tally) {
  const DoubleFormat f = format;
  Lanes lanes(tally);
  std::size_t i = 0;
  for (; i + Lanes::kCount <= count; i += Lanes::kCount) {
    for (std::size_t lane = 0; lane < Lanes::kCount; ++lane) {
      const Outcome outcome = Policy::apply(from[i + lane], f);
      to[i + lane] = outcome.value;
      lanes.count(lane, outcome);
    }
  }
  for (; i < count; ++i) {
    const Outcome outcome = Policy::apply(from[i], f);
    to[i] = outcome.value;
    lanes.count(0, outcome);
  }
  lanes.addTo(tally, count);
}

template <class Policy>
void countInPlace(const DoubleFormat& format, double* values, std::size_t count, Tally& tally) {
  std::array<double, 512> read;
  for (std::size_t first = 0; first < count; first += read.size()) {
    const std::size_t size = std::min(read.size(), count - first);
    std::copy_n(values + first, size, read.data());
    quantizeCounting<Policy>(format, read.data(), values + first, size, tally);
  }
}

template <class Policy>
void execute(const DoubleFormat& format, const double* from, double* to, std::size_t count, Tally* tally) {
  if (!tally) {
    quantizeQuietly<Policy>(format, from, to, count);
  } else if (from == to) {
    countInPlace<Policy>(format, to, count, *tally);
  } else {
    quantizeCounting<Policy>(format, from, to, count, *tally);
  }
}

template <class Rounding, class Overflow>
void executeFixed(const DoubleFormat& format, const double* from, double* to, std::size_t count, Tally* tally) {
  if (format.factorsExist) {
    execute<Fixed<Rounding, Overflow>>(format, from, to, count, tally);
  } else {
    execute<FixedFar<Rounding, Overflow>>(format, from, to, count, tally);
  }
}

}  // namespace

ArrayKernel fixedKernel(RoundModeEnum roundMode, OverflowModeEnum overflowMode) {
  return withRounding(roundMode, [overflowMode](auto rounding) -> ArrayKernel {
    using Rounding = decltype(rounding);
    return overflowMode == OverflowModeEnum::saturate ? executeFixed<Rounding, SaturateInteger>
                                                      : executeFixed<Rounding, WrapInteger>;
  });
}

ArrayKernel floatKernel(RoundModeEnum roundMode) {
  return withRounding(roundMode,
                      [](auto rounding) -> ArrayKernel { return execute<Float<decltype(rounding)>>; });
}

ArrayKernel doubleKernel() { return execute<Double>; }
ArrayKernel singleKernel() { return execute<Single>; }
ArrayKernel booleanKernel() { return execute<Boolean>; }
ArrayKernel scaledDoubleKernel() { return execute<ScaledDouble>; }
ArrayKernel noneKernel() { return execute<None>; }

}  // namespace embedded
