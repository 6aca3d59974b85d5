/// Variables in files.
///
/// A file begins with the eight bytes "TesselV1" and a checksum of what follows: FNV-1a in 64 bits. Then come
/// the variables, each a name and a value, to the end of the file. All numbers are little-endian.
///
///     text    length (64 bits), bytes
///     sizes   how many there are (64 bits), one after the other (64 bits each)
///     value   class (8 bits, the numbers of ArrayClass), sizes, and:
///       numbers, truth values, characters   1 for complex ones or 0 (8 bits), the real parts column by column,
///       the
///                                           imaginary parts
///       cell     a value an element
///       struct   how many fields there are (64 bits), their names, the values of each field an element
///       object   the class's name, a value an element: what the class makes objects of again
///       function the text "@name" or "@(x) ...", the file it stood in, how many values it holds (64 bits),
///       their
///                names and values
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tessel/array.h"

namespace tessel {

struct NamedArray {
  std::string name;
  HostArray value;
};

/// The content of a file with these variables. Raises "Tessel:cannotSave" for objects of classes that cannot be
/// kept, handles of functions that only their file knows, and values nested too deeply.
std::string storedVariables(std::span<const NamedArray> variables);

/// The variables in the content of a file. Raises "Tessel:badFile" for what is none, or not whole, and
/// "Tessel:noSuchClass" for objects of classes that are not known here. `file` is named in errors.
std::vector<NamedArray> restoredVariables(std::string_view content, const std::string& file);

}  // namespace tessel
