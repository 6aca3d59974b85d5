#include "tessel/runtime/elements.h"

#include "tessel/messages.h"
#include "tessel/objects.h"
#include "tessel/runtime/arraydata.h"
#include "tessel/runtime/convert.h"
#include "tessel/runtime/dispatch.h"
#include "tessel/runtime/display.h"
#include "tessel/runtime/positions.h"

namespace tessel {

void raiseUndefinedFor(std::string_view function, const HostArray& argument) {
  std::string text = "Undefined function '" + std::string(function) + "' for input arguments of type '" +
                     argument.className() + "'.";
  const HostClass* hostClass = objectClass(argument);
  if (hostClass && hostClass->findProperty("double"))
    text += " It takes numbers: " + std::string(function) + "(a.double).";
  raiseError("Tessel:UndefinedFunction", text);
}

void raiseComplexNotAllowed(std::string_view function) {
  raiseError("Tessel:complexNotAllowed",
             "Function '" + std::string(function) + "' is not defined for complex arrays.");
}

void requireNumeric(std::string_view function, const HostArray& argument) {
  if (!argument.isNumeric() && !argument.isLogical() && !argument.isChar())
    raiseUndefinedFor(function, argument);
}

void requireReal(std::string_view function, const HostArray& argument) {
  requireNumeric(function, argument);
  if (argument.isComplex()) raiseComplexNotAllowed(function);
}

ArrayClass arithmeticClass(std::string_view function, const HostArray& a, const HostArray& b) {
  requireNumeric(function, a);
  requireNumeric(function, b);
  const ArrayClass left = numericClass(a.arrayClass()), right = numericClass(b.arrayClass());
  if (isIntegerClass(left) && isIntegerClass(right) && left != right) {
    raiseError("Tessel:mixedIntegers",
               "Integers can only be combined with integers of the same class, or doubles.");
  }
  if (isIntegerClass(left)) return left;
  if (isIntegerClass(right)) return right;
  return std::max(left, right);  // Double < Single
}

void raiseSizesDiffer(const HostArray& a, const HostArray& b) {
  raiseError("Tessel:dimagree", "Matrix dimensions must agree: " + sizeText(a) + " and " + sizeText(b) + ".");
}

namespace {

/// `a` repeated to the size `dims` along the dimensions in which it has size 1.
HostArray repeatedTo(const HostArray& a, const Dimensions& dims) {
  if (a.dims() == dims) return a;
  Dimensions extents = a.dims();
  extents.resize(dims.size(), 1);
  std::vector<Positions> subscripts;
  for (std::size_t d = 0; d < dims.size(); ++d) {
    requireMemory(dims[d], sizeof(std::size_t));
    subscripts.push_back(extents[d] == dims[d] ? Positions::run(0, dims[d])
                                               : Positions::of(std::vector<std::size_t>(dims[d], 0)));
  }
  const Positions positions = combined(subscripts, extents);
  std::vector<std::size_t> list(positions.count);
  for (std::size_t i = 0; i < list.size(); ++i) list[i] = positions[i];
  return rearranged(a, list, dims);
}

}  // namespace

std::optional<std::pair<HostArray, HostArray>> expandedOperands(const HostArray& a, const HostArray& b) {
  if (a.isScalar() || b.isScalar() || a.dims() == b.dims()) return std::nullopt;
  Dimensions dims(std::max(a.dims().size(), b.dims().size()));
  for (std::size_t d = 0; d < dims.size(); ++d) {
    if (a.dim(d) != b.dim(d) && a.dim(d) != 1 && b.dim(d) != 1) raiseSizesDiffer(a, b);
    dims[d] = a.dim(d) == 1 ? b.dim(d) : a.dim(d);
  }
  return std::pair(repeatedTo(a, dims), repeatedTo(b, dims));
}

HostArray narrowed(HostArray a) {
  if (!a.isComplex()) return a;
  const bool allZero = visitElementType(a.arrayClass(), [&](auto zero) {
    const auto* im = a.imag<decltype(zero)>();
    return std::all_of(im, im + a.numel(), [](auto x) { return x == 0; });
  });
  if (allZero) a.makeReal();
  return a;
}

template <class E>
void loadElements(const HostArray& a, bool imaginary, std::size_t first, std::size_t stride, std::size_t count,
                  E* out) {
  if (imaginary && !a.isComplex()) {
    std::fill_n(out, count, E{0});
    return;
  }
  visitElementType(a.arrayClass(), [&](auto zero) {
    using T = decltype(zero);
    const T* in = (imaginary ? a.imag<T>() : a.real<T>()) + first;
    if (stride == 1)
      std::transform(in, in + count, out, [](T value) { return convertElement<E>(value); });
    else
      for (std::size_t i = 0; i < count; ++i) out[i] = convertElement<E>(in[i * stride]);
  });
}

template <class E>
void storeElements(HostArray& a, bool imaginary, std::size_t first, std::size_t stride, std::size_t count,
                   const E* values) {
  visitElementType(a.arrayClass(), [&](auto zero) {
    using T = decltype(zero);
    T* out = (imaginary ? a.mutableImag<T>() : a.mutableReal<T>()) + first;
    if (stride == 1)
      std::transform(values, values + count, out, [](E value) { return convertElement<T>(value); });
    else
      for (std::size_t i = 0; i < count; ++i) out[i * stride] = convertElement<T>(values[i]);
  });
}

// They know every class of arrays: made here alone, or each file with a loop over elements would make them
// anew.
template void loadElements(const HostArray&, bool, std::size_t, std::size_t, std::size_t, float*);
template void loadElements(const HostArray&, bool, std::size_t, std::size_t, std::size_t, double*);
template void loadElements(const HostArray&, bool, std::size_t, std::size_t, std::size_t, long double*);
template void storeElements(HostArray&, bool, std::size_t, std::size_t, std::size_t, const bool*);
template void storeElements(HostArray&, bool, std::size_t, std::size_t, std::size_t, const float*);
template void storeElements(HostArray&, bool, std::size_t, std::size_t, std::size_t, const double*);
template void storeElements(HostArray&, bool, std::size_t, std::size_t, std::size_t, const long double*);

std::vector<double> realParts(const HostArray& a) {
  std::vector<double> values(a.numel());
  loadElements(a, false, 0, 1, values.size(), values.data());
  return values;
}

std::vector<double> imaginaryParts(const HostArray& a) {
  std::vector<double> values(a.numel());
  loadElements(a, true, 0, 1, values.size(), values.data());
  return values;
}

HostArray rearranged(const HostArray& a, const std::vector<std::size_t>& positions, Dimensions dims) {
  const auto forEach = [&](auto&& copy) {
    for (std::size_t i = 0; i < positions.size(); ++i)
      if (positions[i] != kNoElement) copy(i, positions[i]);
  };
  if (a.isCell()) {
    HostArray result = HostArray::cell(std::move(dims));
    forEach([&](std::size_t to, std::size_t from) { result.mutableCellAt(to) = a.cellAt(from); });
    return result;
  }
  if (a.isStruct()) {
    HostArray result = HostArray::structure(std::move(dims), a.fieldNames());
    for (const std::string& field : a.fieldNames())
      forEach(
          [&](std::size_t to, std::size_t from) { result.mutableFieldAt(field, to) = a.fieldAt(field, from); });
    return result;
  }
  if (a.isObject()) {
    std::vector<std::shared_ptr<HostObject>> objects(positions.size());
    forEach([&](std::size_t to, std::size_t from) { objects[to] = a.objectAt(from); });
    return HostArray::objects(std::move(objects), std::move(dims));
  }
  if (a.isFunction()) return a;
  HostArray result = HostArray::zeros(a.arrayClass(), std::move(dims), a.isComplex());
  visitElementType(a.arrayClass(), [&](auto zero) {
    using T = decltype(zero);
    T* re = result.mutableReal<T>();
    forEach([&, in = a.real<T>()](std::size_t to, std::size_t from) { re[to] = in[from]; });
    if (!a.isComplex()) return;
    T* im = result.mutableImag<T>();
    forEach([&, in = a.imag<T>()](std::size_t to, std::size_t from) { im[to] = in[from]; });
  });
  return result;
}

}  // namespace tessel
