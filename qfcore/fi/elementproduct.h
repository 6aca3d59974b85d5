/// Products one element at a time: the meaning of multiplication.
#pragma once

#include <optional>

#include "qfcore/fi/fi.h"
#include "qfcore/fi/scratch.h"

namespace embedded {

/// scratch = quantized(x · y), exact before it is quantized where `scratch` has the bits of both.
number& quantizedProduct(number& scratch, const number& x, const number& y, const quantizer& q);

/// re + i·im = (ar + i·ai)(br + i·bi): four products through `products`, two sums through `sums`, which with
/// `cast` the products pass first. The result may be the first factor.
void complexProduct(const number& ar, const number& ai, const number& br, const number& bi,
                    const quantizer& products, const quantizer& sums, bool cast, number& scratch1,
                    number& scratch2, number& re, number& im);

/// Products of slope-bias values: of their exact real-world values, in the product's scaling.
class SlopeBiasProduct {
 public:
  SlopeBiasProduct(const NumericType& a, const NumericType& b, const NumericType& result);
  const number& operator()(const number& a, const number& b, const quantizer& q);

 private:
  RealWorldScaling a_, b_, result_;
  number left_, right_;
};

/// Products of elements of two arrays, with scratch values made once. The quantizers must outlive it.
class ElementProduct {
 public:
  ElementProduct(const fi& a, const fi& b, const quantizer& products, const quantizer& sums);
  /// The product of the elements at the cursors of the two arrays. `im` is written when one of them is complex.
  /// The result may be the first factor.
  void operator()(const fi& a, const fi& b, number& re, number& im);

 private:
  void form(const number& x, const number& y, number& result);

  const quantizer &products_, &sums_;
  bool cast_, isExact_;
  Scratch scratch1_, scratch2_;
  std::optional<SlopeBiasProduct> slopeBias_;
};

}  // namespace embedded
