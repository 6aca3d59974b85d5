#include "qfcore/types/chartype.h"

#include "qfcore/types/hashing.h"
#include "qfcore/types/md5checksummodendian.h"

namespace EmbeddedTypeSystem {

namespace {

constexpr int kMaxBits = 32;
constexpr embedded::Message invalidBits{"embeddedtype:char:InvalidBits",
                                        "The number of bits of a character must be 1 to 32"};

}  // namespace

void CharType::setNumberOfBits(int bits) {
  if (bits < 1 || bits > kMaxBits) embedded::fail<invalidBits>();
  numberOfBits_ = bits;
}

bool CharType::canBeConvertedTo(const Type& other) const { return isNumberLike(other.kind()); }

std::partial_ordering CharType::compareSameKind(const Type& other) const {
  const auto& b = static_cast<const CharType&>(other);
  if (auto order = numberOfBits_ <=> b.numberOfBits_; order != 0) return order;
  if (auto order = isSigned_ <=> b.isSigned_; order != 0) return order;
  return Type::compareSameKind(other);
}

std::size_t CharType::hash() const { return hashOf(Type::hash(), numberOfBits_, isSigned_); }

void CharType::addCheckSum(MD5CheckSumModEndian& sum) const {
  sum.addText("char");
  sum.addInt32(numberOfBits_);
  sum.addUInt32(isSigned_);
  Type::addCheckSum(sum);
}

}  // namespace EmbeddedTypeSystem
