/// The handle of every fixed-point value: owns a body and never tells which kind it is.
#pragma once

#include <string>
#include <utility>

#include "qfcore/number/doublenumber.h"
#include "qfcore/number/mpnumber.h"
#include "qfcore/number/numberfactory.h"
#include "qfcore/number/numberrepbody.h"
#include "qfcore/number/precision.h"

namespace embedded {

/// A value, or a vector of values with a cursor. Scalar operations work on the current element; `a[2] + b[5]`
/// selects and combines in one expression. Copying makes a scalar; views and whole copies have constructors of
/// their own. A view shares everything but the index and should not outlive the number that it was made of.
///
/// An empty vector has no body until it grows or is viewed: every real array carries one as its imaginary part.
/// Until then only shape, cursor, precision and representation can be asked of it.
class QFCORE_API number {
 public:
  number(double value, unsigned precision, bool forceMultiplePrecision)
      : body_(numberfactory::createnumberScalar(value, precision, forceMultiplePrecision)) {}
  /// `count` zeros.
  number(unsigned count, unsigned precision, NumberVector)
      : body_(count == 0 ? nullptr : numberfactory::createnumberVector(count, precision)),
        emptyPrecision_(precision) {}
  /// `count` values without meaning; zeros where they are multiprecision.
  number(unsigned count, unsigned precision, Unset tag)
      : body_(count == 0 ? nullptr : numberfactory::createnumberVector(count, precision, tag)),
        emptyPrecision_(precision) {}
  /// Takes over a body whose values have that precision.
  number(numberrepbody* body, unsigned precision) noexcept : body_(body), emptyPrecision_(precision) {}
  /// A view.
  number(const number& source, CopyIndex tag) : body_(numberfactory::createnumber(source.shareable(), tag)) {}
  /// A view of `count` elements from `first` on, or of those of them that there are; it does not resize.
  number(const number& source, CopyIndex tag, unsigned first, unsigned count) : number(source, tag) {
    body_->narrow(first, count);
  }
  /// A reader: own cursor, at 0, over the values of a number that stays as it is.
  number(const number& source, Reading tag)
      : body_(source.body_ ? numberfactory::createnumber(source.body_, tag) : nullptr),
        emptyPrecision_(source.emptyPrecision_) {}
  /// A deep copy.
  number(const number& source, NumberVector)
      : body_(source.isempty() ? nullptr : numberfactory::createnumberVector(source.body_)),
        emptyPrecision_(source.getprecision()) {}
  /// A scalar holding the current element of `source` at its precision; empty when `source` is.
  number(const number& source);
  /// Takes over the values; the source is empty then.
  number(number&& source) noexcept
      : body_(std::exchange(source.body_, nullptr)), emptyPrecision_(source.emptyPrecision_) {}
  virtual ~number() {
    if (body_) doublenumber::drop(body_);
  }
  /// Exchanges whole vectors; assignment moves single values.
  void swap(number& other) noexcept {
    std::swap(body_, other.body_);
    std::swap(emptyPrecision_, other.emptyPrecision_);
  }
  virtual number& stripscaling(double slope, int exponent, double bias) {
    return body_->stripscaling(slope, exponent, bias), *this;
  }

  /// Precision and representation of temporaries that the calling thread makes from doubles.
  static unsigned getDefaultPrecision();
  static void setDefaultPrecision(unsigned precision, bool forceMultiplePrecision);
  static bool getDefaultForceMultiplePrecision();
  static void setDefaultForceMultiplePrecision(bool force);

