/// Result-type rules: pure functions of the operands' types, the sizes they need and the math settings.
///
/// WL is a type's word length, FL its fraction length, IB = WL − FL its integer bits, the sign bit included.
/// All raise "numforge:fi:mathmodeslopebiasnotdefined" where slope-bias scaling meets a mode other than
/// SpecifyPrecision, and under FullPrecision "numforge:fi:MaxSumWordLengthExceeded" or
/// "numforge:fi:MaxProductWordLengthExceeded" where the word would grow beyond the maximum. A fraction length
/// that no `int` holds raises "numforge:fi:fractionLengthOutOfRange".
#pragma once

#include "qfcore/math/fimath.h"
#include "qfcore/types/numerictype.h"

namespace embedded::resulttypes {

using EmbeddedTypeSystem::NumericType;

/// The fraction length of a result, as the `int` that types have.
int checkedFractionLength(long fractionLength);

/// Refuses a type that arrays cannot have, which what stores unchecked gives: of a word length that no setter
/// takes, a fraction length beyond what an `int` holds, or a slope or bias that is no finite number.
void errorIfUnfit(const NumericType& type);

/// The data type of an operation on two compatible types: ScaledDouble when the right one is, else the left
/// one's.
EmbeddedTypeSystem::DataTypeEnum dataType(const NumericType& a, const NumericType& b);

/// a + b or a − b. FullPrecision: one bit more than the wider integer part and the longer fraction need.
NumericType sum(const NumericType& a, const NumericType& b, const fimath& math);

/// One product. FullPrecision: word lengths and fraction lengths add up.
NumericType product(const NumericType& a, const NumericType& b, const fimath& math);

/// The sum of two products of type `product`; `dataType` is that of the operation.
NumericType sumOfTwoProducts(EmbeddedTypeSystem::DataTypeEnum dataType, const NumericType& product,
                             const fimath& math);

/// The sum of `terms` products, one at least, in a matrix product of operands of types a and b.
NumericType sumOfProducts(const NumericType& a, const NumericType& b, const NumericType& product,
                          unsigned terms, const fimath& math);

/// The sum of `terms` values, one at least, of a type that is binary-point.
NumericType sumOfTerms(const NumericType& a, unsigned terms, const fimath& math);

/// The sum of `terms` values, each of one of two types that are binary-point: sumOfTerms, with room for either.
NumericType sumOfEither(const NumericType& a, const NumericType& b, unsigned terms, const fimath& math);

/// a / b where no type is given: signed when either is, the longer word, and the fraction length that a's has
/// over b's.
NumericType quotient(const NumericType& a, const NumericType& b);

/// The square root: half of the word and half of the integer bits, both rounded up.
NumericType squareRoot(const NumericType& a);

}  // namespace embedded::resulttypes
