#include "qfcore/types/fienumtype.h"

#include <cmath>
#include <new>
#include <optional>
#include <type_traits>

#include "qfcore/types/hashing.h"
#include "qfcore/types/md5checksummodendian.h"

namespace EmbeddedTypeSystem {

using embedded::fail;
using embedded::Message;

namespace {

constexpr Message invalidValues{"embeddedtype:enum:InvalidValues",
                                "Values should be vector of +ve or -ve integers"};
constexpr Message countMismatch{"embeddedtype:enum:ValuesandStringsMismatch",
                                "Number of values should be equal to number of strings"};
constexpr Message outOfMemory{"embeddedtype:memory:OutofMemory", "Insufficient memory: Out of memory error"};

// What the digest of an enumeration begins with: the name, two zero bytes, and the beginning of the text that
// refuses values. Digests that users have stored depend on every byte.
constexpr char kCheckSumHead[] = "fienum\0\0Values should be";
constexpr std::size_t kCheckSumHeadSize = 24;
static_assert(sizeof kCheckSumHead == kCheckSumHeadSize + 1);

template <class T>
std::optional<std::int64_t> wholeNumber(T value) {
  constexpr double kLimit = 9223372036854775808.0;  // 2^63
  if constexpr (std::is_floating_point_v<T>) {
    const bool fits = value >= -kLimit && value < kLimit && value == std::floor(value);
    if (!fits) return std::nullopt;
  } else if constexpr (std::is_same_v<T, std::uint64_t>) {
    if (value > static_cast<std::uint64_t>(INT64_MAX)) return std::nullopt;
  }
  return static_cast<std::int64_t>(value);
}

/// The elements of a numeric array; nothing where one is no whole number of 64 bits.
std::optional<std::vector<std::int64_t>> wholeNumbers(const tessel::HostArray& array) {
  std::vector<std::int64_t> numbers;
  numbers.reserve(array.numel());
  const bool all = tessel::visitElementType(array.arrayClass(), [&](auto element) {
    const auto* values = array.real<decltype(element)>();
    for (std::size_t i = 0; i < array.numel(); ++i) {
      const auto number = wholeNumber(values[i]);
      if (!number) return false;
      numbers.push_back(*number);
    }
    return true;
  });
  if (!all) return std::nullopt;
  return numbers;
}

}  // namespace

void FIEnumType::setStrings(const std::vector<std::string>& strings) {
  try {
    strings_ = std::vector<std::string>(strings);  // the copy may fail, the move does not
  } catch (const std::bad_alloc&) {
    fail<outOfMemory>();
  }
}

void FIEnumType::setMxValues(const tessel::HostArray& values) {
  try {
    if (!values.isNumeric() || values.isComplex() || !values.isVector() || !wholeNumbers(values))
      fail<invalidValues>();
    if (values.numel() != strings_.size()) fail<countMismatch>();
    values_ = values;
  } catch (const std::bad_alloc&) {
    fail<outOfMemory>();
  }
}

std::vector<std::int64_t> FIEnumType::values() const { return *wholeNumbers(values_); }

bool FIEnumType::canBeConvertedTo(const Type& other) const {
  if (other.kind() == kind()) return compareContent(static_cast<const FIEnumType&>(other)) == 0;
  return isNumberLike(other.kind());
}

std::partial_ordering FIEnumType::compareContent(const FIEnumType& other) const {
  if (auto order = strings_ <=> other.strings_; order != 0) return order;
  return values() <=> other.values();
}

std::partial_ordering FIEnumType::compareSameKind(const Type& other) const {
  if (auto order = compareContent(static_cast<const FIEnumType&>(other)); order != 0) return order;
  return Type::compareSameKind(other);
}

std::size_t FIEnumType::hash() const {
  std::size_t hash = Type::hash();
  for (const std::string& name : strings_) hash = hashOf(hash, name);
  for (const std::int64_t value : values()) hash = hashOf(hash, value);
  return hash;
}

void FIEnumType::addCheckSum(MD5CheckSumModEndian& sum) const {
  sum.addBytes(kCheckSumHead, kCheckSumHeadSize);
  sum.addInt32(static_cast<std::int32_t>(strings_.size()));
  sum.addUInt32(isComplete());
  Type::addCheckSum(sum);
}

}  // namespace EmbeddedTypeSystem
