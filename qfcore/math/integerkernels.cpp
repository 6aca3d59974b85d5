#include "qfcore/math/integerkernels.h"

#include <algorithm>

#include "qfcore/number/vectorised.h"

namespace embedded {

namespace {

// Shifting a two's complement to the right gives the integer below the value. Whether it is to grow by one
// follows from what a rule says of magnitudes: those of negative values are cut to the integer above them.

template <class Policy>
constexpr bool growsFromBelow(const Cut& below) {
  if (below.isExact()) return false;
  if (!below.isNegative()) return Policy::grows(below);
  return !Policy::grows(Cut(true, !below.isOdd(), !below.half() || !below.rest(), below.rest()));
}

/// One bit for each `Cut`.
template <class Policy>
constexpr unsigned growthsFromBelow() {
  unsigned growths = 0;
  for (unsigned i = 0; i < Cut::kCases; ++i)
    growths |= static_cast<unsigned>(growsFromBelow<Policy>(Cut(i))) << i;
  return growths;
}

/// Those bits of a `Cut` on which the growth depends.
constexpr unsigned decisiveBits(unsigned growths) {
  unsigned decisive = 0;
  for (unsigned bit = 1; bit < Cut::kCases; bit *= 2) {
    for (unsigned i = 0; i < Cut::kCases; ++i) {
      if ((growths >> i & 1) != (growths >> (i ^ bit) & 1)) decisive |= bit;
    }
  }
  return decisive;
}

/// Takes bits off, at least one.
template <class Policy>
struct Drop {
  static constexpr unsigned kGrowths = growthsFromBelow<Policy>(), kDecisive = decisiveBits(kGrowths);

