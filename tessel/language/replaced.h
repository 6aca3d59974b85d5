/// A variable that has another value for a while.
#pragma once

#include <utility>

namespace tessel {

/// Gives `variable` a value while it lives and the old one afterwards.
template <class T>
class Replaced {
 public:
  Replaced(T& variable, T value) : variable_(variable), old_(std::exchange(variable, std::move(value))) {}
  ~Replaced() { variable_ = std::move(old_); }
  Replaced(const Replaced&) = delete;
  Replaced& operator=(const Replaced&) = delete;

 private:
  T& variable_;
  T old_;
};

}  // namespace tessel
