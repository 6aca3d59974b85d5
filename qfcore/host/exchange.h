/// Arrays beside the objects of scripts: for programs that hold host objects and use the classes directly.
#pragma once

#include "qfcore/fi/fi.h"
#include "tessel/array.h"

namespace embedded {

/// The array that an object of class `embedded.fi` holds, or null for everything else. It lives as long as the
/// object.
QFCORE_API fi* heldArray(const tessel::HostArray& object);

}  // namespace embedded
