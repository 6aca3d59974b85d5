#include "qfcore/fi/paths/filterkernel.h"

#include <algorithm>
#include <optional>
#include <type_traits>

#include "qfcore/fi/exactness.h"
#include "qfcore/fi/paths/filterterms.h"
#include "qfcore/fi/paths/integerblocks.h"
#include "qfcore/fi/paths/tiles.h"
#include "qfcore/number/precision.h"
#include "tessel/interruption.h"

namespace embedded {

namespace {

/// So many products take no time that anybody notices, between two questions for the interrupt key.
constexpr std::size_t kProductsAtOnce = std::size_t{1} << 20;

template <class Integer, bool kComplex>
using Value = std::conditional_t<kComplex, Parts<Integer>, Integer>;

/// Elements of an operand.
template <class Integer, bool kComplex>
class FilterOperand {
 public:
  using Element = Value<Integer, kComplex>;

  explicit FilterOperand(const fi& x) : parts_(x) {}
  /// Those of at most a block, in `room` or where they are.
  const Element* read(IntegerBlock<Element>& room, std::size_t first, std::size_t count,
                      std::size_t stride = 1) const {
    IntegerOperands::Room<Integer> apart;
    const PartBlock<Integer> from = parts_.read(apart, first, count, stride);
    for (std::size_t k = 0; k < count; ++k) room[k] = {from.re[k], from.im ? from.im[k] : Integer{0}};
    return room.data();
  }

 private:
  IntegerOperands parts_;
};

template <class Integer>
class FilterOperand<Integer, false> : public IntegerOperand {
 public:
  explicit FilterOperand(const fi& x) : IntegerOperand(x, x.realPart()) {}
};

/// Elements of a result or of states.
template <bool kComplex>
class FilterTarget {
 public:
  explicit FilterTarget(fi& x) : re_(x.realPart(), x.getNumericType()), im_(x.imagPart(), x.getNumericType()) {}
  template <class Integer>
  void write(std::size_t first, std::size_t stride, const Parts<Integer>* from, std::size_t count) const {
    for (std::size_t k = 0; k < count; ++k) {
      re_.write(first + k * stride, &from[k].re, 1);
      im_.write(first + k * stride, &from[k].im, 1);
    }
  }

 private:
  IntegerTarget re_, im_;
};

template <>
class FilterTarget<false> : public IntegerTarget {
 public:
  explicit FilterTarget(fi& x) : IntegerTarget(x.realPart(), x.getNumericType()) {}
};

/// How many states a section has.
std::size_t orderOf(const FilterKernel::Section& section) {
  return std::max(section.b.numel(), section.a.numel()) - 1;
}
std::size_t productsOf(const FilterKernel::Section& section) {
  return std::size_t{section.b.numel()} + section.a.numel();
}

/// The coefficients of one section.
template <class Sample>
struct Coefficients {
  std::vector<Sample> b, a;
};

/// The same, of a size that is known beforehand or, with 0, is not.
template <class Sample, std::size_t Size>
struct Taps {
  const Sample *b, *a;
  std::size_t forward, backward, states;

  explicit Taps(const Coefficients<Sample>& section)
      : b(section.b.data()),
        a(section.a.data()),
        forward(Size > 0 ? Size : section.b.size()),
        backward(Size > 0 ? Size : section.a.size()),
        states(std::max(forward, backward) - 1) {}
};

/// `Factor` holds words, `Carrier` their products on the way, `Sum` what is summed.
template <class Carrier, class Sum, class Factor, bool kComplex>
class IntegerFilter final : public FilterKernel {
 public:
  IntegerFilter(const FilterFormats& formats, const TermFormats& forward, const TermFormats& backward)
      : formats_(formats),
        forward_(forward),
        backward_(backward),
        output_(IntegerValues::of(formats.sums.numericType()), formats.output),
        sumsFit_(exactness::holdsSumsOfEither(formats.sums.numericType(), formats.forward.type(),
                                              formats.forward.terms, formats.backward.type(),
                                              formats.backward.terms)) {}

