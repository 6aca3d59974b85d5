/// Elements put elsewhere: shapes, transposition, diagonals, matrices of constant diagonals.
#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "qfcore/fi/fi.h"
#include "qfcore/fi/lastones.h"
#include "qfcore/fi/messages.h"
#include "qfcore/fi/positionmap.h"
#include "qfcore/number/messages.h"
#include "tessel/arrangement.h"
#include "tessel/interpreter.h"
#include "tessel/messages.h"

namespace embedded {

namespace {

constexpr Message kSizesNotDouble{"numforge:fi:reshape:siz_not_double",
                                  "FI_RESHAPE expecting DOUBLE for the SIZ vector."};
constexpr Message kBadSizes{
    "numforge:fi:reshape:badsize",
    "The SIZ vector must have at least two elements, all of them non-negative integers."};
constexpr Message kCountChanges{"numforge:fi:reshape:numel", "The number of elements must not change."};
constexpr Message kTransposeND{"numforge:fi:transpose:NDArray", "Transpose on ND array is not defined."};
constexpr Message kCtransposeND{"numforge:fi:ctranspose:NDArray", "Transpose on ND array is not defined."};
constexpr Message kBadDiagonal{"numforge:fi:diag:kthDiagInputNotInteger",
                               "K-th diagonal input must be an integer scalar."};
constexpr Message kDiagNot2D{"numforge:fi:diag:firstInputMustBe2D", "First input must be 2D."};
constexpr Message kTrilNot2D{"numforge:fi:tril:firstInputMustBe2D", "First input must be 2D."};
constexpr Message kToeplitzEmpty{"numforge:fi:toeplitz:emptynotallowed",
                                 "Empty input not allowed in function '%s'."};
constexpr Message kHankelEmpty{"numforge:fi:hankel:emptynotallowed",
                               "Empty input not allowed in function '%s'."};
constexpr Message kDiagonalConflict{
    "numforge:fi:toeplitz:DiagonalConflict",
    "First element of input column does not match first element of input row. \n"
    "         Column wins diagonal conflict."};
constexpr Message kAntiDiagonalConflict{
    "Tessel:hankel:AntiDiagonalConflict",
    "Last element of input column does not match first element of input row. \n"
    "         Column wins anti-diagonal conflict."};

/// A diagonal's number; beyond these bounds no array has one.
std::ptrdiff_t diagonalNumber(double k) {
  constexpr double kBeyond = 4294967296.0;
  if (!(k == std::floor(k)) || std::isinf(k)) fail<kBadDiagonal>();
  return static_cast<std::ptrdiff_t>(std::clamp(k, -kBeyond, kBeyond));
}

/// Both arrays in tiles that stay in the cache.
void transposeDoubles(const double* from, double* to, std::size_t rows, std::size_t columns) {
  constexpr std::size_t kTile = 16;
  for (std::size_t c0 = 0; c0 < columns; c0 += kTile) {
    for (std::size_t r0 = 0; r0 < rows; r0 += kTile) {
      for (std::size_t c = c0; c < std::min(c0 + kTile, columns); ++c) {
        for (std::size_t r = r0; r < std::min(r0 + kTile, rows); ++r) to[r * columns + c] = from[c * rows + r];
      }
    }
  }
}

/// Whether element `i` of `a` and element `j` of `b` are different values.
bool differ(const fi& a, unsigned i, const fi& b, unsigned j) {
  const fi left(a, CopyElement{}, i), right(b, CopyElement{}, j);
  if (a.getNumericType().isSlopeBias() || b.getNumericType().isSlopeBias()) {
    return left.realWorldReal() != right.realWorldReal() || left.realWorldImag() != right.realWorldImag();
  }
  const auto imagOf = [](const fi& x) {
    return x.iscomplex() ? x.imagPart() : number(0.0, x.realPart().getprecision(), false);
  };
  return left.realPart() != right.realPart() || imagOf(left) != imagOf(right);
}

}  // namespace

// ------------------------------------------------------------------------------------------------------ shapes

fi fi::detached() const {
  fi result = unset(dims_, iscomplex());
  copyElements(result, ElementVisit::from(0), ElementVisit::from(0), numel_);
  return result;
}

fi fi::reshape(const HostArray& sizes) const {
  if (sizes.arrayClass() != tessel::ArrayClass::Double) fail<kSizesNotDouble>();
  Shape dims;
  double count = 1;
  for (std::size_t d = 0; d < sizes.numel(); ++d) {
    const double size = sizes.realAt(d);
    if (!(size >= 0 && size < 4294967296.0) || size != std::floor(size)) fail<kBadSizes>();
    dims.push_back(static_cast<unsigned>(size));
    count *= size;
  }
  if (dims.size() < 2 || sizes.isComplex()) fail<kBadSizes>();
  if (count != numel_) fail<kCountChanges>();
  dims = withoutLastOnes(std::move(dims));
  fi result(*this);
  result.copyDimensions(dims.data(), static_cast<unsigned>(dims.size()));
  return result;
}

fi fi::squeeze() const {
  Shape dims = dims_;
  if (dims.size() > 2) {
    dims.erase(std::remove(dims.begin(), dims.end(), 1U), dims.end());
    const bool isRow = dims.size() == 1 && dims_[0] == 1 && dims_[1] != 1;
    if (isRow) dims.insert(dims.begin(), 1U);
    dims.resize(std::max<std::size_t>(dims.size(), 2), 1U);
  }
  fi result = unset(dims, iscomplex());
  copyElements(result, ElementVisit::from(0), ElementVisit::from(0), numel_);
  return result;
}

fi fi::rearrangedBy(const char* name, tessel::Arrays arguments) const {
  arguments.insert(arguments.begin(), positionMap(dims_));
  const HostArray positions = tessel::callBuiltin(name, std::move(arguments)).at(0);
  std::vector<unsigned> indices(positions.numel());
  std::transform(
      positions.real<double>(), positions.real<double>() + indices.size(), indices.begin(),
      [](double position) { return position == 0 ? kNoElement : static_cast<unsigned>(position - 1); });
  return rearranged(shapeOf(positions), indices);
}

/// Elements put where the arrangements of matrices want them.
struct fi::Arranging {
  /// The matrix that takes elements of this array by the rule of an arrangement.
  template <class Arrangement>
  static fi assembled(const fi& x, const Arrangement& rule) {
    static_assert(static_cast<unsigned>(tessel::kNoElement) == kNoElement);
    if (std::max(rule.rows, rule.columns) > std::numeric_limits<unsigned>::max()) fail<message::outOfMemory>();
    const auto rows = static_cast<unsigned>(rule.rows), columns = static_cast<unsigned>(rule.columns);
    fi result = x.blank({rows, columns}, x.iscomplex());
    std::vector<unsigned> column(rows);
    for (unsigned c = 0; c < columns; ++c) {
      for (unsigned r = 0; r < rows; ++r) column[r] = static_cast<unsigned>(rule.source(r, c));
      x.copyElements(result, ElementVisit::from(c * rows), column, rows);
    }
    return result;
  }

