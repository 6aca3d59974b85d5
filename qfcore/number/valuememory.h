/// Memory for the values of arrays.
#pragma once

#include <cstddef>

namespace embedded {

/// `bytes` bytes of the C allocator, zeros if wanted. Raises "numforge:fi:outofmemory".
///
/// Large blocks lie on huge pages where the system has them, and freed ones wait for the next array of their
/// size: otherwise the arithmetic on a fresh array would be the smaller part of its cost, the larger being the
/// page faults. At most 256 MiB wait, and only until an array of another size is made.
void* allocateValues(std::size_t bytes, bool zeroed);
/// Frees what `allocateValues` gave for as many bytes; null is nothing.
void freeValues(void* block, std::size_t bytes) noexcept;

}  // namespace embedded
