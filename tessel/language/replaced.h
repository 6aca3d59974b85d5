/// A variable that has another value, and a list that has one more, for a while.
#pragma once

#include <utility>
#include <vector>

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

/// Has `value` at the end of `list` while it lives.
template <class T>
class Pushed {
 public:
  Pushed(std::vector<T>& list, T value) : list_(list) { list_.push_back(std::move(value)); }
  ~Pushed() { list_.pop_back(); }
  Pushed(const Pushed&) = delete;
  Pushed& operator=(const Pushed&) = delete;

 private:
  std::vector<T>& list_;
};

}  // namespace tessel
