/// Loops over multiprecision values that lie at equal distances.
#pragma once

#include <cstddef>
#include <type_traits>

#include "qfcore/number/number.h"

namespace embedded {

/// Values of a vector, all of which stand in one block: loops go from one to the next without asking it.
/// `Value` is an MpFloat, const or not.
template <class Value>
class WideValues {
 public:
  WideValues() = default;
  /// From `first` on; where `second` is the same, that one at every place.
  WideValues(Value& first, Value& second) : first_(addressOf(first)), pitch_(addressOf(second) - first_) {}
  Value& operator[](std::size_t k) const {
    return *reinterpret_cast<Value*>(first_ + static_cast<std::ptrdiff_t>(k) * pitch_);
  }

 private:
  using Byte = std::conditional_t<std::is_const_v<Value>, const std::byte, std::byte>;
  static Byte* addressOf(Value& value) { return reinterpret_cast<Byte*>(&value); }

  Byte* first_ = nullptr;
  std::ptrdiff_t pitch_ = 0;
};

/// Has the values of `to` made, so that several threads may store into it.
inline void makeStorable(number& to) {
  if (mpnumber* wide = to.isempty() ? nullptr : to.multiprecision()) wide->getmodifiableelement(0);
}
/// Element `place` of `to`, whose cursor stays, becomes a multiprecision value that it can hold.
inline void storeExactly(const number& value, number& to, unsigned place) {
  if (double* plain = to.doubles()) {
    plain[place] = value.todouble();
  } else {
    to.multiprecision()->setelement(place, value.multiprecision()->getelement());
  }
}

}  // namespace embedded
