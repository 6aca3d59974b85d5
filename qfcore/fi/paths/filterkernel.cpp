#include "qfcore/fi/paths/filterkernel.h"

#include <algorithm>
#include <cassert>
#include <optional>

#include "qfcore/fi/exactness.h"
#include "qfcore/fi/paths/integerblocks.h"
#include "qfcore/fi/paths/integersteps.h"
#include "qfcore/fi/paths/tiles.h"
#include "qfcore/number/int256.h"
#include "qfcore/number/precision.h"
#include "tessel/interruption.h"

namespace embedded {

namespace {

/// The exact products of two types on their way into a sum.
struct TermFormats {
  IntegerValues product;  ///< exact
  const quantizer &products, &sums;
  bool cast;

  IntegerValues rounded() const {
    // Known more closely where rounding to their type leaves them as they are.
    return IntegerStep<Int256>(product, products).isIdentity() ? product
                                                               : IntegerValues::of(products.numericType());
  }
  IntegerValues sum() const { return IntegerValues::of(sums.numericType()); }
  /// The grid on which both are added.
  long grid() const { return cast ? sum().fraction : std::max(rounded().fraction, sum().fraction); }
  IntegerValues total() const {
    const IntegerValues term = cast ? sum() : rounded().onGrid(grid());
    return sum().onGrid(grid()).plusOrMinus(term);
  }
  /// For all but sums of two values of the sum's type.
  int bitsOfTerms() const {
    const NumericType &productType = products.numericType(), &sumType = sums.numericType();
    return std::max({product.bits, IntegerStep<Int256>::bitsFor(product, productType),
                     cast ? IntegerStep<Int256>::bitsFor(rounded(), sumType)
                          : IntegerStep<Int256>::bitsFor(total(), sumType)});
  }
  int bits() const {
    return std::max(bitsOfTerms(), IntegerStep<Int256>::bitsFor(total(), sums.numericType()));
  }
};

/// What becomes of a product: chosen once a loop, so that no step is taken that would change nothing.
enum class Way {
  Exact,     ///< products are values of the sum's type, and no sum leaves it
  Cast,      ///< products become values of the sum's type
  CastTies,  ///< the same, where rounding looks at the value
  Both,      ///< products are rounded before
  BothTies,
  Any,
  Counting
};

template <class Integer>
Integer productOf(std::int64_t x, std::int64_t y) {
  if constexpr (sizeof(Integer) > sizeof(Int128)) {
    return Int128{x} * y;
  } else {
    return static_cast<Integer>(x) * y;
  }
}

/// `Carrier` holds products until they are values of the sum's type, `Sum` what is summed.
template <class Carrier, class Sum>
class Term {
 public:
  explicit Term(const TermFormats& formats)
      : product_(formats.product, formats.products),
        total_(formats.total(), formats.sums),
        lift_(formats.cast ? 0 : static_cast<int>(formats.grid() - formats.rounded().fraction)),
        sumLift_(static_cast<int>(formats.grid() - formats.sum().fraction)),
        casts_(formats.cast) {
    if (casts_) {
      cast_ = CheapestStep<Carrier>(formats.rounded(), formats.sums);
      sum_ = IntegerStep<Sum>(formats.total(), formats.sums);
    }
    raise_ = casts_ ? cast_.whole().raise() : lift_;
  }

  /// The least that products take, where sums stay in range or not.
  Way way(bool sumsFit) const {
    const IntegerStep<Carrier>& cast = cast_.whole();
    const bool isRounded = !product_.isIdentity();
    if (std::is_same_v<Carrier, Sum> && sumsFit && !isRounded) {
      assert(casts_ ? cast.isExact() : sumLift_ == 0);
      return Way::Exact;
    }
    if (!casts_ || !cast_.isShort() || !product_.isShort()) return Way::Any;
    const bool ties = cast.dependsOnValue() || product_.dependsOnValue();
    return isRounded ? (ties ? Way::BothTies : Way::Both) : ties ? Way::CastTies : Way::Cast;
  }

