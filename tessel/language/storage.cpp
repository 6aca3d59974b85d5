#include "tessel/language/storage.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>

#include <fmt/format.h>
#include "tessel/language/function_values.h"
#include "tessel/language/parser.h"
#include "tessel/messages.h"
#include "tessel/objects.h"
#include "tessel/runtime/arraydata.h"

namespace tessel {
namespace {

static_assert(std::endian::native == std::endian::little, "numbers are written as they lie in memory");

constexpr std::string_view kMagic = "TesselV1";
/// Values in values; what walks them needs stack for each level.
constexpr int kMaxDepth = 500;

std::uint64_t checksum(std::string_view bytes) {
  std::uint64_t sum = 0xcbf29ce484222325;
  for (const char byte : bytes) sum = (sum ^ static_cast<unsigned char>(byte)) * 0x100000001b3;
  return sum;
}

[[noreturn]] void raiseCannotSave(const std::string& reason) {
  raiseError("Tessel:cannotSave", fmt::format("This value cannot be saved: {}.", reason));
}

class Writer {
 public:
  void text(std::string_view text) {
    count(text.size());
    bytes_ += text;
  }

  void value(const HostArray& array) {
    if (++depth_ > kMaxDepth) raiseCannotSave("it is nested too deeply");
    bytes_ += static_cast<char>(array.arrayClass());
    count(array.dims().size());
    for (const std::size_t size : array.dims()) count(size);
    switch (array.arrayClass()) {
      case ArrayClass::Cell:
        for (std::size_t k = 0; k < array.numel(); ++k) value(array.cellAt(k));
        break;
      case ArrayClass::Struct: structure(array); break;
      case ArrayClass::Object: objects(array); break;
      case ArrayClass::Function: function(*array.functionValue()); break;
      default: numbers(array);
    }
    --depth_;
  }

  std::string take() { return std::move(bytes_); }

 private:
  void raw(const void* from, std::size_t count) { bytes_.append(static_cast<const char*>(from), count); }
  void count(std::uint64_t number) { raw(&number, sizeof number); }

  void numbers(const HostArray& array) {
    bytes_ += array.isComplex() ? '\1' : '\0';
    const std::size_t size = array.numel() * elementSize(array.arrayClass());
    if (size == 0) return;
    raw(array.realData(), size);
    if (array.isComplex()) raw(array.imagData(), size);
  }

  void structure(const HostArray& array) {
    count(array.fieldNames().size());
    for (const std::string& name : array.fieldNames()) text(name);
    for (const std::string& name : array.fieldNames())
      for (std::size_t k = 0; k < array.numel(); ++k) value(array.fieldAt(name, k));
  }

  void objects(const HostArray& array) {
    text(array.className());
    for (std::size_t k = 0; k < array.numel(); ++k) {
      const auto& object = array.objectAt(k);
      const auto persistence = object ? object->hostClass().persistence() : std::nullopt;
      if (!persistence) raiseCannotSave(fmt::format("objects of class '{}' are not kept", array.className()));
      value(persistence->state(*object));
    }
  }

  void function(const FunctionValue& function) {
    text(function.text());
    const auto* anonymous = dynamic_cast<const AnonymousFunctionValue*>(&function);
    const auto* named = dynamic_cast<const NamedFunctionValue*>(&function);
    if ((named && named->local()) || (!named && !anonymous))
      raiseCannotSave(fmt::format("only its file knows the function {}", function.text()));
    text(anonymous ? anonymous->code()->file : "");
    count(anonymous ? anonymous->captures().size() : 0);
    if (!anonymous) return;
    for (const auto& capture : anonymous->captures()) {
      text(anonymous->code()->symbols->names()[capture.slot]);
      value(capture.value.toArray());
    }
  }

  std::string bytes_;
  int depth_ = 0;
};

class Reader {
 public:
  Reader(std::string_view bytes, const std::string& file) : bytes_(bytes), file_(file) {}

  bool isAtEnd() const { return bytes_.empty(); }
  std::string text() { return std::string(take(count(1))); }

  HostArray value() {
    if (++depth_ > kMaxDepth) fail();
    const auto arrayClass = static_cast<ArrayClass>(take(1)[0]);
    const Dimensions dims = sizes();
    HostArray array = content(arrayClass, dims);
    --depth_;
    return array;
  }

  [[noreturn]] void fail() const {
    raiseError("Tessel:badFile", fmt::format("File '{}' holds no variables, or is damaged.", file_));
  }

 private:
  std::string_view take(std::size_t length) {
    if (length > bytes_.size()) fail();
    const std::string_view taken = bytes_.substr(0, length);
    bytes_.remove_prefix(length);
    return taken;
  }
  /// How many things follow, of at least so many bytes each.
  std::size_t count(std::size_t bytesEach) {
    std::uint64_t number = 0;
    std::memcpy(&number, take(sizeof number).data(), sizeof number);
    if (number > bytes_.size() / bytesEach) fail();
    return number;
  }
  std::uint64_t number() {
    std::uint64_t value = 0;
    std::memcpy(&value, take(sizeof value).data(), sizeof value);
    return value;
  }

  Dimensions sizes() {
    Dimensions dims(count(sizeof(std::uint64_t)));
    if (dims.size() < 2) fail();
    for (std::size_t& size : dims) size = number();
    return dims;
  }
  /// Raises where so many elements, of at least one byte each, cannot follow.
  std::size_t elementsOf(const Dimensions& dims, std::size_t bytesEach = 1) const {
    const std::size_t elements = elementCount(dims);
    if (elements > bytes_.size() / bytesEach) fail();
    return elements;
  }

