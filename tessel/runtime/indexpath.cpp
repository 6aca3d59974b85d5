#include "tessel/runtime/indexpath.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "tessel/messages.h"
#include "tessel/objects.h"
#include "tessel/runtime/arraydata.h"
#include "tessel/runtime/dispatch.h"
#include "tessel/runtime/indexing.h"
#include "tessel/runtime/positions.h"

namespace tessel {

namespace {

using Kind = IndexLevel::Kind;

[[noreturn]] void raiseNotOneValue() {
  raiseError("Tessel:notOneValue",
             "Only one value can be indexed further, but the expression selects none or several.");
}

[[noreturn]] void raiseBadStructure() {
  raiseError("Tessel:badIndexStructure",
             "An index structure has the fields 'type' ('()', '{}' or '.') and 'subs' (a cell of subscripts or "
             "a name).");
}

// Index structures

const std::vector<std::string> kStructureFields{"type", "subs"};

IndexLevel readLevel(const HostArray& type, const HostArray& subs) {
  const char first = type.isText() && !type.isEmpty() ? *type.real<char>() : '\0';
  if (first == '.' && subs.isText()) return {Kind::Field, {}, subs.toText()};
  if ((first != '(' && first != '{') || !subs.isCell()) raiseBadStructure();
  IndexLevel level{first == '(' ? Kind::Paren : Kind::Brace, {}, {}};
  for (std::size_t i = 0; i < subs.numel(); ++i) level.subscripts.push_back(subs.cellAt(i));
  return level;
}

/// Makes `subs` the subscripts or the name of a level; a cell of their number is filled anew.
void setSubs(HostArray& subs, const IndexLevel& level) {
  if (level.kind == Kind::Field) {
    subs = HostArray::text(level.field);
    return;
  }
  const std::size_t count = level.subscripts.size();
  const bool fits = subs.isCell() && subs.dim(0) == 1 && subs.dim(1) == count && subs.dims().size() == 2;
  if (!fits) subs = HostArray::cell({1, count});
  for (std::size_t i = 0; i < count; ++i) subs.mutableCellAt(i) = level.subscripts[i];
}

const HostArray& typeOf(const IndexLevel& level) {
  static const HostArray types[] = {HostArray::text("()"), HostArray::text("{}"), HostArray::text(".")};
  return types[static_cast<std::size_t>(level.kind)];
}

/// An index structure of one level that no call uses at the moment, or another array. Loops index objects again
/// and again; building the structure would cost more than what most of them do with it.
HostArray spareStructure;

/// Keeps the index structure, `inputs[1]`, that a method has been called with for the next call, without the
/// subscripts; unless the method holds it or has made it another one.
void keepSpare(Arrays& inputs) {
  if (inputs.size() < 2 || !inputs[1].isStruct() || ArrayAccess::isShared(inputs[1])) return;
  if (inputs[1].numel() != 1 || inputs[1].fieldNames() != kStructureFields) return;
  HostArray& subs = ArrayAccess::fields(inputs[1]).values[1][0];
  if (!subs.isCell() || ArrayAccess::isShared(subs)) return;
  for (std::size_t i = 0; i < subs.numel(); ++i) subs.mutableCellAt(i) = HostArray();
  spareStructure.swap(inputs[1]);
}

const MemberName kSubsref{"subsref"}, kSubsasgn{"subsasgn"};

/// How the class of a scalar object gives single elements; null for other arrays of objects.
const ElementAccess* elementAccess(const HostArray& array) {
  if (!array.isScalar() || array.objectAt() == nullptr) return nullptr;
  const auto& access = array.objectAt()->hostClass().elementAccess();
  return access ? &*access : nullptr;
}

/// Whether the built-in indexing deals with the level: the class of an object has no method of this name, or
/// one that would hand the level on.
bool isBuiltin(const HostArray& array, const IndexLevel& level, const MemberName& method) {
  if (findMethodOf(array, method) == nullptr) return true;
  return level.kind != Kind::Paren && elementAccess(array) != nullptr;
}

/// The subscripts of the last level of a path, where all are scalars; else none.
SubscriptRanges lastScalars(IndexLevels path) {
  SubscriptRanges ranges;
  if (path.size() != 1) return ranges;
  for (const HostArray& subscript : path[0].subscripts) {
    const bool isNumber =
        subscript.arrayClass() == ArrayClass::Double && subscript.isScalar() && !subscript.isComplex();
    const auto range = isNumber ? IndexRange::at(*subscript.real<double>()) : std::nullopt;
    if (!range) return {};
    ranges.push_back(*range);
  }
  return ranges;
}

// Reference

Arrays braceContents(const HostArray& array, const Arrays& subscripts) {
  if (!array.isCell()) {
    raiseError("Tessel:cellRefFromNonCell", "Cell contents reference from a non-cell array object.");
  }
  if (const auto position = scalarPosition(array, subscripts)) return {array.cellAt(*position)};
  const HostArray selected = subsref(array, subscripts);
  Arrays contents;
  for (std::size_t i = 0; i < selected.numel(); ++i) contents.push_back(selected.cellAt(i));
  return contents;
}

Arrays fieldContents(const HostArray& array, const std::string& field) {
  if (!array.isStruct()) {
    raiseError("Tessel:structRefFromNonStruct", "Attempt to reference field '" + field +
                                                    "' of a value of class '" + array.className() +
                                                    "', which has no fields.");
  }
  if (!array.hasField(field)) {
    raiseError("Tessel:nonExistentField",
               "Reference to non-existent field '" + field + "'." + suggestion(field, array.fieldNames()));
  }
  Arrays contents;
  for (std::size_t i = 0; i < array.numel(); ++i) contents.push_back(array.fieldAt(field, i));
  return contents;
}

Arrays propertyValues(const HostArray& objects, const std::string& property) {
  Arrays values;
  for (std::size_t i = 0; i < objects.numel(); ++i) {
    values.push_back(getProperty(HostArray::object(objects.objectAt(i)), property));
  }
  return values;
}

/// Continues with the levels behind `results`.
Arrays follow(Arrays results, IndexLevels rest, int outputCount) {
  if (rest.empty()) return results;
  if (results.size() != 1) raiseNotOneValue();
  return reference(std::move(results[0]), rest, outputCount);
}

/// A property, or a method with the arguments of the parentheses that follow.
Arrays memberReference(const HostArray& object, IndexLevels path, int outputCount) {
  const std::string& name = path[0].field;
  const HostClass* hostClass = objectClass(object);
  const bool isProperty = hostClass == nullptr || hostClass->findProperty(name) != nullptr;
  const MethodInfo* method = isProperty ? nullptr : hostClass->findMethod(name);
  if (method == nullptr) return follow(propertyValues(object, name), path.subspan(1), outputCount);
  Arrays arguments{object};
  std::size_t consumed = 1;
  if (path.size() > 1 && path[1].kind == Kind::Paren) {
    arguments.insert(arguments.end(), path[1].subscripts.begin(), path[1].subscripts.end());
    consumed = 2;
  }
  const IndexLevels rest = path.subspan(consumed);
  return follow(invoke(*method, arguments, rest.empty() ? outputCount : 1), rest, outputCount);
}

Arrays parenReference(const HostArray& value, IndexLevels path, int outputCount) {
  if (!value.isFunction()) return {subsref(value, path[0].subscripts)};
  return callFunctionValue(*value.functionValue(), path[0].subscripts, path.size() == 1 ? outputCount : 1);
}

// Assignment

/// The position of the only element that the subscripts select, or nothing when it lies beyond the array.
std::optional<std::size_t> onlyPosition(const HostArray& array, const Arrays& subscripts) {
  if (const auto position = scalarPosition(array, subscripts)) return position;
  if (subscripts.empty()) raiseNotOneValue();
  const Dimensions extents = folded(array.dims(), subscripts.size());
  std::vector<Positions> positions;
  bool exists = true;
  for (std::size_t d = 0; d < subscripts.size(); ++d) {
    positions.push_back(readSubscript(subscripts[d], extents[d]));
    if (positions[d].count != 1) raiseNotOneValue();
    exists = exists && positions[d].needed <= extents[d];
  }
  if (!exists) return std::nullopt;
  return combined(positions, extents)[0];
}

/// True for an empty array that may become a structure or a cell.
bool isNothingYet(const HostArray& array) { return array.isEmpty() && array.arrayClass() <= ArrayClass::Char; }

bool isDeletion(const HostArray& rhs) {
  return rhs.arrayClass() == ArrayClass::Double && !rhs.isComplex() && rhs.dims() == Dimensions{0, 0};
}

/// Assigns to what lies behind the levels handled so far.
void assignRest(HostArray& slot, IndexLevels rest, const HostArray& rhs) {
  if (rest.empty())
    slot = rhs;
  else
    assign(slot, rest, rhs);
}

HostArray newContent(IndexLevels rest, const HostArray& rhs) {
  HostArray content;
  assignRest(content, rest, rhs);
  return content;
}

void assignByMethod(const MethodInfo& method, HostArray& target, IndexLevels path, const HostArray& rhs) {
  Arrays inputs = arraysOf(HostArray(), makeIndexStructure(path), rhs);
  inputs[0] = std::move(target);
  try {
    Arrays outputs = invoke(method.function, inputs, 1);
    target = std::move(outputs.empty() ? inputs[0] : outputs[0]);
    keepSpare(inputs);
  } catch (...) {
    target = std::move(inputs[0]);
    throw;
  }
}

void assignProperty(HostArray& object, IndexLevels path, const HostArray& rhs) {
  const std::string& name = path[0].field;
  if (!object.isScalar()) raiseNotOneValue();
  if (path.size() == 1) {
    setProperty(object, name, rhs);
  } else {
    HostArray value = getProperty(object, name);
    assign(value, path.subspan(1), rhs);
    setProperty(object, name, value);
  }
}

/// Assigns to a field of one existing element; a field that does not exist appears once its content has.
void assignElementField(HostArray& structure, std::size_t position, const std::string& field, IndexLevels rest,
                        const HostArray& rhs) {
  if (structure.hasField(field))
    assignRest(structure.mutableFieldAt(field, position), rest, rhs);
  else {
    HostArray content = newContent(rest, rhs);
    structure.mutableFieldAt(field, position) = std::move(content);
  }
}

void assignField(HostArray& target, IndexLevels path, const HostArray& rhs) {
  if (target.isObject()) return assignProperty(target, path, rhs);
  if (!target.isStruct() && !isNothingYet(target)) {
    raiseError("Tessel:fieldAssignToNonStruct",
               "A value of class '" + target.className() + "' has no fields to assign.");
  }
  if (target.numel() > 1) {
    raiseError("Tessel:scalarStructRequired",
               "A field can be assigned to one structure only, not to an array of them.");
  }
  const IndexLevels rest = path.subspan(1);
  if (target.isScalar()) return assignElementField(target, 0, path[0].field, rest, rhs);
  HostArray created =
      HostArray::structure({1, 1}, target.isStruct() ? target.fieldNames() : std::vector<std::string>{});
  assignElementField(created, 0, path[0].field, rest, rhs);
  target = std::move(created);
}

void assignBrace(HostArray& target, IndexLevels path, const HostArray& rhs) {
  const Arrays& subscripts = path[0].subscripts;
  const IndexLevels rest = path.subspan(1);
  if (!target.isCell() && !isNothingYet(target)) {
    raiseError("Tessel:cellAssignToNonCell", "Cell contents assignment to a non-cell array object.");
  }
  if (const auto position = onlyPosition(target, subscripts)) {
    return assignRest(target.mutableCellAt(*position), rest, rhs);
  }
  HostArray element = HostArray::cell({1, 1});
  element.mutableCellAt(0) = newContent(rest, rhs);
  if (target.isCell()) return subsasgn(target, subscripts, element);
  HostArray created = HostArray::cell({0, 0});
  subsasgn(created, subscripts, element);
  target = std::move(created);
}

/// `s(i).field… = rhs`
void assignStructElement(HostArray& target, IndexLevels path, const HostArray& rhs) {
  const Arrays& subscripts = path[0].subscripts;
  const std::string& field = path[1].field;
  const IndexLevels rest = path.subspan(2);
  const auto position = onlyPosition(target, subscripts);
  if (position) return assignElementField(target, *position, field, rest, rhs);
  HostArray grown = target.isStruct() ? target : HostArray::structure({0, 0});
  ArrayAccess::addField(grown, field);
  HostArray element = HostArray::structure({1, 1}, grown.fieldNames());
  element.mutableFieldAt(field) = newContent(rest, rhs);
  subsasgn(grown, subscripts, element);
  target = std::move(grown);
}

void assignParen(HostArray& target, IndexLevels path, const HostArray& rhs) {
  const Arrays& subscripts = path[0].subscripts;
  if (path.size() == 1)
    return isDeletion(rhs) ? deleteElements(target, subscripts) : subsasgn(target, subscripts, rhs);
  if (path[1].kind == Kind::Paren) {
    raiseError("Tessel:parenLast", "()-indexing must appear last in an index expression.");
  }
  if (path[1].kind == Kind::Field && (target.isStruct() || isNothingYet(target))) {
    return assignStructElement(target, path, rhs);
  }
  const bool isNewObject = target.isObject() && !onlyPosition(target, subscripts);
  HostArray element = isNewObject && objectClass(target) != nullptr ? objectClass(target)->create({})
                                                                    : subsref(target, subscripts);
  assign(element, path.subspan(1), rhs);
  subsasgn(target, subscripts, element);
}

Arrays callSubsref(Arrays& inputs, int outputCount) {
  return builtinReference(inputs[0], readIndexStructure(inputs[1]), outputCount);
}

Arrays callSubsasgn(Arrays& inputs, int) {
  builtinAssign(inputs[0], readIndexStructure(inputs[1]), inputs[2]);
  return {std::move(inputs[0])};
}

Arrays callByName(Arrays& inputs, int outputCount) {
  return callBuiltin(inputs[0].toText(), Arrays(std::next(inputs.begin()), inputs.end()), outputCount);
}

}  // namespace

IndexPath readIndexStructure(const HostArray& structure) {
  if (!structure.hasField("type") || !structure.hasField("subs")) raiseBadStructure();
  IndexPath path;
  for (std::size_t i = 0; i < structure.numel(); ++i) {
    path.push_back(readLevel(structure.fieldAt("type", i), structure.fieldAt("subs", i)));
  }
  return path;
}

HostArray makeIndexStructure(IndexLevels path) {
  HostArray structure = path.size() == 1 ? std::exchange(spareStructure, HostArray()) : HostArray();
  if (!structure.isStruct()) structure = HostArray::structure({1, path.size()}, kStructureFields);
  auto& columns = ArrayAccess::fields(structure).values;
  for (std::size_t i = 0; i < path.size(); ++i) {
    columns[0][i] = typeOf(path[i]);
    setSubs(columns[1][i], path[i]);
  }
  return structure;
}

std::optional<HostArray> directElements(const HostArray& array, IndexRanges ranges) {
  if (ranges.empty()) return std::nullopt;
  if (!array.isObject()) return elementsAt(array, ranges);
  if (const ElementAccess* access = elementAccess(array)) return access->elements(*array.objectAt(), ranges);
  return findMethodOf(array, kSubsref) == nullptr ? elementsAt(array, ranges) : std::nullopt;
}

std::optional<HostArray> directProperty(const HostArray& array, const MemberName& name) {
  if (!array.isObject() || !array.isScalar() || array.objectAt() == nullptr) return std::nullopt;
  if (findMethodOf(array, kSubsref) != nullptr && elementAccess(array) == nullptr) return std::nullopt;
  // A getter may assign to the variable that holds the array.
  // NOLINTNEXTLINE(performance-unnecessary-copy-initialization)
  const std::shared_ptr<HostObject> object = array.objectAt();
  const PropertyInfo* property = name.propertyOf(object->hostClass());
  return property == nullptr ? std::nullopt : std::optional(property->get(*object));
}

bool assignDirectElements(HostArray& array, IndexRanges ranges, const HostArray& value) {
  if (ranges.empty()) return false;
  if (!array.isObject()) return assignAt(array, ranges, value);
  const ElementAccess* access = elementAccess(array);
  return access != nullptr && access->assign(array.mutableObject(), ranges, value);
}

std::optional<std::size_t> directExtent(const HostArray& array, std::size_t place, std::size_t count) {
  if (!array.isObject()) return extentOf(array.dims(), place, count);
  const ElementAccess* access = elementAccess(array);
  return access == nullptr ? std::nullopt : std::optional(access->extent(*array.objectAt(), place, count));
}

Arrays reference(HostArray value, IndexLevels path, int outputCount) {
  if (path.empty() || isBuiltin(value, path[0], kSubsref)) return builtinReference(value, path, outputCount);
  if (auto elements = directElements(value, lastScalars(path))) return arraysOf(*std::move(elements));
  const MethodInfo* method = findMethodOf(value, kSubsref);
  Arrays inputs = arraysOf(std::move(value), makeIndexStructure(path));
  Arrays results = invoke(method->function, inputs, outputCount);
  keepSpare(inputs);
  return results;
}

Arrays builtinReference(const HostArray& value, IndexLevels path, int outputCount) {
  if (path.empty()) return {value};
  if (path[0].kind == Kind::Field && value.isObject()) return memberReference(value, path, outputCount);
  const IndexLevels rest = path.subspan(1);
  switch (path[0].kind) {
    case Kind::Brace: return follow(braceContents(value, path[0].subscripts), rest, outputCount);
    case Kind::Field: return follow(fieldContents(value, path[0].field), rest, outputCount);
    default: return follow(parenReference(value, path, outputCount), rest, outputCount);
  }
}

void assign(HostArray& target, IndexLevels path, const HostArray& rhs) {
  if (path.empty() || isBuiltin(target, path[0], kSubsasgn)) return builtinAssign(target, path, rhs);
  if (!assignDirectElements(target, lastScalars(path), rhs))
    assignByMethod(*findMethodOf(target, kSubsasgn), target, path, rhs);
}

void builtinAssign(HostArray& target, IndexLevels path, const HostArray& rhs) {
  // `rhs` may lie inside of `target`.
  const HostArray value = rhs;  // NOLINT(performance-unnecessary-copy-initialization)
  if (path.empty()) {
    target = value;
    return;
  }
  switch (path[0].kind) {
    case Kind::Paren: return assignParen(target, path, value);
    case Kind::Brace: return assignBrace(target, path, value);
    case Kind::Field: return assignField(target, path, value);
  }
}

std::vector<FunctionInfo> indexingFunctions() {
  return {
      {"subsref", callSubsref, 2, 2, -1,
       "B = subsref(A, S): A indexed by the index structure S, as B = A(...) does.\n"
       "S has one element a level of indexing and the fields 'type' ('()', '{}' or '.') and 'subs' (a cell of\n"
       "subscripts, in which ':' selects everything, or the name of a field or property)."},
      {"subsasgn", callSubsasgn, 3, 3, 1,
       "A = subsasgn(A, S, B): A after the assignment A(...) = B, with S as in subsref.\n"
       "An empty B, 0-by-0 of class double, deletes the elements that the parentheses select."},
      {"builtin", callByName, 1, -1, -1,
       "[...] = builtin(name, ...): calls the built-in function of that name, passing over the methods of "
       "objects."}};
}

}  // namespace tessel
