#include "qfcore/number/radix.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>
#include <functional>

#include "qfcore/number/mpvalue.h"
#include "qfcore/number/storedinteger.h"

namespace embedded {

namespace {

std::string padded(const char* digits, std::size_t length, std::size_t width) {
  std::string text(width > length ? width - length : 0, '0');
  return text.append(digits, length);
}

/// The value of a digit, or a number above every base.
int digitValue(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'a' && digit <= 'z') return digit - 'a' + 10;
  if (digit >= 'A' && digit <= 'Z') return digit - 'A' + 10;
  return 255;
}

/// Sets `mantissa` so that value * 2^-exponent = mantissa * 2^-result exactly; 0 for a value that is not
/// finite.
mp_bitcnt_t takeMantissa(MpInteger& mantissa, const MpFloat& value, long exponent) {
  if (!mpfr_regular_p(value.get())) return mpz_set_ui(mantissa.get(), 0), 0;
  const long shift = mpfr_get_z_2exp(mantissa.get(), value.get()) - exponent;
  if (shift < 0) return static_cast<mp_bitcnt_t>(-shift);
  mpz_mul_2exp(mantissa.get(), mantissa.get(), static_cast<mp_bitcnt_t>(shift));
  return 0;
}

mp_bitcnt_t bitCount(long bits) { return static_cast<mp_bitcnt_t>(bits); }

}  // namespace

int radixDigits(int wordLength, int base) {
  int bitsPerDigit = 0;
  while ((1 << bitsPerDigit) < base) ++bitsPerDigit;
  if ((1 << bitsPerDigit) == base) return (wordLength + bitsPerDigit - 1) / bitsPerDigit;
  return static_cast<int>(std::ceil(wordLength * std::log(2.0) / std::log(base)));
}

std::string patternText(const MpInteger& pattern, int base, int digits) {
  std::string text(mpz_sizeinbase(pattern.get(), base) + 2, '\0');
  mpz_get_str(text.data(), base, pattern.get());
  return padded(text.data(), std::strlen(text.data()), static_cast<std::size_t>(digits));
}

std::string patternText(unsigned long long pattern, int base, int digits) {
  char text[64];
  const char* end = std::to_chars(text, text + sizeof text, pattern, base).ptr;
  return padded(text, static_cast<std::size_t>(end - text), static_cast<std::size_t>(digits));
}

bool readPattern(MpInteger& pattern, const char* text, int base) {
  if (!*text) return false;
  for (const char* digit = text; *digit; ++digit) {
    if (digitValue(*digit) >= base) return false;
  }
  return mpz_set_str(pattern.get(), text, base) == 0;
}

void storedInteger(MpInteger& stored, const MpFloat& value, int exponent) {
  const mp_bitcnt_t dropped = takeMantissa(stored, value, exponent);
  if (dropped == 0) return;
  if (mpz_sizeinbase(stored.get(), 2) < dropped) return mpz_set_ui(stored.get(), 0);  // below one half
  MpIntegerScratch half;
  mpz_setbit(half.get(), dropped - 1);
  (value.isNegative() ? mpz_sub : mpz_add)(stored.get(), stored.get(), half.get());
  mpz_tdiv_q_2exp(stored.get(), stored.get(), dropped);
}

void truncatedInteger(MpInteger& stored, const MpFloat& value, long exponent) {
  mpz_tdiv_q_2exp(stored.get(), stored.get(), takeMantissa(stored, value, exponent));
}

void convertToUnsignedInteger(MpInteger& pattern, const MpFloat& value, int exponent,
                              const MpFloat& twoToWordLength) {
  storedInteger(pattern, value, exponent);
  if (!value.isNegative()) return;
  MpIntegerScratch range;
  storedInteger(*range, twoToWordLength, 0);
  mpz_add(pattern.get(), pattern.get(), range.get());
}

void wordPattern(std::uint64_t* pattern, const MpFloat& value, int wordLength, int exponent) {
  const auto bits = static_cast<unsigned>(wordLength);
  const bool isOnLimbs = visitLimbs(
      std::max(limbCount(value.bits()), limbCount(bits + 1)),
      [&](auto size) {
        StoredInteger<size()> stored;
        if (!stored.takeExactly(value, -long{exponent})) return false;
        stored.toPattern(bits);
        std::copy_n(stored.limbs.begin(), limbCount(bits), pattern);
        return true;
      },
      false);
  if (isOnLimbs) return;
  MpIntegerScratch stored;
  storedInteger(*stored, value, exponent);
  mpz_fdiv_r_2exp(stored.get(), stored.get(), bitCount(wordLength));
  std::fill_n(pattern, limbCount(bits), 0);
  mpz_export(pattern, nullptr, -1, sizeof *pattern, 0, 0, stored.get());
}

