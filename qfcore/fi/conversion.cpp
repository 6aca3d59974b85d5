/// Exchange of real-world values with host arrays, and the display.
#include <cmath>
#include <utility>

#include "qfcore/fi/assignmentlog.h"
#include "qfcore/fi/paths/elementwise.h"
#include "tessel/interpreter.h"

namespace embedded {

using tessel::ArrayClass;
using tessel::HostArray;

namespace {

constexpr Message kNotDouble{"numforge:fi:double:notdouble",
                             "Attempting to set DOUBLE property of FI with non-double values."};
constexpr Message kDataNotNumeric{"numforge:fi:data:notnumeric",
                                  "Set DATA only valid for built-in numeric data types"};
constexpr Message kIntNotNumeric{"numforge:fi:int:notnumeric", "INT is only valid for numeric data"};

}  // namespace

double fi::realWorld(const number& held) const {
  const NumericType& type = getNumericType();
  const double value = held.todouble();
  return type.isSlopeBias() ? value * type.slopeAdjustmentFactor() + type.bias() : value;
}

/// An array of `Element` whose elements `convert` makes of the real-world values.
template <class Element, class Convert>
HostArray fi::exported(Convert convert) const {
  const NumericType& type = getNumericType();
  const tessel::Dimensions dims(dims_.begin(), dims_.end());
  return exportedParts<Element>(*this, dims, [&](const number& part, Element* target) {
    if (!takesBlocks(*this)) {
      for (unsigned k = 0; k < numel_; ++k) target[k] = convert(realWorld(part[k]));
    } else if (isSlopeBias()) {
      const double factor = type.slopeAdjustmentFactor(), bias = type.bias();
      transformValues(valuesOf(*this, part), target, numel_,
                      [=](double held) { return convert(held * factor + bias); });
    } else {
      transformValues(valuesOf(*this, part), target, numel_, convert);
    }
  });
}

HostArray fi::getDoubleHostArray() const {
  return exported<double>([](double value) { return value; });
}

HostArray fi::getSingleHostArray() const {
  return exported<float>([](double value) { return static_cast<float>(value); });
}

HostArray fi::getBooleanHostArray() const {
  using EmbeddedTypeSystem::DataTypeEnum;
  NumericType::errorIfComplexLogical(DataTypeEnum::Boolean, iscomplex());
  const bool isOneByOne = !takesBlocks(*this) || isSlopeBias();
  if (isOneByOne ||
      anyOf(valuesOf(*this, realPart_), numel_, [](double value) { return !std::isfinite(value); })) {
    for (unsigned k = 0; k < numel_; ++k)
      NumericType::checkNaNInf(DataTypeEnum::Boolean, realWorld(realPart_[k]));
  }
  HostArray result = exported<bool>([](double value) { return value != 0; });
  // A wide value may be smaller than every double.
  if (numel_ == 0 || !realPart_.multiprecision() || isSlopeBias()) return result;
  bool* truths = result.mutableReal<bool>();
  for (unsigned k = 0; k < numel_; ++k) truths[k] = !realPart_[k].iszero();
  return result;
}

HostArray fi::getDataHostArray() const {
  if (getNumericType().isBoolean()) return getBooleanHostArray();
  return getNumericType().isSingle() ? getSingleHostArray() : getDoubleHostArray();
}

void fi::setDoubleHostArray(const HostArray& values) {
  if (values.arrayClass() != ArrayClass::Double) fail<kNotDouble>();
  setHostValues(values, ValueMeaning::RealWorld);
}

void fi::setDataHostArray(const HostArray& values) {
  if (!values.isNumeric() && !values.isLogical()) fail<kDataNotNumeric>();
  setHostValues(values, ValueMeaning::RealWorld);
}

void fi::setIntHostArray(const HostArray& stored) {
  if (!stored.isNumeric() && !stored.isLogical()) fail<kIntNotNumeric>();
  setHostValues(stored, ValueMeaning::StoredInteger);
}

void fi::setHostValues(const HostArray& values, ValueMeaning meaning) {
  fi replaced = replacement(shapeOf(values), values.isComplex());
  replaced.assignLogged(kAssignment, [&] { replaced.storeHostValues(values, meaning); });
  replaceElements(std::move(replaced));
}

void fi::replaceElements(fi&& source) {
  if (isView_) {
    takeElements(source);
    getQlogger().merge(source.getQlogger());
    return;
  }
  realPart_.swap(source.realPart_);
  imagPart_.swap(source.imagPart_);
  setIsReal(source.isreal());
  getQlogger().merge(source.getQlogger());
  dims_ = std::move(source.dims_);
  updateNumel();
}

void fi::disp() const {
  tessel::callBuiltin("disp", {getDoubleHostArray()}, 0);
  getNumericType().disp();
  fimath_.disp();
}

}  // namespace embedded
