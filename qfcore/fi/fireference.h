/// Views of an array: of the whole, and of consecutive elements as a column.
#pragma once

#include "qfcore/fi/fi.h"

namespace embedded {

/// A view of a whole array: reads and writes reach the target's elements; the cursor is its own. Must not
/// outlive it. What it may do is told with `fi`.
class QFCORE_API FiReference : public fi {
 public:
  explicit FiReference(fi& target);
  FiReference(const FiReference&) = delete;
  FiReference& operator=(const FiReference&) = delete;
  void setIsReal(bool isReal) override;
  const quantizer& getAssignmentQuantizer() const override { return target_->getAssignmentQuantizer(); }
  /// Of the whole target, whatever the count.
  void coordinateComplexity(bool isComplex, unsigned count) override;
  bool isreal() const override { return target_->isreal(); }
  bool iscomplex() const override { return target_->iscomplex(); }
  const qlogger& getQlogger() const override { return target_->getQlogger(); }
};

/// A view of consecutive elements as a column; its indices count from its own start.
class QFCORE_API FiColumnReference : public FiReference {
 public:
  /// Elements `startIndex` to `startIndex` + `length` − 1. Raises
  /// "numforge:fi:FiColumnReference:IndexOutOfRange".
  FiColumnReference(fi& target, unsigned startIndex, unsigned length);
  /// Column `column`, from 0. Raises "numforge:fi:FiColumnReference:ColumnNumberOutOfRange" when it exceeds the
  /// column count; the count itself passes, and the view has elements of its own until `setColumn`.
  FiColumnReference(fi& target, unsigned column);
  /// Moves the view to another column of its own length. Raises "numforge:fi:FiColumnReference:setColumn".
  void setColumn(unsigned column);
  unsigned startIndex() const { return startIndex_; }

 private:
  void moveTo(unsigned startIndex);

  unsigned startIndex_ = 0;
};

}  // namespace embedded
