// Bits of whole numbers of the host's classes.
#include <cstdint>
#include <functional>

#include <fmt/format.h>
#include "tessel/language/builtins/builtins.h"
#include "tessel/language/builtins/support.h"
#include "tessel/runtime/convert.h"

namespace tessel {
namespace {

/// How a class holds bits: integers in two's complement; of other classes whole numbers that are not negative,
/// in as many bits as they hold without gaps.
class Pattern {
 public:
  explicit Pattern(ArrayClass c)
      : isSigned_(c == ArrayClass::Int8 || c == ArrayClass::Int16 || c == ArrayClass::Int32 ||
                  c == ArrayClass::Int64),
        width_(visitElementType(c, [&]<class T>(T) { return std::numeric_limits<T>::digits; }) +
               (isSigned_ ? 1 : 0)) {}

  int width() const { return width_; }
  /// One more than the largest number.
  double limit() const { return std::ldexp(1.0, width_ - (isSigned_ ? 1 : 0)); }
  template <class E>
  static std::uint64_t bitsOf(E x) {
    return x < 0 ? static_cast<std::uint64_t>(static_cast<std::int64_t>(x)) : static_cast<std::uint64_t>(x);
  }
  template <class E>
  E number(std::uint64_t bits) const {
    const int unused = 64 - width_;
    if (isSigned_) return static_cast<E>(static_cast<std::int64_t>(bits << unused) >> unused);
    return static_cast<E>(bits << unused >> unused);
  }

