/// The binding class of a host class: a singleton that creates it in the package `embedded` and fills it from
/// tables.
#pragma once

#include <memory>

#include "qfcore/host/binding.h"
#include "tessel/objects.h"

namespace embedded::host {

/// The package that holds the module's classes, created when needed.
tessel::Package& getEmbeddedPackage();
/// Asks the package to forget its classes, and forgets their instances, so that they can be made again.
void terminateEmbeddedPackage();
/// What `terminateEmbeddedPackage` calls, once.
void atTermination(void (*forget)());

/// `Derived` names the class (`kName`), hands its superclass to the constructor and fills it; its objects wrap
/// a `Value`. They are made by `Derived::createClassSpecificObject(arguments)`; a class without it is abstract.
template <class Derived, class Value>
class ObjClass {
 public:
  ObjClass(const ObjClass&) = delete;
  ObjClass& operator=(const ObjClass&) = delete;

  /// The one instance; creating it creates the host class.
  static Derived& getInstance() {
    if (!instance()) instance().reset(new Derived);
    return *instance();
  }
  /// Forgets the instance. The host class lives on, for the objects that there are and for those they make.
  static void deleteInstance() { instance().reset(); }
  /// Makes the class known to the host, unless it is.
  static void registerObjClass() { getInstance(); }
  /// Gives an instance back, and leaves `object` empty. The value lives on while others hold the instance.
  static void destroyObject(std::shared_ptr<HostObject>& object) { object.reset(); }
  HostClass& hostClass() const { return *hostClass_; }

 protected:
  explicit ObjClass(const HostClass* superclass = nullptr)
      : hostClass_(&getEmbeddedPackage().createClass(Derived::kName, superclass)) {
    hostClassOf<Value> = hostClass_;
    atTermination(deleteInstance);
    if constexpr (requires(Arrays & arguments) { Derived::createClassSpecificObject(arguments); }) {
      hostClass_->setFactory([](Arrays& arguments) {
        return translated([&] { return Derived::createClassSpecificObject(arguments); });
      });
    }
  }
  static std::shared_ptr<HostObject> make(Value value) {
    return std::make_shared<Wrapped<Value>>(*hostClassOf<Value>, [&]() -> Value&& { return std::move(value); });
  }

 private:
  static std::unique_ptr<Derived>& instance() {
    static std::unique_ptr<Derived> object;
    return object;
  }

  HostClass* hostClass_;
};

}  // namespace embedded::host
