/// How many bits scratch values need so that a quantizer is the first to round, and values on their way between
/// scalings.
#pragma once

#include "qfcore/fi/fi.h"

namespace embedded {

/// A scratch value of that many bits, multiprecision where the number layer's default forces it.
class Scratch : public number {
 public:
  explicit Scratch(unsigned precision) : number(0.0, precision, getDefaultForceMultiplePrecision()) {}
  using number::operator=;
};

/// Both operands of a sum, the register's values, and where nothing is cast first the exact sum.
unsigned sumPrecision(const NumericType& a, const NumericType& b, const NumericType& result,
                      bool castBeforeSum);

/// The exact product of two words, and the register's values.
unsigned productPrecision(const NumericType& a, const NumericType& b, const NumericType& product);

/// The same for arrays, and for two complex ones the sum of two products besides.
unsigned productPrecision(const fi& a, const fi& b, const NumericType& product, const NumericType& sum);

/// The values that a number may take: multiples of 2^lowest, in magnitude below 2^highest.
struct BitRange {
  long lowest, highest;

  static BitRange of(double value);
  static BitRange ofHeld(const NumericType& type);
  static BitRange ofRealWorld(const NumericType& type);
  BitRange operator*(const BitRange& other) const { return {lowest + other.lowest, highest + other.highest}; }
  BitRange operator+(const BitRange& other) const;
  /// Bits that hold every one of them, as far as scratch values reach.
  unsigned bits() const;
};

/// Between held and real-world values of one type; does nothing for types that are not slope-bias. Exact as far
/// as the value's bits reach; `heldPrecision` says how far they should.
class RealWorldScaling {
 public:
  explicit RealWorldScaling(const NumericType& type);
  void fromHeld(number& value) const;
  void toHeld(number& value) const;
  /// Bits of a real-world value of range `values` that is to become a held value of this type: the division by
  /// the slope adjustment factor then errs too little to move the quotient onto, or past, half a step of the
  /// grid.
  unsigned heldPrecision(const BitRange& values) const;

 private:
  bool isSlopeBias_;
  BitRange factorRange_, biasRange_;
  long halfStep_;
  number factor_, bias_;
};

}  // namespace embedded
