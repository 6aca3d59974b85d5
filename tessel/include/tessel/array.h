/// The host's array: the value that every variable, argument and result of the host is.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include <boost/container/small_vector.hpp>

#include "tessel/api.h"

namespace tessel {

class HostObject;

enum class ArrayClass : std::uint8_t {
  Double,
  Single,
  Int8,
  Uint8,
  Int16,
  Uint16,
  Int32,
  Uint32,
  Int64,
  Uint64,
  Logical,
  Char,
  Cell,
  Struct,
  Object,
  Function
};

/// Sizes in each dimension; at least two entries, no trailing ones beyond the second.
using Dimensions = std::vector<std::size_t>;

/// A callable value (a handle or an anonymous function); the language gives it its content.
class TESSEL_API FunctionValue {
 public:
  virtual ~FunctionValue();
  /// The text a user sees, such as "@(x) x + 1".
  virtual std::string text() const = 0;
};

/// The array class that holds elements of type T: `double`, `float`, the sized integers, `bool` (logical),
/// `char`.
template <class T>
constexpr ArrayClass arrayClassOf();

/// An N-dimensional, column-major array of one class, real or complex, with value semantics.
///
/// Copies share their data until one of them is written. Real and imaginary parts of numeric arrays are
/// separate buffers of the class's element type; logical elements are `bool`, characters are `char`. Cells hold
/// arrays, structures hold one array a field and element, objects hold shared pointers to `HostObject`.
/// Elements of cells, and of one field, are contiguous. Pointers to elements are valid until the array is
/// copied, moved, resized or assigned.
///
/// Accessors raise "Tessel:wrongClass" where the array's class has no such content; positions must exist.
class TESSEL_API HostArray {
 public:
  /// A 0-by-0 double array.
  HostArray() = default;
  HostArray(const HostArray&) = default;
  /// Leaves a 0-by-0 double array behind.
  HostArray(HostArray&& other) noexcept
      : class_(std::exchange(other.class_, ArrayClass::Double)),
        smallCount_(std::exchange(other.smallCount_, std::uint8_t{0})),
        small_(other.small_),
        object_(std::move(other.object_)),
        data_(std::move(other.data_)) {}
  HostArray& operator=(const HostArray&) = default;
  HostArray& operator=(HostArray&& other) noexcept {
    if (object_ || data_ || other.object_ || other.data_) {
      HostArray(std::move(other)).swap(*this);  // what is held may hold `other`
      return *this;
    }
    class_ = std::exchange(other.class_, ArrayClass::Double);
    smallCount_ = std::exchange(other.smallCount_, std::uint8_t{0});
    small_ = other.small_;
    return *this;
  }
  ~HostArray() = default;
  void swap(HostArray& other) noexcept {
    std::swap(class_, other.class_);
    std::swap(smallCount_, other.smallCount_);
    std::swap(small_, other.small_);
    object_.swap(other.object_);
    data_.swap(other.data_);
  }

  /// Zeros (false, NUL) of a numeric class, logical or char. As all that makes arrays, raises
  /// "Tessel:arrayTooLarge" for more elements than memory can hold.
  static HostArray zeros(ArrayClass arrayClass, Dimensions dims, bool isComplex = false);
  /// The same with elements that mean nothing until the maker has set them all.
  static HostArray unset(ArrayClass arrayClass, Dimensions dims, bool isComplex = false);
  /// An array over elements of a numeric class, logical or char that lie elsewhere, column by column: nothing
  /// is copied until the array is written. They must stay as they are while `owner` (not null) lives; `imag` is
  /// null for a real array.
  static HostArray adopt(ArrayClass arrayClass, Dimensions dims, std::shared_ptr<const void> owner,
                         const void* real, const void* imag = nullptr);
  static HostArray scalar(double value);
  /// Becomes what `scalar` makes.
  void assignScalar(double value) {
    if (object_ || data_) *this = HostArray();
    class_ = ArrayClass::Double;
    smallCount_ = 1;
    std::memcpy(small_.data(), &value, sizeof value);
  }
  static HostArray logical(bool value);
  /// A 1-by-1 array of the class of T.
  template <class T>
  static HostArray scalarOf(T value) {
    HostArray a;
    a.class_ = arrayClassOf<T>();
    a.smallCount_ = 1;
    std::memcpy(a.small_.data(), &value, sizeof value);
    return a;
  }
  /// A 1-by-n char row; 0-by-0 for the empty text.
  static HostArray text(std::string_view text);
  /// A char matrix with one row a text, padded with blanks to the longest.
  static HostArray charMatrix(const std::vector<std::string>& rows);
  /// A cell array of empty arrays.
  static HostArray cell(Dimensions dims);
  /// A structure array whose fields all hold empty arrays.
  static HostArray structure(Dimensions dims = {1, 1}, std::vector<std::string> fields = {});
  static HostArray object(std::shared_ptr<HostObject> object);
  /// An array of objects of one class; `objects` in column-major order, one an element.
  static HostArray objects(std::vector<std::shared_ptr<HostObject>> objects, Dimensions dims);
  static HostArray function(std::shared_ptr<const FunctionValue> function);

