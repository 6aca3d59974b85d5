/// A character of generated code.
#pragma once

#include "qfcore/types/type.h"

namespace EmbeddedTypeSystem {

/// A character as an integer of some bits. 8 bits, signed, at first.
class QFCORE_API CharType : public ScalarType {
 public:
  CharType() : ScalarType(TypeKind::Char) {}

  int numberOfBits() const { return numberOfBits_; }
  /// 1 to 32, else raises "embeddedtype:char:InvalidBits".
  void setNumberOfBits(int bits);
  bool isSigned() const { return isSigned_; }
  void setSigned(bool isSigned) { isSigned_ = isSigned; }

  /// To characters, numbers and complex numbers.
  bool canBeConvertedTo(const Type& other) const override;
  void addCheckSum(MD5CheckSumModEndian& sum) const override;
  std::size_t hash() const override;

 protected:
  std::partial_ordering compareSameKind(const Type& other) const override;

 private:
  int numberOfBits_ = 8;
  bool isSigned_ = true;
};

}  // namespace EmbeddedTypeSystem
