// Questions about arrays: sizes, classes, fields, equality, positions.
#include <fmt/format.h>

#include <deque>
#include <functional>

#include "tessel/interruption.h"
#include "tessel/language/builtins/builtins.h"
#include "tessel/language/builtins/support.h"
#include "tessel/language/function_values.h"
#include "tessel/messages.h"
#include "tessel/objects.h"
#include "tessel/runtime/arithmetic.h"

namespace tessel {
namespace {

HostArray count(std::size_t value) { return HostArray::scalar(static_cast<double>(value)); }

Arrays callLength(Arrays& in, int) {
  const Dimensions& dims = in[0].dims();
  return {count(in[0].isEmpty() ? 0 : *std::max_element(dims.begin(), dims.end()))};
}

FunctionInfo predicate(const char* name, bool (*holds)(const HostArray&), const char* help) {
  return {name, [=](Arrays& in, int) { return Arrays{HostArray::logical(holds(in[0]))}; }, 1, 1, 1, help};
}

bool isMatrix(const HostArray& a) { return a.dims().size() == 2; }
bool isNumberClass(const HostArray& a) { return a.isNumeric() || a.isLogical() || a.isChar(); }

Builtins predicates() {
  return {
      predicate(
          "isempty", [](const HostArray& a) { return a.isEmpty(); },
          "isempty(a): true for an array without elements."),
      predicate(
          "isscalar", [](const HostArray& a) { return a.isScalar(); }, "isscalar(a): true for one element."),
      predicate(
          "isvector", [](const HostArray& a) { return a.isVector(); },
          "isvector(a): true for one row or one column."),
      predicate(
          "isrow", [](const HostArray& a) { return isMatrix(a) && a.dim(0) == 1; },
          "isrow(a): true for one row."),
      predicate(
          "iscolumn", [](const HostArray& a) { return isMatrix(a) && a.dim(1) == 1; },
          "iscolumn(a): true for one column."),
      predicate("ismatrix", isMatrix, "ismatrix(a): true for two dimensions."),
      predicate(
          "issquare", [](const HostArray& a) { return isMatrix(a) && a.dim(0) == a.dim(1); },
          "issquare(a): true for as many rows as columns."),
      predicate(
          "isreal", [](const HostArray& a) { return isNumberClass(a) && !a.isComplex(); },
          "isreal(a): true for numbers, truth values and characters without imaginary parts."),
      predicate(
          "isnumeric", [](const HostArray& a) { return a.isNumeric(); }, "isnumeric(a): true for numbers."),
      predicate(
          "isfloat", [](const HostArray& a) { return a.isFloat(); }, "isfloat(a): true for double and single."),
      predicate(
          "isinteger", [](const HostArray& a) { return a.isInteger(); },
          "isinteger(a): true for the integer classes."),
      predicate(
          "islogical", [](const HostArray& a) { return a.isLogical(); },
          "islogical(a): true for truth values."),
      predicate(
          "ischar", [](const HostArray& a) { return a.isChar(); }, "ischar(a): true for texts."),
      predicate(
          "iscell", [](const HostArray& a) { return a.isCell(); }, "iscell(a): true for cell arrays."),
      predicate("iscellstr", isCellOfTexts, "iscellstr(a): true for cells of texts."),
      predicate(
          "isstruct", [](const HostArray& a) { return a.isStruct(); }, "isstruct(a): true for structures."),
      predicate(
          "isobject", [](const HostArray& a) { return a.isObject(); },
          "isobject(a): true for objects of a module's class."),
      predicate(
          "is_function_handle", [](const HostArray& a) { return a.isFunction(); },
          "is_function_handle(a): true for function handles."),
  };
}

/// A question that each number of an array answers; what holds no numbers, such as text, answers no.
template <class F>
FunctionInfo question(const char* name, F f, const char* help) {
  return {name,
          [=](Arrays& in, int) {
            requireNumeric(name, in[0]);
            return Arrays{mapElements(in[0], ArrayClass::Logical, f)};
          },
          1,
          1,
          1,
          help};
}

// Classes and their members

const HostClass* classOf(const HostArray& a) {
  if (a.isObject()) return a.isEmpty() ? findClass(a.className()) : &a.objectAt()->hostClass();
  return a.isChar() ? findClass(textArgument("class", a)) : nullptr;
}

const HostClass& classArgument(const char* function, const HostArray& a) {
  const HostClass* found = classOf(a);
  if (found == nullptr) {
    raiseError("Tessel:noSuchClass",
               fmt::format("Function '{}': an object or a class name is needed.", function));
  }
  return *found;
}

bool isOfClass(const HostArray& a, const std::string& name) {
  if (name == a.className()) return true;
  if (name == "numeric") return a.isNumeric();
  if (name == "float") return a.isFloat();
  if (name == "integer") return a.isInteger();
  const HostClass* wanted = findClass(name);
  const HostClass* own = a.isObject() ? classOf(a) : nullptr;
  return wanted != nullptr && own != nullptr && own->isA(*wanted);
}

Arrays callIsa(Arrays& in, int) { return {HostArray::logical(isOfClass(in[0], textArgument("isa", in[1])))}; }

Arrays callMethods(Arrays& in, int) {
  std::vector<std::string> names;
  for (const MethodInfo* method : classArgument("methods", in[0]).methods())
    if (!method->hidden) names.push_back(method->function.name);
  return {cellOfTexts(names, {names.size(), 1})};
}

Arrays callProperties(Arrays& in, int) {
  std::vector<std::string> names;
  for (const PropertyInfo* property : classArgument("properties", in[0]).properties())
    if (!property->hidden) names.push_back(property->name);
  return {cellOfTexts(names, {names.size(), 1})};
}

template <class Find>
FunctionInfo memberQuestion(const char* name, Find find, const char* help) {
  return {name,
          [=](Arrays& in, int) {
            const HostClass* hostClass = classOf(in[0]);
            return Arrays{HostArray::logical(hostClass != nullptr &&
                                             find(*hostClass, textArgument(name, in[1])) != nullptr)};
          },
          2,
          2,
          1,
          help};
}

void requireStructure(const char* function, const HostArray& a) {
  if (!a.isStruct()) raiseUndefinedFor(function, a);
}

Arrays callFieldnames(Arrays& in, int) {
  if (in[0].isObject()) return callProperties(in, 1);
  requireStructure("fieldnames", in[0]);
  return {cellOfTexts(in[0].fieldNames(), {in[0].fieldNames().size(), 1})};
}

Arrays callIsfield(Arrays& in, int) {
  const bool isStruct = in[0].isStruct();
  if (!in[1].isCell())
    return {HostArray::logical(isStruct && in[1].isText() && in[0].hasField(in[1].toText()))};
  HostArray result = HostArray::zeros(ArrayClass::Logical, in[1].dims());
  for (std::size_t k = 0; k < in[1].numel(); ++k) {
    const HostArray& name = in[1].cellAt(k);
    result.mutableReal<bool>()[k] = isStruct && name.isText() && in[0].hasField(name.toText());
  }
  return {result};
}

/// Refuses what is no single structure.
void requireOneStructure(const char* function, const HostArray& a) {
  requireStructure(function, a);
  if (!a.isScalar()) raiseInvalidArgument(function, "one structure is needed.");
}

[[noreturn]] void raiseNoField(const HostArray& structure, const std::string& name) {
  raiseError("Tessel:nonExistentField",
             "Reference to non-existent field '" + name + "'." + suggestion(name, structure.fieldNames()));
}

Arrays callGetfield(Arrays& in, int) {
  requireOneStructure("getfield", in[0]);
  const std::string name = textArgument("getfield", in[1]);
  if (!in[0].hasField(name)) raiseNoField(in[0], name);
  return {in[0].fieldAt(name)};
}

Arrays callSetfield(Arrays& in, int) {
  requireOneStructure("setfield", in[0]);
  HostArray result = in[0];
  result.mutableFieldAt(textArgument("setfield", in[1])) = in[2];
  return {result};
}

Arrays callRmfield(Arrays& in, int) {
  requireStructure("rmfield", in[0]);
  const std::vector<std::string> names = textsArgument("rmfield", in[1]);
  for (const std::string& name : names) {
    if (!in[0].hasField(name)) raiseNoField(in[0], name);
  }
  HostArray result = in[0];
  for (const std::string& name : names) result.removeField(name);
  return {result};
}

// Equality

/// What is still to be compared.
struct Comparison {
  std::vector<std::pair<const HostArray*, const HostArray*>> open;
  std::deque<HostArray> kept;  ///< those of `open` that nothing else holds

