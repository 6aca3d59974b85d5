/// Programs as any bytes: they are refused, or run to their end or to an error that names its kind.
#include "fuzz/input.h"
#include "fuzz/sandbox.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count) {
  fuzz::run({reinterpret_cast<const char*>(bytes), count}, false);
  return 0;
}
