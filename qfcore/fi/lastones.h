/// Sizes as the host has them.
#pragma once

namespace embedded {

/// Without the ones behind the second, which arrays of two sizes do not have either.
template <class Sizes>
Sizes withoutLastOnes(Sizes sizes) {
  while (sizes.size() > 2 && sizes.back() == 1) sizes.pop_back();
  return sizes;
}

}  // namespace embedded
