/// Several threads over shared constant arrays, and each over arrays of its own: every operation gives each of
/// them what it gives one alone. ThreadSanitizer, in the preset `tsan`, sees what a run happens not to show.
#include <atomic>
#include <barrier>
#include <thread>

#include "qfcore/math/parallel.h"
#include "qfcore/number/precision.h"
#include "tests/fi/operations.h"

namespace embedded {
namespace {

using namespace reference;

class Threads : public OperationsTest {
 protected:
  Threads() { setThreadCount(kThreads); }

  static constexpr unsigned kThreads = 3;

  /// What all operations give, one after the other; with `own`, of a copy that this thread then changes.
  static std::vector<std::string> outcomes(const Operands& shared, bool own) {
    std::vector<std::string> all;
    const auto run = [&](const Operation& operation) {
      std::string text;
      const auto failure = failureOf([&] { text = operation.run(shared); });
      all.push_back(failure ? failure->identifier : text);
    };
    for (const Operation& operation : kOperations) {
      // Making a view moves the elements to where both can see them.
      if (!std::strstr(operation.name, "CopyIndex")) run(operation);
    }
    for (const Operation& operation : kProducts) run(operation);
    if (!own) return all;
    fi changed(shared.a);
    for (const char* failure : {"sum", "product", "element"}) {
      const auto raised = failureOf([&] {
        if (*failure == 's') changed += shared.b;
        if (*failure == 'p') changed *= shared.b;
        if (*failure == 'e') changed.subsasgnScalarIndexing(0, shared.b);
      });
      all.push_back(raised ? raised->identifier : described(changed));
    }
    return all;
  }
};

TEST_F(Threads, ReadSharedArraysAsOneDoesAlone) {
  for (int trial = 0; trial < 24 && !HasFailure(); ++trial) {
    longestWord_ = trial % 3 == 0 ? 52 : trial % 3 == 1 ? 120 : 300;
    const Arrays arrays = anyArrays(trial % 8 == 7);
    const Operands operands = arrays.operands();
    qlogger::setLogging(false);
    setElementPathOnly(trial % 2 == 0);
    const std::vector<std::string> expected = outcomes(operands, true);
    setSharingShortLoops(trial % 4 == 1);  // then each shares its loops with threads of the module
    std::barrier together(kThreads);
    std::vector<std::vector<std::string>> found(kThreads);
    std::vector<std::jthread> threads;
    for (std::vector<std::string>& each : found) {
      threads.emplace_back([&] {
        together.arrive_and_wait();
        each = outcomes(operands, true);
      });
    }
    threads.clear();
    setElementPathOnly(false);
    setSharingShortLoops(false);
    for (const auto& each : found) {
      for (std::size_t k = 0; k < expected.size(); ++k) {
        ASSERT_EQ(each[k] == expected[k], true)
            << "operation " << k << " of " << arrays.a.getNumericType().tostring() << ", "
            << arrays.b.getNumericType().tostring() << arrays.a.getFimath().toString();
      }
    }
  }
}

TEST_F(Threads, MultiplyMatricesByTheLinearAlgebraLibrary) {
  qlogger::setLogging(false);
  const NumericType type(true, 16, 15);
  const fi a = random.array({90, 90}, type, fimath(), false), b = random.array({90, 90}, type, fimath(), false);
  const std::string expected = described(a.mtimes(b));
  std::atomic<int> others = 0;
  {
    std::vector<std::jthread> threads;
    for (unsigned k = 0; k < kThreads; ++k) {
      threads.emplace_back([&] {
        for (int trial = 0; trial < 100; ++trial) others += described(a.mtimes(b)) != expected;
      });
    }
  }
  EXPECT_EQ(others, 0);
}

}  // namespace
}  // namespace embedded