  /// The sum, or with `Subtracts` the difference, of a sum and the product of two stored integers.
  template <bool Subtracts, Way kWay>
  [[gnu::always_inline]] Sum added(Sum sum, std::int64_t x, std::int64_t y,
                                   [[maybe_unused]] IntegerTally<Carrier>* products,
                                   [[maybe_unused]] IntegerTally<Sum>* sums) const {
    constexpr bool kTies = kWay == Way::CastTies || kWay == Way::BothTies;
    Carrier term = productOf<Carrier>(x, y);
    if constexpr (kWay == Way::Exact) {
      Sum raised = static_cast<Sum>(term);
      if (raise_ > 0) raised <<= raise_;
      return Subtracts ? sum - raised : sum + raised;
    } else if constexpr (kWay == Way::Counting) {
      term = product_.template apply<true>(term, products);
      if (casts_) {
        sums->take(sum);
        term = cast_.template apply<true>(term, sums);
      } else {
        term <<= lift_;
        sum <<= sumLift_;
      }
      return total_.template apply<true>(Subtracts ? sum - term : sum + term, sums);
    } else if constexpr (kWay == Way::Any) {
      term = product_.template apply<false>(term, nullptr);
      if (!casts_) {
        const Carrier before = static_cast<Carrier>(sum) << sumLift_;
        term <<= lift_;
        return static_cast<Sum>(
            total_.template apply<false>(Subtracts ? before - term : before + term, nullptr));
      }
      term = cast_.template apply<false>(term, nullptr);
      return sum_.template added<Subtracts>(sum, static_cast<Sum>(term));
    } else {
      if constexpr (kWay == Way::Both || kWay == Way::BothTies)
        term = product_.template applyShort<kTies>(term);
      term = cast_.template applyShort<kTies>(term);
      return sum_.template added<Subtracts>(sum, static_cast<Sum>(term));
    }
  }

 private:
  IntegerStep<Carrier> product_;
  CheapestStep<Carrier> cast_;
  IntegerStep<Sum> sum_;  // of two values of the sum's type
  IntegerStep<Carrier> total_;
  int lift_, sumLift_, raise_;
  bool casts_;
};

/// So many products take no time that anybody notices, between two questions for the interrupt key.
constexpr std::size_t kProductsAtOnce = std::size_t{1} << 20;

/// How many states a section has.
std::size_t orderOf(const FilterKernel::Section& section) {
  return std::max(section.b.size(), section.a.size()) - 1;
}
std::size_t productsOf(const FilterKernel::Section& section) { return section.b.size() + section.a.size(); }

/// The coefficients, of a size that is known beforehand or, with 0, is not.
template <std::size_t Size>
struct Taps {
  const std::int64_t *b, *a;
  std::size_t forward, backward, states;

  explicit Taps(const FilterKernel::Section& section)
      : b(section.b.data()),
        a(section.a.data()),
        forward(Size > 0 ? Size : section.b.size()),
        backward(Size > 0 ? Size : section.a.size()),
        states(std::max(forward, backward) - 1) {}
};

template <class Carrier, class Sum>
class IntegerFilter final : public FilterKernel {
 public:
  IntegerFilter(const FilterFormats& formats, const TermFormats& forward, const TermFormats& backward)
      : formats_(formats),
        forward_(forward),
        backward_(backward),
        output_(IntegerValues::of(formats.sums.numericType()), formats.output) {
    sumsFit_ = exactness::holdsSumsOfEither(formats.sums.numericType(), formats.forward.numericType(),
                                            formats.forwardTerms, formats.backward.numericType(),
                                            formats.backwardTerms);
  }

  void filter(const std::vector<Section>& sections, const fi& x, const Fibers& fibers, bool isAtRest,
              fi& states, fi& y) const override {
    if (x.isempty()) return;
    const std::size_t order = orderOf(sections[0]), statesEach = sections.size() * order,
                      productsEach = sections.size() * productsOf(sections[0]);
    const IntegerOperand signal(x, x.realPart());
    const IntegerTarget result(y.realPart(), y.getNumericType());
    std::optional<IntegerTarget> left;
    std::optional<IntegerOperand> before;
    if (statesEach > 0) {
      left.emplace(states.realPart(), states.getNumericType());
      before.emplace(states, states.realPart());
    }
    share(fibers.count, fibers.length * productsEach, isAtRest,
          [&](std::size_t first, std::size_t count, auto way, Tallies& met) {
            std::vector<Sum> z(statesEach + sections.size());
            // One more state of each section is always 0.
            const auto forEachState = [&](auto step) {
              for (std::size_t k = 0; k < statesEach; ++k) step(k, z[k + k / order]);
            };
            IntegerBlock<Sum> sums;
            IntegerBlock<std::int64_t> room;
            for (std::size_t fiber = first; fiber < first + count; ++fiber) {
              forEachState(
                  [&](std::size_t k, Sum& state) { state = *before->read(sums, fiber * statesEach + k, 1); });
              inBlocks(fibers.length, productsEach, [&](std::size_t from, std::size_t size) {
                const std::size_t place = fibers.first(fiber) + from * fibers.stride;
                const std::int64_t* samples = signal.read(room, place, size, fibers.stride);
                if (formats_.backwardTerms == 0) {
                  direct<way()>(sections[0].b, samples, size, z.data(), sums.data(), met);
                  return result.write(place, fibers.stride, sums.data(), size);
                }
                Sum* own = z.data();
                for (const Section& section : sections) {
                  recursive<way()>(section, samples, room.data(), size, own, met);
                  samples = room.data();
                  own += order + 1;
                }
                result.write(place, fibers.stride, samples, size);
              });
              forEachState(
                  [&](std::size_t k, const Sum& state) { left->write(fiber * statesEach + k, &state, 1); });
            }
          });
  }

