// Bit operations of double bodies: on the stored integer's two's-complement pattern in 64 bits.
#include <cmath>
#include <functional>

#include "qfcore/number/doublenumber.h"
#include "qfcore/number/messages.h"
#include "qfcore/number/rounding.h"

namespace embedded {

namespace {

bool signBitSet(unsigned long long pattern, int wordLength) { return pattern >> (wordLength - 1) != 0; }

}  // namespace

unsigned long long doublenumber::lowBits(double x) {
  if (!std::isfinite(x)) return 0;
  const double magnitude = std::trunc(std::fabs(x));
  const double low =
      magnitude < 18446744073709551616.0 ? magnitude : std::fmod(magnitude, 18446744073709551616.0);
  const auto bits = static_cast<unsigned long long>(low);
  return x < 0 ? -bits : bits;
}

unsigned long long doublenumber::convertToUnsignedInteger(double, int exponent, double,
                                                          unsigned long long twoToWordLength) const {
  const double x = current();
  if (x == 0) return 0;
  double stored = std::round(timesPow2(x, -long{exponent}));
  if (x < 0) stored += static_cast<double>(twoToWordLength);
  return lowBits(stored);
}

doublenumber& doublenumber::storePattern(unsigned long long pattern, bool isNegative, int exponent,
                                         unsigned long long twoToWordLength) {
  double stored = static_cast<double>(pattern);
  if (isNegative) stored -= static_cast<double>(twoToWordLength);
  return setvalue(timesPow2(stored, exponent));
}

template <class Combine>
doublenumber& doublenumber::combineBits(const numberrepbody& other, bool isSigned, int wordLength, double slope,
                                        int exponent, double bias, unsigned long long twoToWordLength,
                                        Combine combine) {
  const auto pattern =
      combine(convertToUnsignedInteger(slope, exponent, bias, twoToWordLength),
              doublenumber(other.todouble()).convertToUnsignedInteger(slope, exponent, bias, twoToWordLength));
  return storePattern(pattern, isSigned && signBitSet(pattern, wordLength), exponent, twoToWordLength);
}

doublenumber& doublenumber::bitcmp(bool isSigned, int, double slope, int exponent, double bias,
                                   unsigned long long twoToWordLength, unsigned long long xorMask) {
  const auto pattern = convertToUnsignedInteger(slope, exponent, bias, twoToWordLength) ^ xorMask;
  return storePattern(pattern, isSigned && current() >= 0, exponent, twoToWordLength);
}

doublenumber& doublenumber::fibitand(const numberrepbody& other, bool isSigned, int wordLength, double slope,
                                     int exponent, double bias, unsigned long long twoToWordLength) {
  return combineBits(other, isSigned, wordLength, slope, exponent, bias, twoToWordLength, std::bit_and<>());
}

doublenumber& doublenumber::fibitor(const numberrepbody& other, bool isSigned, int wordLength, double slope,
                                    int exponent, double bias, unsigned long long twoToWordLength) {
  return combineBits(other, isSigned, wordLength, slope, exponent, bias, twoToWordLength, std::bit_or<>());
}

doublenumber& doublenumber::bitxor(const numberrepbody& other, bool isSigned, int wordLength, double slope,
                                   int exponent, double bias, unsigned long long twoToWordLength) {
  return combineBits(other, isSigned, wordLength, slope, exponent, bias, twoToWordLength, std::bit_xor<>());
}

bool doublenumber::bitget(int position, bool, int wordLength, double slope, int exponent, double bias,
                          unsigned long long twoToWordLength) const {
  if (position < 1 || position > wordLength) fail<message::bitgetOutOfRange>();
  return (convertToUnsignedInteger(slope, exponent, bias, twoToWordLength) >> (position - 1) & 1) != 0;
}

doublenumber& doublenumber::bitset(int position, bool value, bool isSigned, int wordLength, double slope,
                                   int exponent, double bias, unsigned long long twoToWordLength) {
  if (position < 1 || position > wordLength) fail<message::bitsetOutOfRange>();
  const auto bit = 1ULL << (position - 1);
  const auto stored = convertToUnsignedInteger(slope, exponent, bias, twoToWordLength);
  const auto pattern = value ? stored | bit : stored & ~bit;
  return storePattern(pattern, isSigned && signBitSet(pattern, wordLength), exponent, twoToWordLength);
}

doublenumber& doublenumber::bitcmp(bool, int, double, int, double, const MpInteger&, const MpFloat&) {
  fail<message::doublebody::bitcmp>();
}
doublenumber& doublenumber::fibitand(const numberrepbody&, bool, int, double, int, double, const MpFloat&) {
  fail<message::doublebody::fibitand>();
}
doublenumber& doublenumber::fibitor(const numberrepbody&, bool, int, double, int, double, const MpFloat&) {
  fail<message::doublebody::fibitor>();
}
doublenumber& doublenumber::bitxor(const numberrepbody&, bool, int, double, int, double, const MpFloat&) {
  fail<message::doublebody::bitxor>();
}
bool doublenumber::bitget(int, bool, int, double, int, double, const MpFloat&) const {
  fail<message::doublebody::bitget>();
}
doublenumber& doublenumber::bitset(int, bool, bool, int, double, int, double, const MpFloat&) {
  fail<message::doublebody::bitset>();
}

}  // namespace embedded
