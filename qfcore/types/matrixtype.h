/// Matrices and N-dimensional arrays of generated code.
#pragma once

#include <vector>

#include "qfcore/types/type.h"
#include "tessel/array.h"

namespace EmbeddedTypeSystem {

/// An array of fixed dimensions. Complete once base type and dimensions are given.
class QFCORE_API MatrixType : public Type {
 public:
  MatrixType() : Type(TypeKind::Matrix) {}

  /// The type of the elements, or null.
  const TypePtr& baseType() const { return baseType_; }
  /// Raises "embeddedtype:matrixbasetype:nullbasetype", "…:incompletebasetype", "…:invalidbasetype" for a
  /// matrix or a structure element, and "…:recursion" for a type that contains this matrix.
  void setBaseType(TypePtr baseType);

  /// Empty until set.
  const std::vector<int>& dimensions() const { return dimensions_; }
  /// The dimensions as a row of doubles.
  tessel::HostArray dimensionsArray() const;
  /// A real numeric vector of whole numbers from 1 to 2^31 − 1, else raises "embeddedtype:matrix:InvalidDims";
  /// beyond the second dimension the last must be greater than 1, else
  /// "embeddedtype:matrix:InvalidTrailingDim".
  void setDimensions(const tessel::HostArray& dimensions);

  /// The matrix holds the samples of a frame.
  bool frameData() const { return frameData_; }
  void setFrameData(bool frameData) { frameData_ = frameData; }

  /// The number of elements times the base type's width, at most 2^31 − 1; 0 while incomplete.
  int getWidth() const override;
  bool isComplex() const override { return baseType_ && baseType_->isComplex(); }
  bool isComplete() const override { return baseType_ && !dimensions_.empty(); }
  bool contains(const Type& part) const override;
  /// To matrices of the same dimensions whose base type the base type can be converted to.
  bool canBeConvertedTo(const Type& other) const override;
  void addCheckSum(MD5CheckSumModEndian& sum) const override;
  std::size_t hash() const override;

 protected:
  std::partial_ordering compareSameKind(const Type& other) const override;

 private:
  TypePtr baseType_;
  std::vector<int> dimensions_;
  bool frameData_ = false;
};

}  // namespace EmbeddedTypeSystem