  ArrayClass arrayClass() const { return class_; }
  /// "double", "int8", "logical", "function_handle", …; for objects the qualified class name, such as
  /// "embedded.fi".
  std::string className() const;
  const Dimensions& dims() const;
  /// The size in dimension `d`, which counts from 0; 1 beyond the last.
  std::size_t dim(std::size_t d) const;
  std::size_t numel() const { return data_ == nullptr ? smallCount_ : storedCount(); }
  bool isEmpty() const { return numel() == 0; }
  bool isScalar() const { return numel() == 1; }
  /// Two-dimensional with one row or one column (a scalar is a vector too; an empty array is not).
  bool isVector() const;
  bool isComplex() const { return data_ != nullptr && hasImaginaryParts(); }
  /// Double, single or one of the eight integer classes.
  bool isNumeric() const { return class_ <= ArrayClass::Uint64; }
  bool isInteger() const { return class_ >= ArrayClass::Int8 && class_ <= ArrayClass::Uint64; }
  bool isFloat() const { return class_ == ArrayClass::Double || class_ == ArrayClass::Single; }
  bool isLogical() const { return arrayClass() == ArrayClass::Logical; }
  bool isChar() const { return arrayClass() == ArrayClass::Char; }
  bool isCell() const { return arrayClass() == ArrayClass::Cell; }
  bool isStruct() const { return arrayClass() == ArrayClass::Struct; }
  bool isObject() const { return arrayClass() == ArrayClass::Object; }
  bool isFunction() const { return arrayClass() == ArrayClass::Function; }
  /// A char array of at most one row.
  bool isText() const;

  /// Replaces the sizes; raises "Tessel:reshapeCount" when the element count would change. Drops trailing ones
  /// beyond the second dimension.
  void reshape(Dimensions dims);

  /// The element buffers; T must match the class. The imaginary buffer is null for a real array.
  template <class T>
  const T* real() const {
    return static_cast<const T*>(data_ == nullptr && class_ <= ArrayClass::Char ? small_.data() : realData());
  }
  template <class T>
  const T* imag() const {
    return static_cast<const T*>(imagData());
  }
  /// Writable buffers; unshare the data first. `mutableImag` makes a real array complex, with zeros.
  template <class T>
  T* mutableReal() {
    return static_cast<T*>(mutableRealData());
  }
  template <class T>
  T* mutableImag() {
    return static_cast<T*>(mutableImagData());
  }
  const void* realData() const;
  const void* imagData() const;
  void* mutableRealData();
  void* mutableImagData();
  /// Drops the imaginary parts.
  void makeReal();

  /// The real part of element `i` (from 0) of a numeric, logical or char array, as a double.
  double realAt(std::size_t i) const;
  double imagAt(std::size_t i) const;
  /// The value of a real numeric, logical or char scalar; raises "Tessel:mustBeScalar" otherwise.
  double scalarValue() const;
  /// The text of a char row; raises "Tessel:mustBeText" otherwise.
  std::string toText() const;
  /// The rows of a char matrix.
  std::vector<std::string> textRows() const;

  /// Cell content of element `i`, from 0.
  const HostArray& cellAt(std::size_t i) const;
  HostArray& mutableCellAt(std::size_t i);

