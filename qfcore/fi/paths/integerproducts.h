/// Element-wise and matrix products over native integers.
#pragma once

#include <cstddef>
#include <optional>

#include "qfcore/fi/paths/integerblocks.h"
#include "tessel/interruption.h"

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

/// One factor in a block; `im` is null where it is real.
template <class Factor>
struct FactorBlock {
  const Factor *re, *im;
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
  void operator()(const FactorBlock<Factor>& a, const FactorBlock<Factor>& b, Stored* re, Stored* im,
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

/// Both parts of an operand as stored integers.
class IntegerOperands {
 public:
  explicit IntegerOperands(const fi& x) : re_(x, x.realPart()) {
    if (x.iscomplex()) im_.emplace(x, x.imagPart());
  }
  template <class Factor>
  struct Room {
    IntegerBlock<Factor> re, im;
  };
  template <class Factor>
  FactorBlock<Factor> read(Room<Factor>& room, std::size_t first, std::size_t count,
                           std::size_t stride = 1) const {
    re_.read(room.re.data(), first, count, stride);
    if (im_) im_->read(room.im.data(), first, count, stride);
    return {room.re.data(), im_ ? room.im.data() : nullptr};
  }

 private:
  IntegerOperand re_;
  std::optional<IntegerOperand> im_;
};

/// Which integers an operation takes for what it reads and for what it stores.
enum class IntegerSizes { None, Short, Mixed, Long };

template <class Visit>
void withIntegers(IntegerSizes sizes, Visit visit) {
  constexpr std::int64_t kShort = 0;
  constexpr Int128 kLong = 0;
  switch (sizes) {
    case IntegerSizes::None: return;
    case IntegerSizes::Short: return visit(kShort, kShort);
    case IntegerSizes::Mixed: return visit(kShort, kLong);
    case IntegerSizes::Long: return visit(kLong, kLong);
  }
}

/// The smallest for which `test(factor, stored)`, asked with a value of each, is true.
template <class Test>
IntegerSizes smallestIntegers(Test test) {
  for (const IntegerSizes sizes : {IntegerSizes::Short, IntegerSizes::Mixed, IntegerSizes::Long}) {
    bool fit = false;
    withIntegers(sizes, [&](auto factor, auto stored) { fit = test(factor, stored); });
    if (fit) return sizes;
  }
  return IntegerSizes::None;
}

inline IntegerSizes integersFor(const ProductRules& rules) {
  return smallestIntegers([&](auto factor, auto stored) {
    return IntegerProducts<decltype(factor), decltype(stored)>::fit(rules);
  });
}

/// Element-wise products.
inline void multiplyByIntegers(const ProductRules& rules, IntegerSizes sizes, fi& result) {
  withIntegers(sizes, [&](auto factor, auto stored) {
    using Factor = decltype(factor);
    using Stored = decltype(stored);
    IntegerProducts<Factor, Stored> multiply(rules);
    const IntegerOperands a(rules.a), b(rules.b);
    IntegerOperands::Room<Factor> left, right;
    IntegerBlock<Stored> re, im;
    const int fractionLength = result.getNumericType().fractionLength();
    for (std::size_t first = 0; first < result.numel(); first += kIntegerBlock) {
      const std::size_t size = std::min<std::size_t>(kIntegerBlock, result.numel() - first);
      multiply(a.read(left, first, size), b.read(right, first, size), re.data(), im.data(), size);
      writeIntegers(result.realPart(), first, re.data(), size, fractionLength);
      if (result.iscomplex()) writeIntegers(result.imagPart(), first, im.data(), size, fractionLength);
    }
    multiply.record();
  });
}

/// A matrix product in tiles of the result, whose elements sum their products in step.
template <class Factor, class Stored>
class IntegerTiles {
 public:
  IntegerTiles(const fi& a, const fi& b, fi& result)
      : a_(a), b_(b), result_(result), rows_(a.rows()), inner_(a.cols()), columns_(b.cols()) {}

  /// `addTerms(re, im, a, b, count)` adds products of two blocks of factors to sums, which start at 0; `im` is
  /// null where there are none.
  template <class AddTerms>
  void run(AddTerms addTerms) const {
    const std::size_t tileRows = std::min(rows_, kIntegerBlock);
    for (std::size_t row = 0; row < rows_; row += tileRows) {
      const std::size_t rows = std::min(tileRows, rows_ - row), tileColumns = kIntegerBlock / rows;
      for (std::size_t column = 0; column < columns_; column += tileColumns)
        sumTile(row, rows, column, std::min(tileColumns, columns_ - column), addTerms);
    }
  }

 private:
  using Room = IntegerOperands::Room<Factor>;

  template <class AddTerms>
  void sumTile(std::size_t row, std::size_t rows, std::size_t column, std::size_t columns,
               AddTerms& addTerms) const {
    IntegerBlock<Stored> re{}, im{};
    Room leftColumn, rightRow, left, right;
    const auto spreadLeft = [&](const Factor* from, Factor* to) {
      for (std::size_t j = 0; j < columns; ++j) std::copy_n(from, rows, to + j * rows);
    };
    const auto spreadRight = [&](const Factor* from, Factor* to) {
      for (std::size_t j = 0; j < columns; ++j) std::fill_n(to + j * rows, rows, from[j]);
    };
    for (std::size_t k = 0; k < inner_; ++k) {
      tessel::raiseIfInterrupted();
      FactorBlock<Factor> a = a_.read(leftColumn, k * rows_ + row, rows);
      if (columns > 1) a = spread(a, left, spreadLeft);
      const FactorBlock<Factor> b = b_.read(rightRow, column * inner_ + k, columns, inner_);
      addTerms(re.data(), result_.iscomplex() ? im.data() : nullptr, a, spread(b, right, spreadRight),
               rows * columns);
    }
    for (std::size_t j = 0; j < columns; ++j)
      write(&re[j * rows], &im[j * rows], (column + j) * rows_ + row, rows);
  }

  template <class Spread>
  static FactorBlock<Factor> spread(const FactorBlock<Factor>& from, Room& room, Spread spreadPart) {
    spreadPart(from.re, room.re.data());
    if (from.im) spreadPart(from.im, room.im.data());
    return {room.re.data(), from.im ? room.im.data() : nullptr};
  }

  void write(const Stored* re, const Stored* im, std::size_t place, std::size_t count) const {
    const int fractionLength = result_.getNumericType().fractionLength();
    writeIntegers(result_.realPart(), place, re, count, fractionLength);
    if (result_.iscomplex()) writeIntegers(result_.imagPart(), place, im, count, fractionLength);
  }

  IntegerOperands a_, b_;
  fi& result_;
  std::size_t rows_, inner_, columns_;
};

/// For matrix products of which each product and each sum passes its quantizer.
inline IntegerSizes integersFor(const ProductRules& rules, const NumericType& sum) {
  return smallestIntegers([&](auto factor, auto stored) {
    using Stored = decltype(stored);
    return IntegerProducts<decltype(factor), Stored>::fit(rules) &&
           exactness::integersHold(kBitsOf<Stored>, sum) &&
           IntegerSum<Stored>::fits(sum, rules.terms().numericType(), sum, rules.casts(), false);
  });
}

inline void multiplyMatricesByIntegers(const ProductRules& rules, const quantizer& accumulator,
                                       IntegerSizes sizes, fi& result) {
  withIntegers(sizes, [&](auto factor, auto stored) {
    using Factor = decltype(factor);
    using Stored = decltype(stored);
    IntegerProducts<Factor, Stored> multiply(rules);
    const NumericType& sum = accumulator.numericType();
    IntegerSum<Stored> addRe(sum, rules.terms().numericType(), accumulator, rules.casts(), false), addIm(addRe);
    IntegerTiles<Factor, Stored>(rules.a, rules.b, result)
        .run([&](Stored* re, Stored* im, const FactorBlock<Factor>& a, const FactorBlock<Factor>& b,
                 std::size_t count) {
          IntegerBlock<Stored> termRe, termIm;
          multiply(a, b, termRe.data(), termIm.data(), count);
          addRe.accumulate(re, termRe.data(), count);
          if (im) addIm.accumulate(im, termIm.data(), count);
        });
    multiply.record();
    addRe.record();
    addIm.record();
  });
}

/// For matrix products whose sums are values of `sum` on the grid of the products.
inline IntegerSizes integersForExact(const NumericType& a, const NumericType& b, const NumericType& sum) {
  if (exactness::fractionBits(sum) != exactness::fractionBits(a) + exactness::fractionBits(b))
    return IntegerSizes::None;
  return smallestIntegers([&](auto factor, auto stored) {
    constexpr int kFactorBits = kBitsOf<decltype(factor)>;
    return exactness::integersHold(kFactorBits, a) && exactness::integersHold(kFactorBits, b) &&
           exactness::integersHold(kBitsOf<decltype(stored)>, sum);
  });
}

inline void multiplyMatricesExactly(const fi& a, const fi& b, IntegerSizes sizes, fi& result) {
  withIntegers(sizes, [&](auto factor, auto stored) {
    using Factor = decltype(factor);
    using Stored = decltype(stored);
    const auto add = [](Stored* sums, const Factor* x, const Factor* y, std::size_t count) {
      for (std::size_t k = 0; k < count; ++k) sums[k] += Stored{x[k]} * y[k];
    };
    IntegerTiles<Factor, Stored>(a, b, result)
        .run([&](Stored* re, Stored* im, const FactorBlock<Factor>& x, const FactorBlock<Factor>& y,
                 std::size_t count) {
          add(re, x.re, y.re, count);
          if (x.im) add(im, x.im, y.re, count);
          if (y.im) add(im, x.re, y.im, count);
          if (!x.im || !y.im) return;
          for (std::size_t k = 0; k < count; ++k) re[k] -= Stored{x.im[k]} * y.im[k];
        });
  });
}

}  // namespace embedded