  // Shape and cursor.
  unsigned numel() const { return body_ ? body_->numel() : 0; }
  unsigned getprecision() const { return body_ ? body_->precision() : emptyPrecision_; }
  bool isempty() const { return numel() == 0; }
  /// Whether the two are views of one vector, or one number.
  bool sharesValuesWith(const number& other) const {
    return body_ && other.body_ && body_->sharesValuesWith(*other.body_);
  }
  unsigned getIndex() const { return body_ ? body_->getIndex() : 0; }
  void setIndex(unsigned index) const {
    if (body_) body_->setIndex(index);
  }
  number& operator[](unsigned index) { return setIndex(index), *this; }
  const number& operator[](unsigned index) const { return setIndex(index), *this; }
  /// Keeps the first min(old, new) values; new ones are zero.
  number& resize(unsigned count);
  /// Keeps values when the precision stays; a new precision makes a new body of zeros.
  number& resize(unsigned count, unsigned precision);
  int gettype() const {
    if (body_) return body_->gettype();
    return emptyPrecision_ <= kMaxDoublePrecision ? kDoubleRepresentation : kMultiprecisionRepresentation;
  }
  /// Null where there is none.
  numberrepbody* getbody() { return body_; }
  const numberrepbody* getbody() const { return body_; }

  // For array kernels: the body's kind at a glance. Null for the other kind, and when empty.
  // Pointers to values hold until a `resize`, and until the first view of this number is made.
  double* doubles() { return hasBody(kDoubleRepresentation) ? asDoubles()->values() : nullptr; }
  const double* doubles() const { return const_cast<number*>(this)->doubles(); }
  /// Of a number that has one double, as `holdsDoubles` tells, and is no view: that value.
  double onlyValue() const { return const_cast<number*>(this)->asDoubles()->onlyValue(); }
  bool holdsDoubles() const { return hasBody(kDoubleRepresentation); }
  mpnumber* multiprecision() {
    return hasBody(kMultiprecisionRepresentation) ? static_cast<mpnumber*>(body_) : nullptr;
  }
  const mpnumber* multiprecision() const { return const_cast<number*>(this)->multiprecision(); }

  // Values.
  double todouble() const { return body_->todouble(); }
  /// The double narrowed to single precision.
  float tosingle() const { return static_cast<float>(body_->todouble()); }
  number& setvalue(double value) { return body_->setvalue(value), *this; }
  number& operator=(double value) { return setvalue(value); }
  /// Takes the stored integer in little-endian 32-bit words, times 2^exponent.
  number& setvalue(const unsigned* words, int wordCount, bool isSigned, int wordLength, double slope,
                   int exponent, double bias) {
    return body_->setvalue(words, wordCount, isSigned, wordLength, slope, exponent, bias), *this;
  }
  number& setvalue(const number& other) { return body_->setvalue(*other.body_), *this; }
  number& operator=(const number& other) { return setvalue(other); }
  /// The current element takes element `place` of `source`, whose kind of values it has, and whose cursor
  /// stays.
  number& copyValue(const number& source, unsigned place);
  /// This = source * slope + bias; slope and bias are numbers of the default precision.
  number& setvalue(const number& source, double slope, double bias);

  // Arithmetic.
  number& operator+=(const number& other) { return *body_ += *other.body_, *this; }
  number& operator-=(const number& other) { return *body_ -= *other.body_, *this; }
  number& operator*=(const number& other) { return *body_ *= *other.body_, *this; }
  number& operator/=(const number& other) { return *body_ /= *other.body_, *this; }
  number operator+(const number& other) const {
    number result(*this);
    result += other;
    return result;
  }
  number operator-(const number& other) const {
    number result(*this);
    result -= other;
    return result;
  }
  number operator*(const number& other) const {
    number result(*this);
    result *= other;
    return result;
  }
  number operator/(const number& other) const {
    number result(*this);
    result /= other;
    return result;
  }
  number operator-() const {
    number result(*this);
    result.negate();
    return result;
  }
  number& mod(const number& other) { return body_->mod(*other.body_), *this; }
  number& hypot(const number& a, const number& b) { return body_->hypot(*a.body_, *b.body_), *this; }
  number& negate() { return body_->negate(), *this; }
  number& abs() { return body_->abs(), *this; }
  number& abs(const number& other) { return setvalue(other).abs(); }
  number& pow2(int exponent) { return body_->pow2(exponent), *this; }
  int sign() const { return body_->sign(); }

