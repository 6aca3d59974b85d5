#include "tessel/runtime/positions.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <type_traits>

#include <fmt/format.h>
#include "tessel/messages.h"
#include "tessel/runtime/arraydata.h"
#include "tessel/runtime/dispatch.h"
#include "tessel/runtime/indexing.h"

namespace tessel {

namespace {

[[noreturn]] void raiseBadSubscript(const std::string& remark = "") {
  raiseError("Tessel:badsubscript",
             "Subscript indices must either be real positive integers or logicals" + remark + ".");
}

constexpr double kPositionLimit = 9007199254740992.0;  // from 2^53 on, doubles do not hold every integer

template <class T>
std::size_t positionOf(T value) {
  if constexpr (std::is_floating_point_v<T>) {
    const double position = static_cast<double>(value);
    if (!(position >= 1 && position <= kPositionLimit && position == std::floor(position)))
      raiseBadSubscript(fmt::format(": {}", position));
  } else {
    if (value < 1) raiseBadSubscript(fmt::format(": {}", value));
  }
  return static_cast<std::size_t>(value) - 1;
}

Positions maskPositions(const HostArray& mask) {
  const bool* flags = mask.real<bool>();
  std::vector<std::size_t> list;
  for (std::size_t i = 0; i < mask.numel(); ++i) {
    if (flags[i]) list.push_back(i);
  }
  return Positions::of(std::move(list));
}

const MemberName kDouble{"double"}, kLogical{"logical"}, kIsBoolean{"isboolean"};

/// The numbers that an object stands for by the method "double" of its class; of truth values the mask.
std::optional<HostArray> numbersOf(const HostArray& subscript) {
  if (!subscript.isObject() || !findMethodOf(subscript, kDouble)) return std::nullopt;
  const bool isMask =
      findMethodOf(subscript, kIsBoolean) && callMember(kIsBoolean, {subscript}).at(0).scalarValue() != 0;
  HostArray numbers = callMember(isMask ? kLogical : kDouble, {subscript}).at(0);
  if (numbers.isObject()) raiseBadSubscript();
  return numbers;
}

Positions numericPositions(const HostArray& subscript) {
  return visitElementType(subscript.arrayClass(), [&](auto zero) {
    using T = decltype(zero);
    const T* values = subscript.real<T>();
    const std::size_t count = subscript.numel();
    if (count == 1) return Positions::run(positionOf(values[0]), 1);
    std::vector<std::size_t> list(count);
    std::transform(values, values + count, list.begin(), positionOf<T>);
    return Positions::of(std::move(list));
  });
}

}  // namespace

Positions Positions::of(std::vector<std::size_t> list) {
  if (list.empty()) return {};
  const auto leavesRun = [](std::size_t a, std::size_t b) { return b != a + 1; };
  if (std::adjacent_find(list.begin(), list.end(), leavesRun) == list.end())
    return run(list.front(), list.size());
  const std::size_t largest = *std::max_element(list.begin(), list.end());
  return {0, list.size(), largest + 1, std::move(list)};
}

bool isColon(const HostArray& subscript) {
  return subscript.isChar() && subscript.numel() == 1 && *subscript.real<char>() == ':';
}

Positions readSubscript(const HostArray& subscript, std::size_t extent) {
  if (isColon(subscript)) return Positions::run(0, extent);
  if (subscript.isLogical()) return maskPositions(subscript);
  if (const auto numbers = numbersOf(subscript)) return readSubscript(*numbers, extent);
  if (!subscript.isNumeric() || subscript.isComplex()) raiseBadSubscript();
  return numericPositions(subscript);
}

Dimensions subscriptShape(const HostArray& subscript, std::size_t count) {
  if (isColon(subscript)) return {count, 1};
  if (const auto numbers = numbersOf(subscript)) return subscriptShape(*numbers, count);
  if (!subscript.isLogical()) return subscript.dims();
  const Dimensions& dims = subscript.dims();
  if (subscript.isScalar() || dims == Dimensions{0, 0}) return {count, count};
  return dims.size() == 2 && dims[0] == 1 ? Dimensions{1, count} : Dimensions{count, 1};
}

Dimensions folded(const Dimensions& dims, std::size_t count) {
  Dimensions extents = dims;
  extents.resize(count, 1);
  for (std::size_t d = count; d < dims.size(); ++d) extents.back() *= dims[d];
  return extents;
}

Positions combined(const std::vector<Positions>& subscripts, const Dimensions& extents) {
  Positions result = subscripts.front();
  std::size_t stride = extents.front();
  for (std::size_t d = 1; d < subscripts.size(); stride *= extents[d], ++d) {
    const Positions& next = subscripts[d];
    const bool wholeColumns = result.isRun() && result.count == stride && next.isRun();
    if (wholeColumns || (result.isRun() && next.count == 1)) {
      result = Positions::run(result.first + next[0] * stride, result.count * next.count);
      continue;
    }
    requireMemory(elementCount({result.count, next.count}), sizeof(std::size_t));
    std::vector<std::size_t> list;
    list.reserve(result.count * next.count);
    for (std::size_t j = 0; j < next.count; ++j) {
      for (std::size_t i = 0; i < result.count; ++i) list.push_back(result[i] + next[j] * stride);
    }
    result = Positions::of(std::move(list));
  }
  return result;
}

std::optional<std::size_t> scalarPosition(const HostArray& array, const Arrays& subscripts) {
  const std::size_t count = subscripts.size();
  if (count == 0 || count > 2 || (count == 2 && array.dims().size() > 2)) return std::nullopt;
  std::size_t position = 0, stride = 1;
  for (std::size_t d = 0; d < count; ++d) {
    const HostArray& subscript = subscripts[d];
    if (subscript.arrayClass() != ArrayClass::Double || subscript.numel() != 1 || subscript.isComplex()) {
      return std::nullopt;
    }
    const double value = *subscript.real<double>();
    const std::size_t extent = count == 1 ? array.numel() : array.dims()[d];
    if (!(value >= 1 && value <= static_cast<double>(extent) && value == std::floor(value)))
      return std::nullopt;
    position += (static_cast<std::size_t>(value) - 1) * stride;
    stride *= extent;
  }
  return position;
}

}  // namespace tessel
