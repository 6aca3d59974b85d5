/// Array paths over native integers: stored integers of operands of either kind in blocks, products and sums of
/// them.
#pragma once

#include <algorithm>
#include <array>
#include <cassert>
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

/// Calls `step(first, size)` for each block of `count` elements from place `begin` on.
template <class Step>
void forEachIntegerBlock(std::size_t begin, std::size_t count, Step step) {
  for (std::size_t first = 0; first < count; first += kIntegerBlock)
    step(begin + first, std::min(kIntegerBlock, count - first));
}

/// Which integers an operation takes for what it reads and for what it stores.
enum class IntegerSizes { None, Short, Mixed, Long };

template <class Visit>
void withIntegers(IntegerSizes sizes, Visit visit) {
  constexpr std::int64_t kShort = 0;
  constexpr Int128 kLong = 0;
  assert(sizes != IntegerSizes::None);
  if (sizes == IntegerSizes::Short) return visit(kShort, kShort);
  if (sizes == IntegerSizes::Mixed) return visit(kShort, kLong);
  visit(kLong, kLong);
}

/// The smallest for which `test(factor, stored)`, asked with a value of each, is true.
template <class Test>
IntegerSizes smallestIntegers(Test test) {
  for (const IntegerSizes sizes : {IntegerSizes::Short, IntegerSizes::Mixed, IntegerSizes::Long}) {
    bool fit = false;
    withIntegers(sizes, [&](auto factor, auto stored) { fit = test(factor, stored); });
    if (fit) return sizes;
  }
  return IntegerSizes::None;
}

/// One part of an operand as stored integers of its type, an array or one value that stands for every element.
class IntegerOperand {
 public:
  IntegerOperand(const fi& x, const number& part)
      : doubles_(valuesOf(x, part)),
        fractionLength_(x.getNumericType().fractionLength()),
        isScalar_(x.isscalar()) {
    const mpnumber* wide = part.isempty() ? nullptr : part.multiprecision();
    if (!wide) return;
    short_ = wide->integers<std::int64_t>(fractionLength_);
    long_ = wide->integers<Int128>(fractionLength_);
    if (!short_ && !long_) wide_ = WideOperand(x, part);
  }

  /// Those of at most a block of elements from `first` on, `stride` apart, in `room` or where they are. They
  /// must exist, and an `Integer` must hold them.
  template <class Integer>
  const Integer* read(IntegerBlock<Integer>& room, std::size_t first, std::size_t count,
                      std::size_t stride = 1) const {
    if (const Integer* there = kept<Integer>(); there && stride == 1 && !isScalar_) return there + first;
    Integer* to = room.data();
    const auto convert = [&](const auto* from, auto toInteger) {
      if (isScalar_) {
        std::fill_n(to, count, toInteger(*from));
      } else {
        for (std::size_t k = 0; k < count; ++k) to[k] = toInteger(from[first + k * stride]);
      }
    };
    const auto same = [](auto stored) { return static_cast<Integer>(stored); };
    if (doubles_) {
      convert(doubles_, [unitsPerOne = normalPow2(fractionLength_)](double value) {
        return static_cast<Integer>(static_cast<std::int64_t>(value * unitsPerOne));
      });
    } else if (short_) {
      convert(short_, same);
    } else if (long_) {
      convert(long_, same);
    } else {
      for (std::size_t k = 0; k < count; ++k)
        to[k] = storedInteger<Integer>((*wide_)[first + k * stride], fractionLength_);
    }
    return to;
  }

 private:
  template <class Integer>
  const Integer* kept() const {
    if constexpr (std::is_same_v<Integer, Int128>) {
      return long_;
    } else if constexpr (std::is_same_v<Integer, std::int64_t>) {
      return short_;
    } else {
      return nullptr;
    }
  }

  const double* doubles_;
  const std::int64_t* short_ = nullptr;
  const Int128* long_ = nullptr;
  std::optional<WideOperand> wide_;
  int fractionLength_;
  bool isScalar_;
};

/// One part of an array that takes stored integers of a type. Long words stay such integers where nobody has
/// asked for their values. Several threads may write to different places.
class IntegerTarget {
 public:
  IntegerTarget(number& part, const NumericType& type)
      : doubles_(part.doubles()), values_(part.multiprecision()), fractionLength_(type.fractionLength()) {
    if (!values_) return;
    if (exactness::integersHold(kBitsOf<std::int64_t>, type)) {
      short_ = values_->modifiableIntegers<std::int64_t>(fractionLength_);
    } else if (exactness::integersHold(kBitsOf<Int128>, type)) {
      long_ = values_->modifiableIntegers<Int128>(fractionLength_);
    }
    if (!short_ && !long_ && part.numel() > 0)
      wide_ = {values_->getmodifiableelement(0), values_->getmodifiableelement(part.numel() > 1 ? 1 : 0)};
  }

