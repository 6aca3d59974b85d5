#include "qfcore/math/kernels.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

#include "qfcore/math/doublerules.h"
#include "qfcore/number/vectorised.h"

namespace embedded {
namespace {

struct Outcome {
  double value;
  bool overflow, underflow;
};

// Ways from values to stored integers. They may end at an infinity, but at zero only for a zero.

struct FineScale {  // of f >= 0
  static double up(double x, const DoubleFormat& f) { return x * f.grid.unitsPerOne; }
};

struct CoarseScale {
  // What is lost was so small that x itself rounds as its multiple would.
  static double up(double x, const DoubleFormat& f) {
    const double scaled = FineScale::up(x, f);
    return scaled == 0 ? x : scaled;
  }
};

/// Fixed point; the stored integer is rounded by `Rounding` and brought into range by `Overflow`.
template <class Rounding, class Overflow, class Scale>
struct Fixed {
  static Outcome apply(double x, const DoubleFormat& f) {
    const Steps steps(x, f);
    return {steps.value(f), Overflow::isOverflow(steps.landed, steps.units, x),
            both(steps.rounded == 0, isOrdinary(x))};
  }
  /// For loops that count nothing: left to drop the counts itself, the compiler has branched for them by then.
  static double value(double x, const DoubleFormat& f) { return Steps(x, f).value(f); }
  /// The same of a finite x; a zero may change its sign.
  static double ofFinite(double x, const DoubleFormat& f) {
    const double q = Rounding::integer(Scale::up(x, f));
    if constexpr (Overflow::kStoresInfinities) return Overflow::stored(q, f) * f.grid.unit;
    return value(x, f);
  }

 private:
  struct Steps {
    double rounded, units, landed;
    Steps(double x, const DoubleFormat& f)
        : rounded(Rounding::integer(Scale::up(x, f))),
          units(Overflow::inUnits(rounded, f)),
          landed(Overflow::land(units, x, f)) {}
    double value(const DoubleFormat& f) const { return landed * Overflow::unit(f); }
  };
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

struct None {
  static Outcome apply(double x, const DoubleFormat& f) { return {x, x > f.greatest || x < f.least, false}; }
};

struct ScaledDouble {
  static Outcome apply(double x, const DoubleFormat& f) {
    return {x, None::apply(x, f).overflow, x != 0 && std::abs(x) < f.eps};
  }
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
double valueBy(double x, const DoubleFormat& f) {
  if constexpr (requires { Policy::value(x, f); }) return Policy::value(x, f);
  return Policy::apply(x, f).value;
}

template <class Policy>
QFCORE_VECTORISED void quantizeQuietly(const DoubleFormat& format, const double* from, double* to,
                                       std::size_t count) {
  const DoubleFormat f = format;
  for (std::size_t i = 0; i < count; ++i) to[i] = valueBy<Policy>(from[i], f);
}

/// 0 of a finite value, something else of others: their difference with themselves is a NaN.
inline std::uint64_t notFinite(double x) { return std::bit_cast<std::uint64_t>(x - x); }

/// Finds values that are not finite by sums, for one addition a value: what is added to an infinity or a NaN
/// leaves one of both. A sum of finite values that leaves the range is found as well.
struct FiniteSums {
  static constexpr std::size_t kLanes = 32;  // as many as keep additions from waiting for each other
  double lanes[kLanes];

  // Not zeros, which compilers write by an instruction that takes as long to start as a hundred values.
  FiniteSums() { std::fill_n(lanes, kLanes, -0.0); }

  // Inlined, as `Lanes::addTo` is.
  [[gnu::always_inline]] std::uint64_t notFinite() const {
    std::uint64_t found = 0;
    for (const double sum : lanes) found |= embedded::notFinite(sum);
    return found;
  }
};

/// The two arrays must not overlap.
template <class Policy>
QFCORE_VECTORISED bool quantizeFinite(const DoubleFormat& format, const double* __restrict from,
                                      double* __restrict to, std::size_t count) {
  const DoubleFormat f = format;
  std::size_t i = 0;
  std::uint64_t found = 0;
  if (count >= FiniteSums::kLanes) {
    FiniteSums sums;
    for (; i + FiniteSums::kLanes <= count; i += FiniteSums::kLanes) {
      for (std::size_t lane = 0; lane < FiniteSums::kLanes; ++lane) {
        const double x = from[i + lane];
        sums.lanes[lane] += x;
        to[i + lane] = Policy::ofFinite(x, f);
      }
    }
    found = sums.notFinite();
  }
  for (; i < count; ++i) {
    const double x = from[i];
    found |= notFinite(x);
    to[i] = Policy::ofFinite(x, f);
  }
  return found == 0;
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
  if constexpr (traceDecides<Rounding>()) {
    if (format.fractionLength < 0)
      return execute<Fixed<Rounding, Overflow, CoarseScale>>(format, from, to, count, tally);
  }
  execute<Fixed<Rounding, Overflow, FineScale>>(format, from, to, count, tally);
}

template <class Rounding, class Overflow>
bool executeFinite(const DoubleFormat& format, const double* from, double* to, std::size_t count) {
  if constexpr (traceDecides<Rounding>()) {
    if (format.fractionLength < 0)
      return quantizeFinite<Fixed<Rounding, Overflow, CoarseScale>>(format, from, to, count);
  }
  return quantizeFinite<Fixed<Rounding, Overflow, FineScale>>(format, from, to, count);
}

template <class Rounding, class Overflow>
QFCORE_VECTORISED double fixedValue(const DoubleFormat& format, double value) {
  if constexpr (traceDecides<Rounding>()) {
    if (format.fractionLength < 0) return Fixed<Rounding, Overflow, CoarseScale>::value(value, format);
  }
  return Fixed<Rounding, Overflow, FineScale>::value(value, format);
}

}  // namespace

ArrayKernel fixedKernel(RoundModeEnum roundMode, OverflowModeEnum overflowMode) {
  return withRounding(roundMode, [overflowMode](auto rounding) -> ArrayKernel {
    using Rounding = decltype(rounding);
    return overflowMode == OverflowModeEnum::saturate ? executeFixed<Rounding, SaturateInteger>
                                                      : executeFixed<Rounding, WrapInteger>;
  });
}

FiniteKernel finiteFixedKernel(RoundModeEnum roundMode, OverflowModeEnum overflowMode) {
  return withRounding(roundMode, [overflowMode](auto rounding) -> FiniteKernel {
    using Rounding = decltype(rounding);
    return overflowMode == OverflowModeEnum::saturate ? executeFinite<Rounding, SaturateInteger>
                                                      : executeFinite<Rounding, WrapInteger>;
  });
}

ValueKernel fixedValueKernel(RoundModeEnum roundMode, OverflowModeEnum overflowMode) {
  return withRounding(roundMode, [overflowMode](auto rounding) -> ValueKernel {
    using Rounding = decltype(rounding);
    return overflowMode == OverflowModeEnum::saturate ? fixedValue<Rounding, SaturateInteger>
                                                      : fixedValue<Rounding, WrapInteger>;
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
