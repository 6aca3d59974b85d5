#include "qfcore/number/wordconstants.h"

#include "qfcore/number/doublenumber.h"
#include "qfcore/number/mpnumber.h"
#include "qfcore/number/mpvalue.h"
#include "qfcore/number/precision.h"

namespace embedded {

WordConstants::WordConstants(int wordLength)
    : wordLength_(wordLength),
      twoToWordLength_(wordLength < 64 ? doublenumber::bitcmpXorMask(wordLength) + 1 : 0) {}

WordConstants::~WordConstants() = default;

const MpFloat& WordConstants::mpTwoToWordLength() const {
  if (!mpTwoToWordLength_) {
    mpTwoToWordLength_ = std::make_unique<MpFloat>(constructedBits(0));
    mpnumber::twoToTheN(*mpTwoToWordLength_, wordLength_);
  }
  return *mpTwoToWordLength_;
}

const MpInteger& WordConstants::mpXorMask() const {
  if (!mpXorMask_) {
    mpXorMask_ = std::make_unique<MpInteger>();
    mpnumber::bitcmpXorMask(*mpXorMask_, wordLength_);
  }
  return *mpXorMask_;
}

}  // namespace embedded
