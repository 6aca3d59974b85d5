/// Operators of linear algebra on built-in matrices. Where an operand is a scalar they work element by element.
/// Operands with more than two dimensions raise "Tessel:mustBe2D".
#pragma once

#include <complex>
#include <vector>

#include "tessel/array.h"

namespace tessel {

/// The matrix product. Raises "Tessel:innerdim". Integer matrices accumulate exactly as far as 64 bits reach
/// and saturate at the end.
HostArray mtimes(const HostArray& a, const HostArray& b);
/// The solution X of A·X = B: by LU factors with partial pivoting for square A, else the least-squares solution
/// of smallest norm. Warns "Tessel:singularMatrix" or "Tessel:nearlySingularMatrix". Raises "Tessel:dimagree".
HostArray mldivide(const HostArray& a, const HostArray& b);
/// The solution X of X·B = A, in the same way.
HostArray mrdivide(const HostArray& a, const HostArray& b);
/// The singular values of a matrix that is not empty, the largest first; all infinite or NaN where an element
/// is not finite.
std::vector<double> singularValues(const HostArray& a);
/// The eigenvalues of a square matrix of finite numbers that is not empty; those of a real one in conjugate
/// pairs. Raises "Tessel:noConvergence" where the iteration does not end.
std::vector<std::complex<double>> eigenvalues(const HostArray& a);
/// A square matrix to an integer power; a negative power inverts. Raises "Tessel:mustBeSquare",
/// "Tessel:mpower".
HostArray mpower(const HostArray& a, const HostArray& b);

/// For arrays of any class. Raises "Tessel:mustBe2D".
HostArray transpose(const HostArray& a);
HostArray ctranspose(const HostArray& a);

}  // namespace tessel
