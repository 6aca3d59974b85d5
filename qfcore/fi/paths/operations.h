/// The operations of arithmetic, for loops that are written once for all of them.
#pragma once

#include "qfcore/fi/fi.h"
#include "qfcore/number/mpvalue.h"
#include "qfcore/number/number.h"

namespace embedded {

// Of doubles; in place, of numbers; and into a multiprecision value, which rounds once.

struct Add {
  static constexpr const char* kName = "plus";
  static constexpr auto kKind = ArrayFormat::Operation::Sum;
  static constexpr bool kSubtracts = false;
  static double apply(double a, double b) { return a + b; }
  static void apply(number& a, const number& b) { a += b; }
  static void apply(MpFloat& sum, const MpFloat& a, const MpFloat& b) { sum.setSum(a, b); }
};

struct Subtract {
  static constexpr const char* kName = "minus";
  static constexpr auto kKind = ArrayFormat::Operation::Difference;
  static constexpr bool kSubtracts = true;
  static double apply(double a, double b) { return a - b; }
  static void apply(number& a, const number& b) { a -= b; }
  static void apply(MpFloat& difference, const MpFloat& a, const MpFloat& b) { difference.setDifference(a, b); }
};

struct Multiply {
  static double apply(double a, double b) { return a * b; }
  static void apply(MpFloat& product, const MpFloat& a, const MpFloat& b) { product.setProduct(a, b); }
};

}  // namespace embedded
