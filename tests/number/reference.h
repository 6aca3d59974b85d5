/// Exact rationals as the measure of everything that the number core computes.
#pragma once

#include <gmpxx.h>

#include <cstdint>
#include <random>
#include <string>

#include "qfcore/number/mpvalue.h"
#include "qfcore/number/number.h"

namespace reference {

using embedded::number;

constexpr std::uint64_t kSeed = 20240611;

/// A precision that gives a double body in every build, and one that gives a multiprecision body.
constexpr unsigned kDoublePrecision = 8;
constexpr unsigned kWidePrecision = 300;

inline mpz_class pow2(int exponent) { return mpz_class(1) << exponent; }

/// q * 2^exponent.
inline mpq_class scaled(const mpq_class& q, int exponent) {
  return exponent >= 0 ? mpq_class(q * pow2(exponent)) : mpq_class(q / pow2(-exponent));
}

inline mpz_class floored(const mpq_class& q) {
  mpz_class whole;
  mpz_fdiv_q(whole.get_mpz_t(), q.get_num_mpz_t(), q.get_den_mpz_t());
  return whole;
}

/// The current element, exactly. It must be finite.
inline mpq_class valueOf(const number& n) {
  const auto* wide = n.multiprecision();
  if (!wide) return mpq_class(n.todouble());
  mpq_class value;
  mpfr_get_q(value.get_mpq_t(), wide->getelement().get());
  return value;
}

/// Puts a value that the element can hold into it; false when it cannot.
inline bool put(number& n, const mpq_class& value) {
  if (auto* wide = n.multiprecision()) {
    auto& element = wide->getmodifiableelement();
    return mpfr_set_q(element.get(), value.get_mpq_t(), MPFR_RNDN) == 0;
  }
  n = value.get_d();
  return mpq_class(n.todouble()) == value;
}

/// q rounded to nearest, ties to even, with `bits` bits.
inline mpq_class roundedToBits(const mpq_class& q, int bits) {
  if (q == 0) return q;
  mpq_class magnitude = abs(q);
  int exponent = 0;
  while (magnitude >= 2) magnitude /= 2, ++exponent;
  while (magnitude < 1) magnitude *= 2, --exponent;
  const mpq_class units = scaled(abs(q), bits - 1 - exponent);
  mpz_class whole = floored(units);
  const mpq_class rest = units - whole;
  if (rest > mpq_class(1, 2) || (rest == mpq_class(1, 2) && mpz_odd_p(whole.get_mpz_t()))) ++whole;
  return scaled(mpq_class(sgn(q) * whole), exponent - bits + 1);
}

/// A type as the bit and text operations take it.
struct Format {
  bool isSigned;
  int wordLength;
  int exponent;
  mpz_class least() const { return isSigned ? mpz_class(-pow2(wordLength - 1)) : mpz_class(0); }
  mpz_class pattern(const mpz_class& stored) const {
    mpz_class bits;
    mpz_fdiv_r_2exp(bits.get_mpz_t(), stored.get_mpz_t(), static_cast<mp_bitcnt_t>(wordLength));
    return bits;
  }
  mpz_class stored(const mpz_class& pattern) const {
    return isSigned && pattern >= pow2(wordLength - 1) ? mpz_class(pattern - pow2(wordLength)) : pattern;
  }
};

/// Random types and stored integers, with many at and beside the ends of the range.
class Generator {
 public:
  virtual ~Generator() = default;
  virtual int integer(int low, int high) { return std::uniform_int_distribution<int>(low, high)(engine_); }
  virtual std::uint32_t word() { return std::uniform_int_distribution<std::uint32_t>()(engine_); }
  bool coin() { return integer(0, 1) != 0; }
  mpz_class bits(int count) {
    mpz_class value = 0;
    for (int done = 0; done < count; done += 32) {
      value <<= 32;
      value += static_cast<unsigned long>(word());
    }
    return Format{false, count, 0}.pattern(value);
  }
  Format format(int longest) { return {coin(), integer(1, longest), integer(-60, 60)}; }
  mpz_class stored(const Format& format) {
    switch (integer(0, 5)) {
      case 0: return format.least();
      case 1: return format.least() + pow2(format.wordLength) - 1;
      case 2: return mpz_class(0);
      case 3: return format.stored(format.pattern(mpz_class(-1)));
      default: return format.least() + bits(format.wordLength);
    }
  }

 private:
  std::mt19937_64 engine_{kSeed};
};

}  // namespace reference
