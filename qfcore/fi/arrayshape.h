/// The sizes of an array, and what can be asked of them alone.
#pragma once

#include <algorithm>
#include <limits>
#include <utility>

#include <boost/container/small_vector.hpp>

#include "qfcore/number/errors.h"
#include "tessel/array.h"

namespace embedded {

/// Sizes by dimension, at least two of them, and the counts that follow.
class QFCORE_API ArrayShape {
 public:
  using Shape = boost::container::small_vector<unsigned, 4>;

  const Shape& dims() const { return dims_; }
  unsigned numDims() const { return static_cast<unsigned>(dims_.size()); }
  unsigned numel() const { return numel_; }
  unsigned rows() const { return rows_; }
  /// The product of all dimensions after the first.
  unsigned cols() const { return cols_; }
  /// The largest dimension; 0 when there are no elements.
  unsigned maxDim() const { return maxDim_; }
  /// The size in dimension `dimension`, which counts from 1; 1 beyond the last. Raises
  /// "numforge:fi:getDimension:badDimension" for 0.
  unsigned getDimension(unsigned dimension) const;
  /// The first dimension whose size is not 1; 1 for a scalar.
  unsigned firstNonSingleton() const;

  bool isscalar() const { return numel_ == 1; }
  bool isempty() const { return numel_ == 0; }
  bool isrow() const { return numDims() == 2 && rows_ == 1; }
  bool iscolumn() const { return numDims() == 2 && cols_ == 1; }
  bool isvector() const { return isrow() || iscolumn(); }
  bool isSameSize(const ArrayShape& other) const { return dims_ == other.dims_; }

  /// Raises "numforge:fi:badindex" unless `index`, from 0, is below the element count.
  void checkIndex(unsigned index) const;
  /// What works at cursors raises the same where there are no elements.
  void requireElements() const {
    if (numel_ == 0) checkIndex(0);
  }
  /// Raises "numforge:fi:dimagree" unless both have the same size; scalars are no exception.
  void checkElementwiseSize(const ArrayShape& other) const;

  /// Counts rows, columns and elements anew.
  void updateNumel();
  /// The sizes of a host array. Raises "numforge:fi:outofmemory" where they exceed 32 bits.
  static Shape shapeOf(const tessel::HostArray& array);

 protected:
  /// Raises "numforge:fi:outofmemory" where the element count exceeds 32 bits.
  explicit ArrayShape(const Shape& dims) : dims_(2, boost::container::default_init) {
    if (dims.size() != 2) {
      takeMany(dims);
      return;
    }
    rows_ = dims_[0] = dims[0];  // nearly always
    cols_ = dims_[1] = dims[1];
    const std::size_t count = std::size_t{rows_} * cols_;
    errorIfTooMany(count);
    numel_ = static_cast<unsigned>(count);
    maxDim_ = count == 0 ? 0 : std::max(rows_, cols_);
  }
  /// One element in two dimensions.
  struct OneElement {};
  explicit ArrayShape(OneElement)
      : dims_(2, boost::container::default_init), numel_(1), maxDim_(1), rows_(1), cols_(1) {
    dims_[0] = dims_[1] = 1;
  }
  ~ArrayShape() = default;
  ArrayShape(const ArrayShape&) = default;
  ArrayShape& operator=(const ArrayShape&) = default;
  /// Copies the sizes, or takes them: `other` is to become 0-by-0 then.
  ArrayShape(ArrayShape& other, bool copies)
      : dims_(copies ? Shape(other.dims_) : Shape(std::move(other.dims_))),
        numel_(other.numel_),
        maxDim_(other.maxDim_),
        rows_(other.rows_),
        cols_(other.cols_) {}
  // Without memory, which assigning to sizes may need.
  void takeSizes(ArrayShape& other) noexcept;
  void becomeZeroByZero() noexcept;
  /// With a second size, 1, where there is but one.
  static Shape padded(Shape dims);

  Shape dims_;
  unsigned numel_ = 0, maxDim_ = 0, rows_ = 0, cols_ = 0;

 private:
  void takeMany(const Shape& dims);
  static void errorIfTooMany(std::size_t count) {
    if (count > std::numeric_limits<unsigned>::max()) failTooMany();
  }
  [[noreturn]] static void failTooMany();
};

}  // namespace embedded
