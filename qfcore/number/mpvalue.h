/// Multiprecision floats, integers and reusable scratch values: the owners of everything that MPFR and GMP
/// allocate. The only header that includes theirs.
#pragma once

#include <gmp.h>
#include <mpfr.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>

#include "qfcore/number/errors.h"

namespace embedded {

/// Limbs that `bits` bits take.
constexpr std::uint32_t limbCount(unsigned bits) { return (bits + GMP_NUMB_BITS - 1) / GMP_NUMB_BITS; }

/// One binary floating-point value of a chosen precision. Its limbs stand right behind it, in an array of such
/// values, or in a block of their own. Room once won is kept, so that changing the precision seldom allocates.
///
/// Compound operators round to nearest, ties to even, at the precision of the left operand; they accept
/// operands of any precision. Comparisons with NaN are false, except !=.
class QFCORE_API MpFloat {
 public:
  /// +0 at `bits` bits, limbs in a block of their own. Raises "numforge:fi:outofmemory".
  explicit MpFloat(unsigned bits);
  /// The same value at the same precision.
  MpFloat(const MpFloat& other);
  /// Takes value and precision of `other`.
  MpFloat& operator=(const MpFloat& other);
  ~MpFloat() {
    if (ownsLimbs_) std::free(limbs());
  }

  /// Bytes that `placeAt` needs for a value of `bits` bits.
  static std::size_t placedSize(unsigned bits);
  /// Makes +0 at `place`, which has `placedSize(bits)` bytes, its limbs right behind it. Whoever owns the place
  /// ends the value's life.
  static MpFloat* placeAt(void* place, unsigned bits) { return new (place) MpFloat(bits, Placed{}); }
  /// Ends the life of a placed value.
  void endPlaced();
  /// Whether any placed value owns limbs. Where none does, the lives of all may end unseen.
  static bool placedOwnLimbs();

  mpfr_ptr get() { return value_; }
  mpfr_srcptr get() const { return value_; }
  unsigned bits() const { return static_cast<unsigned>(mpfr_get_prec(value_)); }

  /// Becomes +0 at `bits` bits.
  void reset(unsigned bits);
  /// Rounds the value to nearest at `bits` bits.
  void setBits(unsigned bits);

  /// Takes the value exactly, at `bits` bits or, where these do not hold it, at the precision of the source (53
  /// bits for a double).
  void assign(const MpFloat& source, unsigned bits);
  void assign(double source, unsigned bits);
  void assign(mpz_srcptr source, unsigned bits);

  double toDouble() const { return mpfr_get_d(value_, MPFR_RNDN); }
  bool isZero() const { return mpfr_zero_p(value_) != 0; }
  bool isNan() const { return mpfr_nan_p(value_) != 0; }
  bool isInfinite() const { return mpfr_inf_p(value_) != 0; }
  bool isFinite() const { return mpfr_number_p(value_) != 0; }
  /// -1, 0, 1; 0 for NaN.
  int sign() const { return isNan() ? 0 : mpfr_sgn(value_); }
  bool isNegative() const { return sign() < 0; }

  /// Multiplies by 2^exponent, exactly.
  void scaleByPow2(long exponent) { mpfr_mul_2si(value_, value_, exponent, MPFR_RNDN); }
  void negate() { mpfr_neg(value_, value_, MPFR_RNDN); }
  void makeAbsolute() { mpfr_abs(value_, value_, MPFR_RNDN); }

  /// The result of two operands, rounded to nearest at the bits of this value, which may be an operand; the
  /// form for array loops.
  void setSum(const MpFloat& a, const MpFloat& b) { setSignedSum(a, b, false); }
  void setDifference(const MpFloat& a, const MpFloat& b) { setSignedSum(a, b, true); }
  void setProduct(const MpFloat& a, const MpFloat& b);

  MpFloat& operator+=(const MpFloat& other) { return setSum(*this, other), *this; }
  MpFloat& operator-=(const MpFloat& other) { return setDifference(*this, other), *this; }
  MpFloat& operator*=(const MpFloat& other) { return setProduct(*this, other), *this; }
  MpFloat& operator/=(const MpFloat& other) { return mpfr_div(value_, value_, other.value_, MPFR_RNDN), *this; }

  friend bool operator==(const MpFloat& a, const MpFloat& b) {
    return areRegular(a, b) ? order(a, b) == 0 : mpfr_equal_p(a.value_, b.value_) != 0;
  }
  friend bool operator<(const MpFloat& a, const MpFloat& b) {
    return areRegular(a, b) ? order(a, b) < 0 : mpfr_less_p(a.value_, b.value_) != 0;
  }
  friend bool operator<=(const MpFloat& a, const MpFloat& b) {
    return areRegular(a, b) ? order(a, b) <= 0 : mpfr_lessequal_p(a.value_, b.value_) != 0;
  }
  friend bool operator>(const MpFloat& a, const MpFloat& b) { return b < a; }
  friend bool operator>=(const MpFloat& a, const MpFloat& b) { return b <= a; }

