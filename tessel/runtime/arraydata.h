/// The storage behind HostArray, for the runtime's own kernels.
#pragma once

#include <algorithm>
#include <cstddef>
#include <limits>
#include <memory>
#include <new>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "tessel/array.h"
#include "tessel/memory.h"

namespace tessel {

class HostClass;

/// Takes the bytes of a vector from the memory for elements; those that are given no value are left as they
/// lie.
template <class Byte>
struct ElementAllocator {
  using value_type = Byte;
  Byte* allocate(std::size_t count) {
    void* start = allocateElements(count, false);
    if (start == nullptr) throw std::bad_alloc();
    return static_cast<Byte*>(start);
  }
  void deallocate(Byte* start, std::size_t count) noexcept { freeElements(start, count); }
  void construct(Byte* place) noexcept { ::new (place) Byte; }
  bool operator==(const ElementAllocator&) const = default;
};
using ElementBytes = std::vector<std::byte, ElementAllocator<std::byte>>;

struct NumericContent {
  ElementBytes real, imag;  ///< `imag` is empty for a real array
  bool isComplex = false;
  /// What keeps elements alive that the array only reads; null where they are its own.
  std::shared_ptr<const void> owner = nullptr;
  const std::byte *adoptedReal = nullptr, *adoptedImag = nullptr;

  const std::byte* realBytes() const { return owner ? adoptedReal : real.data(); }
  const std::byte* imagBytes() const { return owner ? adoptedImag : imag.data(); }
};
using FieldNames = std::vector<std::string>;
/// Where a name of a field stood last: the same names are most often asked again.
struct FieldPlace {
  std::shared_ptr<const FieldNames> names;
  std::size_t row = 0;  ///< kNoRow: nowhere
};
inline constexpr std::size_t kNoRow = std::numeric_limits<std::size_t>::max();
struct StructContent {
  std::shared_ptr<FieldNames> names;           ///< changed only where nobody shares them
  std::vector<std::vector<HostArray>> values;  ///< one row a name, one entry an element

  /// The row of a name; their count where there is none.
  std::size_t rowOf(std::string_view name) const {
    return static_cast<std::size_t>(std::ranges::find(*names, name) - names->begin());
  }
  /// Where the name stands among these.
  [[gnu::noinline]] void findRow(std::string_view name, FieldPlace& place) const {
    const std::size_t row = rowOf(name);
    place.names = names;
    place.row = row == names->size() ? kNoRow : row;
  }
};
struct ObjectContent {
  const HostClass* hostClass = nullptr;  ///< null when never known
  std::vector<std::shared_ptr<HostObject>> elements;
};
using CellContent = std::vector<HostArray>;
using FunctionContent = std::shared_ptr<const FunctionValue>;

struct HostArray::Data {
  using Content = std::variant<NumericContent, CellContent, StructContent, ObjectContent, FunctionContent>;

  Dimensions dims;
  std::size_t numel = 0;
  Content content;

  /// With content of the alternative `Held`, made of what follows.
  template <class Held, class... Parts>
  Data(Dimensions sizes, std::size_t count, std::in_place_type_t<Held> held, Parts&&... parts)
      : dims(std::move(sizes)), numel(count), content(held, std::forward<Parts>(parts)...) {}
  Data(const Data&) = default;
  Data& operator=(const Data&) = delete;
  /// However deep arrays are nested, destroying them takes little of the stack.
  ~Data();

