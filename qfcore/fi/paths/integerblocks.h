/// Array paths over native integers: stored integers of operands of either kind in blocks, products and sums of
/// them.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>

#include "qfcore/fi/exactness.h"
#include "qfcore/fi/paths/blocks.h"
#include "qfcore/fi/paths/wideloops.h"
#include "qfcore/math/integerkernels.h"

namespace embedded {

/// Several blocks of 128-bit integers stay in the first-level cache.
inline constexpr std::size_t kIntegerBlock = 256;
template <class Integer>
using IntegerBlock = std::array<Integer, kIntegerBlock>;

/// One part of an operand as stored integers of its type, an array or one value that stands for every element.
class IntegerOperand {
 public:
  IntegerOperand(const fi& x, const number& part)
      : wide_(x, part),
        doubles_(valuesOf(x, part)),
        fractionLength_(x.getNumericType().fractionLength()),
        isScalar_(x.isscalar()) {}

  /// Those of `count` elements from `first` on, `stride` apart. An `Integer` must hold them.
  template <class Integer>
  void read(Integer* to, std::size_t first, std::size_t count, std::size_t stride = 1) const {
    if (isScalar_) {
      std::fill_n(to, count, element<Integer>(0));
    } else if (doubles_) {
      const double unitsPerOne = normalPow2(fractionLength_);
      const double* from = doubles_ + first;
      for (std::size_t k = 0; k < count; ++k) to[k] = static_cast<std::int64_t>(from[k * stride] * unitsPerOne);
    } else {
      for (std::size_t k = 0; k < count; ++k)
        to[k] = storedInteger<Integer>(wide_[static_cast<unsigned>(first + k * stride)], fractionLength_);
    }
  }

 private:
  template <class Integer>
  Integer element(unsigned k) const {
    return doubles_ ? Integer{static_cast<std::int64_t>(doubles_[k] * normalPow2(fractionLength_))}
                    : storedInteger<Integer>(wide_[k], fractionLength_);
  }

  WideOperand wide_;
  const double* doubles_;
  int fractionLength_;
  bool isScalar_;
};

/// Elements of a part become the values of stored integers in units of 2^-fractionLength.
template <class Integer>
void writeIntegers(number& part, std::size_t first, const Integer* from, std::size_t count,
                   int fractionLength) {
  if (double* values = part.doubles()) {
    const double unit = normalPow2(-fractionLength);
    for (std::size_t k = 0; k < count; ++k)
      values[first + k] = static_cast<double>(static_cast<std::int64_t>(from[k])) * unit;
    return;
  }
  mpnumber& values = *part.multiprecision();
  for (std::size_t k = 0; k < count; ++k)
    setFromStored(values.getmodifiableelement(static_cast<unsigned>(first + k)), from[k], fractionLength);
}

/// Brings values to a quantizer's format through 64 bits where these hold them on their way, else through 128.
template <class Stored>
class AnyIntegerQuantizer {
 public:
  AnyIntegerQuantizer(const quantizer& q, long fractionLength, bool fits64) {
    if constexpr (sizeof(Stored) == sizeof(std::int64_t)) {
      if (fits64) {
        narrow_.emplace(q, fractionLength);
        return;
      }
    }
    wide_.emplace(q, fractionLength);
  }
  /// `form(carriers, count)` makes the values.
  template <class Form>
  void operator()(Form form, Stored* to, std::size_t count) {
    if constexpr (sizeof(Stored) == sizeof(std::int64_t)) {
      if (narrow_) return quantize(*narrow_, form, to, count);
    }
    quantize(*wide_, form, to, count);
  }
  void record() const {
    if (narrow_) narrow_->record();
    if (wide_) wide_->record();
  }

 private:
  template <class Carrier, class Form>
  static void quantize(IntegerQuantizer<Carrier, Stored>& q, Form form, Stored* to, std::size_t count) {
    IntegerBlock<Carrier> carriers;
    form(carriers.data(), count);
    q(carriers.data(), to, count);
  }

  std::optional<IntegerQuantizer<std::int64_t>> narrow_;
  std::optional<IntegerQuantizer<Int128, Stored>> wide_;
};

/// Whether integers of so many bits hold what is quantized on its way, when `holds(outer)` tells of a type of
/// that size on the finer grid whether it holds the values.
template <class Holds>
bool integersCarry(int bits, long fractionLength, const NumericType& to, Holds holds) {
  const std::optional<NumericType> outer =
      exactness::integersOf(bits, std::max(fractionLength, exactness::fractionBits(to)));
  return outer && fractionLength - to.fractionLength() <= bits - 2 && holds(*outer);
}

/// Quantized products of factors, `Factor` each, as `Stored`.
template <class Factor, class Stored>
class IntegerProduct {
 public:
  static bool fits(const NumericType& a, const NumericType& b, const NumericType& product, int bits = 128) {
    return integersCarry(bits, gridOf(a, b), product,
                         [&](const NumericType& outer) { return exactness::holdsProducts(outer, a, b); });
  }
  IntegerProduct(const NumericType& a, const NumericType& b, const quantizer& q)
      : quantize_(q, gridOf(a, b), sizeof(Factor) == sizeof(std::int64_t) && fits(a, b, q.numericType(), 64)) {}
  void operator()(const Factor* a, const Factor* b, Stored* to, std::size_t count) {
    quantize_(
        [=](auto* products, std::size_t size) {
          using Carrier = std::remove_pointer_t<decltype(products)>;
          for (std::size_t k = 0; k < size; ++k)
            products[k] = static_cast<Carrier>(a[k]) * static_cast<Carrier>(b[k]);
        },
        to, count);
  }
  void record() const { quantize_.record(); }

