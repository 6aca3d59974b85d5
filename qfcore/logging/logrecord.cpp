#include "qfcore/logging/logrecord.h"

#include <algorithm>

#include "qfcore/number/precision.h"

namespace embedded {

namespace {

template <class Combine>
void combineCounts(LogCounts& counts, const LogCounts& other, Combine combine) {
  for (const auto count :
       {&LogCounts::overflows, &LogCounts::underflows, &LogCounts::operations, &LogCounts::mathOperations}) {
    counts.*count = combine(counts.*count, other.*count);
  }
}

}  // namespace

LogRecord::~LogRecord() = default;

LogCounts& LogCounts::operator+=(const LogCounts& more) {
  combineCounts(*this, more, [](std::size_t a, std::size_t b) { return a + b; });
  return *this;
}

LogCounts& LogCounts::operator-=(const LogCounts& less) {
  combineCounts(*this, less, [](std::size_t a, std::size_t b) { return a - std::min(a, b); });
  return *this;
}

number Extreme::value() const {
  if (wide_) return *wide_;
  return number(plain_, number::getDefaultPrecision(), number::getDefaultForceMultiplePrecision());
}

void Extreme::keep(const number& value) {
  if (value.gettype() == kDoubleRepresentation) return keep(value.todouble());
  keepWide(value);
}

void Extreme::keep(const Extreme& other) {
  if (other.isMark()) return;
  if (other.wide_) return keepWide(*other.wide_);
  keep(other.plain_);
}

void Extreme::keepWide(const number& value) {
  if (isBeyond(value, wide_ ? *wide_ : number(plain_, kDoubleBits, true)))
    wide_ = std::make_unique<number>(value);
}

void LogRecord::share() {
  forgetUnshared();
  LogCounts own(counts);
  own -= shared_;
  if (own == LogCounts()) return;
  shares_.push_back(std::make_shared<CollectableCounts>(CollectableCounts{own}));
  shared_ += own;
}

void LogRecord::join(const LogRecord& other) {
  forgetUnshared();
  add(other);
  shares_.insert(shares_.end(), other.shares_.begin(), other.shares_.end());
  shared_ += other.shared_;
  collected_ += other.collected_;
}

/// Results come and go while what they were formed from stays: only counts that live records share are worth a
/// place of their own.
void LogRecord::forgetUnshared() {
  if (shares_.size() < tidyAt_) return;
  std::erase_if(shares_, [this](const std::shared_ptr<CollectableCounts>& share) {
    if (share.use_count() > 1) return false;
    if (share->state != CollectableCounts::State::Open) {
      collected_ += share->counts;
    } else {
      shared_ -= share->counts;
    }
    return true;
  });
  constexpr std::size_t kFew = 8;
  tidyAt_ = std::max(kFew, 2 * shares_.size());
}

LogCounts LogRecord::beginCollection() {
  share();
  LogCounts fresh(counts);
  fresh -= collected_;
  for (const std::shared_ptr<CollectableCounts>& share : shares_) {
    if (share->state != CollectableCounts::State::Open) {
      fresh -= share->counts;
    } else {
      share->state = CollectableCounts::State::BeingCollected;
    }
  }
  return fresh;
}

void LogRecord::endCollection(bool isKept) noexcept {
  using enum CollectableCounts::State;
  for (const std::shared_ptr<CollectableCounts>& share : shares_) {
    if (share->state == BeingCollected) share->state = isKept ? Collected : Open;
  }
}

}  // namespace embedded
