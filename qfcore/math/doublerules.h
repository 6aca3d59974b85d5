/// The rules of quantization on one double, for the files whose loops are made of them: the choice of the
/// rounding rule, and the two overflow rules, each written once.
#pragma once

#include <bit>
#include <cmath>
#include <cstdint>

#include "qfcore/math/format.h"
#include "qfcore/math/modes.h"

namespace embedded {

/// Calls `visitor` with a value of the rounding policy of `roundMode`: the one place where run-time settings
/// turn into template arguments.
template <class Visitor>
auto withRounding(RoundModeEnum roundMode, Visitor visitor) {
  switch (roundMode) {
    case RoundModeEnum::ceil: return visitor(Ceil{});
    case RoundModeEnum::convergent: return visitor(Convergent{});
    case RoundModeEnum::fix: return visitor(Fix{});
    case RoundModeEnum::floor: return visitor(Floor{});
    case RoundModeEnum::nearest: return visitor(Nearest{});
    default: return visitor(Round{});
  }
}

/// `yes` or `no`. As bits, since a choice between values would have the compiler branch around the rounding and
/// keep the loop from vectorising.
inline double choice(bool which, double yes, double no) {
  const auto bits = [](double value) { return std::bit_cast<std::uint64_t>(value); };
  return std::bit_cast<double>(which ? bits(yes) : bits(no));
}

/// a && b without the branch that would keep a loop from vectorising.
inline bool both(bool a, bool b) { return static_cast<bool>(static_cast<int>(a) & static_cast<int>(b)); }

/// Whether x is neither zero nor NaN.
inline bool isOrdinary(double x) { return std::islessgreater(x, 0.0); }

// Overflow rules. Each counts stored integers in units of its own: `inUnits` says how many the rounded value q
// is, `land` brings them into range, `isOverflow` says whether that changed them. Zeros and NaN stay, which is
// no overflow: both ask `isOrdinary`, so that one comparison serves them, and the count of underflows. `stored`
// is what both amount to for a finite q, as a stored integer; a zero may change its sign. Whether it is so for
// an infinite q as well, which finite values may be scaled to, `kStoresInfinities` tells.

/// Values above max become max, values below min become min.
struct SaturateInteger {
  static constexpr bool kStoresInfinities = true;
  static double inUnits(double q, const DoubleFormat&) { return q; }
  static double land(double q, double x, const DoubleFormat& f) {
    return choice(isOrdinary(x), stored(q, f), x);  // zeros keep their sign
  }
  static bool isOverflow(double landed, double q, double) { return std::islessgreater(landed, q); }
  static double unit(const DoubleFormat& f) { return f.grid.unit; }
  static double stored(double q, const DoubleFormat& f) {
    const double notAbove = q > f.stored.max ? f.stored.max : q;
    return notAbove < f.stored.min ? f.stored.min : notAbove;
  }
};

/// Two's-complement wrapping into [min, min + modulus), in units of the modulus: it is a power of two, so every
/// step is exact, and integers in range stay what they are. Infinities become NaN, as remainders of theirs are;
/// an infinite q of a finite x stands for a multiple of the modulus. What is zero keeps the sign of x.
struct WrapInteger {
  static constexpr bool kStoresInfinities = false;
  static double inUnits(double q, const DoubleFormat& f) { return q * f.stored.inverseModulus; }
  static double land(double turns, double x, const DoubleFormat& f) {
    const double rest = turns - std::floor(turns);
    return lastTurn(choice(rest > 0, rest, x * 0.0), f);
  }
  static bool isOverflow(double landed, double turns, double x) { return both(landed != turns, isOrdinary(x)); }
  static double unit(const DoubleFormat& f) { return f.range; }
  static double stored(double q, const DoubleFormat& f) {
    const double turns = inUnits(q, f);
    return lastTurn(turns - std::floor(turns), f) * (f.range * f.grid.unitsPerOne);
  }

 private:
  static double lastTurn(double positive, const DoubleFormat& f) {
    return positive - (positive > f.stored.maxTurns ? 1.0 : 0.0);
  }
};

}  // namespace embedded
