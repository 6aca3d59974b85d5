/// What the families of built-in functions share: rows of functions, the reading of arguments, loops along a
/// dimension.
#pragma once

#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tessel/array.h"
#include "tessel/interpreter.h"
#include "tessel/runtime/arguments.h"
#include "tessel/runtime/lines.h"

namespace tessel {

/// One row of a family's table. The rows of families with a common shape are made by functions that return
/// them.
using Builtins = std::vector<FunctionInfo>;
void registerAll(Builtins rows);

/// Refuses what is neither floating-point nor logical nor char.
void requireFloat(std::string_view function, const HostArray& argument);
/// The texts of a char matrix (one a row) or of a cell of texts; "Tessel:mustBeText" for anything else.
std::vector<std::string> textsArgument(std::string_view function, const HostArray& argument);
/// The name of a file to be changed: one with a NUL would reach another file, whose name ends there.
std::string fileNameArgument(std::string_view function, const HostArray& argument);
bool isCellOfTexts(const HostArray& argument);
/// The texts in order, each once.
std::vector<std::string> withoutRepeats(const std::vector<std::string>& texts);
/// A cell of texts; `dims` must hold as many elements.
HostArray cellOfTexts(const std::vector<std::string>& texts, Dimensions dims);
/// How much a function reads, and in which shape: everything, a count, or rows and columns.
class ReadSize {
 public:
  /// Of argument `position`; everything without it, and for [] and Inf.
  ReadSize(std::string_view function, const Arrays& inputs, std::size_t position);
  /// At most so many elements are read.
  double count() const { return rows_ * columns_; }
  bool isShaped() const { return isShaped_; }
  /// The sizes for so many of them; a last column that is not full counts.
  Dimensions dims(std::size_t count) const;

 private:
  double rows_ = std::numeric_limits<double>::infinity(), columns_ = 1;
  bool isShaped_ = false;
};

/// The floating-point class for values of `a`: single for single, else double.
ArrayClass floatClass(const HostArray& a);

}  // namespace tessel
