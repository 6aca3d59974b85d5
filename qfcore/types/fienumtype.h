/// Enumerations of generated code.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "qfcore/types/type.h"
#include "tessel/array.h"

namespace EmbeddedTypeSystem {

/// Names and their integer values. Complete when there are names and as many values.
class QFCORE_API FIEnumType : public Type {
 public:
  FIEnumType() : Type(TypeKind::FIEnum) {}

  const std::vector<std::string>& strings() const { return strings_; }
  /// Values that are there already stay; where the counts differ the type is incomplete until new ones come.
  void setStrings(const std::vector<std::string>& strings);

  /// As it was set; empty until then.
  const tessel::HostArray& mxValues() const { return values_; }
  /// A real numeric vector of whole numbers of at most 64 bits, as many as there are names. Raises
  /// "embeddedtype:enum:InvalidValues", "embeddedtype:enum:ValuesandStringsMismatch".
  void setMxValues(const tessel::HostArray& values);
  /// The values as integers.
  std::vector<std::int64_t> values() const;

  bool isScalar() const override { return true; }
  bool isComplete() const override { return !strings_.empty() && values_.numel() == strings_.size(); }
  /// To numbers and characters, and to an enumeration of the same names and values.
  bool canBeConvertedTo(const Type& other) const override;
  void addCheckSum(MD5CheckSumModEndian& sum) const override;
  std::size_t hash() const override;

 protected:
  std::partial_ordering compareSameKind(const Type& other) const override;

 private:
  std::partial_ordering compareContent(const FIEnumType& other) const;

  std::vector<std::string> strings_;
  tessel::HostArray values_;
};

}  // namespace EmbeddedTypeSystem
