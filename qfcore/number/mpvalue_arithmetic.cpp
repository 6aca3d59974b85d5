// Sums and products of multiprecision values on their limbs, where nothing has to be rounded: a sum takes less
// time than the call of a general addition needs to find out what it is asked for. Everything else is MPFR's.
#include <algorithm>
#include <bit>
#include <type_traits>

#include "qfcore/number/mpvalue.h"

#ifdef __x86_64__
#include <immintrin.h>
#endif

namespace embedded {

namespace {

__extension__ using DoubleLimb = unsigned __int128;

constexpr unsigned kLimbBits = GMP_NUMB_BITS;

/// The bits of the lowest limb that a significand of so many bits leaves empty.
mp_limb_t unusedBits(unsigned bits) { return (mp_limb_t{1} << (-bits % kLimbBits)) - 1; }

/// Exponents of which no sum leaves their range. Those of values that are not regular are none.
constexpr mpfr_uexp_t kModest = mpfr_uexp_t{1} << 40;
bool isModest(mpfr_exp_t exponent) { return static_cast<mpfr_uexp_t>(exponent) + kModest < 2 * kModest; }

/// to = a + b + carry; returns the carry out of it.
unsigned char addWithCarry(unsigned char carry, mp_limb_t a, mp_limb_t b, mp_limb_t& to) {
#ifdef __x86_64__
  unsigned long long sum;
  carry = _addcarry_u64(carry, a, b, &sum);
  to = sum;
  return carry;
#else
  const DoubleLimb sum = DoubleLimb{a} + b + carry;
  to = static_cast<mp_limb_t>(sum);
  return static_cast<unsigned char>(sum >> kLimbBits);
#endif
}

/// What a sum is, apart from its limbs.
struct SumOutcome {
  bool isDone;
  bool isNegative;          // of the other sign than the larger addend
  mpfr_exp_t exponentGain;  // over that of the larger addend
};

/// Adds significands of as many limbs, or subtracts the second, whose exponent is smaller by `distance`, below
/// kLimbBits - 1. Not done, and `sum` as it was, where the outcome is zero or loses bits, or one of
/// `unusedBits` of its lowest limb is set, or nearly all cancels. The sum may be an addend.
template <unsigned Limbs>
SumOutcome add(mp_limb_t* sum, mp_limb_t unusedBits, const mp_limb_t* larger, const mp_limb_t* smaller,
               unsigned distance, bool isDifference) {
  // One bit down, so that the sum has room for its carry.
  if (((larger[0] & 1) | (smaller[0] & ((mp_limb_t{2} << distance) - 1))) != 0) return {};
  const mp_limb_t complement = -static_cast<mp_limb_t>(isDifference);
  mp_limb_t total[Limbs];
  unsigned char carry = isDifference;
  for (unsigned i = 0; i < Limbs; ++i) {
    mp_limb_t x = larger[i] >> 1, y = smaller[i] >> (distance + 1);
    if (i + 1 < Limbs) {
      x |= larger[i + 1] << (kLimbBits - 1);
      y |= smaller[i + 1] << (kLimbBits - 1 - distance);
    }
    carry = addWithCarry(carry, x, y ^ complement, total[i]);
  }
  const bool isNegative = isDifference && carry == 0;
  if (isNegative) {
    carry = 1;
    for (mp_limb_t& limb : total) carry = addWithCarry(carry, ~limb, 0, limb);
  }
  if (total[Limbs - 1] == 0) return {};
  const auto unused = static_cast<unsigned>(std::countl_zero(total[Limbs - 1]));
  if (((total[0] << unused) & unusedBits) != 0) return {};
  for (unsigned i = Limbs - 1; i > 0; --i) {
    sum[i] = (total[i] << unused) | (total[i - 1] >> 1 >> (kLimbBits - 1 - unused));
  }
  sum[0] = total[0] << unused;
  return {true, isNegative, 1 - static_cast<mpfr_exp_t>(unused)};
}

/// The significand of `x`, which has up to `Limbs` limbs, below `skipped` limbs of zeros, fewer than that.
/// False where limbs fall off.
template <unsigned Limbs>
bool place(const MpFloat& x, unsigned long skipped, mp_limb_t* room) {
  const auto* given = static_cast<const mp_limb_t*>(mpfr_custom_get_significand(x.get()));
  const unsigned count = limbCount(x.bits());
  for (unsigned i = 0; i < Limbs; ++i) {
    const unsigned long at = i + skipped + count - Limbs;
    room[i] = at < count ? given[at] : 0;
  }
  mp_limb_t lost = 0;
  for (unsigned i = 0; i + Limbs < skipped + count; ++i) lost |= given[i];
  return lost == 0;
}

/// The same for values and a sum of up to `Limbs` limbs, at any distance.
template <unsigned Limbs>
[[gnu::noinline]] SumOutcome addUneven(mp_limb_t* sum, unsigned sumBits, const MpFloat& larger,
                                       const MpFloat& smaller, unsigned long distance, bool isDifference) {
  mp_limb_t x[Limbs], y[Limbs], total[Limbs];
  if (distance >= Limbs * kLimbBits || !place<Limbs>(smaller, distance / kLimbBits, y)) return {};
  place<Limbs>(larger, 0, x);  // of it nothing falls off
  auto within = static_cast<unsigned>(distance % kLimbBits);
  if (within == kLimbBits - 1) {
    if (mpn_rshift(y, y, Limbs, 1) != 0) return {};
    --within;
  }
  const SumOutcome outcome = add<Limbs>(total, 0, x, y, within, isDifference);
  if (!outcome.isDone) return {};
  const unsigned count = limbCount(sumBits), cut = Limbs - count;
  mp_limb_t beyond = total[cut] & unusedBits(sumBits);
  for (unsigned i = 0; i < cut; ++i) beyond |= total[i];
  if (beyond != 0) return {};
  std::copy_n(total + cut, count, sum);
  return outcome;
}

/// Calls visit(number of limbs, as a type).
template <class Visit>
SumOutcome visitSizes(unsigned limbs, Visit visit) {
  switch (limbs) {
    case 1: return visit(std::integral_constant<unsigned, 1>{});
    case 2: return visit(std::integral_constant<unsigned, 2>{});
    case 3: return visit(std::integral_constant<unsigned, 3>{});
    case 4: return visit(std::integral_constant<unsigned, 4>{});
    case 5: return visit(std::integral_constant<unsigned, 5>{});
    case 6: return visit(std::integral_constant<unsigned, 6>{});
    case 7: return visit(std::integral_constant<unsigned, 7>{});
    case 8: return visit(std::integral_constant<unsigned, 8>{});
    case 9: return visit(std::integral_constant<unsigned, 9>{});
    default: return {};
  }
}

/// x · y of as many limbs.
template <unsigned Limbs>
void multiply(mp_limb_t* product, const mp_limb_t* x, const mp_limb_t* y) {
  std::fill_n(product, 2 * Limbs, 0);
  for (unsigned i = 0; i < Limbs; ++i) {
    mp_limb_t carry = 0;
    for (unsigned j = 0; j < Limbs; ++j) {
      const DoubleLimb sum = DoubleLimb{x[i]} * y[j] + product[i + j] + carry;
      product[i + j] = static_cast<mp_limb_t>(sum);
      carry = static_cast<mp_limb_t>(sum >> kLimbBits);
    }
    product[i + Limbs] = carry;
  }
}

/// Limbs of a significand without the zeros at the low end, of which words of whole limbs have one.
struct Factor {
  const mp_limb_t* limbs;
  unsigned count;

