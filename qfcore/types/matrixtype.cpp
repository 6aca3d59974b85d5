#include "qfcore/types/matrixtype.h"

#include <algorithm>
#include <climits>
#include <cmath>

#include "qfcore/types/md5checksummodendian.h"
#include "qfcore/types/parts.h"

namespace EmbeddedTypeSystem {

using embedded::fail;
using embedded::Message;

namespace {

constexpr Message nullBaseType{"embeddedtype:matrixbasetype:nullbasetype", "Parameter is invalid."};
constexpr Message incompleteBaseType{"embeddedtype:matrixbasetype:incompletebasetype",
                                     "Parameter is not a completely specified type."};
constexpr Message invalidBaseType{"embeddedtype:matrixbasetype:invalidbasetype",
                                  "Parameter is not a valid type."};
constexpr Message recursion{"embeddedtype:matrixbasetype:recursion",
                            "Invalid Parameter, parameter leads to recursion"};
constexpr Message invalidDimensions{"embeddedtype:matrix:InvalidDims",
                                    "Dimensions should be vector of positive numbers"};
constexpr Message invalidTrailingDimension{"embeddedtype:matrix:InvalidTrailingDim",
                                           "The trailing dimension should be greater than 1"};

bool isValid(const Type& type) { return !type.isMatrix() && type.kind() != TypeKind::StructElement; }

}  // namespace

void MatrixType::setBaseType(TypePtr baseType) {
  if (!baseType) fail<nullBaseType>();
  if (!baseType->isComplete()) fail<incompleteBaseType>();
  if (!isValid(*baseType)) fail<invalidBaseType>();
  if (baseType->contains(*this)) fail<recursion>();
  baseType_ = std::move(baseType);
}

void MatrixType::setDimensions(const tessel::HostArray& dimensions) {
  if (!dimensions.isNumeric() || dimensions.isComplex() || !dimensions.isVector()) fail<invalidDimensions>();
  std::vector<int> sizes;
  for (std::size_t i = 0; i < dimensions.numel(); ++i) {
    const double size = dimensions.realAt(i);
    if (!(size >= 1 && size <= INT_MAX && size == std::floor(size))) fail<invalidDimensions>();
    sizes.push_back(static_cast<int>(size));
  }
  if (sizes.size() > 2 && sizes.back() == 1) fail<invalidTrailingDimension>();
  dimensions_ = std::move(sizes);
}

tessel::HostArray MatrixType::dimensionsArray() const {
  auto row =
      tessel::HostArray::zeros(tessel::ArrayClass::Double, {dimensions_.empty() ? 0u : 1u, dimensions_.size()});
  std::copy(dimensions_.begin(), dimensions_.end(), row.mutableReal<double>());
  return row;
}

int MatrixType::getWidth() const {
  if (!isComplete()) return 0;
  double width = baseType_->getWidth();
  for (const int size : dimensions_) width *= size;
  return static_cast<int>(std::fmin(width, INT_MAX));
}

bool MatrixType::contains(const Type& part) const { return this == &part || containsPart(baseType_, part); }

bool MatrixType::canBeConvertedTo(const Type& other) const {
  if (!other.isMatrix()) return false;
  const auto& target = static_cast<const MatrixType&>(other);
  return isComplete() && target.isComplete() && dimensions_ == target.dimensions_ &&
         baseType_->canBeConvertedTo(*target.baseType_);
}

std::partial_ordering MatrixType::compareSameKind(const Type& other) const {
  const auto& b = static_cast<const MatrixType&>(other);
  if (auto order = compareParts(baseType_, b.baseType_); order != 0) return order;
  if (auto order = dimensions_ <=> b.dimensions_; order != 0) return order;
  if (auto order = frameData_ <=> b.frameData_; order != 0) return order;
  return Type::compareSameKind(other);
}

std::size_t MatrixType::hash() const {
  std::size_t hash = hashOf(Type::hash(), hashOfPart(baseType_), frameData_);
  for (const int size : dimensions_) hash = hashOf(hash, size);
  return hash;
}

void MatrixType::addCheckSum(MD5CheckSumModEndian& sum) const {
  sum.addText("matrix");
  if (baseType_) baseType_->addCheckSum(sum);
  sum.addUInt32(static_cast<std::uint32_t>(dimensions_.size()));
  for (const int size : dimensions_) sum.addInt32(size);
  sum.addUInt32(frameData_);
  Type::addCheckSum(sum);
}

}  // namespace EmbeddedTypeSystem
