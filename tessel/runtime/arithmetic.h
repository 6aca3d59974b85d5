/// Operators on built-in arrays.
///
/// Element-wise operators repeat an operand along the dimensions in which it alone has size 1; other sizes must
/// be equal ("Tessel:dimagree"). Logical and char operands act as double. Single wins over double. An integer
/// class wins over double and single: the result is computed in double (exactly for the 64-bit classes),
/// rounded to nearest with ties away from zero, and saturates; two different integer classes raise
/// "Tessel:mixedIntegers". Operands of other classes raise "Tessel:UndefinedFunction". A complex result whose
/// imaginary parts are all zero becomes real.
#pragma once

#include <algorithm>
#include <optional>
#include <vector>

#include "tessel/array.h"
#include "tessel/interpreter.h"

namespace tessel {

HostArray plus(const HostArray& a, const HostArray& b);
HostArray minus(const HostArray& a, const HostArray& b);
HostArray times(const HostArray& a, const HostArray& b);
HostArray rdivide(const HostArray& a, const HostArray& b);
HostArray ldivide(const HostArray& a, const HostArray& b);
/// A negative base with a fractional exponent gives complex numbers.
HostArray power(const HostArray& a, const HostArray& b);
HostArray uminus(const HostArray& a);
HostArray uplus(const HostArray& a);

/// Comparisons give logical arrays and compare exactly across classes. Complex operands are equal when both
/// parts are; the order looks at real parts alone.
HostArray eq(const HostArray& a, const HostArray& b);
HostArray ne(const HostArray& a, const HostArray& b);
HostArray lt(const HostArray& a, const HostArray& b);
HostArray le(const HostArray& a, const HostArray& b);
HostArray gt(const HostArray& a, const HostArray& b);
HostArray ge(const HostArray& a, const HostArray& b);

/// Not a number raises "Tessel:nologicalnan".
HostArray logicalAnd(const HostArray& a, const HostArray& b);
HostArray logicalOr(const HostArray& a, const HostArray& b);
HostArray logicalXor(const HostArray& a, const HostArray& b);
HostArray logicalNot(const HostArray& a);

/// The row from `first` to at most `last` in steps; empty when the step leads away from `last` or is zero.
/// The class is that of arithmetic between the arguments, char when both ends are. Raises
/// "Tessel:rangeTooLarge", and "Tessel:mustBeScalar" for anything but real scalars.
HostArray colon(const HostArray& first, const HostArray& step, const HostArray& last);

/// The numbers `first`, `first` + `step`, … up to `last`, which the last one does not pass: a row that is not
/// made. `step` may lead away from `last` or be zero; then there are none. Raises "Tessel:rangeTooLarge".
template <class E>
class EqualSteps {
 public:
  /// `precision` is that of the ends: passing `last` by their rounding errors does not count.
  EqualSteps(E first, E step, E last, double precision);
  std::size_t count() const { return count_; }
  E step() const { return step_; }
  E operator[](std::size_t k) const {
    const E value = first_ + static_cast<E>(k) * step_;
    return step_ > 0 ? std::min(value, last_) : std::max(value, last_);
  }

 private:
  E first_, step_, last_;
  std::size_t count_;
};
/// The steps of `colon` on double scalars; nothing where one is NaN.
std::optional<EqualSteps<double>> doubleSteps(double first, double step, double last);
/// The row of them.
HostArray rowOf(const EqualSteps<double>& steps);

/// The operators above and those of matrices as functions of the host: "plus", "mtimes", "and", "colon", ….
std::vector<FunctionInfo> arithmeticFunctions();

}  // namespace tessel
