/// The body that holds values as multiprecision floats: words of more than `kMaxDoublePrecision` bits.
#pragma once

#include <cassert>
#include <cstddef>
#include <utility>

#include "qfcore/number/mparray.h"
#include "qfcore/number/numberrepbody.h"

namespace embedded {

/// Each value has a mantissa at least one bit wider than the word, so every stored integer and its scalings by
/// powers of two are exact. All values of a vector stand in one block. Setting an element to a value that its
/// bits do not hold widens it until it is set again; arithmetic rounds to nearest, ties to even, at the
/// element's own bits. Constructors and `resize` raise "numforge:fi:outofmemory" and leave nothing behind.
class QFCORE_API mpnumber final : public numberrepbody {
 public:
  /// A scalar, rounded to max(precision + 1, 32) bits.
  mpnumber(double value, unsigned precision);
  /// `count` zeros.
  mpnumber(unsigned count, unsigned precision, NumberVector);
  /// A deep copy of all values.
  mpnumber(const mpnumber* source, NumberVector);
  /// A view: shares storage, count and precision with `source`, sees what it sees; starts at index 0.
  mpnumber(const mpnumber* source, CopyIndex);
  /// A reader of what `source` sees, at index 0.
  mpnumber(const mpnumber* source, Reading);
  /// A scalar of the current element at the precision of `source`; empty when `source` is.
  mpnumber(const mpnumber& source);
  mpnumber& operator=(const mpnumber&) = delete;
  ~mpnumber() override;
  static void* operator new(std::size_t);
  static void operator delete(void* freed) noexcept;

  mpnumber* clone() const override;
  void resize(unsigned count) override;
  double todouble() const override;
  mpnumber& setvalue(double value) override;
  mpnumber& setvalue(const unsigned* words, int wordCount, bool isSigned, int wordLength,
                     int fractionLength) override;
  mpnumber& setvalue(const unsigned* words, int wordCount, bool isSigned, int wordLength, double slope,
                     int exponent, double bias) override;
  int sign() const override;
  mpnumber& negate() override;
  mpnumber& pow2(int exponent) override;
  mpnumber& abs() override;
  mpnumber& stripscaling(double slope, int exponent, double bias) override;
  mpnumber& bitcmp(bool isSigned, int wordLength, double slope, int exponent, double bias,
                   unsigned long long twoToWordLength, unsigned long long xorMask) override;
  mpnumber& bitcmp(bool isSigned, int wordLength, double slope, int exponent, double bias,
                   const MpInteger& xorMask, const MpFloat& twoToWordLength) override;
  mpnumber& fibitand(const numberrepbody& other, bool isSigned, int wordLength, double slope, int exponent,
                     double bias, unsigned long long twoToWordLength) override;
  mpnumber& fibitand(const numberrepbody& other, bool isSigned, int wordLength, double slope, int exponent,
                     double bias, const MpFloat& twoToWordLength) override;
  mpnumber& fibitor(const numberrepbody& other, bool isSigned, int wordLength, double slope, int exponent,
                    double bias, unsigned long long twoToWordLength) override;
  mpnumber& fibitor(const numberrepbody& other, bool isSigned, int wordLength, double slope, int exponent,
                    double bias, const MpFloat& twoToWordLength) override;
  mpnumber& bitxor(const numberrepbody& other, bool isSigned, int wordLength, double slope, int exponent,
                   double bias, unsigned long long twoToWordLength) override;
  mpnumber& bitxor(const numberrepbody& other, bool isSigned, int wordLength, double slope, int exponent,
                   double bias, const MpFloat& twoToWordLength) override;
  bool bitget(int position, bool isSigned, int wordLength, double slope, int exponent, double bias,
              unsigned long long twoToWordLength) const override;
  bool bitget(int position, bool isSigned, int wordLength, double slope, int exponent, double bias,
              const MpFloat& twoToWordLength) const override;
  mpnumber& bitset(int position, bool value, bool isSigned, int wordLength, double slope, int exponent,
                   double bias, unsigned long long twoToWordLength) override;
  mpnumber& bitset(int position, bool value, bool isSigned, int wordLength, double slope, int exponent,
                   double bias, const MpFloat& twoToWordLength) override;
  void stridesort(bool ascending, unsigned stride, unsigned length) override;
  void stridesort2(double* index, bool ascending, unsigned stride, unsigned length) override;

  bool isFinite() const override;
  bool myisinf() const override;
  bool iszero() const override;
  bool isnegative() const override;
  int unbiasedexponent() const override;
  mpnumber& ceil() override;
  mpnumber& ceil(int fractionBits) override;
  mpnumber& convergent() override;
  mpnumber& convergent(int fractionBits) override;
  mpnumber& fix() override;
  mpnumber& fix(int fractionBits) override;
  mpnumber& floor() override;
  mpnumber& floor(int fractionBits) override;
  mpnumber& nearest() override;
  mpnumber& nearest(int fractionBits) override;
  mpnumber& round() override;
  mpnumber& round(int fractionBits) override;
  void disp() const override;

