#include "qfcore/number/mparray.h"

#include <utility>

#include "qfcore/number/mpvalue.h"
#include "qfcore/number/nativeinteger.h"
#include "qfcore/number/valuememory.h"

namespace embedded {

MpArray::MpArray(unsigned count, unsigned bits)
    : count_(count), bits_(bits), pitch_(MpFloat::placedSize(bits)) {}

MpArray::MpArray(MpArray&& other) noexcept : MpArray(0, other.bits_) { *this = std::move(other); }

MpArray& MpArray::operator=(MpArray&& other) noexcept {
  std::swap(count_, other.count_);
  std::swap(bits_, other.bits_);
  std::swap(pitch_, other.pitch_);
  other.block_.store(block_.exchange(other.block_.load(std::memory_order_relaxed), std::memory_order_relaxed),
                     std::memory_order_relaxed);
  std::swap(modifiable_, other.modifiable_);
  std::swap(integers_, other.integers_);
  std::swap(format_, other.format_);
  return *this;
}

MpArray::~MpArray() {
  if (std::byte* block = block_.load(std::memory_order_relaxed)) endValues(block);
  if (integers_) freeIntegers();
}

void MpArray::endValues(std::byte* block) const {
  // Looking at each costs as much as making it.
  for (unsigned i = 0; i < count_ && MpFloat::placedOwnLimbs(); ++i)
    reinterpret_cast<MpFloat*>(block + i * pitch_)->endPlaced();
  freeValues(block, count_ * pitch_);
}

std::byte* MpArray::makeValues() const {
  auto* made = static_cast<std::byte*>(allocateValues(count_ * pitch_, false));
  std::byte* const end = made + count_ * pitch_;
  for (std::byte* place = made; place != end; place += pitch_) MpFloat::placeAt(place, bits_);
  const auto fill = [&](const auto* integers) {
    for (unsigned i = 0; i < count_; ++i)
      setFromStored(*reinterpret_cast<MpFloat*>(made + i * pitch_), integers[i], format_.fractionLength);
  };
  if (format_.bytesEach == sizeof(Int128)) fill(static_cast<const Int128*>(integers_));
  if (format_.bytesEach == sizeof(std::int64_t)) fill(static_cast<const std::int64_t*>(integers_));
  std::byte* others = nullptr;
  if (block_.compare_exchange_strong(others, made, std::memory_order_acq_rel)) return made;
  endValues(made);
  return others;
}

std::byte* MpArray::makeModifiable() {
  std::byte* made = block_.load(std::memory_order_relaxed);
  if (!made) made = makeValues();
  if (integers_) freeIntegers();
  return modifiable_ = made;
}

void* MpArray::makeIntegers(const IntegerFormat& format) {
  if (count_ == 0 || block_.load(std::memory_order_relaxed)) return nullptr;
  if (!integers_) {
    integers_ = allocateValues(std::size_t{count_} * format.bytesEach, true);
    format_ = format;
  }
  return format == format_ ? integers_ : nullptr;
}

void MpArray::freeIntegers() {
  freeValues(std::exchange(integers_, nullptr), std::size_t{count_} * format_.bytesEach);
  format_ = {};
}

}  // namespace embedded
