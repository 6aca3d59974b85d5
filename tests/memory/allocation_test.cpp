/// Each allocation of each operation fails once: the operation raises what is prescribed and leaves its
/// operands bit for bit as they were, records included, or it completes truly; nothing leaks, and the next call
/// works.
#include <pthread.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <thread>

#include "qfcore/fi/fireference.h"
#include "qfcore/host/binding.h"
#include "qfcore/host/module.h"
#include "qfcore/logging/filog.h"
#include "qfcore/math/parallel.h"
#include "qfcore/number/mpmemory.h"
#include "qfcore/types/features.h"
#include "tessel/language/interpreter.h"
#include "tests/fi/arrays.h"
#include "tests/memory/failing_allocations.h"

namespace {

using namespace reference;
using embedded::FiColumnReference;
using embedded::filog;
using embedded::FiReference;
using embedded::qlogger;
using memory_tests::blocksInUse;
using memory_tests::FailingAllocation;

struct Operands {
  fi a, b;
  tessel::HostArray values;
};

/// What an operation makes besides what it changes in place.
struct Result {
  std::optional<fi> array;
  HostArray values;
};

using Operation = std::function<void(Operands&, Result&)>;

std::string recordOf(const fi& x) {
  std::string text = std::to_string(x.getNmathoperations()) + x.tag();
  const HostArray logs = x.saveLogsInHostStruct();
  for (const std::string& kind : logs.fieldNames()) {
    for (const std::string& field : logs.fieldAt(kind).fieldNames())
      text += " " + std::to_string(logs.fieldAt(kind).fieldAt(field).realAt(0));
  }
  return text;
}

std::string stateOf(const fi& x) {
  std::string text;
  for (const unsigned size : x.dims()) text += std::to_string(size) + "x";
  const HostArray patterns = x.hex();
  text.append(patterns.real<char>(), patterns.numel());
  return text + " " + x.getNumericType().tostring() + " " + x.getFimath().toString() + recordOf(x);
}
std::string stateOf(const HostArray& array) {
  if (const fi* x = embedded::host::unwrapped<fi>(array)) return stateOf(*x);
  std::string text = array.isChar() ? array.toText() : std::string();
  for (const std::size_t size : array.dims()) text += " " + std::to_string(size);
  for (std::size_t k = 0; k < array.numel(); ++k) {
    if (array.isNumeric()) text += " " + std::to_string(array.realAt(k));
    if (array.isCell()) text += "{" + stateOf(array.cellAt(k)) + "}";
    for (const std::string& field : array.isStruct() ? array.fieldNames() : std::vector<std::string>())
      text += " ." + field + stateOf(array.fieldAt(field, k));
  }
  return text;
}
std::string stateOf(const Operands& x) {
  return stateOf(x.a) + " | " + stateOf(x.b) + " | " + stateOf(x.values);
}
std::string stateOf(const Operands& x, const Result& result) {
  std::string text = stateOf(x) + " | " + stateOf(result.values) + (result.array ? stateOf(*result.array) : "");
  for (const auto& [key, record] : filog::getLogMap())
    text += " | " + key + record.displayText() + std::to_string(record.noperations());
  return text;
}

HostArray at(const HostArray& first, const HostArray& second) { return indexOf({first, second}); }
HostArray at(const HostArray& first) { return indexOf({first}); }

struct Row {
  const char* name;
  Operation run;
};

const Row kOperations[] = {
    {"copy", [](Operands& x, Result& r) { r.array.emplace(fi(x.a)); }},
    {"assign", [](Operands& x, Result&) { x.a = x.b; }},
    {"construct",
     [](Operands& x, Result& r) {
       r.array.emplace(fi(&x.values, x.a.getNumericType(), x.a.getFimath(), "tag"));
     }},
    {"plus", [](Operands& x, Result& r) { r.array.emplace(x.a.plus(x.b)); }},
    {"minus", [](Operands& x, Result& r) { r.array.emplace(x.a.minus(x.b)); }},
    {"times", [](Operands& x, Result& r) { r.array.emplace(x.a.times(x.b)); }},
    {"mtimes", [](Operands& x, Result& r) { r.array.emplace(x.a.mtimes(x.b)); }},
    {"over", [](Operands& x, Result& r) { r.array.emplace(x.a.over(x.b, x.a.getNumericType())); }},
    {"sqrt", [](Operands& x, Result& r) { r.array.emplace(x.a.abs().sqrtBisection()); }},
    {"sum", [](Operands& x, Result& r) { r.array.emplace(x.a.sumAlong(1)); }},
    {"uminus", [](Operands& x, Result& r) { r.array.emplace(x.a.uminus()); }},
    {"max",
     [](Operands& x, Result& r) {
       unsigned index = 0;
       HostArray position;
       fi largest = x.a.unary_max(index, position);
       r = {std::move(largest), std::move(position)};
     }},
    {"bitand", [](Operands& x, Result& r) { r.array.emplace(x.a.fibitand(x.a)); }},
    {"bitcmp", [](Operands& x, Result& r) { r.array.emplace(x.a.bitcmp()); }},
    {"bitshift", [](Operands& x, Result& r) { r.array.emplace(x.a.bitshift(-2)); }},
    {"equal", [](Operands& x, Result& r) { r.values = x.a.eq(x.b); }},
    {"subsref",
     [](Operands& x, Result& r) {
       r.array.emplace(x.a.subsref(at(row({1, 4, 2}))));
     }},
    {"transpose", [](Operands& x, Result& r) { r.array.emplace(x.a.transpose()); }},
    {"reshape",
     [](Operands& x, Result& r) {
       r.array.emplace(x.a.reshape(row({1, 1, 1, 1, 1, 4})));
     }},
    {"double", [](Operands& x, Result& r) { r.values = x.a.getDoubleHostArray(); }},
    {"chunks",
     [](Operands& x, Result& r) { r.values = x.a.getIntArrayHostArray(fi::IntArrayChunkMode::AsNeeded, {}); }},
    {"bin", [](Operands& x, Result& r) { r.values = x.a.num2base(2); }},
    {"base 3", [](Operands& x, Result& r) { r.values = x.a.num2base(3); }},
    {"dec", [](Operands& x, Result& r) { r.values = x.a.num2sdec(); }},
    {"+=", [](Operands& x, Result&) { x.a += x.b; }},
    {"-=", [](Operands& x, Result&) { x.a -= x.b; }},
    {"*=", [](Operands& x, Result&) { x.a *= x.b; }},
    {"+= itself", [](Operands& x, Result&) { x.a += x.a; }},
    {"a(2) = double", [](Operands& x, Result&) { x.a.subsasgn(at(row({2})), row({0.3})); }},
    {"a(2) = b", [](Operands& x, Result&) { x.a.subsasgn(at(row({2})), fi(x.b, embedded::CopyElement{})); }},
    {"a(:, 1) = b(:, 2)",
     [](Operands& x, Result&) {
       x.a.subsasgn(at(HostArray::text(":"), row({1})), x.b.subsref(at(HostArray::text(":"), row({2}))));
     }},
    {"a([4 1]) = doubles",
     [](Operands& x, Result&) {
       x.a.subsasgn(at(row({4, 1})), row({0.3, -0.7}));
     }},
    {"a(7) = b",
     [](Operands& x, Result&) { x.a.subsasgn(at(row({3}), row({4})), fi(x.b, embedded::CopyElement{})); }},
    {"a(1, :) = []",
     [](Operands& x, Result&) { x.a.subsasgn(at(row({1}), HostArray::text(":")), HostArray()); }},
    {"copydata", [](Operands& x, Result&) { x.a.copydata(x.b); }},
    {"set double", [](Operands& x, Result&) { x.a.setDoubleHostArray(x.values); }},
    {"set int", [](Operands& x, Result&) { x.a.setIntHostArray(x.values); }},
    {"set chunks", [](Operands& x, Result&) { x.a.setIntArray(x.b.getIntArray({}, {}), {}, {}); }},
    {"set bin", [](Operands& x, Result&) { x.a.base2num(HostArray::text("101 011"), 2); }},
    {"set base 3", [](Operands& x, Result&) { x.a.base2num(HostArray::text("102 01 2"), 3); }},
    {"type", [](Operands& x, Result&) { x.a.setNumericType(x.b.getNumericType()); }},
    {"settings",
     [](Operands& x, Result&) { x.a.setFimath(fimath(RoundModeEnum::ceil, OverflowModeEnum::wrap)); }},
    {"collected records", [](Operands& x, Result&) { x.a.consolidatelocalfilogs(); }},
    {"tag", [](Operands& x, Result&) { x.a.setTag("a tag that is too long to be kept in place"); }},
    {"whole view",
     [](Operands& x, Result&) {
       FiReference view(x.a);
       view.fi::operator=(x.b);
     }},
    {"view *=",
     [](Operands& x, Result&) {
       FiReference view(x.a);
       view *= x.b;
     }},
    {"view of a column",
     [](Operands& x, Result&) {
       FiColumnReference view(x.a, 1);
       view += fi(FiColumnReference(x.b, 0));
     }},
    {"view set",
     [](Operands& x, Result&) {
       FiReference view(x.a);
       view.setDoubleHostArray(x.values);
     }},
};

constexpr const char* kOutOfMemory = "numforge:fi:outofmemory";

/// Performs `run`, which raises what it raises, with each allocation failing in turn, on what `prepare` makes
/// anew each time; `state` tells of it, and of results. All that again leaves no block more in use: what is
/// kept for good, such as formats and blocks for the next values of a size, is there by then. Which of several
/// threads keeps how much is a matter of chance, up to a limit. Returns how many allocations have failed.
int failEachAllocation(const std::string& name, const std::function<void()>& prepare,
                       const std::function<void()>& run, const std::function<std::string()>& state,
                       FailingAllocation::Holds holds = nullptr) {
  std::string expected;
  prepare();
  const std::string before = state();
  try {
    run();
    expected = state();
  } catch (const std::exception&) {
    return 0;  // not defined for these operands
  }
  enum class Outcome { NothingFailed, Refused, Completed };
  const auto failing = [&](int which) {
    prepare();
    bool isRefused = false;
    const FailingAllocation allocation(which, holds);
    try {
      run();
    } catch (const ErrorIdException& error) {
      isRefused = error.identifier() == kOutOfMemory;
    } catch (const tessel::HostError& error) {
      isRefused = error.identifier() == kOutOfMemory || error.identifier() == "Tessel:outOfMemory";
    } catch (const std::bad_alloc&) {
      isRefused = true;
    }
    return isRefused ? Outcome::Refused : allocation.hasFailed() ? Outcome::Completed : Outcome::NothingFailed;
  };
  const auto next = [](int which) { return which + 1 + which / 200; };
  Outcome outcome = Outcome::Completed;
  int failures = 0;
  for (int which = 1; outcome != Outcome::NothingFailed; which = next(which)) {
    SCOPED_TRACE(name + ", allocation " + std::to_string(which));
    outcome = failing(which);
    if (outcome != Outcome::NothingFailed) ++failures;
    if (outcome == Outcome::Refused) {
      EXPECT_EQ(state(), before);
      run();
    }
    EXPECT_EQ(state(), expected);
    if (testing::Test::HasFailure()) return failures;
  }
  std::ptrdiff_t more = 1;
  for (int round = 0; more != 0 && round < (holds ? 50 : 1); ++round) {
    const std::ptrdiff_t blocks = blocksInUse();
    for (int which = 1; failing(which) != Outcome::NothingFailed;) which = next(which);
    EXPECT_EQ(state(), expected);
    more = blocksInUse() - blocks;
  }
  EXPECT_EQ(more, 0) << name;
  return failures;
}

class Allocation : public testing::Test {
 protected:
  static void SetUpTestSuite() { TesselInitialize_qfcore(); }
  void SetUp() override { tessel::setWarningEnabled("all", false); }
  void TearDown() override {
    tessel::setWarningEnabled("all", true);
    embedded::setSharingShortLoops(false);
    qlogger::setLogging(false);
    embedded::s_feature_fi_tag_logging = false;
    filog::clearglobalfilogs();
  }
};

struct Kind {
  const char* name;
  NumericType left, right;
  bool isLeftComplex, isRightComplex;
};

std::vector<Kind> kinds() {
  NumericType biased(true, 20, 12);
  biased.setScaling(EmbeddedTypeSystem::ScalingEnum::SlopeBias);
  biased.setSlope(0.0375);
  biased.setBias(1.5);
  return {{"doubles", {true, 16, 12}, {true, 16, 12}, false, false},
          {"complex", {true, 16, 12}, {true, 12, 9}, true, true},
          {"becoming complex", {true, 16, 12}, {true, 12, 9}, false, true},
          {"slope and bias", biased, biased, false, true},
          {"wide", {true, 100, 90}, {true, 70, 60}, false, false},
          {"wide, becoming complex", {true, 70, 60}, {true, 70, 60}, false, true},
          {"long", {true, 2200, 2190}, {true, 2150, 2140}, true, false}};
}

/// The operations, on arrays of that size of some kinds, logging and not, as `failEachAllocation` does. Returns
/// how many allocations have failed.
int failInOperations(const std::vector<Kind>& kinds, const std::vector<unsigned>& dims,
                     FailingAllocation::Holds holds = nullptr) {
  int failures = 0;
  for (const Kind& kind : kinds) {
    for (const bool isLogging : {false, true}) {
      qlogger::setLogging(isLogging);
      embedded::s_feature_fi_tag_logging = isLogging;
      for (const Row& each : kOperations) {
        std::optional<Operands> x;
        Result result;
        const auto prepare = [&] {
          Random random;
          fimath math(RoundModeEnum::nearest, OverflowModeEnum::saturate);
          using embedded::ArithmeticModeEnum;
          const bool isBiased = kind.left.isSlopeBias();
          math.setSumMode(isBiased ? ArithmeticModeEnum::SpecifyPrecision : ArithmeticModeEnum::KeepMSB);
          math.setProductMode(isBiased ? ArithmeticModeEnum::SpecifyPrecision
                                       : ArithmeticModeEnum::FullPrecision);
          math.setSumWordLength(kind.left.wordLength());
          math.setMaxProductWordLength(65535);
          x = {random.array(dims, kind.left, math, kind.isLeftComplex),
               random.array(dims, kind.right, math, kind.isRightComplex), row({0.3, 4096.7, -0.1})};
          filog::clearglobalfilogs();
          for (fi* operand : {&x->b, &x->a}) {
            // Of the left one some is collected already, and more to come.
            if (isLogging) x->a.consolidatelocalfilogs(), operand->quantizeAll();
          }
          if (isLogging && !isBiased) (void)x->a.plus(x->b);
          result = {};
        };
        failures += failEachAllocation(
            std::string(kind.name) + (isLogging ? ", logging: " : ": ") + each.name, prepare,
            [&] { each.run(*x, result); }, [&] { return stateOf(*x, result); }, holds);
      }
    }
  }
  return failures;
}

// In processes of their own, which nothing has told that they were forked: a forked one starts no threads.
TEST_F(Allocation, FailsWhileThreadsStart) {
  embedded::setThreadCount(4);
  embedded::setSharingShortLoops(true);
  const auto meetsAll = [] {
    std::atomic<std::size_t> met = 0;
    embedded::shareLoop(30, 1, [&](std::size_t, std::size_t size) { met += size; });
    return met == 30;
  };
  enum Outcome { Survived, NothingFailed, Wrong };
  const auto failing = [&](int which) {
    const auto child = static_cast<pid_t>(syscall(SYS_fork));
    if (child == 0) {
      alarm(20);
      bool isDone = true, hasFailed = true;
      try {
        const FailingAllocation allocation(which);
        isDone = meetsAll();
        hasFailed = allocation.hasFailed();
      } catch (const std::bad_alloc&) {
      }
      _exit(!isDone || !meetsAll() ? Wrong : hasFailed ? Survived : NothingFailed);
    }
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return WIFEXITED(status) ? WEXITSTATUS(status) : Wrong;
  };
  int failures = 0, outcome = Survived;
  while ((outcome = failing(failures + 1)) == Survived) ++failures;
  EXPECT_EQ(outcome, NothingFailed) << failures;
  EXPECT_GE(failures, 3);  // what each thread takes
}

// Where nothing is at hand yet. What a thread frees after all that it keeps for itself leaves nothing behind.
TEST_F(Allocation, FailsOnThreadsThatBegin) {
  using embedded::number;
  const auto textOf = [](number& x) {
    number narrow(1U, 60, embedded::NumberVector{});
    const std::string word = (narrow = 1.25).fixed2base(3, true, 3000, 1, -1, 0);
    return word + (x = 1.25).float2base(16, 64, 11);
  };
  number alone(1U, 3000, embedded::NumberVector{});
  const std::string expected = textOf(alone);
  pthread_key_t atEnd{};
  ASSERT_EQ(pthread_key_create(&atEnd, [](void* kept) { delete static_cast<number*>(kept); }), 0);
  const auto fails = [&](int which) {
    bool hasFailed = true;
    std::thread([&] {
      const auto make = [] { return std::make_unique<number>(40U, 3000, embedded::NumberVector{}); };
      try {
        const FailingAllocation allocation(which);
        EXPECT_EQ(textOf(*make()), expected);
        hasFailed = allocation.hasFailed();
      } catch (const ErrorIdException& error) {
        EXPECT_EQ(error.identifier(), kOutOfMemory);
      } catch (const std::bad_alloc&) {
      }
      EXPECT_FALSE(embedded::MpReserve::isInUse()) << which;
      pthread_setspecific(atEnd, make().release());
    }).join();
    return hasFailed;
  };
  std::ptrdiff_t before = 0, after = 0;
  for (int round = 0; round < 3; ++round) {
    int failures = 0;
    while (fails(failures + 1)) ++failures;
    EXPECT_GT(failures, 4);
    before = std::exchange(after, blocksInUse());
  }
  EXPECT_EQ(after, before);
  pthread_key_delete(atEnd);
}

TEST_F(Allocation, FailsInEveryOperation) { failInOperations(kinds(), {2, 2}); }

TEST_F(Allocation, FailsOnThreadsThatShareLoops) {
  embedded::setThreadCount(3);
  embedded::setSharingShortLoops(true);
  // Loops within ranges are not shared.
  const auto isInRange = [] { return embedded::detail::pieceCount(100, 1) == 1; };
  EXPECT_GT(failInOperations(kinds(), {4, 3}, isInRange), 100);
}

// A statement changes the values of its variables wholly, or not at all.
TEST_F(Allocation, FailsInEveryStatement) {
  tessel::Interpreter interpreter;
  const tessel::Program prelude = interpreter.load(
      "a = fi([0.25 -0.5 0.75], 1, 16, 12); w = fi([1 2; 3 4], 1, 100, 40); b = a; c = {1, a, 'text'};"
      "s = struct('x', {a, 2}); m = [1 2 3; 4 5 6]; y = 0; T = numerictype(1, 20);",
      "test");
  interpreter.run(prelude);
  for (const char* statement : {"a(2) = 0.3;",
                                "a(6) = 1;",
                                "b(2) = w(1);",
                                "w(:, 1) = [7; 8];",
                                "w(:, 1) = [];",
                                "y = a + a;",
                                "y = w * w;",
                                "y = [a a];",
                                "c{2}(3) = 7;",
                                "c{5} = a;",
                                "c(1) = [];",
                                "s(1).x(2) = 0.1;",
                                "s(2).z.u = w;",
                                "s(3).x = {a};",
                                "a.RoundMode = 'floor';",
                                "b.hex = '7fff';",
                                "a.numerictype = T;",
                                "m(2, :) = [];",
                                "m(3, 5) = 9;",
                                "y = num2str(double(a));",
                                "y = cellfun(@(x) numel(x), c);",
                                "f = @(x) x + a; y = f(3);",
                                "y = sprintf('%d %s', 3, 'abc');",
                                "y = regexprep('abcabc', 'b(.)', '$1x');",
                                "y = w.bin;",
                                "eval('a(1) = 0.7;');",
                                "[y, m] = sort(m, 2);",
                                "y = a' == a(:);",
                                "y = strsplit('a b c');"}) {
    const tessel::Program program = interpreter.load(statement, "test");
    failEachAllocation(
        statement, [&] { interpreter.run(prelude); }, [&] { interpreter.run(program); },
        [&] {
          std::string text;
          for (const char* name : {"a", "w", "b", "c", "s", "m", "y"})
            text += stateOf(interpreter.findVariable(name)->toArray()) + "\n";
          return text;
        });
  }
}

}  // namespace
