#include "qfcore/math/integerkernels.h"

#include <algorithm>

#include "qfcore/number/vectorised.h"

namespace embedded {

namespace {

// What brings a value to the grid, and what brings it into range: one of each is chosen for an array.

struct Drop {
  template <class Carrier>
  static Carrier integer(Carrier x, const IntegerFormat<Carrier>& f) {
    return f.addend.rounded(x, f.drop);
  }
};

struct Raise {
  template <class Carrier>
  static Carrier integer(Carrier x, const IntegerFormat<Carrier>& f) {
    return static_cast<Carrier>(static_cast<Unsigned<Carrier>>(x) << f.raise);
  }
};

/// On the grid already.
struct Stay {
  template <class Carrier>
  static Carrier integer(Carrier x, const IntegerFormat<Carrier>&) {
    return x;
  }
};

struct Saturate {
  template <class Carrier>
  static Carrier land(Carrier x, const IntegerFormat<Carrier>& f) {
    return f.range.saturated(x);
  }
};

struct Wrap {
  template <class Carrier>
  static Carrier land(Carrier x, const IntegerFormat<Carrier>& f) {
    return f.range.wrapped(x);
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
  IntegerTally<Stored> met = tally;
  for (std::size_t i = 0; i < count; ++i) {
    const Carrier x = from[i], rounded = Rounding::integer(x, f), landed = Overflow::land(rounded, f);
    to[i] = static_cast<Stored>(landed);
    met.overflows += landed != rounded;
    met.underflows += rounded == 0 && x != 0;
    met.take(to[i]);
  }
  tally = met;
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

template <class Integer>
void recordTally(const IntegerTally<Integer>& tally, const quantizer& q) {
  if (tally.values == 0) return;
  const auto valueOf = [&](Integer stored) {
    number value(0.0, kMaxDoublePrecision + kBitsOf<Integer>, true);
    setFromStored(value.multiprecision()->getmodifiableelement(), stored, q.fractionLength());
    return value;
  };
  Tally counts;
  counts.values = tally.values;
  counts.overflows = tally.overflows;
  counts.underflows = tally.underflows;
  q.logger().record(counts, valueOf(tally.min), valueOf(tally.max));
}

}  // namespace

void record(const IntegerTally<std::int64_t>& tally, const quantizer& q) { recordTally(tally, q); }
void record(const IntegerTally<Int128>& tally, const quantizer& q) { recordTally(tally, q); }
void record(const IntegerTally<Int256>& tally, const quantizer& q) { recordTally(tally, q); }

template <class Carrier, class Stored>
IntegerQuantizer<Carrier, Stored>::IntegerQuantizer(const quantizer& q, long fractionLength)
    : q_(&q), format_{0, 0, {}, {q.wordLength(), q.isSigned()}}, counts_(q.logger().isOn()) {
  const int drop = static_cast<int>(fractionLength - q.fractionLength());
  format_.drop = std::max(drop, 0);
  format_.raise = std::max(-drop, 0);
  if (drop > 0) format_.addend = RoundingAddend<Carrier>(WideRounding::of(q.roundMode()), drop);
  const auto kernelWith = [&](auto rounding) -> Kernel {
    using Rounding = decltype(rounding);
    return q.overflowMode() == OverflowModeEnum::saturate ? execute<Rounding, Saturate, Carrier, Stored>
                                                          : execute<Rounding, Wrap, Carrier, Stored>;
  };
  kernel_ = drop > 0 ? kernelWith(Drop()) : drop < 0 ? kernelWith(Raise()) : kernelWith(Stay());
}

template class IntegerQuantizer<std::int64_t>;
template class IntegerQuantizer<Int128, std::int64_t>;
template class IntegerQuantizer<Int128>;

}  // namespace embedded
