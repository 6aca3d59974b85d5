/// Sharing objects that never change once they are made, among arrays and among threads.
#pragma once

#include <atomic>
#include <utility>

namespace embedded {

/// Base of what never changes once it is made. It dies with its last owner; or it is kept for good, and then
/// its owners need not be counted, so that having another one costs nothing.
class Immutable {
 public:
  Immutable() = default;
  Immutable(const Immutable&) = delete;
  Immutable& operator=(const Immutable&) = delete;
  bool isKept() const { return isKept_; }

 private:
  template <class>
  friend class ImmutablePtr;
  void add() const {
    if (!isKept_) owners_.fetch_add(1, std::memory_order_relaxed);
  }
  /// Whether that was the last owner.
  bool drop() const { return !isKept_ && owners_.fetch_sub(1, std::memory_order_acq_rel) == 1; }

  mutable std::atomic<unsigned> owners_ = 0;
  mutable bool isKept_ = false;
};

/// An owner of an Immutable; never null. Moving copies: whoever is moved from still has its object.
template <class T>
class ImmutablePtr {
 public:
  /// `made` is new, or has owners, or is kept for good.
  explicit ImmutablePtr(const T* made) : object_(made) { object_->add(); }
  ImmutablePtr(const ImmutablePtr& other) : ImmutablePtr(other.object_) {}
  ~ImmutablePtr() {
    if (object_->drop()) [[unlikely]]
      delete object_;
  }
  ImmutablePtr& operator=(const ImmutablePtr& other) {
    ImmutablePtr copy(other);
    std::swap(object_, copy.object_);
    return *this;
  }
  const T& operator*() const { return *object_; }
  const T* operator->() const { return object_; }
  const T* get() const { return object_; }
  /// To be called by the maker, before anybody else shares the object.
  void keepForGood() { object_->isKept_ = true; }
  friend bool operator==(const ImmutablePtr& a, const ImmutablePtr& b) { return a.object_ == b.object_; }

 private:
  const T* object_;
};

}  // namespace embedded
