#include "tessel/objects.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <limits>

#include "tessel/messages.h"
#include "tessel/registries.h"
#include "tessel/runtime/convert.h"
#include "tessel/runtime/dispatch.h"

namespace tessel {

namespace {

std::vector<std::unique_ptr<Package>>& packages() {
  static std::vector<std::unique_ptr<Package>> all;
  return all;
}

const std::string& nameOf(const PropertyInfo& property) { return property.name; }
const std::string& nameOf(const MethodInfo& method) { return method.function.name; }

template <class Row>
void addRow(NamedRows<Row>& table, Row row, const char* identifier, const HostClass& hostClass) {
  if (table.byName.contains(nameOf(row))) {
    raiseError(identifier, "Class '" + hostClass.qualifiedName() + "' has '" + nameOf(row) + "' already.");
  }
  const auto& added = table.rows.emplace_back(std::make_unique<Row>(std::move(row)));
  table.byName.emplace(nameOf(*added), added.get());
}

template <class Row>
const Row* findRow(const NamedRows<Row>& table, std::string_view name) {
  const auto found = table.byName.find(name);
  return found == table.byName.end() ? nullptr : found->second;
}

/// Appends the rows of a class behind those of its superclass; a row of the same name takes the place of the
/// older one.
template <class Row>
void appendRows(std::vector<const Row*>& all, const NamedRows<Row>& own) {
  for (const auto& row : own.rows) {
    const auto sameName = [&](const Row* other) { return nameOf(*other) == nameOf(*row); };
    const auto inherited = std::find_if(all.begin(), all.end(), sameName);
    if (inherited != all.end())
      *inherited = row.get();
    else
      all.push_back(row.get());
  }
}

// Values of properties

/// A property of a class whose value is being checked.
struct Target {
  const PropertyInfo& property;
  const HostClass& hostClass;
  std::string text() const {
    return "property '" + property.name + "' of class '" + hostClass.qualifiedName() + "'";
  }
};

[[noreturn]] void raiseInvalid(const Target& target, const std::string& wanted) {
  raiseError("Tessel:invalidPropertyValue", "The value of " + target.text() + " must be " + wanted + ".");
}

bool isRealNumberOrTruth(const HostArray& value) {
  return (value.isNumeric() || value.isLogical()) && !value.isComplex();
}

double realScalar(const Target& target, const HostArray& value, const std::string& wanted) {
  if (!isRealNumberOrTruth(value) || !value.isScalar()) raiseInvalid(target, wanted);
  return value.realAt(0);
}

HostArray checkedInt32(const Target& target, const HostArray& value) {
  static const std::string wanted = "a real integer from -2147483648 to 2147483647";
  const double number = realScalar(target, value, wanted);
  using Limits = std::numeric_limits<std::int32_t>;
  if (!(number >= Limits::min() && number <= Limits::max() && number == std::floor(number))) {
    raiseInvalid(target, wanted);
  }
  return HostArray::scalarOf(static_cast<std::int32_t>(number));
}

HostArray checkedDouble(const Target& target, const HostArray& value) {
  return HostArray::scalar(realScalar(target, value, "a real scalar"));
}

HostArray checkedBool(const Target& target, const HostArray& value) {
  static const std::string wanted = "true, false, 1 or 0";
  const double number = realScalar(target, value, wanted);
  if (number != 0 && number != 1) raiseInvalid(target, wanted);
  return HostArray::logical(number != 0);
}

HostArray checkedText(const Target& target, const HostArray& value) {
  if (!value.isText()) raiseInvalid(target, "a text");
  return value;
}

HostArray checkedPoint(const Target& target, const HostArray& value) {
  if (!isRealNumberOrTruth(value) || value.numel() != 2) raiseInvalid(target, "two real numbers");
  HostArray point = convertTo(value, ArrayClass::Double);
  point.reshape({1, 2});
  return point;
}

HostArray checkedEnumeration(const Target& target, const EnumeratedType& type, const HostArray& value) {
  const auto* row = value.isText() ? type.find(value.toText()) : nullptr;
  if (row != nullptr) return HostArray::text(row->first);
  std::string accepted;
  for (const auto& entry : type.values) accepted += (accepted.empty() ? "'" : ", '") + entry.first + "'";
  const std::string given =
      value.isText() ? "'" + value.toText() + "'" : "A value of class '" + value.className() + "'";
  std::vector<std::string> texts;
  for (const auto& entry : type.values) texts.push_back(entry.first);
  const std::string near = value.isText() ? suggestion(value.toText(), texts) : "";
  raiseError("Tessel:invalidEnumValue",
             given + " is not a value of " + target.text() + "." + near + " The values are " + accepted + ".");
}

HostArray checkedObject(const Target& target, const HostArray& value) {
  const HostClass* wanted = findClass(target.property.type);
  if (wanted == nullptr) {
    raiseError("Tessel:unknownPropertyType",
               "The type '" + target.property.type + "' of " + target.text() + " is not registered.");
  }
  const HostClass* given = objectClass(value);
  if (given == nullptr || !value.isScalar() || !given->isA(*wanted)) {
    if (const auto& error = wanted->mismatchError()) raiseError(error->identifier, error->text);
    raiseInvalid(target, "an object of class '" + wanted->qualifiedName() + "'");
  }
  return value;
}

HostArray checkedValue(const Target& target, const HostArray& value) {
  using Check = HostArray (*)(const Target&, const HostArray&);
  static constexpr std::pair<std::string_view, Check> checks[] = {
      {property_type::kArray, [](const Target&, const HostArray& any) { return any; }},
      {property_type::kInt32, checkedInt32},
      {property_type::kDouble, checkedDouble},
      {property_type::kBool, checkedBool},
      {property_type::kString, checkedText},
      {property_type::kRealPoint, checkedPoint},
  };
  for (const auto& [type, check] : checks) {
    if (type == target.property.type) return check(target, value);
  }
  if (const EnumeratedType* type = findEnumeratedType(target.property.type)) {
    return checkedEnumeration(target, *type, value);
  }
  return checkedObject(target, value);
}

std::vector<std::string> memberNames(const HostClass& hostClass) {
  std::vector<std::string> names;
  for (const PropertyInfo* property : hostClass.properties()) {
    if (!property->hidden) names.push_back(property->name);
  }
  for (const MethodInfo* method : hostClass.methods()) {
    if (!method->hidden) names.push_back(method->function.name);
  }
  return names;
}

/// The class of a scalar object and its property of that name.
Target requireProperty(const HostArray& object, std::string_view name) {
  const HostClass* hostClass = objectClass(object);
  if (hostClass == nullptr || !object.isScalar()) {
    raiseError("Tessel:mustBeScalar", "Property '" + std::string(name) +
                                          "' needs one object, not an array of class '" + object.className() +
                                          "' with " + std::to_string(object.numel()) + " elements.");
  }
  const PropertyInfo* property = hostClass->findProperty(name);
  if (property == nullptr) {
    raiseError("Tessel:noSuchProperty", "Class '" + hostClass->qualifiedName() + "' has no property '" +
                                            std::string(name) + "'." +
                                            suggestion(name, memberNames(*hostClass)));
  }
  return {*property, *hostClass};
}

}  // namespace

// Objects

HostObject::~HostObject() = default;

void HostObject::addListener(std::string property, Listener listener) {
  listeners_.push_back({std::move(property), std::move(listener)});
}

void HostObject::signalPropertyChange(std::string_view property) {
  const std::vector<Entry> current = listeners_;  // a listener may add others
  for (const Entry& entry : current) {
    if (entry.property.empty() || entry.property == property) entry.listener(*this, std::string(property));
  }
}

// Classes

std::uint64_t HostClass::tablesVersion_ = 0;

HostClass::HostClass(Package& package, std::string name, const HostClass* superclass)
    : package_(&package), name_(std::move(name)), superclass_(superclass) {
  ++tablesVersion_;
}

std::string HostClass::qualifiedName() const { return package_->name() + "." + name_; }

bool HostClass::isA(const HostClass& other) const {
  return this == &other || (superclass_ != nullptr && superclass_->isA(other));
}

HostArray HostClass::create(Arrays arguments) const {
  if (!factory_)
    raiseError("Tessel:abstractClass", "Class '" + qualifiedName() + "' has no instances of its own.");
  const auto takes = [&](const ConstructorSignature& signature) {
    const bool isOpen = !signature.empty() && signature.back() == property_type::kRest;
    return isOpen ? arguments.size() >= signature.size() - 1 : arguments.size() == signature.size();
  };
  if (!constructors_.empty() && std::none_of(constructors_.begin(), constructors_.end(), takes)) {
    if (argumentError_) raiseError(argumentError_->identifier, argumentError_->text);
    raiseTooManyInputs();
  }
  return HostArray::object(factory_(arguments));
}

void HostClass::addProperty(PropertyInfo property) {
  assert(property.get != nullptr);
  ++tablesVersion_;
  addRow(properties_, std::move(property), "Tessel:propertyExists", *this);
}

void HostClass::addMethod(MethodInfo method) {
  ++tablesVersion_;
  addRow(methods_, std::move(method), "Tessel:methodExists", *this);
}

const PropertyInfo* HostClass::findProperty(std::string_view name) const {
  const PropertyInfo* own = findRow(properties_, name);
  return own != nullptr || superclass_ == nullptr ? own : superclass_->findProperty(name);
}

const MethodInfo* HostClass::findMethod(std::string_view name) const {
  const MethodInfo* own = findRow(methods_, name);
  return own != nullptr || superclass_ == nullptr ? own : superclass_->findMethod(name);
}

const char* HostClass::findExample(std::string_view method) const {
  const char* example = tessel::findExample(name_ + "." + std::string(method));
  return example != nullptr || superclass_ == nullptr ? example : superclass_->findExample(method);
}

std::vector<const PropertyInfo*> HostClass::properties() const {
  auto all = superclass_ != nullptr ? superclass_->properties() : std::vector<const PropertyInfo*>{};
  appendRows(all, properties_);
  return all;
}

std::vector<const MethodInfo*> HostClass::methods() const {
  auto all = superclass_ != nullptr ? superclass_->methods() : std::vector<const MethodInfo*>{};
  appendRows(all, methods_);
  return all;
}

// Packages

HostClass& Package::createClass(std::string name, const HostClass* superclass) {
  if (findClass(name) != nullptr) {
    raiseError("Tessel:classExists", "Package '" + name_ + "' has a class '" + name + "' already.");
  }
  classes_.push_back(std::make_unique<HostClass>(*this, std::move(name), superclass));
  return *classes_.back();
}

HostClass* Package::findClass(std::string_view name) const {
  const auto found =
      std::find_if(classes_.begin(), classes_.end(), [&](const auto& each) { return each->name() == name; });
  return found == classes_.end() ? nullptr : found->get();
}

std::vector<const HostClass*> Package::classes() const {
  std::vector<const HostClass*> all;
  for (const auto& each : classes_) all.push_back(each.get());
  return all;
}

void Package::terminate() {
  // Objects and the program's tree go on naming their classes, so that these are forgotten but never freed.
  static std::vector<std::unique_ptr<HostClass>> forgotten;
  forgotten.reserve(forgotten.size() + classes_.size());
  std::move(classes_.begin(), classes_.end(), std::back_inserter(forgotten));
  classes_.clear();
}

std::vector<const HostClass*> allClasses() {
  std::vector<const HostClass*> all;
  for (const auto& package : packages())
    for (const HostClass* hostClass : package->classes()) all.push_back(hostClass);
  return all;
}

Package* findPackage(std::string_view name) {
  const auto found = std::find_if(packages().begin(), packages().end(),
                                  [&](const auto& each) { return each->name() == name; });
  return found == packages().end() ? nullptr : found->get();
}

Package& getPackage(std::string_view name) {
  if (Package* existing = findPackage(name)) return *existing;
  return *packages().emplace_back(std::make_unique<Package>(std::string(name)));
}

HostClass* findClass(std::string_view name) {
  const std::size_t dot = name.rfind('.');
  if (dot != std::string_view::npos) {
    const Package* package = findPackage(name.substr(0, dot));
    return package == nullptr ? nullptr : package->findClass(name.substr(dot + 1));
  }
  for (const auto& package : packages()) {
    if (HostClass* found = package->findClass(name)) return found;
  }
  return nullptr;
}

// Properties

HostArray getProperty(const HostArray& object, std::string_view name) {
  const Target target = requireProperty(object, name);
  return target.property.get(*object.objectAt());
}

void setProperty(HostArray& object, std::string_view name, const HostArray& value) {
  const Target target = requireProperty(object, name);
  if (!target.property.set) {
    const auto& [identifier, text] = target.property.readOnly;
    raiseError(identifier, text.empty() ? "The " + target.text() + " is read-only." : text);
  }
  const HostArray checked = checkedValue(target, value);
  target.property.set(object.mutableObject(), checked);
}

}  // namespace tessel
