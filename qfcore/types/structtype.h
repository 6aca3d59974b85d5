/// Structures of generated code.
#pragma once

#include <vector>

#include "qfcore/types/structelement.h"
#include "qfcore/types/type.h"

namespace EmbeddedTypeSystem {

/// Named elements in order. Complete when there are elements and all are complete.
class QFCORE_API StructType : public Type {
 public:
  StructType() : Type(TypeKind::Struct) {}

  const std::vector<TypePtr>& elements() const { return elements_; }
  const StructElement& element(std::size_t i) const { return static_cast<const StructElement&>(*elements_[i]); }
  /// Raises "embeddedtype:struct:InvalidElement" where one is no StructElement, "…:IncompleteElement",
  /// "…:RecursiveElement" where one contains this structure, "…:NameClash" where two have one name.
  void setElements(std::vector<TypePtr> elements);

  /// The sum of the elements' widths, at most 2^31 − 1.
  int getWidth() const override;
  bool isComplete() const override;
  bool contains(const Type& part) const override;
  /// To structures whose elements, in order, this one's can be converted to.
  bool canBeConvertedTo(const Type& other) const override;
  void addCheckSum(MD5CheckSumModEndian& sum) const override;
  std::size_t hash() const override;

 protected:
  std::partial_ordering compareSameKind(const Type& other) const override;

 private:
  std::vector<TypePtr> elements_;
};

}  // namespace EmbeddedTypeSystem
