/// Types whose content only other code knows.
#pragma once

#include "qfcore/types/type.h"

namespace EmbeddedTypeSystem {

/// A type whose content only other code knows. Values of it exist, so it is complete.
class QFCORE_API OpaqueType : public Type {
 public:
  OpaqueType() : Type(TypeKind::Opaque) {}
  void addCheckSum(MD5CheckSumModEndian& sum) const override;
};

}  // namespace EmbeddedTypeSystem
