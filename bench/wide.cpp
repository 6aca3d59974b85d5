/// Words beyond the double threshold, beside the same arithmetic by raw MPFR and raw GMP on values made
/// beforehand.
#include <gmpxx.h>
#include <mpfr.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <utility>

#include "bench/job.h"
#include "bench/operands.h"
#include "bench/systemc.h"

namespace bench {
namespace {

using embedded::number;
using embedded::NumberVector;
using embedded::OverflowModeEnum;
using embedded::quantizer;
using embedded::RoundModeEnum;

/// Bits that rounding takes off, and those by which values exceed the range.
constexpr int kRoundedBits = 16, kExcessBits = 1;
constexpr int kLimbBits = GMP_NUMB_BITS;

constexpr std::size_t limbsFor(int bits) {
  return static_cast<std::size_t>((bits + kLimbBits - 1) / kLimbBits);
}

/// Random stored integers of signed words, all of whose bits are random.
struct WideOperand {
  std::size_t elementCount;
  int wordLength;
  std::size_t wordsEach;
  std::vector<std::uint32_t> words;  ///< two's complement, least significant first

  WideOperand(std::size_t count, int bits, unsigned seed)
      : elementCount(count), wordLength(bits), wordsEach((bits + 31) / 32), words(count * wordsEach) {
    std::mt19937 generator(seed);
    for (std::uint32_t& word : words) word = static_cast<std::uint32_t>(generator());
  }

  fi asFi(int fractionLength, bool isColumn = false) const {
    unsigned dims[] = {1, static_cast<unsigned>(elementCount)};
    if (isColumn) std::swap(dims[0], dims[1]);
    fimath math;
    math.setMaxSumWordLength(NumericType::kMaxWordLength);
    math.setMaxProductWordLength(NumericType::kMaxWordLength);
    return fi(words.data(), dims, 2, NumericType(true, wordLength, fractionLength), math);
  }

  /// Element `i` as an integer.
  void get(std::size_t i, mpz_ptr value) const {
    mpz_import(value, wordsEach, -1, sizeof words[0], 0, 0, &words[i * wordsEach]);
    mpz_fdiv_r_2exp(value, value, wordLength);
    if (!mpz_tstbit(value, wordLength - 1)) return;
    mpz_t modulus;
    mpz_init_set_ui(modulus, 1);
    mpz_mul_2exp(modulus, modulus, wordLength);
    mpz_sub(value, value, modulus);
    mpz_clear(modulus);
  }
};

// ---------------------------------------------------------------------------------------------------- raw MPFR

/// Initialised MPFR values of one precision.
class MpfrValues {
 public:
  MpfrValues(std::size_t count, mpfr_prec_t bits) : values_(count) {
    for (auto& value : values_) mpfr_init2(&value, bits);
  }
  /// The values of an operand.
  MpfrValues(const WideOperand& operand, int fractionLength)
      : MpfrValues(operand.elementCount, operand.wordLength) {
    mpz_t integer;
    mpz_init(integer);
    for (std::size_t i = 0; i < operand.elementCount; ++i) {
      operand.get(i, integer);
      mpfr_set_z_2exp(&values_[i], integer, -fractionLength, MPFR_RNDN);
    }
    mpz_clear(integer);
  }
  MpfrValues(const MpfrValues&) = delete;
  MpfrValues& operator=(const MpfrValues&) = delete;
  ~MpfrValues() {
    for (auto& value : values_) mpfr_clear(&value);
  }
  mpfr_ptr operator[](std::size_t i) { return &values_[i]; }
  std::size_t size() const { return values_.size(); }

