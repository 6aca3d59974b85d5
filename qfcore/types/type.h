/// The root of all embedded types.
#pragma once

#include <compare>
#include <cstddef>
#include <memory>

#include "qfcore/number/errors.h"

namespace tessel {
class HostObject;
}

namespace EmbeddedTypeSystem {

class MD5CheckSumModEndian;

/// Which member of the family a type is. The order is the one in which types of different kinds sort.
enum class TypeKind : unsigned char {
  Scalar,
  Numeric,
  Char,
  Complex,
  FIEnum,
  Pointer,
  Opaque,
  Matrix,
  StructElement,
  Struct,
  Void
};

/// Kinds whose values are numbers: what a number or a character can be converted to.
constexpr bool isNumberLike(TypeKind kind) {
  return kind == TypeKind::Numeric || kind == TypeKind::Char || kind == TypeKind::Complex;
}

/// Root of the family. Types are handles for the host: composed types share their parts.
///
/// Copying takes over everything but the back-reference to the host object.
class QFCORE_API Type {
 public:
  virtual ~Type() = default;

  /// Identifies the class of the type within the family.
  TypeKind kind() const { return kind_; }

  bool readOnly() const { return readOnly_; }
  void setReadOnly(bool readOnly) { readOnly_ = readOnly; }
  bool isVolatile() const { return volatile_; }
  void setVolatile(bool isVolatile) { volatile_ = isVolatile; }

  /// The host object that wraps this instance, or null. Not owned.
  tessel::HostObject* hostObject() const { return hostObject_; }
  void setHostObject(tessel::HostObject* object) { hostObject_ = object; }

  /// How many scalar values one value of the type holds.
  virtual int getWidth() const { return 1; }
  virtual bool isScalar() const { return false; }
  virtual bool isComplex() const { return false; }
  bool isStructure() const { return kind_ == TypeKind::Struct; }
  bool isMatrix() const { return kind_ == TypeKind::Matrix; }
  bool isVoid() const { return kind_ == TypeKind::Void; }
  bool isPointer() const { return kind_ == TypeKind::Pointer; }
  bool isOpaque() const { return kind_ == TypeKind::Opaque; }
  /// Everything that a value of the type needs to be known has been given.
  virtual bool isComplete() const { return true; }
  /// A value of this type has a meaning as a value of `other`. Qualifiers do not count.
  virtual bool canBeConvertedTo(const Type& other) const;
  /// True when `part` is this very object or one that this type is built from, at any depth.
  virtual bool contains(const Type& part) const { return this == &part; }

  /// Feeds the type to the checksum.
  virtual void addCheckSum(MD5CheckSumModEndian& sum) const;
  /// Equal types have equal hashes.
  virtual std::size_t hash() const;
  /// Orders types, first by kind. Equivalent exactly where they are equal; unordered where a NaN decides.
  std::partial_ordering compare(const Type& other) const;

  friend bool operator==(const Type& a, const Type& b) { return a.compare(b) == 0; }

 protected:
  explicit Type(TypeKind kind) : kind_(kind) {}
  Type(const Type& other) : kind_(other.kind_), readOnly_(other.readOnly_), volatile_(other.volatile_) {}
  Type& operator=(const Type& other) {
    readOnly_ = other.readOnly_;
    volatile_ = other.volatile_;
    return *this;
  }

  /// Orders this type and one of the same kind. The base part compares the two qualifiers.
  virtual std::partial_ordering compareSameKind(const Type& other) const;

 private:
  tessel::HostObject* hostObject_ = nullptr;
  TypeKind kind_;
  bool readOnly_ = false;
  bool volatile_ = false;
};

/// A shared part of a composed type.
using TypePtr = std::shared_ptr<const Type>;

/// Base of the types of one number or character.
class QFCORE_API ScalarType : public Type {
 public:
  ScalarType() : Type(TypeKind::Scalar) {}
  bool isScalar() const override { return true; }

 protected:
  explicit ScalarType(TypeKind kind) : Type(kind) {}
};

}  // namespace EmbeddedTypeSystem