 private:
  bool isSigned_;
  int width_;
};

/// Refuses numbers that are no patterns of bits.
void requirePatterns(const char* function, const HostArray& a, const Pattern& pattern) {
  requireReal(function, a);
  if (a.isInteger()) return;
  for (const double x : realParts(a)) {
    if (!(x >= 0) || x != std::floor(x))
      raiseInvalidArgument(function, "whole numbers that are not negative are needed.");
    if (x >= pattern.limit())
      raiseInvalidArgument(function, fmt::format("a number has more than {} bits.", pattern.width()));
  }
}

template <class F>
FunctionInfo bitwise(const char* name, F f, const char* help) {
  return {name,
          [=](Arrays& in, int) {
            const ArrayClass resultClass = arithmeticClass(name, in[0], in[1]);
            const Pattern pattern(resultClass);
            for (const HostArray& a : in) requirePatterns(name, a, pattern);
            const auto combine = [=](auto x, auto y) {
              return pattern.number<decltype(x)>(f(Pattern::bitsOf(x), Pattern::bitsOf(y)));
            };
            return Arrays{elementwise(name, in[0], in[1], combine, resultClass, resultClass)};
          },
          2,
          2,
          1,
          help};
}

/// Bits that leave the class (or the 53 bits of a double) are lost.
Arrays callBitshift(Arrays& in, int) {
  const ArrayClass resultClass = arithmeticClass("bitshift", in[0], in[1]);
  requirePatterns("bitshift", in[0], Pattern(resultClass));
  requireReal("bitshift", in[1]);
  for (const double x : realParts(in[0]))
    if (x < 0) raiseInvalidArgument("bitshift", "whole numbers that are not negative are needed.");
  for (const double k : realParts(in[1]))
    if (k != std::floor(k)) raiseInvalidArgument("bitshift", "whole numbers are needed.");
  const int bits =
      visitElementType(resultClass, [](auto zero) { return std::numeric_limits<decltype(zero)>::digits; });
  const auto shift = [bits](auto x, auto k) {
    const auto shifted = std::ldexp(x, static_cast<int>(std::clamp(k, decltype(k)(-1100), decltype(k)(100))));
    return std::fmod(std::floor(shifted), std::ldexp(decltype(x)(1), bits));
  };
  return {elementwise("bitshift", in[0], in[1], shift, resultClass, resultClass)};
}

/// Positions of bits as doubles, so that they may have any class.
HostArray bitPositions(const char* function, const HostArray& positions, const Pattern& pattern) {
  requireReal(function, positions);
  HostArray numbers = convertTo(positions, ArrayClass::Double);
  for (const double k : realParts(numbers)) {
    if (!(k >= 1 && k <= pattern.width() && k == std::floor(k)))
      raiseInvalidArgument(function, fmt::format("bits count from 1 to {} here.", pattern.width()));
  }
  return numbers;
}

template <class E>
std::uint64_t maskOf(E position) {
  return std::uint64_t{1} << (static_cast<int>(std::abs(position)) - 1);
}

Arrays callBitget(Arrays& in, int) {
  requireNumeric("bitget", in[0]);
  const ArrayClass resultClass = numericClass(in[0].arrayClass());
  const Pattern pattern(resultClass);
  requirePatterns("bitget", in[0], pattern);
  const HostArray positions = bitPositions("bitget", in[1], pattern);
  const auto get = [](auto x, auto k) -> decltype(x) { return (Pattern::bitsOf(x) & maskOf(k)) != 0 ? 1 : 0; };
  return {elementwise("bitget", in[0], positions, get, resultClass, resultClass)};
}

/// bitset(x, k), bitset(x, k, v). What is to be cleared has a negative position on the way.
Arrays callBitset(Arrays& in, int) {
  requireNumeric("bitset", in[0]);
  const ArrayClass resultClass = numericClass(in[0].arrayClass());
  const Pattern pattern(resultClass);
  requirePatterns("bitset", in[0], pattern);
  HostArray positions = bitPositions("bitset", in[1], pattern);
  if (in.size() > 2) {
    requireReal("bitset", in[2]);
    const auto signedPosition = [](auto k, auto value) -> decltype(k) { return value != 0 ? k : -k; };
    positions = elementwise("bitset", positions, convertTo(in[2], ArrayClass::Double), signedPosition,
                            ArrayClass::Double, ArrayClass::Double);
  }
  const auto set = [=](auto x, auto k) {
    const std::uint64_t bits = Pattern::bitsOf(x);
    return pattern.number<decltype(x)>(k > 0 ? bits | maskOf(k) : bits & ~maskOf(k));
  };
  return {elementwise("bitset", in[0], positions, set, resultClass, resultClass)};
}

Arrays callBitcmp(Arrays& in, int) {
  requireNumeric("bitcmp", in[0]);
  const ArrayClass resultClass = numericClass(in[0].arrayClass());
  const Pattern pattern(resultClass);
  requirePatterns("bitcmp", in[0], pattern);
  return {mapElements(in[0], resultClass, [=](auto x) {
    const auto real = std::real(x);
    return pattern.number<std::remove_const_t<decltype(real)>>(~Pattern::bitsOf(real));
  })};
}

}  // namespace

void registerBitBuiltins() {
  registerAll({
      bitwise("bitand", std::bit_and<std::uint64_t>{},
              "bitand(x, y): the bits that are set in both.\n"
              "Integers are patterns in two's complement; numbers of other classes are whole and not negative, "
              "doubles of 53 bits."),
      bitwise("bitor", std::bit_or<std::uint64_t>{},
              "bitor(x, y): the bits that are set in either. Numbers as in bitand."),
      bitwise("bitxor", std::bit_xor<std::uint64_t>{},
              "bitxor(x, y): the bits that are set in one alone. Numbers as in bitand."),
      {"bitshift", callBitshift, 2, 2, 1,
       "bitshift(x, k): x, which is not negative, shifted left by k bits; to the right for negative k.\n"
       "Bits beyond the largest number of the class are lost."},
      {"bitget", callBitget, 2, 2, 1,
       "bitget(x, k): bit k of x, from 1, the lowest one. Numbers as in bitand; the class is that of x."},
      {"bitset", callBitset, 2, 3, 1,
       "bitset(x, k), bitset(x, k, v): x with bit k, from 1, set, or cleared where v is 0. Numbers as in "
       "bitand."},
      {"bitcmp", callBitcmp, 1, 1, 1,
       "bitcmp(x): all bits of the class turned, 53 of doubles. Numbers as in bitand."},
  });
}

}  // namespace tessel