 private:
  std::vector<__mpfr_struct> values_;
};

using MpfrOperation = int (*)(mpfr_ptr, mpfr_srcptr, mpfr_srcptr, mpfr_rnd_t);

Prepare byMpfr(int wordLength, MpfrOperation operation, int resultBits) {
  return [=](std::size_t elementCount) -> Work {
    auto a = std::make_shared<MpfrValues>(WideOperand(elementCount, wordLength, 1), wordLength - 1);
    auto b = std::make_shared<MpfrValues>(WideOperand(elementCount, wordLength, 2), wordLength - 1);
    auto result = std::make_shared<MpfrValues>(elementCount, resultBits);
    return [=] {
      for (std::size_t i = 0; i < a->size(); ++i) operation((*result)[i], (*a)[i], (*b)[i], MPFR_RNDN);
    };
  };
}

Prepare compareByMpfr(int wordLength) {
  return [=](std::size_t elementCount) -> Work {
    auto a = std::make_shared<MpfrValues>(WideOperand(elementCount, wordLength, 1), wordLength - 1);
    auto b = std::make_shared<MpfrValues>(WideOperand(elementCount, wordLength, 2), wordLength - 1);
    return [=, result = std::vector<unsigned char>(elementCount)]() mutable {
      for (std::size_t i = 0; i < a->size(); ++i) result[i] = mpfr_less_p((*a)[i], (*b)[i]) != 0;
      benchmark::ClobberMemory();
    };
  };
}

/// What is quantized: `kRoundedBits` more behind the point, and up to twice the range.
WideOperand unquantized(std::size_t elementCount, int wordLength) {
  return WideOperand(elementCount, wordLength + kRoundedBits + kExcessBits, 1);
}

/// Scale, add one half, floor, clamp, scale back.
Prepare quantizeByMpfr(int wordLength) {
  return [=](std::size_t elementCount) -> Work {
    const mpfr_prec_t bits = wordLength + kRoundedBits + kExcessBits + 1;
    auto source =
        std::make_shared<MpfrValues>(unquantized(elementCount, wordLength), wordLength - 1 + kRoundedBits);
    auto target = std::make_shared<MpfrValues>(elementCount, bits);
    auto constants = std::make_shared<MpfrValues>(3, bits);
    const mpfr_ptr half = (*constants)[0], max = (*constants)[1], min = (*constants)[2];
    mpfr_set_d(half, 0.5, MPFR_RNDN);
    mpfr_set_ui_2exp(max, 1, wordLength - 1, MPFR_RNDN);
    mpfr_neg(min, max, MPFR_RNDN);
    mpfr_sub_ui(max, max, 1, MPFR_RNDN);
    return [=] {
      for (std::size_t i = 0; i < source->size(); ++i) {
        mpfr_ptr x = (*target)[i];
        mpfr_mul_2si(x, (*source)[i], wordLength - 1, MPFR_RNDN);
        mpfr_add(x, x, half, MPFR_RNDN);
        mpfr_floor(x, x);
        if (mpfr_greater_p(x, max)) mpfr_set(x, max, MPFR_RNDN);
        if (mpfr_less_p(x, min)) mpfr_set(x, min, MPFR_RNDN);
        mpfr_div_2si(x, x, wordLength - 1, MPFR_RNDN);
      }
      (void)constants;
    };
  };
}

// ----------------------------------------------------------------------------------------------------- raw GMP

/// Integers as sign and magnitude, `limbsEach` limbs an element.
struct LimbValues {
  std::size_t limbsEach;
  std::vector<mp_limb_t> limbs;
  std::vector<unsigned char> isNegative;