  Factor(const mp_limb_t* significand, unsigned length) : limbs(significand), count(length) {
    while (*limbs == 0) ++limbs, --count;
  }
};

/// For a few limbs in line, where a call would cost more than the product.
void multiply(mp_limb_t* product, const Factor& x, const Factor& y) {
  if (x.count != y.count) {
    const Factor &longer = x.count > y.count ? x : y, &shorter = x.count > y.count ? y : x;
    mpn_mul(product, longer.limbs, longer.count, shorter.limbs, shorter.count);
    return;
  }
  switch (x.count) {
    case 1: return multiply<1>(product, x.limbs, y.limbs);
    case 2: return multiply<2>(product, x.limbs, y.limbs);
    case 3: return multiply<3>(product, x.limbs, y.limbs);
    default: mpn_mul_n(product, x.limbs, y.limbs, x.count);
  }
}

/// to = from, or twice that.
template <unsigned Limbs>
void copyOrDouble(mp_limb_t* to, const mp_limb_t* from, bool doubles) {
  const mp_limb_t again = -static_cast<mp_limb_t>(doubles);
  unsigned char carry = 0;
  for (unsigned i = 0; i < Limbs; ++i) carry = addWithCarry(carry, from[i], from[i] & again, to[i]);
}
void copyOrDouble(mp_limb_t* to, const mp_limb_t* from, unsigned count, bool doubles) {
  switch (count) {
    case 2: return copyOrDouble<2>(to, from, doubles);
    case 4: return copyOrDouble<4>(to, from, doubles);
    case 6: return copyOrDouble<6>(to, from, doubles);
    case 8: return copyOrDouble<8>(to, from, doubles);
    default:
      if (doubles) {
        mpn_lshift(to, from, count, 1);
      } else {
        std::copy_n(from, count, to);
      }
  }
}

}  // namespace

void MpFloat::setSignedSum(const MpFloat& a, const MpFloat& b, bool subtracts) {
  const mpfr_exp_t exponentA = mpfr_get_exp(a.value_), exponentB = mpfr_get_exp(b.value_);
  const bool isOrdered = exponentA >= exponentB, aIsNegative = a.hasSign(),
             bIsNegative = b.hasSign() != subtracts;
  const MpFloat &larger = isOrdered ? a : b, &smaller = isOrdered ? b : a;
  const mpfr_exp_t exponent = isOrdered ? exponentA : exponentB;
  const mpfr_uexp_t distance =
      static_cast<mpfr_uexp_t>(exponent) - static_cast<mpfr_uexp_t>(isOrdered ? exponentB : exponentA);
  const bool isDifference = aIsNegative != bIsNegative;
  const unsigned count = limbCount(bits()), countA = limbCount(a.bits()), countB = limbCount(b.bits());
  SumOutcome outcome{};
  if (distance < kLimbBits - 1 && ((countA ^ count) | (countB ^ count)) == 0 && isModest(exponent)) {
    outcome = visitSizes(count, [&](auto size) {
      return add<size()>(limbs(), unusedBits(bits()), larger.limbs(), smaller.limbs(),
                         static_cast<unsigned>(distance), isDifference);
    });
  } else if (isModest(exponent)) {
    outcome = visitSizes(std::max({count, countA, countB}), [&](auto size) {
      return addUneven<size()>(limbs(), bits(), larger, smaller, distance, isDifference);
    });
  }
  if (outcome.isDone) {
    setRegular((isOrdered ? aIsNegative : bIsNegative) != outcome.isNegative, exponent + outcome.exponentGain);
  } else {
    (subtracts ? mpfr_sub : mpfr_add)(value_, a.value_, b.value_, MPFR_RNDN);
  }
}

void MpFloat::setProduct(const MpFloat& a, const MpFloat& b) {
  constexpr unsigned kMaxLimbs = 17;
  const auto byLibrary = [&] { mpfr_mul(value_, a.value_, b.value_, MPFR_RNDN); };
  const mpfr_exp_t exponentA = mpfr_get_exp(a.value_), exponentB = mpfr_get_exp(b.value_);
  if (limbCount(std::max(a.bits(), b.bits())) > kMaxLimbs || !isModest(exponentA) || !isModest(exponentB))
    return byLibrary();
  const Factor x(a.limbs(), limbCount(a.bits())), y(b.limbs(), limbCount(b.bits()));
  mp_limb_t product[2 * kMaxLimbs];
  multiply(product, x, y);
  const unsigned count = x.count + y.count, own = limbCount(bits());
  const unsigned cut = count > own ? count - own : 0, padding = count < own ? own - count : 0;
  // Two significands in [1/2, 1) have a product in [1/4, 1).
  const bool doubles = product[count - 1] >> (kLimbBits - 1) == 0;
  mp_limb_t beyond = padding > 0 ? 0 : product[cut] << doubles & unusedBits(bits());
  for (unsigned i = 0; i < cut; ++i) beyond |= product[i];
  if (beyond != 0) return byLibrary();
  *limbs() = 0;  // mostly all there is, and a call would cost as much as the product
  if (padding > 1) std::fill_n(limbs(), padding, 0);
  copyOrDouble(limbs() + padding, product + cut, count - cut, doubles);
  setRegular(a.hasSign() != b.hasSign(), exponentA + exponentB - doubles);
}

}  // namespace embedded
