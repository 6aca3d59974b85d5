/// Index expressions of several levels, such as `s(2).list{3}(1:4)`, for reference and assignment.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include <boost/container/small_vector.hpp>

#include "tessel/array.h"
#include "tessel/interpreter.h"
#include "tessel/objects.h"
#include "tessel/ranges.h"
#include "tessel/runtime/dispatch.h"

namespace tessel {

/// One level of an index expression: `(...)`, `{...}` or `.field`.
struct IndexLevel {
  enum class Kind { Paren, Brace, Field };
  Kind kind;
  Arrays subscripts;  ///< of parentheses and braces; a colon is the char ':'
  std::string field;  ///< of a field, a property or a method
};
using IndexPath = std::vector<IndexLevel>;
using IndexLevels = std::span<const IndexLevel>;

/// Reads an index structure: a structure array with one element a level and the fields "type" ("()", "{}" or
/// ".") and "subs" (a cell of subscripts, or the field's name). Raises "Tessel:badIndexStructure".
IndexPath readIndexStructure(const HostArray& structure);
/// The index structure of a path, for a method that takes one.
HostArray makeIndexStructure(IndexLevels path);

/// The value of `value` indexed by `path`: one array, or several where braces or a field select several
/// elements at the last level. A function value is called with the subscripts in parentheses; `outputCount` is
/// handed to it and to a method that comes last.
///
/// An object's class takes over with its method "subsref", which receives the levels that remain; without one,
/// fields are properties or methods (which take following parentheses as arguments) and parentheses select
/// objects.
///
/// Raises what `subsref` raises, "Tessel:nonExistentField", "Tessel:noSuchProperty",
/// "Tessel:cellRefFromNonCell", "Tessel:structRefFromNonStruct", and "Tessel:notOneValue" where several values
/// are indexed further.
Arrays reference(HostArray value, IndexLevels path, int outputCount = 1);
/// As `reference`, but passes over the method "subsref" of `value` itself.
Arrays builtinReference(const HostArray& value, IndexLevels path, int outputCount = 1);

/// Assigns `rhs` to what `path` selects; a 0-by-0 double `rhs` deletes where the last level is parentheses.
/// Levels that do not exist yet are created: structures for fields, cells for braces, and an empty array
/// becomes either. An object's class takes over with its method "subsasgn". When anything is raised `target` is
/// as it was.
///
/// Raises what `subsasgn` and `setProperty` raise, "Tessel:scalarStructRequired", "Tessel:cellAssignToNonCell",
/// "Tessel:fieldAssignToNonStruct", "Tessel:notOneValue" where a level selects several elements to go on with,
/// and "Tessel:parenLast".
void assign(HostArray& target, IndexLevels path, const HostArray& rhs);
/// As `assign`, but passes over the method "subsasgn" of `target` itself.
void builtinAssign(HostArray& target, IndexLevels path, const HostArray& rhs);

/// Ranges, of which a few stand in the list itself.
struct SubscriptRanges : boost::container::small_vector<IndexRange, 3> {
  operator IndexRanges() const { return {data(), size()}; }
};

/// The elements that `reference` gives for ranges in parentheses, without lists and index structures; nothing
/// where `reference` has to be called.
std::optional<HostArray> directElements(const HostArray& array, IndexRanges ranges);
/// The same for a property of an object.
std::optional<HostArray> directProperty(const HostArray& array, const MemberName& name);
/// The same for elements and `assign`: whether it has assigned.
bool assignDirectElements(HostArray& array, IndexRanges ranges, const HostArray& value);
/// What `end` stands for in subscript `place`, from 0, of `count`; nothing where a method has to be asked.
std::optional<std::size_t> directExtent(const HostArray& array, std::size_t place, std::size_t count);

/// The functions "subsref", "subsasgn" and "builtin".
std::vector<FunctionInfo> indexingFunctions();

}  // namespace tessel
