/// Layouts of stored integers in integer arrays: 32-bit chunks, 64-bit words, sign extension.
#pragma once

#include <cstddef>
#include <vector>

#include "qfcore/types/numerictype.h"
#include "tessel/array.h"

namespace embedded {

/// An integer array in memory of the block-diagram side: column-major buffers of one element class.
struct CorvaneArray {
  tessel::ArrayClass elementClass = tessel::ArrayClass::Double;
  tessel::Dimensions dims{0, 0};
  std::vector<std::byte> real, imag;  ///< `imag` is empty for a real array

  std::size_t numel() const;
};

// The chunks of an element follow one another, least significant first, along the first dimension. Word length
// and sign are those of `type`.

/// Fills the bits above the word of negative elements with ones. Only signed words of more than 32 bits whose
/// length is no multiple of 32 have such bits; others stay. `chunks` is uint32.
void addSignExtension32BitIntArray(tessel::HostArray& chunks, const EmbeddedTypeSystem::NumericType& type);
/// Clears the same bits.
void removeSignExtension32BitIntArray(tessel::HostArray& chunks, const EmbeddedTypeSystem::NumericType& type);
/// Joins pairs of 32-bit chunks, the upper half of a last single one filled by the sign. The result is int64
/// where a signed element takes one word, else uint64.
tessel::HostArray convert32BitIntArrayTo64BitIntArray(const tessel::HostArray& chunks,
                                                      const EmbeddedTypeSystem::NumericType& type);
/// Splits 64-bit words into as many 32-bit chunks as the word needs; the result is int32 where a signed element
/// takes one chunk, else uint32. An int32 or uint32 array comes back as it is. Raises
/// "numforge:fi:intarray:not_uint32" for other classes and "numforge:fi:intarray:leadingdim" for a first
/// dimension that holds no whole elements.
tessel::HostArray convert64BitIntArrayTo32BitIntArray(tessel::HostArray words,
                                                      const EmbeddedTypeSystem::NumericType& type);

/// Raises "numforge:fi:intarray:leadingdim" unless the first dimension is a multiple of `chunksEach`.
void requireWholeElements(const tessel::HostArray& chunks, std::size_t chunksEach);
[[noreturn]] void failNotUint32();

}  // namespace embedded