  void filter(const std::vector<Section>& sections, const fi& x, const Fibers& fibers, bool isAtRest,
              fi& states, fi& y) const override {
    if (x.isempty()) return;
    const std::size_t order = orderOf(sections[0]), statesEach = sections.size() * order,
                      productsEach = sections.size() * productsOf(sections[0]);
    std::vector<Coefficients<Sample>> coefficients;
    coefficients.reserve(sections.size());
    for (const Section& section : sections) coefficients.push_back({stored(section.b), stored(section.a)});
    const FilterOperand<Factor, kComplex> signal(x);
    const FilterTarget<kComplex> result(y);
    std::optional<FilterTarget<kComplex>> left;
    std::optional<FilterOperand<Sum, kComplex>> before;
    if (statesEach > 0) {
      left.emplace(states);
      before.emplace(states);
    }
    share(fibers.count, fibers.length * productsEach, isAtRest,
          [&](std::size_t first, std::size_t count, auto way, Tallies& met) {
            std::vector<State> z(statesEach + sections.size());
            // One more state of each section is always 0.
            const auto forEachState = [&](auto step) {
              for (std::size_t k = 0; k < statesEach; ++k) step(k, z[k + k / order]);
            };
            IntegerBlock<State> sums;
            IntegerBlock<Sample> room;
            for (std::size_t fiber = first; fiber < first + count; ++fiber) {
              forEachState(
                  [&](std::size_t k, State& state) { state = *before->read(sums, fiber * statesEach + k, 1); });
              inBlocks(fibers.length, productsEach, [&](std::size_t from, std::size_t size) {
                const std::size_t place = fibers.first(fiber) + from * fibers.stride;
                const Sample* samples = signal.read(room, place, size, fibers.stride);
                if (formats_.backward.terms == 0) {
                  direct<way()>(coefficients[0].b, samples, size, z.data(), sums.data(), met);
                  return result.write(place, fibers.stride, sums.data(), size);
                }
                State* own = z.data();
                for (const Coefficients<Sample>& section : coefficients) {
                  recursive<way()>(section, samples, room.data(), size, own, met);
                  samples = room.data();
                  own += order + 1;
                }
                result.write(place, fibers.stride, samples, size);
              });
              forEachState([&](std::size_t k, const State& state) {
                left->write(fiber * statesEach + k, 1, &state, 1);
              });
            }
          });
  }

  void convolve(const fi& first, const fi& second, std::size_t skipped, fi& y) const override {
    if (y.isempty()) return;
    const std::vector<Sample> u = stored(first), v = stored(second);
    const FilterTarget<kComplex> result(y);
    const std::size_t productsEach = std::min(u.size(), v.size());
    share(y.numel(), productsEach, true, [&](std::size_t begin, std::size_t count, auto way, Tallies& met) {
      IntegerBlock<State> sums;
      inBlocks(count, productsEach, [&](std::size_t from, std::size_t size) {
        for (std::size_t k = 0; k < size; ++k) {
          const std::size_t n = begin + from + k + skipped, least = n < v.size() ? 0 : n - v.size() + 1;
          State sum{};
          for (std::size_t i = least; i < std::min(u.size(), n + 1); ++i)
            sum = forward_.template added<false, way()>(sum, u[i], v[n - i], met.forward, met.sums);
          sums[k] = sum;
        }
        result.write(begin + from, 1, sums.data(), size);
      });
    });
  }

