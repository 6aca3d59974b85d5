/// Subscripts between their evaluation and the arrays: ranges stay ranges as far as the arrays take them.
#pragma once

#include <cstddef>
#include <limits>
#include <optional>
#include <utility>

#include <boost/container/small_vector.hpp>

#include "tessel/array.h"
#include "tessel/language/value.h"
#include "tessel/runtime/arithmetic.h"
#include "tessel/runtime/arraydata.h"
#include "tessel/runtime/indexpath.h"

namespace tessel {

/// A range as steps that nobody has written out, or, where its ends are no real double scalars, as a value.
struct Range {
  std::optional<EqualSteps<double>> steps;
  Value value;
  HostArray toArray() const& { return steps ? rowOf(*steps) : value.toArray(); }
  HostArray toArray() && { return steps ? rowOf(*steps) : std::move(value).toArray(); }
};

/// A colon alone, a range, or any other value, which stands as the value of the range.
struct Subscript {
  Range range;
  bool isColon = false;

  explicit Subscript(Range steps) : range(std::move(steps)) {}
  explicit Subscript(Value value) : range{std::nullopt, std::move(value)} {}
  static Subscript colon() {
    Subscript all{Value()};
    all.isColon = true;
    return all;
  }
  HostArray toArray() const { return isColon ? HostArray::text(":") : range.toArray(); }
};
/// One or two stand in the list itself.
using Subscripts = boost::container::small_vector<Subscript, 2>;

Arrays arraysFrom(const Subscripts& subscripts);

/// The ranges that the subscripts name in `array`; none unless each is a range.
SubscriptRanges rangesOf(const Subscripts& subscripts, const HostArray& array);

/// The position from 0 that a subscript names among `count` elements, or kNowhere.
inline constexpr std::size_t kNowhere = std::numeric_limits<std::size_t>::max();
inline std::size_t positionWithin(double subscript, std::size_t count) {
  if (!(subscript >= 1 && subscript <= static_cast<double>(static_cast<std::ptrdiff_t>(count))))
    return kNowhere;
  const auto whole = static_cast<std::ptrdiff_t>(subscript);
  return static_cast<double>(whole) == subscript ? static_cast<std::size_t>(whole) - 1 : kNowhere;
}

/// The element of an array of real doubles on the heap that one scalar subscript names; else null.
inline const double* doubleAt(const Value& base, double subscript) {
  const HostArray* array = base.array();
  if (!array) return nullptr;
  const auto elements = ArrayAccess::realDoubles(*array);
  const std::size_t position = positionWithin(subscript, elements.size());
  return position == kNowhere ? nullptr : &elements[position];
}
/// The element that one scalar subscript names, where it can be had directly: else nothing.
Value elementOf(const Value& base, double subscript);
/// What ranges select of an array by parentheses, or one cell's content by braces, likewise.
std::optional<HostArray> partOf(const HostArray* base, IndexLevel::Kind kind, const Subscripts& subscripts);

/// Assigns to one existing element of an array of real doubles or of an object; whether it has.
bool assignElement(HostArray& array, double subscript, const Value& value);

}  // namespace tessel
