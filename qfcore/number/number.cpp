#include "qfcore/number/number.h"

#include <memory>

#include "qfcore/number/precision.h"

namespace embedded {

unsigned number::sDefaultPrecision = kMaxDoublePrecision;
bool number::sDefaultForceMultiplePrecision = false;

number::number(const number& source) : body_(nullptr), emptyPrecision_(source.getprecision()) {
  if (source.isempty()) return;
  std::unique_ptr<numberrepbody> copy(numberfactory::createnumberVector(1, source.getprecision()));
  copy->setvalue(*source.body_);
  body_ = copy.release();
}

const numberrepbody* number::shareable() const {
  if (!body_) body_ = numberfactory::createnumberVector(0, emptyPrecision_);
  return body_;
}

number& number::resize(unsigned count) {
  if (body_) {
    body_->resize(count);
  } else if (count > 0) {
    body_ = numberfactory::createnumberVector(count, emptyPrecision_);
  }
  return *this;
}

number& number::resize(unsigned count, unsigned precision) {
  if (precision == getprecision()) return count == numel() ? *this : resize(count);
  number(count, precision, NumberVector{}).swap(*this);
  return *this;
}

number& number::setvalue(const number& source, double slope, double bias) {
  setvalue(source);
  if (slope != 1) *this *= number(slope, sDefaultPrecision, sDefaultForceMultiplePrecision);
  if (bias != 0) *this += number(bias, sDefaultPrecision, sDefaultForceMultiplePrecision);
  return *this;
}

}  // namespace embedded
