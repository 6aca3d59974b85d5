/// Exchange of values with host arrays, and the display.
#include "qfcore/fi/fi.h"
#include "tessel/interpreter.h"

namespace embedded {

using tessel::ArrayClass;
using tessel::HostArray;

namespace {

constexpr Message kNotDouble{"numforge:fi:double:notdouble",
                             "Attempting to set DOUBLE property of FI with non-double values."};

}  // namespace

double fi::realWorld(const number& held) const {
  const NumericType& type = getNumericType();
  const double value = held.todouble();
  return type.isSlopeBias() ? value * type.slopeAdjustmentFactor() + type.bias() : value;
}

HostArray fi::getDoubleHostArray() const {
  HostArray result = HostArray::zeros(ArrayClass::Double, tessel::Dimensions(dims_.begin(), dims_.end()), iscomplex());
  const auto copyPart = [&](const number& part, double* target) {
    const number view(part, CopyIndex{});
    for (unsigned i = 0; i < numel_; ++i) target[i] = realWorld(view[i]);
  };
  if (numel_ == 0) return result;
  copyPart(realPart_, result.mutableReal<double>());
  if (iscomplex()) copyPart(imagPart_, result.mutableImag<double>());
  return result;
}

void fi::setDoubleHostArray(const HostArray& values) {
  if (values.arrayClass() != ArrayClass::Double) fail<kNotDouble>();
  fi replaced(&values, getNumericType(), fimath_, tag(), getQlogger().operationType());
  replaceElements(std::move(replaced));
}

void fi::replaceElements(fi&& source) {
  realPart_.swap(source.realPart_);
  imagPart_.swap(source.imagPart_);
  setIsReal(source.isreal());
  getQlogger().merge(source.getQlogger());
  copyDimensions(source.dims_.data(), source.numDims());
}

void fi::disp() const {
  tessel::callBuiltin("disp", {getDoubleHostArray()}, 0);
  getNumericType().disp();
  fimath_.disp();
}

}  // namespace embedded
