/// Matrix products over native integers.
#pragma once

#include <array>
#include <cstddef>

#include "qfcore/fi/paths/integerproducts.h"
#include "qfcore/fi/paths/tiles.h"
#include "tessel/interruption.h"

namespace embedded {

/// A matrix product in tiles of the result, whose elements sum their products in step.
template <class Factor, class Stored>
class IntegerTiles {
 public:
  IntegerTiles(const fi& a, const fi& b, fi& result)
      : a_(a), b_(b), to_(result), rows_(a.rows()), inner_(a.cols()) {}

  /// `addTerms(re, im, a, b, count)` adds products of two blocks of factors to sums, which start at 0; `im` is
  /// null where there are none.
  template <class AddTerms>
  void run(const Tile& part, AddTerms addTerms) const {
    const std::size_t tileRows = std::min(part.rows, kIntegerBlock);
    for (std::size_t row = 0; row < part.rows; row += tileRows) {
      const std::size_t rows = std::min(tileRows, part.rows - row), tileColumns = kIntegerBlock / rows;
      for (std::size_t column = 0; column < part.columns; column += tileColumns) {
        sumTile(part.row + row, rows, part.column + column, std::min(tileColumns, part.columns - column),
                addTerms);
      }
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
      PartBlock<Factor> a = a_.read(leftColumn, k * rows_ + row, rows);
      if (columns > 1) a = spread(a, left, spreadLeft);
      const PartBlock<Factor> b = b_.read(rightRow, column * inner_ + k, columns, inner_);
      addTerms(re.data(), to_.isComplex() ? im.data() : nullptr, a, spread(b, right, spreadRight),
               rows * columns);
    }
    for (std::size_t j = 0; j < columns; ++j)
      to_.write((column + j) * rows_ + row, &re[j * rows], &im[j * rows], rows);
  }

  template <class Spread>
  static PartBlock<Factor> spread(const PartBlock<Factor>& from, Room& room, Spread spreadPart) {
    spreadPart(from.re, room.re.data());
    if (from.im) spreadPart(from.im, room.im.data());
    return {room.re.data(), from.im ? room.im.data() : nullptr};
  }

  IntegerOperands a_, b_;
  IntegerResult to_;
  std::size_t rows_, inner_;
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
    const IntegerTiles<Factor, Stored> tiles(rules.a, rules.b, result);
    const auto form = [&](const Tile& tile, const auto& own) {
      const ProductRules used{rules.a, rules.b, *own[0], *own[1]};
      IntegerProducts<Factor, Stored> multiply(used);
      const NumericType& sum = accumulator.numericType();
      IntegerSum<Stored> addRe(sum, used.terms().numericType(), *own[2], used.casts(), false),
          addIm(sum, used.terms().numericType(), *own[2], used.casts(), false);
      tiles.run(tile, [&](Stored* re, Stored* im, const PartBlock<Factor>& a, const PartBlock<Factor>& b,
                          std::size_t count) {
        IntegerBlock<Stored> termRe, termIm;
        multiply(a, b, termRe.data(), termIm.data(), count);
        addRe.accumulate(re, termRe.data(), count);
        if (im) addIm.accumulate(im, termIm.data(), count);
      });
      multiply.record();
      addRe.record();
      addIm.record();
    };
    shareTiles(rules.a.rows(), rules.b.cols(), rules.a.cols(), kSharedRounded, form,
               std::array{&rules.products, &rules.productSums, &accumulator});
  });
}

/// Where `integersForExact` of the sums has told the sizes.
inline void multiplyMatricesExactly(const fi& a, const fi& b, IntegerSizes sizes, fi& result) {
  withIntegers(sizes, [&](auto factor, auto stored) {
    using Factor = decltype(factor);
    using Stored = decltype(stored);
    const auto add = [](Stored* sums, const Factor* x, const Factor* y, std::size_t count) {
      for (std::size_t k = 0; k < count; ++k) sums[k] += Stored{x[k]} * y[k];
    };
    const auto addTerms = [&](Stored* re, Stored* im, const PartBlock<Factor>& x, const PartBlock<Factor>& y,
                              std::size_t count) {
      add(re, x.re, y.re, count);
      if (x.im) add(im, x.im, y.re, count);
      if (y.im) add(im, x.re, y.im, count);
      if (!x.im || !y.im) return;
      for (std::size_t k = 0; k < count; ++k) re[k] -= Stored{x.im[k]} * y.im[k];
    };
    const IntegerTiles<Factor, Stored> tiles(a, b, result);
    shareTiles(a.rows(), b.cols(), a.cols(), kSharedRounded,
               [&](const Tile& tile) { tiles.run(tile, addTerms); });
  });
}

}  // namespace embedded
