/// How calls find their function: the runtime's own entrances besides those of "tessel/interpreter.h".
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tessel/api.h"
#include "tessel/array.h"
#include "tessel/interpreter.h"
#include "tessel/objects.h"

namespace tessel {

/// The class of an object array, also of an empty one; null for other arrays and where an empty one has lost
/// it.
const HostClass* objectClass(const HostArray& array);

/// The classes of all packages, in order of creation.
TESSEL_API std::vector<const HostClass*> allClasses();

/// Another number whenever a function has been registered.
extern TESSEL_API std::uint64_t functionsVersion;

/// A name that functions and members of classes have, such as an operator's. Knows what it named last, so that
/// asking again costs no search.
class MemberName {
 public:
  MemberName(std::string name = {}) : name_(std::move(name)) {}
  const std::string& text() const { return name_; }
  /// Where it stands in its line, from 1; 0 where nobody knows.
  int column = 0;
  /// The class's method, or null.
  const MethodInfo* methodOf(const HostClass& hostClass) const { return found(hostClass).method; }
  /// The registered function, or null.
  const FunctionInfo* function() const {
    if (functionVersion_ != functionsVersion) {
      function_ = findFunction(name_);
      functionVersion_ = functionsVersion;
    }
    return function_;
  }
  /// The class's property, or null.
  const PropertyInfo* propertyOf(const HostClass& hostClass) const { return found(hostClass).property; }

 private:
  struct Found {
    const HostClass* hostClass = nullptr;
    std::uint64_t version = 0;
    const MethodInfo* method = nullptr;
    const PropertyInfo* property = nullptr;
  };
  const Found& found(const HostClass& hostClass) const {
    for (const Found& each : last_) {
      if (each.hostClass == &hostClass && each.version == HostClass::tablesVersion()) return each;
    }
    Found& oldest = last_[next_];
    next_ = (next_ + 1) % last_.size();
    return oldest = {&hostClass, HostClass::tablesVersion(), hostClass.findMethod(name_),
                     hostClass.findProperty(name_)};
  }

  std::string name_;
  /// One for each argument that calls such as `fi(x, T, F)` have.
  mutable std::array<Found, 3> last_;
  mutable std::size_t next_ = 0;
  mutable const FunctionInfo* function_ = nullptr;
  mutable std::uint64_t functionVersion_ = 0;
};

/// The method of that name of the first object among `inputs` whose class has one, or null.
const MethodInfo* findMethodFor(std::string_view name, const Arrays& inputs);
/// The method of that name of the array's class, or null.
const MethodInfo* findMethodOf(const HostArray& array, const MemberName& name);

/// Raise "Tessel:TooManyInputs" and "Tessel:TooManyOutputs" with the function's name, and how many it takes or
/// gives at most.
[[noreturn]] TESSEL_API void raiseTooManyInputs(std::string_view function, int most);
[[noreturn]] TESSEL_API void raiseTooManyOutputs(std::string_view function, int most);

/// Checks the numbers of inputs and outputs against what `function` takes, then calls it.
/// Raises "Tessel:TooManyInputs", "Tessel:NotEnoughInputs", "Tessel:TooManyOutputs" and what the function
/// raises. When it raises, `inputs[0]` is as it was; the other inputs may have been moved from.
Arrays invoke(const FunctionInfo& function, Arrays& inputs, int outputCount);
/// The same for a method. One that changes its object, of a class of values, changes that in `inputs[0]` alone.
Arrays invoke(const MethodInfo& method, Arrays& inputs, int outputCount);

/// Calls the method of that name of the first argument whose class has one, else the function.
Arrays callMember(const MemberName& name, Arrays&& inputs, int outputCount = 1);
/// What that calls for two arguments, by its form without lists; null where it has none.
decltype(FunctionInfo::ofTwo) formOfTwo(const MemberName& name, const HostArray& a, const HostArray& b);

}  // namespace tessel
