#include "tessel/runtime/convert.h"

#include <algorithm>
#include <string>

#include "tessel/messages.h"

namespace tessel {

namespace {

bool holdsNumbers(ArrayClass arrayClass) { return arrayClass <= ArrayClass::Char; }

template <class From>
void requireNoNaN(const From* values, std::size_t count) {
  if constexpr (std::is_floating_point_v<From>) {
    if (std::any_of(values, values + count, [](From value) { return value != value; })) {
      raiseError("Tessel:nologicalnan", "NaN values cannot be converted to logicals.");
    }
  }
}

template <class From>
HostArray convertFrom(const HostArray& array, ArrayClass target) {
  const From* real = array.real<From>();
  const From* imag = array.imag<From>();
  const std::size_t count = array.numel();
  if (target == ArrayClass::Logical) requireNoNaN(real, count);
  HostArray result = HostArray::unset(target, array.dims(), array.isComplex());
  visitElementType(target, [&](auto zero) {
    using To = decltype(zero);
    std::transform(real, real + count, result.mutableReal<To>(), convertElement<To, From>);
    if (imag != nullptr) std::transform(imag, imag + count, result.mutableImag<To>(), convertElement<To, From>);
  });
  return result;
}

}  // namespace

HostArray convertTo(const HostArray& array, ArrayClass target) {
  const ArrayClass source = array.arrayClass();
  if (source == target) return array;
  if (!holdsNumbers(source) || !holdsNumbers(target)) {
    raiseError("Tessel:conversionNotPossible", std::string("Conversion to ") + nameOf(target) + " from " +
                                                   array.className() + " is not possible.");
  }
  if (array.isComplex() && (target == ArrayClass::Logical || target == ArrayClass::Char)) {
    raiseError("Tessel:complexNotConvertible",
               std::string("Complex values cannot be converted to ") + nameOf(target) + ".");
  }
  return visitElementType(source, [&](auto zero) { return convertFrom<decltype(zero)>(array, target); });
}

}  // namespace tessel
