/// An array of multiprecision values in one block.
#pragma once

#include <cstddef>

#include "qfcore/number/errors.h"

namespace embedded {

class MpFloat;

/// Owns `count` values made with the same number of bits. One allocation for all of them; a value that later
/// takes more bits than it was made with gets limbs of its own.
class QFCORE_API MpArray {
 public:
  /// Zeros of `bits` bits. Raises "numforge:fi:outofmemory".
  MpArray(unsigned count, unsigned bits);
  MpArray(MpArray&& other) noexcept;
  MpArray& operator=(MpArray&& other) noexcept;
  ~MpArray();

  unsigned bits() const { return bits_; }
  MpFloat& operator[](unsigned index) const { return *reinterpret_cast<MpFloat*>(block_ + index * pitch_); }

 private:
  unsigned count_, bits_;
  std::size_t pitch_;  // bytes from value to value
  std::byte* block_;   // null when count is 0
};

}  // namespace embedded
