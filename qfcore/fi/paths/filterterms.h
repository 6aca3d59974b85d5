/// What a filter does with each of its products: rounding them and adding them to a sum, in native integers.
#pragma once

#include <algorithm>
#include <cstdint>
#include <type_traits>

#include "qfcore/fi/paths/filterkernel.h"
#include "qfcore/fi/paths/integersteps.h"
#include "qfcore/number/int256.h"

namespace embedded {

/// Two values on their way into one of the type of `sums`, which with `cast` they become first.
struct JointFormats {
  IntegerValues left, right;
  const quantizer& sums;
  bool cast;

  IntegerValues sum() const { return IntegerValues::of(sums.numericType()); }
  /// The grid on which both are added, where neither becomes one of the sum's type first.
  long grid() const { return std::max(left.fraction, right.fraction); }
  IntegerValues total() const {
    return cast ? sum().plusOrMinus(sum()) : left.onGrid(grid()).plusOrMinus(right.onGrid(grid()));
  }
  /// For all but sums of two values of the sum's type.
  int bitsOfTerms() const {
    const NumericType& type = sums.numericType();
    if (!cast) return bits();
    return std::max(IntegerStep<Int256>::bitsFor(left, type), IntegerStep<Int256>::bitsFor(right, type));
  }
  int bits() const {
    const int ofTotal = IntegerStep<Int256>::bitsFor(total(), sums.numericType());
    return cast ? std::max(bitsOfTerms(), ofTotal) : ofTotal;
  }
};

/// The exact products of two types on their way into a sum.
struct TermFormats {
  IntegerValues product;  ///< exact
  const FilterProducts& products;
  const quantizer& sums;
  bool cast;

  bool arePairs() const { return products.factors == Factors::BothComplex; }
  IntegerValues rounded() const {
    // Known more closely where rounding to their type leaves them as they are.
    const NumericType& type = products.each.numericType();
    return product.areOf(type) && product.fraction == type.fractionLength() ? product : IntegerValues::of(type);
  }
  JointFormats pair() const { return {rounded(), rounded(), products.pairs, cast}; }
  /// What meets in sums.
  IntegerValues term() const { return arePairs() ? pair().sum() : rounded(); }
  JointFormats joint() const { return {IntegerValues::of(sums.numericType()), term(), sums, cast}; }
  /// Whether pairs lose nothing.
  bool pairsFit() const {
    return !arePairs() || rounded().plusOrMinus(rounded()).areOf(products.pairs.numericType());
  }

  int bitsOfTerms() const { return std::max(bitsBeforeSums(false), joint().bitsOfTerms()); }
  int bits() const { return std::max(bitsBeforeSums(true), joint().bits()); }
  /// Of what is summed.
  int bitsOfSums() const { return std::max(joint().sum().bits, arePairs() ? pair().sum().bits : 0); }

