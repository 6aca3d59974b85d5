#include "qfcore/fi/arrayshape.h"

#include <algorithm>
#include <memory>

#include "qfcore/fi/messages.h"

namespace embedded {

namespace {

constexpr Message kBadDimension{"numforge:fi:getDimension:badDimension",
                                "Dimension number must be a non-negative integer in the range 1 to 2^31."};
constexpr Message kDimensionsDisagree{"numforge:fi:dimagree", "Matrix dimensions must agree."};
constexpr Message kTooManyElements{"numforge:fi:outofmemory", "Not enough memory to allocate new fi object."};

}  // namespace

void ArrayShape::failTooMany() { fail<kTooManyElements>(); }

void ArrayShape::takeMany(const Shape& dims) {
  std::size_t count = 1;
  for (const unsigned size : dims) errorIfTooMany(count *= size);
  dims_ = dims;
  if (dims_.size() < 2) dims_.resize(2, 1U);
  updateNumel();
}

void ArrayShape::takeSizes(ArrayShape& other) noexcept {
  std::destroy_at(&dims_);
  std::construct_at(&dims_, std::move(other.dims_));
  other.becomeZeroByZero();
  updateNumel();
}

void ArrayShape::becomeZeroByZero() noexcept {
  std::destroy_at(&dims_);
  std::construct_at(&dims_, Shape::size_type{2}, 0U);
  updateNumel();
}

ArrayShape::Shape ArrayShape::padded(Shape dims) {
  if (dims.size() < 2) dims.resize(2, 1U);
  return dims;
}

ArrayShape::Shape ArrayShape::shapeOf(const tessel::HostArray& array) {
  Shape shape;
  for (const std::size_t size : array.dims()) {
    errorIfTooMany(size);
    shape.push_back(static_cast<unsigned>(size));
  }
  return shape;
}

void ArrayShape::updateNumel() {
  unsigned largest = std::max(dims_[0], dims_[1]), columns = dims_[1];
  for (std::size_t d = 2; d < dims_.size(); ++d) {
    largest = std::max(largest, dims_[d]);
    columns *= dims_[d];
  }
  rows_ = dims_[0];
  cols_ = columns;
  numel_ = rows_ * cols_;
  maxDim_ = numel_ == 0 ? 0 : largest;
}

unsigned ArrayShape::getDimension(unsigned dimension) const {
  if (dimension == 0) fail<kBadDimension>();
  return dimension > numDims() ? 1 : dims_[dimension - 1];
}

unsigned ArrayShape::firstNonSingleton() const {
  const auto size = std::find_if(dims_.begin(), dims_.end(), [](unsigned each) { return each != 1; });
  return size == dims_.end() ? 1U : static_cast<unsigned>(size - dims_.begin()) + 1U;
}

void ArrayShape::checkIndex(unsigned index) const {
  if (index >= numel_) fail<message::badIndex>();
}

void ArrayShape::checkElementwiseSize(const ArrayShape& other) const {
  if (!isSameSize(other)) fail<kDimensionsDisagree>();
}

}  // namespace embedded
