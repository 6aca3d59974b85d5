/// Stored integers as a sign and limbs: what multiprecision values are rounded, added and multiplied as where
/// that is faster than floating-point calls.
#pragma once

#include <array>
#include <bit>
#include <type_traits>

#include "qfcore/number/mpvalue.h"
#include "qfcore/number/rounding.h"

namespace embedded {

/// Words of some 2,000 bits are the longest ones.
constexpr unsigned kMaxStoredLimbs = 33;

/// An integer of up to `Limbs` limbs, least significant first.
template <unsigned Limbs>
struct StoredInteger {
  static constexpr unsigned kLimbBits = GMP_NUMB_BITS;
  static constexpr long kBits = long{Limbs} * kLimbBits;

  bool isNegative = false;
  std::array<mp_limb_t, Limbs> limbs;

  /// Whether `take` can, of values of up to `Limbs` limbs: the value is finite and not zero, and its integer
  /// part has room to grow.
  static bool fits(const MpFloat& x, long fractionBits) {
    return mpfr_regular_p(x.get()) && mpfr_get_exp(x.get()) + fractionBits < kBits;
  }

  /// Becomes x · 2^fractionBits, cut to an integer. Only where it `fits`.
  Cut take(const MpFloat& x, long fractionBits) {
    isNegative = mpfr_signbit(x.get()) != 0;
    const long integerBits = mpfr_get_exp(x.get()) + fractionBits;
    if (integerBits < 0) {
      limbs.fill(0);
      return Cut(isNegative, false, false, true);
    }
    const unsigned given = limbCount(x.bits());
    return takeShifted(
        {static_cast<const mp_limb_t*>(mpfr_custom_get_significand(x.get())), Limbs - given, given},
        static_cast<unsigned>(kBits - integerBits));
  }

  /// Becomes x · 2^fractionBits. False where that is no integer of this size.
  bool takeExactly(const MpFloat& x, long fractionBits) {
    if (x.isZero()) {
      isNegative = false;
      limbs.fill(0);
      return true;
    }
    return fits(x, fractionBits) && take(x, fractionBits).isExact();
  }

  /// Replaces the magnitude by the low `wordLength` bits, fewer than there are, of the value's two's
  /// complement; the sign stays behind.
  void toPattern(unsigned wordLength) {
    if (isNegative) negate();
    const unsigned top = wordLength / kLimbBits;
    limbs[top] &= (mp_limb_t{1} << wordLength % kLimbBits) - 1;
    for (unsigned i = top + 1; i < Limbs; ++i) limbs[i] = 0;
  }

  /// The value of the word whose pattern the limbs are.
  void fromPattern(unsigned wordLength, bool isSigned) {
    isNegative = isSigned && (limbs[(wordLength - 1) / kLimbBits] >> (wordLength - 1) % kLimbBits & 1) != 0;
    if (isNegative) toPattern(wordLength);
  }

  /// Adds one to the magnitude, which has room for it, where `grows`.
  void growIf(bool grows) {
    mp_limb_t carry = grows;
    for (mp_limb_t& limb : limbs) {
      limb += carry;
      carry = limb < carry;
    }
  }

  /// Whether the magnitude is larger than another of as many limbs.
  bool exceeds(const mp_limb_t* other) const {
    for (unsigned i = Limbs; i-- > 0;) {
      if (limbs[i] != other[i]) return limbs[i] > other[i];
    }
    return false;
  }

  /// Gives `x` the value · 2^-fractionBits at the bits that it has. Returns false, leaving x as it is, for zero
  /// and where x has too few bits or too many.
  bool store(MpFloat& x, long fractionBits) const {
    unsigned top = Limbs;
    while (top > 0 && limbs[top - 1] == 0) --top;
    if (top == 0) return false;
    const auto unused = static_cast<unsigned>(std::countl_zero(limbs[top - 1]));
    const unsigned length = top * kLimbBits - unused;
    const unsigned taken = limbCount(x.bits());
    if (length > x.bits() || taken > Limbs) return false;
    auto* significand = static_cast<mp_limb_t*>(mpfr_custom_get_significand(x.get()));
    const Row row{limbs.data(), taken, top};
    // The integer's highest limb becomes the significand's highest.
    mp_limb_t low = row[top - 1];
    for (unsigned i = 0; i < taken; ++i) {
      const mp_limb_t high = row[top + i];
      significand[i] = (high << unused) | (low >> 1 >> (kLimbBits - 1 - unused));
      low = high;
    }
    mpfr_custom_init_set(x.get(), isNegative ? -MPFR_REGULAR_KIND : MPFR_REGULAR_KIND,
                         static_cast<mpfr_exp_t>(length) - fractionBits, static_cast<mpfr_prec_t>(x.bits()),
                         significand);
    return true;
  }

 private:
  /// The two's complement of all limbs.
  void negate() {
    for (mp_limb_t& limb : limbs) limb = ~limb;
    growIf(true);
  }

  /// Limbs from position `first` on, with zeros on either side.
  struct Row {
    const mp_limb_t* limbs;
    unsigned first, count;
    mp_limb_t operator[](unsigned position) const {
      const unsigned i = position - first;
      return i < count ? limbs[i] : 0;
    }
  };

  /// Becomes `row` / 2^shift, cut to an integer; by one bit or more.
  Cut takeShifted(const Row& row, unsigned shift) {
    const unsigned skipped = shift / kLimbBits, within = shift % kLimbBits;
    mp_limb_t low = row[skipped];
    for (unsigned i = 0; i < Limbs; ++i) {
      const mp_limb_t high = row[skipped + i + 1];
      limbs[i] = (low >> within) | (high << 1 << (kLimbBits - 1 - within));
      low = high;
    }
    const bool isOdd = (limbs[0] & 1) != 0;
    const unsigned halfLimb = (shift - 1) / kLimbBits, halfBit = (shift - 1) % kLimbBits;
    const mp_limb_t first = row[halfLimb];
    mp_limb_t rest = first & ((mp_limb_t{1} << halfBit) - 1);
    for (unsigned i = row.first; i < halfLimb; ++i) rest |= row[i];
    return Cut(isNegative, isOdd, (first >> halfBit & 1) != 0, rest != 0);
  }
};

/// Calls visit(number of limbs, as a type) with the size of stored integers for values and words of up to
/// `limbs` limbs; beyond the largest it returns `beyond`.
template <class Visit, class Result>
Result visitLimbs(unsigned limbs, Visit visit, Result beyond) {
  if (limbs <= 2) return visit(std::integral_constant<unsigned, 2>{});
  if (limbs <= 3) return visit(std::integral_constant<unsigned, 3>{});
  if (limbs <= 5) return visit(std::integral_constant<unsigned, 5>{});
  if (limbs <= 9) return visit(std::integral_constant<unsigned, 9>{});
  if (limbs <= 17) return visit(std::integral_constant<unsigned, 17>{});
  if (limbs <= kMaxStoredLimbs) return visit(std::integral_constant<unsigned, kMaxStoredLimbs>{});
  return beyond;
}

}  // namespace embedded
