#include "qfcore/types/pointertype.h"

#include "qfcore/types/matrixtype.h"
#include "qfcore/types/md5checksummodendian.h"
#include "qfcore/types/parts.h"

namespace EmbeddedTypeSystem {

namespace {

constexpr embedded::Message nullBaseType{"embeddedtype:pointerbasetype:nullbasetype",
                                         "Parameter is not a valid type."};
constexpr embedded::Message invalidBaseType{"embeddedtype:pointerbasetype:invalidbasetype",
                                            "Parameter is not a valid type."};
constexpr embedded::Message recursion{"embeddedtype:pointerbasetype:recursion",
                                      "Invalid Parameter, parameter leads to recursion"};

/// Void may be pointed to although no value of it exists.
bool isValidPrimitive(const TypePtr& type) {
  if (!type) return false;
  switch (type->kind()) {
    case TypeKind::Pointer:
    case TypeKind::Matrix:
    case TypeKind::StructElement:
    case TypeKind::Struct: return false;
    case TypeKind::Void: return true;
    default: return type->isComplete();
  }
}

bool isAcceptable(const TypePtr& type) {
  if (type->isPointer()) return isValidPrimitive(static_cast<const PointerType&>(*type).baseType());
  if (type->isMatrix()) return isValidPrimitive(static_cast<const MatrixType&>(*type).baseType());
  return isValidPrimitive(type);
}

}  // namespace

void PointerType::setBaseType(TypePtr baseType) {
  if (!baseType) embedded::fail<nullBaseType>();
  if (!isAcceptable(baseType)) embedded::fail<invalidBaseType>();
  if (baseType->contains(*this)) embedded::fail<recursion>();
  baseType_ = std::move(baseType);
}

bool PointerType::contains(const Type& part) const { return this == &part || containsPart(baseType_, part); }

bool PointerType::canBeConvertedTo(const Type& other) const {
  if (!other.isPointer()) return false;
  const TypePtr& target = static_cast<const PointerType&>(other).baseType_;
  if (!baseType_ || !target) return false;
  return baseType_->isVoid() || target->isVoid() || *baseType_ == *target;
}

std::partial_ordering PointerType::compareSameKind(const Type& other) const {
  if (auto order = compareParts(baseType_, static_cast<const PointerType&>(other).baseType_); order != 0)
    return order;
  return Type::compareSameKind(other);
}

std::size_t PointerType::hash() const { return hashOf(Type::hash(), hashOfPart(baseType_)); }

void PointerType::addCheckSum(MD5CheckSumModEndian& sum) const {
  sum.addText("pointer");
  if (baseType_) baseType_->addCheckSum(sum);
  Type::addCheckSum(sum);
}

}  // namespace EmbeddedTypeSystem
