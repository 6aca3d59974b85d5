#include "qfcore/number/numberops.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <functional>

#include "qfcore/number/doublenumber.h"
#include "qfcore/number/mpnumber.h"
#include "qfcore/number/mpvalue.h"
#include "qfcore/number/precision.h"
#include "qfcore/number/radix.h"
#include "qfcore/number/rounding.h"

namespace embedded {

namespace {

bool isDouble(const numberrepbody& body) { return body.gettype() == kDoubleRepresentation; }

double& asDouble(numberrepbody& body) { return static_cast<doublenumber&>(body).current(); }
double asDouble(const numberrepbody& body) { return static_cast<const doublenumber&>(body).current(); }
MpFloat& asMultiprecision(numberrepbody& body) { return static_cast<mpnumber&>(body).getmodifiableelement(); }
const MpFloat& asMultiprecision(const numberrepbody& body) {
  return static_cast<const mpnumber&>(body).getelement();
}

/// A double as a multiprecision value of `bits` bits.
class Lifted {
 public:
  Lifted(double value, unsigned bits) : value_(bits) { mpfr_set_d(value_.get(), value, MPFR_RNDN); }
  MpFloat& operator*() { return *value_; }

 private:
  MpScratch value_;
};

/// The rule for the four pairings of kinds: `operate(x, y)` modifies x, of doubles or of multiprecision values.
template <class Operate>
void combine(numberrepbody& a, const numberrepbody& b, Operate operate) {
  if (isDouble(a) && isDouble(b)) return operate(asDouble(a), asDouble(b));
  if (isDouble(a)) {
    Lifted left(asDouble(a), asMultiprecision(b).bits());
    operate(*left, asMultiprecision(b));
    a.setvalue((*left).toDouble());
  } else if (isDouble(b)) {
    operate(asMultiprecision(a), *Lifted(asDouble(b), asMultiprecision(a).bits()));
  } else {
    operate(asMultiprecision(a), asMultiprecision(b));
  }
}

template <class Compare>
bool compared(const numberrepbody& a, const numberrepbody& b, Compare compare) {
  if (isDouble(a) && isDouble(b)) return compare(asDouble(a), asDouble(b));
  if (isDouble(a)) return compare(*Lifted(asDouble(a), asMultiprecision(b).bits()), asMultiprecision(b));
  if (isDouble(b)) return compare(asMultiprecision(a), *Lifted(asDouble(b), asMultiprecision(a).bits()));
  return compare(asMultiprecision(a), asMultiprecision(b));
}

/// Calls `use(value)` with the current element as a multiprecision value, exactly.
template <class Use>
auto withMultiprecision(const numberrepbody& a, Use use) {
  if (isDouble(a)) return use(*Lifted(asDouble(a), kDoubleBits));
  return use(asMultiprecision(a));
}

/// Stores a multiprecision value: exactly in a multiprecision body, rounded to double in the other.
void store(numberrepbody& a, const MpFloat& value) {
  if (isDouble(a)) {
    a.setvalue(value.toDouble());
  } else {
    static_cast<mpnumber&>(a).setvalue(value);
  }
}

/// The low 64 bits of the truncated stored integer.
unsigned long long truncatedStored(const numberrepbody& a, int fractionLength) {
  if (isDouble(a)) return doublenumber::lowBits(timesPow2(asDouble(a), fractionLength));
  MpIntegerScratch stored;
  truncatedInteger(*stored, asMultiprecision(a), -long{fractionLength});
  const unsigned long long magnitude = mpz_getlimbn(stored.get(), 0);
  return mpz_sgn(stored.get()) < 0 ? -magnitude : magnitude;
}

int doubleToInt32(double x) {
  const double whole = std::trunc(x);
  return whole >= INT_MIN && whole <= INT_MAX ? static_cast<int>(whole) : INT_MIN;
}

/// The low 32 bits of the truncated stored integer, by the rule of the body's kind.
unsigned truncatedStored32(const numberrepbody& a, int fractionLength) {
  if (isDouble(a)) return static_cast<unsigned>(doubleToInt32(timesPow2(asDouble(a), fractionLength)));
  return static_cast<unsigned>(truncatedStored(a, fractionLength));
}

/// The stored integer of a double body where 64 bits hold it: most words need no multiprecision on their way to
/// text.
bool storedInteger64(const numberrepbody& a, int exponent, long long& stored) {
  if (!isDouble(a)) return false;
  const double integer = std::round(timesPow2(asDouble(a), -long{exponent}));
  if (!(std::fabs(integer) < 9223372036854775808.0)) return false;
  stored = static_cast<long long>(integer);
  return true;
}

/// The stored integer's two's-complement pattern in exactly `wordLength` bits.
void wordPattern(MpInteger& pattern, const numberrepbody& a, int wordLength, int exponent) {
  withMultiprecision(a, [&](const MpFloat& value) { storedInteger(pattern, value, exponent); });
  mpz_fdiv_r_2exp(pattern.get(), pattern.get(), static_cast<mp_bitcnt_t>(wordLength));
}

}  // namespace

void numberops::setvalue(numberrepbody& a, const numberrepbody& b) {
  if (isDouble(a) || isDouble(b)) {
    a.setvalue(b.todouble());
  } else {
    store(a, asMultiprecision(b));
  }
}

void numberops::plusequals(numberrepbody& a, const numberrepbody& b) {
  combine(a, b, [](auto& x, const auto& y) { x += y; });
}
void numberops::minusequals(numberrepbody& a, const numberrepbody& b) {
  combine(a, b, [](auto& x, const auto& y) { x -= y; });
}
void numberops::timesequals(numberrepbody& a, const numberrepbody& b) {
  combine(a, b, [](auto& x, const auto& y) { x *= y; });
}
void numberops::divideequals(numberrepbody& a, const numberrepbody& b) {
  combine(a, b, [](auto& x, const auto& y) { x /= y; });
}

void numberops::mod(numberrepbody& a, const numberrepbody& b) {
  struct Modulo {
    void operator()(double& x, double y) const { x = embedded::mod(x, y); }
    void operator()(MpFloat& x, const MpFloat& y) const { modulo(x, y); }
  };
  combine(a, b, Modulo{});
}

void numberops::hypot(numberrepbody& r, const numberrepbody& a, const numberrepbody& b) {
  if (isDouble(r) && isDouble(a) && isDouble(b)) {
    static_cast<doublenumber&>(r).hypot(asDouble(a), asDouble(b));
    return;
  }
  unsigned bits = kDoubleBits;
  if (!isDouble(r)) {
    bits = asMultiprecision(r).bits();
  } else {
    for (const auto* operand : {&a, &b}) {
      if (!isDouble(*operand)) bits = std::max(bits, asMultiprecision(*operand).bits());
    }
  }
  MpScratch length(bits), x(bits), y(bits);
  const auto lifted = [](MpScratch& room, const numberrepbody& operand) -> const MpFloat& {
    if (!isDouble(operand)) return asMultiprecision(operand);
    mpfr_set_d(room.get(), asDouble(operand), MPFR_RNDN);
    return *room;
  };
  embedded::hypot(*length, lifted(x, a), lifted(y, b));
  store(r, *length);
}

bool numberops::equal(const numberrepbody& a, const numberrepbody& b) {
  return compared(a, b, std::equal_to<>());
}
bool numberops::notequal(const numberrepbody& a, const numberrepbody& b) { return !equal(a, b); }
bool numberops::lessthan(const numberrepbody& a, const numberrepbody& b) {
  return compared(a, b, std::less<>());
}
bool numberops::lessthanorequal(const numberrepbody& a, const numberrepbody& b) {
  return compared(a, b, std::less_equal<>());
}
bool numberops::greaterthan(const numberrepbody& a, const numberrepbody& b) {
  return compared(a, b, std::greater<>());
}
bool numberops::greaterthanorequal(const numberrepbody& a, const numberrepbody& b) {
  return compared(a, b, std::greater_equal<>());
}

signed char numberops::fixed2int8(const numberrepbody& a, int, int fractionLength) {
  return static_cast<signed char>(truncatedStored32(a, fractionLength));
}
short numberops::fixed2int16(const numberrepbody& a, int, int fractionLength) {
  return static_cast<short>(truncatedStored32(a, fractionLength));
}
int numberops::fixed2int32(const numberrepbody& a, int, int fractionLength) {
  return static_cast<int>(truncatedStored32(a, fractionLength));
}
long long numberops::fixed2int64(const numberrepbody& a, int, int fractionLength) {
  return static_cast<long long>(truncatedStored(a, fractionLength));
}
unsigned char numberops::fixed2uint8(const numberrepbody& a, int, int fractionLength) {
  return static_cast<unsigned char>(truncatedStored32(a, fractionLength));
}
unsigned short numberops::fixed2uint16(const numberrepbody& a, int, int fractionLength) {
  return static_cast<unsigned short>(truncatedStored32(a, fractionLength));
}
unsigned numberops::fixed2uint32(const numberrepbody& a, int, int fractionLength) {
  return static_cast<unsigned>(truncatedStored(a, fractionLength));
}
unsigned long long numberops::fixed2uint64(const numberrepbody& a, int, int fractionLength) {
  return truncatedStored(a, fractionLength);
}

void numberops::fixed2IntArray(const numberrepbody& a, unsigned* words, int wordCount, int wordLength, double,
                               int exponent, double, const MpFloat& twoToWordLength) {
  std::fill_n(words, wordCount, 0U);
  long long stored = 0;
  if (storedInteger64(a, exponent, stored)) {
    for (int i = 0; i < wordCount && i * 32 < wordLength; ++i) {
      const auto word = static_cast<unsigned>(stored >> std::min(i * 32, 63));
      const int bitsHere = wordLength - i * 32;
      words[i] = bitsHere < 32 ? word & ((1U << bitsHere) - 1) : word;
    }
    return;
  }
  MpIntegerScratch pattern;
  withMultiprecision(
      a, [&](const MpFloat& value) { convertToUnsignedInteger(*pattern, value, exponent, twoToWordLength); });
  const int bits = std::min(wordLength, wordCount * 32);
  mpz_fdiv_r_2exp(pattern.get(), pattern.get(), static_cast<mp_bitcnt_t>(bits));
  mpz_export(words, nullptr, -1, sizeof *words, 0, 0, pattern.get());
}

std::string numberops::fixed2base(const numberrepbody& a, int base, bool, int wordLength, double, int exponent,
                                  double) {
  long long stored = 0;
  if (wordLength < 64 && storedInteger64(a, exponent, stored)) {
    const auto pattern = static_cast<unsigned long long>(stored) & ((1ULL << wordLength) - 1);
    return patternText(pattern, base, radixDigits(wordLength, base));
  }
  MpIntegerScratch pattern;
  wordPattern(*pattern, a, wordLength, exponent);
  return patternText(*pattern, base, radixDigits(wordLength, base));
}

bool numberops::base2fixed(numberrepbody& a, const char* text, int base, bool isSigned, int wordLength, double,
                           int exponent, double) {
  MpIntegerScratch stored;
  if (!readPattern(*stored, text, base)) return false;
  if (isSigned && mpz_sizeinbase(stored.get(), 2) == static_cast<std::size_t>(wordLength) &&
      mpz_sgn(stored.get())) {
    MpIntegerScratch range;
    mpz_ui_pow_ui(range.get(), 2, static_cast<unsigned long>(wordLength));
    mpz_sub(stored.get(), stored.get(), range.get());
  }
  MpScratch value(kDoubleBits);
  value->assign(stored.get(), kDoubleBits);
  value->scaleByPow2(exponent);
  store(a, *value);
  return true;
}

std::string numberops::fixed2sdec(const numberrepbody& a, bool, int, double, int exponent, double) {
  long long small = 0;
  if (storedInteger64(a, exponent, small)) return std::to_string(small);
  MpIntegerScratch stored;
  withMultiprecision(a, [&](const MpFloat& value) { storedInteger(*stored, value, exponent); });
  return patternText(*stored, 10, 0);
}

std::string numberops::decimalText(const numberrepbody& a, int decimals) {
  if (a.iszero()) return decimals > 0 ? "0." + std::string(static_cast<std::size_t>(decimals), '0') : "0";
  return withMultiprecision(a, [&](const MpFloat& value) {
    std::string text(static_cast<std::size_t>(mpfr_snprintf(nullptr, 0, "%.*Rf", decimals, value.get())) + 1,
                     '\0');
    mpfr_snprintf(text.data(), text.size(), "%.*Rf", decimals, value.get());
    text.pop_back();
    return text;
  });
}

int numberops::fractionBits(const numberrepbody& a) {
  return withMultiprecision(a, [](const MpFloat& value) {
    if (!mpfr_regular_p(value.get())) return 0;
    return static_cast<int>(std::max<mpfr_exp_t>(mpfr_min_prec(value.get()) - mpfr_get_exp(value.get()), 0));
  });
}

std::string numberops::float2base(const numberrepbody& a, int base, int wordLength, int exponentLength) {
  MpIntegerScratch pattern;
  withMultiprecision(a, [&](const MpFloat& value) {
    FloatFormat{wordLength, exponentLength}.encode(*pattern, value);
  });
  return patternText(*pattern, base, radixDigits(wordLength, base));
}

bool numberops::base2float(numberrepbody& a, const char* text, int base, int wordLength, int exponentLength) {
  MpIntegerScratch pattern;
  if (!readPattern(*pattern, text, base)) return false;
  if (mpz_sizeinbase(pattern.get(), 2) > static_cast<std::size_t>(wordLength)) return false;
  MpScratch value(kDoubleBits);
  FloatFormat{wordLength, exponentLength}.decode(*value, *pattern);
  store(a, *value);
  return true;
}

}  // namespace embedded
