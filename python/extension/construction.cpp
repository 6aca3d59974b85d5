#include "python/extension/construction.h"

#include <charconv>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "python/extension/calls.h"
#include "python/extension/convert.h"
#include "python/extension/names.h"
#include "python/extension/object.h"
#include "tessel/interpreter.h"
#include "tessel/registries.h"

namespace face {

namespace {

/// The numbers of a short name such as "s16,15", "u8" or "s16,0.1,2" behind its letter; nothing for other
/// texts.
std::vector<double> numbersOfShortName(std::string_view text) {
  if (text.size() < 2 || (text[0] != 's' && text[0] != 'u')) return {};
  std::vector<double> numbers;
  const char *at = text.data() + 1, *const end = text.data() + text.size();
  while (true) {
    const auto [behind, error] = std::from_chars(at, end, numbers.emplace_back());
    if (error != std::errc() || numbers.size() > 3) return {};
    if (behind == end) return numbers;
    if (*behind != ',') return {};
    at = behind + 1;
  }
}

/// The numeric type that a short name stands for, if the text is one.
std::optional<HostArray> typeOfShortName(const std::string& text) {
  static std::unordered_map<std::string, HostArray> known;
  if (const auto found = known.find(text); found != known.end()) return found->second;
  const std::vector<double> numbers = numbersOfShortName(text);
  if (numbers.empty()) return std::nullopt;
  Arrays arguments = tessel::arraysOf(HostArray::logical(text[0] == 's'));
  for (const double number : numbers) arguments.push_back(HostArray::scalar(number));
  HostArray type =
      called([&] { return std::move(tessel::callBuiltin("numerictype", std::move(arguments)).at(0)); });
  known.emplace(text, type);
  return type;
}

/// Where keywords of a class are looked up: its own properties; those of an array's type and settings for an
/// array.
std::vector<const HostClass*> classesOfKeywords(const HostClass& hostClass) {
  std::vector<const HostClass*> all{&hostClass};
  if (!hostClass.elementAccess()) return all;
  for (const char* part : {"embedded.fimath", "embedded.numerictype"}) all.push_back(tessel::findClass(part));
  return all;
}

const tessel::PropertyInfo& propertyOf(const HostClass& hostClass, const std::string& keyword) {
  std::vector<std::string> names;
  for (const HostClass* each : classesOfKeywords(hostClass)) {
    for (const tessel::PropertyInfo* property : each->properties()) {
      if (property->name == keyword || snakeCase(property->name) == keyword) return *property;
      names.push_back(snakeCase(property->name));
    }
  }
  raise("qfcore:unknownkeyword",
        "There is no property '" + keyword + "' of " + hostClass.name() + suggestion(keyword, names));
}

class Request {
 public:
  explicit Request(const HostClass& hostClass) : hostClass_(hostClass) {}

  void addPositional(py::handle value) {
    // Only functions take a type for its values; an object might keep the one that all short names share.
    if (PyUnicode_Check(value.ptr()) && tessel::findFunction(hostClass_.name())) {
      if (auto type = typeOfShortName(value.cast<std::string>())) {
        inputs_.push_back(std::move(*type));
        return;
      }
    }
    Argument argument = fromPython(value);
    if (inputs_.empty()) first_ = argument;
    inputs_.push_back(std::move(argument.array));
  }

  void addKeyword(const std::string& name, py::handle value) {
    // Values without a class of their own choose their type as doubles do, not by what happens to carry them.
    if (first_.isExact && inputs_.size() == 1) inputs_.push_back(sixteenBits());
    const tessel::PropertyInfo& property = propertyOf(hostClass_, name);
    inputs_.push_back(HostArray::text(property.name));
    inputs_.push_back(propertyValue(property, value));
  }

  HostArray made() {
    if (first_.isExact && inputs_.size() == 1) inputs_.push_back(sixteenBits());
    const tessel::FunctionInfo* function = tessel::findFunction(hostClass_.name());
    if (function == nullptr) return called([&] { return hostClass_.create(std::move(inputs_)); });
    return called([&] { return std::move(function->call(inputs_, 1).at(0)); });
  }

  int ndim() const { return first_.ndim; }

 private:
  static HostArray sixteenBits() {
    return std::move(
        tessel::callBuiltin("numerictype", tessel::arraysOf(HostArray::logical(true), HostArray::scalar(16)))
            .at(0));
  }

  const HostClass& hostClass_;
  Argument first_;
  Arrays inputs_;
};

}  // namespace

HostArray propertyValue(const tessel::PropertyInfo& property, py::handle value) {
  Argument argument = fromPython(value);
  const tessel::EnumeratedType* type = tessel::findEnumeratedType(property.type);
  if (type == nullptr || !argument.array.isText()) return std::move(argument.array);
  const std::string spelled = argument.array.toText();
  if (const std::string* text = textOf(*type, spelled)) return HostArray::text(*text);
  std::vector<std::string> texts;
  for (const auto& each : type->values) texts.push_back(each.first);
  raise("Tessel:invalidEnumValue",
        "Unknown value '" + spelled + "' of " + snakeCase(property.name) + suggestion(spelled, texts));
}

PyObject* construct(PyTypeObject* type, PyObject* arguments, PyObject* keywords) {
  return guarded<PyObject*>(nullptr, [&] {
    const HostClass& hostClass = hostClassOf(type);
    Request request(hostClass);
    for (const py::handle value : py::reinterpret_borrow<py::tuple>(arguments)) request.addPositional(value);
    if (keywords != nullptr) {
      for (const auto& [name, value] : py::reinterpret_borrow<py::dict>(keywords))
        request.addKeyword(name.cast<std::string>(), value);
    }
    HostArray object = request.made();
    const Shape made = shapeOf(object, -1);
    const int ndim = hostClass.elementAccess() ? dimensionsFor(made.dims, request.ndim()) : -1;
    return wrap(std::move(object), ndim).release().ptr();
  });
}

}  // namespace face
