/// Loops over the elements of built-in arrays, written once for all classes.
///
/// A class computes in one of three types: `float` for single, `long double` for the 64-bit integers (whose
/// values it holds exactly), `double` for everything else. Elements are brought into that type a block at a
/// time, so that an operation is one plain loop over contiguous numbers and needs no version a class.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tessel/arrangement.h"
#include "tessel/array.h"

namespace tessel {

static_assert(std::numeric_limits<long double>::digits >= 64,
              "64-bit integers need a type that holds them exactly");

/// Raises "Tessel:dimagree" with the sizes of both.
[[noreturn]] void raiseSizesDiffer(const HostArray& a, const HostArray& b);
/// Raises "Tessel:UndefinedFunction" / "Undefined function 'NAME' for input arguments of type 'CLASS'.".
[[noreturn]] void raiseUndefinedFor(std::string_view function, const HostArray& argument);
/// Refuses what is neither numeric nor logical nor char, with the error above.
void requireNumeric(std::string_view function, const HostArray& argument);
/// The same, and "Tessel:complexNotAllowed" for complex arrays.
void requireReal(std::string_view function, const HostArray& argument);

/// The class of a result of arithmetic: the integer class if there is one, else single if there is one, else
/// double. Raises "Tessel:mixedIntegers" for two different integer classes, and refuses what is not numeric.
ArrayClass arithmeticClass(std::string_view function, const HostArray& a, const HostArray& b);
/// The common size of two operands of one size, or of which one is a scalar.
inline const Dimensions& commonSize(const HostArray& a, const HostArray& b) {
  return a.isScalar() ? b.dims() : a.dims();
}
/// Operands of different sizes, none a scalar, repeated along the dimensions in which one of them has size 1;
/// nothing where they need not be. Raises "Tessel:dimagree" where another dimension differs.
std::optional<std::pair<HostArray, HostArray>> expandedOperands(const HostArray& a, const HostArray& b);
/// `a` without its imaginary parts if these are all zero.
HostArray narrowed(HostArray a);

inline bool is64Bit(ArrayClass c) { return c == ArrayClass::Int64 || c == ArrayClass::Uint64; }
inline bool isIntegerClass(ArrayClass c) { return c >= ArrayClass::Int8 && c <= ArrayClass::Uint64; }
/// `c` for numeric classes, double for logical and char.
inline ArrayClass numericClass(ArrayClass c) { return c <= ArrayClass::Uint64 ? c : ArrayClass::Double; }

/// Calls `visitor(E{})` with a value of the type in which `c` computes.
template <class Visitor>
decltype(auto) visitComputeType(ArrayClass c, Visitor&& visitor) {
  if (c == ArrayClass::Single) return visitor(float{});
  if (is64Bit(c)) return visitor(static_cast<long double>(0));
  return visitor(double{});
}

/// Copies the real (or imaginary) parts of `count` elements, `stride` apart, to `out`. A missing imaginary part
/// is 0. E is a type that `visitComputeType` visits.
template <class E>
void loadElements(const HostArray& a, bool imaginary, std::size_t first, std::size_t stride, std::size_t count,
                  E* out);
/// Writes `count` values over the real (or imaginary) parts of elements `stride` apart, brought into the class
/// of `a`. E is one of the same types, or bool.
template <class E>
void storeElements(HostArray& a, bool imaginary, std::size_t first, std::size_t stride, std::size_t count,
                   const E* values);

/// All real (or imaginary) parts as doubles, in column-major order.
std::vector<double> realParts(const HostArray& a);
std::vector<double> imaginaryParts(const HostArray& a);

/// An array of the class of `a`, whatever it is, whose element i is element positions[i] of `a`, both counted
/// from 0. `kNoElement` leaves zero, false, NUL or an empty array there; an object array has no such element.
HostArray rearranged(const HostArray& a, const std::vector<std::size_t>& positions, Dimensions dims);

inline constexpr std::size_t kBlockLength = 512;

/// Hands out the elements of one part of an array block by block. A scalar repeats itself for ever.
template <class E>
class BlockSource {
 public:
  BlockSource(const HostArray& a, bool imaginary, std::size_t total)
      : array_(a), imaginary_(imaginary), repeats_(a.isScalar() && total > 1) {
    if (repeats_) {
      loadElements(a, imaginary, 0, 1, 1, buffer_.data());
      std::fill_n(buffer_.begin(), std::min(total, kBlockLength), buffer_[0]);
    } else if constexpr (!std::is_same_v<E, long double>) {
      if (a.arrayClass() == arrayClassOf<E>()) direct_ = imaginary ? a.imag<E>() : a.real<E>();
    }
  }
  const E* block(std::size_t first, std::size_t count) {
    if (direct_ != nullptr) return direct_ + first;
    if (!repeats_) loadElements(array_, imaginary_, first, 1, count, buffer_.data());
    return buffer_.data();
  }