 private:
  struct Placed {};
  MpFloat(unsigned bits, Placed) : capacity_(limbCount(bits)), ownsLimbs_(false) {
    becomeZero(reinterpret_cast<mp_limb_t*>(this + 1), bits);
  }
  void becomeZero(mp_limb_t* limbs, unsigned bits) {
    mpfr_custom_init_set(value_, MPFR_ZERO_KIND, 0, static_cast<mpfr_prec_t>(bits), limbs);
  }
  mp_limb_t* limbs() { return static_cast<mp_limb_t*>(mpfr_custom_get_significand(value_)); }
  const mp_limb_t* limbs() const { return static_cast<const mp_limb_t*>(mpfr_custom_get_significand(value_)); }
  /// The sign alone, that of zeros and NaN too.
  bool hasSign() const { return mpfr_signbit(value_) != 0; }
  static bool areRegular(const MpFloat& a, const MpFloat& b) {
    return static_cast<int>(mpfr_regular_p(a.value_) != 0) & static_cast<int>(mpfr_regular_p(b.value_) != 0);
  }
  mp_limb_t highestLimb() const { return limbs()[limbCount(bits()) - 1]; }
  /// Below, at or above 0 as is a - b; of regular values. What mostly decides is taken in without a branch,
  /// since no processor foresees it.
  static int order(const MpFloat& a, const MpFloat& b) {
    const auto compare = [](auto x, auto y) { return static_cast<int>(x > y) - static_cast<int>(x < y); };
    const int sign = a.value_->_mpfr_sign;
    const int byExponent = compare(mpfr_get_exp(a.value_), mpfr_get_exp(b.value_));
    const int order =
        2 * (sign - b.value_->_mpfr_sign) + sign * (2 * byExponent + compare(a.highestLimb(), b.highestLimb()));
    return order != 0 ? order : sign * orderOfLowerLimbs(a, b);
  }
  static int orderOfLowerLimbs(const MpFloat& a, const MpFloat& b);
  /// Gives the limbs in place a sign and an exponent.
  void setRegular(bool isNegative, mpfr_exp_t exponent) {
    value_->_mpfr_sign = isNegative ? -1 : 1;
    value_->_mpfr_exp = exponent;
  }
  void takeBits(const MpFloat& source);
  void setSignedSum(const MpFloat& a, const MpFloat& b, bool subtracts);
  void reserve(unsigned bits);

  mpfr_t value_;
  std::uint32_t capacity_;  // limbs there is room for
  bool ownsLimbs_;          // the limbs are a block of their own
};

/// One integer of any size.
class QFCORE_API MpInteger {
 public:
  MpInteger() { mpz_init(value_); }
  MpInteger(const MpInteger&) = delete;
  MpInteger& operator=(const MpInteger&) = delete;
  ~MpInteger() { mpz_clear(value_); }
  /// Becomes 0 and gives its limbs back.
  void forgetRoom() {
    mpz_clear(value_);
    mpz_init(value_);
  }
  mpz_ptr get() { return value_; }
  mpz_srcptr get() const { return value_; }

 private:
  mpz_t value_;
};

/// A value borrowed for a scope from a stack of values that stay: element loops that need a temporary allocate
/// for the first element alone. It goes back also when something throws. For local variables only.
class QFCORE_API MpScratch {
 public:
  /// +0 at `bits` bits.
  explicit MpScratch(unsigned bits);
  MpScratch(const MpScratch&) = delete;
  MpScratch& operator=(const MpScratch&) = delete;
  ~MpScratch();
  MpFloat& operator*() { return *value_; }
  MpFloat* operator->() { return value_; }
  mpfr_ptr get() { return value_->get(); }

 private:
  MpFloat* value_;
};

/// The same for integers; starts at 0.
class QFCORE_API MpIntegerScratch {
 public:
  MpIntegerScratch();
  MpIntegerScratch(const MpIntegerScratch&) = delete;
  MpIntegerScratch& operator=(const MpIntegerScratch&) = delete;
  ~MpIntegerScratch();
  MpInteger& operator*() { return *value_; }
  mpz_ptr get() { return value_->get(); }

 private:
  MpInteger* value_;
};

/// mod(x, y) in place at the precision of x: x unchanged when y is zero, else the remainder that has the sign
/// of y.
QFCORE_API void modulo(MpFloat& x, const MpFloat& y);

/// length = sqrt(a^2 + b^2), rounded once; NaN when either is NaN.
QFCORE_API void hypot(MpFloat& length, const MpFloat& a, const MpFloat& b);

}  // namespace embedded
