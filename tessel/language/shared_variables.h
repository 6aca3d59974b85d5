/// Variables that outlive a call: global ones, and the persistent ones of a function.
#pragma once

#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

#include "tessel/language/value.h"

namespace tessel {

/// The values of variables: one a symbol; of names that the text given to `eval` adds, last. They stand in
/// memory of which the rest holds no values.
class Slots {
 public:
  [[gnu::always_inline]] Slots(std::vector<Value>& memory, std::size_t count) : memory_(&memory) {
    resize(count);
  }
  Slots(const Slots&) = delete;
  Slots& operator=(const Slots&) = delete;
  [[gnu::always_inline]] ~Slots() { clear(); }
  Value& operator[](std::size_t slot) { return first_[slot]; }
  const Value& operator[](std::size_t slot) const { return first_[slot]; }
  std::size_t size() const { return count_; }
  /// Never to fewer.
  void resize(std::size_t count) {
    if (memory_->size() < count) memory_->resize(count);
    first_ = memory_->data();
    count_ = count;
  }
  /// Takes all values away.
  [[gnu::always_inline]] void clear() {
    for (Value& value : *this) value.clear();
  }
  Value* begin() { return first_; }
  Value* end() { return first_ + count_; }

 private:
  std::vector<Value>* memory_;
  Value* first_ = nullptr;
  std::size_t count_ = 0;
};

/// One variable that several calls see. Only the innermost of them runs, so its value always stands in a slot
/// of that one, where reading and changing it costs what it costs of any variable, and goes back to the one
/// before when the call ends. Starts as an empty array.
class SharedVariable {
 public:
  /// The value moves to a slot of the innermost call.
  void enter(Slots& slots, int slot) {
    places_.push_back({&slots, slot});
    Value& before = places_.size() == 1 ? value_ : places_[places_.size() - 2].value();
    slots[slot] = std::exchange(before, Value());
  }
  /// The value moves back from the innermost call, unless that has lost it.
  void leave() noexcept {
    if (places_.empty()) return;
    Value& value = places_.back().value();
    places_.pop_back();
    (places_.empty() ? value_ : places_.back().value()) = std::move(value);
  }
  bool isInUse() const { return !places_.empty(); }
  /// Starts anew; calls that have it lose their variable.
  void reset() {
    for (Place& place : places_) place.value().clear();
    places_.clear();
    value_ = Value(HostArray());
  }

 private:
  struct Place {
    Slots* slots;
    int slot;
    Value& value() const { return (*slots)[slot]; }
  };

  Value value_{HostArray()};   ///< while no call has it
  std::vector<Place> places_;  ///< innermost last
};

/// The shared variables that one call has declared; gives them back at its end.
class SharedLinks {
 public:
  explicit SharedLinks(Slots& slots) : slots_(slots) {}
  SharedLinks(const SharedLinks&) = delete;
  SharedLinks& operator=(const SharedLinks&) = delete;
  ~SharedLinks() { removeAll(); }

  /// The variable of a slot, or null.
  const SharedVariable* find(int slot) const {
    for (const Link& link : links_)
      if (link.slot == slot) return link.variable.get();
    return nullptr;
  }
  void add(int slot, std::shared_ptr<SharedVariable> variable) {
    links_.push_back({slot, std::move(variable)});
    links_.back().variable->enter(slots_, slot);
  }
  /// From here on the slot has a variable of its own, without a value.
  void remove(int slot) {
    for (Link& link : links_)
      if (link.slot == slot) link.variable->leave();
    std::erase_if(links_, [slot](const Link& link) { return link.slot == slot; });
  }
  void removeAll() {
    for (Link& link : links_) link.variable->leave();
    links_.clear();
  }

 private:
  struct Link {
    int slot;
    std::shared_ptr<SharedVariable> variable;
  };

  Slots& slots_;
  std::vector<Link> links_;
};

}  // namespace tessel
