/// Array paths over multiprecision values: no cursors, no choice of representation in the loop.
#pragma once

#include <cstddef>

#include "qfcore/fi/paths/path.h"
#include "qfcore/math/parallel.h"
#include "qfcore/number/mpvalue.h"
#include "qfcore/number/widevalues.h"

namespace embedded {

/// Makes the values of long words for which stored integers stand: what changes elements one after the other
/// then needs no memory once it has begun. Raises "numforge:fi:outofmemory".
inline void makeValues(const fi& x) {
  for (const number* part : {&x.realPart(), &x.imagPart()}) {
    const mpnumber* wide = part->isempty() ? nullptr : part->multiprecision();
    if (wide) wide->getelement(0);
  }
}

/// One part of an operand, an array or one value that stands for every element. A missing part is 0.
class WideOperand {
 public:
  WideOperand(const fi& x, const number& part)
      : values_(part.isempty() ? nullptr : part.multiprecision()),
        doubles_(part.isempty() ? nullptr : part.doubles()),
        isScalar_(x.isscalar()) {
    if (!values_) return;
    const bool isOne = isScalar_ || values_->numel() == 1;
    wide_ = {values_->getelement(0), values_->getelement(isOne ? 0 : 1)};
  }
  /// Whether there are values, and multiprecision ones.
  bool isWide() const { return values_ != nullptr; }
  const MpFloat& operator[](std::size_t k) const { return wide_[k]; }
  const WideValues<const MpFloat>& values() const { return wide_; }
  /// x becomes element k, exactly.
  void copyTo(MpFloat& x, unsigned k, unsigned bits) const {
    if (values_) {
      x.assign(wide_[k], bits);
    } else {
      x.assign(doubles_ ? doubles_[isScalar_ ? 0 : k] : 0.0, bits);
    }
  }

 private:
  const mpnumber* values_;
  WideValues<const MpFloat> wide_;
  const double* doubles_;
  bool isScalar_;
};

/// A scratch value beyond the double threshold, as a number for quantizers and as the value that it holds.
class WideScratch {
 public:
  explicit WideScratch(unsigned precision)
      : number_(0.0, precision, true),
        value_(number_.multiprecision()->getmodifiableelement()),
        bits_(value_.bits()) {}
  number& asNumber() { return number_; }
  MpFloat& operator*() { return value_; }
  void take(const WideOperand& operand, unsigned k) { operand.copyTo(value_, k, bits_); }

 private:
  number number_;
  MpFloat& value_;
  unsigned bits_;
};

/// result[k] = a[k] ∘ b[k] at the bits of the result's elements, where `Operation::apply(result, a, b)` rounds
/// once. All values are multiprecision.
template <class Operation>
void combineWide(number& result, const WideOperand& a, const WideOperand& b) {
  const unsigned count = result.numel();
  if (count == 0) return;
  mpnumber& results = *result.multiprecision();
  const WideValues<MpFloat> to(results.getmodifiableelement(0),
                               results.getmodifiableelement(count > 1 ? 1 : 0));
  const WideValues<const MpFloat> left = a.values(), right = b.values();
  shareLoop(count, kSharedWide, [=](std::size_t first, std::size_t size) {
    // Copies, which the loop can keep in registers.
    const WideValues<MpFloat> into = to;
    const WideValues<const MpFloat> x = left, y = right;
    for (std::size_t k = first; k < first + size; ++k) Operation::apply(into[k], x[k], y[k]);
  });
}

}  // namespace embedded
