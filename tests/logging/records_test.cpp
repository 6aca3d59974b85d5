// What a variable has recorded after a random life, beside the sum of what each step records on a fresh twin.
#include <algorithm>
#include <functional>
#include <memory>

#include "qfcore/logging/filog.h"
#include "qfcore/types/features.h"
#include "tests/fi/arrays.h"
#include "tests/fi/meter.h"

namespace embedded {
namespace {

using EmbeddedTypeSystem::DataTypeEnum;
using EmbeddedTypeSystem::ScalingEnum;
using tessel::HostArray;

constexpr OperationTypeEnum kTotals[] = {OperationTypeEnum::Assignment, OperationTypeEnum::Sum,
                                         OperationTypeEnum::Product};
constexpr const char* kLogs[] = {"Assignment", "Sum", "Product", "ProductSum"};
enum Log : std::size_t { kOwn, kSum, kProduct, kProductSum };

/// Extremes in real-world units and counts, as a log structure shows them.
struct Shown {
  double max = std::numeric_limits<double>::lowest(), min = std::numeric_limits<double>::max();
  double overflows = 0, underflows = 0, operations = 0;

  static Shown of(const HostArray& log) {
    const auto field = [&](const char* name) { return log.fieldAt(name).realAt(0); };
    return {field("Max"), field("Min"), field("NOverflows"), field("NUnderflows"), field("NOperations")};
  }
  bool operator==(const Shown&) const = default;
  Shown& operator+=(const Shown& other) {
    *this = {std::max(max, other.max), std::min(min, other.min), overflows + other.overflows,
             underflows + other.underflows, operations + other.operations};
    return *this;
  }
};

std::ostream& operator<<(std::ostream& out, const Shown& s) {
  return out << s.min << " to " << s.max << ", " << s.overflows << " over, " << s.underflows << " under, "
             << s.operations << " operations";
}

std::array<Shown, 4> shown(const fi& x) {
  const HostArray logs = x.saveLogsInHostStruct();
  std::array<Shown, 4> all;
  for (std::size_t log = 0; log < all.size(); ++log) all[log] = Shown::of(logs.fieldAt(kLogs[log]));
  return all;
}

class Records : public reference::ArithmeticTest {
 protected:
  void SetUp() override {
    ArithmeticTest::SetUp();
    s_feature_fi_tag_logging = true;
    for (const OperationTypeEnum kind : kTotals) qlogger::global(kind)->reset();
    filog::clearglobalfilogs();
  }
  void TearDown() override {
    s_feature_fi_tag_logging = false;
    ArithmeticTest::TearDown();
  }

  NumericType anyType() {
    if (random.coin()) return random.type(2, random.coin() ? 80 : 30);
    return slopeBias(random.integer(4, random.coin() ? 70 : 30));
  }
  NumericType slopeBias(int wordLength) {
    return NumericType(DataTypeEnum::Fixed, ScalingEnum::SlopeBias, random.coin(), wordLength,
                       1 + random.integer(0, 7) / 8.0, -random.integer(-2, wordLength),
                       random.integer(-8, 8) / 4.0);
  }
  /// Under which types of every kind meet.
  fimath settings() {
    fimath math(random.roundMode(), random.overflowMode());
    math.setSumMode(ArithmeticModeEnum::SpecifyPrecision);
    math.setSumWordLength(random.integer(4, 40));
    math.setSumFractionLength(random.integer(-2, 20));
    math.setProductMode(ArithmeticModeEnum::SpecifyPrecision);
    math.setProductWordLength(random.integer(4, 40));
    math.setProductFractionLength(random.integer(-2, 20));
    return math;
  }
  fi any(const fimath& math) { return random.array({2, 2}, anyType(), math, false); }

