#include "tessel/runtime/indexing.h"

#include <algorithm>
#include <string>

#include "tessel/messages.h"
#include "tessel/objects.h"
#include "tessel/runtime/arraydata.h"
#include "tessel/runtime/convert.h"
#include "tessel/runtime/dispatch.h"
#include "tessel/runtime/positions.h"

namespace tessel {

namespace {

[[noreturn]] void raiseNumelMismatch() {
  raiseError("Tessel:subsassignnumelmismatch",
             "In an assignment A(I) = B, the number of elements in B and I must be the same.");
}

[[noreturn]] void raiseDimensionMismatch() {
  raiseError("Tessel:subsassigndimmismatch", "Subscripted assignment dimension mismatch.");
}

void requireElements(const HostArray& array) {
  if (array.isFunction()) raiseError("Tessel:functionIndexing", "A function has no elements.");
}

bool isZeroByZero(const HostArray& array) { return array.dims() == Dimensions{0, 0}; }

/// One dimension only has a size other than 1.
bool isLine(const Dimensions& dims) {
  return std::count_if(dims.begin(), dims.end(), [](std::size_t d) { return d != 1; }) == 1;
}

std::vector<Positions> readSubscripts(const Arrays& subscripts, const Dimensions& extents) {
  std::vector<Positions> positions;
  positions.reserve(subscripts.size());
  for (std::size_t d = 0; d < subscripts.size(); ++d)
    positions.push_back(readSubscript(subscripts[d], extents[d]));
  return positions;
}

Dimensions countsOf(const std::vector<Positions>& positions) {
  Dimensions counts;
  for (const Positions& p : positions) counts.push_back(p.count);
  return counts;
}

/// An array like `array` of size `dims`, of which all elements are about to be set.
HostArray blankOf(const HostArray& array, Dimensions dims) {
  if (array.arrayClass() > ArrayClass::Char) return ArrayAccess::filled(array, std::move(dims));
  return HostArray::unset(array.arrayClass(), std::move(dims), array.isComplex());
}

/// The elements of `array` at `positions`, in an array of size `dims`.
HostArray gathered(const HostArray& array, const Positions& positions, Dimensions dims) {
  HostArray result = blankOf(array, std::move(dims));
  forEachBuffer(result, array, [&](auto* to, const auto* from) {
    if (positions.isRun()) {
      std::copy_n(from + positions.first, positions.count, to);
    } else {
      for (std::size_t position : positions.list) *to++ = from[position];
    }
  });
  return result;
}

/// Writes the elements of `values`, or its only one everywhere, to `positions`. Both are real or both complex.
void scatter(HostArray& array, const Positions& positions, const HostArray& values) {
  const bool expands = values.isScalar();
  forEachBuffer(array, values, [&](auto* to, const auto* from) {
    if (positions.isRun()) {
      if (expands)
        std::fill_n(to + positions.first, positions.count, *from);
      else
        std::copy_n(from, positions.count, to + positions.first);
    } else {
      for (std::size_t position : positions.list) {
        to[position] = *from;
        if (!expands) ++from;
      }
    }
  });
}

HostArray elementAt(const HostArray& array, std::size_t position) {
  if (array.arrayClass() <= ArrayClass::Char && !array.isComplex()) {
    return visitElementType(array.arrayClass(), [&](auto zero) {
      using T = decltype(zero);
      return HostArray::scalarOf(array.real<T>()[position]);
    });
  }
  return gathered(array, Positions::run(position, 1), {1, 1});
}

/// The size of what a linear subscript selects.
Dimensions linearShape(const HostArray& array, const HostArray& subscript, std::size_t count) {
  Dimensions shape = subscriptShape(subscript, count);
  if (isColon(subscript) || !isLine(array.dims()) || !isLine(shape)) return shape;
  Dimensions line = array.dims();
  *std::find_if(line.begin(), line.end(), [](std::size_t d) { return d != 1; }) = count;
  return line;
}

// Assignment: classes

[[noreturn]] void raiseNoConversion(const HostArray& array, const HostArray& rhs) {
  raiseError("Tessel:conversionNotPossible",
             "Conversion to " + array.className() + " from " + rhs.className() + " is not possible.");
}

HostArray withFieldsOf(const HostArray& array, HostArray rhs) {
  const auto& names = array.fieldNames();
  const auto known = [&](const std::string& name) { return rhs.hasField(name); };
  if (rhs.fieldNames().size() != names.size() || !std::all_of(names.begin(), names.end(), known)) {
    raiseError("Tessel:dissimilarStructures", "Subscripted assignment between dissimilar structures.");
  }
  ArrayAccess::orderFields(rhs, names);
  return rhs;
}

HostArray convertedObject(const HostArray& array, const HostArray& rhs) {
  const HostClass* hostClass = objectClass(rhs);
  if (hostClass == nullptr || hostClass->findMethod(array.className()) == nullptr)
    raiseNoConversion(array, rhs);
  Arrays results = callFunction(array.className(), {rhs}, 1);
  if (results.empty() || results[0].arrayClass() != array.arrayClass()) raiseNoConversion(array, rhs);
  return std::move(results[0]);
}

/// Whether an assignment gives the array the class (and fields) of what is assigned.
bool adoptsClass(const HostArray& array) {
  if (array.isStruct()) return array.isEmpty() && array.fieldNames().empty();
  if (array.isObject()) return objectClass(array) == nullptr;
  return array.arrayClass() == ArrayClass::Double && isZeroByZero(array);
}

/// `rhs` in the class of `array`, which adopts none, fields in its order.
HostArray convertedFor(const HostArray& array, const HostArray& rhs) {
  if (rhs.isFunction()) raiseNoConversion(array, rhs);
  if (array.arrayClass() == rhs.arrayClass()) {
    if (array.isStruct()) return withFieldsOf(array, rhs);
    if (array.isObject() && objectClass(array) != objectClass(rhs)) raiseNoConversion(array, rhs);
    return rhs;
  }
  if (array.isCell()) {
    raiseError("Tessel:cellRhsRequired",
               "An assignment into a cell array with () needs a cell array on its right.");
  }
  if (rhs.isObject() && !array.isStruct()) return convertedObject(array, rhs);
  if (array.arrayClass() > ArrayClass::Char || rhs.arrayClass() > ArrayClass::Char)
    raiseNoConversion(array, rhs);
  return convertTo(rhs, array.arrayClass());
}

// Assignment: sizes

/// What the colons of an assignment into a 0-by-0 array stand for: the sizes of `rhs`, place by place where
/// that fits, otherwise its sizes other than 1 in their order.
Dimensions colonExtents(const Arrays& subscripts, const HostArray& rhs) {
  const std::size_t count = subscripts.size();
  const std::vector<Positions> positions = readSubscripts(subscripts, Dimensions(count, 0));
  bool fitsByPlace = rhs.dims().size() <= count;
  for (std::size_t d = 0; d < count; ++d) {
    fitsByPlace = fitsByPlace && (isColon(subscripts[d]) || positions[d].count == rhs.dim(d));
  }
  Dimensions extents(count, 1);
  auto next = rhs.dims().begin();
  for (std::size_t d = 0; d < count; ++d) {
    if (fitsByPlace) {
      extents[d] = rhs.dim(d);
    } else if (isColon(subscripts[d]) || positions[d].count != 1) {
      next = std::find_if(next, rhs.dims().end(), [](std::size_t size) { return size != 1; });
      if (next != rhs.dims().end()) extents[d] = *next++;
    }
  }
  return extents;
}

void requireMatchingSizes(const std::vector<Positions>& positions, const HostArray& rhs) {
  if (rhs.isScalar()) return;
  const auto withoutOnes = [](Dimensions dims) {
    std::erase(dims, 1u);
    return dims;
  };
  if (positions.size() == 1) {
    if (positions[0].count != rhs.numel()) raiseNumelMismatch();
  } else if (withoutOnes(countsOf(positions)) != withoutOnes(rhs.dims())) {
    raiseDimensionMismatch();
  }
}

[[noreturn]] void raiseCannotResize() {
  raiseError("Tessel:growresize", "In an assignment A(I) = B, a matrix A cannot be resized.");
}

/// The size that the array needs to have all positions.
Dimensions grownDims(const HostArray& array, const std::vector<Positions>& positions,
                     const Dimensions& extents) {
  const auto covers = [](std::size_t extent, const Positions& p) { return p.needed <= extent; };
  const Dimensions& dims = array.dims();
  if (std::equal(extents.begin(), extents.end(), positions.begin(), covers)) return dims;
  if (positions.size() < dims.size()) {
    if (positions.size() > 1 || dims.size() > 2) raiseCannotResize();
    if (dims[0] == 1 || isZeroByZero(array)) return {1, positions[0].needed};
    if (dims[1] == 1) return {positions[0].needed, 1};
    raiseCannotResize();
  }
  Dimensions grown = extents;
  for (std::size_t d = 0; d < grown.size(); ++d) grown[d] = std::max(grown[d], positions[d].needed);
  return normalized(std::move(grown));
}

/// Whether every element keeps its linear position when the sizes become `grown`.
bool keepsPositions(const Dimensions& dims, const Dimensions& grown) {
  std::size_t d = 0;
  while (d < dims.size() && dims[d] == grown[d]) ++d;
  return d >= dims.size() || std::all_of(dims.begin() + static_cast<std::ptrdiff_t>(d) + 1, dims.end(),
                                         [](std::size_t size) { return size == 1; });
}

void grow(HostArray& array, const Dimensions& grown) {
  if (grown == array.dims()) return;
  if (array.isEmpty() || keepsPositions(array.dims(), grown)) {
    ArrayAccess::extend(array, grown);
    return;
  }
  std::vector<Positions> old;
  for (std::size_t d = 0; d < grown.size(); ++d) old.push_back(Positions::run(0, array.dim(d)));
  HostArray result = ArrayAccess::filled(array, grown);
  scatter(result, combined(old, grown), array);
  array = std::move(result);
}

/// Gives the places that growth has left open default instances of the class.
void fillWithDefaultObjects(HostArray& array) {
  const HostClass* hostClass = objectClass(array);
  std::shared_ptr<HostObject>* objects = ArrayAccess::mutableObjects(array);
  for (std::size_t i = 0; i < array.numel(); ++i) {
    if (objects[i] == nullptr) objects[i] = hostClass->create({}).objectAt();
  }
}

/// An assignment that has passed all checks.
void assignChecked(HostArray& array, const Dimensions& grown, const Positions& positions, HostArray values) {
  grow(array, grown);
  if (positions.count == 0) return;
  if (values.isComplex() && !array.isComplex()) array.mutableImagData();
  if (array.isComplex() && !values.isComplex()) values.mutableImagData();
  scatter(array, positions, values);
}

/// Assigns one number to one existing element where no checks are needed.
bool assignScalar(HostArray& array, const Arrays& subscripts, const HostArray& rhs) {
  const bool convertsSafely = array.arrayClass() == rhs.arrayClass() || array.isNumeric();
  if (rhs.arrayClass() > ArrayClass::Char || rhs.numel() != 1 || rhs.isComplex() || !convertsSafely ||
      array.isComplex()) {
    return false;
  }
  const auto position = scalarPosition(array, subscripts);
  if (!position) return false;
  if (array.arrayClass() == ArrayClass::Double && rhs.arrayClass() == ArrayClass::Double) {
    array.mutableReal<double>()[*position] = *rhs.real<double>();
    return true;
  }
  visitElementType(array.arrayClass(), [&](auto to) {
    visitElementType(rhs.arrayClass(), [&](auto from) {
      using To = decltype(to);
      using From = decltype(from);
      array.mutableReal<To>()[*position] = convertElement<To>(*rhs.real<From>());
    });
  });
  return true;
}

// Deletion

/// The positions of 0 to `extent` - 1 that are not in `deleted`.
Positions remaining(const Positions& deleted, std::size_t extent) {
  std::vector<bool> isDeleted(extent);
  for (std::size_t i = 0; i < deleted.count; ++i) isDeleted[deleted[i]] = true;
  std::vector<std::size_t> kept;
  for (std::size_t i = 0; i < extent; ++i) {
    if (!isDeleted[i]) kept.push_back(i);
  }
  return Positions::of(std::move(kept));
}

void requireDeletable(const Positions& positions, std::size_t extent) {
  if (positions.needed > extent) {
    raiseError("Tessel:subsdelnumelmismatch", "Matrix index is out of range for deletion.");
  }
}

void deleteLinear(HostArray& array, const HostArray& subscript) {
  const Positions deleted = readSubscript(subscript, array.numel());
  requireDeletable(deleted, array.numel());
  if (isColon(subscript)) {
    array = ArrayAccess::filled(array, {0, 0});
  } else if (deleted.count > 0) {
    const Positions kept = remaining(deleted, array.numel());
    const bool isColumn = array.dims().size() == 2 && array.dim(1) == 1 && !array.isScalar();
    array = gathered(array, kept, isColumn ? Dimensions{kept.count, 1} : Dimensions{1, kept.count});
  }
}

/// The dimension along which several subscripts delete: that of the only one which is no colon, or which does
/// not select its whole dimension.
std::size_t deletedDimension(const Arrays& subscripts, const std::vector<Positions>& positions,
                             const Dimensions& extents) {
  std::vector<std::size_t> explicitOnes, partial;
  for (std::size_t d = 0; d < subscripts.size(); ++d) {
    if (isColon(subscripts[d])) continue;
    explicitOnes.push_back(d);
    if (remaining(positions[d], extents[d]).count > 0) partial.push_back(d);
  }
  if (explicitOnes.size() == 1) return explicitOnes[0];
  if (partial.size() > 1) {
    raiseError("Tessel:subsdeldimmismatch", "A null assignment can have only one non-colon index.");
  }
  return partial.empty() ? 0 : partial[0];
}

void deleteSlices(HostArray& array, const Arrays& subscripts) {
  const Dimensions extents = folded(array.dims(), subscripts.size());
  std::vector<Positions> positions = readSubscripts(subscripts, extents);
  bool selectsNothing = false;
  for (std::size_t d = 0; d < positions.size(); ++d) {
    requireDeletable(positions[d], extents[d]);
    selectsNothing = selectsNothing || (positions[d].count == 0 && !isColon(subscripts[d]));
  }
  if (selectsNothing) return;
  const std::size_t dimension = deletedDimension(subscripts, positions, extents);
  std::vector<Positions> kept;
  for (std::size_t extent : extents) kept.push_back(Positions::run(0, extent));
  kept[dimension] = remaining(positions[dimension], extents[dimension]);
  array = gathered(array, combined(kept, extents), countsOf(kept));
}

[[noreturn]] void raiseBadIndex(std::size_t position, std::size_t dimension, const Dimensions& extents) {
  const std::string extent = std::to_string(extents[dimension]);
  const std::string number = std::to_string(dimension + 1);
  const std::string place = extents.size() == 1  ? extent + " elements"
                            : extents.size() > 2 ? extent + " in dimension " + number
                            : dimension == 0     ? extent + " rows"
                                                 : extent + " columns";
  raiseError("Tessel:badindex",
             "Index exceeds matrix dimensions: " + std::to_string(position) + " of " + place + ".");
}

}  // namespace

HostArray subsref(const HostArray& array, const Arrays& subscripts) {
  requireElements(array);
  if (const auto position = scalarPosition(array, subscripts)) return elementAt(array, *position);
  if (subscripts.empty()) return array;
  const Dimensions extents = folded(array.dims(), subscripts.size());
  const std::vector<Positions> positions = readSubscripts(subscripts, extents);
  for (std::size_t d = 0; d < positions.size(); ++d) {
    if (positions[d].needed > extents[d]) raiseBadIndex(positions[d].needed, d, extents);
  }
  if (subscripts.size() == 1) {
    return gathered(array, positions[0], linearShape(array, subscripts[0], positions[0].count));
  }
  return gathered(array, combined(positions, extents), countsOf(positions));
}

std::optional<HostArray> elementsAt(const HostArray& array, IndexRanges ranges) {
  if (array.isFunction() || !hasPositions(array.dims(), ranges)) return std::nullopt;
  HostArray result = blankOf(array, selectedSizes(array.dims(), ranges));
  forEachBuffer(result, array, [&](auto* to, const auto* from) {
    forEachStretch(array.dims(), ranges, [&](std::size_t first, std::ptrdiff_t step, std::size_t count) {
      if (step == 1) {
        to = std::copy_n(from + first, count, to);
      } else {
        for (const auto* place = from + first; count > 0; --count, place += step) *to++ = *place;
      }
    });
  });
  return result;
}

bool assignAt(HostArray& array, IndexRanges ranges, const HostArray& rhs) {
  const bool hasSameElements = array.arrayClass() == rhs.arrayClass() && array.isComplex() == rhs.isComplex() &&
                               (array.arrayClass() <= ArrayClass::Char || array.isCell());
  if (!hasSameElements || rhs.isEmpty() || !hasPositions(array.dims(), ranges) || !fitsInto(ranges, rhs.dims()))
    return false;
  if (selectedCount(ranges) == 0) return true;
  const HostArray values = rhs;  // may share the array's elements
  forEachBuffer(array, values, [&](auto* to, const auto* from) {
    forEachStretch(array.dims(), ranges, [&](std::size_t first, std::ptrdiff_t step, std::size_t count) {
      auto* place = to + first;
      if (values.isScalar()) {
        for (; count > 0; --count, place += step) *place = *from;
      } else if (step == 1) {
        std::copy_n(from, count, place);
        from += count;
      } else {
        for (; count > 0; --count, place += step) *place = *from++;
      }
    });
  });
  return true;
}

void subsasgn(HostArray& array, const Arrays& subscripts, const HostArray& rhs) {
  requireElements(array);
  if (assignScalar(array, subscripts, rhs)) return;
  if (subscripts.empty()) raiseError("Tessel:badsubscript", "An assignment needs at least one subscript.");
  const bool adopts = adoptsClass(array) && !rhs.isFunction();
  HostArray values = adopts ? rhs : convertedFor(array, rhs);
  Dimensions extents = folded(array.dims(), subscripts.size());
  const Dimensions colons =
      isZeroByZero(array) && subscripts.size() > 1 ? colonExtents(subscripts, values) : extents;
  const std::vector<Positions> positions = readSubscripts(subscripts, colons);
  requireMatchingSizes(positions, values);
  const std::size_t count = elementCount(countsOf(positions));
  const Dimensions grown = count == 0 ? array.dims() : grownDims(array, positions, extents);
  const Positions linear = count == 0 ? Positions{} : combined(positions, folded(grown, subscripts.size()));
  if (!adopts && !array.isObject()) return assignChecked(array, grown, linear, std::move(values));
  HostArray next = adopts && count > 0 ? ArrayAccess::filled(values, array.dims()) : array;
  assignChecked(next, grown, linear, std::move(values));
  if (next.isObject()) fillWithDefaultObjects(next);
  array = std::move(next);
}

void deleteElements(HostArray& array, const Arrays& subscripts) {
  requireElements(array);
  if (subscripts.empty()) raiseError("Tessel:badsubscript", "A deletion needs at least one subscript.");
  if (subscripts.size() == 1)
    deleteLinear(array, subscripts[0]);
  else
    deleteSlices(array, subscripts);
}

}  // namespace tessel
