#include "qfcore/number/mparray.h"

#include <cstdlib>
#include <new>
#include <utility>

#include "qfcore/number/messages.h"
#include "qfcore/number/mpvalue.h"

namespace embedded {

MpArray::MpArray(unsigned count, unsigned bits)
    : count_(count), bits_(bits), pitch_(MpFloat::placedSize(bits)), block_(nullptr) {
  if (count == 0) return;
  block_ = static_cast<std::byte*>(std::malloc(count * pitch_));
  if (!block_) fail<message::outOfMemory>();
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
  for (unsigned i = 0; i < count_; ++i) (*this)[i].~MpFloat();
  std::free(block_);
}

MpFloat& MpArray::operator[](unsigned index) const {
  return *std::launder(reinterpret_cast<MpFloat*>(block_ + index * pitch_));
}

}  // namespace embedded