  void dot(const fi& a, const fi& b, const Fibers& fibers, fi& y) const override {
    if (a.isempty()) return;
    const FilterOperand<Factor, kComplex> left(a), right(b);
    const FilterTarget<kComplex> result(y);
    share(fibers.count, fibers.length, true, [&](std::size_t first, std::size_t count, auto way, Tallies& met) {
      IntegerBlock<Sample> roomA, roomB;
      for (std::size_t fiber = first; fiber < first + count; ++fiber) {
        State sum{};
        inBlocks(fibers.length, 1, [&](std::size_t from, std::size_t size) {
          const std::size_t place = fibers.first(fiber) + from * fibers.stride;
          const Sample *p = left.read(roomA, place, size, fibers.stride),
                       *q = right.read(roomB, place, size, fibers.stride);
          for (std::size_t k = 0; k < size; ++k)
            sum = forward_.template added<false, way()>(sum, p[k], q[k], met.forward, met.sums);
        });
        result.write(fiber, 1, &sum, 1);
      }
    });
  }

 private:
  /// Such integers gain little by taking fewer steps or staying in registers.
  static constexpr bool kIsLong = std::is_class_v<Carrier> || std::is_same_v<Factor, Int128>;

  using Sample = Value<Factor, kComplex>;
  using State = Value<Sum, kComplex>;

  struct Tallies {
    typename Term<Carrier, Sum, kComplex>::Tallies forward, backward;
    IntegerTally<Sum> sums, output;
  };

  static std::vector<Sample> stored(const fi& x) {
    std::vector<Sample> stored(x.numel());
    const FilterOperand<Factor, kComplex> from(x);
    forEachIntegerBlock(0, stored.size(), [&](std::size_t first, std::size_t size) {
      IntegerBlock<Sample> room;
      std::copy_n(from.read(room, first, size), size, stored.begin() + static_cast<std::ptrdiff_t>(first));
    });
    return stored;
  }

  template <Way kWay>
  void direct(const std::vector<Sample>& b, const Sample* signal, std::size_t count, State* z, State* to,
              Tallies& met) const {
    const Term<Carrier, Sum, kComplex> term = forward_;
    for (std::size_t n = 0; n < count; ++n) {
      const auto tap = [&](std::size_t k) {
        return term.template added<false, kWay>(z[k], b[k], signal[n], met.forward, met.sums);
      };
      to[n] = tap(0);
      for (std::size_t k = 1; k < b.size(); ++k) z[k - 1] = tap(k);
    }
  }

  template <Way kWay>
  void recursive(const Coefficients<Sample>& section, const Sample* signal, Sample* to, std::size_t count,
                 State* z, Tallies& met) const {
    constexpr std::size_t kUsual = 3;
    constexpr bool kIsSlow = (kIsLong || kComplex) && kWay != Way::Exact;
    if (kIsSlow || kWay == Way::Counting || section.b.size() != kUsual || section.a.size() != kUsual)
      return recursiveOf<kWay>(Taps<Sample, 0>(section), signal, to, count, z, met);
    // Where their number is known they stay in registers.
    std::array<State, kUsual> known{z[0], z[1], State{}};
    recursiveOf<kWay>(Taps<Sample, kUsual>(section), signal, to, count, known.data(), met);
    std::copy_n(known.begin(), kUsual - 1, z);
  }

  /// A sum as it comes out.
  template <Way kWay>
  [[gnu::always_inline]] static Factor landed(const CheapestStep<Sum>& output, Sum sum, Tallies& met) {
    if constexpr (kWay == Way::Exact) {
      return static_cast<Factor>(output.template applyShort<true>(sum));
    } else {
      return static_cast<Factor>(output.template apply<kWay == Way::Counting>(sum, &met.output));
    }
  }