  bool operator==(const number& other) const { return *body_ == *other.body_; }
  bool operator!=(const number& other) const { return *body_ != *other.body_; }
  bool operator<(const number& other) const { return *body_ < *other.body_; }
  bool operator<=(const number& other) const { return *body_ <= *other.body_; }
  bool operator>(const number& other) const { return *body_ > *other.body_; }
  bool operator>=(const number& other) const { return *body_ >= *other.body_; }

  // Predicates and rounding.
  bool isFinite() const { return body_->isFinite(); }
  bool myisinf() const { return body_->myisinf(); }
  bool iszero() const { return body_->iszero(); }
  bool isnegative() const { return body_->isnegative(); }
  int unbiasedexponent() const { return body_->unbiasedexponent(); }
  number& ceil() { return body_->ceil(), *this; }
  number& ceil(int fractionBits) { return body_->ceil(fractionBits), *this; }
  number& convergent() { return body_->convergent(), *this; }
  number& convergent(int fractionBits) { return body_->convergent(fractionBits), *this; }
  number& fix() { return body_->fix(), *this; }
  number& fix(int fractionBits) { return body_->fix(fractionBits), *this; }
  number& floor() { return body_->floor(), *this; }
  number& floor(int fractionBits) { return body_->floor(fractionBits), *this; }
  number& nearest() { return body_->nearest(), *this; }
  number& nearest(int fractionBits) { return body_->nearest(fractionBits), *this; }
  number& round() { return body_->round(), *this; }
  number& round(int fractionBits) { return body_->round(fractionBits), *this; }

  // Bit operations: the caller chooses the form that matches the body's kind. See `WordConstants`.
  number& bitcmp(bool isSigned, int wordLength, double slope, int exponent, double bias,
                 unsigned long long twoToWordLength, unsigned long long xorMask) {
    return body_->bitcmp(isSigned, wordLength, slope, exponent, bias, twoToWordLength, xorMask), *this;
  }
  number& bitcmp(bool isSigned, int wordLength, double slope, int exponent, double bias,
                 const MpInteger& xorMask, const MpFloat& twoToWordLength) {
    return body_->bitcmp(isSigned, wordLength, slope, exponent, bias, xorMask, twoToWordLength), *this;
  }
  bool bitget(int position, bool isSigned, int wordLength, double slope, int exponent, double bias,
              unsigned long long twoToWordLength) const {
    return body_->bitget(position, isSigned, wordLength, slope, exponent, bias, twoToWordLength);
  }
  bool bitget(int position, bool isSigned, int wordLength, double slope, int exponent, double bias,
              const MpFloat& twoToWordLength) const {
    return body_->bitget(position, isSigned, wordLength, slope, exponent, bias, twoToWordLength);
  }
  number& bitset(int position, bool value, bool isSigned, int wordLength, double slope, int exponent,
                 double bias, unsigned long long twoToWordLength) {
    return body_->bitset(position, value, isSigned, wordLength, slope, exponent, bias, twoToWordLength), *this;
  }
  number& bitset(int position, bool value, bool isSigned, int wordLength, double slope, int exponent,
                 double bias, const MpFloat& twoToWordLength) {
    return body_->bitset(position, value, isSigned, wordLength, slope, exponent, bias, twoToWordLength), *this;
  }
  number& doublebitand(const number& other, bool isSigned, int wordLength, double slope, int exponent,
                       double bias, unsigned long long twoToWordLength) {
    return body_->fibitand(*other.body_, isSigned, wordLength, slope, exponent, bias, twoToWordLength), *this;
  }
  number& doublebitor(const number& other, bool isSigned, int wordLength, double slope, int exponent,
                      double bias, unsigned long long twoToWordLength) {
    return body_->fibitor(*other.body_, isSigned, wordLength, slope, exponent, bias, twoToWordLength), *this;
  }
  number& doublebitxor(const number& other, bool isSigned, int wordLength, double slope, int exponent,
                       double bias, unsigned long long twoToWordLength) {
    return body_->bitxor(*other.body_, isSigned, wordLength, slope, exponent, bias, twoToWordLength), *this;
  }
  number& mpbitand(const number& other, bool isSigned, int wordLength, double slope, int exponent, double bias,
                   const MpFloat& twoToWordLength) {
    return body_->fibitand(*other.body_, isSigned, wordLength, slope, exponent, bias, twoToWordLength), *this;
  }
  number& mpbitor(const number& other, bool isSigned, int wordLength, double slope, int exponent, double bias,
                  const MpFloat& twoToWordLength) {
    return body_->fibitor(*other.body_, isSigned, wordLength, slope, exponent, bias, twoToWordLength), *this;
  }
  number& mpbitxor(const number& other, bool isSigned, int wordLength, double slope, int exponent, double bias,
                   const MpFloat& twoToWordLength) {
    return body_->bitxor(*other.body_, isSigned, wordLength, slope, exponent, bias, twoToWordLength), *this;
  }

