#include "qfcore/number/number.h"

#include <memory>

#include "qfcore/number/precision.h"

namespace embedded {

unsigned number::sDefaultPrecision = kMaxDoublePrecision;
bool number::sDefaultForceMultiplePrecision = false;

number::number(const number& source) : body_(nullptr) {
  std::unique_ptr<numberrepbody> copy(
      numberfactory::createnumberVector(source.isempty() ? 0 : 1, source.getprecision()));
  if (!source.isempty()) copy->setvalue(*source.body_);
  body_ = copy.release();
}

number& number::resize(unsigned count, unsigned precision) {
  if (precision == getprecision()) return count == numel() ? *this : resize(count);
  numberrepbody* fresh = numberfactory::createnumberVector(count, precision);
  delete body_;
  body_ = fresh;
  return *this;
}

number& number::setvalue(const number& source, double slope, double bias) {
  setvalue(source);
  if (slope != 1) *this *= number(slope, sDefaultPrecision, sDefaultForceMultiplePrecision);
  if (bias != 0) *this += number(bias, sDefaultPrecision, sDefaultForceMultiplePrecision);
  return *this;
}

}  // namespace embedded
