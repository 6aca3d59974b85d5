/// The body behind a `number`: a vector of values in one representation, and a cursor that selects one of them.
#pragma once

#include <algorithm>
#include <limits>
#include <string>

#include "qfcore/number/errors.h"

namespace embedded {

class MpFloat;
class MpInteger;

/// Selects the constructors that make a whole vector.
struct NumberVector {};
/// Selects the constructors that make a vector whose values have no meaning until they are set.
struct Unset {};
/// Selects the constructors that make a view: storage shared with the source, an index of its own.
struct CopyIndex {};
/// Selects the constructors that make a reader: a view that the source knows nothing of, with an index of its
/// own. Nothing is written through it or viewed through it, and it must not outlive the source or its values.
/// Readers of one source may work in several threads at once.
struct Reading {};

/// Representation tags that `gettype` returns.
enum RepresentationTag : int { kDoubleRepresentation = 0, kMultiprecisionRepresentation = 1 };

/// Counts that all views of one vector share.
struct SharedCounts {
  unsigned count;
  unsigned precision;
  unsigned references = 1;
};

/// Abstract base of the bodies. Scalar operations read and write the element at the current index, which must
/// be below the count; nothing checks it. Operations that modify return the body itself.
///
/// Types are told as (isSigned, wordLength, slope, exponent, bias); slope and bias take no part, since bodies
/// hold values in units of the binary-point grid. Bit positions count from 1, the least significant bit, to
/// wordLength. Words are little-endian 32-bit words of a stored integer. A multiprecision `twoToWordLength` is
/// 2^wordLength.
class QFCORE_API numberrepbody {
 public:
  numberrepbody(const numberrepbody&) = delete;
  numberrepbody& operator=(const numberrepbody&) = delete;

  /// A new body, owned by the caller: a scalar holding the current element.
  virtual numberrepbody* clone() const = 0;
  /// Keeps the first min(old, new) values; new ones are zero. Every view follows. Raises
  /// "numforge:fi:outofmemory".
  virtual void resize(unsigned count) = 0;
  virtual ~numberrepbody() = default;
  // Asked for every element: final here, so that calls of them are inlined.
  virtual int gettype() const final { return representation_; }
  virtual bool isempty() const final { return numel() == 0; }
  virtual double todouble() const = 0;
  virtual numberrepbody& setvalue(double value) = 0;
  /// Takes the stored integer in `words`, times 2^-fractionLength.
  virtual numberrepbody& setvalue(const unsigned* words, int wordCount, bool isSigned, int wordLength,
                                  int fractionLength) = 0;
  /// Takes the stored integer in `words`, times 2^exponent.
  virtual numberrepbody& setvalue(const unsigned* words, int wordCount, bool isSigned, int wordLength,
                                  double slope, int exponent, double bias) = 0;
  /// -1, 0 or 1; 0 for NaN.
  virtual int sign() const = 0;
  virtual numberrepbody& negate() = 0;
  virtual numberrepbody& pow2(int exponent) = 0;
  virtual numberrepbody& abs() = 0;
  /// Becomes the stored integer: value * 2^-exponent, rounded half away from zero.
  virtual numberrepbody& stripscaling(double slope, int exponent, double bias) = 0;

  // Bit operations on the stored integer, in two forms: constants in 64 bits for double bodies, multiprecision
  // constants for multiprecision bodies. The form that is not the body's own raises an internal error.
  virtual numberrepbody& bitcmp(bool isSigned, int wordLength, double slope, int exponent, double bias,
                                unsigned long long twoToWordLength, unsigned long long xorMask) = 0;
  virtual numberrepbody& bitcmp(bool isSigned, int wordLength, double slope, int exponent, double bias,
                                const MpInteger& xorMask, const MpFloat& twoToWordLength) = 0;
  virtual numberrepbody& fibitand(const numberrepbody& other, bool isSigned, int wordLength, double slope,
                                  int exponent, double bias, unsigned long long twoToWordLength) = 0;
  virtual numberrepbody& fibitand(const numberrepbody& other, bool isSigned, int wordLength, double slope,
                                  int exponent, double bias, const MpFloat& twoToWordLength) = 0;
  virtual numberrepbody& fibitor(const numberrepbody& other, bool isSigned, int wordLength, double slope,
                                 int exponent, double bias, unsigned long long twoToWordLength) = 0;
  virtual numberrepbody& fibitor(const numberrepbody& other, bool isSigned, int wordLength, double slope,
                                 int exponent, double bias, const MpFloat& twoToWordLength) = 0;
  virtual numberrepbody& bitxor(const numberrepbody& other, bool isSigned, int wordLength, double slope,
                                int exponent, double bias, unsigned long long twoToWordLength) = 0;
  virtual numberrepbody& bitxor(const numberrepbody& other, bool isSigned, int wordLength, double slope,
                                int exponent, double bias, const MpFloat& twoToWordLength) = 0;
  /// Raises "numforge:fi:bitget:BITOutOfRange" unless 1 <= position <= wordLength.
  virtual bool bitget(int position, bool isSigned, int wordLength, double slope, int exponent, double bias,
                      unsigned long long twoToWordLength) const = 0;
  virtual bool bitget(int position, bool isSigned, int wordLength, double slope, int exponent, double bias,
                      const MpFloat& twoToWordLength) const = 0;
  /// Raises "numforge:fi:bitset:BITOutOfRange" unless 1 <= position <= wordLength.
  virtual numberrepbody& bitset(int position, bool value, bool isSigned, int wordLength, double slope,
                                int exponent, double bias, unsigned long long twoToWordLength) = 0;
  virtual numberrepbody& bitset(int position, bool value, bool isSigned, int wordLength, double slope,
                                int exponent, double bias, const MpFloat& twoToWordLength) = 0;

