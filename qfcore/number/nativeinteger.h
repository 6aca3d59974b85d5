/// Stored integers of up to 128 bits in native ones, and multiprecision values as such.
#pragma once

#include <bit>
#include <cstdint>

#include "qfcore/number/mpvalue.h"

namespace embedded {

__extension__ using Int128 = __int128;
__extension__ using Uint128 = unsigned __int128;

template <class Integer>
struct UnsignedOf;
template <>
struct UnsignedOf<std::int64_t> {
  using Type = std::uint64_t;
};
template <>
struct UnsignedOf<Int128> {
  using Type = Uint128;
};
/// The integer of the same bits without a sign, in which sums and shifts wrap.
template <class Integer>
using Unsigned = typename UnsignedOf<Integer>::Type;

template <class Integer>
inline constexpr int kBitsOf = 8 * static_cast<int>(sizeof(Integer));

/// x · 2^fractionBits, which must be an integer of that kind.
template <class Integer>
Integer storedInteger(const MpFloat& x, long fractionBits) {
  if (x.isZero()) return 0;
  const long length = mpfr_get_exp(x.get()) + fractionBits;
  const auto* limbs = static_cast<const mp_limb_t*>(mpfr_custom_get_significand(x.get()));
  const unsigned top = limbCount(x.bits()) - 1;
  Unsigned<Integer> magnitude;
  if (sizeof(Integer) == sizeof(mp_limb_t) || length <= GMP_NUMB_BITS) {
    magnitude = limbs[top] >> (GMP_NUMB_BITS - length);
  } else {
    const Uint128 both = Uint128{limbs[top]} << GMP_NUMB_BITS | (top > 0 ? limbs[top - 1] : 0);
    magnitude = static_cast<Unsigned<Integer>>(both >> (2 * GMP_NUMB_BITS - length));
  }
  return static_cast<Integer>(mpfr_signbit(x.get()) != 0 ? -magnitude : magnitude);
}

/// `x` becomes stored · 2^-fractionBits, exactly: at the bits that it has, or at those that this takes.
template <class Integer>
void setFromStored(MpFloat& x, Integer stored, long fractionBits) {
  if (stored == 0) return mpfr_set_zero(x.get(), 1);
  const auto pattern = static_cast<Unsigned<Integer>>(stored);
  const Unsigned<Integer> magnitude = stored < 0 ? -pattern : pattern;
  const auto high = static_cast<mp_limb_t>(static_cast<Uint128>(magnitude) >> GMP_NUMB_BITS),
             low = static_cast<mp_limb_t>(magnitude);
  const int unused = high != 0 ? std::countl_zero(high) : std::countl_zero(low);
  const auto length = static_cast<unsigned>((high != 0 ? 2 : 1) * GMP_NUMB_BITS - unused);
  if (length > x.bits()) x.reset(length);
  auto* limbs = static_cast<mp_limb_t*>(mpfr_custom_get_significand(x.get()));
  const unsigned top = limbCount(x.bits()) - 1;
  for (unsigned i = 0; i < top; ++i) limbs[i] = 0;
  if (high != 0) {
    const Uint128 shifted = static_cast<Uint128>(magnitude) << unused;
    limbs[top] = static_cast<mp_limb_t>(shifted >> GMP_NUMB_BITS);
    limbs[top - 1] = static_cast<mp_limb_t>(shifted);
  } else {
    limbs[top] = low << unused;
  }
  mpfr_custom_init_set(x.get(), stored < 0 ? -MPFR_REGULAR_KIND : MPFR_REGULAR_KIND,
                       static_cast<mpfr_exp_t>(length) - fractionBits, static_cast<mpfr_prec_t>(x.bits()),
                       limbs);
}

}  // namespace embedded
