/// The constants of a word length that the bit operations take.
#pragma once

#include <memory>

#include "qfcore/number/errors.h"

namespace embedded {

class MpFloat;
class MpInteger;

/// 2^w and 2^w - 1 for words of w bits, in 64 bits and multiprecision. Make one an array, not one an element.
class QFCORE_API WordConstants {
 public:
  explicit WordConstants(int wordLength);
  ~WordConstants();
  /// For word lengths below 64; 0 above.
  unsigned long long twoToWordLength() const { return twoToWordLength_; }
  unsigned long long xorMask() const { return twoToWordLength_ - 1; }
  // Made at the first call.
  const MpFloat& mpTwoToWordLength() const;
  const MpInteger& mpXorMask() const;

 private:
  int wordLength_;
  unsigned long long twoToWordLength_;
  mutable std::unique_ptr<MpFloat> mpTwoToWordLength_;
  mutable std::unique_ptr<MpInteger> mpXorMask_;
};

}  // namespace embedded