  LimbValues(std::size_t elementCount, int bits)
      : limbsEach(limbsFor(bits)), limbs(elementCount * limbsEach), isNegative(elementCount) {}
  explicit LimbValues(const WideOperand& operand) : LimbValues(operand.elementCount, operand.wordLength) {
    mpz_t integer;
    mpz_init(integer);
    for (std::size_t i = 0; i < isNegative.size(); ++i) {
      operand.get(i, integer);
      isNegative[i] = mpz_sgn(integer) < 0;
      mpz_export((*this)[i], nullptr, -1, sizeof limbs[0], 0, 0, integer);
    }
    mpz_clear(integer);
  }
  mp_limb_t* operator[](std::size_t i) { return &limbs[i * limbsEach]; }
  const mp_limb_t* operator[](std::size_t i) const { return &limbs[i * limbsEach]; }
};

void addLimbs(LimbValues& sum, const LimbValues& a, const LimbValues& b, std::size_t i) {
  const auto limbCount = static_cast<mp_size_t>(a.limbsEach);
  mp_limb_t* result = sum[i];
  if (a.isNegative[i] == b.isNegative[i]) {
    result[limbCount] = mpn_add_n(result, a[i], b[i], limbCount);
    sum.isNegative[i] = a.isNegative[i];
    return;
  }
  const bool isLess = mpn_cmp(a[i], b[i], limbCount) < 0;
  mpn_sub_n(result, isLess ? b[i] : a[i], isLess ? a[i] : b[i], limbCount);
  result[limbCount] = 0;
  sum.isNegative[i] = isLess ? b.isNegative[i] : a.isNegative[i];
}

void multiplyLimbs(LimbValues& product, const LimbValues& a, const LimbValues& b, std::size_t i) {
  mpn_mul_n(product[i], a[i], b[i], static_cast<mp_size_t>(a.limbsEach));
  product.isNegative[i] = a.isNegative[i] ^ b.isNegative[i];
}

using LimbOperation = void (*)(LimbValues&, const LimbValues&, const LimbValues&, std::size_t);

template <LimbOperation Operation>
Prepare byLimbs(int wordLength, int resultBits) {
  return [=](std::size_t elementCount) -> Work {
    return [=, a = LimbValues(WideOperand(elementCount, wordLength, 1)),
            b = LimbValues(WideOperand(elementCount, wordLength, 2)),
            result = LimbValues(elementCount, resultBits)]() mutable {
      for (std::size_t i = 0; i < elementCount; ++i) Operation(result, a, b, i);
      benchmark::ClobberMemory();
    };
  };
}

/// Adds one half, to a negative magnitude a little less, shifts, and compares with the bound of its sign.
Prepare quantizeByLimbs(int wordLength) {
  return [=](std::size_t elementCount) -> Work {
    const WideOperand operand = unquantized(elementCount, wordLength);
    LimbValues bounds(2, operand.wordLength);
    bounds[1][(wordLength - 1) / kLimbBits] = mp_limb_t{1} << ((wordLength - 1) % kLimbBits);
    mpn_sub_1(bounds[0], bounds[1], static_cast<mp_size_t>(bounds.limbsEach), 1);
    return [=, source = LimbValues(operand), target = LimbValues(elementCount, operand.wordLength)]() mutable {
      const auto limbCount = static_cast<mp_size_t>(source.limbsEach);
      for (std::size_t i = 0; i < elementCount; ++i) {
        const bool isNegative = source.isNegative[i];
        mp_limb_t* x = target[i];
        mpn_add_1(x, source[i], limbCount, (mp_limb_t{1} << (kRoundedBits - 1)) - isNegative);
        mpn_rshift(x, x, limbCount, kRoundedBits);
        if (mpn_cmp(x, bounds[isNegative], limbCount) > 0) mpn_copyi(x, bounds[isNegative], limbCount);
        target.isNegative[i] = isNegative;
      }
      benchmark::ClobberMemory();
    };
  };
}

bool isLess(const LimbValues& a, const LimbValues& b, std::size_t i) {
  if (a.isNegative[i] != b.isNegative[i]) return a.isNegative[i] != 0;
  const int order = mpn_cmp(a[i], b[i], static_cast<mp_size_t>(a.limbsEach));
  return a.isNegative[i] ? order > 0 : order < 0;
}

Prepare compareByLimbs(int wordLength) {
  return [=](std::size_t elementCount) -> Work {
    return [=, a = LimbValues(WideOperand(elementCount, wordLength, 1)),
            b = LimbValues(WideOperand(elementCount, wordLength, 2)),
            result = std::vector<unsigned char>(elementCount)]() mutable {
      for (std::size_t i = 0; i < elementCount; ++i) result[i] = isLess(a, b, i);
      benchmark::ClobberMemory();
    };
  };
}

/// Integers made beforehand, one a value, and their patterns in a char matrix, one a row.
struct TextValues {
  WideOperand operand;
  int base;
  std::size_t digits;
  std::vector<mpz_class> integers;
  std::vector<char> text;
  mpz_class modulus, pattern;
  std::string buffer;

