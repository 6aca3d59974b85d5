/// A value while the evaluator works on it.
#pragma once

#include <optional>
#include <utility>
#include <variant>

#include "tessel/array.h"

namespace tessel {

/// An array, or nothing at all. Real double and logical scalars always stand unboxed, so that scalar arithmetic
/// allocates nothing.
class Value {
 public:
  /// No value: what a variable holds before its first assignment.
  Value() = default;
  explicit Value(double number) : content_(number) {}
  explicit Value(bool truth) : content_(truth) {}
  explicit Value(HostArray array) {
    if (array.numel() == 1 && !array.isComplex()) {
      if (array.arrayClass() == ArrayClass::Double) {
        content_ = *array.real<double>();
        return;
      }
      if (array.isLogical()) {
        content_ = *array.real<bool>();
        return;
      }
    }
    content_ = std::move(array);
  }

  bool isDefined() const { return content_.index() != 0; }
  void clear() { content_ = std::monostate(); }

  /// The content as a real double scalar, or null.
  const double* number() const { return std::get_if<double>(&content_); }
  /// The content as a logical scalar, or null.
  const bool* truth() const { return std::get_if<bool>(&content_); }
  /// The content as an array that is neither of them, or null.
  const HostArray* array() const { return std::get_if<HostArray>(&content_); }
  HostArray* array() { return std::get_if<HostArray>(&content_); }
  /// A real double or logical scalar as a number.
  std::optional<double> scalar() const {
    if (const double* n = number()) return *n;
    if (const bool* b = truth()) return *b ? 1.0 : 0.0;
    return std::nullopt;
  }

  /// The value as an array; it must be defined.
  HostArray toArray() const& {
    if (const HostArray* a = array()) return *a;
    return boxed();
  }
  HostArray toArray() && {
    if (HostArray* a = array()) return std::move(*a);
    return boxed();
  }

 private:
  HostArray boxed() const {
    if (const bool* b = truth()) return HostArray::logical(*b);
    return HostArray::scalar(*number());
  }

  std::variant<std::monostate, double, bool, HostArray> content_;
};

}  // namespace tessel
