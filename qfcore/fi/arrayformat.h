/// What all arrays of one numeric type under one set of math settings have in common.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>

#include "qfcore/math/fimath.h"
#include "qfcore/math/quantizerrules.h"
#include "qfcore/number/immutable.h"
#include "qfcore/types/sharedtype.h"

namespace embedded {

/// A numeric type and math settings, the rules of quantization under them, and the formats of results that were
/// asked for before. Never changes, and mostly there is but one of its kind: arrays with the same type and
/// settings find it and share it, in all threads. The first thousand formats that a process meets are kept
/// for good; those after them die with their last array, and nothing is remembered for them.
class QFCORE_API ArrayFormat final : public EmbeddedTypeSystem::SharedType {
 public:
  using Ptr = ImmutablePtr<ArrayFormat>;
  /// An unspecified sign becomes Signed. Raises what `NumericType::errorIfBadWordLength` and
  /// `quantizerSettings` raise.
  static Ptr of(const EmbeddedTypeSystem::NumericType& type, const fimath& math);

  const fimath& math() const { return math_; }
  const QuantizerRulesPtr& rules() const { return rules_; }
  /// Bits in which values are carried.
  unsigned precision() const { return precision_; }
  /// Whether values are held as something else than their real-world values.
  bool isSlopeBias() const { return isSlopeBias_; }

  enum class Operation { Sum, Difference, Product, MatrixProduct };
  /// What an operation of two real arrays gives. `isExact`: every result, and all that is formed on the way, is
  /// a value of its type, so that there is nothing to round; never where scaling is slope-bias. `hasTiles`,
  /// `productsFit`: of a matrix product, what `MatrixTiles` asks.
  struct Result {
    Ptr format;
    bool isExact;
    bool hasTiles = false, productsFit = false;
  };
  /// That of an operation whose right operand has the format `right`, and whose results are sums of so many
  /// terms: what `derive` returned when it was asked for the first time. What `derive` raises passes on, and is
  /// not remembered.
  template <class Derive>
  Result result(Operation operation, const ArrayFormat& right, Derive derive, unsigned terms = 1) const {
    const Known* known = find(operation, right, terms);
    return known ? known->result : remembered(operation, right, terms, derive());
  }
  /// The same where it has been asked for before; null otherwise.
  const Result* knownResult(Operation operation, const ArrayFormat& right) const {
    const Known* known = find(operation, right, 1);
    return known ? &known->result : nullptr;
  }

 private:
  struct Known {
    const ArrayFormat& right;
    unsigned terms;
    Result result;
  };
  static constexpr std::size_t kOperations = 4, kKnown = 8;
  using AllKnown = std::array<std::atomic<const Known*>, kKnown>;

  friend class ImmutablePtr<ArrayFormat>;
  ArrayFormat(const EmbeddedTypeSystem::NumericType& type, const fimath& math);
  ~ArrayFormat() override;
  static Ptr ofOther(const EmbeddedTypeSystem::NumericType& type, const fimath& math);
  static Ptr madeOrFound(const EmbeddedTypeSystem::NumericType& type, const fimath& math, std::size_t hash);
  bool isOf(const EmbeddedTypeSystem::NumericType& type, const fimath& math) const;
  const Known* find(Operation operation, const ArrayFormat& right, unsigned terms) const {
    const AllKnown& all = known_[static_cast<std::size_t>(operation)];
    for (std::size_t k = 0; k < kKnown; ++k) {
      const Known* known = all[k].load(std::memory_order_acquire);
      if (!known || (&known->right == &right && known->terms == terms)) return known;
    }
    return nullptr;
  }
  Result remembered(Operation operation, const ArrayFormat& right, unsigned terms, Result result) const;

  fimath math_;
  QuantizerRulesPtr rules_;
  unsigned precision_;
  bool isSlopeBias_;
  mutable std::array<AllKnown, kOperations> known_{};
};

}  // namespace embedded
