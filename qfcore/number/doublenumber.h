/// The body that holds values as doubles: words of up to `kMaxDoublePrecision` bits.
#pragma once

#include <cassert>
#include <cstddef>

#include "qfcore/number/numberrepbody.h"
#include "tessel/threadend.h"

namespace embedded {

/// Real-world values in units of the binary-point grid. Exact as long as stored integers have at most 52 bits.
/// A single value that no view shares lives in the body itself; everything else in an array of the C allocator.
/// Constructors and `resize` raise "numforge:fi:outofmemory" and leave nothing behind.
class QFCORE_API doublenumber final : public numberrepbody {
 public:
  /// A scalar of precision 52.
  explicit doublenumber(double value);
  /// `count` zeros.
  doublenumber(unsigned count, unsigned precision, NumberVector);
  doublenumber(unsigned count, unsigned precision, Unset)
      : numberrepbody(kDoubleRepresentation, &own_), own_{{count, precision}, nullptr, {0}} {
    own_.values = count == 1 ? &own_.single : own_.room(count, false);
  }
  /// A deep copy of all values.
  doublenumber(const doublenumber* source, NumberVector);
  /// A view: shares storage, count and precision with `source`, sees what it sees; starts at index 0.
  doublenumber(const doublenumber* source, CopyIndex);
  /// A reader of what `source` sees, at index 0.
  doublenumber(const doublenumber* source, Reading);
  /// A scalar of the current element at precision 52; empty when `source` is.
  doublenumber(const doublenumber& source);
  doublenumber& operator=(const doublenumber&) = delete;
  ~doublenumber() override;
  /// One value: where there is one, a body that waited; see `drop`.
  static doublenumber* single(double value, unsigned precision) {
    // Here, for the ways of single values: a call would have them keep registers for its end.
    Waiting& list = Waiting::list;
    if (!list.first) return newSingle(value, precision);
    doublenumber* body = list.take();
    body->own_.single = value;
    body->own_.precision = precision;
    body->index_ = 0;
    return body;
  }
  /// Whether one waits, so that `single` does nothing but take it. Told always where none ever do.
  static bool isWaiting() { return Waiting::kMost == 0 || Waiting::list.first; }
  /// Deletes the body, or has it wait, as it is, for the thread's next single value: one is made and dropped
  /// for every temporary of a computation, and to make it anew would be most of its cost.
  static void drop(numberrepbody* body) noexcept;
  static void* operator new(std::size_t);
  static void operator delete(void* freed) noexcept;

  doublenumber* clone() const override;
  void resize(unsigned count) override;
  double todouble() const override;
  doublenumber& setvalue(double value) override;
  doublenumber& setvalue(const unsigned* words, int wordCount, bool isSigned, int wordLength,
                         int fractionLength) override;
  doublenumber& setvalue(const unsigned* words, int wordCount, bool isSigned, int wordLength, double slope,
                         int exponent, double bias) override;
  int sign() const override;
  doublenumber& negate() override;
  doublenumber& pow2(int exponent) override;
  doublenumber& abs() override;
  doublenumber& stripscaling(double slope, int exponent, double bias) override;
  doublenumber& bitcmp(bool isSigned, int wordLength, double slope, int exponent, double bias,
                       unsigned long long twoToWordLength, unsigned long long xorMask) override;
  doublenumber& bitcmp(bool isSigned, int wordLength, double slope, int exponent, double bias,
                       const MpInteger& xorMask, const MpFloat& twoToWordLength) override;
  doublenumber& fibitand(const numberrepbody& other, bool isSigned, int wordLength, double slope, int exponent,
                         double bias, unsigned long long twoToWordLength) override;
  doublenumber& fibitand(const numberrepbody& other, bool isSigned, int wordLength, double slope, int exponent,
                         double bias, const MpFloat& twoToWordLength) override;
  doublenumber& fibitor(const numberrepbody& other, bool isSigned, int wordLength, double slope, int exponent,
                        double bias, unsigned long long twoToWordLength) override;
  doublenumber& fibitor(const numberrepbody& other, bool isSigned, int wordLength, double slope, int exponent,
                        double bias, const MpFloat& twoToWordLength) override;
  doublenumber& bitxor(const numberrepbody& other, bool isSigned, int wordLength, double slope, int exponent,
                       double bias, unsigned long long twoToWordLength) override;
  doublenumber& bitxor(const numberrepbody& other, bool isSigned, int wordLength, double slope, int exponent,
                       double bias, const MpFloat& twoToWordLength) override;
  bool bitget(int position, bool isSigned, int wordLength, double slope, int exponent, double bias,
              unsigned long long twoToWordLength) const override;
  bool bitget(int position, bool isSigned, int wordLength, double slope, int exponent, double bias,
              const MpFloat& twoToWordLength) const override;
  doublenumber& bitset(int position, bool value, bool isSigned, int wordLength, double slope, int exponent,
                       double bias, unsigned long long twoToWordLength) override;
  doublenumber& bitset(int position, bool value, bool isSigned, int wordLength, double slope, int exponent,
                       double bias, const MpFloat& twoToWordLength) override;
  void stridesort(bool ascending, unsigned stride, unsigned length) override;
  void stridesort2(double* index, bool ascending, unsigned stride, unsigned length) override;

