#include "tessel/array.h"

#include <unistd.h>

#include <algorithm>
#include <cassert>
#include <cstring>
#include <iterator>
#include <new>
#include <utility>

#include "tessel/messages.h"
#include "tessel/objects.h"
#include "tessel/runtime/arraydata.h"
#include "tessel/runtime/convert.h"
#include "tessel/runtime/dispatch.h"

namespace tessel {

namespace {

const Dimensions kNoElements{0, 0};
const Dimensions kOneElement{1, 1};

[[noreturn]] void raiseTooLarge() {
  raiseError("Tessel:arrayTooLarge", "The array would have more elements than memory can hold.");
}

bool holdsBytes(ArrayClass arrayClass) { return arrayClass <= ArrayClass::Char; }

[[noreturn]] void raiseWrongClass(const HostArray& array, const char* wanted) {
  raiseError("Tessel:wrongClass",
             "A " + std::string(wanted) + " array is needed, not one of class '" + array.className() + "'.");
}

/// The part of an array's content that its class has, or the error that names the class wanted.
template <class Content, class Data>
auto& contentOf(const HostArray& array, Data* data, const char* wanted) {
  auto* content = data == nullptr ? nullptr : std::get_if<Content>(&data->content);
  if (content == nullptr) raiseWrongClass(array, wanted);
  return *content;
}

}  // namespace

FunctionValue::~FunctionValue() = default;

Dimensions normalized(Dimensions dims) {
  if (dims.size() < 2) dims.resize(2, 1);
  while (dims.size() > 2 && dims.back() == 1) dims.pop_back();
  return dims;
}

std::size_t elementCount(const Dimensions& dims) {
  std::size_t count = 1;
  bool isTooLarge = false, isEmpty = false;
  for (std::size_t d : dims) {
    isTooLarge |= __builtin_mul_overflow(count, d, &count);
    isEmpty |= d == 0;
  }
  if (isEmpty) return 0;  // however large the other sizes are
  if (isTooLarge) raiseTooLarge();
  return count;
}

bool hasMemory(std::size_t count, std::size_t bytesEach) {
  static const std::size_t available =
      static_cast<std::size_t>(sysconf(_SC_PHYS_PAGES)) * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  return count <= available / bytesEach;
}

void requireMemory(std::size_t count, std::size_t bytesEach) {
  if (!hasMemory(count, bytesEach)) raiseTooLarge();
}

std::size_t elementSize(ArrayClass arrayClass) {
  return visitElementType(arrayClass, [](auto zero) { return sizeof zero; });
}

/// Contents whose destruction waits until those that hold them are gone, as a list: it needs no destructor
/// itself, so that arrays in static objects may be destroyed after everything else of their thread.
struct HostArray::Data::Doomed {
  struct Node {
    Content content;
    Node* next;
  };
  unsigned depth;
  Node* first;
};

// Arrays may hold arrays so many levels deep that destructors calling each other would use up the stack: beyond
// a few levels contents wait in a list for the outermost destructor. Without memory for a node of it, they
// recurse.
HostArray::Data::~Data() {
  constexpr unsigned kDeepest = 64;
  if (std::holds_alternative<NumericContent>(content)) return;
  static constinit thread_local Doomed waiting{};
  if (waiting.depth >= kDeepest) {
    if (auto* node = new (std::nothrow) Doomed::Node{{}, waiting.first}) {
      node->content = std::move(content);
      waiting.first = node;
      return;
    }
  }
  ++waiting.depth;
  content.emplace<FunctionContent>();
  while (waiting.depth == 1 && waiting.first != nullptr) {
    const std::unique_ptr<Doomed::Node> node(std::exchange(waiting.first, waiting.first->next));
    node->content.emplace<FunctionContent>();
  }
  --waiting.depth;
}

// Making arrays

HostArray HostArray::zeros(ArrayClass arrayClass, Dimensions dims, bool isComplex) {
  HostArray a = unset(arrayClass, std::move(dims), isComplex);
  if (a.data_ == nullptr) return a;
  auto& content = std::get<NumericContent>(a.data_->content);
  std::fill(content.real.begin(), content.real.end(), std::byte{0});
  std::fill(content.imag.begin(), content.imag.end(), std::byte{0});
  return a;
}

HostArray HostArray::unset(ArrayClass arrayClass, Dimensions dims, bool isComplex) {
  assert(holdsBytes(arrayClass));
  dims = normalized(std::move(dims));
  HostArray a;
  a.class_ = arrayClass;
  const std::size_t count = elementCount(dims);
  if (!isComplex && count <= 1 && (dims == kOneElement || dims == kNoElements)) {
    a.smallCount_ = static_cast<std::uint8_t>(count);
    return a;
  }
  const std::size_t bytesEach = elementSize(arrayClass);
  requireMemory(count, bytesEach);
  a.data_ = std::make_shared<Data>(std::move(dims), count, std::in_place_type<NumericContent>);
  auto& content = *std::get_if<NumericContent>(&a.data_->content);
  content.real = ElementBytes(count * bytesEach);
  content.isComplex = isComplex;
  if (isComplex) content.imag = ElementBytes(count * bytesEach);
  return a;
}

HostArray HostArray::adopt(ArrayClass arrayClass, Dimensions dims, std::shared_ptr<const void> owner,
                           const void* real, const void* imag) {
  assert(holdsBytes(arrayClass) && owner != nullptr);
  HostArray a;
  a.class_ = arrayClass;
  dims = normalized(std::move(dims));
  const std::size_t count = elementCount(dims);
  a.data_ = std::make_shared<Data>(std::move(dims), count, std::in_place_type<NumericContent>,
                                   NumericContent{{},
                                                  {},
                                                  imag != nullptr,
                                                  std::move(owner),
                                                  static_cast<const std::byte*>(real),
                                                  static_cast<const std::byte*>(imag)});
  return a;
}

HostArray HostArray::scalar(double value) { return scalarOf(value); }

HostArray HostArray::logical(bool value) { return scalarOf(value); }

HostArray HostArray::text(std::string_view text) {
  HostArray a = unset(ArrayClass::Char, text.empty() ? kNoElements : Dimensions{1, text.size()});
  std::copy(text.begin(), text.end(), a.mutableReal<char>());
  return a;
}

HostArray HostArray::charMatrix(const std::vector<std::string>& rows) {
  std::size_t longest = 0;
  for (const std::string& row : rows) longest = std::max(longest, row.size());
  HostArray a = zeros(ArrayClass::Char, {rows.size(), longest});
  char* chars = a.mutableReal<char>();
  std::fill_n(chars, a.numel(), ' ');
  for (std::size_t i = 0; i < rows.size(); ++i) {
    for (std::size_t j = 0; j < rows[i].size(); ++j) chars[j * rows.size() + i] = rows[i][j];
  }
  return a;
}

HostArray HostArray::cell(Dimensions dims) {
  HostArray a;
  a.class_ = ArrayClass::Cell;
  dims = normalized(std::move(dims));
  const std::size_t count = elementCount(dims);
  requireMemory(count, sizeof(HostArray));
  a.data_ = std::make_shared<Data>(std::move(dims), count, std::in_place_type<CellContent>, count);
  return a;
}

/// So many fields get their room at once.
constexpr std::size_t kFewFields = 4;

HostArray HostArray::structure(Dimensions dims, std::vector<std::string> fields) {
  HostArray a;
  a.class_ = ArrayClass::Struct;
  dims = normalized(std::move(dims));
  const std::size_t count = elementCount(dims);
  requireMemory(count, sizeof(HostArray) * std::max<std::size_t>(fields.size(), 1));
  StructContent content;
  content.values.reserve(std::max(fields.size(), kFewFields));
  for (std::size_t field = 0; field < fields.size(); ++field) content.values.emplace_back(count);
  fields.reserve(kFewFields);
  content.names = std::make_shared<FieldNames>(std::move(fields));
  a.data_ =
      std::make_shared<Data>(std::move(dims), count, std::in_place_type<StructContent>, std::move(content));
  return a;
}

HostArray HostArray::object(std::shared_ptr<HostObject> object) {
  if (object == nullptr) return objects({nullptr}, {1, 1});
  HostArray a;
  a.class_ = ArrayClass::Object;
  a.smallCount_ = 1;
  a.object_ = std::move(object);
  return a;
}

HostArray HostArray::objects(std::vector<std::shared_ptr<HostObject>> objects, Dimensions dims) {
  if (objects.size() == 1 && objects[0] != nullptr) return object(std::move(objects[0]));
  HostArray a;
  a.class_ = ArrayClass::Object;
  dims = normalized(std::move(dims));
  const std::size_t count = elementCount(dims);
  assert(count == objects.size());
  ObjectContent content;
  if (!objects.empty() && objects.front() != nullptr) content.hostClass = &objects.front()->hostClass();
  content.elements = std::move(objects);
  a.data_ =
      std::make_shared<Data>(std::move(dims), count, std::in_place_type<ObjectContent>, std::move(content));
  return a;
}

HostArray HostArray::function(std::shared_ptr<const FunctionValue> function) {
  HostArray a;
  a.class_ = ArrayClass::Function;
  a.data_ = std::make_shared<Data>(kOneElement, 1, std::in_place_type<FunctionContent>, std::move(function));
  return a;
}

// Class and sizes

const char* nameOf(ArrayClass arrayClass) {
  static constexpr const char* names[] = {"double", "single", "int8",   "uint8",          "int16",   "uint16",
                                          "int32",  "uint32", "int64",  "uint64",         "logical", "char",
                                          "cell",   "struct", "object", "function_handle"};
  return names[static_cast<std::size_t>(arrayClass)];
}

const HostClass* objectClass(const HostArray& array) {
  return array.isObject() ? ArrayAccess::hostClass(array) : nullptr;
}

std::string HostArray::className() const {
  const HostClass* hostClass = objectClass(*this);
  return hostClass != nullptr ? hostClass->qualifiedName() : nameOf(class_);
}

const Dimensions& HostArray::dims() const {
  if (data_ != nullptr) return data_->dims;
  return smallCount_ == 0 ? kNoElements : kOneElement;
}

std::size_t HostArray::dim(std::size_t d) const { return d < dims().size() ? dims()[d] : 1; }

std::size_t HostArray::storedCount() const { return data_->numel; }

bool HostArray::isVector() const { return dims().size() == 2 && numel() > 0 && (dim(0) == 1 || dim(1) == 1); }

bool HostArray::hasImaginaryParts() const {
  return holdsBytes(class_) && std::get<NumericContent>(data_->content).isComplex;
}

bool HostArray::isText() const { return isChar() && dims().size() == 2 && dim(0) <= 1; }

void HostArray::reshape(Dimensions dims) {
  dims = normalized(std::move(dims));
  if (dims == this->dims()) return;
  if (elementCount(dims) != numel()) {
    raiseError("Tessel:reshapeCount", "To reshape an array, the number of elements must not change.");
  }
  unshared().dims = std::move(dims);
}

// Storage

HostArray::Data& HostArray::unshared() {
  if (data_ == nullptr) {
    if (isObject()) {
      data_ = std::make_shared<Data>(dims(), smallCount_, std::in_place_type<ObjectContent>,
                                     ObjectContent{&object_->hostClass(), {object_}});
      object_.reset();
    } else {
      NumericContent content;
      content.real.assign(small_.begin(),
                          small_.begin() + static_cast<std::ptrdiff_t>(smallCount_ * elementSize(class_)));
      data_ =
          std::make_shared<Data>(dims(), smallCount_, std::in_place_type<NumericContent>, std::move(content));
    }
  } else if (data_.use_count() > 1) {
    data_ = std::make_shared<Data>(*data_);
  }
  if (auto* content = std::get_if<NumericContent>(&data_->content); content && content->owner) {
    const std::size_t size = data_->numel * elementSize(class_);
    content->real.assign(content->adoptedReal, content->adoptedReal + size);
    if (content->isComplex) content->imag.assign(content->adoptedImag, content->adoptedImag + size);
    content->owner.reset();
  }
  return *data_;
}

const void* HostArray::realData() const {
  if (data_ == nullptr && holdsBytes(class_)) return small_.data();
  return contentOf<NumericContent>(*this, data_.get(), "numeric").realBytes();
}

const void* HostArray::imagData() const {
  if (!isComplex()) return nullptr;
  return std::get<NumericContent>(data_->content).imagBytes();
}

void* HostArray::mutableRealData() {
  if (data_ == nullptr && holdsBytes(class_)) return small_.data();
  return contentOf<NumericContent>(*this, &unshared(), "numeric").real.data();
}

void* HostArray::mutableImagData() {
  auto& content = contentOf<NumericContent>(*this, &unshared(), "numeric");
  if (!content.isComplex) {
    content.imag.resize(content.real.size(), std::byte{0});
    content.isComplex = true;
  }
  return content.imag.data();
}

void HostArray::makeReal() {
  if (!isComplex()) return;
  auto& content = std::get<NumericContent>(unshared().content);
  content.isComplex = false;
  content.imag = {};
}

// Values

double HostArray::realAt(std::size_t i) const {
  assert(i < numel());
  return visitElementType(class_, [&](auto zero) { return convertElement<double>(real<decltype(zero)>()[i]); });
}

double HostArray::imagAt(std::size_t i) const {
  assert(i < numel());
  if (!isComplex()) return 0;
  return visitElementType(class_, [&](auto zero) { return convertElement<double>(imag<decltype(zero)>()[i]); });
}

double HostArray::scalarValue() const {
  if (numel() != 1 || isComplex() || !holdsBytes(class_)) {
    raiseError("Tessel:mustBeScalar", "The value must be a real scalar.");
  }
  return realAt(0);
}

std::string HostArray::toText() const {
  if (!isText()) raiseError("Tessel:mustBeText", "The value must be a text.");
  return {real<char>(), numel()};
}

std::vector<std::string> HostArray::textRows() const {
  if (!isChar() || dims().size() > 2) raiseError("Tessel:mustBeText", "The value must be a char matrix.");
  std::vector<std::string> rows(dim(0), std::string(dim(1), ' '));
  const char* chars = real<char>();
  for (std::size_t i = 0; i < numel(); ++i) rows[i % dim(0)][i / dim(0)] = chars[i];
  return rows;
}

// Cells, structures, objects, functions

const HostArray& HostArray::cellAt(std::size_t i) const {
  const auto& cells = contentOf<CellContent>(*this, data_.get(), "cell");
  assert(i < cells.size());
  return cells[i];
}

HostArray& HostArray::mutableCellAt(std::size_t i) {
  auto& cells = contentOf<CellContent>(*this, &unshared(), "cell");
  assert(i < cells.size());
  return cells[i];
}

const std::vector<std::string>& HostArray::fieldNames() const {
  return *contentOf<StructContent>(*this, data_.get(), "structure").names;
}

bool HostArray::hasField(std::string_view field) const {
  return isStruct() && std::ranges::find(fieldNames(), field) != fieldNames().end();
}

const HostArray* HostArray::findField(std::string_view field, std::size_t i) const {
  if (!isStruct()) return nullptr;
  const auto& content = std::get<StructContent>(data_->content);
  const std::size_t row = content.rowOf(field);
  if (row == content.names->size()) return nullptr;
  assert(i < numel());
  return &content.values[row][i];
}

const HostArray& HostArray::fieldAt(std::string_view field, std::size_t i) const {
  if (!isStruct()) raiseWrongClass(*this, "structure");
  const HostArray* value = findField(field, i);
  if (value == nullptr) {
    raiseError("Tessel:nonExistentField", "Reference to non-existent field '" + std::string(field) + "'.");
  }
  return *value;
}

HostArray& HostArray::mutableFieldAt(std::string_view field, std::size_t i) {
  assert(i < numel());
  return ArrayAccess::addField(*this, field)[i];
}

void HostArray::removeField(std::string_view field) {
  if (!hasField(field)) {
    raiseError("Tessel:nonExistentField", "Reference to non-existent field '" + std::string(field) + "'.");
  }
  auto& content = std::get<StructContent>(unshared().content);
  const auto row = static_cast<std::ptrdiff_t>(content.rowOf(field));
  FieldNames names = *content.names;
  names.erase(names.begin() + row);
  content.names = std::make_shared<FieldNames>(std::move(names));
  content.values.erase(content.values.begin() + row);
}

const std::shared_ptr<HostObject>& HostArray::objectAt(std::size_t i) const {
  if (object_ != nullptr) {
    assert(i == 0);
    return object_;
  }
  const auto& content = contentOf<ObjectContent>(*this, data_.get(), "object");
  assert(i < content.elements.size());
  return content.elements[i];
}

HostObject& HostArray::mutableObject() {
  if (object_ == nullptr) {
    const auto& content = contentOf<ObjectContent>(*this, data_.get(), "object");
    if (content.elements.size() != 1) raiseError("Tessel:mustBeScalar", "The value must be one object.");
    *this = object(content.elements[0]);
  }
  if (object_->hostClass().isValueClass() && object_.use_count() > 1) object_ = object_->clone();
  return *object_;
}

const std::shared_ptr<const FunctionValue>& HostArray::functionValue() const {
  return contentOf<FunctionContent>(*this, data_.get(), "function");
}

// For the runtime's kernels

HostArray ArrayAccess::filled(const HostArray& like, Dimensions dims) {
  switch (like.arrayClass()) {
    case ArrayClass::Cell: return HostArray::cell(std::move(dims));
    case ArrayClass::Struct: return HostArray::structure(std::move(dims), like.fieldNames());
    case ArrayClass::Object: {
      const std::size_t count = elementCount(dims);
      requireMemory(count, sizeof(std::shared_ptr<HostObject>));
      HostArray a = HostArray::objects(std::vector<std::shared_ptr<HostObject>>(count), std::move(dims));
      std::get<ObjectContent>(a.data_->content).hostClass = hostClass(like);
      return a;
    }
    default: break;
  }
  HostArray a = HostArray::zeros(like.arrayClass(), std::move(dims), like.isComplex());
  if (a.isChar()) std::fill_n(a.mutableReal<char>(), a.numel(), ' ');
  return a;
}

void ArrayAccess::extend(HostArray& array, Dimensions dims) {
  dims = normalized(std::move(dims));
  const std::size_t count = elementCount(dims);
  const std::size_t bytesEach = holdsBytes(array.class_) ? elementSize(array.class_) : sizeof(HostArray);
  requireMemory(count, bytesEach);
  HostArray::Data& data = array.unshared();
  if (auto* numeric = std::get_if<NumericContent>(&data.content)) {
    numeric->real.resize(count * bytesEach, array.isChar() ? std::byte{' '} : std::byte{0});
    if (numeric->isComplex) numeric->imag.resize(count * bytesEach, std::byte{0});
  } else if (auto* cells = std::get_if<CellContent>(&data.content)) {
    cells->resize(count);
  } else if (auto* fields = std::get_if<StructContent>(&data.content)) {
    for (auto& values : fields->values) values.resize(count);
  } else {
    std::get<ObjectContent>(data.content).elements.resize(count);
  }
  data.numel = count;
  data.dims = std::move(dims);
}

std::shared_ptr<HostObject>* ArrayAccess::mutableObjects(HostArray& array) {
  return std::get<ObjectContent>(array.unshared().content).elements.data();
}

const std::shared_ptr<HostObject>* ArrayAccess::objects(const HostArray& array) {
  if (array.object_ != nullptr) return &array.object_;
  return std::get<ObjectContent>(array.data_->content).elements.data();
}

const HostClass* ArrayAccess::hostClass(const HostArray& objects) {
  if (objects.object_ != nullptr) return &objects.object_->hostClass();
  return std::get<ObjectContent>(objects.data_->content).hostClass;
}

StructContent& ArrayAccess::fields(HostArray& structure) {
  return std::get<StructContent>(structure.unshared().content);
}

std::vector<HostArray>& ArrayAccess::addField(HostArray& structure, std::string_view name) {
  auto& content = contentOf<StructContent>(structure, &structure.unshared(), "structure");
  const std::size_t row = content.rowOf(name);
  if (row == content.names->size()) {
    if (content.names.use_count() > 1) content.names = std::make_shared<FieldNames>(*content.names);
    content.names->emplace_back(name);
    try {
      content.values.emplace_back(structure.numel());
    } catch (...) {
      content.names->pop_back();
      throw;
    }
  }
  return content.values[row];
}

void ArrayAccess::orderFields(HostArray& structure, const std::vector<std::string>& names) {
  if (structure.fieldNames() == names) return;
  auto& content = std::get<StructContent>(structure.unshared().content);
  StructContent ordered{std::make_shared<FieldNames>(names), {}};
  ordered.values.reserve(names.size());
  for (const std::string& name : names)
    ordered.values.push_back(std::move(content.values[content.rowOf(name)]));
  content = std::move(ordered);
}

}  // namespace tessel
