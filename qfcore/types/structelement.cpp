#include "qfcore/types/structelement.h"

#include "qfcore/types/md5checksummodendian.h"
#include "qfcore/types/parts.h"

namespace EmbeddedTypeSystem {

using embedded::fail;
using embedded::Message;

namespace {

// The text says less than 128; 128 itself is accepted.
constexpr Message identifierTooLong{"embeddedtype:string:InvalidStringParam",
                                    "Parameter must be a string less than 128 characters"};
constexpr Message nullType{"embeddedtype:elementtype:nulltype", "Parameter is invalid"};
constexpr Message incompleteType{"embeddedtype:elementtype:incompletetype",
                                 "Parameter is not a completely specified type."};
constexpr Message invalidType{"embeddedtype:elementtype:invalidtype", "Parameter is not a valid element type."};

}  // namespace

void StructElement::setIdentifier(const std::string& identifier) {
  if (identifier.size() > kMaxIdentifierLength) fail<identifierTooLong>();
  identifier_ = identifier;
}

void StructElement::setType(TypePtr type) {
  if (!type) fail<nullType>();
  if (!type->isComplete()) fail<incompleteType>();
  if (type->kind() == TypeKind::StructElement || type->contains(*this)) fail<invalidType>();
  type_ = std::move(type);
}

bool StructElement::contains(const Type& part) const { return this == &part || containsPart(type_, part); }

bool StructElement::canBeConvertedTo(const Type& other) const {
  if (other.kind() != TypeKind::StructElement) return false;
  const auto& target = static_cast<const StructElement&>(other);
  return identifier_ == target.identifier_ && type_ && target.type_ && type_->canBeConvertedTo(*target.type_);
}

std::partial_ordering StructElement::compareSameKind(const Type& other) const {
  const auto& b = static_cast<const StructElement&>(other);
  if (auto order = identifier_ <=> b.identifier_; order != 0) return order;
  if (auto order = compareParts(type_, b.type_); order != 0) return order;
  return Type::compareSameKind(other);
}

std::size_t StructElement::hash() const { return hashOf(Type::hash(), identifier_, hashOfPart(type_)); }

void StructElement::addCheckSum(MD5CheckSumModEndian& sum) const {
  sum.addText("structelement");
  sum.addUInt32(static_cast<std::uint32_t>(identifier_.size()));
  sum.addText(identifier_);
  if (type_) type_->addCheckSum(sum);
  Type::addCheckSum(sum);
}

}  // namespace EmbeddedTypeSystem
