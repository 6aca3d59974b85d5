#include "qfcore/fi/intarray.h"

#include <algorithm>
#include <cstdint>
#include <numeric>

#include "qfcore/number/errors.h"

namespace embedded {

using EmbeddedTypeSystem::NumericType;
using tessel::ArrayClass;
using tessel::HostArray;

namespace {

constexpr Message kNotUint32{"numforge:fi:intarray:not_uint32",
                             "Integer array must be uint32 when wordLength is greater than 32."};
constexpr Message kLeadingDimension{"numforge:fi:intarray:leadingdim",
                                    "First dimension of integer array must be divisible by %d."};

std::size_t chunksOf(const NumericType& type) {
  return (static_cast<std::size_t>(type.wordLength()) + 31) / 32;
}
std::size_t wordsOf(const NumericType& type) { return (static_cast<std::size_t>(type.wordLength()) + 63) / 64; }

unsigned topBitsOf(const NumericType& type) { return static_cast<unsigned>(type.wordLength()) % 32; }

bool hasBitsAboveWord(const NumericType& type) {
  return type.isSigned() && type.wordLength() > 32 && topBitsOf(type) != 0;
}

/// Calls `visit(chunk)` with the most significant chunk of every element, real and imaginary.
template <class Visit>
void forEachTopChunk(HostArray& chunks, const NumericType& type, Visit visit) {
  requireWholeElements(chunks, chunksOf(type));
  const auto visitPart = [&](std::uint32_t* part) {
    for (std::size_t i = chunksOf(type) - 1; i < chunks.numel(); i += chunksOf(type)) visit(part[i]);
  };
  visitPart(chunks.mutableReal<std::uint32_t>());
  if (chunks.isComplex()) visitPart(chunks.mutableImag<std::uint32_t>());
}

HostArray withFirstDimension(const HostArray& array, std::size_t from, std::size_t to, ArrayClass arrayClass) {
  tessel::Dimensions dims = array.dims();
  dims[0] = dims[0] / from * to;
  return HostArray::zeros(arrayClass, dims, array.isComplex());
}

void joinChunks(const std::uint32_t* chunks, std::size_t count, const NumericType& type, std::uint64_t* words) {
  const std::size_t chunksEach = chunksOf(type), wordsEach = wordsOf(type);
  for (; count > 0; count -= chunksEach, chunks += chunksEach, words += wordsEach) {
    const bool isNegative = type.isSigned() && (chunks[chunksEach - 1] >> 31) != 0;
    for (std::size_t i = 0; i < wordsEach; ++i) {
      const bool hasUpper = 2 * i + 1 < chunksEach;
      const std::uint64_t upper = hasUpper ? chunks[2 * i + 1] : isNegative ? 0xFFFFFFFFU : 0U;
      words[i] = upper << 32 | chunks[2 * i];
    }
  }
}

void splitWords(const std::uint64_t* words, std::size_t count, const NumericType& type, std::uint32_t* chunks) {
  const std::size_t chunksEach = chunksOf(type), wordsEach = wordsOf(type);
  for (; count > 0; count -= wordsEach, words += wordsEach, chunks += chunksEach) {
    for (std::size_t i = 0; i < chunksEach; ++i)
      chunks[i] = static_cast<std::uint32_t>(words[i / 2] >> (i % 2 * 32));
  }
}

}  // namespace

std::size_t CorvaneArray::numel() const {
  return std::accumulate(dims.begin(), dims.end(), std::size_t{1}, std::multiplies<>());
}

void failNotUint32() { fail<kNotUint32>(); }

void requireWholeElements(const HostArray& chunks, std::size_t chunksEach) {
  if (chunks.dim(0) % chunksEach != 0) fail<kLeadingDimension>(static_cast<int>(chunksEach));
}

void addSignExtension32BitIntArray(HostArray& chunks, const NumericType& type) {
  if (!hasBitsAboveWord(type)) return;
  const unsigned bits = topBitsOf(type);
  forEachTopChunk(chunks, type, [bits](std::uint32_t& chunk) {
    if ((chunk >> (bits - 1) & 1U) != 0) chunk |= ~0U << bits;
  });
}

void removeSignExtension32BitIntArray(HostArray& chunks, const NumericType& type) {
  if (!hasBitsAboveWord(type)) return;
  const unsigned bits = topBitsOf(type);
  forEachTopChunk(chunks, type, [bits](std::uint32_t& chunk) { chunk &= ~(~0U << bits); });
}

HostArray convert32BitIntArrayTo64BitIntArray(const HostArray& chunks, const NumericType& type) {
  requireWholeElements(chunks, chunksOf(type));
  const bool isOneSignedWord = type.isSigned() && wordsOf(type) == 1;
  HostArray words = withFirstDimension(chunks, chunksOf(type), wordsOf(type),
                                       isOneSignedWord ? ArrayClass::Int64 : ArrayClass::Uint64);
  const auto target = [](void* data) { return static_cast<std::uint64_t*>(data); };
  joinChunks(chunks.real<std::uint32_t>(), chunks.numel(), type, target(words.mutableRealData()));
  if (chunks.isComplex()) {
    joinChunks(chunks.imag<std::uint32_t>(), chunks.numel(), type, target(words.mutableImagData()));
  }
  return words;
}

HostArray convert64BitIntArrayTo32BitIntArray(HostArray words, const NumericType& type) {
  if (words.arrayClass() == ArrayClass::Int32 || words.arrayClass() == ArrayClass::Uint32) return words;
  if (words.arrayClass() != ArrayClass::Int64 && words.arrayClass() != ArrayClass::Uint64) failNotUint32();
  requireWholeElements(words, wordsOf(type));
  const bool isOneSignedChunk = type.isSigned() && chunksOf(type) == 1;
  HostArray chunks = withFirstDimension(words, wordsOf(type), chunksOf(type),
                                        isOneSignedChunk ? ArrayClass::Int32 : ArrayClass::Uint32);
  const auto source = [](const void* data) { return static_cast<const std::uint64_t*>(data); };
  const auto target = [](void* data) { return static_cast<std::uint32_t*>(data); };
  splitWords(source(words.realData()), words.numel(), type, target(chunks.mutableRealData()));
  if (words.isComplex()) {
    splitWords(source(words.imagData()), words.numel(), type, target(chunks.mutableImagData()));
  }
  return chunks;
}

}  // namespace embedded