  using numberrepbody::setvalue;
  /// Exact; see `numberops::setvalue`.
  mpnumber& setvalue(const MpFloat& value);
  /// The current element takes element `place` of `source`.
  mpnumber& copyValue(const mpnumber& source, unsigned place);

  const MpFloat& getelement() const { return current(); }
  const MpFloat& getelement(unsigned index) const { return std::as_const(storage().values)[first_ + index]; }
  MpFloat& getmodifiableelement() { return current(); }
  MpFloat& getmodifiableelement(unsigned index) { return storage().values.modifiable(first_ + index); }
  /// The stored integers from element 0 on, where such as `Integer` and of that unit, 2^-fractionLength, stand
  /// for the values; else null.
  template <class Integer>
  const Integer* integers(long fractionLength) const {
    const MpArray& values = storage().values;
    const bool stand = values.integerFormat() == MpArray::IntegerFormat{sizeof(Integer), fractionLength};
    return stand ? static_cast<const Integer*>(values.integers()) + first_ : nullptr;
  }
  /// The same to be changed; values that nobody has asked for yet become stored integers. Null where they have
  /// been asked for. Raises "numforge:fi:outofmemory".
  template <class Integer>
  Integer* modifiableIntegers(long fractionLength) {
    auto* all = static_cast<Integer*>(storage().values.makeIntegers({sizeof(Integer), fractionLength}));
    return all ? all + first_ : nullptr;
  }
  /// Takes `value` exactly into element `index`; the form for element loops.
  void setelement(unsigned index, const MpFloat& value);

  /// MPFR bits of the current element.
  unsigned getprecision() const;
  /// Rounds the current element to nearest at max(precision, 32) + 1 bits.
  mpnumber& setprecision(unsigned precision);
  /// MPFR exponent of the current element: its magnitude is in [2^(e-1), 2^e). Must be finite and not zero.
  long getexponent() const;
  mpnumber& setexponent(int exponent);
  mpnumber& changesign() { return negate(); }
  bool myisnan() const;
  /// Raises to a power, at the element's bits.
  mpnumber& pow(unsigned exponent);
  mpnumber& pow2(unsigned exponent);
  mpnumber& log();
  mpnumber& log2();
  mpnumber& sqrt();
  /// The inverse of `stripscaling`: value * 2^exponent.
  mpnumber& addscaling(double slope, int exponent, double bias);

  mpnumber& mod(const mpnumber& other);
  mpnumber& hypot(const MpFloat& a, const MpFloat& b);

  // Compound operators and comparisons take current elements; doubles are first rounded to this element's bits.
  using numberrepbody::operator+=;
  using numberrepbody::operator-=;
  using numberrepbody::operator*=;
  using numberrepbody::operator/=;
  mpnumber& operator+=(double other);
  mpnumber& operator-=(double other);
  mpnumber& operator*=(double other);
  mpnumber& operator/=(double other);
  using numberrepbody::operator==;
  using numberrepbody::operator<;
  using numberrepbody::operator<=;
  using numberrepbody::operator>;
  using numberrepbody::operator>=;
  bool operator==(double other) const;
  bool operator<(double other) const;
  bool operator<=(double other) const;
  bool operator>(double other) const;
  bool operator>=(double other) const;

  /// `result` = 2^exponent.
  static void twoToTheN(MpFloat& result, int exponent);
  /// `mask` = 2^bits - 1.
  static void bitcmpXorMask(MpInteger& mask, int bits);

  /// One half.
  static const MpFloat sOneHalf;

 private:
  struct Storage : SharedCounts {
    MpArray values;
  };
  Storage& storage() const { return *static_cast<Storage*>(shared_); }
  const MpFloat& current() const {
    assert(getIndex() < numel());
    return std::as_const(storage().values)[index_];
  }
  MpFloat& current() {
    assert(getIndex() < numel());
    return storage().values.modifiable(index_);
  }
  Storage* share() const;
  bool copyIntegers(const mpnumber& source, unsigned first, unsigned place, unsigned count);
  template <class Policy>
  mpnumber& roundCurrent();
  template <class Policy>
  mpnumber& roundCurrent(int fractionBits);
  void setStoredInteger(const MpInteger& stored, int exponent);
  mpnumber& storePattern(MpInteger& pattern, bool isNegative, int exponent, const MpFloat& twoToWordLength);
  template <class Combine>
  mpnumber& combineBits(const numberrepbody& other, bool isSigned, int wordLength, int exponent,
                        const MpFloat& twoToWordLength, Combine combine);

  mutable Storage own_;  // in use until the first view is made
};

}  // namespace embedded
