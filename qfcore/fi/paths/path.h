/// The choice among the ways through the elements of arrays: the only place that makes it.
#pragma once

#include "qfcore/fi/fi.h"

namespace embedded {

enum class Path {
  PlainDoubles,  ///< contiguous doubles, no quantizer: one operation, exact as it is
  Blocks,        ///< contiguous doubles in blocks, each step one vectorised pass
  Integers,      ///< stored integers of up to 128 bits in native ones, in blocks
  PlainWide,     ///< values of any length one after the other, no quantizer
  Wide,          ///< values of any length one after the other, without cursors
  Elements       ///< element by element with cursors: the meaning, which serves every operand
};

/// Whether an operation has loops over values of any length: for arrays all of which are multiprecision, or for
/// doubles among them as well.
enum class WideLoops { None, OfWide, OfAny };

/// What an operation can do for the types and settings at hand.
struct Ways {
  /// Every result is a value of its type, as exactness.h tells, and nothing is recorded.
  bool isExact = false;
  /// Doubles hold, or round as they ought to, all that is formed on the way to a result.
  bool hasBlocks = true;
  /// Native integers do, and the operation has loops over them.
  bool hasIntegers = false;
  WideLoops wideLoops = WideLoops::None;
};

inline bool areDoubles(const number& part) { return part.gettype() == kDoubleRepresentation; }
inline bool areDoubles(const fi& x) { return areDoubles(x.realPart()); }
inline bool areWide(const fi& x) { return x.realPart().gettype() == kMultiprecisionRepresentation; }

namespace detail {
inline bool elementPathOnly = false;
}

/// Makes every operation take its element-by-element path, whose results, counts and extremes the other ways
/// must equal. For tests and diagnosis.
inline void setElementPathOnly(bool on) { detail::elementPathOnly = on; }
inline bool elementPathOnly() { return detail::elementPathOnly; }

/// The way through `arrays`, all operands and results that loops touch: arrays, or parts of them.
template <class... Arrays>
[[gnu::always_inline]] inline Path choosePath(const Ways& ways, const Arrays&... arrays) {
  if (elementPathOnly()) return Path::Elements;
  if (ways.hasBlocks && (areDoubles(arrays) && ...)) return ways.isExact ? Path::PlainDoubles : Path::Blocks;
  if (ways.hasIntegers) return Path::Integers;
  if (ways.wideLoops == WideLoops::None) return Path::Elements;
  if constexpr ((requires { areWide(arrays); } && ...)) {
    if (ways.wideLoops == WideLoops::OfWide && !(areWide(arrays) && ...)) return Path::Elements;
  }
  return ways.isExact ? Path::PlainWide : Path::Wide;
}

[[gnu::always_inline]] inline fi::fi(const ArrayFormat::Ptr& format, double held, const Tag& tag,
                                     OperationTypeEnum operationType)
    : HeldArray(OneElement{}, held, format, tag, operationType, 0) {}

/// Operands of one real double each, and the format of what an operation gives for them.
struct fi::Ones {
  const ArrayFormat::Ptr* format;  ///< null where single values take the way of arrays
  double a, b;

  /// Of operands whose results doubles carry, all of them values of their format, while nothing is recorded.
  /// Spares single values what arrays set up, once the operation has met their formats.
  [[gnu::always_inline]] static Ones of(ArrayFormat::Operation operation, const fi& a, const fi& b) {
    if (!a.isOneDouble() || !b.isOneDouble() || b.numDims() != 2) return {};
    const ArrayFormat::Result* known = a.ownFormat().knownResult(operation, b.ownFormat());
    const bool isPlain = known && known->isExact && known->format->precision() <= kMaxDoublePrecision;
    if (!isPlain || qlogger::getLogging() || elementPathOnly()) return {};
    return {&known->format, a.oneDouble(), b.oneDouble()};
  }
  /// `value`, of the format, with the tag of the left operand.
  [[gnu::always_inline]] fi result(double value, const fi& left, OperationTypeEnum operationType) const {
    if (!doublenumber::isWaiting()) [[unlikely]]
      return anew(*format, value, left.ownTag(), operationType);
    return fi(*format, value, left.ownTag(), operationType);
  }

 private:
  // Apart: with a call in them all others would keep registers for its end.
  [[gnu::noinline]] static fi anew(const ArrayFormat::Ptr& format, double value, const Tag& tag,
                                   OperationTypeEnum operationType) {
    return fi(format, value, tag, operationType);
  }
};

/// Whether an operation that has nothing but blocks beside its elements takes them.
template <class... Arrays>
bool takesBlocks(const Arrays&... arrays) {
  return choosePath(Ways{}, arrays...) == Path::Blocks;
}

}  // namespace embedded
