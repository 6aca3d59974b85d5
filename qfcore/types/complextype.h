/// Complex numbers over a numeric type.
#pragma once

#include "qfcore/types/type.h"

namespace EmbeddedTypeSystem {

/// A complex number whose parts are of one numeric type. Complete once that type is given.
class QFCORE_API ComplexType : public Type {
 public:
  ComplexType() : Type(TypeKind::Complex) {}

  /// The type of the two parts, or null.
  const TypePtr& baseType() const { return baseType_; }
  /// Raises "embeddedtype:complexbasetype:invalidbasetype" unless it is a numeric type.
  void setBaseType(TypePtr baseType);

  bool isScalar() const override { return true; }
  bool isComplex() const override { return true; }
  bool isComplete() const override { return baseType_ != nullptr; }
  bool contains(const Type& part) const override;
  bool canBeConvertedTo(const Type& other) const override { return other.kind() == TypeKind::Complex; }
  void addCheckSum(MD5CheckSumModEndian& sum) const override;
  std::size_t hash() const override;

 protected:
  std::partial_ordering compareSameKind(const Type& other) const override;

 private:
  TypePtr baseType_;
};

}  // namespace EmbeddedTypeSystem