  template <class Integer>
  void write(std::size_t first, const Integer* from, std::size_t count) const {
    const auto convert = [&](auto* to, auto fromInteger) {
      for (std::size_t k = 0; k < count; ++k) to[first + k] = fromInteger(from[k]);
    };
    if (doubles_) {
      convert(doubles_, [unit = normalPow2(-fractionLength_)](Integer stored) {
        return static_cast<double>(static_cast<std::int64_t>(stored)) * unit;
      });
    } else if (short_) {
      convert(short_, [](Integer stored) { return static_cast<std::int64_t>(stored); });
    } else if (long_) {
      convert(long_, [](Integer stored) { return static_cast<Int128>(stored); });
    } else {
      for (std::size_t k = 0; k < count; ++k) setFromStored(wide_[first + k], from[k], fractionLength_);
    }
  }
  /// The same for elements that stand `stride` apart.
  template <class Integer>
  void write(std::size_t first, std::size_t stride, const Integer* from, std::size_t count) const {
    if (stride == 1) return write(first, from, count);
    for (std::size_t k = 0; k < count; ++k) write(first + k * stride, from + k, 1);
  }

 private:
  double* doubles_;
  mpnumber* values_;
  std::int64_t* short_ = nullptr;
  Int128* long_ = nullptr;
  WideValues<MpFloat> wide_;
  int fractionLength_;
};

/// Both parts of an operand in a block; `im` is null where it is real.
template <class Integer>
struct PartBlock {
  const Integer *re, *im;
};

/// Both parts of an operand as stored integers.
class IntegerOperands {
 public:
  explicit IntegerOperands(const fi& x) : re_(x, x.realPart()) {
    if (x.iscomplex()) im_.emplace(x, x.imagPart());
  }
  template <class Factor>
  struct Room {
    IntegerBlock<Factor> re, im;
  };
  template <class Factor>
  PartBlock<Factor> read(Room<Factor>& room, std::size_t first, std::size_t count,
                         std::size_t stride = 1) const {
    return {re_.read(room.re, first, count, stride), im_ ? im_->read(room.im, first, count, stride) : nullptr};
  }

 private:
  IntegerOperand re_;
  std::optional<IntegerOperand> im_;
};

/// Both parts of a result, real or complex.
class IntegerResult {
 public:
  explicit IntegerResult(fi& x) : re_(x.realPart(), x.getNumericType()) {
    if (x.iscomplex()) im_.emplace(x.imagPart(), x.getNumericType());
  }
  bool isComplex() const { return im_.has_value(); }
  template <class Stored>
  void write(std::size_t first, const Stored* re, const Stored* im, std::size_t count) const {
    re_.write(first, re, count);
    if (im_) im_->write(first, im, count);
  }

 private:
  IntegerTarget re_;
  std::optional<IntegerTarget> im_;
};

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
  /// `form(carriers, count)` makes the values, of which there is at least one.
  template <class Form>
  void operator()(Form form, Stored* to, std::size_t count) {
    assert(count > 0);
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
             casts ? carries(64, q.numericType(), q.numericType(), q.numericType(), isDifference) ||
                         wrapsUnseen(q)
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
    accumulatePrepared(sums, prepare(terms, count), count);
  }
  /// Its two steps: terms, cast where the settings say so, until the next such call; and their sums.
  const Stored* prepare(const Stored* terms, std::size_t count) { return prepared(b_, terms, room_, count); }
  void accumulatePrepared(Stored* sums, const Stored* terms, std::size_t count) {
    add(sums, terms, sums, count);
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

  /// Whether sums of words may lose what lies above 64 bits: wrapping drops it, and nothing is recorded.
  static bool wrapsUnseen(const quantizer& q) {
    return q.overflowMode() == OverflowModeEnum::wrap && !q.logger().isOn() &&
           exactness::integersHold(64, q.numericType());
  }
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
          if (!isDifference_ && raiseA == 0 && raiseB == 0) {
            for (std::size_t k = 0; k < size; ++k)
              sums[k] = static_cast<Carrier>(raised(a[k], 0) + raised(b[k], 0));
          } else if (isDifference_) {
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
  IntegerBlock<Stored> room_;
  AnyIntegerQuantizer<Stored> sum_;
};

}  // namespace embedded