bool setFromWordPattern(MpFloat& value, const std::uint64_t* pattern, bool isSigned, int wordLength,
                        int exponent) {
  const auto bits = static_cast<unsigned>(wordLength);
  return visitLimbs(
      std::max(limbCount(value.bits()), limbCount(bits + 1)),
      [&](auto size) {
        StoredInteger<size()> stored;
        stored.limbs.fill(0);
        std::copy_n(pattern, limbCount(bits), stored.limbs.begin());
        stored.fromPattern(bits, isSigned);
        if (stored.store(value, -long{exponent})) return true;
        const bool isZero = std::all_of(stored.limbs.begin(), stored.limbs.end(), std::logical_not<>());
        if (isZero) mpfr_set_zero(value.get(), 1);
        return isZero;
      },
      false);
}

std::size_t digitsOfPattern(unsigned char* digits, std::uint64_t* pattern, std::size_t limbs, int base) {
  while (limbs > 0 && pattern[limbs - 1] == 0) --limbs;
  if (limbs == 0) return 0;
  const std::size_t count = mpn_get_str(digits, base, pattern, static_cast<mp_size_t>(limbs));
  const unsigned char* first =
      std::find_if(digits, digits + count, [](unsigned char digit) { return digit != 0; });
  std::copy(first, static_cast<const unsigned char*>(digits + count), digits);
  return static_cast<std::size_t>(digits + count - first);
}

bool patternOfDigits(std::uint64_t* pattern, const unsigned char* digits, std::size_t count, int base,
                     int wordLength) {
  for (; count > 0 && *digits == 0; --count) ++digits;
  std::fill_n(pattern, limbCount(static_cast<unsigned>(wordLength)), 0);
  if (count == 0) return true;
  if (count > static_cast<std::size_t>(radixDigits(wordLength, base))) return false;
  // So many digits write at most some bits more than the word has.
  const auto written = static_cast<unsigned>(mpn_set_str(pattern, digits, count, base));
  const auto unused = static_cast<unsigned>(std::countl_zero(pattern[written - 1]));
  return written * GMP_NUMB_BITS - unused <= static_cast<unsigned>(wordLength);
}

void FloatFormat::encode(MpInteger& pattern, const MpFloat& value) const {
  const int fractionBits = fractionLength();
  MpIntegerScratch infinity;
  mpz_set_ui(infinity.get(), 1);
  mpz_mul_2exp(infinity.get(), infinity.get(), bitCount(exponentLength));
  mpz_sub_ui(infinity.get(), infinity.get(), 1);
  mpz_mul_2exp(infinity.get(), infinity.get(), bitCount(fractionBits));

  if (value.isNan()) {
    mpz_set(pattern.get(), infinity.get());
    if (fractionBits > 0) mpz_setbit(pattern.get(), bitCount(fractionBits - 1));
    return;
  }
  if (value.isInfinite()) {
    mpz_set(pattern.get(), infinity.get());
  } else if (value.isZero()) {
    mpz_set_ui(pattern.get(), 0);
  } else {
    // The significand with its leading bit, added to the exponent field less one, carries into the field by
    // itself.
    const long exponent = std::max<long>(mpfr_get_exp(value.get()) - 1, minExponent());
    MpScratch significand(value.bits());
    mpfr_mul_2si(significand.get(), value.get(), fractionBits - exponent, MPFR_RNDN);
    mpfr_abs(significand.get(), significand.get(), MPFR_RNDN);
    mpfr_roundeven(significand.get(), significand.get());
    MpIntegerScratch fraction;
    mpfr_get_z(fraction.get(), significand.get(), MPFR_RNDN);
    mpz_set_si(pattern.get(), exponent - minExponent());
    mpz_mul_2exp(pattern.get(), pattern.get(), bitCount(fractionBits));
    mpz_add(pattern.get(), pattern.get(), fraction.get());
    if (exponentLength > 0 && mpz_cmp(pattern.get(), infinity.get()) > 0)
      mpz_set(pattern.get(), infinity.get());
  }
  if (mpfr_signbit(value.get())) mpz_setbit(pattern.get(), bitCount(wordLength - 1));
}

void FloatFormat::decode(MpFloat& value, const MpInteger& pattern) const {
  const int fractionBits = fractionLength();
  MpIntegerScratch field, fraction;
  mpz_fdiv_q_2exp(field.get(), pattern.get(), bitCount(fractionBits));
  mpz_fdiv_r_2exp(field.get(), field.get(), bitCount(exponentLength));
  mpz_fdiv_r_2exp(fraction.get(), pattern.get(), bitCount(fractionBits));
  const long exponentField = mpz_get_si(field.get());
  const bool allOnes = exponentLength > 0 && exponentField == (1L << exponentLength) - 1;
  if (allOnes && mpz_sgn(fraction.get()) != 0) return mpfr_set_nan(value.get());
  if (allOnes) {
    mpfr_set_inf(value.get(), 1);
  } else {
    const bool normal = exponentField > 0;
    if (normal) mpz_setbit(fraction.get(), bitCount(fractionBits));
    value.assign(fraction.get(), value.bits());
    value.scaleByPow2((normal ? exponentField - bias() : minExponent()) - fractionBits);
  }
  if (mpz_tstbit(pattern.get(), bitCount(wordLength - 1))) value.negate();
}

}  // namespace embedded
