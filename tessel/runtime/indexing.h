/// Built-in indexing with parentheses: reference, assignment and deletion for arrays of every class.
///
/// A subscript is an array of positions that count from 1 (real, of any numeric class), a logical mask, or the
/// char
/// ':', which selects everything. One subscript is linear, over all dimensions; with fewer subscripts than the
/// array has dimensions, the last one runs over the trailing dimensions folded into one. Further subscripts
/// than dimensions select along dimensions of size 1.
///
/// Errors: "Tessel:badsubscript" for positions that are zero, negative, fractional, NaN or not real, and for
/// subscripts that are no numbers; "Tessel:functionIndexing" for a function value, which has no elements; each
/// function names its further ones. Whatever is raised, the array is as it was.
#pragma once

#include <optional>

#include "tessel/array.h"
#include "tessel/ranges.h"

namespace tessel {

/// True for the char ':'.
bool isColon(const HostArray& subscript);

/// The selected elements. A linear subscript gives its own shape, except that a vector indexed by a vector
/// keeps its own orientation, a colon gives a column, and a mask counts as the column (for a row: the row) of
/// the positions that are true. Several subscripts give one dimension each. Without subscripts, the array
/// itself. Raises "Tessel:badindex" for a position beyond the array.
HostArray subsref(const HostArray& array, const Arrays& subscripts);

/// The same for ranges, which need no lists of positions; nothing where `subsref` has to decide: for a position
/// beyond the array and for function values.
std::optional<HostArray> elementsAt(const HostArray& array, IndexRanges ranges);

/// Assigns `rhs`, or a scalar `rhs` to every selected element, in place when the array does not share its data.
///
/// Positions beyond the array let it grow; new elements are zero, false, blank or empty, objects are default
/// instances. A linear subscript grows vectors, scalars and 0-by-0 arrays only. A colon into a 0-by-0 array
/// takes the size of `rhs`. The array keeps its class: values are converted as `convertTo` does, so integers
/// saturate; an object is converted by its method named after the class. A 0-by-0 double array takes the class
/// of `rhs` instead. A complex `rhs` makes the array complex. Structures need the same fields, in any order;
/// cells need a cell.
///
/// Raises "Tessel:subsassigndimmismatch", "Tessel:subsassignnumelmismatch", "Tessel:growresize",
/// "Tessel:cellRhsRequired", "Tessel:dissimilarStructures", "Tessel:conversionNotPossible" and what `convertTo`
/// raises.
void subsasgn(HostArray& array, const Arrays& subscripts, const HostArray& rhs);

/// The same for ranges; returns false where `subsasgn` has to do it: where the array would grow, or `rhs` has
/// another class or does not fit.
bool assignAt(HostArray& array, IndexRanges ranges, const HostArray& rhs);

/// Deletes the selected elements. A linear subscript leaves a column of a column and a row of anything else;
/// with several subscripts all but one must be colons (or select their whole dimension), and that one's slices
/// go. Selecting nothing changes nothing. Raises "Tessel:subsdeldimmismatch" and "Tessel:subsdelnumelmismatch".
void deleteElements(HostArray& array, const Arrays& subscripts);

}  // namespace tessel