  void convolve(const Stored& u, const Stored& v, std::size_t skipped, fi& y) const override {
    if (y.isempty()) return;
    const IntegerTarget result(y.realPart(), y.getNumericType());
    const std::size_t productsEach = std::min(u.size(), v.size());
    share(y.numel(), productsEach, true, [&](std::size_t first, std::size_t count, auto way, Tallies& met) {
      IntegerBlock<Sum> sums;
      inBlocks(count, productsEach, [&](std::size_t from, std::size_t size) {
        for (std::size_t k = 0; k < size; ++k) {
          const std::size_t n = first + from + k + skipped, begin = n < v.size() ? 0 : n - v.size() + 1;
          Sum sum = 0;
          for (std::size_t i = begin; i < std::min(u.size(), n + 1); ++i)
            sum = forward_.template added<false, way()>(sum, u[i], v[n - i], &met.forward, &met.sums);
          sums[k] = sum;
        }
        result.write(first + from, sums.data(), size);
      });
    });
  }

  void dot(const fi& a, const fi& b, const Fibers& fibers, fi& y) const override {
    if (a.isempty()) return;
    const IntegerOperand left(a, a.realPart()), right(b, b.realPart());
    const IntegerTarget result(y.realPart(), y.getNumericType());
    share(fibers.count, fibers.length, true, [&](std::size_t first, std::size_t count, auto way, Tallies& met) {
      IntegerBlock<std::int64_t> roomA, roomB;
      for (std::size_t fiber = first; fiber < first + count; ++fiber) {
        Sum sum = 0;
        inBlocks(fibers.length, 1, [&](std::size_t from, std::size_t size) {
          const std::size_t place = fibers.first(fiber) + from * fibers.stride;
          const std::int64_t *p = left.read(roomA, place, size, fibers.stride),
                             *q = right.read(roomB, place, size, fibers.stride);
          for (std::size_t k = 0; k < size; ++k)
            sum = forward_.template added<false, way()>(sum, p[k], q[k], &met.forward, &met.sums);
        });
        result.write(fiber, &sum, 1);
      }
    });
  }

 private:
  struct Tallies {
    IntegerTally<Carrier> forward, backward;
    IntegerTally<Sum> sums, output;
  };

  template <Way kWay>
  void direct(const Stored& b, const std::int64_t* signal, std::size_t count, Sum* z, Sum* to,
              Tallies& met) const {
    const Term<Carrier, Sum> term = forward_;
    for (std::size_t n = 0; n < count; ++n) {
      const auto tap = [&](std::size_t k) {
        return term.template added<false, kWay>(z[k], b[k], signal[n], &met.forward, &met.sums);
      };
      to[n] = tap(0);
      for (std::size_t k = 1; k < b.size(); ++k) z[k - 1] = tap(k);
    }
  }

  template <Way kWay>
  void recursive(const Section& section, const std::int64_t* signal, std::int64_t* to, std::size_t count,
                 Sum* z, Tallies& met) const {
    constexpr std::size_t kUsual = 3;
    if (kWay == Way::Counting || section.b.size() != kUsual || section.a.size() != kUsual)
      return recursiveOf<kWay>(Taps<0>(section), signal, to, count, z, met);
    // Where their number is known they stay in registers.
    std::array<Sum, kUsual> known{z[0], z[1], 0};
    recursiveOf<kWay>(Taps<kUsual>(section), signal, to, count, known.data(), met);
    std::copy_n(known.begin(), kUsual - 1, z);
  }

