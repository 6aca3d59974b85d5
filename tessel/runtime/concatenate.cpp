#include "tessel/runtime/concatenate.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <string>

#include "tessel/messages.h"
#include "tessel/objects.h"
#include "tessel/runtime/arraydata.h"
#include "tessel/runtime/convert.h"
#include "tessel/runtime/dispatch.h"
#include "tessel/runtime/display.h"

namespace tessel {

namespace {

bool isZeroByZero(const HostArray& array) { return array.dims() == Dimensions{0, 0}; }

/// A part that adds neither elements nor a class of its own.
bool isNothing(const HostArray& array) {
  return array.arrayClass() == ArrayClass::Double && isZeroByZero(array);
}

/// Which of two classes a common array has: the one with the higher rank, of two equal ones the first.
int rankOf(ArrayClass arrayClass) {
  switch (arrayClass) {
    case ArrayClass::Logical: return 0;
    case ArrayClass::Double: return 1;
    case ArrayClass::Single: return 2;
    case ArrayClass::Char: return 4;
    case ArrayClass::Struct: return 5;
    case ArrayClass::Object: return 6;
    case ArrayClass::Cell: return 8;
    case ArrayClass::Function: return 7;
    default: return 3;  // integers
  }
}

HostArray wrapped(const HostArray& array) {
  HostArray cell = HostArray::cell({1, 1});
  cell.mutableCellAt(0) = array;
  return cell;
}

[[noreturn]] void raiseClasses(const HostArray& a, const HostArray& b) {
  raiseError("Tessel:concatenationClasses",
             "Arrays of class '" + a.className() + "' and '" + b.className() + "' cannot be concatenated.");
}

/// `part` in the class of `model`, with its fields in the same order.
HostArray broughtTo(const HostArray& model, HostArray part) {
  if (model.isCell()) return part.isCell() ? part : wrapped(part);
  if (model.arrayClass() <= ArrayClass::Char) return convertTo(part, model.arrayClass());
  if (part.arrayClass() != model.arrayClass() || objectClass(part) != objectClass(model) || part.isFunction()) {
    raiseClasses(model, part);
  }
  if (!model.isStruct()) return part;
  std::vector<std::string> names = model.fieldNames(), own = part.fieldNames();
  std::sort(names.begin(), names.end());
  std::sort(own.begin(), own.end());
  if (names != own) {
    raiseError("Tessel:dissimilarStructures", "Structures with different fields cannot be concatenated.");
  }
  ArrayAccess::orderFields(part, model.fieldNames());
  return part;
}

Dimensions joinedDims(std::size_t dimension, const Arrays& parts) {
  const HostArray* first = nullptr;
  Dimensions dims{0, 0};
  for (const HostArray& part : parts) {
    if (isZeroByZero(part)) continue;
    if (first == nullptr) {
      first = &part;
      dims = part.dims();
      dims.resize(std::max(dims.size(), dimension + 1), 1);
      continue;
    }
    for (std::size_t d = 0; d < std::max(dims.size(), part.dims().size()); ++d) {
      if (d != dimension && part.dim(d) != first->dim(d)) {
        raiseError("Tessel:dimagree", "Dimensions of arrays being concatenated are not consistent: " +
                                          sizeText(*first) + " and " + sizeText(part) + ".");
      }
    }
    dims[dimension] += part.dim(dimension);
  }
  return dims;
}

/// Copies `part` into `result`, of which it takes `offset` and following along `dimension`.
void place(HostArray& result, const HostArray& part, std::size_t dimension, std::size_t offset) {
  std::size_t below = 1;
  for (std::size_t d = 0; d < dimension; ++d) below *= result.dim(d);
  const std::size_t length = below * part.dim(dimension);
  const std::size_t stride = below * result.dim(dimension);
  forEachBuffer(result, part, [&](auto* to, const auto* from) {
    to += below * offset;
    for (std::size_t done = 0; done < part.numel(); done += length, to += stride)
      std::copy_n(from + done, length, to);
  });
}

/// Whether the elements of the parts stand one behind the other in what they are joined to: matrices of one
/// class and as many rows side by side, columns below each other.
bool isInOrder(std::size_t dimension, const Arrays& parts) {
  const HostArray& first = parts[0];
  return first.arrayClass() <= ArrayClass::Char && std::ranges::all_of(parts, [&](const HostArray& part) {
           const Dimensions& dims = part.dims();
           return part.arrayClass() == first.arrayClass() && part.isComplex() == first.isComplex() &&
                  !part.isEmpty() && dims.size() == 2 &&
                  (dimension == 1 ? dims[0] == first.dims()[0] : dims[1] == 1);
         });
}

HostArray joinedInOrder(std::size_t dimension, const Arrays& parts) {
  std::size_t length = 0;
  for (const HostArray& part : parts) length += part.dims()[dimension];
  HostArray result = HostArray::unset(
      parts[0].arrayClass(), dimension == 1 ? Dimensions{parts[0].dims()[0], length} : Dimensions{length, 1},
      parts[0].isComplex());
  std::size_t done = 0;
  for (const HostArray& part : parts) {
    forEachBuffer(result, part,
                  [&](auto* to, const auto* from) { std::copy_n(from, part.numel(), to + done); });
    done += part.numel();
  }
  return result;
}

Arrays callAlong(std::size_t dimension, const Arrays& parts) { return {concatenate(dimension, parts)}; }

Arrays callCat(Arrays& inputs, int) {
  const double dimension = inputs[0].scalarValue();
  if (!(dimension >= 1 && dimension <= 255 && dimension == std::floor(dimension))) {
    raiseError("Tessel:badDimension", "The dimension must be an integer from 1 to 255.");
  }
  return callAlong(static_cast<std::size_t>(dimension) - 1, Arrays(std::next(inputs.begin()), inputs.end()));
}

}  // namespace

HostArray concatenate(std::size_t dimension, const Arrays& parts) {
  if (dimension < 2 && parts.size() > 1 && isInOrder(dimension, parts)) return joinedInOrder(dimension, parts);
  Arrays kept;
  std::copy_if(parts.begin(), parts.end(), std::back_inserter(kept),
               [](const auto& part) { return !isNothing(part); });
  if (kept.empty()) return {};
  auto model = *std::max_element(kept.begin(), kept.end(), [](const HostArray& a, const HostArray& b) {
    return rankOf(a.arrayClass()) < rankOf(b.arrayClass());
  });
  if (kept.size() == 1) return model;
  HostArray like = model;
  for (HostArray& part : kept) {
    part = broughtTo(model, std::move(part));
    if (part.isComplex() && !like.isComplex()) like.mutableImagData();
  }
  HostArray result = ArrayAccess::filled(like, joinedDims(dimension, kept));
  std::size_t offset = 0;
  for (const HostArray& part : kept) {
    place(result, part, dimension, offset);
    if (!isZeroByZero(part)) offset += part.dim(dimension);
  }
  return result;
}

std::vector<FunctionInfo> concatenationFunctions() {
  return {
      {"horzcat", [](Arrays& inputs, int) { return callAlong(1, inputs); }, 0, -1, 1,
       "C = horzcat(A, B, ...): arrays side by side, as [A, B, ...]."},
      {"vertcat", [](Arrays& inputs, int) { return callAlong(0, inputs); }, 0, -1, 1,
       "C = vertcat(A, B, ...): arrays below each other, as [A; B; ...]."},
      {"cat", callCat, 1, -1, 1, "C = cat(dimension, A, B, ...): arrays joined along a dimension, from 1."}};
}

}  // namespace tessel
