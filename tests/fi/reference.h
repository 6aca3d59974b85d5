/// What the tests of arrays compare with: quantization and types in exact rationals, and random cases.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "qfcore/fi/fi.h"
#include "tests/number/reference.h"

namespace reference {

using embedded::fi;
using embedded::fimath;
using embedded::OverflowModeEnum;
using embedded::RoundModeEnum;
using EmbeddedTypeSystem::NumericType;

struct Counts {
  std::size_t overflows = 0, underflows = 0;
};

/// Rounds by floor and remainder. `inDoubles` adds one half as doubles do, which is the rule of double-backed
/// values.
inline mpz_class rounded(const mpq_class& x, RoundModeEnum mode, bool inDoubles = false) {
  const mpz_class below = floored(x);
  const mpq_class remainder = x - below, half(1, 2);
  const bool isTie = remainder == half;
  switch (mode) {
    case RoundModeEnum::floor: return below;
    case RoundModeEnum::ceil: return below + (remainder != 0);
    case RoundModeEnum::fix: return below + (x < 0 && remainder != 0);
    case RoundModeEnum::nearest:
      return inDoubles ? floored(roundedToBits(x + half, 53)) : mpz_class(below + (remainder >= half));
    case RoundModeEnum::convergent:
      if (isTie) return below + mpz_odd_p(below.get_mpz_t());
      return inDoubles ? floored(roundedToBits(x + half, 53)) : mpz_class(below + (remainder > half));
    default: {
      const mpq_class magnitude = abs(x);
      if (inDoubles && magnitude >= pow2(53)) return below;
      const mpz_class away =
          floored(inDoubles ? roundedToBits(magnitude + half, 53) : mpq_class(magnitude + half));
      return x < 0 ? mpz_class(-away) : away;
    }
  }
}

/// `value` (held, in units of the binary-point grid) in a fixed-point type.
inline mpq_class quantized(const mpq_class& value, const NumericType& type, RoundModeEnum round,
                           OverflowModeEnum overflow, Counts* counts = nullptr, bool inDoubles = false) {
  if (value == 0) return value;
  const int w = type.wordLength(), f = type.fractionLength();
  mpz_class stored = rounded(scaled(value, f), round, inDoubles);
  if (stored == 0 && counts) ++counts->underflows;
  const mpz_class modulus = pow2(w);
  mpz_class least = type.isSigned() ? mpz_class(-(modulus / 2)) : mpz_class(0);
  const mpz_class most = least + modulus - 1;
  if (stored < least || stored > most) {
    if (counts) ++counts->overflows;
    if (overflow == OverflowModeEnum::saturate) {
      stored = stored < least ? least : most;
    } else {
      mpz_class offset = stored - least;
      mpz_fdiv_r(offset.get_mpz_t(), offset.get_mpz_t(), modulus.get_mpz_t());
      stored = least + offset;
    }
  }
  return scaled(mpq_class(stored), -f);
}

/// The held value of element `k`, or of its imaginary part.
inline mpq_class valueOf(const fi& x, unsigned k) { return valueOf(x.realPart()[k]); }
inline mpq_class imagOf(const fi& x, unsigned k) {
  return x.isreal() ? mpq_class(0) : valueOf(x.imagPart()[k]);
}

/// Between held and real-world values.
inline mpq_class realWorld(const mpq_class& held, const NumericType& type) {
  return type.isSlopeBias() ? mpq_class(held * mpq_class(type.slopeAdjustmentFactor()) + mpq_class(type.bias()))
                            : held;
}
inline mpq_class heldOf(const mpq_class& value, const NumericType& type) {
  return type.isSlopeBias()
             ? mpq_class((value - mpq_class(type.bias())) / mpq_class(type.slopeAdjustmentFactor()))
             : value;
}

/// Random types, settings and arrays.
class Random : public Generator {
 public:
  RoundModeEnum roundMode() { return static_cast<RoundModeEnum>(integer(0, 5)); }
  OverflowModeEnum overflowMode() { return static_cast<OverflowModeEnum>(integer(0, 1)); }
  NumericType type(int minWordLength, int maxWordLength) {
    const int w = integer(minWordLength, maxWordLength);
    return NumericType(coin(), w, integer(-8, w + 8));
  }
  /// An array of `dims` with random stored integers, many of them bounds; of more than a thousand one alone,
  /// near the end, is an extreme.
  fi array(const std::vector<unsigned>& dims, const NumericType& type, const fimath& math, bool isComplex) {
    unsigned numel = 1;
    for (const unsigned size : dims) numel *= size;
    const unsigned count = isComplex ? 2 * numel : numel;
    const Format format{type.isSigned(), type.wordLength(), 0};
    const std::size_t wordsEach = (static_cast<unsigned>(type.wordLength()) + 31) / 32;
    std::vector<unsigned> words(wordsEach * count + 1);
    for (unsigned k = 0; k < count; ++k) {
      mpz_class value = stored(format);
      if (numel > 1000) {
        value /= 4;
        if (k % numel == numel - 3)
          value = format.least() + (coin() ? mpz_class(pow2(format.wordLength) - 1) : 0);
      }
      const mpz_class pattern = format.pattern(value);
      mpz_export(&words[k * wordsEach], nullptr, -1, sizeof(unsigned), 0, 0, pattern.get_mpz_t());
    }
    return fi(words.data(), dims.data(), static_cast<unsigned>(dims.size()), type, math, isComplex);
  }
};

inline std::string described(const NumericType& type, const fimath& math) {
  return type.tostring() + " " + math.toString();
}

}  // namespace reference