  TextValues(std::size_t elementCount, int wordLength, int bitsPerDigit)
      : operand(elementCount, wordLength, 1),
        base(1 << bitsPerDigit),
        digits(static_cast<std::size_t>((wordLength + bitsPerDigit - 1) / bitsPerDigit)),
        integers(elementCount),
        text(elementCount * digits),
        modulus(mpz_class(1) << wordLength),
        buffer(digits + 2, '0') {
    for (std::size_t i = 0; i < elementCount; ++i) operand.get(i, integers[i].get_mpz_t());
    write();
  }
  void write() {
    for (std::size_t i = 0; i < integers.size(); ++i) {
      mpz_fdiv_r_2exp(pattern.get_mpz_t(), integers[i].get_mpz_t(), operand.wordLength);
      mpz_get_str(buffer.data(), base, pattern.get_mpz_t());
      const std::size_t padding = digits - std::strlen(buffer.data());
      for (std::size_t k = 0; k < digits; ++k) {
        text[k * integers.size() + i] = k < padding ? '0' : buffer[k - padding];
      }
    }
  }
  void read() {
    buffer[digits] = 0;
    for (std::size_t i = 0; i < integers.size(); ++i) {
      for (std::size_t k = 0; k < digits; ++k) buffer[k] = text[k * integers.size() + i];
      mpz_set_str(integers[i].get_mpz_t(), buffer.data(), base);
      if (mpz_tstbit(integers[i].get_mpz_t(), operand.wordLength - 1)) integers[i] -= modulus;
    }
  }
};

Prepare textByGmp(int wordLength, int bitsPerDigit, void (TextValues::*convert)()) {
  return [=](std::size_t elementCount) -> Work {
    return [convert, values = TextValues(elementCount, wordLength, bitsPerDigit)]() mutable {
      (values.*convert)();
      benchmark::ClobberMemory();
    };
  };
}

// ----------------------------------------------------------------------------------------------------- SystemC

template <int WordLength>
std::vector<sc_dt::sc_bigint<WordLength>> scValues(const WideOperand& operand) {
  std::vector<sc_dt::sc_bigint<WordLength>> values(operand.elementCount);
  for (std::size_t i = 0; i < values.size(); ++i) {
    for (std::size_t k = operand.wordsEach; k-- > 0;) {
      values[i] = (values[i] << 32) | sc_dt::sc_bigint<40>(operand.words[i * operand.wordsEach + k]);
    }
  }
  return values;
}

template <int WordLength, int ResultBits, class Operation>
Contender byBigInteger(Operation operation) {
  return {"SystemC sc_bigint",
          [=](std::size_t elementCount) -> Work {
            return [=, a = scValues<WordLength>(WideOperand(elementCount, WordLength, 1)),
                    b = scValues<WordLength>(WideOperand(elementCount, WordLength, 2)),
                    result = std::vector<sc_dt::sc_bigint<ResultBits>>(elementCount)]() mutable {
              for (std::size_t i = 0; i < elementCount; ++i) result[i] = operation(a[i], b[i]);
              benchmark::ClobberMemory();
            };
          },
          {},
          kSlowCount};
}

template <int WordLength>
Contender quantizeByBigInteger() {
  constexpr int kSourceBits = WordLength + kRoundedBits + kExcessBits;
  return {"SystemC sc_bigint",
          [](std::size_t elementCount) -> Work {
            const sc_dt::sc_bigint<kSourceBits + 1> half = 1 << (kRoundedBits - 1);
            sc_dt::sc_bigint<WordLength + 1> max = 1;
            max = (max << (WordLength - 1)) - 1;
            const sc_dt::sc_bigint<WordLength + 1> min = -max - 1;
            return [=, source = scValues<kSourceBits>(unquantized(elementCount, WordLength)),
                    target = std::vector<sc_dt::sc_bigint<WordLength>>(elementCount)]() mutable {
              for (std::size_t i = 0; i < elementCount; ++i) {
                const sc_dt::sc_bigint<kSourceBits + 1> integer = (source[i] + half) >> kRoundedBits;
                if (integer > max) {
                  target[i] = max;
                } else if (integer < min) {
                  target[i] = min;
                } else {
                  target[i] = integer;
                }
              }
              benchmark::ClobberMemory();
            };
          },
          {},
          kSlowCount};
}

// ---------------------------------------------------------------------------------------------------------- fi

template <class Operation>
Prepare byWideFi(int wordLength, Operation operation) {
  return [=](std::size_t elementCount) -> Work {
    return [=, a = WideOperand(elementCount, wordLength, 1).asFi(wordLength - 1),
            b = WideOperand(elementCount, wordLength, 2).asFi(wordLength - 1)] {
      benchmark::DoNotOptimize(operation(a, b));
    };
  };
}

/// Element by element into values made beforehand.
Prepare byQuantizer(int wordLength) {
  return [=](std::size_t elementCount) -> Work {
    auto source =
        std::make_shared<fi>(unquantized(elementCount, wordLength).asFi(wordLength - 1 + kRoundedBits));
    auto target = std::make_shared<number>(static_cast<unsigned>(elementCount),
                                           static_cast<unsigned>(wordLength), NumberVector{});
    const NumericType type(true, wordLength, wordLength - 1);
    return [=, q = quantizer(type, RoundModeEnum::nearest, OverflowModeEnum::saturate)] {
      const number& from = source->realPart();
      for (unsigned i = 0; i < target->numel(); ++i) {
        q.quantize(from[i], (*target)[i]);
      }
    };
  };
}

/// A whole array assigned to another.
Prepare byAssignment(int wordLength) {
  return [=](std::size_t elementCount) -> Work {
    return [=, source = unquantized(elementCount, wordLength).asFi(wordLength - 1 + kRoundedBits),
            target = fi(1U, static_cast<unsigned>(elementCount),
                        NumericType(true, wordLength, wordLength - 1))]() mutable {
      target.copydata(source);
      benchmark::ClobberMemory();
    };
  };
}

Prepare toTextByFi(int wordLength, int base) {
  return [=](std::size_t elementCount) -> Work {
    return [=, a = WideOperand(elementCount, wordLength, 1).asFi(wordLength - 1, true)] {
      benchmark::DoNotOptimize(a.num2base(base));
    };
  };
}

Prepare fromTextByFi(int wordLength, int base) {
  return [=](std::size_t elementCount) -> Work {
    fi a = WideOperand(elementCount, wordLength, 1).asFi(wordLength - 1, true);
    return [=, text = a.num2base(base)]() mutable {
      a.base2num(text, base);
      benchmark::ClobberMemory();
    };
  };
}

const std::vector<std::size_t> kCounts = {1'000, 100'000};

template <int WordLength>
std::vector<Job> jobsFor() {
  const std::string bits = std::to_string(WordLength) + "-bit words: ";
  const std::vector<Goal> fast = {atMost(1.2, "raw MPFR"), atMost(2, "raw GMP")};
  const std::vector<Goal> quantizes =
      WordLength == 64 ? std::vector{atMost(0.5, "raw MPFR")} : std::vector<Goal>{};
  constexpr int kSumBits = WordLength + 1, kProductBits = 2 * WordLength;
  std::vector<Job> jobs = {
      {bits + "add, full precision",
       {{"raw MPFR", byMpfr(WordLength, mpfr_add, kSumBits)},
        {"raw GMP", byLimbs<addLimbs>(WordLength, kSumBits)},
        subject("fi plus", byWideFi(WordLength, [](const fi& a, const fi& b) { return a.plus(b); }), fast),
        byBigInteger<WordLength, kSumBits>([](const auto& a, const auto& b) { return a + b; })},
       kCounts},
      {bits + "multiply, full precision",
       {{"raw MPFR", byMpfr(WordLength, mpfr_mul, kProductBits)},
        {"raw GMP", byLimbs<multiplyLimbs>(WordLength, kProductBits)},
        subject("fi times", byWideFi(WordLength, [](const fi& a, const fi& b) { return a.times(b); }), fast),
        byBigInteger<WordLength, kProductBits>([](const auto& a, const auto& b) { return a * b; })},
       kCounts},
      {bits + "quantize, nearest saturate",
       {{"raw MPFR", quantizeByMpfr(WordLength)},
        {"raw GMP", quantizeByLimbs(WordLength)},
        subject("quantizer", byQuantizer(WordLength), quantizes),
        subject("fi copydata", byAssignment(WordLength), quantizes),
        quantizeByBigInteger<WordLength>()},
       kCounts},
      {bits + "compare, a < b",
       {{"raw MPFR", compareByMpfr(WordLength)},
        {"raw GMP", compareByLimbs(WordLength)},
        subject("fi lt", byWideFi(WordLength, [](const fi& a, const fi& b) { return a.lt(b); }))},
       kCounts},
  };
  for (const auto& [name, bitsPerDigit] : {std::pair("binary", 1), std::pair("hexadecimal", 4)}) {
    jobs.push_back({bits + "to " + name + " text",
                    {{"raw GMP", textByGmp(WordLength, bitsPerDigit, &TextValues::write)},
                     subject("fi num2base", toTextByFi(WordLength, 1 << bitsPerDigit))},
                    kCounts});
    jobs.push_back({bits + "from " + name + " text",
                    {{"raw GMP", textByGmp(WordLength, bitsPerDigit, &TextValues::read)},
                     subject("fi base2num", fromTextByFi(WordLength, 1 << bitsPerDigit))},
                    kCounts});
  }
  return jobs;
}

}  // namespace

std::vector<Job> wideJobs() {
  std::vector<Job> jobs = jobsFor<64>();
  for (Job& job : jobsFor<256>()) jobs.push_back(std::move(job));
  return jobs;
}

}  // namespace bench
