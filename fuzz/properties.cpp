/// Properties of types, math settings and arrays, set to anything in any order: what is refused changes
/// nothing, and what an object says of itself fits together.
#include "fuzz/input.h"
#include "tests/host/invariants.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count) {
  using namespace host_tests;
  static const bool isReady = [] {
    startModule();
    GTEST_FLAG_SET(throw_on_failure, true);
    return true;
  }();
  fuzz::require(isReady);
  fuzz::Input input(bytes, count);
  const int kind = input.integer(0, 2);
  // Two bytes a choice, which is all that a table's rows and the values need.
  const auto random = [&] { return static_cast<unsigned>(input.integer(0, 0xFFFF)); };
  const int steps = static_cast<int>(count / 4);
  if (kind == 0) setAnything<NumericType>("numerictype", checkType, steps, random);
  if (kind == 1) setAnything<fimath>("fimath", checkMath, steps, random);
  if (kind == 2) setAnything<fi>("fi", checkArray, steps, random);
  return 0;
}