  template <Way kWay, std::size_t Size>
  [[gnu::always_inline]] void recursiveOf(const Taps<Sample, Size>& taps, const Sample* signal, Sample* to,
                                          std::size_t count, State* z, Tallies& met) const {
    const Term<Carrier, Sum, kComplex> forward = forward_, backward = backward_;
    const auto output = output_;
    for (std::size_t n = 0; n < count; ++n) {
      const Sample x = signal[n];
      const State sum = forward.template added<false, kWay, true>(z[0], taps.b[0], x, met.forward, met.sums);
      Sample y;
      if constexpr (kComplex) {
        y = {landed<kWay>(output, sum.re, met), landed<kWay>(output, sum.im, met)};
      } else {
        y = landed<kWay>(output, sum, met);
      }
      for (std::size_t k = 1; k <= taps.states; ++k) {
        State s = z[k];
        if (k < taps.forward)
          s = forward.template added<false, kWay, true>(s, taps.b[k], x, met.forward, met.sums);
        if (k < taps.backward)
          s = backward.template added<true, kWay, true>(s, taps.a[k], y, met.backward, met.sums);
        z[k - 1] = s;
      }
      to[n] = y;
    }
  }

  /// Calls `step(first, size)` for blocks of so many samples.
  template <class Step>
  static void inBlocks(std::size_t count, std::size_t productsEach, Step step) {
    const std::size_t most = std::clamp<std::size_t>(kProductsAtOnce / productsEach, 1, kIntegerBlock);
    for (std::size_t first = 0; first < count; first += most) {
      tessel::raiseIfInterrupted();
      step(first, std::min(most, count - first));
    }
  }

  /// Calls `run(first, size, way, tallies)` for ranges of so many results.
  template <class Run>
  void share(std::size_t count, std::size_t productsEach, bool isAtRest, Run run) const {
    const std::array registers{&formats_.forward.each,   &formats_.forward.pairs, &formats_.backward.each,
                               &formats_.backward.pairs, &formats_.sums,          &formats_.output};
    const Way chosen = wayFrom(isAtRest);
    const std::size_t worthwhile = kSharedRounded / std::max<std::size_t>(productsEach, 1);
    shareLoop(count, std::max<std::size_t>(worthwhile, 1), registers,
              [&](std::size_t first, std::size_t size, const auto& own) {
                Tallies met;
                withWay(chosen, [&](auto way) { run(first, size, way, met); });
                if (chosen != Way::Counting) return;
                record(met.forward.products, *own[0]);
                record(met.forward.pairs, *own[1]);
                record(met.backward.products, *own[2]);
                record(met.backward.pairs, *own[3]);
                record(met.sums, *own[4]);
                record(met.output, *own[5]);
              });
  }

  Way wayFrom(bool isAtRest) const {
    if (formats_.sums.logger().isOn()) return Way::Counting;
    const bool fit = sumsFit_ && isAtRest && output_.isShort();
    const Way ahead = forward_.way(fit), back = formats_.backward.terms > 0 ? backward_.way(fit) : ahead;
    const auto [least, most] = std::minmax(ahead, back);
    return least == Way::CastTies && most == Way::Both ? Way::BothTies : most;
  }

  template <class Run>
  static void withWay(Way way, Run run) {
    const auto with = [&]<Way kWay>(std::integral_constant<Way, kWay> constant) { run(constant); };
    constexpr bool kAreOneKind = std::is_same_v<Carrier, Sum>;
    if constexpr (kAreOneKind) {
      if (way == Way::Counting) return with(std::integral_constant<Way, Way::Counting>());
      if (way == Way::Exact) return with(std::integral_constant<Way, Way::Exact>());
    }
    // Rules that look at the value round where they need not as well, in a little more time.
    const bool casts = way == Way::Cast || way == Way::CastTies,
               rounds = way == Way::Both || way == Way::BothTies;
    if constexpr (!kIsLong && !kComplex) {
      if (way == Way::Cast) return with(std::integral_constant<Way, Way::Cast>());
      if (way == Way::Both) return with(std::integral_constant<Way, Way::Both>());
    }
    if constexpr (!kIsLong || !kAreOneKind) {
      if (casts) return with(std::integral_constant<Way, Way::CastTies>());
    }
    if constexpr (!kIsLong) {
      if (rounds) return with(std::integral_constant<Way, Way::BothTies>());
    }
    with(std::integral_constant<Way, Way::Any>());
  }

