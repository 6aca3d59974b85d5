/// What users see of an array, and what they have asked to see.
#pragma once

#include <string>
#include <string_view>

#include "qfcore/fi/fi.h"

namespace embedded {

/// What the display of an array consists of; one for the whole module.
struct DisplaySettings {
  enum class Values { RealWorldValue, Int, Bin, Oct, Dec, Hex, None };
  /// The type in short in the heading, or all its properties behind the values.
  enum class Type { Short, Full, None };
  /// Of the math settings those that differ from the default ones, or all.
  enum class Math { Changed, Full, None };

  Values values = Values::RealWorldValue;
  Type type = Type::Short;
  Math math = Math::Changed;
};
QFCORE_API DisplaySettings& displaySettings();

const EmbeddedTypeSystem::EnumTable& tableOf(DisplaySettings::Values);
const EmbeddedTypeSystem::EnumTable& tableOf(DisplaySettings::Type);
const EmbeddedTypeSystem::EnumTable& tableOf(DisplaySettings::Math);

/// The lines of the values, as `displaySettings` says. `name` heads the pages of arrays with more than two
/// dimensions.
///
/// Real-world values of fixed-point types are exact where a row of them fits a line, or the host's format is
/// long. Elsewhere they are rounded to so many decimals that neighbours in the type still differ.
QFCORE_API std::string displayedValues(const fi& array, std::string_view name = {});

/// Name, type in short and how values are shown, the values, then the settings that are asked for.
QFCORE_API std::string displayedArray(const fi& array, std::string_view name);

/// The real-world value of every element as decimal text, exactly; complex ones as "1.5-2i". Where values are
/// no multiples of a power of two (slope-bias scaling, ScaledDouble, double, single) the shortest text that
/// gives the same double.
QFCORE_API std::vector<std::string> exactTexts(const fi& array);

}  // namespace embedded
