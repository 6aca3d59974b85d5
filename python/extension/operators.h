/// Operators of objects.
#pragma once

#include <vector>

#include "python/extension/python.h"

namespace face {

/// Slots of the base type: arithmetic and comparison by the methods of the table, straight where the shapes of
/// two arrays agree or one is a single number; everything else goes to the hook "operator".
std::vector<PyType_Slot> operatorSlots();

}  // namespace face
