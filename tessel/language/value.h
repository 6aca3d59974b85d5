/// A value while the evaluator works on it.
#pragma once

#include <cstdint>
#include <memory>
#include <utility>

#include <boost/container/small_vector.hpp>

#include "tessel/array.h"

namespace tessel {

/// An array, or nothing at all. Real double and logical scalars always stand unboxed, so that scalar arithmetic
/// allocates nothing; what they need is short enough to be inlined everywhere.
class Value {
 public:
  /// No value: what a variable holds before its first assignment.
  Value() {}
  explicit Value(double number) : kind_(Kind::Number), number_(number) {}
  explicit Value(bool truth) : kind_(Kind::Truth), number_(truth ? 1 : 0) {}
  explicit Value(const HostArray& array) {
    if (!takeScalar(array)) hold(array);
  }
  explicit Value(HostArray&& array) {
    if (!takeScalar(array)) hold(std::move(array));
  }
  Value(const Value& other) {
    if (other.kind_ == Kind::Array)
      hold(other.array_);
    else
      takeScalar(other);
  }
  /// Leaves nothing of an array behind.
  Value(Value&& other) noexcept { take(other); }
  Value& operator=(const Value& other) { return *this = Value(other); }
  Value& operator=(Value&& other) noexcept {
    if (kind_ != Kind::Array) {
      take(other);
    } else {
      const Value old(std::move(*this));  // its end may run a program that sees this variable
      take(other);
    }
    return *this;
  }
  ~Value() {
    if (kind_ == Kind::Array) std::destroy_at(&array_);
  }

  bool isDefined() const { return kind_ != Kind::Nothing; }
  void clear() {
    if (kind_ == Kind::Array)
      *this = Value();
    else
      kind_ = Kind::Nothing;
  }

  /// The content as a real double scalar, or null.
  const double* number() const { return kind_ == Kind::Number ? &number_ : nullptr; }
  /// A real double or logical scalar as a number, or null.
  const double* scalar() const { return kind_ >= Kind::Number ? &number_ : nullptr; }
  /// The content as an array that is neither of them, or null.
  const HostArray* array() const { return kind_ == Kind::Array ? &array_ : nullptr; }
  HostArray* array() { return kind_ == Kind::Array ? &array_ : nullptr; }

  /// The value as an array; it must be defined.
  HostArray toArray() const& { return kind_ == Kind::Array ? array_ : boxed(); }
  HostArray toArray() && { return kind_ == Kind::Array ? std::move(array_) : boxed(); }

 private:
  enum class Kind : std::uint8_t { Nothing, Array, Number, Truth };

  HostArray boxed() const {
    return kind_ == Kind::Truth ? HostArray::logical(number_ != 0) : HostArray::scalar(number_);
  }
  template <class Source>
  void hold(Source&& array) {
    std::construct_at(&array_, std::forward<Source>(array));
    kind_ = Kind::Array;
  }
  /// Becomes the real double or logical scalar that an array is; false for others.
  bool takeScalar(const HostArray& array) {
    const bool isNumber = array.arrayClass() == ArrayClass::Double;
    if ((!isNumber && !array.isLogical()) || array.numel() != 1 || array.isComplex()) return false;
    kind_ = isNumber ? Kind::Number : Kind::Truth;
    number_ = isNumber ? *array.real<double>() : *array.real<bool>() ? 1 : 0;
    return true;
  }
  void takeScalar(const Value& other) {
    kind_ = other.kind_;
    number_ = other.number_;
  }
  /// Becomes what `other` was, which becomes nothing; holds no array before.
  void take(Value& other) noexcept {
    if (other.kind_ != Kind::Array) return takeScalar(other);
    hold(std::move(other.array_));
    other.kind_ = Kind::Nothing;
    std::destroy_at(&other.array_);
  }

  Kind kind_ = Kind::Nothing;
  union {
    double number_ = 0;
    HostArray array_;
  };
};

/// Arguments of a call. A few stand in the list itself.
using Values = boost::container::small_vector<Value, 4>;

}  // namespace tessel
