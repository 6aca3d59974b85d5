/// What users prefer: the function `fipref`.
#pragma once

#include "qfcore/host/binding.h"

namespace embedded::host {

/// Whether the construction of an array warns of values that its type does not hold.
bool warnsOfOverflow();

/// fipref, fipref(name, value, ...), fipref(structure). Raises "numforge:fipref:badsignature".
Arrays fiPreferences(Arrays& inputs, int outputCount);

inline constexpr const char* kPreferencesHelp =
    "fipref, fipref(name, value, ...), fipref(s): what the display of arrays shows, and what is recorded.\n"
    "  NumberDisplay       'RealWorldValue', or the stored integers as 'int', 'bin', 'oct', 'dec', 'hex'; "
    "'none'\n"
    "  NumericTypeDisplay  'short': in the heading, 'full': all properties, 'none'\n"
    "  FimathDisplay       'changed': settings that differ from the default ones, 'full', 'none'\n"
    "  LoggingMode         'On', 'Off': counts and extremes of all arrays are recorded\n"
    "  OverflowWarning     'On', 'Off': making an array warns of values that its type does not hold\n"
    "fipref returns the settings; fipref(s) restores them.";

}  // namespace embedded::host