  HostArray content(ArrayClass arrayClass, const Dimensions& dims) {
    switch (arrayClass) {
      case ArrayClass::Cell: {
        const std::size_t elements = elementsOf(dims);
        HostArray cell = HostArray::cell(dims);
        for (std::size_t k = 0; k < elements; ++k) cell.mutableCellAt(k) = value();
        return cell;
      }
      case ArrayClass::Struct: return structure(dims);
      case ArrayClass::Object: return objects(dims);
      case ArrayClass::Function: return function();
      default: return numbers(arrayClass, dims);
    }
  }

  HostArray numbers(ArrayClass arrayClass, const Dimensions& dims) {
    if (arrayClass > ArrayClass::Char) fail();
    const bool isComplex = take(1)[0] != 0;
    const std::size_t bytesEach = elementSize(arrayClass), size = elementsOf(dims, bytesEach) * bytesEach;
    if (isComplex && arrayClass > ArrayClass::Uint64) fail();
    HostArray array = HostArray::zeros(arrayClass, dims, isComplex);
    const auto fill = [&](void* to) {
      const std::string_view bytes = take(size);
      const bool isTruth = arrayClass == ArrayClass::Logical;
      if (isTruth && std::ranges::any_of(bytes, [](char c) { return c != 0 && c != 1; })) fail();
      if (size > 0) std::memcpy(to, bytes.data(), size);
    };
    fill(array.mutableRealData());
    if (isComplex) fill(array.mutableImagData());
    return array;
  }

  HostArray structure(const Dimensions& dims) {
    std::vector<std::string> names(count(sizeof(std::uint64_t)));
    for (std::string& name : names) name = text();
    const std::size_t elements = names.empty() ? elementCount(dims) : elementsOf(dims);
    HostArray array = HostArray::structure(dims, names);
    for (const std::string& name : names)
      for (std::size_t k = 0; k < elements; ++k) array.mutableFieldAt(name, k) = value();
    return array;
  }

  HostArray objects(const Dimensions& dims) {
    const std::string name = text();
    const HostClass* hostClass = findClass(name);
    if (!hostClass || !hostClass->persistence())
      raiseError("Tessel:noSuchClass",
                 fmt::format("File '{}' has objects of class '{}', which is not known here.", file_, name));
    std::vector<std::shared_ptr<HostObject>> objects(elementsOf(dims));
    for (auto& object : objects) object = hostClass->persistence()->restored(value()).objectAt();
    return objects.size() == 1 ? HostArray::object(objects[0]) : HostArray::objects(std::move(objects), dims);
  }

  HostArray function() {
    const std::string source = text(), file = text();
    std::vector<NamedArray> values(count(2 * sizeof(std::uint64_t)));
    for (NamedArray& each : values) {
      each.name = text();
      each.value = value();
    }
    SymbolTable variables;
    const Program program = parsed(source, file, variables);
    const auto* statement = program.statements.size() == 1
                                ? std::get_if<ExpressionStatement>(&program.statements[0].node)
                                : nullptr;
    if (!statement) fail();
    const auto& node = statement->expression->node;
    if (const auto* named = std::get_if<NamedHandle>(&node))
      return HostArray::function(std::make_shared<NamedFunctionValue>(named->name));
    const auto* anonymous = std::get_if<AnonymousFunction>(&node);
    if (!anonymous) fail();
    std::vector<AnonymousFunctionValue::Capture> captures;
    for (const auto& capture : anonymous->captures) {
      const std::string& name = variables.names()[capture.outerSlot];
      const auto found = std::ranges::find(values, name, &NamedArray::name);
      if (found != values.end()) captures.push_back({capture.innerSlot, Value(found->value)});
    }
    return HostArray::function(std::make_shared<AnonymousFunctionValue>(anonymous->code, std::move(captures)));
  }

  Program parsed(const std::string& source, const std::string& file, SymbolTable& variables) const {
    try {
      return parseProgram(source, file, variables, 1);
    } catch (const SyntaxError&) {
      fail();
    }
  }

  std::string_view bytes_;
  const std::string& file_;
  int depth_ = 0;
};

}  // namespace

std::string storedVariables(std::span<const NamedArray> variables) {
  Writer writer;
  for (const NamedArray& variable : variables) {
    writer.text(variable.name);
    writer.value(variable.value);
  }
  const std::string content = writer.take();
  const std::uint64_t sum = checksum(content);
  std::string file(kMagic);
  file.append(reinterpret_cast<const char*>(&sum), sizeof sum);
  return file += content;
}

std::vector<NamedArray> restoredVariables(std::string_view content, const std::string& file) {
  constexpr std::size_t kHeader = kMagic.size() + sizeof(std::uint64_t);
  std::uint64_t sum = 0;
  Reader reader(content.substr(std::min(content.size(), kHeader)), file);
  if (content.size() < kHeader || !content.starts_with(kMagic)) reader.fail();
  std::memcpy(&sum, content.data() + kMagic.size(), sizeof sum);
  if (sum != checksum(content.substr(kHeader))) reader.fail();
  std::vector<NamedArray> variables;
  while (!reader.isAtEnd()) {
    std::string name = reader.text();
    variables.push_back({std::move(name), reader.value()});
  }
  return variables;
}

}  // namespace tessel
