/// Stored integers in integer classes of the host, in chunks, and in the Corvane layout.
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <utility>
#include <vector>

#include "qfcore/fi/assignmentlog.h"
#include "qfcore/fi/intarray.h"
#include "qfcore/fi/lastones.h"
#include "qfcore/fi/paths/patterns.h"
#include "qfcore/number/wordconstants.h"
#include "qfcore/types/features.h"
#include "tessel/messages.h"

namespace embedded {

using EmbeddedTypeSystem::DataTypeEnum;
using tessel::ArrayClass;
using tessel::Dimensions;
using tessel::HostArray;

namespace {

constexpr Message kIntOver32Bits{
    "numforge:fi:intover32bits",
    "Integers greater than 32 bits not supported in the INT method.  Returning DOUBLE instead.\n"
    "To get exact integer representation for any arbitrary word length, use BIN, OCT, DEC, or HEX."};
constexpr Message kIntOver52Bits{
    "numforge:fi:intover52bits",
    "Integers greater than 32 bits not supported in the INT method.  Returning DOUBLE instead.\n"
    "Roundoff error may be introduced in the return value from the INT method for word lengths greater than 52 "
    "bits.\n"
    "To get exact integer representation for any word length, use BIN, OCT, DEC, or HEX."};
constexpr Message kIntOver64Bits{
    "numforge:fi:intover64bits",
    "Integers greater than 64 bits not supported in the INT method.  Returning DOUBLE instead.\n"
    "Roundoff error may be introduced in the return value from the INT method for word lengths greater than 64 "
    "bits.\n"
    "To get exact integer representation for any word length, use BIN, OCT, DEC, or HEX."};
constexpr Message kTooBigForCorvane{
    "numforge:fi:corvanearray:TooBigWordLength",
    "Corvane fixed-point data types must have word lengths less than or equal to 128 bits"};
constexpr Message kBadWordLength{"numforge:fi:corvanearray:BadWordLength",
                                 "The word length must be between 1 and 65535."};
constexpr Message kNoCorvaneClass{"numforge:fi:setSIArray:DataTypeNotSupported", "Data type not supported."};

constexpr int kMaxCorvaneBits = 128;
constexpr unsigned kFixedChunks = 4;

using ChunkMode = fi::IntArrayChunkMode;
using DimensionMode = fi::IntArrayDimensionMode;

unsigned chunksEach(const NumericType& type, ChunkMode mode) {
  return mode == ChunkMode::Fixed128 ? kFixedChunks : (static_cast<unsigned>(type.wordLength()) + 31) / 32;
}

void requireChunksFor(const NumericType& type, ChunkMode mode) {
  if (chunksEach(type, ChunkMode::AsNeeded) > chunksEach(type, mode)) fail<kTooBigForCorvane>();
}

bool isWideFixed(const NumericType& type) { return type.isFixed() && type.wordLength() > 32; }

/// Whether Corvane arrays of the type hold 64-bit integers.
bool usesCorvaneWords(const NumericType& type) {
  return isWideFixed(type) && s_feature_fi_33plus_memory_footprint;
}

/// The shape of the chunks of an array of shape `dims`.
Dimensions chunkedDims(const fi::Shape& dims, unsigned chunks, DimensionMode mode) {
  Dimensions result(dims.begin(), dims.end());
  if (mode == DimensionMode::FirstDimension || dims[0] == 1) {
    result[0] *= chunks;
  } else {
    result.insert(result.begin(), chunks);
  }
  return withoutLastOnes(std::move(result));
}

/// The shape of the array whose chunks have the sizes `dims`.
fi::Shape unchunkedDims(fi::Shape dims, unsigned chunks, DimensionMode mode) {
  if (mode == DimensionMode::NewDimension && dims[0] == chunks && dims.size() > 2) {
    dims.erase(dims.begin());
  } else {
    dims[0] /= chunks;
  }
  return dims;
}

/// Patterns of at most 64 bits as 32-bit chunks, `Each` an element, the least significant first.
template <unsigned Each, class WordPatterns>
QFCORE_VECTORISED void exportChunks(const double* values, std::uint32_t* chunks, std::size_t count,
                                    WordPatterns patterns) {
  for (std::size_t k = 0; k < count; ++k, chunks += Each) {
    const auto pattern = static_cast<std::uint64_t>(patterns.pattern(values[k]));
    for (unsigned i = 0; i < Each; ++i) chunks[i] = static_cast<std::uint32_t>(i < 2 ? pattern >> (32 * i) : 0);
  }
}

/// The values whose patterns stand in the chunks; bits above the word do not count.
template <unsigned Each, class WordPatterns>
QFCORE_VECTORISED void importChunks(const std::uint32_t* chunks, double* values, std::size_t count,
                                    WordPatterns patterns) {
  for (std::size_t k = 0; k < count; ++k, chunks += Each) {
    const std::uint64_t upper = Each > 1 ? chunks[1] : 0;
    values[k] = patterns.value(patterns.fromPattern(static_cast<std::int64_t>(upper << 32 | chunks[0])));
  }
}

/// Calls `visit` with the chunks an element as a constant: words carried in doubles have 1 or 2, or those of
/// 128 bits.
template <class Visit>
void withChunksEach(unsigned chunks, Visit visit) {
  if (chunks == 1) return visit(std::integral_constant<unsigned, 1>());
  if (chunks == 2) return visit(std::integral_constant<unsigned, 2>());
  visit(std::integral_constant<unsigned, kFixedChunks>());
}

}  // namespace

// --------------------------------------------------------------------------------- integer classes of the host

namespace {

/// The stored integers, which fit in `Element`.
template <class Element>
HostArray exportedIntegers(const fi& x) {
  const NumericType& type = x.getNumericType();
  return exportedParts<Element>(
      x, {x.dims().begin(), x.dims().end()}, [&](const number& part, Element* target) {
        if (takesBlocks(x)) {
          withPow2(type.fractionLength(), [&](auto toStored, auto) {
            transformValues(valuesOf(x, part), target, x.numel(),
                            [toStored](double value) { return static_cast<Element>(toStored(value)); });
          });
        } else {
          const number reader(part, Reading{});
          for (unsigned k = 0; k < x.numel(); ++k) {
            target[k] = static_cast<Element>(reader[k].fixed2int64(type.wordLength(), type.fractionLength()));
          }
        }
      });
}

/// The stored integers rounded to doubles; of data types without rounding, the values in units of the grid.
HostArray storedDoubles(const fi& x) {
  const int exponent = x.getNumericType().fractionLength();
  return exportedParts<double>(x, {x.dims().begin(), x.dims().end()}, [&](const number& part, double* target) {
    if (takesBlocks(x)) {
      withPow2(exponent,
               [&](auto toStored, auto) { transformValues(valuesOf(x, part), target, x.numel(), toStored); });
    } else {
      const number reader(part, Reading{});
      for (unsigned k = 0; k < x.numel(); ++k) target[k] = number(reader[k]).pow2(exponent).todouble();
    }
  });
}

}  // namespace

HostArray fi::getIntHostArray() const {
  const NumericType& type = getNumericType();
  switch (type.dataType()) {
    case DataTypeEnum::Fixed: break;
    case DataTypeEnum::ScaledDouble: return storedDoubles(*this);
    default: return getDataHostArray();
  }
  const int w = type.wordLength();
  const bool isSigned = type.isSigned();
  if (w <= 8) return isSigned ? exportedIntegers<std::int8_t>(*this) : exportedIntegers<std::uint8_t>(*this);
  if (w <= 16) return isSigned ? exportedIntegers<std::int16_t>(*this) : exportedIntegers<std::uint16_t>(*this);
  if (w <= 32) return isSigned ? exportedIntegers<std::int32_t>(*this) : exportedIntegers<std::uint32_t>(*this);
  if (w <= 64 && usesCorvaneWords(type)) return getCorvaneIntArray();
  const Message& warning = w > 64 ? kIntOver64Bits : w > 52 ? kIntOver52Bits : kIntOver32Bits;
  tessel::warn(warning.identifier, warning.text);
  return storedDoubles(*this);
}

HostArray fi::getIntArray(IntArrayChunkMode chunkMode, IntArrayDimensionMode dimensionMode) const {
  return isWideFixed(getNumericType()) ? getIntArrayHostArray(chunkMode, dimensionMode) : getIntHostArray();
}

void fi::setIntArray(const HostArray& stored, IntArrayChunkMode chunkMode,
                     IntArrayDimensionMode dimensionMode) {
  if (isWideFixed(getNumericType())) {
    setIntArrayHostArray(stored, chunkMode, dimensionMode);
  } else {
    setIntHostArray(stored);
  }
}

// ------------------------------------------------------------------------------------------------------ chunks

HostArray fi::getIntArrayHostArray(IntArrayChunkMode chunkMode, IntArrayDimensionMode dimensionMode) const {
  const NumericType& type = getNumericType();
  requireChunksFor(type, chunkMode);
  const unsigned chunks = chunksEach(type, chunkMode);
  Dimensions dims = chunkedDims(dims_, chunks, dimensionMode);
  const WordConstants constants(type.wordLength());
  return exportedParts<std::uint32_t>(*this, std::move(dims), [&](const number& part, std::uint32_t* target) {
    if (takesBlocks(*this) && type.isFixed()) {
      return withPatterns(type, [&](auto patterns) {
        withChunksEach(
            chunks, [&](auto each) { exportChunks<each()>(valuesOf(*this, part), target, numel_, patterns); });
      });
    }
    const number reader(part, Reading{});
    for (unsigned k = 0; k < numel_; ++k, target += chunks) {
      reader[k].fixed2IntArray(target, static_cast<int>(chunks), type.wordLength(),
                               type.slopeAdjustmentFactor(), type.fixedExponent(), type.bias(),
                               constants.mpTwoToWordLength());
    }
  });
}

void fi::setIntArrayHostArray(const HostArray& chunks, IntArrayChunkMode chunkMode,
                              IntArrayDimensionMode dimensionMode) {
  requireChunksFor(getNumericType(), chunkMode);
  if (chunks.arrayClass() != ArrayClass::Uint32) failNotUint32();
  const unsigned each = chunksEach(getNumericType(), chunkMode);
  requireWholeElements(chunks, each);
  const bool isOwnLayout = chunkedDims(dims_, each, dimensionMode) == chunks.dims();
  setChunks(chunks, isOwnLayout ? dims_ : unchunkedDims(shapeOf(chunks), each, dimensionMode), each);
}

void fi::setChunks(const HostArray& chunks, const Shape& dims, unsigned chunksPerElement) {
  NumericType::errorIfComplexLogical(getNumericType().dataType(), chunks.isComplex());
  fi replaced = replacement(dims, chunks.isComplex());
  const auto storePart = [&](number& part, const std::uint32_t* words) {
    if (!takesBlocks(replaced) || !getNumericType().isFixed()) {
      return replaced.storeWords(part, words, chunksPerElement);
    }
    withPatterns(getNumericType(), [&](auto patterns) {
      withChunksEach(chunksPerElement, [&](auto each) {
        importChunks<each()>(words, part.doubles(), replaced.numel_, patterns);
      });
    });
  };
  storePart(replaced.realPart_, chunks.real<std::uint32_t>());
  if (chunks.isComplex()) storePart(replaced.imagPart_, chunks.imag<std::uint32_t>());
  replaceLogged(replaced, [&] { replaced.quantizeAll(); });
}

// ---------------------------------------------------------------------------------------------- Corvane layout

HostArray fi::getCorvaneIntArray() const {
  const NumericType& type = getNumericType();
  if (!s_feature_fi_33plus_memory_footprint || type.wordLength() > kMaxCorvaneBits) {
    return getCorvaneArray32MemoryFootPrint();
  }
  if (usesCorvaneWords(type) && takesBlocks(*this)) {
    return type.isSigned() ? exportedIntegers<std::int64_t>(*this) : exportedIntegers<std::uint64_t>(*this);
  }
  HostArray chunks = getIntArrayHostArray(IntArrayChunkMode::AsNeeded, IntArrayDimensionMode::FirstDimension);
  if (!usesCorvaneWords(type)) return chunks;
  addSignExtension32BitIntArray(chunks, type);
  return convert32BitIntArrayTo64BitIntArray(chunks, type);
}

HostArray fi::getCorvaneArray32MemoryFootPrint() const {
  if (getNumericType().wordLength() > kMaxCorvaneBits) {
    tessel::warn("", kTooBigForCorvane.text);
    return {};
  }
  return getIntArrayHostArray(IntArrayChunkMode::Fixed128, IntArrayDimensionMode::FirstDimension);
}

HostArray fi::getCorvaneArray() const {
  return isWideFixed(getNumericType()) ? getCorvaneIntArray() : getIntHostArray();
}

void fi::setCorvaneIntArray(const HostArray& stored) {
  const NumericType& type = getNumericType();
  constexpr auto kFirst = IntArrayDimensionMode::FirstDimension;
  if (type.wordLength() > kMaxCorvaneBits) fail<kTooBigForCorvane>();
  const bool isWords = stored.arrayClass() == ArrayClass::Int64 || stored.arrayClass() == ArrayClass::Uint64;
  if (usesCorvaneWords(type) && isWords && takesBlocks(*this)) {
    fi replaced = replacement(shapeOf(stored), stored.isComplex());
    const auto storePart = [&](number& part, const void* words) {
      withPatterns(type, [&](auto patterns) {
        transformValues(static_cast<const std::int64_t*>(words), part.doubles(), replaced.numel_,
                        [patterns](std::int64_t word) { return patterns.value(patterns.fromPattern(word)); });
      });
    };
    storePart(replaced.realPart_, stored.realData());
    if (stored.isComplex()) storePart(replaced.imagPart_, stored.imagData());
    return replaceLogged(replaced, [&] { replaced.quantizeAll(); });
  }
  if (usesCorvaneWords(type)) {
    HostArray chunks = convert64BitIntArrayTo32BitIntArray(stored, type);
    if (chunks.arrayClass() != ArrayClass::Uint32) failNotUint32();
    removeSignExtension32BitIntArray(chunks, type);
    setIntArrayHostArray(chunks, IntArrayChunkMode::AsNeeded, kFirst);
    return;
  }
  // What the getter makes of this array reads back, also where a word takes fewer chunks than 4.
  const unsigned needed = chunksEach(type, IntArrayChunkMode::AsNeeded);
  const bool isOwnLayout =
      s_feature_fi_33plus_memory_footprint && chunkedDims(dims_, needed, kFirst) == stored.dims();
  setIntArrayHostArray(stored, isOwnLayout ? IntArrayChunkMode::AsNeeded : IntArrayChunkMode::Fixed128, kFirst);
}

void fi::setCorvaneArray(const HostArray& stored) {
  if (isWideFixed(getNumericType())) {
    setCorvaneIntArray(stored);
  } else {
    setIntHostArray(stored);
  }
}

CorvaneArray fi::createCVArray() const {
  HostArray stored = getNumericType().isBoolean() ? exportedIntegers<std::uint8_t>(*this) : getCorvaneArray();
  CorvaneArray result{stored.arrayClass(), stored.dims(), {}, {}};
  tessel::visitElementType(stored.arrayClass(), [&](auto element) {
    const std::size_t bytes = stored.numel() * sizeof element;
    const auto copied = [bytes](const void* from) {
      const auto* first = static_cast<const std::byte*>(from);
      return std::vector<std::byte>(first, first + bytes);
    };
    result.real = copied(stored.realData());
    if (stored.isComplex()) result.imag = copied(stored.imagData());
  });
  return result;
}

void fi::setFromSIArray(const CorvaneArray& stored) {
  if (stored.elementClass > ArrayClass::Uint64) fail<kNoCorvaneClass>();
  HostArray array = HostArray::zeros(stored.elementClass, stored.dims, !stored.imag.empty());
  tessel::visitElementType(stored.elementClass, [&](auto element) {
    const std::size_t bytes = array.numel() * sizeof element;
    if (stored.real.size() != bytes || (!stored.imag.empty() && stored.imag.size() != bytes))
      fail<kNoCorvaneClass>();
    if (bytes == 0) return;
    std::memcpy(array.mutableRealData(), stored.real.data(), bytes);
    if (array.isComplex()) std::memcpy(array.mutableImagData(), stored.imag.data(), bytes);
  });
  setCorvaneArray(array);
}

// -------------------------------------------------------------------------------------------------- new arrays

fi fi::convertIntArrayToFiArray(const HostArray& chunks, const NumericType& type, const fimath& math,
                                IntArrayChunkMode chunkMode, IntArrayDimensionMode dimensionMode) {
  fi result(0U, 0U, type, math);
  result.setIntArray(chunks, chunkMode, dimensionMode);
  return result;
}

namespace {

NumericType corvaneType(bool isSigned, int wordLength) {
  if (wordLength < 1 || wordLength > NumericType::kMaxWordLength) fail<kBadWordLength>();
  return NumericType(isSigned, wordLength, 0);
}

fi fromCorvane(const HostArray& stored, const NumericType& type, const fimath& math) {
  fi result(0U, 0U, type, math);
  result.setCorvaneArray(stored);
  return result;
}

}  // namespace

fi fi::convertCorvaneIntArrayToFiArray(const HostArray& stored, bool isSigned, int wordLength,
                                       int fractionLength, const fimath& math) {
  NumericType type = corvaneType(isSigned, wordLength);
  type.setFractionLength(fractionLength);
  return fromCorvane(stored, type, math);
}

fi fi::convertCorvaneIntArrayToFiArray(const HostArray& stored, bool isSigned, int wordLength, double slope,
                                       double bias, const fimath& math) {
  NumericType type = corvaneType(isSigned, wordLength);
  type.setScaling(EmbeddedTypeSystem::ScalingEnum::SlopeBias);
  type.setSlope(slope);
  type.setBias(bias);
  return fromCorvane(stored, type, math);
}

fi fi::convertCorvaneIntArrayToFiArraySteal(HostArray&& stored, bool isSigned, int wordLength,
                                            int fractionLength, const fimath& math) {
  const HostArray taken(std::move(stored));
  return convertCorvaneIntArrayToFiArray(taken, isSigned, wordLength, fractionLength, math);
}

}  // namespace embedded
