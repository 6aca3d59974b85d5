/// The linear-algebra library, loaded when the first of its functions is asked for: most programs start
/// without.
#pragma once

namespace tessel {

/// The function of that name, with C linkage. Raises "Tessel:libraryNotLoaded".
void* linearAlgebraFunction(const char* name);

}  // namespace tessel
