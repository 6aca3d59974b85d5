/// Integers of 256 bits in two's complement, for sums of products of long words.
#pragma once

#include <compare>
#include <type_traits>

#include "qfcore/number/nativeinteger.h"

namespace embedded {

/// Wraps, shifts and compares as native integers do; whether there is a sign is a matter of `High`.
template <class High>
class Halves {
 public:
  constexpr Halves() = default;
  template <class Native>
  requires(!std::is_class_v<Native>) constexpr Halves(Native value)
      : Halves(signOf(static_cast<Int128>(value)), static_cast<Uint128>(value)) {}
  template <class Other>
  constexpr explicit Halves(const Halves<Other>& other)
      : Halves(static_cast<High>(other.high()), other.low()) {}
  constexpr Halves(High high, Uint128 low) : high_(high), low_(low) {}

  constexpr High high() const { return high_; }
  constexpr Uint128 low() const { return low_; }
  template <class Native>
  requires(!std::is_class_v<Native>) constexpr explicit operator Native() const {
    return static_cast<Native>(low_);
  }

  constexpr Halves operator-() const { return Halves(0) - *this; }
  constexpr Halves operator~() const { return {static_cast<High>(~high_), ~low_}; }
  friend constexpr Halves operator+(const Halves& a, const Halves& b) {
    const Uint128 low = a.low_ + b.low_;
    return {static_cast<High>(a.top() + b.top() + (low < a.low_)), low};
  }
  friend constexpr Halves operator-(const Halves& a, const Halves& b) {
    return {static_cast<High>(a.top() - b.top() - (a.low_ < b.low_)), a.low_ - b.low_};
  }
  friend constexpr Halves operator&(const Halves& a, const Halves& b) {
    return {a.high_ & b.high_, a.low_ & b.low_};
  }
  // By less than 256.
  [[gnu::always_inline]] constexpr Halves operator<<(int places) const {
    if (places == 0) return *this;
    if (places >= kHalf) return {static_cast<High>(low_ << (places - kHalf)), 0};
    return {static_cast<High>(top() << places | low_ >> (kHalf - places)), low_ << places};
  }
  [[gnu::always_inline]] constexpr Halves operator>>(int places) const {
    if (places == 0) return *this;
    if (places >= kHalf) return {signOf(high_), static_cast<Uint128>(high_ >> (places - kHalf))};
    return {static_cast<High>(high_ >> places), low_ >> places | top() << (kHalf - places)};
  }
  Halves& operator+=(const Halves& other) { return *this = *this + other; }
  Halves& operator-=(const Halves& other) { return *this = *this - other; }
  Halves& operator<<=(int places) { return *this = *this << places; }
  Halves& operator>>=(int places) { return *this = *this >> places; }
  friend constexpr auto operator<=>(const Halves&, const Halves&) = default;

 private:
  static constexpr int kHalf = 128;
  /// All bits of a negative one, else 0.
  static constexpr High signOf(Int128 value) { return static_cast<High>(value >> (kHalf - 1)); }
  static constexpr High signOf(Uint128) { return 0; }
  constexpr Uint128 top() const { return static_cast<Uint128>(high_); }

  High high_ = 0;
  Uint128 low_ = 0;
};

using Int256 = Halves<Int128>;

template <>
struct UnsignedOf<Int256> {
  using Type = Halves<Uint128>;
};

/// As for native integers.
template <>
Int256 storedInteger<Int256>(const MpFloat& x, long fractionBits);
void setFromStored(MpFloat& x, const Int256& stored, long fractionBits);

}  // namespace embedded