  /// A step in the life of a variable, with random operands that repeat.
  using Step = std::function<void(fi&)>;
  Step anyStep(const fimath& math) {
    const fi y = any(math);
    const NumericType type = anyType();
    const double value = random.integer(-1000, 1000) / 16.0;
    switch (random.integer(0, 11)) {
      case 0: return [=](fi& x) { x.setNumericType(type); };
      case 1: return [=](fi& x) { x.subsasgnScalarIndexing(1, value); };
      case 2: return [=](fi& x) { x.copydata(y); };
      case 3: return [=](fi& x) { x.setDoubleHostArray(y.getDoubleHostArray()); };
      case 4: return [=](fi& x) { x.plus(y); };
      case 5: return [=](fi& x) { x.minus(y); };
      case 6: return [=](fi& x) { x += y; };
      case 7: return [=](fi& x) { x -= y; };
      case 8: return [=](fi& x) { x *= y; };
      case 9: return [=](fi& x) { x.times(y); };
      case 10: return [=](fi& x) { x.mtimes(y); };
      default:
        // Nothing to record: the records are the variable's, whatever becomes of it.
        return [=](fi& x) {
          x = fi(x).reshape(reference::row({1, 4})).reshape(reference::row({2, 2}));
          x.setTag("renamed");
          x.setFimath(math);
        };
    }
  }
};

TEST_F(Records, OfAVariableCoverEverythingSinceTheirReset) {
  for (int trial = 0; trial < 300 && !HasFailure(); ++trial) {
    const fimath math = settings();
    fi x = any(math);
    std::array<Shown, 4> expected;
    std::string life = x.getNumericType().tostring();
    for (int k = 0; k < 8 && !HasFailure(); ++k) {
      const Step step = anyStep(math);
      fi twin(x);
      twin.resetLogging();
      std::array<Shown, 3> totals;
      for (const OperationTypeEnum kind : kTotals) qlogger::global(kind)->reset();
      // What cannot be done must leave the records alone too.
      const auto failure = reference::failureOf([&] { step(twin); });
      const std::array<Shown, 4> met = shown(twin);
      for (const OperationTypeEnum kind : kTotals)
        totals[static_cast<std::size_t>(kind) - 1] = Shown::of(qlogger::global(kind)->toHostArrayStruct());
      Shown sums = met[kSum];
      EXPECT_EQ(totals[static_cast<std::size_t>(OperationTypeEnum::Sum) - 1], sums += met[kProductSum]);
      EXPECT_EQ(totals[static_cast<std::size_t>(OperationTypeEnum::Product) - 1], met[kProduct]);
      reference::failureOf([&] { step(x); });
      if (!failure) {
        for (std::size_t log = 0; log < expected.size(); ++log) expected[log] += met[log];
      }
      life += "\n" + x.getNumericType().tostring();
      const std::array<Shown, 4> found = shown(x);
      for (std::size_t log = 0; log < expected.size(); ++log)
        EXPECT_EQ(found[log], expected[log]) << kLogs[log];
      // Nothing that the variable remembers from types met before may tell.
      EXPECT_EQ(reference::contents(x), reference::contents(twin));
      if (random.integer(0, 9) == 0) {
        x.resetLogging();
        expected = {};
      }
    }
    EXPECT_FALSE(HasFailure()) << life << math.toString();
  }
}

/// Results, registers and copies share what they have recorded.
TEST_F(Records, AreCollectedOncePerOperation) {
  const auto collected = [] {
    LogCounts counts;
    for (const auto& [key, record] : filog::getLogMap())
      counts += {record.noverflows(), record.nunderflows(), record.noperations(), 0};
    return counts;
  };
  for (int trial = 0; trial < 100; ++trial) {
    filog::clearglobalfilogs();
    LogCounts expected;
    const fimath math = settings();
    for (const OperationTypeEnum kind : kTotals) qlogger::global(kind)->reset();
    std::vector<std::unique_ptr<fi>> lasting, passing;
    for (int k = 0; k < 3; ++k) {
      lasting.push_back(std::make_unique<fi>(any(math)));
      lasting.back()->setTag(k == 0 ? "a" : "b");
    }
    for (int k = 0; k < 160; ++k) {
      fi& x = *lasting[static_cast<std::size_t>(random.integer(0, 2))];
      const fi& y = *lasting[static_cast<std::size_t>(random.integer(0, 2))];
      switch (random.integer(0, 7)) {
        case 0: passing.push_back(std::make_unique<fi>(x.plus(y))); break;
        case 1: passing.push_back(std::make_unique<fi>(x.mtimes(y))); break;
        case 2: passing.push_back(std::make_unique<fi>(x)); break;
        case 3: x += y; break;
        case 4: x.subsasgnScalarIndexing(0, 100); break;
        case 5: x.setNumericType(anyType()); break;
        case 6:
          if (!passing.empty()) passing.push_back(std::make_unique<fi>(*passing.back()));
          break;
        default:
          if (passing.size() > 3) passing.erase(passing.begin(), passing.begin() + 2);
          if (random.integer(0, 3) == 0) x.consolidatelocalfilogs();
      }
    }
    for (auto& each : passing) lasting.push_back(std::move(each));
    for (std::size_t k = lasting.size(); k > 1; --k)
      std::swap(lasting[k - 1], lasting[static_cast<std::size_t>(random.integer(0, static_cast<int>(k) - 1))]);
    for (const auto& each : lasting) each->consolidatelocalfilogs();
    for (const OperationTypeEnum kind : kTotals) {
      const qlogger& total = *qlogger::global(kind);
      expected += {total.noverflows(), total.nunderflows(), total.noperations(), 0};
    }
    const LogCounts found = collected();
    EXPECT_EQ(found.overflows, expected.overflows) << "trial " << trial;
    EXPECT_EQ(found.underflows, expected.underflows) << "trial " << trial;
    EXPECT_EQ(found.operations, expected.operations) << "trial " << trial;
  }
}

/// Of overflows and of underflows an operation warns once, whatever its registers, and of its own alone.
TEST_F(Records, AreWarnedOfOnce) {
  tessel::setWarningEnabled("all", true);
  fimath math(RoundModeEnum::floor, OverflowModeEnum::saturate);
  for (const auto set : {&fimath::setSumMode, &fimath::setProductMode})
    (math.*set)(ArithmeticModeEnum::SpecifyPrecision);
  math.setSumWordLength(6), math.setSumFractionLength(2);
  math.setProductWordLength(6), math.setProductFractionLength(2);
  const unsigned pair[] = {1, 2};
  const double re[] = {100, 0.0625}, im[] = {90, 0.0625};
  const fi big(re, im, pair, 2, {true, 12, 4}, math), root(re, pair, 2, {true, 8, 2}, math);
  const fi column = big.transpose();
  struct Row {
    const char* name;
    std::function<fi(fi)> run;
  };
  const Row rows[] = {
      {"plus", [&](const fi& x) { return x.plus(big); }},
      {"times", [&](const fi& x) { return x.times(big); }},
      {"mtimes", [&](const fi& x) { return x.mtimes(column); }},
      {"minus", [&](fi x) { return x -= big; }},
      {"times", [&](fi x) { return x *= big; }},
      {"sqrt",
       [&](const fi&) {
         return root.sqrtBisection({true, 8, 2}, math);
       }},
      {"assignment", [&](fi x) { return x.copydata(big), x; }},
  };
  for (const Row& row : rows) {
    fi x(re, im, pair, 2, {true, 6, 2}, math);
    testing::internal::CaptureStderr();
    const fi result = row.run(x);
    const std::string text = testing::internal::GetCapturedStderr();
    for (const char* what : {"overflow", "underflow"}) {
      const std::string words = std::string(" ") + what;
      std::size_t count = 0;
      for (std::size_t at = text.find(words); at != std::string::npos; at = text.find(words, at + 1)) ++count;
      EXPECT_LE(count, 1U) << row.name << ":\n" << text;
    }
    EXPECT_NE(text.find(std::string(" occurred in the fi ") + row.name + " operation."), std::string::npos)
        << row.name << ":\n"
        << text;
    testing::internal::CaptureStderr();
    reportNewCounts({&result.getQlogger()}, row.name);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << row.name;
  }
}

}  // namespace
}  // namespace embedded
