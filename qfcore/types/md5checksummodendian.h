/// MD5 over the fields of types, the same on every machine.
#pragma once

#include <md5.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "qfcore/number/errors.h"

namespace EmbeddedTypeSystem {

/// An MD5 accumulator that takes numbers in big-endian byte order whatever the machine's own.
class QFCORE_API MD5CheckSumModEndian {
 public:
  enum class ByteOrder { Unknown, Little, Big };

  MD5CheckSumModEndian() { MD5Init(&context_); }

  /// The machine's byte order, looked at on first use and then remembered.
  static bool isLittleEndian();
  /// Overrides what `isLittleEndian` remembers; Unknown makes it look again.
  static void setByteOrder(ByteOrder order);

  /// Bytes reversed on a little-endian machine, unchanged on a big-endian one.
  static std::uint32_t htonl_int32(std::uint32_t value);
  /// The same for the bits of an IEEE-754 double. Bits, because the reversed pattern may be a signalling NaN.
  static std::uint64_t htonl_real64(double value);
  /// The opposite: bytes reversed on a big-endian machine, unchanged on a little-endian one.
  static std::uint32_t getUniformedUInt32(std::uint32_t value);

  void addBytes(const void* bytes, std::size_t count);
  /// The characters, without a terminating zero.
  void addText(std::string_view text) { addBytes(text.data(), text.size()); }
  void addUInt32(std::uint32_t value);
  void addInt32(std::int32_t value) { addUInt32(static_cast<std::uint32_t>(value)); }
  void addReal64(double value);

  /// The digest of what was fed so far: 32 lower-case hexadecimal digits.
  std::string digest() const;

 private:
  MD5_CTX context_;
};

}  // namespace EmbeddedTypeSystem
