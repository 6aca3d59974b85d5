/// Quantization of stored integers in native ones: the rules of kernels.h and widekernels.h for words beyond
/// the double threshold that 64 or 128 bits hold.
///
/// Values are integers in units of a grid of their own, finer or coarser than that of the format they are
/// brought to. Integers are std::int64_t and Int128: `Carrier` holds a value on its way, `Stored` a word.
#pragma once

#include <cstddef>
#include <limits>

#include "qfcore/math/quantizer.h"
#include "qfcore/number/nativeinteger.h"

namespace embedded {

/// How a format's words are cut from values.
template <class Carrier>
struct IntegerFormat {
  int drop;   ///< bits behind the format's grid, which rounding takes off
  int raise;  ///< bits by which a coarser value is short of that grid
  Carrier max, min;
};

/// What kernels met.
template <class Stored>
struct IntegerTally {
  std::size_t values = 0, overflows = 0, underflows = 0;
  Stored max, min;  ///< of values, where there are any
};

/// Brings values to the format of a quantizer. What they meet is recorded when `record` is called.
template <class Carrier, class Stored = Carrier>
class IntegerQuantizer {
 public:
  /// Bits more than which no rounding may take off.
  static constexpr long kMaxDrop = kBitsOf<Carrier> - 2;

  /// For values in units of 2^-fractionLength. A carrier must hold them in units of the finer of both grids,
  /// and `kMaxDrop` must suffice. The quantizer must be one of fixed point and outlive this.
  IntegerQuantizer(const quantizer& q, long fractionLength);
  /// Both may be the same where carriers are what is stored.
  void operator()(const Carrier* from, Stored* to, std::size_t count) {
    kernel_(format_, from, to, count, counts_ ? &tally_ : nullptr);
  }
  void record() const;

 private:
  using Kernel = void (*)(const IntegerFormat<Carrier>& format, const Carrier* from, Stored* to,
                          std::size_t count, IntegerTally<Stored>* tally);
  static Kernel kernelFor(const quantizer& q, bool drops);

  const quantizer* q_;
  IntegerFormat<Carrier> format_;
  Kernel kernel_;
  bool counts_;
  IntegerTally<Stored> tally_;
};

extern template class IntegerQuantizer<std::int64_t>;
extern template class IntegerQuantizer<Int128, std::int64_t>;
extern template class IntegerQuantizer<Int128>;

}  // namespace embedded
