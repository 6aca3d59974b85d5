/// Memory for the elements of arrays, the host's and the modules'.
#pragma once

#include <cstddef>

#include "tessel/api.h"

namespace tessel {

/// `bytes` bytes of the C allocator, zeros if wanted; null where there are none.
///
/// Large blocks lie on huge pages where the system has them, and freed ones wait for the next array of their
/// size: otherwise what fills a fresh array would be the smaller part of its cost, the larger being the page
/// faults. At most 256 MiB wait, and a block only until a few arrays of other sizes were made.
TESSEL_API void* allocateElements(std::size_t bytes, bool zeroed);
/// Frees what `allocateElements` gave for as many bytes; null is nothing.
TESSEL_API void freeElements(void* block, std::size_t bytes) noexcept;

}  // namespace tessel
