// Bit operations of multiprecision bodies: on the stored integer's two's-complement pattern as an integer of
// any size.
#include <algorithm>

#include "qfcore/number/messages.h"
#include "qfcore/number/mpnumber.h"
#include "qfcore/number/mpvalue.h"
#include "qfcore/number/precision.h"
#include "qfcore/number/radix.h"
#include "qfcore/number/storedinteger.h"

namespace embedded {

namespace {

void patternOf(MpInteger& pattern, const numberrepbody& body, int exponent, const MpFloat& twoToWordLength) {
  if (body.gettype() == kMultiprecisionRepresentation) {
    convertToUnsignedInteger(pattern, static_cast<const mpnumber&>(body).getelement(), exponent,
                             twoToWordLength);
  } else {
    MpScratch lifted(kDoubleBits);
    mpfr_set_d(lifted.get(), body.todouble(), MPFR_RNDN);
    convertToUnsignedInteger(pattern, *lifted, exponent, twoToWordLength);
  }
}

// What two patterns make, of any size or a limb at a time.
struct And {
  void operator()(mpz_ptr a, mpz_srcptr b) const { mpz_and(a, a, b); }
  mp_limb_t operator()(mp_limb_t a, mp_limb_t b) const { return a & b; }
};
struct Or {
  void operator()(mpz_ptr a, mpz_srcptr b) const { mpz_ior(a, a, b); }
  mp_limb_t operator()(mp_limb_t a, mp_limb_t b) const { return a | b; }
};
struct Xor {
  void operator()(mpz_ptr a, mpz_srcptr b) const { mpz_xor(a, a, b); }
  mp_limb_t operator()(mp_limb_t a, mp_limb_t b) const { return a ^ b; }
};

/// Combines the patterns of two stored integers limb by limb. False, and `x` as it was, where one is no integer
/// of a few limbs.
template <class Combine>
bool combineLimbs(MpFloat& x, const MpFloat& y, bool isSigned, unsigned wordLength, int exponent,
                  Combine combine) {
  const unsigned limbs = std::max({limbCount(x.bits()), limbCount(y.bits()), limbCount(wordLength + 1)});
  return visitLimbs(
      limbs,
      [&](auto size) {
        StoredInteger<size()> a, b;
        if (!a.takeExactly(x, -long{exponent}) || !b.takeExactly(y, -long{exponent})) return false;
        a.toPattern(wordLength);
        b.toPattern(wordLength);
        for (unsigned i = 0; i < size(); ++i) a.limbs[i] = combine(a.limbs[i], b.limbs[i]);
        a.fromPattern(wordLength, isSigned);
        return a.store(x, -long{exponent});
      },
      false);
}

mp_bitcnt_t bitIndex(int position) { return static_cast<mp_bitcnt_t>(position - 1); }

bool signBitSet(const MpInteger& pattern, int wordLength) {
  return mpz_sizeinbase(pattern.get(), 2) >= static_cast<std::size_t>(wordLength) && mpz_sgn(pattern.get()) > 0;
}

}  // namespace

mpnumber& mpnumber::storePattern(MpInteger& pattern, bool isNegative, int exponent,
                                 const MpFloat& twoToWordLength) {
  if (isNegative) {
    MpIntegerScratch range;
    storedInteger(*range, twoToWordLength, 0);
    mpz_sub(pattern.get(), pattern.get(), range.get());
  }
  setStoredInteger(pattern, exponent);
  return *this;
}

template <class Combine>
mpnumber& mpnumber::combineBits(const numberrepbody& other, bool isSigned, int wordLength, int exponent,
                                const MpFloat& twoToWordLength, Combine combine) {
  if (other.gettype() == kMultiprecisionRepresentation &&
      combineLimbs(current(), static_cast<const mpnumber&>(other).getelement(), isSigned,
                   static_cast<unsigned>(wordLength), exponent, combine))
    return *this;
  MpIntegerScratch pattern, otherPattern;
  convertToUnsignedInteger(*pattern, current(), exponent, twoToWordLength);
  patternOf(*otherPattern, other, exponent, twoToWordLength);
  combine(pattern.get(), otherPattern.get());
  return storePattern(*pattern, isSigned && signBitSet(*pattern, wordLength), exponent, twoToWordLength);
}

mpnumber& mpnumber::bitcmp(bool isSigned, int, double, int exponent, double, const MpInteger& xorMask,
                           const MpFloat& twoToWordLength) {
  MpIntegerScratch pattern;
  convertToUnsignedInteger(*pattern, current(), exponent, twoToWordLength);
  mpz_xor(pattern.get(), pattern.get(), xorMask.get());
  return storePattern(*pattern, isSigned && !current().isNegative(), exponent, twoToWordLength);
}

mpnumber& mpnumber::fibitand(const numberrepbody& other, bool isSigned, int wordLength, double, int exponent,
                             double, const MpFloat& twoToWordLength) {
  return combineBits(other, isSigned, wordLength, exponent, twoToWordLength, And{});
}

mpnumber& mpnumber::fibitor(const numberrepbody& other, bool isSigned, int wordLength, double, int exponent,
                            double, const MpFloat& twoToWordLength) {
  return combineBits(other, isSigned, wordLength, exponent, twoToWordLength, Or{});
}

mpnumber& mpnumber::bitxor(const numberrepbody& other, bool isSigned, int wordLength, double, int exponent,
                           double, const MpFloat& twoToWordLength) {
  return combineBits(other, isSigned, wordLength, exponent, twoToWordLength, Xor{});
}

bool mpnumber::bitget(int position, bool, int wordLength, double, int exponent, double,
                      const MpFloat& twoToWordLength) const {
  if (position < 1 || position > wordLength) fail<message::bitgetOutOfRange>();
  MpIntegerScratch pattern;
  convertToUnsignedInteger(*pattern, current(), exponent, twoToWordLength);
  return mpz_tstbit(pattern.get(), bitIndex(position)) != 0;
}

mpnumber& mpnumber::bitset(int position, bool value, bool isSigned, int wordLength, double, int exponent,
                           double, const MpFloat& twoToWordLength) {
  if (position < 1 || position > wordLength) fail<message::bitsetOutOfRange>();
  MpIntegerScratch pattern;
  convertToUnsignedInteger(*pattern, current(), exponent, twoToWordLength);
  (value ? mpz_setbit : mpz_clrbit)(pattern.get(), bitIndex(position));
  return storePattern(*pattern, isSigned && signBitSet(*pattern, wordLength), exponent, twoToWordLength);
}

void mpnumber::twoToTheN(MpFloat& result, int exponent) {
  mpfr_set_ui_2exp(result.get(), 1, exponent, MPFR_RNDN);
}

void mpnumber::bitcmpXorMask(MpInteger& mask, int bits) {
  mpz_set_ui(mask.get(), 1);
  mpz_mul_2exp(mask.get(), mask.get(), static_cast<mp_bitcnt_t>(bits));
  mpz_sub_ui(mask.get(), mask.get(), 1);
}

mpnumber& mpnumber::bitcmp(bool, int, double, int, double, unsigned long long, unsigned long long) {
  fail<message::mpbody::bitcmp>();
}
mpnumber& mpnumber::fibitand(const numberrepbody&, bool, int, double, int, double, unsigned long long) {
  fail<message::mpbody::fibitand>();
}
mpnumber& mpnumber::fibitor(const numberrepbody&, bool, int, double, int, double, unsigned long long) {
  fail<message::mpbody::fibitor>();
}
mpnumber& mpnumber::bitxor(const numberrepbody&, bool, int, double, int, double, unsigned long long) {
  fail<message::mpbody::bitxor>();
}
bool mpnumber::bitget(int, bool, int, double, int, double, unsigned long long) const {
  fail<message::mpbody::bitget>();
}
mpnumber& mpnumber::bitset(int, bool, bool, int, double, int, double, unsigned long long) {
  fail<message::mpbody::bitset>();
}

}  // namespace embedded