  bool isFinite() const override;
  bool myisinf() const override;
  bool iszero() const override;
  bool isnegative() const override;
  int unbiasedexponent() const override;
  doublenumber& ceil() override;
  doublenumber& ceil(int fractionBits) override;
  doublenumber& convergent() override;
  doublenumber& convergent(int fractionBits) override;
  doublenumber& fix() override;
  doublenumber& fix(int fractionBits) override;
  doublenumber& floor() override;
  doublenumber& floor(int fractionBits) override;
  doublenumber& nearest() override;
  doublenumber& nearest(int fractionBits) override;
  doublenumber& round() override;
  doublenumber& round(int fractionBits) override;
  void disp() const override;

  using numberrepbody::setvalue;

  /// True when the current element is not 0; so it is for NaN.
  bool notzero() const { return current() != 0; }
  doublenumber& numberpow2(int exponent) { return pow2(exponent); }
  doublenumber& numberceil() { return ceil(); }
  doublenumber& numberceil(int fractionBits) { return ceil(fractionBits); }
  doublenumber& numberconvergent() { return convergent(); }
  doublenumber& numberconvergent(int fractionBits) { return convergent(fractionBits); }
  doublenumber& numberfix() { return fix(); }
  doublenumber& numberfix(int fractionBits) { return fix(fractionBits); }
  doublenumber& numberfloor() { return floor(); }
  doublenumber& numberfloor(int fractionBits) { return floor(fractionBits); }
  doublenumber& numbernearest() { return nearest(); }
  doublenumber& numbernearest(int fractionBits) { return nearest(fractionBits); }
  doublenumber& numberround() { return round(); }
  doublenumber& numberround(int fractionBits) { return round(fractionBits); }

  /// 2^bits - 1, for 0 <= bits <= 63.
  static unsigned long long bitcmpXorMask(int bits) { return (1ULL << bits) - 1; }

  /// `x` truncated to an integer, modulo 2^64; 0 for infinities and NaN.
  static unsigned long long lowBits(double x);

  /// The current element becomes its remainder by other's current element.
  doublenumber& mod(const doublenumber& other);
  /// The current element becomes sqrt(a^2 + b^2); NaN when either is NaN.
  doublenumber& hypot(const doublenumber& a, const doublenumber& b);
  doublenumber& hypot(double a, double b);

  /// All values, contiguous; null when empty. Valid until `resize`, and until the first view of this body is
  /// made.
  double* values() { return storage().values ? storage().values + first_ : nullptr; }
  const double* values() const { return const_cast<doublenumber*>(this)->values(); }
  /// The first of them, where there is one and this is no view.
  double& onlyValue() {
    assert(numel() > 0);
    return *storage().values;
  }
  double& current() {
    assert(getIndex() < numel());
    return storage().values[index_];
  }
  double current() const { return const_cast<doublenumber*>(this)->current(); }

 private:
  struct Storage : SharedCounts {
    double* values;  // &single, or an array of the C allocator, or null when count is 0
    union {
      double single;
      doublenumber* nextWaiting;
    };
    double* room(unsigned forCount, bool zeroed);
    void free(double* room, unsigned forCount) noexcept;
  };
  Storage& storage() const { return *static_cast<Storage*>(shared_); }
  Storage* share() const;
  /// Bodies that wait in a thread, each a single value that nobody has.
  struct Waiting {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    static constexpr unsigned kMost = 0;  // the sanitizer finds misuse only of what is really freed
#else
    static constexpr unsigned kMost = 64;
#endif
    doublenumber* first;
    unsigned room;  // for more; none before the thread's end has been noted, and after it
    bool isOver;
    tessel::ThreadEnd atThreadEnd;

    doublenumber* take() {
      doublenumber* body = first;
      first = body->own_.nextWaiting;
      ++room;
      return body;
    }
    void keep(doublenumber* body) {
      body->own_.nextWaiting = first;
      first = body;
      --room;
    }
    bool makesRoom();
    static void freeAll();
    [[gnu::tls_model("initial-exec")]] static constinit thread_local Waiting list;
  };
  static doublenumber* newSingle(double value, unsigned precision);
  static void keepVector(doublenumber* body) noexcept;
  static void dropOther(numberrepbody* body) noexcept;
  /// The two's-complement pattern of the current element's stored integer.
  unsigned long long convertToUnsignedInteger(double slope, int exponent, double bias,
                                              unsigned long long twoToWordLength) const;
  doublenumber& storePattern(unsigned long long pattern, bool isNegative, int exponent,
                             unsigned long long twoToWordLength);
  template <class Combine>
  doublenumber& combineBits(const numberrepbody& other, bool isSigned, int wordLength, double slope,
                            int exponent, double bias, unsigned long long twoToWordLength, Combine combine);

  mutable Storage own_;  // in use until the first view is made
};

}  // namespace embedded
