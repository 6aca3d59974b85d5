/// Memory for the values of arrays.
#pragma once

#include "qfcore/number/messages.h"
#include "tessel/memory.h"

namespace embedded {

/// The host's memory for elements, zeros if wanted. Raises "numforge:fi:outofmemory".
inline void* allocateValues(std::size_t bytes, bool zeroed) {
  void* start = tessel::allocateElements(bytes, zeroed);
  if (!start) fail<message::outOfMemory>();
  return start;
}

}  // namespace embedded
