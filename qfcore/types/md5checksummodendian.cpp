#include "qfcore/types/md5checksummodendian.h"

#include <bit>
#include <cstring>

namespace EmbeddedTypeSystem {

namespace {

MD5CheckSumModEndian::ByteOrder byteOrder = MD5CheckSumModEndian::ByteOrder::Unknown;

}  // namespace

bool MD5CheckSumModEndian::isLittleEndian() {
  if (byteOrder == ByteOrder::Unknown) {
    const int one = 1;
    unsigned char firstByte;
    std::memcpy(&firstByte, &one, 1);
    byteOrder = firstByte == 1 ? ByteOrder::Little : ByteOrder::Big;
  }
  return byteOrder == ByteOrder::Little;
}

void MD5CheckSumModEndian::setByteOrder(ByteOrder order) { byteOrder = order; }

std::uint32_t MD5CheckSumModEndian::htonl_int32(std::uint32_t value) {
  return isLittleEndian() ? __builtin_bswap32(value) : value;
}

std::uint64_t MD5CheckSumModEndian::htonl_real64(double value) {
  const auto bits = std::bit_cast<std::uint64_t>(value);
  return isLittleEndian() ? __builtin_bswap64(bits) : bits;
}

std::uint32_t MD5CheckSumModEndian::getUniformedUInt32(std::uint32_t value) {
  return isLittleEndian() ? value : __builtin_bswap32(value);
}

void MD5CheckSumModEndian::addBytes(const void* bytes, std::size_t count) {
  MD5Update(&context_, static_cast<const std::uint8_t*>(bytes), count);
}

void MD5CheckSumModEndian::addUInt32(std::uint32_t value) {
  const std::uint32_t bigEndian = htonl_int32(value);
  addBytes(&bigEndian, sizeof bigEndian);
}

void MD5CheckSumModEndian::addReal64(double value) {
  const std::uint64_t bigEndian = htonl_real64(value);
  addBytes(&bigEndian, sizeof bigEndian);
}

std::string MD5CheckSumModEndian::digest() const {
  MD5_CTX finished = context_;
  char text[MD5_DIGEST_STRING_LENGTH];
  return MD5End(&finished, text);
}

}  // namespace EmbeddedTypeSystem
