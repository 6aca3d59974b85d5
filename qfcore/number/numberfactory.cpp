#include "qfcore/number/numberfactory.h"

#include <memory>

#include "qfcore/number/doublenumber.h"
#include "qfcore/number/mpnumber.h"
#include "qfcore/number/precision.h"

namespace embedded {

numberrepbody* numberfactory::createnumberScalar(double value, unsigned precision,
                                                 bool forceMultiplePrecision) {
  if (forceMultiplePrecision) return new mpnumber(value, precision);
  if (precision <= kMaxDoublePrecision) return doublenumber::single(value, kMaxDoublePrecision);
  auto* body = new mpnumber(value, precision);
  // A threshold lowered below the bits of a double must not round what a double body would hold.
  if constexpr (constructedBits(kMaxDoublePrecision + 1) < kDoubleBits) body->setvalue(value);
  return body;
}

numberrepbody* numberfactory::createnumberVector(unsigned count, unsigned precision) {
  if (precision <= kMaxDoublePrecision) {
    if (count == 1) return doublenumber::single(0.0, precision);
    return new doublenumber(count, precision, NumberVector{});
  }
  auto made = std::make_unique<mpnumber>(count, precision, NumberVector{});
  if (count > 0) made->getmodifiableelement(0);  // a lack of memory shows now
  return made.release();
}

numberrepbody* numberfactory::createWideVector(unsigned count, unsigned precision) {
  return new mpnumber(count, precision, NumberVector{});
}

namespace {

template <class View>
numberrepbody* viewOf(const numberrepbody* source, View tag) {
  switch (source->gettype()) {
    case kDoubleRepresentation: return new doublenumber(static_cast<const doublenumber*>(source), tag);
    case kMultiprecisionRepresentation: return new mpnumber(static_cast<const mpnumber*>(source), tag);
    default: return nullptr;
  }
}

}  // namespace

numberrepbody* numberfactory::createnumber(const numberrepbody* source, CopyIndex tag) {
  return viewOf(source, tag);
}

numberrepbody* numberfactory::createnumber(const numberrepbody* source, Reading tag) {
  return viewOf(source, tag);
}

numberrepbody* numberfactory::createnumberVector(const numberrepbody* source) {
  switch (source->gettype()) {
    case kDoubleRepresentation: {
      const auto* doubles = static_cast<const doublenumber*>(source);
      if (doubles->numel() == 1) return doublenumber::single(*doubles->values(), doubles->precision());
      return new doublenumber(doubles, NumberVector{});
    }
    case kMultiprecisionRepresentation:
      return new mpnumber(static_cast<const mpnumber*>(source), NumberVector{});
    default: return nullptr;
  }
}

}  // namespace embedded
