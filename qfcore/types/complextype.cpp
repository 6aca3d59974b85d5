#include "qfcore/types/complextype.h"

#include "qfcore/types/md5checksummodendian.h"
#include "qfcore/types/parts.h"

namespace EmbeddedTypeSystem {

namespace {

constexpr embedded::Message invalidBaseType{"embeddedtype:complexbasetype:invalidbasetype",
                                            "Parameter is not a valid numeric type."};

}  // namespace

void ComplexType::setBaseType(TypePtr baseType) {
  if (!baseType || baseType->kind() != TypeKind::Numeric) embedded::fail<invalidBaseType>();
  baseType_ = std::move(baseType);
}

bool ComplexType::contains(const Type& part) const { return this == &part || containsPart(baseType_, part); }

std::partial_ordering ComplexType::compareSameKind(const Type& other) const {
  if (auto order = compareParts(baseType_, static_cast<const ComplexType&>(other).baseType_); order != 0)
    return order;
  return Type::compareSameKind(other);
}

std::size_t ComplexType::hash() const { return hashOf(Type::hash(), hashOfPart(baseType_)); }

void ComplexType::addCheckSum(MD5CheckSumModEndian& sum) const {
  sum.addText("Complex");
  if (baseType_) baseType_->addCheckSum(sum);
  Type::addCheckSum(sum);
}

}  // namespace EmbeddedTypeSystem
