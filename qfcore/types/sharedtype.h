/// Numeric types that arrays, quantizers and records share.
#pragma once

#include "qfcore/number/immutable.h"
#include "qfcore/types/numerictype.h"

namespace EmbeddedTypeSystem {

/// A numeric type that never changes, alone or as a part of what goes with it. Types are larger than most of
/// what is done with a single value: whoever keeps one beside each value keeps a pointer.
class QFCORE_API SharedType : public embedded::Immutable {
 public:
  explicit SharedType(const NumericType& type) : type_(type) {}
  virtual ~SharedType() = default;
  const NumericType& type() const { return type_; }

 private:
  const NumericType type_;
};

using SharedTypePtr = embedded::ImmutablePtr<SharedType>;

}  // namespace EmbeddedTypeSystem
