/// Pointers of generated code.
#pragma once

#include "qfcore/types/type.h"

namespace EmbeddedTypeSystem {

/// A pointer to a primitive type, to a pointer to one, or to a matrix of one. Primitive are all types that are
/// not built from others by pointer, matrix or structure. Complete once that type is given.
class QFCORE_API PointerType : public Type {
 public:
  PointerType() : Type(TypeKind::Pointer) {}

  /// The type pointed to, or null.
  const TypePtr& baseType() const { return baseType_; }
  /// Raises "embeddedtype:pointerbasetype:nullbasetype", "…:invalidbasetype" for a type that is not acceptable
  /// or not complete (void needs not be), and "…:recursion" for one that contains this pointer.
  void setBaseType(TypePtr baseType);

  bool isComplete() const override { return baseType_ != nullptr; }
  bool contains(const Type& part) const override;
  /// To pointers to an equal type, and to and from pointers to void.
  bool canBeConvertedTo(const Type& other) const override;
  void addCheckSum(MD5CheckSumModEndian& sum) const override;
  std::size_t hash() const override;

 protected:
  std::partial_ordering compareSameKind(const Type& other) const override;

 private:
  TypePtr baseType_;
};

}  // namespace EmbeddedTypeSystem
