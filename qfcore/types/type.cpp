#include "qfcore/types/type.h"

#include "qfcore/types/hashing.h"
#include "qfcore/types/md5checksummodendian.h"

namespace EmbeddedTypeSystem {

bool Type::canBeConvertedTo(const Type& other) const { return kind_ == other.kind_; }

std::partial_ordering Type::compare(const Type& other) const {
  if (kind_ != other.kind_) return kind_ <=> other.kind_;
  return compareSameKind(other);
}

std::partial_ordering Type::compareSameKind(const Type& other) const {
  if (readOnly_ != other.readOnly_) return readOnly_ <=> other.readOnly_;
  return volatile_ <=> other.volatile_;
}

std::size_t Type::hash() const { return hashOf(kind_, readOnly_, volatile_); }

void Type::addCheckSum(MD5CheckSumModEndian& sum) const {
  sum.addInt32(readOnly_);
  sum.addInt32(volatile_);
}

}  // namespace EmbeddedTypeSystem
