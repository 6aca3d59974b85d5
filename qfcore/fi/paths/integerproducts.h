/// Element-wise and matrix products over native integers.
#pragma once

#include <array>
#include <cstddef>
#include <optional>

#include "qfcore/fi/paths/integerblocks.h"

namespace embedded {

/// The types and settings of a product: its factors, and the quantizers of products and of the sums of two of
/// them that complex factors need.
struct ProductRules {
  const fi &a, &b;
  const quantizer &products, &productSums;

  bool bothComplex() const { return a.iscomplex() && b.iscomplex(); }
  bool casts() const { return a.getFimath().castBeforeSum(); }
  /// The quantizer that terms of a matrix product have passed last.
  const quantizer& terms() const { return bothComplex() ? productSums : products; }
};

/// Quantized products of real or complex factors.
template <class Factor, class Stored>
class IntegerProducts {
 public:
  static bool fit(const ProductRules& rules) {
    const NumericType &a = rules.a.getNumericType(), &b = rules.b.getNumericType(),
                      &product = rules.products.numericType(), &sum = rules.productSums.numericType();
    if (!exactness::integersHold(kBitsOf<Factor>, a) || !exactness::integersHold(kBitsOf<Factor>, b) ||
        !exactness::integersHold(kBitsOf<Stored>, product) ||
        !IntegerProduct<Factor, Stored>::fits(a, b, product)) {
      return false;
    }
    return !rules.bothComplex() || (exactness::integersHold(kBitsOf<Stored>, sum) &&
                                    IntegerSum<Stored>::fits(product, product, sum, rules.casts(), true) &&
                                    IntegerSum<Stored>::fits(product, product, sum, rules.casts(), false));
  }
  explicit IntegerProducts(const ProductRules& rules)
      : multiply_(rules.a.getNumericType(), rules.b.getNumericType(), rules.products) {
    if (!rules.bothComplex()) return;
    const NumericType& product = rules.products.numericType();
    subtract_.emplace(product, product, rules.productSums, rules.casts(), true);
    add_.emplace(product, product, rules.productSums, rules.casts(), false);
  }

  /// At most a block. `im` is null where both factors are real.
  void operator()(const PartBlock<Factor>& a, const PartBlock<Factor>& b, Stored* re, Stored* im,
                  std::size_t count) {
    if (!a.im || !b.im) {
      multiply_(a.re, b.re, re, count);
      if (a.im) multiply_(a.im, b.re, im, count);
      if (b.im) multiply_(a.re, b.im, im, count);
      return;
    }
    IntegerBlock<Stored> x, y;
    multiply_(a.re, b.re, x.data(), count);
    multiply_(a.im, b.im, y.data(), count);
    (*subtract_)(x.data(), y.data(), re, count);
    multiply_(a.im, b.re, x.data(), count);
    multiply_(a.re, b.im, y.data(), count);
    (*add_)(x.data(), y.data(), im, count);
  }
  void record() const {
    multiply_.record();
    if (subtract_) subtract_->record();
    if (add_) add_->record();
  }

 private:
  IntegerProduct<Factor, Stored> multiply_;
  std::optional<IntegerSum<Stored>> subtract_, add_;
};

/// For element-wise products.
inline IntegerSizes integersFor(const ProductRules& rules) {
  return smallestIntegers([&](auto factor, auto stored) {
    return IntegerProducts<decltype(factor), decltype(stored)>::fit(rules);
  });
}

// The functions below stay out of their callers, whose frames would grow by the blocks also for scalars.

[[gnu::noinline]] inline void multiplyByIntegers(const ProductRules& rules, IntegerSizes sizes, fi& result) {
  withIntegers(sizes, [&](auto factor, auto stored) {
    using Factor = decltype(factor);
    using Stored = decltype(stored);
    const IntegerOperands a(rules.a), b(rules.b);
    const IntegerResult to(result);
    const auto multiplyRange = [&](std::size_t begin, std::size_t count, const auto& own) {
      IntegerProducts<Factor, Stored> multiply({rules.a, rules.b, *own[0], *own[1]});
      IntegerOperands::Room<Factor> left, right;
      IntegerBlock<Stored> re, im;
      forEachIntegerBlock(begin, count, [&](std::size_t first, std::size_t size) {
        multiply(a.read(left, first, size), b.read(right, first, size), re.data(), im.data(), size);
        to.write(first, re.data(), im.data(), size);
      });
      multiply.record();
    };
    shareLoop(result.numel(), kSharedIntegers, std::array{&rules.products, &rules.productSums}, multiplyRange);
  });
}

/// For products, or sums of them, that are values of `result`.
inline IntegerSizes integersForExact(const NumericType& a, const NumericType& b, const NumericType& result) {
  if (exactness::fractionBits(result) != exactness::fractionBits(a) + exactness::fractionBits(b))
    return IntegerSizes::None;
  return smallestIntegers([&](auto factor, auto stored) {
    constexpr int kFactorBits = kBitsOf<decltype(factor)>;
    return exactness::integersHold(kFactorBits, a) && exactness::integersHold(kFactorBits, b) &&
           exactness::integersHold(kBitsOf<decltype(stored)>, result);
  });
}

/// Exact products, of which at most one factor is complex.
[[gnu::noinline]] inline void multiplyExactlyByIntegers(const fi& x, const fi& y, IntegerSizes sizes,
                                                        fi& result) {
  withIntegers(sizes, [&](auto factor, auto stored) {
    using Factor = decltype(factor);
    using Stored = decltype(stored);
    const IntegerOperands a(x), b(y);
    const IntegerResult to(result);
    const auto multiply = [](const Factor* u, const Factor* v, Stored* products, std::size_t count) {
      for (std::size_t k = 0; k < count; ++k) products[k] = Stored{u[k]} * v[k];
    };
    shareLoop(result.numel(), kSharedIntegers, [&](std::size_t begin, std::size_t length) {
      IntegerOperands::Room<Factor> left, right;
      IntegerBlock<Stored> re, im;
      forEachIntegerBlock(begin, length, [&](std::size_t first, std::size_t size) {
        const PartBlock<Factor> u = a.read(left, first, size), v = b.read(right, first, size);
        multiply(u.re, v.re, re.data(), size);
        if (to.isComplex()) multiply(u.im ? u.im : u.re, v.im ? v.im : v.re, im.data(), size);
        to.write(first, re.data(), im.data(), size);
      });
    });
  });
}

}  // namespace embedded
