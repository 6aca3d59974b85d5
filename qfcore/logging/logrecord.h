/// What a logger has recorded: counts, and the smallest and the largest value.
#pragma once

#include <cstddef>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "qfcore/number/number.h"

namespace embedded {

struct LogCounts {
  std::size_t overflows = 0, underflows = 0, operations = 0, mathOperations = 0;

  bool operator==(const LogCounts&) const = default;
  LogCounts& operator+=(const LogCounts& more);
  /// Never below 0: counts of operations may have been set.
  LogCounts& operator-=(const LogCounts& less);
};

/// Counts that several records have in common: those of copies, of a result and of the register that it was
/// formed in. Whichever is collected first brings them along, the others do not bring them again.
struct CollectableCounts {
  enum class State : unsigned char { Open, BeingCollected, Collected };
  LogCounts counts;
  State state = State::Open;
};

/// The smallest or the largest value met; +realmax or −realmax, the mark of a reset record, before the first.
/// Values beyond the double threshold are kept exactly.
class Extreme {
 public:
  enum class Kind : bool { Smallest, Largest };
  constexpr explicit Extreme(Kind kind) : kind_(kind), plain_(markOf(kind)) {}
  Extreme(const Extreme& other)
      : kind_(other.kind_),
        plain_(other.plain_),
        wide_(other.wide_ ? std::make_unique<number>(*other.wide_) : nullptr) {}

  bool isMark() const { return !wide_ && plain_ == markOf(kind_); }
  number value() const;
  double todouble() const { return wide_ ? wide_->todouble() : plain_; }
  /// Takes the value where it lies beyond what was met.
  void keep(double value) {
    if (wide_) {
      keepWide(number(value, kMaxDoublePrecision, false));
    } else if (isBeyond(value, plain_)) {
      plain_ = value;
    }
  }
  void keep(const number& value);
  void keep(const Extreme& other);
  void replace(double value) {
    wide_.reset();
    plain_ = value;
  }

 private:
  static constexpr double markOf(Kind kind) {
    using Limits = std::numeric_limits<double>;
    return kind == Kind::Largest ? Limits::lowest() : Limits::max();
  }
  template <class Value>
  bool isBeyond(const Value& value, const Value& met) const {
    return kind_ == Kind::Largest ? met < value : met > value;
  }
  void keepWide(const number& value);

  Kind kind_;
  double plain_;
  std::unique_ptr<number>
      wide_;  // once a multiprecision value has been the extreme; the plain one is unused then
};

struct LogRecord {
  LogRecord() = default;
  LogRecord(const LogRecord&) = default;
  // Not with its logger's: most loggers have none, and would keep registers free for it.
  QFCORE_API ~LogRecord();

  Extreme max{Extreme::Kind::Largest}, min{Extreme::Kind::Smallest};
  /// Whether the extremes are real-world values. They are held values until some of other units join them.
  bool isRealWorld = false;
  LogCounts counts;
  std::size_t reportedOverflows = 0, reportedUnderflows = 0;
  /// Where the host was when the record began.
  std::vector<std::string> stackTrace;

  /// Puts what is not shared yet into counts to share.
  void share();
  /// Adds another record's counts; `join` goes on sharing those that it shares.
  void add(const LogRecord& other) { counts += other.counts; }
  void join(const LogRecord& other);
  /// What no record that shares it has collected. It is being collected until `endCollection` tells whether it
  /// has come to where it belongs.
  LogCounts beginCollection();
  void endCollection(bool isKept) noexcept;

 private:
  void forgetUnshared();

  std::vector<std::shared_ptr<CollectableCounts>> shares_;
  LogCounts shared_;     // of all that `counts` contains
  LogCounts collected_;  // of shares that no other record has any more
  std::size_t tidyAt_ = 0;
};

}  // namespace embedded
