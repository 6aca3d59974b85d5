#include "tests/host/invariants.h"

#include <random>

using namespace host_tests;

namespace {

class Invariants : public HostTest {
 protected:
  template <class Value>
  void setAnythingOften(const char* className, void (*check)(const Value&)) {
    constexpr unsigned kSeed = 20240;
    std::mt19937 engine(kSeed);
    SCOPED_TRACE("seed " + std::to_string(kSeed));
    for (int object = 0; object < 40 && !HasFailure(); ++object) {
      setAnything(className, check, 60, [&] { return static_cast<unsigned>(engine()); });
    }
  }
};

TEST_F(Invariants, OfNumericTypes) { setAnythingOften<NumericType>("numerictype", checkType); }
TEST_F(Invariants, OfMathSettings) { setAnythingOften<fimath>("fimath", checkMath); }
TEST_F(Invariants, OfArrays) { setAnythingOften<fi>("fi", checkArray); }

}  // namespace