  static fi transposed(const fi& x) {
    fi result = x.unset({x.cols_, x.rows_}, x.iscomplex());
    if (x.isvector()) {
      x.copyElements(result, ElementVisit::from(0), ElementVisit::from(0), x.numel_);
    } else if (double* to = result.realPart_.doubles(); to && x.realPart_.doubles()) {
      transposeDoubles(x.realPart_.doubles(), to, x.rows_, x.cols_);
      if (x.iscomplex()) transposeDoubles(x.imagPart_.doubles(), result.imagPart_.doubles(), x.rows_, x.cols_);
    } else {
      std::vector<unsigned> row(x.cols_);
      for (unsigned r = 0; r < x.rows_; ++r) {
        for (unsigned c = 0; c < x.cols_; ++c) row[c] = c * x.rows_ + r;
        x.copyElements(result, ElementVisit::from(r * x.cols_), row, x.cols_);
      }
    }
    return result;
  }
};

namespace {

/// Negates the imaginary parts and brings them into the type; logs nothing.
void conjugate(fi& x) {
  if (x.isreal()) return;
  number& part = x.imagPart();
  if (double* values = part.doubles()) {
    for (unsigned k = 0; k < x.numel(); ++k) values[k] = 0.0 - values[k];
  } else {
    for (unsigned k = 0; k < x.numel(); ++k) {
      if (!part[k].iszero()) part.negate();
    }
  }
  // What this quantizer records goes with it: nothing is logged.
  const quantizer silent(x.getAssignmentQuantizer());
  silent.quantizeAll(part);
}

}  // namespace

fi fi::transpose() const {
  if (numDims() > 2) fail<kTransposeND>();
  return Arranging::transposed(*this);
}

fi fi::ctranspose() const {
  if (numDims() > 2) fail<kCtransposeND>();
  if (iscomplex() && isSlopeBias()) fail<message::complexSlopeBias>("ctranspose");
  fi result = Arranging::transposed(*this);
  conjugate(result);
  return result;
}

// ------------------------------------------------------------------------------------- diagonals and triangles

fi fi::diag(double k) const {
  const std::ptrdiff_t diagonal = diagonalNumber(k);
  if (numDims() > 2) fail<kDiagNot2D>();
  return isvector() ? Arranging::assembled(*this, tessel::matrixOfDiagonal(numel_, diagonal))
                    : Arranging::assembled(*this, tessel::diagonalOf(rows_, cols_, diagonal));
}

fi fi::tril(double k) const {
  if (numDims() > 2) fail<kTrilNot2D>();
  return Arranging::assembled(*this,
                              tessel::lowerTriangle(rows_, cols_, static_cast<double>(diagonalNumber(k))));
}

// Reports its errors under the names of `tril` and `diag`; users know them so.
fi fi::triu(double k) const {
  if (numDims() > 2) fail<kTrilNot2D>();
  return Arranging::assembled(*this,
                              tessel::upperTriangle(rows_, cols_, static_cast<double>(diagonalNumber(k))));
}

// ------------------------------------------------------------------------------------------ constant diagonals

fi fi::toeplitz() const {
  if (isempty()) fail<kToeplitzEmpty>("toeplitz");
  if (iscomplex() && isSlopeBias()) fail<message::complexSlopeBias>("toeplitz(c)");
  fi row(*this);
  conjugate(row);
  return Arranging::assembled(pooled("toeplitz", *this, {this, &row}),
                              tessel::constantDiagonals(numel_, numel_, true));
}

fi fi::toeplitz(const fi& row) const {
  if (isempty() || row.isempty()) fail<kToeplitzEmpty>("toeplitz");
  if (differ(*this, 0, row, 0)) tessel::warn(kDiagonalConflict.identifier, kDiagonalConflict.text);
  return Arranging::assembled(pooled("toeplitz", *this, {this, &row}),
                              tessel::constantDiagonals(numel_, row.numel_, true));
}

fi fi::hankel() const {
  if (isempty()) fail<kHankelEmpty>("hankel");
  return Arranging::assembled(*this, tessel::constantAntiDiagonals(numel_, numel_, false));
}

fi fi::hankel(const fi& row) const {
  if (isempty() || row.isempty()) fail<kHankelEmpty>("hankel");
  if (differ(*this, numel_ - 1, row, 0))
    tessel::warn(kAntiDiagonalConflict.identifier, kAntiDiagonalConflict.text);
  return Arranging::assembled(pooled("hankel", *this, {this, &row}),
                              tessel::constantAntiDiagonals(numel_, row.numel_, true));
}

}  // namespace embedded
