#include "qfcore/number/number.h"

#include <memory>

#include "qfcore/number/precision.h"

namespace embedded {

namespace {

struct Defaults {
  unsigned precision = kMaxDoublePrecision;
  bool forceMultiplePrecision = false;
};
[[gnu::tls_model("initial-exec")]] constinit thread_local Defaults defaults;

}  // namespace

unsigned number::getDefaultPrecision() { return defaults.precision; }
bool number::getDefaultForceMultiplePrecision() { return defaults.forceMultiplePrecision; }
void number::setDefaultPrecision(unsigned precision, bool forceMultiplePrecision) {
  defaults = {precision, forceMultiplePrecision};
}
void number::setDefaultForceMultiplePrecision(bool force) { defaults.forceMultiplePrecision = force; }

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
    std::unique_ptr<numberrepbody> made(numberfactory::createnumberVector(0, emptyPrecision_));
    made->resize(count);
    body_ = made.release();
  }
  return *this;
}

number& number::resize(unsigned count, unsigned precision) {
  if (precision == getprecision()) return count == numel() ? *this : resize(count);
  number(count, precision, NumberVector{}).swap(*this);
  return *this;
}

number& number::copyValue(const number& source, unsigned place) {
  if (const double* values = source.doubles()) return setvalue(values[place]);
  multiprecision()->copyValue(*source.multiprecision(), place);
  return *this;
}

number& number::setvalue(const number& source, double slope, double bias) {
  setvalue(source);
  if (slope != 1) *this *= number(slope, defaults.precision, defaults.forceMultiplePrecision);
  if (bias != 0) *this += number(bias, defaults.precision, defaults.forceMultiplePrecision);
  return *this;
}

}  // namespace embedded
