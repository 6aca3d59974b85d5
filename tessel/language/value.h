/// A value while the evaluator works on it.
#pragma once

#include <cstdint>
#include <memory>
#include <utility>

#include <boost/container/small_vector.hpp>

#include "tessel/array.h"
#include "tessel/freelist.h"

namespace tessel {

/// An array, or nothing at all. Real double and logical scalars always stand unboxed, so that scalar arithmetic
/// allocates nothing; an array stands in a block of its own, so that values are short and moving one never
/// fails. What scalars need is short enough to be inlined everywhere.
class Value {
 public:
  struct Drop {
    void operator()(HostArray* array) const noexcept { drop(array); }
  };
  /// An array in a block of its own.
  using Block = std::unique_ptr<HostArray, Drop>;

  /// No value: what a variable holds before its first assignment.
  Value() {}
  explicit Value(double number) : kind_(Kind::Number), content_{.number = number} {}
  explicit Value(bool truth) : kind_(Kind::Truth), content_{.number = truth ? 1.0 : 0.0} {}
  explicit Value(const HostArray& array) {
    if (!takeScalar(array)) hold(blockOf(array));
  }
  explicit Value(HostArray&& array) {
    if (!takeScalar(array)) hold(blockOf(std::move(array)));
  }
  /// Takes the block with the array, which is not null.
  explicit Value(Block array) noexcept {
    if (!takeScalar(*array)) hold(array.release());
  }
  Value(const Value& other) : kind_(other.kind_), content_(other.content_) {
    if (kind_ == Kind::Array) content_.array = blockOf(*other.content_.array);
  }
  /// Leaves nothing behind.
  Value(Value&& other) noexcept : kind_(std::exchange(other.kind_, Kind::Nothing)), content_(other.content_) {}
  Value& operator=(const Value& other) { return *this = Value(other); }
  [[gnu::always_inline]] Value& operator=(Value&& other) noexcept {
    Value taken(std::move(other));
    std::swap(kind_, taken.kind_);
    std::swap(content_, taken.content_);
    return *this;  // the end of an array, which comes now, may run a program that sees this variable
  }
  [[gnu::always_inline]] ~Value() {
    if (kind_ == Kind::Array) drop(content_.array);
  }

  bool isDefined() const { return kind_ != Kind::Nothing; }
  [[gnu::always_inline]] void clear() {
    if (std::exchange(kind_, Kind::Nothing) == Kind::Array) drop(content_.array);
  }

  /// The content as a real double scalar, or null.
  const double* number() const { return kind_ == Kind::Number ? &content_.number : nullptr; }
  /// A real double or logical scalar as a number, or null.
  const double* scalar() const { return kind_ >= Kind::Number ? &content_.number : nullptr; }
  /// The content as an array that is neither of them, or null.
  const HostArray* array() const { return kind_ == Kind::Array ? content_.array : nullptr; }
  HostArray* array() { return kind_ == Kind::Array ? content_.array : nullptr; }

  /// The value as an array; it must be defined.
  HostArray toArray() const& { return kind_ == Kind::Array ? *content_.array : boxed(); }
  HostArray toArray() && { return kind_ == Kind::Array ? std::move(*content_.array) : boxed(); }
  /// The same as the new content of an array.
  void moveTo(HostArray& array) && {
    if (kind_ == Kind::Number)
      array.assignScalar(content_.number);
    else
      array = std::move(*this).toArray();
  }
  /// The same in a block, from which a value can be made again.
  Block toBlock() && {
    Block block(kind_ == Kind::Array ? content_.array : blockOf(boxed()));
    kind_ = Kind::Nothing;
    return block;
  }

 private:
  enum class Kind : std::uint8_t { Nothing, Array, Number, Truth };
  // Kind and content are two members, written and read each for itself: a processor waits where what it has
  // just stored in two parts is loaded as one.
  union Content {
    double number;
    HostArray* array;
  };

  // Never inlined: what numbers need would be lost among it.
  [[gnu::noinline]] static HostArray* blockOf(const HostArray& array) {
    return new (FreeList<HostArray>::take()) HostArray(array);
  }
  [[gnu::noinline]] static HostArray* blockOf(HostArray&& array) {
    return new (FreeList<HostArray>::take()) HostArray(std::move(array));
  }
  [[gnu::noinline]] static void drop(HostArray* array) noexcept {
    array->~HostArray();
    FreeList<HostArray>::give(array);
  }

  HostArray boxed() const {
    return kind_ == Kind::Truth ? HostArray::logical(content_.number != 0) : HostArray::scalar(content_.number);
  }
  void hold(HostArray* array) noexcept {
    content_.array = array;
    kind_ = Kind::Array;
  }
  /// Becomes the real double or logical scalar that an array is; false for others.
  bool takeScalar(const HostArray& array) {
    const bool isNumber = array.arrayClass() == ArrayClass::Double;
    if ((!isNumber && !array.isLogical()) || array.numel() != 1 || array.isComplex()) return false;
    kind_ = isNumber ? Kind::Number : Kind::Truth;
    content_.number = isNumber ? *array.real<double>() : *array.real<bool>() ? 1 : 0;
    return true;
  }

  Kind kind_ = Kind::Nothing;
  Content content_{.number = 0};
};

/// Arguments of a call. A few stand in the list itself.
using Values = boost::container::small_vector<Value, 4>;

/// The same arrays as values. Whoever assigns them one after the other makes all of them before: moving a value
/// does not fail.
inline Values valuesFrom(Arrays&& arrays) {
  Values values;
  values.reserve(arrays.size());
  for (HostArray& array : arrays) values.push_back(Value(std::move(array)));
  return values;
}

}  // namespace tessel
