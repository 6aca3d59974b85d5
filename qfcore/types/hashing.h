/// One hash from many fields.
#pragma once

#include <cstddef>
#include <functional>

namespace EmbeddedTypeSystem {

/// Mixes the standard hashes of the values, in order. −0.0 hashes as 0.0.
template <class... Values>
std::size_t hashOf(const Values&... values) {
  std::size_t seed = 0;
  ((seed ^= std::hash<Values>{}(values) + 0x9e3779b97f4a7c15u + (seed << 6) + (seed >> 2)), ...);
  return seed;
}

}  // namespace EmbeddedTypeSystem
