#include "qfcore/fi/paths/filterkernel.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "qfcore/fi/exactness.h"
#include "qfcore/fi/paths/integersteps.h"
#include "qfcore/number/nativeinteger.h"
#include "qfcore/number/precision.h"
#include "tessel/interruption.h"

namespace embedded {

namespace {

// ------------------------------------------------------------------------------ between numbers and stored
// integers

template <class Integer>
Integer storedOf(const number& part, unsigned k, int fractionLength) {
  if (const double* values = part.doubles())
    return static_cast<Integer>(static_cast<std::int64_t>(std::ldexp(values[k], fractionLength)));
  return storedInteger<Integer>(part.multiprecision()->getelement(k), fractionLength);
}

void setStored(number& part, unsigned k, int fractionLength, Int128 stored) {
  if (double* values = part.doubles()) {
    values[k] = std::ldexp(static_cast<double>(static_cast<std::int64_t>(stored)), -fractionLength);
  } else {
    setFromStored(part.multiprecision()->getmodifiableelement(k), stored, fractionLength);
  }
}

template <class Integer>
std::vector<Integer> allStored(const fi& x) {
  std::vector<Integer> stored(x.numel());
  for (unsigned k = 0; k < x.numel(); ++k)
    stored[k] = storedOf<Integer>(x.realPart(), k, x.getNumericType().fractionLength());
  return stored;
}

// -----------------------------------------------------------------------------------------------------------
// steps

/// The exact products of two types on their way into a sum.
struct TermFormats {
  IntegerValues product;  ///< exact
  const quantizer &products, &sums;
  bool cast;

  IntegerValues rounded() const { return IntegerValues::of(products.numericType()); }
  IntegerValues sum() const { return IntegerValues::of(sums.numericType()); }
  /// The grid on which both are added.
  long grid() const { return cast ? sum().fraction : std::max(rounded().fraction, sum().fraction); }
  IntegerValues total() const {
    const IntegerValues term = cast ? sum() : rounded().onGrid(grid());
    return sum().onGrid(grid()).plus(term, true);
  }
  int bits() const {
    const NumericType &productType = products.numericType(), &sumType = sums.numericType();
    return std::max({product.bits, IntegerStep<Int128>::bitsFor(product, productType),
                     cast ? IntegerStep<Int128>::bitsFor(rounded(), sumType) : 0,
                     IntegerStep<Int128>::bitsFor(total(), sumType)});
  }
};

template <class Integer>
class Term {
 public:
  explicit Term(const TermFormats& formats)
      : product_(formats.product, formats.products),
        sum_(formats.total(), formats.sums),
        lift_(formats.cast ? 0 : static_cast<int>(formats.grid() - formats.rounded().fraction)),
        sumLift_(static_cast<int>(formats.grid() - formats.sum().fraction)),
        casts_(formats.cast) {
    if (casts_) cast_ = CheapestStep<Integer>(formats.rounded(), formats.sums);
  }
  void leaveSumsUnchecked() { sum_.leaveRangeUnchecked(); }
  /// The sum, or with `Subtracts` the difference, of a sum and the product of two stored integers.
  template <bool Subtracts, bool Counts>
  Integer added(Integer sum, std::int64_t x, std::int64_t y, IntegerTally<Integer>* products,
                IntegerTally<Integer>* sums) const {
    Integer term = product_.template apply<Counts>(static_cast<Integer>(x) * y, products);
    if (casts_) {
      if constexpr (Counts) sums->take(sum);
      term = cast_.template apply<Counts>(term, sums);
    } else {
      term <<= lift_;
      sum <<= sumLift_;
    }
    return sum_.template apply<Counts>(Subtracts ? sum - term : sum + term, sums);
  }