 private:
  struct Doomed;
};

/// Sizes with at least two entries and no trailing ones beyond the second.
Dimensions normalized(Dimensions dims);
/// The product of the sizes. Raises "Tessel:arrayTooLarge" when it does not fit.
std::size_t elementCount(const Dimensions& dims);
/// Whether the machine's memory could hold `count` things of `bytesEach`.
bool hasMemory(std::size_t count, std::size_t bytesEach);
/// Raises "Tessel:arrayTooLarge" when `count` things of `bytesEach` exceed the machine's memory.
void requireMemory(std::size_t count, std::size_t bytesEach);
/// Bytes of one element of a numeric class, logical or char.
std::size_t elementSize(ArrayClass arrayClass);

/// What kernels over all classes need beyond the public interface.
struct ArrayAccess {
  /// An array of the class, fields, class of objects and complexity of `like`: zero, false, blank, empty, null
  /// objects.
  static HostArray filled(const HostArray& like, Dimensions dims);
  /// Changes the sizes in place so that the elements that are there keep their linear positions; new elements
  /// are as `filled` makes them. Repeated growth costs constant time an element. Not for function values.
  static void extend(HostArray& array, Dimensions dims);
  /// Objects for writing, null ones allowed.
  static std::shared_ptr<HostObject>* mutableObjects(HostArray& array);
  static const std::shared_ptr<HostObject>* objects(const HostArray& array);
  /// The class of an object array; null when never known.
  static const HostClass* hostClass(const HostArray& objects);
  /// The fields of a structure array for writing.
  static StructContent& fields(HostArray& structure);
  /// A field of a single structure; null where there is none.
  static const HostArray* findField(const HostArray& array, std::string_view name, FieldPlace& last) {
    if (array.class_ != ArrayClass::Struct || array.data_->numel != 1) return nullptr;
    const auto* content = std::get_if<StructContent>(&array.data_->content);
    if (last.names != content->names) content->findRow(name, last);
    return last.row == kNoRow ? nullptr : content->values[last.row].data();
  }
  /// The same for writing.
  static HostArray* findMutableField(HostArray& array, std::string_view name, FieldPlace& last) {
    if (array.isStruct() && isShared(array)) array.unshared();
    return const_cast<HostArray*>(findField(array, name, last));
  }
  /// The elements on the heap of an array of real doubles; none of other arrays.
  static std::span<const double> realDoubles(const HostArray& array) {
    if (array.class_ != ArrayClass::Double || !array.data_) return {};
    const auto& content = *std::get_if<NumericContent>(&array.data_->content);
    if (content.isComplex) return {};
    return {reinterpret_cast<const double*>(content.realBytes()), array.data_->numel};
  }
  /// The same for writing; unshares them first.
  static std::span<double> mutableRealDoubles(HostArray& array) {
    if (realDoubles(array).empty()) return {};
    auto* content = std::get_if<NumericContent>(&array.data_->content);
    if (isShared(array) || content->owner) content = std::get_if<NumericContent>(&array.unshared().content);
    return {reinterpret_cast<double*>(content->real.data()), array.data_->numel};
  }
  /// Whether another array has the same storage, so that writing would have to copy it.
  static bool isShared(const HostArray& array) { return array.data_.use_count() > 1; }
  /// The values of a field, one an element. Adds the field, with empty arrays, where the structure array, which
  /// may be empty, lacks it.
  static std::vector<HostArray>& addField(HostArray& structure, std::string_view name);
  /// Puts the fields in the order of `names`, which must be the same set.
  static void orderFields(HostArray& structure, const std::vector<std::string>& names);
};

/// Calls `kernel(T* to, const T* from)` for each pair of element buffers of two arrays of one class: the real
/// and the imaginary parts, the cells, each field (which must be in one order), the objects. Imaginary parts
/// that `from` lacks are left out; `to` must have those that `from` has. Neither array may be a function value.
template <class Kernel>
void forEachBuffer(HostArray& to, const HostArray& from, Kernel&& kernel) {
  if (to.isEmpty() || from.isEmpty()) return;
  switch (to.arrayClass()) {
    case ArrayClass::Cell: kernel(&to.mutableCellAt(0), &from.cellAt(0)); break;
    case ArrayClass::Struct:
      for (const std::string& name : to.fieldNames()) kernel(&to.mutableFieldAt(name), &from.fieldAt(name));
      break;
    case ArrayClass::Object: kernel(ArrayAccess::mutableObjects(to), ArrayAccess::objects(from)); break;
    default:
      visitElementType(to.arrayClass(), [&](auto zero) {
        using T = decltype(zero);
        kernel(to.mutableReal<T>(), from.real<T>());
        if (from.isComplex()) kernel(to.mutableImag<T>(), from.imag<T>());
      });
  }
}

}  // namespace tessel
