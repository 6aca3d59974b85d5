#include "qfcore/fi/fireference.h"

namespace embedded {

namespace {

constexpr Message kIndexOutOfRange{
    "numforge:fi:FiColumnReference:IndexOutOfRange",
    "FiColumnReference::StartIndex + Length exceeds original matrix size in FiColumnReference constructor"};
constexpr Message kColumnOutOfRange{
    "numforge:fi:FiColumnReference:ColumnNumberOutOfRange",
    "FiColumnReference::Column number out of range in FiColumnReference constructor"};
constexpr Message kBadColumn{"numforge:fi:FiColumnReference:setColumn", "Column number out of range."};

}  // namespace

FiReference::FiReference(fi& target) : fi(target, CopyIndex{}), target_(&target) {}

void FiReference::setIsReal(bool isReal) {
  isReal_ = isReal;
  target_->setIsReal(isReal);
}

void FiReference::coordinateComplexity(bool isComplex, unsigned count) {
  target_->coordinateComplexity(isComplex, count);
  isReal_ = target_->isreal();
}

FiColumnReference::FiColumnReference(fi& target, unsigned startIndex, unsigned length)
    : FiReference(target), targetNumel_(target.numel()) {
  if (startIndex > targetNumel_ || length > targetNumel_ - startIndex) fail<kIndexOutOfRange>();
  origin_ = startIndex;
  becomeColumn(length);
}

FiColumnReference::FiColumnReference(fi& target, unsigned column)
    : FiReference(target), targetNumel_(target.numel()) {
  if (column > target.cols()) fail<kColumnOutOfRange>();
  origin_ = column * target.rows();
  becomeColumn(target.rows());
}

void FiColumnReference::becomeColumn(unsigned length) {
  const unsigned dims[] = {length, 1};
  copyDimensions(dims, 2);
  setIndex(0);
}

void FiColumnReference::setColumn(unsigned column) {
  if (column >= target_->cols()) fail<kBadColumn>();
  origin_ = column * rows();
  setIndex(0);
}

void FiColumnReference::setIndex(unsigned index) const { fi::setIndex(origin_ + index); }

}  // namespace embedded