 private:
  static long gridOf(const NumericType& a, const NumericType& b) {
    return exactness::fractionBits(a) + exactness::fractionBits(b);
  }
  AnyIntegerQuantizer<Stored> quantize_;
};

/// Quantized sums or differences of terms that are `Stored` as they come, cast to the sum's type first where
/// the settings say so.
template <class Stored>
class IntegerSum {
 public:
  static constexpr int kBits = kBitsOf<Stored>;

  /// Whether `Stored` holds the terms cast, and 128 bits the sums.
  static bool fits(const NumericType& a, const NumericType& b, const NumericType& sum, bool casts,
                   bool isDifference) {
    if (!casts) return carries(128, a, b, sum, isDifference);
    // Doubles may round the half that is added to sums of more bits, which belongs to their rules.
    const bool areDoubles = fi::precisionOf(sum) <= kMaxDoublePrecision;
    if (areDoubles && !carries(kDoubleBits, sum, sum, sum, isDifference)) return false;
    return fitsCast(a, sum) && fitsCast(b, sum) && carries(128, sum, sum, sum, isDifference);
  }
  IntegerSum(const NumericType& a, const NumericType& b, const quantizer& q, bool casts, bool isDifference)
      : casts_(casts),
        isDifference_(isDifference),
        sum_(q, casts ? q.fractionLength() : finerGrid(a, b),
             casts ? carries(64, q.numericType(), q.numericType(), q.numericType(), isDifference)
                   : carries(64, a, b, q.numericType(), isDifference)) {
    if (casts) {
      a_.cast.emplace(q, a.fractionLength());
      b_.cast.emplace(q, b.fractionLength());
      for (auto [addend, type] : {std::pair{&a_, &a}, std::pair{&b_, &b}})
        addend->isThere = !q.logger().isOn() && type->fractionLength() == q.fractionLength() &&
                          exactness::holds(q.numericType(), *type);
    } else {
      a_.raise = static_cast<int>(finerGrid(a, b) - a.fractionLength());
      b_.raise = static_cast<int>(finerGrid(a, b) - b.fractionLength());
    }
  }
  /// A missing term, null, is 0 without a cast. `to` may be a term.
  void operator()(const Stored* a, const Stored* b, Stored* to, std::size_t count) {
    IntegerBlock<Stored> roomA, roomB;
    add(prepared(a_, a, roomA, count), prepared(b_, b, roomB, count), to, count);
  }
  /// The same for a left term of the sum's type, which needs no cast.
  void accumulate(Stored* sums, const Stored* terms, std::size_t count) {
    IntegerBlock<Stored> room;
    add(sums, prepared(b_, terms, room, count), sums, count);
  }
  /// The same for terms of one sum.
  void accumulate(Stored& sum, const Stored* terms, std::size_t count) {
    IntegerBlock<Stored> room;
    const Stored* ready = prepared(b_, terms, room, count);
    for (std::size_t k = 0; k < count; ++k) add(&sum, &ready[k], &sum, 1);
  }
  void record() const {
    for (const Addend* addend : {&a_, &b_})
      if (addend->cast) addend->cast->record();
    sum_.record();
  }

 private:
  struct Addend {
    std::optional<IntegerQuantizer<Stored>> cast;
    bool isThere = false;  ///< the cast would change nothing and record nothing
    int raise = 0;
  };

  static long finerGrid(const NumericType& a, const NumericType& b) {
    return std::max(exactness::fractionBits(a), exactness::fractionBits(b));
  }
  static bool fitsCast(const NumericType& from, const NumericType& to) {
    return integersCarry(kBits, exactness::fractionBits(from), to,
                         [&](const NumericType& outer) { return exactness::holds(outer, from); });
  }
  static bool carries(int bits, const NumericType& a, const NumericType& b, const NumericType& sum,
                      bool isDifference) {
    return integersCarry(bits, finerGrid(a, b), sum, [&](const NumericType& outer) {
      return exactness::holdsSums(outer, a, b, isDifference);
    });
  }
  const Stored* prepared(Addend& addend, const Stored* terms, IntegerBlock<Stored>& room, std::size_t count) {
    if (!terms) {
      std::fill_n(room.data(), count, Stored{0});
      return room.data();
    }
    if (!casts_ || addend.isThere) return terms;
    (*addend.cast)(terms, room.data(), count);
    return room.data();
  }
  void add(const Stored* a, const Stored* b, Stored* to, std::size_t count) {
    sum_(
        [=, this](auto* sums, std::size_t size) {
          using Carrier = std::remove_pointer_t<decltype(sums)>;
          using U = Unsigned<Carrier>;
          const auto raised = [](Stored x, int raise) {
            return static_cast<U>(static_cast<Carrier>(x)) << raise;
          };
          const int raiseA = a_.raise, raiseB = b_.raise;
          if (isDifference_) {
            for (std::size_t k = 0; k < size; ++k)
              sums[k] = static_cast<Carrier>(raised(a[k], raiseA) - raised(b[k], raiseB));
          } else {
            for (std::size_t k = 0; k < size; ++k)
              sums[k] = static_cast<Carrier>(raised(a[k], raiseA) + raised(b[k], raiseB));
          }
        },
        to, count);
  }

  bool casts_, isDifference_;
  Addend a_, b_;
  AnyIntegerQuantizer<Stored> sum_;
};

}  // namespace embedded
