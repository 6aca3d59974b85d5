/// How C++ classes become host classes: wrapping, conversions, and rows made from member pointers.
///
/// A host class is a table: one row a property, one row a method. Everything that all rows have in common
/// (unwrapping, converting, turning an ErrorIdException into an error of the host) stands here, once.
#pragma once

#include <cmath>
#include <concepts>
#include <functional>
#include <limits>
#include <memory>
#include <new>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <typeinfo>
#include <utility>
#include <vector>

#include "qfcore/number/errors.h"
#include "qfcore/number/messages.h"
#include "qfcore/types/enumtable.h"
#include "qfcore/types/type.h"
#include "tessel/array.h"
#include "tessel/interpreter.h"
#include "tessel/messages.h"
#include "tessel/objects.h"

namespace embedded::host {

using tessel::Arrays;
using tessel::arraysOf;
using tessel::HostArray;
using tessel::HostClass;
using tessel::HostObject;

/// Runs `action`; an ErrorIdException leaves as an error of the host with the same identifier and text, and so
/// does the lack of memory, whoever met it.
template <class Action>
decltype(auto) translated(Action&& action) {
  try {
    return std::forward<Action>(action)();
  } catch (const ErrorIdException& error) {
    tessel::raiseError(error.identifier(), error.text());
  } catch (const std::bad_alloc&) {
    tessel::raiseError(message::outOfMemory.identifier, message::outOfMemory.text);
  }
}

/// A message, its placeholders filled, as the host takes it.
template <const Message& M, class... Arguments>
tessel::ErrorText errorText(Arguments... arguments) {
  return {M.identifier, formatted<M>(arguments...)};
}

// ---------------------------------------------------------------------------------------------- wrapped values

/// The host class whose objects wrap a T; set when the class is created, null before and after.
template <class T>
inline const HostClass* hostClassOf = nullptr;

/// The base of T that objects of a T are seen as, too, so that the rows of the host superclass serve them: what
/// the superclass wraps. A class without one, `void`.
template <class T>
struct HeldBase {
  using type = void;
};
template <class T>
requires std::derived_from<T, EmbeddedTypeSystem::Type> &&
    (!std::same_as<T, EmbeddedTypeSystem::Type>)struct HeldBase<T> {
  using type = EmbeddedTypeSystem::Type;
};

/// What a host object holds, seen as a T.
template <class T, class Base = typename HeldBase<T>::type>
class Holder : public Holder<Base> {
 public:
  using Holder<Base>::Holder;
  T& held() override = 0;
};
template <class T>
class Holder<T, void> : public HostObject {
 public:
  using HostObject::HostObject;
  virtual T& held() = 0;
};

/// A host object that owns a T. An embedded type knows the object, which is how composed types hand out their
/// parts.
template <class T>
class Wrapped : public Holder<T> {
 public:
  /// `make` returns the value, which it may make in its place: values such as arrays are large.
  template <std::invocable Make>
  Wrapped(const HostClass& hostClass, Make&& make) : Holder<T>(hostClass), value(std::forward<Make>(make)()) {
    if constexpr (std::derived_from<T, EmbeddedTypeSystem::Type>) value.setHostObject(this);
  }
  std::shared_ptr<HostObject> clone() const override {
    return translated([this] {
      return std::make_shared<Wrapped>(this->hostClass(), [this]() -> const T& { return value; });
    });
  }
  T& held() override { return value; }
  T value;
};

/// An object that holds what `make` returns.
template <std::invocable Make>
HostArray wrapResult(Make&& make) {
  using T = std::remove_cvref_t<std::invoke_result_t<Make>>;
  return HostArray::object(std::make_shared<Wrapped<T>>(*hostClassOf<T>, std::forward<Make>(make)));
}

template <class T>
HostArray wrap(T value) {
  return wrapResult([&]() -> T&& { return std::move(value); });
}

/// The T that a host object holds, or null.
template <class T>
T* heldBy(HostObject& object) {
  // Nearly always it owns a T itself, which is much faster to see than what its bases are.
  if constexpr (!std::is_abstract_v<T>) {
    if (typeid(object) == typeid(Wrapped<T>)) return &static_cast<Wrapped<T>&>(object).value;
  }
  auto* holder = dynamic_cast<Holder<T>*>(&object);
  return holder ? &holder->held() : nullptr;
}

/// The T that a host array wraps, or null.
template <class T>
T* unwrapped(const HostArray& array) {
  return array.isObject() && array.numel() == 1 ? heldBy<T>(*array.objectAt()) : nullptr;
}

template <class T>
T& valueOf(HostObject& object) {
  if (T* held = heldBy<T>(object)) return *held;
  throw std::bad_cast();
}

// ------------------------------------------------------------------------------------------------ conversions

// `fromHost` trusts the host's check of a property's type; methods check their arguments themselves.

inline HostArray toHost(double value) { return HostArray::scalar(value); }
inline HostArray toHost(int value) { return HostArray::scalarOf<std::int32_t>(value); }
inline HostArray toHost(std::size_t value) { return HostArray::scalar(static_cast<double>(value)); }
inline HostArray toHost(unsigned value) { return HostArray::scalar(static_cast<double>(value)); }
inline HostArray toHost(bool value) { return HostArray::logical(value); }
inline HostArray toHost(const std::string& value) { return HostArray::text(value); }
inline HostArray toHost(const char* value) { return HostArray::text(value); }
inline HostArray toHost(HostArray value) { return value; }
template <class T>
requires std::is_enum_v<T> HostArray toHost(T value) {
  using EmbeddedTypeSystem::textOf;
  return HostArray::text(textOf(value));
}
template <class T>
requires std::is_class_v<T> HostArray toHost(T value) {
  return wrapResult([&]() -> T&& { return std::move(value); });
}

/// What `make` returns, converted, or made in its place in an object.
template <std::invocable Make>
HostArray arrayOf(Make&& make) {
  using T = std::invoke_result_t<Make>;
  if constexpr (std::is_class_v<T> && !std::is_convertible_v<T, HostArray> && !std::is_same_v<T, std::string>)
    return wrapResult(std::forward<Make>(make));
  else
    return toHost(std::forward<Make>(make)());
}

/// The list of one result, the same.
template <std::invocable Make>
Arrays resultOf(Make&& make) {
  return arraysOf(arrayOf(std::forward<Make>(make)));
}

template <class T>
T fromHost(const HostArray& array) {
  if constexpr (std::is_same_v<T, HostArray>) {
    return array;
  } else if constexpr (std::is_same_v<T, bool>) {
    return array.scalarValue() != 0;
  } else if constexpr (std::is_same_v<T, std::string>) {
    return array.toText();
  } else if constexpr (std::is_enum_v<T>) {
    const auto value = EmbeddedTypeSystem::enumValue<T>(array.toText());
    if (!value) tessel::raiseError("Tessel:invalidEnumValue", "Unknown value '" + array.toText() + "'.");
    return *value;
  } else {
    return static_cast<T>(array.scalarValue());
  }
}

// -------------------------------------------------------------------------------------------------- properties

/// Runs a setter; false when it returns false: it has refused the value with a warning.
template <class Action>
bool isTaken(Action&& action) {
  if constexpr (std::is_void_v<decltype(action())>) {
    action();
    return true;
  } else {
    return action();
  }
}

/// What sets a property of a T; made from a function that returns nothing, or whether it took the value. A
/// property without one is read-only; it may say so in words of its own.
template <class T>
class Setter {
 public:
  Setter() = default;
  Setter(tessel::ErrorText refusal) : refusal_(std::move(refusal)) {}
  template <std::invocable<T&, const HostArray&> Function>
  Setter(Function function)
      : function_([function = std::move(function)](T& object, const HostArray& value) {
          return isTaken([&] { return function(object, value); });
        }) {}
  explicit operator bool() const { return function_ != nullptr; }
  bool operator()(T& object, const HostArray& value) const { return function_(object, value); }
  const std::optional<tessel::ErrorText>& refusal() const { return refusal_; }