  const HostArray* keep(const Value& value) { return &kept.emplace_back(value.toArray()); }
};

bool elementsEqual(const HostArray& a, const HostArray& b) {
  const HostArray same = eq(a, b);
  return std::all_of(same.real<bool>(), same.real<bool>() + same.numel(), std::identity{});
}

/// Adds the values of the fields, in reverse order, if the fields are the same.
bool fieldsAgree(const HostArray& a, const HostArray& b, Comparison& inner) {
  if (a.fieldNames().size() != b.fieldNames().size()) return false;
  for (auto field = a.fieldNames().rbegin(); field != a.fieldNames().rend(); ++field) {
    if (!b.hasField(*field)) return false;
    for (std::size_t k = a.numel(); k-- > 0;)
      inner.open.emplace_back(&a.fieldAt(*field, k), &b.fieldAt(*field, k));
  }
  return true;
}

bool objectsIdentical(const HostArray& a, const HostArray& b) {
  for (std::size_t k = 0; k < a.numel(); ++k)
    if (a.objectAt(k) != b.objectAt(k)) return false;
  return true;
}

/// Adds the values that anonymous functions have kept, if their texts and the names of those are the same.
bool functionsAgree(const FunctionValue* a, const FunctionValue* b, Comparison& inner) {
  if (a == b) return true;
  if (a->text() != b->text()) return false;
  const auto* left = dynamic_cast<const AnonymousFunctionValue*>(a);
  if (!left) return true;
  const auto* right = &dynamic_cast<const AnonymousFunctionValue&>(*b);  // No name begins as its text does.
  if (left->captures().size() != right->captures().size()) return false;
  for (std::size_t k = 0; k < left->captures().size(); ++k) {
    const auto &mine = left->captures()[k], &other = right->captures()[k];
    if (left->code()->symbols->names()[mine.slot] != right->code()->symbols->names()[other.slot]) return false;
    inner.open.emplace_back(inner.keep(mine.value), inner.keep(other.value));
  }
  return true;
}

/// Compares all but the contents of cells, structures and functions, which are added to `inner`. Objects with a
/// method `isequal` answer by it.
bool areEqualOutside(const HostArray& a, const HostArray& b, Comparison& inner) {
  for (const HostArray* side : {&a, &b}) {
    const HostClass* hostClass = side->isObject() ? classOf(*side) : nullptr;
    if (hostClass != nullptr && hostClass->findMethod("isequal") != nullptr) {
      return callFunction("isequal", {a, b}).at(0).scalarValue() != 0;
    }
  }
  if (a.dims() != b.dims()) return false;
  if (isNumberClass(a) && isNumberClass(b)) return elementsEqual(a, b);
  if (a.arrayClass() != b.arrayClass()) return false;
  if (a.isStruct()) return fieldsAgree(a, b, inner);
  if (a.isCell()) {
    for (std::size_t k = a.numel(); k-- > 0;) inner.open.emplace_back(&a.cellAt(k), &b.cellAt(k));
    return true;
  }
  if (a.isFunction()) return functionsAgree(a.functionValue().get(), b.functionValue().get(), inner);
  return objectsIdentical(a, b);
}

/// Without recursion: cells and structures may be nested deeper than the stack is.
bool areEqual(const HostArray& a, const HostArray& b) {
  Comparison comparison{{{&a, &b}}, {}};
  while (!comparison.open.empty()) {
    const auto [left, right] = comparison.open.back();
    comparison.open.pop_back();
    if (!areEqualOutside(*left, *right, comparison)) return false;
    raiseIfInterrupted();
  }
  return true;
}

Arrays callIsequal(Arrays& in, int) {
  bool all = true;
  for (std::size_t k = 1; k < in.size(); ++k) all = all && areEqual(in[0], in[k]);
  return {HostArray::logical(all)};
}

Builtins questions() {
  const auto onReal = [](auto test) {
    return [test](auto x) -> bool { return test(std::real(x)) || test(std::imag(x)); };
  };
  return {
      {"numel", [](Arrays& in, int) { return Arrays{count(in[0].numel())}; }, 1, 1, 1,
       "numel(a): the number of elements."},
      {"ndims", [](Arrays& in, int) { return Arrays{count(in[0].dims().size())}; }, 1, 1, 1,
       "ndims(a): the number of dimensions."},
      {"length", callLength, 1, 1, 1, "length(a): the largest size; 0 for an empty array."},
      {"class", [](Arrays& in, int) { return Arrays{HostArray::text(in[0].className())}; }, 1, 1, 1,
       "class(a): the name of a's class."},
      {"isa", callIsa, 2, 2, 1,
       "isa(a, class): true for a class, a superclass, 'numeric', 'float' or 'integer'."},
      {"methods", callMethods, 1, 1, 1, "methods(class), methods(object): the names of a class's methods."},
      {"properties", callProperties, 1, 1, 1,
       "properties(class), properties(object): the names of a class's properties."},
      memberQuestion(
          "ismethod", [](const HostClass& c, const std::string& name) { return c.findMethod(name); },
          "ismethod(object, name): true for a method of the object's class."),
      memberQuestion(
          "isprop", [](const HostClass& c, const std::string& name) { return c.findProperty(name); },
          "isprop(object, name): true for a property of the object's class."),
      {"fieldnames", callFieldnames, 1, 1, 1, "fieldnames(s): the names of a structure's fields."},
      {"isfield", callIsfield, 2, 2, 1,
       "isfield(s, name), isfield(s, names): true for a field of structure s."},
      {"getfield", callGetfield, 2, 2, 1, "getfield(s, name): the value of a field: s.(name)."},
      {"setfield", callSetfield, 3, 3, 1,
       "setfield(s, name, value): the structure with a field set, maybe a new one."},
      {"rmfield", callRmfield, 2, 2, 1, "rmfield(s, name): the structure without a field."},
      {"isequal", callIsequal, 2, -1, 1, "isequal(a, b, ...): true for arrays with the same sizes and values."},
      question("isnan", onReal([](auto x) { return x != x; }),
               "isnan(a): true where an element is not a number."),
      question("isinf", onReal([](auto x) { return std::isinf(x); }),
               "isinf(a): true where an element is infinite."),
      question(
          "isfinite", [](auto x) -> bool { return std::isfinite(std::real(x)) && std::isfinite(std::imag(x)); },
          "isfinite(a): true where an element is finite."),
  };
}

}  // namespace

void registerInspectionBuiltins() {
  for (auto family : {predicates, questions}) registerAll(family());
}

}  // namespace tessel
