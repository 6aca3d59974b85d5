/// The six rounding rules, each written once, for doubles (array and element kernels alike), multiprecision
/// values, and magnitudes of which bits have been cut off.
///
/// The double rules are plain arithmetic without branches, so that loops over them vectorise when they are
/// compiled with -O3 -fno-math-errno -fno-trapping-math for a target that rounds in hardware.
#pragma once

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

namespace embedded {

class MpFloat;

/// What decides whether a magnitude, cut to an integer, is to grow by one: the value's sign, the integer's last
/// bit, the first bit cut off, and whether any bit after that was set.
class Cut {
 public:
  static constexpr unsigned kCases = 16;
  constexpr explicit Cut(unsigned index) : index_(index) {}
  constexpr Cut(bool isNegative, bool isOdd, bool half, bool rest)
      : Cut(8U * isNegative + 4U * isOdd + 2U * half + rest) {}
  constexpr unsigned index() const { return index_; }
  constexpr bool isNegative() const { return (index_ & 8) != 0; }
  constexpr bool isOdd() const { return (index_ & 4) != 0; }
  constexpr bool half() const { return (index_ & 2) != 0; }
  constexpr bool rest() const { return (index_ & 1) != 0; }
  /// Whether nothing was cut off that is not zero.
  constexpr bool isExact() const { return (index_ & 3) == 0; }

 private:
  unsigned index_;  // one word: four flags would be written byte by byte and read at once
};

/// Toward plus infinity.
struct Ceil {
  static double integer(double x) { return std::ceil(x); }
  static void integer(MpFloat& x);
  static constexpr bool grows(const Cut& cut) { return !cut.isNegative() && !cut.isExact(); }
};

/// To nearest, ties to even: 2.5 -> 2, 3.5 -> 4, -2.5 -> -2.
/// In doubles values other than ties go through floor(x + 0.5), with the effects that `Nearest` tells.
struct Convergent {
  static double integer(double x) {
    const double even = std::nearbyint(x);
    const double nearest = std::floor(x + 0.5);
    // Of a tie that goes up, both are the same but for the sign of a zero.
    return x - even == 0.5 ? even : nearest;
  }
  static void integer(MpFloat& x);
  static constexpr bool grows(const Cut& cut) { return cut.half() && (cut.rest() || cut.isOdd()); }
};

/// Toward zero.
struct Fix {
  static double integer(double x) { return std::trunc(x); }
  static void integer(MpFloat& x);
  static constexpr bool grows(const Cut&) { return false; }
};

/// Toward minus infinity.
struct Floor {
  static double integer(double x) { return std::floor(x); }
  static void integer(MpFloat& x);
  static constexpr bool grows(const Cut& cut) { return cut.isNegative() && !cut.isExact(); }
};

/// To nearest, ties toward plus infinity: 2.5 -> 3, -2.5 -> -2.
/// In doubles the addition of one half rounds: odd integers from 2^52 on move to the next even one, and
/// 0.49999999999999994 becomes 1. Both belong to the rule. Multiprecision is exact.
struct Nearest {
  static double integer(double x) { return std::floor(x + 0.5); }
  static void integer(MpFloat& x);
  static constexpr bool grows(const Cut& cut) { return cut.half() && (cut.rest() || !cut.isNegative()); }
};

/// To nearest, ties away from zero: 2.5 -> 3, -2.5 -> -3. In doubles from 2^53 on nothing changes.
struct Round {
  // From 2^53 on the addition changes nothing, so no magnitude needs a case of its own.
  static double integer(double x) { return std::copysign(std::floor(std::abs(x) + 0.5), x); }
  static void integer(MpFloat& x);
  static constexpr bool grows(const Cut& cut) { return cut.half(); }
};

/// True when 2^exponent is a normal double. Multiplying by it is then what ldexp does, only faster.
constexpr bool isNormalPow2(long exponent) { return exponent >= -1022 && exponent <= 1023; }
constexpr double normalPow2(int exponent) {
  return std::bit_cast<double>(static_cast<std::uint64_t>(exponent + 1023) << 52);
}

/// Whether a magnitude too small to show in an integer, and in its half, may still decide what it is rounded
/// to.
template <class Policy>
constexpr bool traceDecides() {
  return Policy::grows(Cut(false, false, false, true)) || Policy::grows(Cut(true, false, false, true));
}

/// x * 2^exponent, rounded once.
inline double timesPow2(double x, long exponent) {
  constexpr long kBeyondAll = 10000;  // any double becomes infinite, or zero
  return isNormalPow2(exponent)
             ? x * normalPow2(static_cast<int>(exponent))
             : std::ldexp(x, static_cast<int>(std::clamp(exponent, -kBeyondAll, kBeyondAll)));
}

/// The factors between values and units of a grid of 2^-fractionBits, for fraction bits of which `exist` is
/// true.
struct GridFactors {
  static constexpr bool exist(long fractionBits) {
    return isNormalPow2(fractionBits) && isNormalPow2(-fractionBits);
  }
  GridFactors() = default;
  constexpr explicit GridFactors(int fractionBits)
      : unitsPerOne(normalPow2(fractionBits)), unit(normalPow2(-fractionBits)) {}
  double unitsPerOne, unit;
};

namespace detail {

/// `backScaled` unless scaling `x` up went to infinity: such an x is a multiple of the grid already.
inline double unlessInfinite(double scaled, double backScaled, double x) {
  return std::abs(scaled) == std::numeric_limits<double>::infinity() ? x : backScaled;
}

/// `scaled` unless scaling `x` down went to zero: what stands for it has the same sign and rounds as it would.
inline double unlessLost(double scaled, double x) {
  return scaled == 0 && x != 0 ? std::copysign(std::numeric_limits<double>::min(), x) : scaled;
}

}  // namespace detail

/// `x` rounded to a multiple of 2^-fractionBits as if scaling were exact: up, rounded, and back. Infinities and
/// NaN stay what they are.
template <class Policy>
inline double rounded(double x, int fractionBits) {
  const double scaled = detail::unlessLost(timesPow2(x, fractionBits), x);
  return detail::unlessInfinite(scaled, timesPow2(Policy::integer(scaled), -long{fractionBits}), x);
}

/// Rounds `x` to a multiple of 2^-fractionBits in place, exactly by the rule.
template <class Policy>
void round(MpFloat& x, int fractionBits);

extern template void round<Ceil>(MpFloat&, int);
extern template void round<Convergent>(MpFloat&, int);
extern template void round<Fix>(MpFloat&, int);
extern template void round<Floor>(MpFloat&, int);
extern template void round<Nearest>(MpFloat&, int);
extern template void round<Round>(MpFloat&, int);

/// The convergent rule on one double, and on multiples of 2^-fractionBits.
inline double convergent(double x) { return Convergent::integer(x); }
inline double convergent(double x, int fractionBits) { return rounded<Convergent>(x, fractionBits); }

/// mod(x, y) of doubles: x when y is 0, NaN when either is not finite, else the remainder that has the sign of
/// y. Integer and other divisors have different formulas; both are defined behaviour.
inline double mod(double x, double y) {
  const double quotient = x / y;
  const double whole = std::floor(quotient);
  const double byDifference = x - whole * y;
  const double byFraction = (quotient - whole) * y;
  const double remainder = std::floor(y) == y ? byDifference : byFraction;
  const bool finite = std::isfinite(x) && std::isfinite(y);
  return y == 0 ? x : finite ? remainder : std::numeric_limits<double>::quiet_NaN();
}

}  // namespace embedded
