/// What composed types do with a part that may be missing.
#pragma once

#include "qfcore/types/hashing.h"
#include "qfcore/types/type.h"

namespace EmbeddedTypeSystem {

/// A missing part comes before every given one.
inline std::partial_ordering compareParts(const TypePtr& a, const TypePtr& b) {
  if (!a || !b) return (a != nullptr) <=> (b != nullptr);
  return a->compare(*b);
}

inline std::size_t hashOfPart(const TypePtr& part) { return part ? part->hash() : 0; }

inline bool containsPart(const TypePtr& whole, const Type& part) { return whole && whole->contains(part); }

}  // namespace EmbeddedTypeSystem
