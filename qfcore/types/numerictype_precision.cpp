#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <type_traits>

#include "qfcore/number/vectorised.h"
#include "qfcore/types/numerictype.h"
#include "qfcore/types/numerictype_messages.h"

namespace EmbeddedTypeSystem {

using embedded::fail;

namespace {

constexpr int kMoreThanDigits = 60;  // of a double

/// An integer as a double of the same binary exponent, and a power of two only if the integer is one: digits
/// that do not fit leave a trace in the lowest one.
double withoutRounding(std::uint64_t magnitude) {
  const int excess = 64 - std::countl_zero(magnitude) - 53;
  if (excess <= 0) return static_cast<double>(magnitude);
  const std::uint64_t kept = magnitude >> excess;
  const bool lost = (kept << excess) != magnitude;
  return std::ldexp(static_cast<double>(kept | (lost ? 1u : 0u)), excess);
}

template <class T>
double exactDouble(T value) {
  if constexpr (std::is_integral_v<T> && sizeof(T) == 8) {
    const auto magnitude = static_cast<std::uint64_t>(value);
    if (std::is_signed_v<T> && value < 0) return -withoutRounding(0 - magnitude);
    return withoutRounding(magnitude);
  } else {
    return static_cast<double>(value);
  }
}

/// The least and the greatest of some values and 0; their doubles are `areFinite`.
template <class T>
struct Extremes {
  T least = 0, greatest = 0;
  bool areFinite = true;
};

/// In lanes enough for several vectors.
template <class T>
QFCORE_VECTORISED Extremes<T> extremesOf(const T* values, std::size_t count) {
  constexpr std::size_t kLanes = 32;
  T least[kLanes] = {}, greatest[kLanes] = {}, differences[kLanes] = {};
  const auto meet = [&](std::size_t lane, T value) {
    least[lane] = value < least[lane] ? value : least[lane];
    greatest[lane] = value > greatest[lane] ? value : greatest[lane];
    // 0, and NaN for what is not finite.
    if constexpr (std::is_floating_point_v<T>) differences[lane] += value - value;
  };
  std::size_t i = 0;
  for (; i + kLanes <= count; i += kLanes) {
    for (std::size_t lane = 0; lane < kLanes; ++lane) meet(lane, values[i + lane]);
  }
  for (; i < count; ++i) meet(i % kLanes, values[i]);
  return {*std::min_element(least, least + kLanes), *std::max_element(greatest, greatest + kLanes),
          std::all_of(differences, differences + kLanes, [](T difference) { return difference == 0; })};
}

/// Keeps of all values met the one of largest magnitude, the positive one of two opposite.
struct Decider {
  DataTypeEnum dataType;
  double deciding = 0;

  template <class T>
  void meet(const T* values, std::size_t count) {
    constexpr std::size_t kFew = 16;  // the lanes would take longer
    if (count <= kFew) return meetEach(values, count);
    const Extremes<T> extremes = extremesOf(values, count);
    if (!extremes.areFinite) return meetEach(values, count);
    meetOne(exactDouble(extremes.least));
    meetOne(exactDouble(extremes.greatest));
  }

 private:
  template <class T>
  void meetEach(const T* values, std::size_t count) {
    std::for_each_n(values, count, [this](T value) { meetOne(exactDouble(value)); });
  }
  void meetOne(double value) {
    NumericType::checkNaNInf(dataType, value);
    const double magnitude = std::fabs(value), largest = std::fabs(deciding);
    if (magnitude > largest || (magnitude == largest && value > deciding)) deciding = value;
  }
};

double decidingValue(DataTypeEnum dataType, const tessel::HostArray& values) {
  if (!values.isNumeric() && !values.isLogical() && !values.isChar()) fail<msg::bestPrecisionNotNumeric>();
  Decider decider{dataType};
  tessel::visitElementType(values.arrayClass(), [&](auto element) {
    using T = decltype(element);
    decider.meet(values.real<T>(), values.numel());
    if (values.isComplex()) decider.meet(values.imag<T>(), values.numel());
  });
  return decider.deciding;
}

}  // namespace

void NumericType::requireSign() const {
  if (isSignUnspecified()) fail<msg::unspecifiedSign>();
}

void NumericType::setBestPrecisionFromMaxAbs(double value) {
  if (isBuiltIn()) return;
  requireSign();
  checkNaNInf(dataType_, value);
  int exponent = 0;
  const bool isPowerOfTwo = std::fabs(std::frexp(value, &exponent)) == 0.5;
  // Minus a power of two is the most negative value of a word, which no place beside the sign has to hold.
  const bool takesSignBit = isSigned() && !(isPowerOfTwo && value < 0);
  fixedExponent_ = exponent - wordLength_ + (takesSignBit ? 1 : 0);
}

void NumericType::setBestPrecision(std::span<const double> real, std::span<const double> imag) {
  if (isBuiltIn()) return;
  requireSign();
  Decider decider{dataType_};
  decider.meet(real.data(), real.size());
  decider.meet(imag.data(), imag.size());
  if (isScalingUnspecified()) setScaling(ScalingEnum::BinaryPoint);
  setBestPrecisionFromMaxAbs(decider.deciding);
}

void NumericType::setBestPrecision(const tessel::HostArray& values) {
  if (isBuiltIn()) return;
  requireSign();
  const double deciding = decidingValue(dataType_, values);
  setBestPrecision(std::span(&deciding, 1));
}

void NumericType::fxpBestPrecisionExponent(double value) {
  if (isBuiltIn()) return;
  requireSign();
  checkNaNInf(dataType_, value);
  if (isScalingUnspecified()) setScaling(ScalingEnum::BinaryPoint);
  const int magnitudeBits = isSigned() ? wordLength_ - 1 : wordLength_;
  if (value == 0 || (value < 0 && !isSigned())) {
    setFractionLength(magnitudeBits);
    return;
  }
  int exponent = 0;
  const double mantissa = std::frexp(value, &exponent);
  // Only a negative power of two may have one bit more, only what rounds up to a power of two has one less.
  // Words beyond a double's digits round nothing.
  const int bits = std::min(magnitudeBits, kMoreThanDigits);
  const double end = std::ldexp(1.0, bits);
  const auto fitsWith = [&](int more) {
    const double units = std::round(std::ldexp(mantissa, bits + more));
    return units < end && units >= -end;
  };
  int more = 1;
  while (!fitsWith(more)) --more;
  setFixedExponent(exponent - magnitudeBits - more);
}

void NumericType::setBestFractionLength(const tessel::HostArray& values) {
  if (!values.isNumeric()) fail<msg::bestPrecisionNotNumeric>();
  if (isBuiltIn()) return;
  requireSign();
  fxpBestPrecisionExponent(decidingValue(dataType_, values));
}

}  // namespace EmbeddedTypeSystem