 private:
  const HostArray& array_;
  bool imaginary_;
  bool repeats_;
  const E* direct_ = nullptr;
  std::array<E, kBlockLength> buffer_;
};

/// Collects the results of one part of an array block by block.
template <class E>
class BlockSink {
 public:
  BlockSink(HostArray& a, bool imaginary) : array_(a), imaginary_(imaginary) {
    if constexpr (!std::is_same_v<E, long double>) {
      if (a.arrayClass() == arrayClassOf<E>()) direct_ = imaginary ? a.mutableImag<E>() : a.mutableReal<E>();
    }
  }
  E* block(std::size_t first) { return direct_ != nullptr ? direct_ + first : buffer_.data(); }
  void commit(std::size_t first, std::size_t count) {
    if (direct_ == nullptr) storeElements(array_, imaginary_, first, 1, count, buffer_.data());
  }

 private:
  HostArray& array_;
  bool imaginary_;
  E* direct_ = nullptr;
  std::array<E, kBlockLength> buffer_;
};

/// Calls `body(first, count)` for each block of `total` elements.
template <class Body>
void forEachBlock(std::size_t total, Body&& body) {
  for (std::size_t first = 0; first < total; first += kBlockLength)
    body(first, std::min(kBlockLength, total - first));
}

/// Fills a result block by block from numbers or truth values.
template <class E, class R>
class Results {
 public:
  explicit Results(HostArray& result) : real_(result, false) {}
  template <class Term>
  void fill(std::size_t first, std::size_t count, const Term& term) {
    auto* out = real_.block(first);
    for (std::size_t i = 0; i < count; ++i) out[i] = static_cast<Stored>(term(i));
    real_.commit(first, count);
  }

 private:
  using Stored = std::conditional_t<std::is_same_v<R, bool>, bool, E>;
  BlockSink<Stored> real_;
};

/// The same from complex numbers, which need a complex result.
template <class E>
class Results<E, std::complex<E>> {
 public:
  explicit Results(HostArray& result) : real_(result, false), imag_(result, true) {}
  template <class Term>
  void fill(std::size_t first, std::size_t count, const Term& term) {
    E *re = real_.block(first), *im = imag_.block(first);
    for (std::size_t i = 0; i < count; ++i) {
      const std::complex<E> value = term(i);
      re[i] = value.real();
      im[i] = value.imag();
    }
    real_.commit(first, count);
    imag_.commit(first, count);
  }

