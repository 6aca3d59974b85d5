/// Proofs that arithmetic is exact: pure functions of types, sizes and settings, which never see a value.
///
/// Where every value that an operation can give is one of its result's type, quantizing is the identity and may
/// be left out; where doubles hold them all, one floating-point operation does. The functions speak of Fixed
/// types with binary-point scaling and are false for others. Each is true only where every value bears it out;
/// bounds are powers of two, so that a word just wide enough may be refused.
#pragma once

#include <optional>

#include "qfcore/types/numerictype.h"

namespace embedded {

using EmbeddedTypeSystem::NumericType;

namespace exactness {

// In 64 bits: fraction lengths may be any `int`.

inline long fractionBits(const NumericType& type) { return type.fractionLength(); }
/// Bits before the point, the sign bit among them.
inline long integerBits(const NumericType& type) { return type.wordLength() - fractionBits(type); }

/// ceil(log2(terms)), by which a sum of so many terms is longer than each; 0 for one.
int growthBits(unsigned terms);

// --------------------------------------------------------------------------------- values of the result's type

/// Every value of `inner` is one of `outer`: a grid no coarser, a range no smaller.
bool holds(const NumericType& outer, const NumericType& inner);
/// Every a + b, or with `isDifference` every a − b.
bool holdsSums(const NumericType& outer, const NumericType& a, const NumericType& b, bool isDifference);
/// Every sum of `terms` values, and of fewer.
bool holdsSumsOf(const NumericType& outer, const NumericType& term, unsigned terms);
/// Every a · b.
bool holdsProducts(const NumericType& outer, const NumericType& a, const NumericType& b);
/// Every sum of `terms` products, and of fewer. Of complex factors, `bothComplex`, each part of a product is
/// the sum or the difference of two.
bool holdsSumsOfProducts(const NumericType& outer, const NumericType& a, const NumericType& b, unsigned terms,
                         bool bothComplex);
/// Every sum of `added` values of type a less one of `subtracted` values of type b, and of fewer of either.
bool holdsSumsOfEither(const NumericType& outer, const NumericType& a, unsigned added, const NumericType& b,
                       unsigned subtracted);
/// Every a · b, rounded to the grid of `outer` by whatever rule.
bool holdsRoundedProducts(const NumericType& outer, const NumericType& a, const NumericType& b);

// ------------------------------------------------------------------------------------ values of native
// integers

/// The words that signed native integers of so many bits are, in units of 2^-fractionLength; none where no type
/// has that fraction length.
std::optional<NumericType> integersOf(int bits, long fractionLength);
/// Whether such integers are stored integers of the type.
bool integersHold(int bits, const NumericType& type);

// ------------------------------------------------------------------------------------------- values of doubles
// For types that are carried in doubles.

/// Doubles hold every a · b, and with one half added to its stored integer. Also true where one data type has
/// no word, for its arithmetic is that of doubles.
bool doublesHoldProducts(const NumericType& a, const NumericType& b);
/// Doubles hold every sum of products as above, in whatever order it is formed.
bool doublesHoldSumsOfProducts(const NumericType& a, const NumericType& b, unsigned terms, bool bothComplex);
/// Doubles hold the sum of the squares of two values.
bool doublesHoldSquaredMagnitudes(const NumericType& type);
/// Products of values of such types, and what doubles err in them, stay far from the limits of normal doubles.
bool isNearOne(const NumericType& type);

}  // namespace exactness

}  // namespace embedded
