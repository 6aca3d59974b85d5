/// Host class `embedded.fi`.
#pragma once

#include <optional>

#include "qfcore/fi/fi.h"
#include "qfcore/host/objclass.h"

namespace embedded::host {

class FiObjClass : public ObjClass<FiObjClass, fi> {
 public:
  static constexpr const char* kName = "fi";
  /// Properties in registration order; a row's place is the array's last property set, as far as that reaches.
  static std::span<const Property<fi>> properties();
  /// Takes no to three arguments: value, numerictype, fimath.
  static std::shared_ptr<HostObject> createClassSpecificObject(Arrays& arguments);
  void init();

 private:
  friend ObjClass;
  FiObjClass() { hostClass().setValueClass(true); }
};

// Method tables of the class, one a family; each stands in fimethods_<family>.cpp.
std::span<const Method> basicMethods();
std::span<const Method> logMethods();
std::span<const Method> conversionMethods();
std::span<const Method> indexingMethods();
std::span<const Method> shapeMethods();
std::span<const Method> arithmeticMethods();
std::span<const Method> filterMethods();
std::span<const Method> comparisonMethods();
std::span<const Method> bitMethods();
std::span<const Method> numberMethods();
std::span<const Method> fileMethods();
/// What the methods subsref and subsasgn do to single existing elements.
tessel::ElementAccess elementAccess();
/// Methods of fimath and of numerictype whose operands are arrays: add(F, a, b), ...
std::span<const Method> fimathArithmeticMethods();
std::span<const Method> numericTypeArithmeticMethods();
/// Methods of numerictype that make arrays from files.
std::span<const Method> numericTypeFileMethods();
/// Methods of numerictype that make arrays of numbers.
std::span<const Method> numericTypeNumberMethods();

/// The array that an argument wraps. Raises "numforge:fi:mustBeFi" / "This parameter must be a fi.".
fi& fiArgument(const HostArray& array);

/// An argument as the host's numbers.
HostArray numbersOf(const HostArray& argument);

/// Calls the host's function of that name with numbers in place of arrays.
Arrays callWithNumbers(const char* name, const Arrays& inputs, int outputCount);

/// The dimension from 1 on that an argument, a number or an array of one element, names; nothing where it names
/// none.
std::optional<unsigned> dimensionArgument(const HostArray& argument);

/// An operand of a binary operation beside the array `other`: the array it wraps, or a host number made an
/// array of `other`'s signedness, word length and math settings, at best precision for its values.
fi operandBeside(const HostArray& operand, const fi& other);

/// The same, with the host number brought into `other`'s numeric type: for operations that take one type only.
fi operandInTypeOf(const HostArray& operand, const fi& other);

/// The same, with the host number as it is: for operations that compare.
fi operandAsItIs(const HostArray& operand, const fi& other);

/// A method of two operands of which one at least is an array: what `Operation(a, b)` returns, a member
/// function of the first or a function of both. `Convert` makes an array of an operand that is none.
template <auto Operation, auto Convert = operandBeside>
HostArray binaryMethod(const HostArray& left, const HostArray& right) {
  return translated([&] {
    const fi *a = unwrapped<fi>(left), *b = unwrapped<fi>(right);
    if (a && b) return arrayOf([&] { return std::invoke(Operation, *a, *b); });
    if (a) return arrayOf([&] { return std::invoke(Operation, *a, Convert(right, *a)); });
    const fi& known = fiArgument(right);
    return arrayOf([&] { return std::invoke(Operation, Convert(left, known), known); });
  });
}

/// A method of an array; where its first argument is a number and a further one an array, the host's function
/// of that name.
template <const auto& Name, auto Method>
Arrays ofArrayOrNumbers(Arrays& inputs, int outputCount) {
  return unwrapped<fi>(inputs[0]) ? Method(inputs, outputCount) : callWithNumbers(Name, inputs, outputCount);
}

/// A method of an array alone: what `Getter` returns.
template <auto Getter>
Arrays askArray(Arrays& inputs, int) {
  return resultOf([&] { return std::invoke(Getter, std::as_const(fiArgument(inputs[0]))); });
}

}  // namespace embedded::host
