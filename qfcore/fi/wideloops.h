/// Array paths over multiprecision values: no cursors, no choice of representation in the loop.
#pragma once

#include "qfcore/fi/fi.h"
#include "qfcore/number/mpvalue.h"

namespace embedded {

/// Whether loops may run over the multiprecision values of an array.
inline bool areWide(const fi& x) {
  return x.realPart().gettype() == kMultiprecisionRepresentation && !fi::elementPathOnly();
}

/// One part of an operand, an array or one value that stands for every element; of a view, its own part. A
/// missing part is 0.
class WideOperand {
 public:
  /// Moves the cursor.
  WideOperand(const fi& x, const number& part)
      : values_(part.isempty() ? nullptr : part.multiprecision()),
        doubles_(part.isempty() ? nullptr : part.doubles()),
        isScalar_(x.isscalar()) {
    x.setIndex(0);
    first_ = part.getIndex();
  }
  /// Whether there are values, and multiprecision ones.
  bool isWide() const { return values_ != nullptr; }
  const MpFloat& operator[](unsigned k) const { return values_->getelement(place(k)); }
  /// x becomes element k, exactly.
  void copyTo(MpFloat& x, unsigned k, unsigned bits) const {
    if (values_) {
      x.assign((*this)[k], bits);
    } else {
      x.assign(doubles_ ? doubles_[place(k)] : 0.0, bits);
    }
  }

 private:
  unsigned place(unsigned k) const { return isScalar_ ? first_ : first_ + k; }

  const mpnumber* values_;
  const double* doubles_;
  unsigned first_ = 0;
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
/// once. Returns false, having done nothing, unless all values are multiprecision.
template <class Operation>
bool combineWide(number& result, const WideOperand& a, const WideOperand& b) {
  mpnumber* results = result.multiprecision();
  if (!results || !a.isWide() || !b.isWide()) return false;
  for (unsigned k = 0; k < result.numel(); ++k) Operation::apply(results->getmodifiableelement(k), a[k], b[k]);
  return true;
}

}  // namespace embedded
