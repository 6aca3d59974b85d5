/// Filters and running sums of fixed-point arrays: loops over elements that a program would otherwise write,
/// each defined as that loop.
#pragma once

#include "qfcore/fi/fi.h"

namespace embedded {

// Products are of the type that the product rule of `.*` gives, sums are formed one after the other in a
// register of one fixed type S, both under the settings of the first argument, as `F`. S is the type of a sum
// by the sum rule, of as many products as meet in one; where b or a has several coefficients and the products
// of both differ in type, S suits either. With fi's operations a sum `s + p` in that register is `add(G, s,
// p)`, where G is F with SumMode "SpecifyPrecision" and the lengths of S: it brings both terms to S where
// CastBeforeSum says so, adds, rounds and brings into range. The records of the operation are those of the
// loop.
//
// All raise what the type rules raise, "numforge:fi:onlybinarypointmath" for slope-bias operands and settings,
// and leave their operands as they were. `dimension` counts from 1; 0 stands for the first that is not 1.

/// What a filter gives, and the states that it ends with.
struct Filtered {
  fi signal, states;
};

/// `x` through the rational filter b/a, a vector each, along `dimension`: the transposed direct form II. With b
/// of nb elements, a of na, K = max(nb, na) - 1, z[0 … K] of type S with z[K] always 0, for each sample:
///
///     s = z[0] + b[0]·x;  y = s, in its type
///     for k = 0 … K-1:  s = z[k+1];  s = s + b[k+1]·x if k+1 < nb;  s = s - a[k+1]·y if k+1 < na;  z[k] = s
///
/// y has the type S where a has one element. Otherwise it is fed back and must not grow: it has the type of x,
/// into which the settings bring it. So in full precision nothing is lost but there. S is signed where b, a or
/// x is. `states`, null for zeros, are the K values that z starts with for each column that is filtered,
/// brought into S; those that z ends with are K-by-columns.
///
/// Raises "numforge:fi:filter:coefficients" unless b and a are vectors, "numforge:fi:filter:leadingcoefficient"
/// unless a[0] is exactly 1, "numforge:fi:filter:states" for a wrong number of states.
QFCORE_API Filtered filter(const fi& b, const fi& a, const fi& x, const fi* states = nullptr,
                           unsigned dimension = 0);

/// `x` through sections of second order, one after the other: for each row [b0 b1 b2 1 a1 a2] of `sections` a
/// `filter` of what the one before gives. All signals have the type of x. `states` are 2-by-sections for each
/// column that is filtered. Raises "numforge:fi:sosfilt:sections", and what `filter` raises.
QFCORE_API Filtered sosfilt(const fi& sections, const fi& x, const fi* states = nullptr,
                            unsigned dimension = 0);

/// Which part of a convolution is kept: all of it, as many elements from its middle as the first vector has, or
/// those to which every product contributes.
enum class ConvolutionShape { Full, Same, Valid };

/// w[n] = Σ u[k]·v[n-k], k rising, from 0 in the register on; of two vectors, in the type S of as many products
/// as the shorter one has elements. Raises "numforge:fi:conv:vectors".
QFCORE_API fi conv(const fi& u, const fi& v, ConvolutionShape shape = ConvolutionShape::Full);

/// Σ conj(a[k])·b[k] of two vectors, as the matrix product of a row and a column; of two arrays of one size,
/// along `dimension`. Raises "numforge:fi:dimagree".
QFCORE_API fi dot(const fi& a, const fi& b, unsigned dimension = 0);

/// The partial sums that `sumAlong` forms, in its type.
QFCORE_API fi cumsum(const fi& x, unsigned dimension = 0);

/// The sum along `dimension` divided by its length, rounded into the type of x; 0 divided by 0 of no elements.
QFCORE_API fi mean(const fi& x, unsigned dimension = 0);

}  // namespace embedded
