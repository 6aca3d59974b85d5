#include "qfcore/fi/arrayformat.h"

#include <bit>
#include <cstdint>
#include <mutex>
#include <unordered_map>

#include "qfcore/fi/heldarray.h"
#include "qfcore/fi/resulttypes.h"

namespace embedded {

using EmbeddedTypeSystem::NumericType;
using EmbeddedTypeSystem::SignedEnum;

namespace {

/// Less than a megabyte altogether.
constexpr std::size_t kMostKept = 1024;

/// The formats that are kept. Nobody frees them at the end of the program: arrays with static life need theirs
/// later.
struct Table {
  std::mutex mutex;
  std::unordered_multimap<std::size_t, const ArrayFormat*> formats;
};

Table& table() {
  static Table& made = *new Table;
  return made;
}

/// The formats that this thread found last, and the very last one, which mostly needs no hash.
constexpr std::size_t kRecent = 16;
struct Recent {
  const ArrayFormat* last;
  const ArrayFormat* byHash[kRecent];
};
[[gnu::tls_model("initial-exec")]] constinit thread_local Recent recent{};

/// Of what mostly tells formats apart; asked for every array that is made of a type and settings.
std::size_t hashOf(const NumericType& type, const fimath& math) {
  std::uint32_t bits = 0;
  const auto mix = [&bits](auto value) { bits = std::rotl(bits, 5) ^ static_cast<std::uint32_t>(value); };
  mix(type.dataTypeMode());
  mix(type.signedEnum());
  mix(math.productMode());
  mix(math.sumMode());
  mix(math.productWordLength());
  mix(math.sumWordLength());
  mix(math.roundMode());
  mix(math.overflowMode());
  mix(type.fixedExponent());
  mix(type.wordLength());
  return bits * std::uint64_t{0x9E3779B97F4A7C15U} >> 32;
}

/// Apart: `of` would have to make room for it.
[[gnu::noinline]] NumericType withSign(NumericType type) {
  if (type.isSignUnspecified()) {
    type.setDataTypeProps(type.dataType(), type.scaling(), SignedEnum::Signed, type.wordLength(),
                          type.slopeAdjustmentFactor(), type.fixedExponent(), type.bias());
  }
  return type;
}

}  // namespace

ArrayFormat::ArrayFormat(const NumericType& type, const fimath& math)
    : SharedType(withSign(type)),
      math_(math),
      rules_(new QuantizerRules(quantizerSettings(this->type(), math.roundMode(), math.overflowMode()))),
      precision_(HeldArray::precisionOf(this->type())),
      isSlopeBias_(this->type().isSlopeBias()) {}

ArrayFormat::~ArrayFormat() = default;

inline bool ArrayFormat::isOf(const NumericType& type, const fimath& math) const {
  // The settings come first: behind the type compilers take them for rarely asked, and call a function for
  // each.
  return math_.isIdentical(math) && this->type().isIdentical(type);
}

ArrayFormat::Ptr ArrayFormat::of(const NumericType& type, const fimath& math) {
  // One length tells most others apart before all settings are compared.
  if (const ArrayFormat* last = recent.last;
      last && last->type().wordLength() == type.wordLength() && last->isOf(type, math))
    return Ptr(last);
  return ofOther(type, math);
}

// Apart: the one found last would pay for its registers.
[[gnu::noinline]] ArrayFormat::Ptr ArrayFormat::ofOther(const NumericType& type, const fimath& math) {
  if (type.isSignUnspecified()) [[unlikely]]
    return of(withSign(type), math);
  const std::size_t hash = hashOf(type, math);
  const ArrayFormat* found = recent.byHash[hash % kRecent];
  if (!found || !found->isOf(type, math)) return madeOrFound(type, math, hash);
  return Ptr(recent.last = found);
}

ArrayFormat::Ptr ArrayFormat::madeOrFound(const NumericType& type, const fimath& math, std::size_t hash) {
  const ArrayFormat*& last = recent.byHash[hash % kRecent];
  Table& kept = table();
  const std::lock_guard lock(kept.mutex);
  const auto [first, end] = kept.formats.equal_range(hash);
  for (auto each = first; each != end; ++each) {
    if (each->second->isOf(type, math)) return Ptr(last = each->second);
  }
  resulttypes::errorIfUnfit(type);
  Ptr made(new ArrayFormat(type, math));
  if (kept.formats.size() == kMostKept) return made;
  kept.formats.emplace(hash, made.get());
  // Arrays share its rules as well: counting them would have each array that is made and freed wait for the
  // stores before it.
  QuantizerRulesPtr(made->rules_).keepForGood();
  made.keepForGood();
  return Ptr(last = made.get());
}

ArrayFormat::Result ArrayFormat::remembered(Operation operation, const ArrayFormat& right, unsigned terms,
                                            Result result) const {
  if (!isKept() || !right.isKept() || !result.format->isKept()) return result;
  const Known* made = new Known{right, terms, result};
  for (auto& each : known_[static_cast<std::size_t>(operation)]) {
    const Known* other = nullptr;
    if (each.compare_exchange_strong(other, made, std::memory_order_acq_rel)) return result;
  }
  delete made;
  return result;
}

}  // namespace embedded
