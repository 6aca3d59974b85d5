/// Which elements an operation visits, one after the other.
#pragma once

#include <limits>
#include <vector>

namespace embedded {

/// A position that names no element.
constexpr unsigned kNoElement = std::numeric_limits<unsigned>::max();

/// Positions from 0: those of a list, which must outlive the visit, or equal steps, of which 0 is one position
/// again and again and what is beyond 2^31 leads back.
class ElementVisit {
 public:
  ElementVisit(const std::vector<unsigned>& list) : list_(list.data()) {}
  static ElementVisit from(unsigned first, unsigned step = 1) { return {first, step}; }
  static ElementVisit same(unsigned position) { return {position, 0}; }
  /// Whether each position is the one after the one before.
  bool isInStep() const { return !list_ && step_ == 1; }
  unsigned operator[](unsigned k) const { return list_ ? list_[k] : first_ + k * step_; }

 private:
  ElementVisit(unsigned first, unsigned step) : first_(first), step_(step) {}

  const unsigned* list_ = nullptr;
  unsigned first_ = 0, step_ = 0;
};

}  // namespace embedded