  template <class Carrier>
  static Carrier integer(Carrier x, const IntegerFormat<Carrier>& f) {
    const Carrier below = x >> f.drop;
    if constexpr (kDecisive == 0) return below;
    // Flags as integers of the loop's own width, without branches.
    Carrier cut = 0;
    if constexpr ((kDecisive & 8) != 0) cut |= Carrier{x < 0} << 3;
    if constexpr ((kDecisive & 4) != 0) cut |= (below & 1) << 2;
    if constexpr ((kDecisive & 2) != 0) cut |= (x >> (f.drop - 1) & 1) << 1;
    if constexpr ((kDecisive & 1) != 0) cut |= Carrier{(x & ((Carrier{1} << (f.drop - 1)) - 1)) != 0};
    return below + (std::int64_t{kGrowths} >> static_cast<std::int64_t>(cut) & 1);
  }
};

/// Nothing to round.
struct Raise {
  template <class Carrier>
  static Carrier integer(Carrier x, const IntegerFormat<Carrier>& f) {
    return static_cast<Carrier>(static_cast<Unsigned<Carrier>>(x) << f.raise);
  }
};

struct Saturate {
  template <class Carrier>
  static Carrier land(Carrier x, const IntegerFormat<Carrier>& f) {
    const Carrier notAbove = x > f.max ? f.max : x;
    return notAbove < f.min ? f.min : notAbove;
  }
};

struct Wrap {
  template <class Carrier>
  static Carrier land(Carrier x, const IntegerFormat<Carrier>& f) {
    using U = Unsigned<Carrier>;
    const U least = static_cast<U>(f.min), mask = static_cast<U>(f.max) - least;
    return static_cast<Carrier>(((static_cast<U>(x) - least) & mask) + least);
  }
};

template <class Rounding, class Overflow, class Carrier, class Stored>
void quantizeQuietly(const IntegerFormat<Carrier>& format, const Carrier* from, Stored* to, std::size_t count) {
  const IntegerFormat<Carrier> f = format;
  for (std::size_t i = 0; i < count; ++i)
    to[i] = static_cast<Stored>(Overflow::land(Rounding::integer(from[i], f), f));
}

template <class Rounding, class Overflow>
QFCORE_VECTORISED void quantizeVectors(const IntegerFormat<std::int64_t>& format, const std::int64_t* from,
                                       std::int64_t* to, std::size_t count) {
  const IntegerFormat<std::int64_t> f = format;
  for (std::size_t i = 0; i < count; ++i) to[i] = Overflow::land(Rounding::integer(from[i], f), f);
}

template <class Rounding, class Overflow, class Carrier, class Stored>
void quantizeCounting(const IntegerFormat<Carrier>& format, const Carrier* from, Stored* to, std::size_t count,
                      IntegerTally<Stored>& tally) {
  const IntegerFormat<Carrier> f = format;
  std::size_t overflows = 0, underflows = 0;
  Stored max = tally.max, min = tally.min;
  for (std::size_t i = 0; i < count; ++i) {
    const Carrier x = from[i], rounded = Rounding::integer(x, f), landed = Overflow::land(rounded, f);
    const auto stored = static_cast<Stored>(landed);
    to[i] = stored;
    overflows += landed != rounded;
    underflows += rounded == 0 && x != 0;
    max = std::max(max, stored);
    min = std::min(min, stored);
  }
  tally = {tally.values + count, tally.overflows + overflows, tally.underflows + underflows, max, min};
}

template <class Rounding, class Overflow, class Carrier, class Stored>
void execute(const IntegerFormat<Carrier>& format, const Carrier* from, Stored* to, std::size_t count,
             IntegerTally<Stored>* tally) {
  if (tally) return quantizeCounting<Rounding, Overflow>(format, from, to, count, *tally);
  if constexpr (sizeof(Carrier) == sizeof(std::int64_t)) {
    quantizeVectors<Rounding, Overflow>(format, from, to, count);
  } else {
    quantizeQuietly<Rounding, Overflow>(format, from, to, count);
  }
}

/// Calls `visit` with what rounds as the mode says.
template <class Visit>
auto withRounding(RoundModeEnum roundMode, bool drops, Visit visit) {
  if (!drops) return visit(Raise{});
  switch (roundMode) {
    case RoundModeEnum::ceil: return visit(Drop<Ceil>{});
    case RoundModeEnum::convergent: return visit(Drop<Convergent>{});
    case RoundModeEnum::fix: return visit(Drop<Fix>{});
    case RoundModeEnum::floor: return visit(Drop<Floor>{});
    case RoundModeEnum::nearest: return visit(Drop<Nearest>{});
    default: return visit(Drop<Round>{});
  }
}

}  // namespace

template <class Carrier, class Stored>
typename IntegerQuantizer<Carrier, Stored>::Kernel IntegerQuantizer<Carrier, Stored>::kernelFor(
    const quantizer& q, bool drops) {
  return withRounding(q.roundMode(), drops, [&](auto rounding) -> Kernel {
    using Rounding = decltype(rounding);
    return q.overflowMode() == OverflowModeEnum::saturate ? execute<Rounding, Saturate, Carrier, Stored>
                                                          : execute<Rounding, Wrap, Carrier, Stored>;
  });
}

template <class Carrier, class Stored>
IntegerQuantizer<Carrier, Stored>::IntegerQuantizer(const quantizer& q, long fractionLength)
    : q_(&q), counts_(q.logger().isOn()) {
  const long drop = fractionLength - q.fractionLength();
  using U = Unsigned<Carrier>;
  const U modulus = U{2} << (q.wordLength() - 1);  // 0 where the word takes all bits
  const U least = q.isSigned() ? U{0} - (U{1} << (q.wordLength() - 1)) : U{0};
  format_ = {static_cast<int>(std::max(drop, 0L)), static_cast<int>(std::max(-drop, 0L)),
             static_cast<Carrier>(least + modulus - 1), static_cast<Carrier>(least)};
  kernel_ = kernelFor(q, drop > 0);
  tally_.max = static_cast<Stored>(format_.min);
  tally_.min = static_cast<Stored>(format_.max);
}

template <class Carrier, class Stored>
void IntegerQuantizer<Carrier, Stored>::record() const {
  if (tally_.values == 0) return;
  const auto valueOf = [&](Stored stored) {
    number value(0.0, kMaxDoublePrecision + kBitsOf<Stored>, true);
    setFromStored(value.multiprecision()->getmodifiableelement(), stored, q_->fractionLength());
    return value;
  };
  q_->logger().record({tally_.values, tally_.overflows, tally_.underflows}, valueOf(tally_.min),
                      valueOf(tally_.max));
}

template class IntegerQuantizer<std::int64_t>;
template class IntegerQuantizer<Int128, std::int64_t>;
template class IntegerQuantizer<Int128>;

}  // namespace embedded