  FilterFormats formats_;
  Term<Carrier, Sum, kComplex> forward_, backward_;
  CheapestStep<Sum> output_;
  bool sumsFit_;
};

/// Of types without slope and bias, which filters refuse.
bool isOrdinary(const NumericType& type) { return type.isFixed() && exactness::isNearOne(type); }

/// Doubles that add one half to an odd stored integer of 53 bits round it; sums in such a register may be one.
bool roundsInDoubles(const NumericType& sums) {
  return !sums.isSigned() && sums.wordLength() == static_cast<int>(kDoubleBits) - 1;
}

/// With the shortest integers that hold all that is formed on the way.
template <class Factor, bool kComplex>
std::unique_ptr<FilterKernel> madeWith(const FilterFormats& f, const TermFormats& ahead,
                                       const TermFormats& back) {
  constexpr int kShort = kBitsOf<std::int64_t>, kLong = kBitsOf<Int128>, kLongest = kBitsOf<Int256>;
  const bool counts = f.sums.logger().isOn();
  const int ofOutput =
                IntegerStep<Int256>::bitsFor(IntegerValues::of(f.sums.numericType()), f.output.numericType()),
            ofSums = std::max({ahead.bitsOfSums(), back.bitsOfSums(), ofOutput}),
            all = std::max({ahead.bits(), back.bits(), ofSums});
  // While nothing is counted, two words that fill an integer are added in it.
  const int bits = counts ? all : std::max({ahead.bitsOfTerms(), back.bitsOfTerms(), ofSums});
  const auto made = [&](auto carrier, auto sum) -> std::unique_ptr<FilterKernel> {
    return std::make_unique<IntegerFilter<decltype(carrier), decltype(sum), Factor, kComplex>>(f, ahead, back);
  };
  constexpr bool kAreShort = std::is_same_v<Factor, std::int64_t>;
  if constexpr (kAreShort) {
    if (bits <= kShort) return made(std::int64_t{}, std::int64_t{});
    if (bits <= kLong && ofSums <= kShort && !counts) return made(Int128{}, std::int64_t{});
    if (bits <= kLong) return made(Int128{}, Int128{});
  } else {
    if (bits <= kLongest && ofSums <= kLong && !counts) return made(Int256{}, Int128{});
  }
  if (all <= kLongest) return made(Int256{}, Int256{});
  return nullptr;
}

}  // namespace

std::unique_ptr<FilterKernel> FilterKernel::madeFor(const FilterFormats& f) {
  const NumericType &forward = f.forward.type(), &backward = f.backward.type(), &sums = f.sums.numericType(),
                    &output = f.output.numericType();
  for (const NumericType* type : {&f.b, &f.a, &f.x, &f.forward.each.numericType(), &forward,
                                  &f.backward.each.numericType(), &backward, &sums, &output}) {
    if (!isOrdinary(*type)) return nullptr;
  }
  const IntegerValues b = IntegerValues::of(f.b), a = IntegerValues::of(f.a), x = IntegerValues::of(f.x);
  const int bits = std::max({b.bits, a.bits, x.bits});
  if (bits > kBitsOf<Int128>) return nullptr;
  for (const NumericType* type : {&forward, &backward, &sums}) {
    if (roundsInDoubles(*type)) return nullptr;
  }
  const TermFormats ahead{b * x, f.forward, f.sums, f.castBeforeSum};
  const TermFormats back = f.backward.terms > 0
                               ? TermFormats{a * IntegerValues::of(output), f.backward, f.sums, f.castBeforeSum}
                               : ahead;
  const auto made = [&](auto factor) {
    using Factor = decltype(factor);
    return f.isComplex ? madeWith<Factor, true>(f, ahead, back) : madeWith<Factor, false>(f, ahead, back);
  };
  return bits <= kBitsOf<std::int64_t> ? made(std::int64_t{}) : made(Int128{});
}

}  // namespace embedded
