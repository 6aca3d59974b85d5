/// Products of doubles in blocks, each rounded once into the product's type.
#pragma once

#include <cstddef>

#include "qfcore/fi/paths/blocks.h"

namespace embedded {

/// Multiplies blocks of real values and quantizes the products.
///
/// Words of up to 52 bits together have exact products. Those of longer words are formed exactly as a double
/// and its error, reduced to 50 bits by rounding to odd, and then quantized: the odd last bit stands for
/// everything below, so that every rounding rule decides as it would on the exact product. That leaves two bits
/// below the step of words of up to `kMaxRoundedWordLength` bits. Where the type wraps, a product far out of
/// range is first replaced by one nearer to it that wraps to the same value.
class ProductKernel {
 public:
  static constexpr int kMaxRoundedWordLength = 45;

  static bool applies(const fi& a, const fi& b, const quantizer& product);
  /// `product` must outlive the kernel.
  ProductKernel(const fi& a, const fi& b, const quantizer& product);
  void operator()(double* result, const double* a, bool aIsScalar, const double* b, bool bIsScalar,
                  std::size_t count) const;
  /// Whether products are those of the doubles, with nothing left to quantize: the product's word, which holds
  /// them all then, is short enough that doubles do.
  bool isPlain() const { return isExact_; }

 private:
  const quantizer& product_;
  bool isExact_, fitsDouble_, wraps_;
  double range_, inverseRange_;
};

/// Products of real or complex values; two complex factors need a sum of two products for each part, which are
/// brought into the sum's type first where the settings say so.
class BlockProduct {
 public:
  /// Whether the kernel may form the products of these operands.
  static bool applies(const fi& a, const fi& b, const quantizer& products, const quantizer& sums);
  /// The quantizers must outlive the kernel.
  BlockProduct(const fi& a, const fi& b, const quantizer& products, const quantizer& sums);
  /// At most `kBlock` products. `im` is null where both factors are real. The result may not overlap the
  /// factors.
  void operator()(double* re, double* im, const OperandParts& a, const OperandParts& b,
                  std::size_t count) const;

 private:
  template <class Operation>
  void combineProducts(double* result, Block& x, Block& y, std::size_t count, bool isExact) const;

  ProductKernel multiply_;
  const quantizer& sums_;
  bool castIsIdentity_, addIsExact_ = false, subtractIsExact_ = false, isPlain_ = false;
};

}  // namespace embedded