 private:
  BlockSink<E> real_, imag_;
};

/// An operation that rounds an exact result in the 64-bit integers itself.
template <class Op>
concept RoundsWideIntegers = requires(const Op& op, long double x) {
  op.wideInteger(x, x);
};
/// An operation on complex numbers, given as parts; the flags tell which operand is a real array.
template <class Op, class E>
concept TakesComplex = requires(const Op& op, E x) {
  op.complex(x, x, x, x, false, false);
};

/// result[i] = op(a[i], b[i]) for real operands, computed in E.
template <class E, class Op>
HostArray applyReal(const HostArray& a, const HostArray& b, const Op& op, HostArray result) {
  const std::size_t total = result.numel();
  BlockSource<E> left(a, false, total), right(b, false, total);
  Results<E, decltype(op(E{}, E{}))> results(result);
  forEachBlock(total, [&](std::size_t first, std::size_t count) {
    const E *x = left.block(first, count), *y = right.block(first, count);
    results.fill(first, count, [&](std::size_t i) {
      if constexpr (std::is_same_v<E, long double> && RoundsWideIntegers<Op>)
        return op.wideInteger(x[i], y[i]);
      else
        return op(x[i], y[i]);
    });
  });
  return result;
}

/// The same for operands of which at least one is complex.
template <class E, bool aReal, bool bReal, class Op>
HostArray applyComplex(const HostArray& a, const HostArray& b, const Op& op, HostArray result) {
  const std::size_t total = result.numel();
  BlockSource<E> ar(a, false, total), ai(a, true, total), br(b, false, total), bi(b, true, total);
  Results<E, decltype(op.complex(E{}, E{}, E{}, E{}, false, false))> results(result);
  forEachBlock(total, [&](std::size_t first, std::size_t count) {
    const E *xr = ar.block(first, count), *xi = ai.block(first, count);
    const E *yr = br.block(first, count), *yi = bi.block(first, count);
    results.fill(first, count,
                 [=, &op](std::size_t i) { return op.complex(xr[i], xi[i], yr[i], yi[i], aReal, bReal); });
  });
  return narrowed(std::move(result));
}

[[noreturn]] void raiseComplexNotAllowed(std::string_view function);

/// Applies `op` to every pair of elements; dimensions of size 1 are repeated to the other operand's size. The
/// result has class `resultClass`, the computation runs in the type of `computeClass`. Raises
/// "Tessel:dimagree"; "Tessel:complexNotAllowed" when an operand is complex and `op` has no complex form.
/// Imaginary parts that are all zero are dropped.
template <class Op>
HostArray elementwise(std::string_view function, const HostArray& a, const HostArray& b, const Op& op,
                      ArrayClass resultClass, ArrayClass computeClass) {
  if (const auto operands = expandedOperands(a, b))
    return elementwise(function, operands->first, operands->second, op, resultClass, computeClass);
  const Dimensions& dims = commonSize(a, b);
  return visitComputeType(computeClass, [&](auto zero) {
    using E = decltype(zero);
    if (!a.isComplex() && !b.isComplex()) return applyReal<E>(a, b, op, HostArray::unset(resultClass, dims));
    if constexpr (TakesComplex<Op, E>) {
      HostArray result = HostArray::unset(resultClass, dims, resultClass != ArrayClass::Logical);
      if (!a.isComplex()) return applyComplex<E, true, false>(a, b, op, std::move(result));
      if (!b.isComplex()) return applyComplex<E, false, true>(a, b, op, std::move(result));
      return applyComplex<E, false, false>(a, b, op, std::move(result));
    } else {
      raiseComplexNotAllowed(function);
    }
  });
}

/// Applies `f` to every element, given as E (or std::complex<E> for complex arrays), where E computes for the
/// class of `a`. The result has class `resultClass`; it is complex when `f` gives complex values and these are
/// not all real.
template <class F>
HostArray mapElements(const HostArray& a, ArrayClass resultClass, const F& f) {
  return visitComputeType(numericClass(a.arrayClass()), [&](auto zero) {
    using E = decltype(zero);
    const auto run = [&]<class R>(const R&, const auto& elementsAt) {
      HostArray result = HostArray::unset(resultClass, a.dims(), std::is_same_v<R, std::complex<E>>);
      Results<E, R> results(result);
      forEachBlock(a.numel(), [&](std::size_t first, std::size_t count) {
        results.fill(first, count,
                     [&, element = elementsAt(first, count)](std::size_t i) { return f(element(i)); });
      });
      return narrowed(std::move(result));
    };
    BlockSource<E> re(a, false, a.numel());
    if (!a.isComplex()) {
      return run(decltype(f(E{})){}, [&](std::size_t first, std::size_t count) {
        return [x = re.block(first, count)](std::size_t i) { return x[i]; };
      });
    }
    BlockSource<E> im(a, true, a.numel());
    return run(decltype(f(std::complex<E>{})){}, [&](std::size_t first, std::size_t count) {
      return [x = re.block(first, count), y = im.block(first, count)](std::size_t i) {
        return std::complex<E>(x[i], y[i]);
      };
    });
  });
}

}  // namespace tessel
