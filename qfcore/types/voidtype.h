/// The type without values.
#pragma once

#include "qfcore/types/type.h"

namespace EmbeddedTypeSystem {

/// No value of it exists: width 0, never complete. It can be pointed to.
class QFCORE_API VoidType : public Type {
 public:
  VoidType() : Type(TypeKind::Void) {}
  int getWidth() const override { return 0; }
  bool isComplete() const override { return false; }
  void addCheckSum(MD5CheckSumModEndian& sum) const override;
};

}  // namespace EmbeddedTypeSystem