 private:
  IntegerStep<Integer> product_, sum_;
  CheapestStep<Integer> cast_;
  int lift_, sumLift_;
  bool casts_;
};

/// Samples that take no time that anybody notices, between two questions for the interrupt key.
std::size_t samplesAtOnce(std::size_t productsEach) {
  constexpr std::size_t kProductsAtOnce = 1U << 20;
  return std::max<std::size_t>(1, kProductsAtOnce / std::max<std::size_t>(1, productsEach));
}

/// Calls `run(first, end)` for stretches of so many samples.
template <class Run>
void inStretches(std::size_t samples, std::size_t productsEach, Run run) {
  const std::size_t atOnce = samplesAtOnce(productsEach);
  for (std::size_t first = 0; first < samples; first += atOnce) {
    tessel::raiseIfInterrupted();
    run(first, std::min(samples, first + atOnce));
  }
}

template <class Integer>
class IntegerFilter final : public FilterKernel {
 public:
  IntegerFilter(const FilterFormats& formats, const TermFormats& forward, const TermFormats& backward)
      : formats_(formats),
        sumFraction_(formats.sums.numericType().fractionLength()),
        forward_(forward),
        backward_(backward),
        output_(IntegerValues::of(formats.sums.numericType()), formats.output) {
    const NumericType &forwardType = formats.forward.numericType(),
                      &backwardType = formats.backward.numericType();
    sumsFit_ = exactness::holdsSumsOfEither(formats.sums.numericType(), forwardType, formats.forwardTerms,
                                            backwardType, formats.backwardTerms);
  }

  void recursive(const Stored& b, const Stored& a, Stored& signal, fi& states) const override {
    const auto run = [&](auto counts, auto size) {
      withStates(states, counts, [&](const Terms& terms, Integer* z, Tallies& met) {
        const Taps<size()> taps(b, a);
        // Where their number is known they stay in registers.
        std::array<Integer, size()> known;
        std::copy_n(z, size(), known.begin());
        Integer* current = size() > 0 ? known.data() : z;
        inStretches(signal.size(), b.size() + a.size(), [&](std::size_t first, std::size_t end) {
          for (std::size_t n = first; n < end; ++n)
            signal[n] = taps.template step<counts()>(terms, output_, current, signal[n], met);
        });
        std::copy_n(known.begin(), size(), z);
      });
    };
    if (isLogging()) return run(std::true_type(), std::integral_constant<std::size_t, 0>());
    if (b.size() == 3 && a.size() == 3) return run(std::false_type(), std::integral_constant<std::size_t, 3>());
    run(std::false_type(), std::integral_constant<std::size_t, 0>());
  }

  void direct(const Stored& b, const Stored& signal, fi& states, fi& y, std::size_t first,
              std::size_t stride) const override {
    const auto run = [&](auto counts) {
      withStates(states, counts, [&](const Terms& terms, Integer* z, Tallies& met) {
        inStretches(signal.size(), b.size(), [&](std::size_t begin, std::size_t end) {
          for (std::size_t n = begin; n < end; ++n) {
            const auto tap = [&](std::size_t k) {
              return terms.forward.template added<false, counts()>(z[k], b[k], signal[n], &met.forward,
                                                                   &met.sums);
            };
            setStored(y.realPart(), static_cast<unsigned>(first + n * stride), sumFraction_, tap(0));
            for (std::size_t k = 1; k < b.size(); ++k) z[k - 1] = tap(k);
          }
        });
      });
    };
    isLogging() ? run(std::true_type()) : run(std::false_type());
  }

  void convolve(const Stored& u, const Stored& v, std::size_t skipped, fi& y) const override {
    const auto run = [&](auto counts) {
      Tallies met;
      Term<Integer> term(forward_);
      if (sumsFit_) term.leaveSumsUnchecked();
      const std::size_t atOnce = samplesAtOnce(std::min(u.size(), v.size()));
      for (unsigned k = 0; k < y.numel(); ++k) {
        if (k % atOnce == 0) tessel::raiseIfInterrupted();
        const std::size_t n = k + skipped, begin = n < v.size() ? 0 : n - v.size() + 1;
        Integer sum = 0;
        for (std::size_t i = begin; i < std::min(u.size(), n + 1); ++i)
          sum = term.template added<false, counts()>(sum, u[i], v[n - i], &met.forward, &met.sums);
        setStored(y.realPart(), k, sumFraction_, sum);
      }
      recordAll(met);
    };
    isLogging() ? run(std::true_type()) : run(std::false_type());
  }

 private:
  struct Terms {
    Term<Integer> forward, backward;
  };
  struct Tallies {
    IntegerTally<Integer> forward, backward, sums, output;
  };

  /// The coefficients, of a size that is known beforehand or, with 0, is not.
  template <std::size_t Size>
  struct Taps {
    const std::int64_t *b, *a;
    std::size_t forward, backward, states;

    Taps(const Stored& forwardTaps, const Stored& backwardTaps)
        : b(forwardTaps.data()),
          a(backwardTaps.data()),
          forward(Size > 0 ? Size : forwardTaps.size()),
          backward(Size > 0 ? Size : backwardTaps.size()),
          states(std::max(forward, backward) - 1) {}

