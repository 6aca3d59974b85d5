/// Matrix products of real doubles whose products and sums are rounded one after the other, in tiles whose sums
/// stay in registers.
#pragma once

#include <cstddef>

#include "qfcore/fi/paths/tiles.h"
#include "qfcore/math/quantizerrules.h"

namespace embedded {

class MatrixTiles {
 public:
  /// Whether tiles give sums of type `sum` of products of type `product` as quantizers do that record nothing:
  /// products are exact before they are rounded, every rounded one is a value of `sum`, and sums need nothing
  /// but to be brought into range.
  static bool apply(const EmbeddedTypeSystem::NumericType& a, const EmbeddedTypeSystem::NumericType& b,
                    const EmbeddedTypeSystem::NumericType& product, const EmbeddedTypeSystem::NumericType& sum);

  /// Column-major: `rows` are those of the first factor and of the result, `inner` those of the second factor.
  struct Matrices {
    const double *a, *b;
    double* result;
    std::size_t rows, inner;
  };
  /// `productsFit` tells that no rounded product is out of range. The rules must outlive this.
  MatrixTiles(const Matrices& matrices, const QuantizerRules& products, const QuantizerRules& sums,
              bool productsFit)
      : matrices_(matrices),
        products_(products.format),
        sums_(sums.format),
        kernels_(kernelsFor(products.settings, productsFit)) {}
  /// Forms a part of the result; all rows of it where these are at most `kLanes`.
  void run(const Tile& part) const;

  /// Sums of neighbouring rows, as many as the widest vector has; and columns of such sums that are formed
  /// together, so that none waits for its last addition.
  static constexpr std::size_t kLanes = 8, kColumns = 4;
  using Sums = double[kColumns][kLanes];
  /// The factors of each column of sums: so many rows of the first matrix by one element of the second.
  struct Factors {
    const double *left[kColumns], *right[kColumns];
  };

 private:
  using FewRows = void (*)(const DoubleFormat& products, const DoubleFormat& sums, const double* a,
                           const double* b, std::size_t inner, std::size_t columns, double* result);
  struct Kernels {
    void (*ofTile)(const DoubleFormat& products, const DoubleFormat& sums, const Factors& factors,
                   std::size_t depth, bool isFirst, Sums& totals);
    /// Of half as many rows as there are lanes, and of as many.
    FewRows ofFewRows[2];
  };
  template <class Rounding, class Overflow, bool Wraps>
  static const Kernels kKernels;
  static const Kernels& kernelsFor(const QuantizerSettings& settings, bool productsFit);
  /// Of all rows, whose count has a kernel, by a second matrix that goes through the cache once.
  void runFewRows(const Tile& part, FewRows multiply) const;
  /// Of all rows, filled up to the next such count.
  void runPadded(const Tile& part) const;
  void runStrips(const Tile& part) const;
  void addProducts(const Tile& part, std::size_t first, std::size_t depth, const double* strips) const;

  Matrices matrices_;
  const DoubleFormat &products_, &sums_;
  const Kernels& kernels_;
};

}  // namespace embedded
