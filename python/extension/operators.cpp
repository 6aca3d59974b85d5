#include "python/extension/operators.h"

#include <array>
#include <optional>

#include "python/extension/calls.h"
#include "python/extension/convert.h"
#include "python/extension/object.h"
#include "qfcore/host/exchange.h"
#include "tessel/interpreter.h"

namespace face {

namespace {

/// How an operator is called in Python's operator functions and in the class's table; the latter is null where
/// no row does what Python asks for.
struct Operator {
  const char* name;
  const char* method;
};

constexpr Operator kAdd{"add", "plus"}, kSubtract{"sub", "minus"}, kMultiply{"mul", "times"},
    kDivide{"truediv", "rdivide"}, kMatrix{"matmul", nullptr}, kFloorDivide{"floordiv", nullptr},
    kRemainder{"mod", nullptr}, kPower{"pow", nullptr}, kAnd{"and_", "bitand"}, kOr{"or_", "bitor"},
    kXor{"xor", "bitxor"}, kLeft{"lshift", nullptr}, kRight{"rshift", nullptr}, kMinus{"neg", "uminus"},
    kPlus{"pos", "uplus"}, kAbsolute{"abs", "abs"}, kInvert{"invert", "bitcmp"};
/// In the order of Py_LT, Py_LE, Py_EQ, Py_NE, Py_GT, Py_GE.
constexpr Operator kComparisons[] = {{"lt", "lt"}, {"le", "le"}, {"eq", "eq"},
                                     {"ne", "ne"}, {"gt", "gt"}, {"ge", "ge"}};

/// An operand that needs nothing of NumPy: an array, or one of Python's numbers that is a double.
std::optional<Argument> plainOperand(PyObject* value) {
  if (isArray(value)) return Argument{asObject(value).array, asObject(value).ndim};
  if (PyFloat_CheckExact(value) || PyBool_Check(value)) return fromPython(value);
  if (!PyLong_CheckExact(value)) return std::nullopt;
  int overflow = 0;
  const long number = PyLong_AsLongAndOverflow(value, &overflow);
  constexpr long kExact = 1L << 53;
  if (overflow != 0 || number < -kExact || number > kExact) return std::nullopt;
  return Argument{HostArray::scalar(static_cast<double>(number)), 0};
}

/// Whether the host's rule for two sizes, equal or one a scalar, is NumPy's for these shapes.
bool agree(const Shape& a, const Shape& b) {
  if (a.ndim == 0 || b.ndim == 0) return true;
  return a.ndim == b.ndim && a.dims == b.dims;
}

PyObject* leaveToPackage(const Operator& asked, PyObject* a, PyObject* b) {
  return hook("operator")(asked.name, py::handle(a), py::handle(b)).release().ptr();
}

PyObject* calledOn(const Operator& asked, Arrays inputs, const Shape& like) {
  Arrays results = called([&] { return tessel::callFunction(asked.method, std::move(inputs)); });
  return toPython(std::move(results.at(0)), like).release().ptr();
}

PyObject* binary(const Operator& asked, PyObject* a, PyObject* b) {
  return guarded<PyObject*>(nullptr, [&]() -> PyObject* {
    if (!isArray(a) && !isArray(b)) {
      Py_INCREF(Py_NotImplemented);
      return Py_NotImplemented;
    }
    if (asked.method == nullptr) return leaveToPackage(asked, a, b);
    auto first = plainOperand(a), second = plainOperand(b);
    if (!first || !second) return leaveToPackage(asked, a, b);
    const Shape x = shapeOf(first->array, first->ndim), y = shapeOf(second->array, second->ndim);
    if (!agree(x, y)) return leaveToPackage(asked, a, b);
    return calledOn(asked, tessel::arraysOf(std::move(first->array), std::move(second->array)),
                    x.ndim < y.ndim ? y : x);
  });
}

PyObject* unary(const Operator& asked, PyObject* a) {
  return guarded<PyObject*>(nullptr, [&] {
    const Object& object = asObject(a);
    return calledOn(asked, tessel::arraysOf(HostArray(object.array)), shapeOf(object));
  });
}

template <const Operator& Asked>
PyObject* binarySlot(PyObject* a, PyObject* b) {
  return binary(Asked, a, b);
}
template <const Operator& Asked>
PyObject* unarySlot(PyObject* a) {
  return unary(Asked, a);
}
PyObject* powerSlot(PyObject* a, PyObject* b, PyObject* /*modulus*/) { return binary(kPower, a, b); }

/// Of objects that are no arrays only equality can be asked, where their class's table has it.
PyObject* compare(PyObject* a, PyObject* b, int operation) {
  const Operator& asked = kComparisons[operation];
  if (isArray(a) || isArray(b)) return binary(asked, a, b);
  return guarded<PyObject*>(nullptr, [&]() -> PyObject* {
    const bool isEquality = operation == Py_EQ || operation == Py_NE;
    const bool canBeAsked =
        isObject(a) && isObject(b) && asObject(a).array.objectAt()->hostClass().findMethod("isequal");
    if (!isEquality || !canBeAsked) {
      Py_INCREF(Py_NotImplemented);
      return Py_NotImplemented;
    }
    const HostArray equal = called([&] {
      return std::move(tessel::callFunction("isequal", tessel::arraysOf(HostArray(asObject(a).array),
                                                                        HostArray(asObject(b).array)))
                           .at(0));
    });
    return PyBool_FromLong((equal.realAt(0) != 0) == (operation == Py_EQ));
  });
}

/// The one value of an array, as `float(a)`, `int(a)` and `bool(a)` want it.
template <class Make>
PyObject* singleValue(PyObject* self, Make make) {
  return guarded<PyObject*>(nullptr, [&]() -> PyObject* {
    const embedded::fi* values = isArray(self) ? embedded::heldArray(asObject(self).array) : nullptr;
    if (!values || values->numel() != 1) throw py::type_error("only an array of one element is a single value");
    if (values->iscomplex()) throw py::type_error("a complex value is no real number");
    return make(self);
  });
}

PyObject* toFloat(PyObject* self) {
  return singleValue(self, [](PyObject* object) {
    return PyFloat_FromDouble(embedded::heldArray(asObject(object).array)->getDoubleHostArray().realAt(0));
  });
}
PyObject* toInteger(PyObject* self) {
  return singleValue(self,
                     [](PyObject* object) { return hook("to_integer")(py::handle(object)).release().ptr(); });
}

int isTrue(PyObject* self) {
  if (!isArray(self)) return 1;
  return guarded(-1, [&] {
    const embedded::fi& values = *embedded::heldArray(asObject(self).array);
    if (values.numel() != 1)
      throw py::value_error(
          "the truth value of an array with more than one element is ambiguous; use any() or all()");
    const HostArray isZero = std::move(
        tessel::callFunction("eq", tessel::arraysOf(HostArray(asObject(self).array), HostArray::scalar(0)))
            .at(0));
    return isZero.realAt(0) == 0 ? 1 : 0;
  });
}

template <class Function>
PyType_Slot slotOf(int place, Function* function) {
  return {place, reinterpret_cast<void*>(function)};
}

}  // namespace

std::vector<PyType_Slot> operatorSlots() {
  return {slotOf(Py_nb_add, binarySlot<kAdd>),
          slotOf(Py_nb_subtract, binarySlot<kSubtract>),
          slotOf(Py_nb_multiply, binarySlot<kMultiply>),
          slotOf(Py_nb_true_divide, binarySlot<kDivide>),
          slotOf(Py_nb_matrix_multiply, binarySlot<kMatrix>),
          slotOf(Py_nb_floor_divide, binarySlot<kFloorDivide>),
          slotOf(Py_nb_remainder, binarySlot<kRemainder>),
          slotOf(Py_nb_power, powerSlot),
          slotOf(Py_nb_and, binarySlot<kAnd>),
          slotOf(Py_nb_or, binarySlot<kOr>),
          slotOf(Py_nb_xor, binarySlot<kXor>),
          slotOf(Py_nb_lshift, binarySlot<kLeft>),
          slotOf(Py_nb_rshift, binarySlot<kRight>),
          slotOf(Py_nb_negative, unarySlot<kMinus>),
          slotOf(Py_nb_positive, unarySlot<kPlus>),
          slotOf(Py_nb_absolute, unarySlot<kAbsolute>),
          slotOf(Py_nb_invert, unarySlot<kInvert>),
          slotOf(Py_nb_bool, isTrue),
          slotOf(Py_nb_float, toFloat),
          slotOf(Py_nb_int, toInteger),
          slotOf(Py_tp_richcompare, compare)};
}

}  // namespace face
