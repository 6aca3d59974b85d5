/// What a module registers with the host besides classes: enumerated types and feature switches.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tessel/api.h"
#include "tessel/array.h"

namespace tessel {

/// A named set of texts, each with a number. Users write the texts; case does not count when they are read.
struct EnumeratedType {
  std::string name;
  std::vector<std::pair<std::string, int>> values;

  /// The row whose text equals `text` without regard to case, or null.
  TESSEL_API const std::pair<std::string, int>* find(std::string_view text) const;
  /// The text of `value`, or null.
  TESSEL_API const std::string* textOf(int value) const;
};

/// Adds an enumerated type; the returned reference stays valid. Raises "Tessel:enumExists" when the name is
/// taken.
TESSEL_API const EnumeratedType& registerEnumeratedType(EnumeratedType type);
/// The enumerated type of that name, or null.
TESSEL_API const EnumeratedType* findEnumeratedType(std::string_view name);

/// Sets and reads a switch, called like a host function. Returns the switch's state in `outputs[0]`.
using FeatureSetter = void (*)(int outputCount, HostArray* outputs, int inputCount, const HostArray* inputs);

/// Adds a feature switch and sets it to its default. Scripts reach it with `feature(name)` and `feature(name,
/// value)`.
TESSEL_API void registerFeature(std::string_view name, double defaultValue, FeatureSetter setter);
/// The setter of a switch, or null.
TESSEL_API FeatureSetter findFeature(std::string_view name);
/// Names of all switches in order of registration.
TESSEL_API std::vector<std::string> featureNames();

/// A line of a program that shows what a function does, or a method ("fi.plus"), or a class ("embedded.fi").
struct Example {
  const char* name;
  const char* code;
};

/// Examples of what belongs together.
struct Theme {
  const char* title;
  std::span<const Example> examples;
};

/// Adds themes for help and the reference pages; again, nothing. What they point at must live as long as the
/// host.
TESSEL_API void registerThemes(std::span<const Theme> added);
/// All themes in order of registration.
TESSEL_API const std::vector<Theme>& themes();
/// The example of that name, or null.
TESSEL_API const char* findExample(std::string_view name);

/// Raise the host's errors for a wrong number of arguments:
/// "Tessel:TooManyInputs" / "Too many input arguments." and "Tessel:TooManyOutputs" / "Too many output
/// arguments.".
[[noreturn]] TESSEL_API void raiseTooManyInputs();
[[noreturn]] TESSEL_API void raiseTooManyOutputs();

}  // namespace tessel