  // Sorting; see `numberrepbody`.
  void stridesort(bool ascending, unsigned stride, unsigned length) {
    if (body_) body_->stridesort(ascending, stride, length);
  }
  void stridesort2(double* index, bool ascending, unsigned stride, unsigned length) {
    if (body_) body_->stridesort2(index, ascending, stride, length);
  }

  // Radix text and stored integers; see `numberops`.
  bool base2float(const char* text, int base, int wordLength, int exponentLength) {
    return body_->base2float(text, base, wordLength, exponentLength);
  }
  bool base2fixed(const char* text, int base, bool isSigned, int wordLength, double slope, int exponent,
                  double bias) {
    return body_->base2fixed(text, base, isSigned, wordLength, slope, exponent, bias);
  }
  std::string decimalText(int decimals) const { return body_->decimalText(decimals); }
  int fractionBits() const { return body_->fractionBits(); }
  std::string float2base(int base, int wordLength, int exponentLength) const {
    return body_->float2base(base, wordLength, exponentLength);
  }
  std::string fixed2base(int base, bool isSigned, int wordLength, double slope, int exponent,
                         double bias) const {
    return body_->fixed2base(base, isSigned, wordLength, slope, exponent, bias);
  }
  std::string fixed2sdec(bool isSigned, int wordLength, double slope, int exponent, double bias) const {
    return body_->fixed2sdec(isSigned, wordLength, slope, exponent, bias);
  }
  void fixed2IntArray(unsigned* words, int wordCount, int wordLength, double slope, int exponent, double bias,
                      const MpFloat& twoToWordLength) const {
    body_->fixed2IntArray(words, wordCount, wordLength, slope, exponent, bias, twoToWordLength);
  }
  unsigned long long fixed2uint64(int wordLength, int fractionLength) const {
    return body_->fixed2uint64(wordLength, fractionLength);
  }
  unsigned fixed2uint32(int wordLength, int fractionLength) const {
    return body_->fixed2uint32(wordLength, fractionLength);
  }
  unsigned short fixed2uint16(int wordLength, int fractionLength) const {
    return body_->fixed2uint16(wordLength, fractionLength);
  }
  unsigned char fixed2uint8(int wordLength, int fractionLength) const {
    return body_->fixed2uint8(wordLength, fractionLength);
  }
  long long fixed2int64(int wordLength, int fractionLength) const {
    return body_->fixed2int64(wordLength, fractionLength);
  }
  int fixed2int32(int wordLength, int fractionLength) const {
    return body_->fixed2int32(wordLength, fractionLength);
  }
  short fixed2int16(int wordLength, int fractionLength) const {
    return body_->fixed2int16(wordLength, fractionLength);
  }
  signed char fixed2int8(int wordLength, int fractionLength) const {
    return body_->fixed2int8(wordLength, fractionLength);
  }

  void disp() const {
    if (body_) body_->disp();
  }

 private:
  bool hasBody(RepresentationTag kind) const { return body_ && body_->gettype() == kind; }
  /// The body, made where there is none: views of an empty vector follow when it grows.
  const numberrepbody* shareable() const;
  doublenumber* asDoubles() const { return static_cast<doublenumber*>(body_); }

  mutable numberrepbody* body_;
  unsigned emptyPrecision_ = kMaxDoublePrecision;  // of a vector without a body
};

}  // namespace embedded
