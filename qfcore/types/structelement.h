/// One named element of a structure type.
#pragma once

#include <string>

#include "qfcore/types/type.h"

namespace EmbeddedTypeSystem {

/// A name and a type. Complete once both are given.
class QFCORE_API StructElement : public Type {
 public:
  static constexpr std::size_t kMaxIdentifierLength = 128;

  StructElement() : Type(TypeKind::StructElement) {}

  /// Empty until set.
  const std::string& identifier() const { return identifier_; }
  /// At most 128 characters, else raises "embeddedtype:string:InvalidStringParam".
  void setIdentifier(const std::string& identifier);

  /// The element's type, or null.
  const TypePtr& type() const { return type_; }
  /// Raises "embeddedtype:elementtype:nulltype", "…:incompletetype", and "…:invalidtype" for a structure
  /// element and for a type that contains this element.
  void setType(TypePtr type);

  /// The width of the element's type; 0 without one.
  int getWidth() const override { return type_ ? type_->getWidth() : 0; }
  bool isComplete() const override { return type_ && type_->isComplete() && !identifier_.empty(); }
  bool contains(const Type& part) const override;
  /// To elements of the same name whose type this one's can be converted to.
  bool canBeConvertedTo(const Type& other) const override;
  void addCheckSum(MD5CheckSumModEndian& sum) const override;
  std::size_t hash() const override;

 protected:
  std::partial_ordering compareSameKind(const Type& other) const override;

 private:
  std::string identifier_;
  TypePtr type_;
};

}  // namespace EmbeddedTypeSystem