  template <Way kWay, std::size_t Size>
  [[gnu::always_inline]] void recursiveOf(const Taps<Size>& taps, const std::int64_t* signal, std::int64_t* to,
                                          std::size_t count, Sum* z, Tallies& met) const {
    const Term<Carrier, Sum> forward = forward_, backward = backward_;
    const auto output = output_;
    for (std::size_t n = 0; n < count; ++n) {
      const std::int64_t x = signal[n];
      const Sum sum = forward.template added<false, kWay>(z[0], taps.b[0], x, &met.forward, &met.sums);
      Sum landed;
      if constexpr (kWay == Way::Exact) {
        landed = output.template applyShort<true>(sum);
      } else {
        landed = output.template apply<kWay == Way::Counting>(sum, &met.output);
      }
      const auto y = static_cast<std::int64_t>(landed);
      for (std::size_t k = 1; k <= taps.states; ++k) {
        Sum s = z[k];
        if (k < taps.forward) s = forward.template added<false, kWay>(s, taps.b[k], x, &met.forward, &met.sums);
        if (k < taps.backward)
          s = backward.template added<true, kWay>(s, taps.a[k], y, &met.backward, &met.sums);
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
    const std::array registers{&formats_.forward, &formats_.backward, &formats_.sums, &formats_.output};
    const Way chosen = wayFrom(isAtRest);
    const std::size_t worthwhile = kSharedRounded / std::max<std::size_t>(productsEach, 1);
    shareLoop(count, std::max<std::size_t>(worthwhile, 1), registers,
              [&](std::size_t first, std::size_t size, const auto& own) {
                Tallies met;
                withWay(chosen, [&](auto way) { run(first, size, way, met); });
                if (chosen != Way::Counting) return;
                record(met.forward, *own[0]);
                record(met.backward, *own[1]);
                record(met.sums, *own[2]);
                record(met.output, *own[3]);
              });
  }

  Way wayFrom(bool isAtRest) const {
    if (formats_.sums.logger().isOn()) return Way::Counting;
    const bool fit = sumsFit_ && isAtRest && output_.isShort();
    const Way ahead = forward_.way(fit), back = formats_.backwardTerms > 0 ? backward_.way(fit) : ahead;
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
    if constexpr (!std::is_class_v<Sum>) {
      switch (way) {
        case Way::Cast: return with(std::integral_constant<Way, Way::Cast>());
        case Way::CastTies: return with(std::integral_constant<Way, Way::CastTies>());
        case Way::Both: return with(std::integral_constant<Way, Way::Both>());
        case Way::BothTies: return with(std::integral_constant<Way, Way::BothTies>());
        default: break;
      }
    }
    with(std::integral_constant<Way, Way::Any>());
  }

  FilterFormats formats_;
  Term<Carrier, Sum> forward_, backward_;
  CheapestStep<Sum> output_;
  bool sumsFit_;
};

/// Of types without slope and bias, which filters refuse.
bool isOrdinary(const NumericType& type) { return type.isFixed() && exactness::isNearOne(type); }

/// Doubles that add one half to an odd stored integer of 53 bits round it; sums in such a register may be one.
bool roundsInDoubles(const NumericType& sums) {
  return !sums.isSigned() && sums.wordLength() == static_cast<int>(kDoubleBits) - 1;
}

}  // namespace

std::unique_ptr<FilterKernel> FilterKernel::madeFor(const FilterFormats& f) {
  const NumericType &forward = f.forward.numericType(), &backward = f.backward.numericType(),
                    &sums = f.sums.numericType(), &output = f.output.numericType();
  for (const NumericType* type : {&f.b, &f.a, &f.x, &forward, &backward, &sums, &output}) {
    if (!isOrdinary(*type)) return nullptr;
  }
  constexpr int kShort = kBitsOf<std::int64_t>, kLong = kBitsOf<Int128>, kLongest = kBitsOf<Int256>;
  const bool hasFeedback = f.backwardTerms > 0;
  const IntegerValues b = IntegerValues::of(f.b), a = IntegerValues::of(f.a), x = IntegerValues::of(f.x),
                      sum = IntegerValues::of(sums);
  if (std::max({b.bits, a.bits, x.bits}) > kShort || roundsInDoubles(sums)) return nullptr;
  const TermFormats ahead{b * x, f.forward, f.sums, f.castBeforeSum},
      back =
          hasFeedback ? TermFormats{a * IntegerValues::of(output), f.backward, f.sums, f.castBeforeSum} : ahead;
  const int bitsOfSums = std::max(sum.bits, hasFeedback ? IntegerStep<Int256>::bitsFor(sum, output) : 0),
            all = std::max({ahead.bits(), back.bits(), bitsOfSums});
  // While nothing is counted, two words that fill an integer are added in it.
  const int bits =
      f.sums.logger().isOn() ? all : std::max({ahead.bitsOfTerms(), back.bitsOfTerms(), bitsOfSums});
  if (bits <= kShort) return std::make_unique<IntegerFilter<std::int64_t, std::int64_t>>(f, ahead, back);
  if (bits <= kLong && bitsOfSums <= kShort && !f.sums.logger().isOn())
    return std::make_unique<IntegerFilter<Int128, std::int64_t>>(f, ahead, back);
  if (bits <= kLong) return std::make_unique<IntegerFilter<Int128, Int128>>(f, ahead, back);
  if (all <= kLongest) return std::make_unique<IntegerFilter<Int256, Int256>>(f, ahead, back);
  return nullptr;
}

FilterKernel::Stored FilterKernel::stored(const fi& x) {
  Stored stored(x.numel());
  const IntegerOperand from(x, x.realPart());
  forEachIntegerBlock(0, stored.size(), [&](std::size_t first, std::size_t size) {
    IntegerBlock<std::int64_t> room;
    std::copy_n(from.read(room, first, size), size, stored.begin() + static_cast<std::ptrdiff_t>(first));
  });
  return stored;
}

}  // namespace embedded
