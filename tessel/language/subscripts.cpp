#include "tessel/language/subscripts.h"

#include "tessel/runtime/arraydata.h"

namespace tessel {
namespace {

/// The positions of steps from 1 on; nothing where they are no whole numbers.
std::optional<IndexRange> rangeOf(const EqualSteps<double>& steps) {
  if (steps.count() == 0) return IndexRange{0, 1, 0};
  const auto first = IndexRange::at(steps[0]), last = IndexRange::at(steps[steps.count() - 1]);
  if (!first || !last || steps.step() != std::floor(steps.step())) return std::nullopt;
  return IndexRange{first->first, static_cast<std::ptrdiff_t>(steps.step()), steps.count()};
}

std::optional<IndexRange> rangeOf(const Subscript& subscript, const HostArray& array, std::size_t place,
                                  std::size_t count) {
  if (subscript.isColon) {
    const auto extent = directExtent(array, place, count);
    return extent ? std::optional(IndexRange::all(*extent)) : std::nullopt;
  }
  if (subscript.range.steps) return rangeOf(*subscript.range.steps);
  const double* number = subscript.range.value.number();
  return number ? IndexRange::at(*number) : std::nullopt;
}

}  // namespace

Arrays arraysFrom(const Subscripts& subscripts) {
  Arrays arrays;
  arrays.reserve(subscripts.size());
  for (const Subscript& subscript : subscripts) arrays.push_back(subscript.toArray());
  return arrays;
}

SubscriptRanges rangesOf(const Subscripts& subscripts, const HostArray& array) {
  SubscriptRanges ranges;
  for (std::size_t k = 0; k < subscripts.size(); ++k) {
    const auto range = rangeOf(subscripts[k], array, k, subscripts.size());
    if (!range) {
      ranges.clear();  // the same list on every way out is made in its place
      break;
    }
    ranges.push_back(*range);
  }
  return ranges;
}

Value elementOf(const Value& base, double subscript) {
  const HostArray* array = base.array();
  if (!array) return base.scalar() && subscript == 1 ? base : Value();
  if (const double* element = doubleAt(base, subscript)) return Value(*element);
  const auto range = array->isObject() ? IndexRange::at(subscript) : std::nullopt;
  auto element = range ? directElements(*array, {&*range, 1}) : std::nullopt;
  return element ? Value(*std::move(element)) : Value();
}

std::optional<HostArray> partOf(const HostArray* base, IndexLevel::Kind kind, const Subscripts& subscripts) {
  if (!base) return std::nullopt;
  const SubscriptRanges ranges = rangesOf(subscripts, *base);
  if (kind == IndexLevel::Kind::Paren) return directElements(*base, ranges);
  const bool isOneCell = base->isCell() && !ranges.empty() && selectedCount(ranges) == 1;
  if (!isOneCell || !hasPositions(base->dims(), ranges)) return std::nullopt;
  std::size_t position = 0;
  forEachStretch(base->dims(), ranges, [&](std::size_t first, auto, auto) { position = first; });
  return base->cellAt(position);
}

bool assignElement(HostArray& array, double subscript, const Value& value) {
  if (array.arrayClass() == ArrayClass::Double) {
    const double* number = value.number();
    const std::size_t count = number ? ArrayAccess::realDoubles(array).size() : 0;
    const std::size_t position = positionWithin(subscript, count);
    if (position == kNowhere) return false;
    ArrayAccess::mutableRealDoubles(array)[position] = *number;
    return true;
  }
  const auto range = array.isObject() ? IndexRange::at(subscript) : std::nullopt;
  if (!range) return false;
  return value.array() ? assignDirectElements(array, {&*range, 1}, *value.array())
                       : assignDirectElements(array, {&*range, 1}, value.toArray());
}

}  // namespace tessel
