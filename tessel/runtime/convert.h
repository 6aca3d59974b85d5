/// Conversion between the numeric classes, logical and char.
#pragma once

#include <cmath>
#include <concepts>
#include <limits>
#include <type_traits>
#include <utility>

#include "tessel/array.h"

namespace tessel {

/// `value` in an integer type: rounded to nearest, ties away from zero, brought to the nearer limit when out of
/// range, NaN to 0. In `float` and `double`, the nearest value; in `bool`, whether it is not zero; in `char`,
/// the code's integer part within 0 to 255.
template <class T, std::floating_point E>
T saturated(E value) {
  if constexpr (std::is_floating_point_v<T>) {
    return static_cast<T>(value);
  } else if constexpr (std::is_same_v<T, bool>) {
    return value != 0;
  } else if constexpr (std::is_same_v<T, char>) {
    if (!(value > 0)) return '\0';
    return static_cast<char>(value < 255 ? static_cast<unsigned char>(value) : 255);
  } else {
    constexpr T low = std::numeric_limits<T>::min(), high = std::numeric_limits<T>::max();
    if constexpr (sizeof(T) < 8) {
      // Choices between values, so that loops vectorise. Adding the number below one half and truncating
      // rounds.
      const double known = value == value ? static_cast<double>(value) : 0;
      const double above = known < low ? low : known;
      const double bounded = above > high ? high : above;
      return static_cast<T>(bounded + std::copysign(0x1.fffffffffffffp-2, bounded));
    } else {
      // The largest 64-bit value rounds up to a power of two in double, which is out of range itself.
      if (value >= static_cast<E>(high)) return high;
      if (value <= static_cast<E>(low)) return low;
      if (std::isnan(value)) return 0;
      const T whole = static_cast<T>(value);
      const E rest = value - static_cast<E>(whole);
      return static_cast<T>(whole + (rest >= 0.5) - (rest <= -0.5));
    }
  }
}

/// `value` of one element type in another, as `saturated` does; between integers exact where in range, also for
/// 64 bits.
template <class To, class From>
To convertElement(From value) {
  if constexpr (std::is_same_v<To, From>) {
    return value;
  } else if constexpr (std::is_same_v<From, char>) {
    return convertElement<To>(static_cast<unsigned char>(value));
  } else if constexpr (std::is_same_v<From, bool>) {
    return static_cast<To>(value ? 1 : 0);
  } else if constexpr (std::is_floating_point_v<From>) {
    return saturated<To>(value);
  } else if constexpr (std::is_floating_point_v<To>) {
    return static_cast<To>(value);
  } else if constexpr (std::is_same_v<To, bool>) {
    return value != 0;
  } else if constexpr (std::is_same_v<To, char>) {
    return static_cast<char>(convertElement<unsigned char>(value));
  } else {
    using Limits = std::numeric_limits<To>;
    if (std::cmp_less(value, Limits::min())) return Limits::min();
    if (std::cmp_greater(value, Limits::max())) return Limits::max();
    return static_cast<To>(value);
  }
}

/// The same values in another numeric class, logical or char, by `convertElement`; sizes stay, and a complex
/// array stays complex. Raises "Tessel:nologicalnan" for NaN to logical, "Tessel:complexNotConvertible" for
/// complex values to logical or char, "Tessel:conversionNotPossible" when either class holds no numbers.
HostArray convertTo(const HostArray& array, ArrayClass target);

/// The class's name as users write it, such as "int8" or "function_handle"; "object" for objects.
const char* nameOf(ArrayClass arrayClass);

}  // namespace tessel
