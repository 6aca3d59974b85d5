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

FiReference::FiReference(fi& target) : fi(target, CopyIndex{}) { target_ = &target; }

void FiReference::setIsReal(bool isReal) {
  isReal_ = isReal;
  target_->setIsReal(isReal);
}

void FiReference::coordinateComplexity(bool isComplex, unsigned) {
  target_->coordinateComplexity(isComplex, target_->numel());
}

FiColumnReference::FiColumnReference(fi& target, unsigned startIndex, unsigned length) : FiReference(target) {
  if (startIndex > target.numel() || length > target.numel() - startIndex) fail<kIndexOutOfRange>();
  dims_ = {length, 1U};
  updateNumel();
  moveTo(startIndex);
}

FiColumnReference::FiColumnReference(fi& target, unsigned column) : FiReference(target) {
  if (column > target.cols()) fail<kColumnOutOfRange>();
  dims_ = {target.rows(), 1U};
  updateNumel();
  moveTo(column * target.rows());
}

void FiColumnReference::setColumn(unsigned column) {
  const std::size_t start = std::size_t{column} * rows();
  if (column >= target_->cols() || start + numel() > target_->numel()) fail<kBadColumn>();
  moveTo(static_cast<unsigned>(start));
}

void FiColumnReference::moveTo(unsigned startIndex) {
  startIndex_ = startIndex;
  const bool exists = startIndex + numel() <= target_->numel();
  const auto see = [&](number& part, const number& whole) {
    number seen = exists ? number(whole, CopyIndex{}, startIndex, numel())
                         : number(numel(), whole.getprecision(), NumberVector{});
    seen.swap(part);
  };
  see(realPart_, target_->realPart());
  see(imagPart_, target_->imagPart());
}

}  // namespace embedded
