#include "tessel/language/decimal_rounding.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

namespace tessel {
namespace {

/// Whether `x` lies half-way between two numbers of so many decimal places: x·10^p = i + 1/2, or, as 5 divides
/// nothing here, x·2^(p+1) is odd.
template <class E>
bool isHalfway(E x, int places) {
  return std::fmod(std::abs(std::ldexp(x, places + 1)), E{2}) == 1;
}

/// An integer with so many zeros at its end, rounded once from its exact digits.
template <class E>
E toZeros(E x, int zeros) {
  char text[std::numeric_limits<E>::max_exponent10 + 8] = {'0'};
  char* const digits = text + 1;
  char* const end = std::to_chars(digits, text + sizeof text, std::abs(x), std::chars_format::fixed, 0).ptr;
  if (zeros > end - digits) return std::copysign(E{0}, x);
  char* place = end - zeros;
  const bool isUp = *place >= '5';
  std::fill(place, end, '0');
  if (isUp) {
    while (*--place == '9') *place = '0';
    ++*place;
  }
  E rounded = std::numeric_limits<E>::infinity();
  std::from_chars(text, end, rounded);
  return std::copysign(rounded, x);
}

template <class E>
E toPlaces(E x, int places) {
  // With so many places every number is exact.
  constexpr int kMostPlaces = std::numeric_limits<E>::digits - std::numeric_limits<E>::min_exponent;
  if (!std::isfinite(x) || x == 0 || places > kMostPlaces) return x;
  if (places < 0) {
    // Beyond the numbers of which each is followed by the next one, powers of ten and what they give need not
    // exist.
    if (std::abs(x) >= std::ldexp(E{1}, std::numeric_limits<E>::digits)) return toZeros(x, -places);
    const E unit = std::pow(E{10}, static_cast<E>(-places));
    const E rest = std::fmod(std::abs(x), unit), below = std::abs(x) - rest;
    return std::copysign(rest >= unit - rest ? below + unit : below, x);
  }
  // The library's digits are those of the exact value, ties to even.
  if (isHalfway(x, places)) x = std::nextafter(x, std::copysign(std::numeric_limits<E>::infinity(), x));
  char text[std::numeric_limits<E>::max_exponent10 + kMostPlaces + 8];
  const char* end = std::to_chars(text, text + sizeof text, x, std::chars_format::fixed, places).ptr;
  std::from_chars(text, end, x);
  return x;
}

/// The exponent of the first digit.
template <class E>
int decimalExponent(E x) {
  char text[64];
  const char* end = std::to_chars(text, text + sizeof text, std::abs(x), std::chars_format::scientific).ptr;
  const char* mark = end;
  while (*--mark != 'e') {
  }
  int exponent = 0;
  std::from_chars(mark[1] == '+' ? mark + 2 : mark + 1, end, exponent);
  return exponent;
}

template <class E>
E toDigits(E x, int digits) {
  return !std::isfinite(x) || x == 0 ? x : toPlaces(x, digits - 1 - decimalExponent(x));
}

}  // namespace

double roundedToPlaces(double x, int places) { return toPlaces(x, places); }
float roundedToPlaces(float x, int places) { return toPlaces(x, places); }
/// Integers, of which one part stands before the point.
long double roundedToPlaces(long double x, int places) { return places < 0 ? toPlaces(x, places) : x; }

double roundedToDigits(double x, int digits) { return toDigits(x, digits); }
float roundedToDigits(float x, int digits) { return toDigits(x, digits); }
long double roundedToDigits(long double x, int digits) {
  const int places = x == 0 ? 0 : digits - 1 - decimalExponent(x);
  return roundedToPlaces(x, places);
}

}  // namespace tessel
