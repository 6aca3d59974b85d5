#include "qfcore/math/kernels.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

#include "qfcore/number/vectorised.h"

namespace embedded {
namespace {

/// Calls `visitor` with a value of the rounding policy of `roundMode`: the one place where run-time settings turn
/// into template arguments.
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
struct SaturateValue {
  static double land(double x, const DoubleFormat& f) { return x > f.max ? f.max : x < f.min ? f.min : x; }
};

/// Two's-complement wrapping into [min, min + range). The modulus is a power of two, so both divisions are exact
/// and one formula serves moduli that are integers and those that are not.
struct WrapValue {
  static double modulo(double x, const DoubleFormat& f) { return x - std::floor(x * f.inverseRange) * f.range; }
  static double land(double x, const DoubleFormat& f) {
    const double wrapped = modulo(modulo(x, f) - f.min, f) + f.min;
    return x > f.max || x < f.min ? wrapped : x;
  }
};

/// Fixed point; the scaled value is rounded by `Rounding` and brought into range by `Overflow`.
template <class Rounding, class Overflow>
struct Fixed {
  static Outcome apply(double x, const DoubleFormat& f) {
    const double y = x == 0 ? x : rounded<Rounding>(x, f.grid);
    return {Overflow::land(y, f), y > f.max || y < f.min, y == 0 && x != 0};
  }
};

/// The same for fraction lengths whose scale is no normal double.
template <class Rounding, class Overflow>
struct FixedFar {
  static Outcome apply(double x, const DoubleFormat& f) {
    const double y = x == 0 ? x : rounded<Rounding>(x, f.fractionLength);
    return {Overflow::land(y, f), y > f.max || y < f.min, y == 0 && x != 0};
  }
};

/// Floating point: normal values keep fractionBits bits after the leading one, small ones share the denormal grid.
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
  static constexpr std::size_t kCount = 16;
  double max[kCount], min[kCount];
  std::uint64_t overflows[kCount] = {}, underflows[kCount] = {};

  explicit Lanes(const Tally& tally) {
    for (std::size_t lane = 0; lane < kCount; ++lane) {
      max[lane] = tally.max;
      min[lane] = tally.min;
    }
  }

  void count(std::size_t lane, const Outcome& outcome) {
    max[lane] = max[lane] < outcome.value ? outcome.value : max[lane];
    min[lane] = min[lane] > outcome.value ? outcome.value : min[lane];
    overflows[lane] += outcome.overflow;
    underflows[lane] += outcome.underflow;
  }

  void addTo(Tally& tally, std::size_t values) const {
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
QFCORE_VECTORISED void quantizeQuietly(const DoubleFormat& format, double* values, std::size_t count) {
  const DoubleFormat f = format;
  for (std::size_t i = 0; i < count; ++i) values[i] = Policy::apply(values[i], f).value;
}

template <class Policy>
QFCORE_VECTORISED void quantizeCounting(const DoubleFormat& format, double* values, std::size_t count, Tally& tally) {
  const DoubleFormat f = format;
  Lanes lanes(tally);
  std::size_t i = 0;
  for (; i + Lanes::kCount <= count; i += Lanes::kCount) {
    for (std::size_t lane = 0; lane < Lanes::kCount; ++lane) {
      const Outcome outcome = Policy::apply(values[i + lane], f);
      values[i + lane] = outcome.value;
      lanes.count(lane, outcome);
    }
  }
  for (; i < count; ++i) {
    const Outcome outcome = Policy::apply(values[i], f);
    values[i] = outcome.value;
    lanes.count(0, outcome);
  }
  lanes.addTo(tally, count);
}

template <class Policy>
void execute(const DoubleFormat& format, double* values, std::size_t count, Tally* tally) {
  if (tally) {
    quantizeCounting<Policy>(format, values, count, *tally);
  } else {
    quantizeQuietly<Policy>(format, values, count);
  }
}

template <class Rounding, class Overflow>
void executeFixed(const DoubleFormat& format, double* values, std::size_t count, Tally* tally) {
  if (format.factorsExist) {
    execute<Fixed<Rounding, Overflow>>(format, values, count, tally);
  } else {
    execute<FixedFar<Rounding, Overflow>>(format, values, count, tally);
  }
}

}  // namespace

ArrayKernel fixedKernel(RoundModeEnum roundMode, OverflowModeEnum overflowMode) {
  return withRounding(roundMode, [overflowMode](auto rounding) -> ArrayKernel {
    using Rounding = decltype(rounding);
    return overflowMode == OverflowModeEnum::saturate ? executeFixed<Rounding, SaturateValue>
                                                      : executeFixed<Rounding, WrapValue>;
  });
}

ArrayKernel floatKernel(RoundModeEnum roundMode) {
  return withRounding(roundMode, [](auto rounding) -> ArrayKernel { return execute<Float<decltype(rounding)>>; });
}

ArrayKernel doubleKernel() { return execute<Double>; }
ArrayKernel singleKernel() { return execute<Single>; }
ArrayKernel booleanKernel() { return execute<Boolean>; }
ArrayKernel scaledDoubleKernel() { return execute<ScaledDouble>; }
ArrayKernel noneKernel() { return execute<None>; }

}  // namespace embedded
