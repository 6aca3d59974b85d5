/// Memory for the values of arrays.
#pragma once

#include <cstddef>

namespace embedded {

/// The host's memory for elements, zeros if wanted. Blocks of up to 64 kilobytes are taken from those that the
/// thread freed last: an operation on a few values, or a thousand, takes less time than the allocator would.
/// Raises "numforge:fi:outofmemory".
void* allocateValues(std::size_t bytes, bool zeroed);
void freeValues(void* start, std::size_t bytes) noexcept;

}  // namespace embedded
