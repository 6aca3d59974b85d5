/// The host's object system: packages, classes, properties, methods, instances, change events.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "tessel/api.h"
#include "tessel/array.h"
#include "tessel/interpreter.h"
#include "tessel/ranges.h"

namespace tessel {

class HostClass;
class Package;

/// One object of a host class. A module derives from it to hold its own value.
class TESSEL_API HostObject : public std::enable_shared_from_this<HostObject> {
 public:
  explicit HostObject(const HostClass& hostClass) : class_(&hostClass) {}
  HostObject(const HostObject& other) : enable_shared_from_this(other), class_(other.class_) {}
  HostObject& operator=(const HostObject&) = delete;
  virtual ~HostObject();
  const HostClass& hostClass() const { return *class_; }
  /// A copy with a life of its own (listeners stay behind). Every class that can be copied overrides it.
  virtual std::shared_ptr<HostObject> clone() const = 0;

  using Listener = std::function<void(HostObject&, const std::string& property)>;
  /// Calls `listener` after each change event of `property`; after those of every property when that is empty.
  void addListener(std::string property, Listener listener);
  bool hasListeners() const { return !listeners_.empty(); }
  /// Tells the listeners that the value of `property` has changed.
  void signalPropertyChange(std::string_view property);

 private:
  const HostClass* class_;
  struct Entry {
    std::string property;
    Listener listener;
  };
  std::vector<Entry> listeners_;
};

/// Value types of properties. Besides these, the name of a registered enumerated type or of a class.
namespace property_type {
inline constexpr const char* kInt32 = "int32";           ///< real scalar, integer-valued and in range
inline constexpr const char* kDouble = "double";         ///< real numeric or logical scalar
inline constexpr const char* kBool = "bool";             ///< logical or numeric scalar equal to 0 or 1
inline constexpr const char* kString = "string";         ///< char row
inline constexpr const char* kArray = "Tessel array";    ///< any array, as it is
inline constexpr const char* kRealPoint = "real point";  ///< two real numbers
inline constexpr const char* kRest = "...";              ///< of a constructor alone: any further arguments
}  // namespace property_type

/// What an error says.
struct ErrorText {
  std::string identifier, text;
};

struct PropertyInfo {
  std::string name;
  /// One of `property_type`, an enumerated type's name, or a qualified class name. The host checks and converts
  /// a value before `set` sees it: an int32, double or logical scalar, the enumeration's own spelling, a text.
  std::string type;
  std::function<HostArray(HostObject&)> get;
  std::function<void(HostObject&, const HostArray&)> set;  ///< empty: read-only
  std::string help;
  bool hidden = false;                                ///< not listed, still usable
  ErrorText readOnly{"Tessel:readOnlyProperty", {}};  ///< of a read-only one; the host words an empty text
};

struct MethodInfo {
  FunctionInfo function;       ///< inputs include the object
  bool changesObject = false;  ///< of a value class: the caller's variable gets an object of its own first
  bool hidden = false;
};

/// A direct way to elements, for a class whose methods "subsref" and "subsasgn" leave everything but
/// parentheses to the host's built-in indexing: the host then calls neither for members nor for elements that
/// ranges select. The ranges may go beyond the array.
struct ElementAccess {
  /// What "subsref" returns for these subscripts, or nothing where it has to be called.
  std::optional<HostArray> (*elements)(HostObject& object, IndexRanges ranges);
  /// Does what "subsasgn" does, or nothing where it has to be called; returns whether it has. Nobody shares an
  /// object of a value class.
  bool (*assign)(HostObject& object, IndexRanges ranges, const HostArray& value);
  /// What `end` stands for in subscript `place`, from 0, of `count`.
  std::size_t (*extent)(HostObject& object, std::size_t place, std::size_t count);
};

/// How objects of a class are kept in files.
struct Persistence {
  /// What an object is made of: an array that files can keep, with other objects that they can keep in it.
  HostArray (*state)(HostObject& object);
  /// An object made of that again. Raises "Tessel:badFile" for what is no such state.
  HostArray (*restored)(const HostArray& state);
};

/// One accepted list of constructor arguments, by type names as in PropertyInfo; the last may be `kRest`.
using ConstructorSignature = std::vector<std::string>;

/// Rows with a `name` in order of registration, found by name.
template <class Row>
struct NamedRows {
  std::vector<std::unique_ptr<Row>> rows;
  std::unordered_map<std::string_view, const Row*> byName;  ///< the keys are the rows' own texts
};

/// A class of a package. References to it stay valid while the host runs, after the package has terminated too.
class TESSEL_API HostClass {
 public:
  HostClass(Package& package, std::string name, const HostClass* superclass);
  HostClass(const HostClass&) = delete;
  HostClass& operator=(const HostClass&) = delete;

  const std::string& name() const { return name_; }
  /// Such as "embedded.fi".
  std::string qualifiedName() const;
  const HostClass* superclass() const { return superclass_; }
  bool isA(const HostClass& other) const;

