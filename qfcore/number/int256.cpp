#include "qfcore/number/int256.h"

#include <array>

namespace embedded {

namespace {

constexpr unsigned kLimbs = 4;

}  // namespace

template <>
Int256 storedInteger<Int256>(const MpFloat& x, long fractionBits) {
  if (x.isZero()) return 0;
  const auto* limbs = static_cast<const mp_limb_t*>(mpfr_custom_get_significand(x.get()));
  const unsigned count = limbCount(x.bits());
  // The significand begins at the highest bit of its last limb; what lies below those taken here is 0.
  const auto limb = [&](unsigned fromTop) -> Uint128 {
    return fromTop < count ? limbs[count - 1 - fromTop] : 0;
  };
  const Halves<Uint128> significand(limb(0) << GMP_NUMB_BITS | limb(1), limb(2) << GMP_NUMB_BITS | limb(3));
  const long length = mpfr_get_exp(x.get()) + fractionBits;
  const Int256 magnitude(significand >> static_cast<int>(kBitsOf<Int256> - length));
  return mpfr_signbit(x.get()) != 0 ? -magnitude : magnitude;
}

void setFromStored(MpFloat& x, const Int256& stored, long fractionBits) {
  const Halves<Uint128> magnitude(stored < 0 ? -stored : stored);
  std::array<mp_limb_t, kLimbs> limbs;
  unsigned used = 0;
  for (unsigned k = 0; k < kLimbs; ++k) {
    limbs[k] = static_cast<mp_limb_t>(magnitude >> static_cast<int>(k * GMP_NUMB_BITS));
    if (limbs[k] != 0) used = k + 1;
  }
  if (used == 0) return mpfr_set_zero(x.get(), 1);
  const int unused = std::countl_zero(limbs[used - 1]);
  const auto length = static_cast<unsigned>(static_cast<int>(used) * GMP_NUMB_BITS - unused);
  if (length > x.bits()) x.reset(length);
  auto* significand = static_cast<mp_limb_t*>(mpfr_custom_get_significand(x.get()));
  const auto shifted = [&](unsigned fromTop) {
    const auto at = [&](unsigned k) { return k < used ? limbs[used - 1 - k] : mp_limb_t{0}; };
    const mp_limb_t below = unused > 0 ? at(fromTop + 1) >> (GMP_NUMB_BITS - unused) : 0;
    return at(fromTop) << unused | below;
  };
  const unsigned count = limbCount(x.bits());
  for (unsigned k = 0; k < count; ++k) significand[count - 1 - k] = shifted(k);
  mpfr_custom_init_set(x.get(), stored < 0 ? -MPFR_REGULAR_KIND : MPFR_REGULAR_KIND,
                       static_cast<mpfr_exp_t>(length) - fractionBits, static_cast<mpfr_prec_t>(x.bits()),
                       significand);
}

}  // namespace embedded