  /// Sorts along a dimension of `length` elements that stand `stride` apart; NaN counts as larger than all
  /// others.
  virtual void stridesort(bool ascending, unsigned stride, unsigned length) = 0;
  /// Sorts likewise and fills `index`, laid out like the values, with the positions from 1 that the sorted
  /// elements came from. Equal elements keep their order in both directions.
  virtual void stridesort2(double* index, bool ascending, unsigned stride, unsigned length) = 0;

  virtual bool isFinite() const = 0;
  virtual bool myisinf() const = 0;
  virtual bool iszero() const = 0;
  virtual bool isnegative() const = 0;
  /// floor(log2 |x|) of a nonzero finite value; -1 for every other.
  virtual int unbiasedexponent() const = 0;

  // Rounding to an integer, and to a multiple of 2^-fractionBits.
  virtual numberrepbody& ceil() = 0;
  virtual numberrepbody& ceil(int fractionBits) = 0;
  virtual numberrepbody& convergent() = 0;
  virtual numberrepbody& convergent(int fractionBits) = 0;
  virtual numberrepbody& fix() = 0;
  virtual numberrepbody& fix(int fractionBits) = 0;
  virtual numberrepbody& floor() = 0;
  virtual numberrepbody& floor(int fractionBits) = 0;
  virtual numberrepbody& nearest() = 0;
  virtual numberrepbody& nearest(int fractionBits) = 0;
  virtual numberrepbody& round() = 0;
  virtual numberrepbody& round(int fractionBits) = 0;

  /// Prints all values on the host's console.
  virtual void disp() const = 0;

  unsigned numel() const { return isWindow() ? windowNumel() : shared_->count; }
  /// Precision in bits that the vector was made with.
  unsigned precision() const { return shared_->precision; }
  bool sharesValuesWith(const numberrepbody& other) const { return shared_ == other.shared_; }
  unsigned getIndex() const { return index_ - first_; }
  void setIndex(unsigned index) const { index_ = first_ + index; }
  /// Makes a view one of `count` elements from `first` on, or of those of them that there are: its count,
  /// values and indices are then theirs. Such a view must not be resized.
  void narrow(unsigned first, unsigned count) {
    most_ = most_ <= first ? 0 : std::min(most_ - first, count);
    index_ = first_ += first;
  }

  // Operations whose operands may be of either kind: see `numberops`.
  numberrepbody& setvalue(const numberrepbody& other);
  numberrepbody& operator+=(const numberrepbody& other);
  numberrepbody& operator-=(const numberrepbody& other);
  numberrepbody& operator*=(const numberrepbody& other);
  numberrepbody& operator/=(const numberrepbody& other);
  bool operator==(const numberrepbody& other) const;
  bool operator!=(const numberrepbody& other) const;
  bool operator<(const numberrepbody& other) const;
  bool operator<=(const numberrepbody& other) const;
  bool operator>(const numberrepbody& other) const;
  bool operator>=(const numberrepbody& other) const;
  numberrepbody& mod(const numberrepbody& other);
  numberrepbody& hypot(const numberrepbody& a, const numberrepbody& b);

  bool base2float(const char* text, int base, int wordLength, int exponentLength);
  bool base2fixed(const char* text, int base, bool isSigned, int wordLength, double slope, int exponent,
                  double bias);
  std::string decimalText(int decimals) const;
  int fractionBits() const;
  std::string float2base(int base, int wordLength, int exponentLength) const;
  std::string fixed2base(int base, bool isSigned, int wordLength, double slope, int exponent,
                         double bias) const;
  std::string fixed2sdec(bool isSigned, int wordLength, double slope, int exponent, double bias) const;
  void fixed2IntArray(unsigned* words, int wordCount, int wordLength, double slope, int exponent, double bias,
                      const MpFloat& twoToWordLength) const;
  unsigned long long fixed2uint64(int wordLength, int fractionLength) const;
  unsigned fixed2uint32(int wordLength, int fractionLength) const;
  unsigned short fixed2uint16(int wordLength, int fractionLength) const;
  unsigned char fixed2uint8(int wordLength, int fractionLength) const;
  long long fixed2int64(int wordLength, int fractionLength) const;
  int fixed2int32(int wordLength, int fractionLength) const;
  short fixed2int16(int wordLength, int fractionLength) const;
  signed char fixed2int8(int wordLength, int fractionLength) const;

 protected:
  numberrepbody(RepresentationTag representation, SharedCounts* shared)
      : shared_(shared), representation_(representation) {}

  bool isWindow() const { return most_ != kAll; }
  /// Shares the elements of `source`, and sees the same of them.
  void seeAs(const numberrepbody& source) {
    index_ = first_ = source.first_;
    most_ = source.most_;
  }
  /// The same for a reader.
  numberrepbody(const numberrepbody& source, Reading)
      : shared_(source.shared_),
        index_(source.first_),
        representation_(source.representation_),
        isReader_(true),
        first_(source.first_),
        most_(source.most_) {}

  static constexpr unsigned kAll = std::numeric_limits<unsigned>::max();

  mutable SharedCounts* shared_;
  mutable unsigned index_ = 0;  // in the storage, as `first_`
  RepresentationTag representation_;
  bool isReader_ = false;
  unsigned first_ = 0, most_ = kAll;

 private:
  unsigned windowNumel() const {
    return first_ < shared_->count ? std::min(shared_->count - first_, most_) : 0;
  }
};

}  // namespace embedded