    template <bool Counts>
    [[gnu::always_inline]] std::int64_t step(const Terms& terms, const CheapestStep<Integer>& output,
                                             Integer* z, std::int64_t x, Tallies& met) const {
      const Integer sum = terms.forward.template added<false, Counts>(z[0], b[0], x, &met.forward, &met.sums);
      const auto y = static_cast<std::int64_t>(output.template apply<Counts>(sum, &met.output));
      for (std::size_t k = 1; k <= states; ++k) {
        Integer s = z[k];
        if (k < forward) s = terms.forward.template added<false, Counts>(s, b[k], x, &met.forward, &met.sums);
        if (k < backward) s = terms.backward.template added<true, Counts>(s, a[k], y, &met.backward, &met.sums);
        z[k - 1] = s;
      }
      return y;
    }
  };

  bool isLogging() const { return formats_.sums.logger().isOn(); }

  template <bool Counts, class Run>
  void withStates(fi& states, std::bool_constant<Counts>, Run run) const {
    std::vector<Integer> z = allStored<Integer>(states);
    Terms terms{forward_, backward_};
    if (sumsFit_ && std::all_of(z.begin(), z.end(), [](Integer value) { return value == 0; })) {
      terms.forward.leaveSumsUnchecked();
      terms.backward.leaveSumsUnchecked();
    }
    Tallies met;
    run(terms, z.data(), met);
    for (unsigned k = 0; k < states.numel(); ++k) setStored(states.realPart(), k, sumFraction_, z[k]);
    if constexpr (Counts) recordAll(met);
  }

  void recordAll(const Tallies& met) const {
    if (!isLogging()) return;
    record(met.forward, formats_.forward);
    record(met.backward, formats_.backward);
    record(met.sums, formats_.sums);
    record(met.output, formats_.output);
  }

  FilterFormats formats_;
  int sumFraction_;
  Term<Integer> forward_, backward_;
  CheapestStep<Integer> output_;
  bool sumsFit_;
};

bool isOrdinary(const NumericType& type) {
  return type.isFixed() && !type.isSlopeBias() && exactness::isNearOne(type);
}

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
  const IntegerValues b = IntegerValues::of(f.b), a = IntegerValues::of(f.a), x = IntegerValues::of(f.x),
                      y = IntegerValues::of(output);
  if (std::max({b.bits, a.bits, x.bits}) > kBitsOf<std::int64_t> || roundsInDoubles(sums)) return nullptr;
  const TermFormats ahead{b * x, f.forward, f.sums, f.castBeforeSum},
      back{a * y, f.backward, f.sums, f.castBeforeSum};
  const int bits =
      std::max({ahead.bits(), back.bits(), IntegerStep<Int128>::bitsFor(IntegerValues::of(sums), output)});
  if (bits <= kBitsOf<std::int64_t>) return std::make_unique<IntegerFilter<std::int64_t>>(f, ahead, back);
  if (bits <= kBitsOf<Int128>) return std::make_unique<IntegerFilter<Int128>>(f, ahead, back);
  return nullptr;
}

FilterKernel::Stored FilterKernel::stored(const fi& x, std::size_t first, std::size_t stride,
                                          std::size_t count) {
  const int fractionLength = x.getNumericType().fractionLength();
  Stored stored(count);
  if (const double* values = x.isempty() ? nullptr : x.realPart().doubles()) {
    const double unitsPerOne = std::ldexp(1.0, fractionLength);
    for (std::size_t k = 0; k < count; ++k)
      stored[k] = static_cast<std::int64_t>(values[first + k * stride] * unitsPerOne);
    return stored;
  }
  for (std::size_t k = 0; k < count; ++k)
    stored[k] = storedOf<std::int64_t>(x.realPart(), static_cast<unsigned>(first + k * stride), fractionLength);
  return stored;
}

void FilterKernel::store(const Stored& stored, fi& x, std::size_t first, std::size_t stride) {
  const int fractionLength = x.getNumericType().fractionLength();
  double* values = x.realPart().doubles();
  const double unit = std::ldexp(1.0, -fractionLength);
  for (std::size_t k = 0; k < stored.size(); ++k) {
    const std::size_t place = first + k * stride;
    if (values) {
      values[place] = static_cast<double>(stored[k]) * unit;
    } else {
      setStored(x.realPart(), static_cast<unsigned>(place), fractionLength, stored[k]);
    }
  }
}

}  // namespace embedded