  /// Structure fields, in order of creation.
  const std::vector<std::string>& fieldNames() const;
  bool hasField(std::string_view field) const;
  /// The value of a field, or null where there is none: also for arrays that are no structures.
  const HostArray* findField(std::string_view field, std::size_t i = 0) const;
  const HostArray& fieldAt(std::string_view field, std::size_t i = 0) const;
  /// Creates the field where it does not exist.
  HostArray& mutableFieldAt(std::string_view field, std::size_t i = 0);
  void removeField(std::string_view field);

  const std::shared_ptr<HostObject>& objectAt(std::size_t i = 0) const;
  /// The object of a scalar object array for writing: of a value class that others share, a clone replaces it
  /// first.
  HostObject& mutableObject();
  const std::shared_ptr<const FunctionValue>& functionValue() const;

 private:
  friend struct ArrayAccess;
  struct Data;
  std::size_t storedCount() const;
  bool hasImaginaryParts() const;
  /// The storage for writing: on the heap and shared with nobody.
  Data& unshared();

  ArrayClass class_ = ArrayClass::Double;
  // Without `data_`, the array is 0-by-0 (count 0), or a scalar (count 1): a real number, truth value or
  // character in `small_`, or one object in `object_`. So scalars need no allocation of their own.
  std::uint8_t smallCount_ = 0;
  alignas(8) std::array<std::byte, 8> small_{};
  std::shared_ptr<HostObject> object_;
  std::shared_ptr<Data> data_;
};

/// Arguments or results of a call. A few stand in the list itself, so that most calls allocate nothing for it.
using Arrays = boost::container::small_vector<HostArray, 3>;

/// The list of these arrays. Arguments that can be moved are moved into it, which an initializer list cannot
/// do.
template <class... Elements>
Arrays arraysOf(Elements&&... elements) {
  Arrays list;
  list.reserve(sizeof...(elements));
  (list.push_back(std::forward<Elements>(elements)), ...);
  return list;
}

template <class T>
constexpr ArrayClass arrayClassOf() {
  if constexpr (std::is_same_v<T, double>)
    return ArrayClass::Double;
  else if constexpr (std::is_same_v<T, float>)
    return ArrayClass::Single;
  else if constexpr (std::is_same_v<T, bool>)
    return ArrayClass::Logical;
  else if constexpr (std::is_same_v<T, char>)
    return ArrayClass::Char;
  else {
    static_assert(std::is_integral_v<T>, "no array class holds this type");
    constexpr bool isSigned = std::is_signed_v<T>;
    if constexpr (sizeof(T) == 1)
      return isSigned ? ArrayClass::Int8 : ArrayClass::Uint8;
    else if constexpr (sizeof(T) == 2)
      return isSigned ? ArrayClass::Int16 : ArrayClass::Uint16;
    else if constexpr (sizeof(T) == 4)
      return isSigned ? ArrayClass::Int32 : ArrayClass::Uint32;
    else
      return isSigned ? ArrayClass::Int64 : ArrayClass::Uint64;
  }
}

/// Calls `visitor(T{})` with a value of the element type of `arrayClass`, which must be numeric, logical or
/// char.
template <class Visitor>
decltype(auto) visitElementType(ArrayClass arrayClass, Visitor&& visitor) {
  switch (arrayClass) {
    case ArrayClass::Single: return visitor(float{});
    case ArrayClass::Int8: return visitor(std::int8_t{});
    case ArrayClass::Uint8: return visitor(std::uint8_t{});
    case ArrayClass::Int16: return visitor(std::int16_t{});
    case ArrayClass::Uint16: return visitor(std::uint16_t{});
    case ArrayClass::Int32: return visitor(std::int32_t{});
    case ArrayClass::Uint32: return visitor(std::uint32_t{});
    case ArrayClass::Int64: return visitor(std::int64_t{});
    case ArrayClass::Uint64: return visitor(std::uint64_t{});
    case ArrayClass::Logical: return visitor(bool{});
    case ArrayClass::Char: return visitor(char{});
    default: return visitor(double{});
  }
}

}  // namespace tessel