  /// Objects behave as values: assignment to an element or a property of one variable leaves the others alone.
  void setValueClass(bool isValue) { isValueClass_ = isValue; }
  bool isValueClass() const { return isValueClass_; }

  void addConstructor(ConstructorSignature signature) { constructors_.push_back(std::move(signature)); }
  const std::vector<ConstructorSignature>& constructors() const { return constructors_; }
  /// What `create` raises where no constructor takes so many arguments; without it "Tessel:TooManyInputs".
  void setArgumentError(ErrorText error) { argumentError_ = std::move(error); }
  /// What is raised for a value that should be an object of this class and is none; without it
  /// "Tessel:invalidPropertyValue".
  void setMismatchError(ErrorText error) { mismatchError_ = std::move(error); }
  const std::optional<ErrorText>& mismatchError() const { return mismatchError_; }
  /// Makes an instance; called with the arguments of `create`. A class without one is abstract.
  void setFactory(std::function<std::shared_ptr<HostObject>(Arrays& arguments)> factory) {
    factory_ = std::move(factory);
  }
  /// Raises "Tessel:abstractClass" for a class without factory, and the class's argument error where it has
  /// constructors and none of as many arguments; what the factory raises passes on.
  HostArray create(Arrays arguments) const;

  /// Names must be new in this class ("Tessel:propertyExists", "Tessel:methodExists" otherwise); one of the
  /// superclass is replaced by it. A property needs a getter.
  void addProperty(PropertyInfo property);
  void addMethod(MethodInfo method);
  /// For objects of this class alone: a subclass may index in another way.
  void setElementAccess(const ElementAccess& access) { elementAccess_ = access; }
  const std::optional<ElementAccess>& elementAccess() const { return elementAccess_; }
  /// For objects of this class alone; one without it cannot be kept.
  void setPersistence(Persistence persistence) { persistence_ = persistence; }
  const std::optional<Persistence>& persistence() const { return persistence_; }
  /// Own first, then the superclasses'; null when there is none. The name's case counts.
  const PropertyInfo* findProperty(std::string_view name) const;
  const MethodInfo* findMethod(std::string_view name) const;
  /// Another number whenever a class has appeared or got a row: what was found before may be found no more.
  static std::uint64_t tablesVersion() { return tablesVersion_; }
  /// In registration order, the superclass's first.
  std::vector<const PropertyInfo*> properties() const;
  std::vector<const MethodInfo*> methods() const;
  /// The example of a method, of this class or of the next one above it that has one; or null.
  const char* findExample(std::string_view method) const;
  void setHelp(std::string help) { help_ = std::move(help); }
  const std::string& help() const { return help_; }

 private:
  Package* package_;
  std::string name_;
  const HostClass* superclass_;
  bool isValueClass_ = false;
  std::vector<ConstructorSignature> constructors_;
  std::optional<ErrorText> argumentError_, mismatchError_;
  std::function<std::shared_ptr<HostObject>(Arrays&)> factory_;
  NamedRows<PropertyInfo> properties_;
  NamedRows<MethodInfo> methods_;
  std::optional<ElementAccess> elementAccess_;
  std::optional<Persistence> persistence_;
  std::string help_;
  static std::uint64_t tablesVersion_;
};

/// A named group of classes.
class TESSEL_API Package {
 public:
  explicit Package(std::string name) : name_(std::move(name)) {}
  const std::string& name() const { return name_; }
  /// The name must be new in the package; raises "Tessel:classExists" otherwise.
  HostClass& createClass(std::string name, const HostClass* superclass = nullptr);
  HostClass* findClass(std::string_view name) const;
  /// In order of creation.
  std::vector<const HostClass*> classes() const;
  /// Forgets all classes: they are found no more. Instances that are left keep theirs, which is never freed.
  void terminate();

 private:
  std::string name_;
  std::vector<std::unique_ptr<HostClass>> classes_;
};

/// The package of that name, or null.
TESSEL_API Package* findPackage(std::string_view name);
/// The package of that name, created when needed.
TESSEL_API Package& getPackage(std::string_view name);
/// The class of a qualified name ("embedded.fi"), or of a name alone ("fi") in the first package that has it;
/// or null.
TESSEL_API HostClass* findClass(std::string_view name);

/// Reads a property of a scalar object. Raises "Tessel:noSuchProperty".
TESSEL_API HostArray getProperty(const HostArray& object, std::string_view name);
/// Checks the value against the property's type and sets it; an object of a value class that is shared is
/// cloned first. When anything is raised ("Tessel:noSuchProperty", "Tessel:readOnlyProperty",
/// "Tessel:invalidPropertyValue", "Tessel:invalidEnumValue", or what the setter raises) `object` is as it was.
TESSEL_API void setProperty(HostArray& object, std::string_view name, const HostArray& value);

}  // namespace tessel