 private:
  std::function<bool(T&, const HostArray&)> function_;
  std::optional<tessel::ErrorText> refusal_;
};

/// One property of a class that wraps a T. `dependents` names properties, with blanks between them, of which
/// listeners are told whenever it is set; of hidden ones, which editing dialogs show, they are told of every
/// change besides.
template <class T>
struct Property {
  const char* name;
  const char* type;
  std::function<HostArray(const T&)> get;
  Setter<T> set;  ///< empty: read-only
  const char* help;
  const char* dependents = "";
  bool hidden = false;
};

namespace detail {

template <class>
struct MemberTraits;
template <class C, class R, class... A>
struct MemberTraits<R (C::*)(A...)> {
  using Class = C;
  template <std::size_t I>
  using Argument = std::decay_t<std::tuple_element_t<I, std::tuple<A...>>>;
};
template <class C, class R, class... A>
struct MemberTraits<R (C::*)(A...) const> : MemberTraits<R (C::*)(A...)> {};

}  // namespace detail

/// A getter made from a member function of T or of a base of T, or from a function of a T.
template <class T, auto Getter>
HostArray get(const T& object) {
  return toHost(std::invoke(Getter, object));
}

/// A setter made from a member function with one argument.
template <class T, auto Member>
bool set(T& object, const HostArray& value) {
  using Argument = typename detail::MemberTraits<decltype(Member)>::template Argument<0>;
  return isTaken([&] { return (object.*Member)(fromHost<Argument>(value)); });
}

/// The value that a text of an editing dialog evaluates to, as a number; nothing when it gives none. Raises
/// "numforge:dialog:notinteger" when `Number` is an integer and the text gives another number, and what the
/// evaluation raises.
template <class Number>
std::optional<Number> evaluatedNumber(const HostArray& text) {
  const HostArray value = tessel::evaluateExpression(text.toText());
  if (!value.isNumeric() || !value.isScalar() || value.isComplex()) return std::nullopt;
  const double number = value.realAt(0);
  if constexpr (std::is_integral_v<Number>) {
    using Limits = std::numeric_limits<Number>;
    if (!(number >= Limits::min() && number <= Limits::max() && number == std::floor(number))) {
      tessel::raiseError("numforge:dialog:notinteger", "The text must give an integer.");
    }
  }
  return static_cast<Number>(number);
}

/// A setter of a dialog's text, made from the setter of the property that the text shows. A text that gives no
/// number changes nothing.
template <class T, auto Member>
bool setFromText(T& object, const HostArray& text) {
  using Number = typename detail::MemberTraits<decltype(Member)>::template Argument<0>;
  const std::optional<Number> number = evaluatedNumber<Number>(text);
  return number && isTaken([&] { return (object.*Member)(*number); });
}

/// The hidden properties of an object that has listeners, before it is changed.
class HiddenValues {
 public:
  explicit HiddenValues(HostObject& object);
  /// Tells listeners of the property `set` and those of `dependents`, whose names have blanks between them, and
  /// of the hidden ones that have another value than before.
  void signalChanges(std::string_view set, std::string_view dependents) const;

