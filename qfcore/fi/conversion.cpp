/// Exchange of real-world values with host arrays, and the display.
#include <cmath>
#include <utility>

#include "qfcore/fi/assignmentlog.h"
#include "qfcore/fi/display.h"
#include "qfcore/fi/paths/elementwise.h"
#include "tessel/console.h"

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

double HeldArray::realWorld(const number& held) const {
  const NumericType& type = getNumericType();
  const double value = held.todouble();
  return type.isSlopeBias() ? value * type.slopeAdjustmentFactor() + type.bias() : value;
}

/// Values for the host, and from it.
struct fi::Exchange {
  /// An array of `Element` whose elements `convert` makes of the real-world values.
  template <class Element, class Convert>
  static HostArray taken(const fi& x, Convert convert) {
    const NumericType& type = x.getNumericType();
    tessel::Dimensions dims(x.dims_.begin(), x.dims_.end());
    return exportedParts<Element>(x, std::move(dims), [&](const number& part, Element* target) {
      if (!takesBlocks(x)) {
        const number reader(part, Reading{});
        for (unsigned k = 0; k < x.numel_; ++k) target[k] = convert(x.realWorld(reader[k]));
      } else if (x.isSlopeBias()) {
        const double factor = type.slopeAdjustmentFactor(), bias = type.bias();
        transformValues(valuesOf(x, part), target, x.numel_,
                        [=](double held) { return convert(held * factor + bias); });
      } else {
        transformValues(valuesOf(x, part), target, x.numel_, convert);
      }
    });
  }

  static void set(fi& x, const HostArray& values, ValueMeaning meaning) {
    fi replaced = x.replacement(shapeOf(values), values.isComplex());
    x.replaceLogged(replaced, [&] { replaced.storeHostValues(values, meaning); });
  }
};

HostArray fi::getDoubleHostArray() const {
  return Exchange::taken<double>(*this, [](double value) { return value; });
}

HostArray fi::getSingleHostArray() const {
  return Exchange::taken<float>(*this, [](double value) { return static_cast<float>(value); });
}

HostArray fi::getBooleanHostArray() const {
  using EmbeddedTypeSystem::DataTypeEnum;
  NumericType::errorIfComplexLogical(DataTypeEnum::Boolean, iscomplex());
  const number reader(realPart_, Reading{});
  const bool isOneByOne = !takesBlocks(*this) || isSlopeBias();
  if (isOneByOne ||
      anyOf(valuesOf(*this, realPart_), numel_, [](double value) { return !std::isfinite(value); })) {
    for (unsigned k = 0; k < numel_; ++k) NumericType::checkNaNInf(DataTypeEnum::Boolean, realWorld(reader[k]));
  }
  HostArray result = Exchange::taken<bool>(*this, [](double value) { return value != 0; });
  // A wide value may be smaller than every double.
  if (numel_ == 0 || !realPart_.multiprecision() || isSlopeBias()) return result;
  bool* truths = result.mutableReal<bool>();
  for (unsigned k = 0; k < numel_; ++k) truths[k] = !reader[k].iszero();
  return result;
}

HostArray fi::getDataHostArray() const {
  if (getNumericType().isBoolean()) return getBooleanHostArray();
  return getNumericType().isSingle() ? getSingleHostArray() : getDoubleHostArray();
}

void fi::setDoubleHostArray(const HostArray& values) {
  if (values.arrayClass() != ArrayClass::Double) fail<kNotDouble>();
  Exchange::set(*this, values, ValueMeaning::RealWorld);
}

void fi::setDataHostArray(const HostArray& values) {
  if (!values.isNumeric() && !values.isLogical()) fail<kDataNotNumeric>();
  Exchange::set(*this, values, ValueMeaning::RealWorld);
}

void fi::setIntHostArray(const HostArray& stored) {
  if (!stored.isNumeric() && !stored.isLogical()) fail<kIntNotNumeric>();
  Exchange::set(*this, stored, ValueMeaning::StoredInteger);
}

void fi::replaceElements(fi& source) {
  if (isView_) return takeElements(source);
  realPart_.swap(source.realPart_);
  imagPart_.swap(source.imagPart_);
  setIsReal(source.isreal());
  takeSizes(source);
}

void fi::disp() const { tessel::print(displayedValues(*this)); }

}  // namespace embedded
