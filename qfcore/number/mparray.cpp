#include "qfcore/number/mparray.h"

#include <utility>

#include "qfcore/number/mpvalue.h"
#include "qfcore/number/valuememory.h"

namespace embedded {

MpArray::MpArray(unsigned count, unsigned bits)
    : count_(count), bits_(bits), pitch_(MpFloat::placedSize(bits)), block_(nullptr) {
  if (count == 0) return;
  block_ = static_cast<std::byte*>(allocateValues(count * pitch_, false));
  for (unsigned i = 0; i < count; ++i) MpFloat::placeAt(block_ + i * pitch_, bits);
}

MpArray::MpArray(MpArray&& other) noexcept
    : count_(std::exchange(other.count_, 0)),
      bits_(other.bits_),
      pitch_(other.pitch_),
      block_(std::exchange(other.block_, nullptr)) {}

MpArray& MpArray::operator=(MpArray&& other) noexcept {
  std::swap(count_, other.count_);
  std::swap(bits_, other.bits_);
  std::swap(pitch_, other.pitch_);
  std::swap(block_, other.block_);
  return *this;
}

MpArray::~MpArray() {
  // Looking at each costs as much as making it.
  for (unsigned i = 0; i < count_ && MpFloat::placedOwnLimbs(); ++i) (*this)[i].endPlaced();
  freeValues(block_, count_ * pitch_);
}

}  // namespace embedded