 private:
  HostObject& object_;
  std::vector<std::pair<const tessel::PropertyInfo*, std::string>> values_;
};

template <class T>
void addProperty(HostClass& hostClass, const Property<T>& row) {
  tessel::PropertyInfo info{row.name, row.type, {}, {}, row.help, row.hidden};
  info.get = [get = row.get](HostObject& object) {
    return translated([&] { return get(valueOf<T>(object)); });
  };
  if (row.set) {
    info.set = [set = row.set, name = row.name, dependents = row.dependents](HostObject& object,
                                                                             const HostArray& value) {
      const HiddenValues before(object);
      if (translated([&] { return set(valueOf<T>(object), value); })) before.signalChanges(name, dependents);
    };
  } else if (const auto& refusal = row.set.refusal()) {
    info.readOnly = *refusal;
  }
  hostClass.addProperty(std::move(info));
}

template <class T>
void addProperties(HostClass& hostClass, std::span<const Property<T>> rows) {
  for (const Property<T>& row : rows) addProperty(hostClass, row);
}

// ----------------------------------------------------------------------------------------------------- methods

/// What a method does: a function of lists, which returns no array for methods without a result; or one of two
/// arguments with one result, which the host calls for operators without lists and which leaves no exception of
/// the module to pass.
struct MethodCall {
  using OfLists = Arrays (*)(Arrays& inputs, int outputCount);
  constexpr MethodCall(OfLists call) : ofLists(call) {}
  constexpr MethodCall(decltype(tessel::FunctionInfo::ofTwo) call) : ofTwo(call) {}
  OfLists ofLists = nullptr;
  decltype(tessel::FunctionInfo::ofTwo) ofTwo = nullptr;
};

/// One method. `inputs[0]` need not be the object: operators dispatch on either operand.
struct Method {
  const char* name;
  int minInputs, maxInputs;  ///< the object included; −1: any number
  int maxOutputs;
  MethodCall call;
  const char* help;
  bool changesObject = false;
  bool hidden = false;
};

/// The row as the host keeps it.
tessel::FunctionInfo functionOf(const Method& row);
void addMethods(HostClass& hostClass, std::span<const Method> rows);

/// The method `disp`: shows an object, or each of a vector of objects.
template <class T, auto Show = &T::disp>
Arrays disp(Arrays& inputs, int) {
  for (std::size_t i = 0; i < inputs[0].numel(); ++i) {
    std::invoke(Show, std::as_const(valueOf<T>(*inputs[0].objectAt(i))));
  }
  return {};
}

/// set(object, name, value, ...) of a class that wraps a T: sets properties, all or none, and then signals what
/// setting them one by one would. Raises `NotPairs` for arguments that are not pairs, and what the setters
/// raise.
template <class T, const Message& NotPairs>
void setPairs(Arrays& inputs) {
  T& object = *unwrapped<T>(inputs[0]);
  if (inputs.size() % 2 == 0) fail<NotPairs>();
  const std::shared_ptr<HostObject> copy = inputs[0].objectAt()->clone();
  std::vector<std::string> signals;
  if (inputs[0].objectAt()->hasListeners()) {
    copy->addListener("", [&](HostObject&, const std::string& property) { signals.push_back(property); });
  }
  HostArray changed = HostArray::object(copy);
  for (std::size_t i = 1; i < inputs.size(); i += 2) {
    if (!inputs[i].isText()) fail<NotPairs>();
    tessel::setProperty(changed, inputs[i].toText(), inputs[i + 1]);
  }
  object = std::move(*unwrapped<T>(changed));
  for (const std::string& property : signals) inputs[0].objectAt()->signalPropertyChange(property);
}

/// Registers the enumerated type of a table with the host, unless a look-up finds it, and returns its name
/// there.
const std::string& registeredEnum(const EmbeddedTypeSystem::EnumTable& table);

/// Finds a row by name without regard to case, as in name/value pairs; null when there is none.
template <class T>
const Property<T>* findRow(std::span<const Property<T>> rows, std::string_view name);

bool equalIgnoringCase(std::string_view a, std::string_view b);

template <class T>
const Property<T>* findRow(std::span<const Property<T>> rows, std::string_view name) {
  for (const Property<T>& row : rows) {
    if (equalIgnoringCase(row.name, name)) return &row;
  }
  return nullptr;
}

}  // namespace embedded::host