 private:
  int bitsBeforeSums(bool counted) const {
    const int each = IntegerStep<Int256>::bitsFor(product, products.each.numericType());
    return arePairs() ? std::max(each, counted ? pair().bits() : pair().bitsOfTerms()) : each;
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

constexpr bool roundsTies(Way way) { return way == Way::CastTies || way == Way::BothTies; }

/// `Carrier` holds the terms until they are values of the sum's type, `Sum` what is summed.
template <class Carrier, class Sum>
class Joint {
 public:
  Joint() = default;
  explicit Joint(const JointFormats& formats)
      : total_(formats.total(), formats.sums),
        liftLeft_(formats.cast ? 0 : static_cast<int>(formats.grid() - formats.left.fraction)),
        liftRight_(formats.cast ? 0 : static_cast<int>(formats.grid() - formats.right.fraction)),
        casts_(formats.cast) {
    if (!casts_) return;
    cast_ = CheapestStep<Carrier>(formats.right, formats.sums);
    sum_ = IntegerStep<Sum>(formats.total(), formats.sums);
  }

  bool isShort() const { return casts_ && cast_.isShort(); }
  bool dependsOnValue() const { return cast_.whole().dependsOnValue(); }

  /// The sum, or with `Subtracts` the difference, of two values, the left one of the sum's type already or not.
  template <bool Subtracts, Way kWay, bool kLeftIsSum, class Left>
  [[gnu::always_inline]] Sum joined(Left left, Carrier right, [[maybe_unused]] IntegerTally<Sum>& tally) const {
    if constexpr (kWay == Way::Counting) {
      if (casts_) {
        if constexpr (kLeftIsSum) {
          tally.take(left);
        } else {
          left = cast_.template apply<true>(left, &tally);
        }
        right = cast_.template apply<true>(right, &tally);
      } else {
        left <<= liftLeft_;
        right <<= liftRight_;
      }
      return total_.template apply<true>(Subtracts ? left - right : left + right, &tally);
    } else {
      if constexpr (kWay == Way::Any) {
        if (!casts_) {
          const Carrier before = static_cast<Carrier>(left) << liftLeft_;
          right <<= liftRight_;
          return static_cast<Sum>(
              total_.template apply<false>(Subtracts ? before - right : before + right, nullptr));
        }
      }
      right = cast<kWay>(right);
      if constexpr (!kLeftIsSum) left = cast<kWay>(left);
      return sum_.template added<Subtracts>(static_cast<Sum>(left), static_cast<Sum>(right));
    }
  }
  /// Records a sum with nothing, for which there is no cast.
  void pass(Sum sum, IntegerTally<Sum>& tally) const {
    if (casts_) tally.take(sum);
    tally.take(sum);
  }

 private:
  template <Way kWay>
  [[gnu::always_inline]] Carrier cast(Carrier term) const {
    if constexpr (kWay == Way::Any) {
      return cast_.template apply<false>(term, nullptr);
    } else {
      return cast_.template applyShort<roundsTies(kWay)>(term);
    }
  }

  CheapestStep<Carrier> cast_;
  IntegerStep<Sum> sum_;  // of two values of the sum's type
  IntegerStep<Carrier> total_;
  int liftLeft_ = 0, liftRight_ = 0;
  bool casts_ = false;
};

/// A complex integer.
template <class Integer>
struct Parts {
  Integer re = 0, im = 0;
};

template <class Carrier, class Factor>
[[gnu::always_inline]] inline Carrier productOf(Factor x, Factor y) {
  if constexpr (sizeof(Carrier) == sizeof(Int256) && sizeof(Factor) == sizeof(Int128)) {
    // By halves, of which the upper ones have the sign.
    constexpr int kHalf = kBitsOf<std::int64_t>;
    const Int128 lowX = static_cast<std::uint64_t>(x), lowY = static_cast<std::uint64_t>(y), highX = x >> kHalf,
                 highY = y >> kHalf;
    return Int256(highX * highY, static_cast<Uint128>(lowX) * static_cast<Uint128>(lowY)) +
           ((Int256(highX * lowY) + Int256(lowX * highY)) << kHalf);
  } else if constexpr (sizeof(Carrier) > sizeof(Int128)) {
    return Int128{x} * y;
  } else {
    return static_cast<Carrier>(x) * y;
  }
}

/// One kind of products, of real or complex integers, and the sums that they join.
template <class Carrier, class Sum, bool kComplex>
class Term {
 public:
  struct Tallies {
    IntegerTally<Carrier> products;
    IntegerTally<Sum> pairs;
  };

  explicit Term(const TermFormats& formats)
      : product_(formats.product, formats.products.each),
        joint_(formats.joint()),
        factors_(formats.products.factors),
        raise_(static_cast<int>(std::max(formats.joint().sum().fraction - formats.product.fraction, 0L))),
        pairsFit_(formats.pairsFit()) {
    if constexpr (kComplex) {
      if (formats.arePairs()) pair_ = Joint<Carrier, Sum>(formats.pair());
    }
  }

  /// The least that products take, where sums stay in range or not.
  Way way(bool sumsFit) const {
    const bool isRounded = !product_.isIdentity();
    if (std::is_same_v<Carrier, Sum> && sumsFit && pairsFit_ && !isRounded) return Way::Exact;
    if (!joint_.isShort() || !product_.isShort()) return Way::Any;
    bool ties = joint_.dependsOnValue() || product_.dependsOnValue();
    if constexpr (kComplex) {
      if (factors_ == Factors::BothComplex && !pair_.isShort()) return Way::Any;
      ties = ties || pair_.dependsOnValue();
    }
    return isRounded ? (ties ? Way::BothTies : Way::Both) : ties ? Way::CastTies : Way::Cast;
  }

  /// The sum, or with `Subtracts` the difference, of a sum and the product of two stored integers, which with
  /// `kFeedsBack` depends on the one before.
  template <bool Subtracts, Way kWay, bool kFeedsBack = false, class State, class Sample>
  [[gnu::always_inline]] State added(State sum, Sample x, Sample y, Tallies& met,
                                     IntegerTally<Sum>& sums) const {
    constexpr bool kIsLong = kComplex ? kWay == Way::Any || kWay == Way::Counting || std::is_class_v<Carrier>
                                      : std::is_same_v<Sample, Int128>;
    if constexpr (kIsLong && kWay != Way::Exact) {
      return addedApart<Subtracts, kWay>(sum, x, y, met, sums);
    } else {
      return addedHere<Subtracts, kWay, kFeedsBack>(sum, x, y, met, sums);
    }
  }

 private:
  /// Once: in every loop, steps so long would be most of the library.
  template <bool Subtracts, Way kWay, class State, class Sample>
  [[gnu::noinline]] State addedApart(const State& sum, const Sample& x, const Sample& y, Tallies& met,
                                     IntegerTally<Sum>& sums) const {
    return addedHere<Subtracts, kWay, true>(sum, x, y, met, sums);
  }

  template <bool Subtracts, Way kWay, bool kFeedsBack, class Factor>
  [[gnu::always_inline]] Sum addedHere(Sum sum, Factor x, Factor y, Tallies& met,
                                       IntegerTally<Sum>& sums) const {
    return joined<Subtracts, kWay, kFeedsBack>(sum, product<kWay>(x, y, met), sums);
  }
  /// The same of complex ones: of a factor that is not, the imaginary part is no part of any product.
  template <bool Subtracts, Way kWay, bool, class Factor>
  [[gnu::always_inline]] Parts<Sum> addedHere(const Parts<Sum>& sum, const Parts<Factor>& x,
                                              const Parts<Factor>& y, Tallies& met,
                                              IntegerTally<Sum>& sums) const {
    const auto times = [&](Factor u, Factor v) { return product<kWay>(u, v, met); };
    const auto join = [&](Sum part, Carrier term) { return joined<Subtracts, kWay, true>(part, term, sums); };
    if (factors_ == Factors::BothComplex) {
      const Carrier re = paired<true, kWay>(times(x.re, y.re), times(x.im, y.im), met),
                    im = paired<false, kWay>(times(x.re, y.im), times(x.im, y.re), met);
      return {join(sum.re, re), join(sum.im, im)};
    }
    const Sum re = join(sum.re, times(x.re, y.re));
    if (factors_ == Factors::LeftComplex) return {re, join(sum.im, times(x.im, y.re))};
    if (factors_ == Factors::RightComplex) return {re, join(sum.im, times(x.re, y.im))};
    if constexpr (kWay == Way::Counting) joint_.pass(sum.im, sums);
    return {re, sum.im};
  }

  template <Way kWay, class Factor>
  [[gnu::always_inline]] Carrier product(Factor x, Factor y, [[maybe_unused]] Tallies& met) const {
    const auto exact = productOf<Carrier>(x, y);
    if constexpr (kWay == Way::Counting) {
      return product_.template apply<true>(exact, &met.products);
    } else if constexpr (kWay == Way::Any) {
      return product_.template apply<false>(exact, nullptr);
    } else if constexpr (kWay == Way::Both || kWay == Way::BothTies) {
      return product_.template applyShort<roundsTies(kWay)>(exact);
    } else {
      return exact;
    }
  }
  /// A part of a complex product, from two products.
  template <bool Subtracts, Way kWay>
  [[gnu::always_inline]] Carrier paired(Carrier left, Carrier right, Tallies& met) const {
    if constexpr (kWay == Way::Exact) {
      return Subtracts ? left - right : left + right;
    } else {
      return pair_.template joined<Subtracts, kWay, false>(left, right, met.pairs);
    }
  }
  template <bool Subtracts, Way kWay, bool kAlwaysRaises>
  [[gnu::always_inline]] Sum joined(Sum sum, Carrier term, IntegerTally<Sum>& sums) const {
    if constexpr (kWay == Way::Exact) {
      Sum raised = static_cast<Sum>(term);
      // A simple loop asks once for all terms; else the shift of a machine word costs less than the question.
      if ((kAlwaysRaises && kBitsOf<Sum> == kBitsOf<std::int64_t>) || raise_ > 0) raised <<= raise_;
      return Subtracts ? sum - raised : sum + raised;
    } else {
      return joint_.template joined<Subtracts, kWay, true>(sum, term, sums);
    }
  }

  struct Nothing {};

  IntegerStep<Carrier> product_;
  Joint<Carrier, Sum> joint_;
  [[no_unique_address]] std::conditional_t<kComplex, Joint<Carrier, Sum>, Nothing> pair_;
  Factors factors_;
  int raise_;
  bool pairsFit_;
};

}  // namespace embedded
