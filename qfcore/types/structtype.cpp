#include "qfcore/types/structtype.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <set>

#include "qfcore/types/md5checksummodendian.h"
#include "qfcore/types/parts.h"

namespace EmbeddedTypeSystem {

using embedded::fail;
using embedded::Message;

namespace {

constexpr Message invalidElement{"embeddedtype:struct:InvalidElement",
                                 "Elements should be vector of embedded.structelement objects"};
constexpr Message incompleteElement{"embeddedtype:struct:IncompleteElement",
                                    "All elements should have a valid Type and Identifier"};
constexpr Message recursiveElement{"embeddedtype:struct:RecursiveElement",
                                   "Parameter contains invalid Structure Element"};
constexpr Message nameClash{"embeddedtype:struct:NameClash", "Elements should have unique identifiers"};

}  // namespace

void StructType::setElements(std::vector<TypePtr> elements) {
  std::set<std::string> names;
  for (const TypePtr& element : elements) {
    if (!element || element->kind() != TypeKind::StructElement) fail<invalidElement>();
    if (!element->isComplete()) fail<incompleteElement>();
    if (element->contains(*this)) fail<recursiveElement>();
    if (!names.insert(static_cast<const StructElement&>(*element).identifier()).second) fail<nameClash>();
  }
  elements_ = std::move(elements);
}

int StructType::getWidth() const {
  double width = 0;
  for (const TypePtr& element : elements_) width += element->getWidth();
  return static_cast<int>(std::fmin(width, INT_MAX));
}

bool StructType::isComplete() const {
  return !elements_.empty() && std::all_of(elements_.begin(), elements_.end(),
                                           [](const TypePtr& element) { return element->isComplete(); });
}

bool StructType::contains(const Type& part) const {
  return this == &part || std::any_of(elements_.begin(), elements_.end(),
                                      [&](const TypePtr& element) { return element->contains(part); });
}

bool StructType::canBeConvertedTo(const Type& other) const {
  if (!other.isStructure()) return false;
  const auto& target = static_cast<const StructType&>(other).elements_;
  return std::equal(elements_.begin(), elements_.end(), target.begin(), target.end(),
                    [](const TypePtr& a, const TypePtr& b) { return a->canBeConvertedTo(*b); });
}

std::partial_ordering StructType::compareSameKind(const Type& other) const {
  const auto& b = static_cast<const StructType&>(other).elements_;
  for (std::size_t i = 0; i < std::min(elements_.size(), b.size()); ++i)
    if (auto order = elements_[i]->compare(*b[i]); order != 0) return order;
  if (auto order = elements_.size() <=> b.size(); order != 0) return order;
  return Type::compareSameKind(other);
}

std::size_t StructType::hash() const {
  std::size_t hash = Type::hash();
  for (const TypePtr& element : elements_) hash = hashOf(hash, element->hash());
  return hash;
}

void StructType::addCheckSum(MD5CheckSumModEndian& sum) const {
  sum.addText("struct");
  sum.addUInt32(static_cast<std::uint32_t>(elements_.size()));
  for (const TypePtr& element : elements_) element->addCheckSum(sum);
  Type::addCheckSum(sum);
}

}  // namespace EmbeddedTypeSystem
