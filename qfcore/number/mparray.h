/// An array of multiprecision values in one block, or of the stored integers that they are.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "qfcore/number/errors.h"

namespace embedded {

class MpFloat;

/// Owns `count` values made with the same number of bits. One allocation for all of them; a value that later
/// takes more bits than it was made with gets limbs of its own.
///
/// Values are made when the first of them is asked for; several threads may ask for values that none changes.
/// Until then all are 0, or stored integers of 8 or 16 bytes stand for them, with which loops over native
/// integers work.
class QFCORE_API MpArray {
 public:
  /// Zeros of `bits` bits.
  MpArray(unsigned count, unsigned bits);
  MpArray(MpArray&& other) noexcept;
  MpArray& operator=(MpArray&& other) noexcept;
  ~MpArray();

  unsigned bits() const { return bits_; }
  // The first call may raise "numforge:fi:outofmemory".
  const MpFloat& operator[](unsigned index) const { return at(index); }
  MpFloat& modifiable(unsigned index) {
    std::byte* block = modifiable_ ? modifiable_ : makeModifiable();
    return *reinterpret_cast<MpFloat*>(block + index * pitch_);
  }

  /// How stored integers in units of 2^-fractionLength stand for the values.
  struct IntegerFormat {
    unsigned bytesEach = 0;  ///< of std::int64_t or of 128 bits; 0 where none do
    long fractionLength = 0;
    bool operator==(const IntegerFormat&) const = default;
  };
  const IntegerFormat& integerFormat() const { return format_; }
  const void* integers() const { return integers_; }
  /// Has stored integers of that format stand for the values, to be changed through what is returned. Null
  /// where values have been made, or integers of another format. Raises "numforge:fi:outofmemory".
  void* makeIntegers(const IntegerFormat& format);

 private:
  MpFloat& at(unsigned index) const {
    std::byte* block = block_.load(std::memory_order_acquire);
    return *reinterpret_cast<MpFloat*>((block ? block : makeValues()) + index * pitch_);
  }
  std::byte* makeValues() const;
  void endValues(std::byte* block) const;
  std::byte* makeModifiable();
  void freeIntegers();

  unsigned count_, bits_;
  std::size_t pitch_;  // bytes from value to value
  mutable std::atomic<std::byte*> block_ = nullptr;
  std::byte* modifiable_ = nullptr;  // the block where no integers stand beside it
  void* integers_ = nullptr;
  IntegerFormat format_;
};

}  // namespace embedded
