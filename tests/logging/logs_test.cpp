// Loggers, log records and their collection.
#include <algorithm>
#include <random>

#include "qfcore/fi/fi.h"
#include "qfcore/logging/filog.h"
#include "qfcore/logging/savedrecord.h"
#include "qfcore/types/features.h"
#include "tessel/console.h"
#include "tessel/interpreter.h"
#include "tests/host/fixture.h"

using namespace host_tests;
using namespace embedded;

namespace {

class Logs : public HostTest {
 protected:
  void SetUp() override {
    qlogger::setLogging(true);
    s_feature_fi_tag_logging = true;
    filog::clearglobalfilogs();
  }
  void TearDown() override {
    qlogger::setLogging(false);
    s_feature_fi_tag_logging = s_feature_fi_stack_trace_logging = false;
  }
};

/// Wraps to 4 bits in sums, so that 7 + 7 overflows.
fi narrow(double value, const std::string& tag) {
  fimath math(RoundModeEnum::floor, OverflowModeEnum::wrap);
  math.setSumMode(ArithmeticModeEnum::KeepLSB);
  math.setSumWordLength(4);
  fi x(value, true, 4, 0, math, 0, tag);
  return x;
}

double field(const HostArray& structure, const char* logger, const char* name) {
  return structure.fieldAt(logger).fieldAt(name).realAt(0);
}

TEST_F(Logs, AStructureShowsTheFourLoggers) {
  const fi a = narrow(7, "a");
  HostArray logs = a.saveLogsInHostStruct();
  EXPECT_EQ(logs.fieldNames(), (std::vector<std::string>{"Assignment", "Sum", "Product", "ProductSum"}));
  EXPECT_EQ(field(logs, "Assignment", "Max"), 7);
  EXPECT_EQ(field(logs, "Sum", "NOperations"), 0);
  a.plus(a);
  logs = a.saveLogsInHostStruct();
  EXPECT_EQ(field(logs, "Sum", "NOverflows"), 1);
  EXPECT_EQ(field(logs, "Sum", "Min"), -2);
  a.resetLogging();
  logs = a.saveLogsInHostStruct();
  for (const std::string& logger : logs.fieldNames()) {
    EXPECT_EQ(field(logs, logger.c_str(), "Max"), std::numeric_limits<double>::lowest());
    EXPECT_EQ(field(logs, logger.c_str(), "Min"), std::numeric_limits<double>::max());
    for (const char* count : {"NOverflows", "NUnderflows", "NOperations"}) {
      EXPECT_EQ(field(logs, logger.c_str(), count), 0);
    }
  }
  EXPECT_TRUE(a.getlocalfilogs().empty());
}

TEST_F(Logs, RecordsWithOneKeyAreMerged) {
  for (int i = 0; i < 2; ++i) {
    const fi a = narrow(7 - 10 * i, "a");
    a.plus(a);
    EXPECT_EQ(a.getlocalfilogs().size(), 2U);
    a.consolidatelocalfilogs();
    EXPECT_TRUE(a.getlocalfilogs().empty());
  }
  narrow(3, "b").consolidatelocalfilogs();
  std::vector<std::string> keys;
  for (const auto& [key, record] : filog::getLogMap()) keys.push_back(key);
  EXPECT_EQ(keys, (std::vector<std::string>{"a|Assignment|s4,0", "a|Sum|s4,0", "b|Assignment|s4,0"}));
  const filog& assignments = filog::getLogMap().at(keys[0]);
  EXPECT_EQ(assignments.maxlog(), 7);
  EXPECT_EQ(assignments.minlog(), -3);
  EXPECT_EQ(filog::getLogMap().at(keys[1]).noverflows(), 1U);
  EXPECT_EQ(
      assignments.displayText(),
      "\n          Tag: a\n    operation: Assignment\n  numerictype: s4,0\n       minlog: -3\n       maxlog: 7"
      "\n   noverflows: 0\n  nunderflows: 0\n");
}

TEST_F(Logs, ReachTheCollectionOnlyWhileTagsAreLogged) {
  s_feature_fi_tag_logging = false;
  const fi a = narrow(7, "a");
  a.consolidatelocalfilogs();
  EXPECT_TRUE(filog::getLogMap().empty());
  EXPECT_TRUE(a.getQlogger().isreset());
  FilogMap records;
  narrow(7, "b").getQlogger().writeLogMap(records);
  EXPECT_TRUE(records.empty());
}

TEST_F(Logs, RecordOnlyWhileTheyAreOn) {
  qlogger logger;
  embedded::Tally tally;
  tally.values = 2;
  tally.min = -3;
  tally.max = 5;
  const number value(7.0, 52, false);
  for (const bool isOn : {false, true}) {
    qlogger::setLogging(isOn);
    logger.updateminmax(value);
    logger.record(tally);
    logger.record(tally, value, value);
    logger.record(embedded::Tally());
    logger.record(embedded::Tally(), value, value);
    EXPECT_EQ(logger.isreset(), !isOn);
    EXPECT_EQ(logger.noperations(), isOn ? 5U : 0U);
  }
  EXPECT_EQ(logger.maxlog().todouble(), 7);
  logger.nOperationsPlusOne();
  logger.setOperationType(OperationTypeEnum::Sum);
  const qlogger& same = logger;
  logger = same;
  EXPECT_EQ(logger.noperations(), 6U);
  EXPECT_EQ(logger.operationType(), OperationTypeEnum::Sum);
}

TEST_F(Logs, CountWhatHasNoExtremes) {
  qlogger counted, met;
  embedded::RecordsKept kept;
  kept.keep(nullptr);
  EXPECT_TRUE(counted.beginCollection().isreset());
  counted.endCollection(true);
  counted.setNoperations(0);
  EXPECT_EQ(counted.beginCollection().noperations(), 0U);
  counted.setNumericType({true, 8, 3});
  counted.nOverflowsPlusOne();
  met.setNumericType({true, 8, 0});
  met.updateminmax(number(7.0, 52, false));
  met.setNumericType({EmbeddedTypeSystem::DataTypeModeEnum::FixedSlopeBias, true, 8, 1.5, 0, 0.25});
  met.merge(counted);
  embedded::Tally tally;
  tally.values = 3;
  met.record(tally);
  EXPECT_EQ(met.maxlog().todouble(), 4.5);  // 7 in units of the type
  EXPECT_EQ(met.noverflows(), 1U);
  EXPECT_EQ(met.noperations(), 4U);
  embedded::SavedRecord saved;
  EXPECT_TRUE(saved.isEmpty());
  saved.overflows = 1;
  EXPECT_FALSE(saved.isEmpty());
  saved = {};
  saved.mathOperations = 1;
  EXPECT_FALSE(saved.isEmpty());
}

TEST_F(Logs, KeepWhereTheHostWasOnRequest) {
  using Trace = std::vector<std::string>;
  const Trace first{"inner:3", "outer:7"}, second{"outer:8"};
  EXPECT_TRUE(narrow(7, "a").getlocalfilogs().at(0).stackTrace().empty());
  s_feature_fi_stack_trace_logging = true;
  fi a = narrow(7, "a");
  hostStack() = second;
  a.setDoubleHostArray(HostArray::scalar(3));
  fi c = a.plus(a), d = c;
  hostStack() = {"collecting:9"};
  d.setDoubleHostArray(HostArray::scalar(3));
  a.plus(a);
  a.setNumericType({true, 12, 0});
  const auto traceOf = [](const fi& x, std::size_t log) { return x.getlocalfilogs().at(log).stackTrace(); };
  EXPECT_EQ(traceOf(a, 0), first);
  EXPECT_EQ(traceOf(a, 1), second) << "of sums";
  EXPECT_EQ(traceOf(d, 0), second) << "of a result";
  EXPECT_NE(a.getlocalfilogs()[0].displayText().find("\n           in: inner:3\n           in: outer:7\n"),
            std::string::npos);
  a.resetLogging();
  a += a;
  EXPECT_EQ(traceOf(a, 0), hostStack());
  hostStack() = first;
}

/// A merged record is the record of all values, whichever logger met them, narrow and wide.
TEST_F(Logs, AMergeCoversBothRecords) {
  constexpr unsigned kSeed = 7;
  std::mt19937 random(kSeed);
  for (int round = 0; round < 200; ++round) {
    const bool isWide = round % 2 == 1;
    const EmbeddedTypeSystem::NumericType type(true, isWide ? 60 : 20, 10);
    const quantizer whole(type, RoundModeEnum::floor, OverflowModeEnum::saturate, "t"), first(whole),
        second(whole);
    for (auto i = random() % 6; i > 0; --i) {
      const double value =
          std::ldexp(static_cast<double>(random()) - 2147483648.0, static_cast<int>(random() % 30) - 25);
      for (const quantizer* each : {&whole, random() % 2 ? &first : &second}) {
        number x(value, isWide ? 70 : 52, isWide);
        each->quantize(x);
      }
    }
    filog merged("t", first.logger());
    merged.merge(second.logger());
    const qlogger& expected = whole.logger();
    ASSERT_EQ(merged.maxlog(), expected.realWorldMax()) << "seed " << kSeed << ", round " << round;
    ASSERT_EQ(merged.minlog(), expected.realWorldMin()) << "seed " << kSeed << ", round " << round;
    ASSERT_EQ(merged.noverflows(), expected.noverflows());
    ASSERT_EQ(merged.nunderflows(), expected.nunderflows());
    ASSERT_EQ(merged.noperations(), expected.noperations());
  }
  // Of records in units of their own: what their values stand for.
  const auto quantized = [](double value, double slope, double bias) {
    number x(value, 52, false);
    const quantizer q({EmbeddedTypeSystem::DataTypeEnum::Fixed, EmbeddedTypeSystem::ScalingEnum::SlopeBias,
                       true, 8, slope, 0, bias},
                      RoundModeEnum::floor, OverflowModeEnum::saturate);
    return q.quantize(x), q.logger();
  };
  filog merged("t", quantized(4, 1.5, 2));
  merged.merge(quantized(5, 1.25, -1));
  EXPECT_EQ(merged.maxlog(), 8);
  EXPECT_EQ(merged.minlog(), 5.25);
  const quantizer plain({true, 20, 10}, RoundModeEnum::floor, OverflowModeEnum::saturate);
  number x(9.5, 52, false);
  plain.quantize(x);
  filog mixed("t", quantized(4, 1.5, 2));
  mixed.merge(plain.logger());
  EXPECT_EQ(mixed.maxlog(), 9.5);
  EXPECT_EQ(mixed.minlog(), 8);
}

TEST_F(Logs, TotalsAreShownAndForgottenOnlyWhileLoggingIsOn) {
  fi::resetGlobalLog();
  narrow(7, "a").plus(narrow(7, "b"));
  const auto shown = [] {
    const tessel::ConsoleRedirect redirect;
    fi::displayGlobalLog();
    return redirect.text();
  };
  const std::string text = shown();
  EXPECT_NE(text.find("FI sum overflows        : 1\nFI sum underflows       : 0\n"), std::string::npos) << text;
  qlogger::setLogging(false);
  fi::resetGlobalLog();
  EXPECT_EQ(shown(), "");
  qlogger::setLogging(true);
  EXPECT_EQ(shown(), text);
  fi::resetGlobalLog();
  EXPECT_EQ(qlogger::global(OperationTypeEnum::Sum)->noverflows(), 0U);
}

/// Changing the type that a record shows changes nothing of what was recorded.
TEST_F(Logs, ARecordIsAHostObjectWithATypeOfItsOwn) {
  const HostArray a = tessel::callFunction(
      "fi", {row({100, -3}), HostArray::scalar(1), HostArray::scalar(8), HostArray::scalar(3)})[0];
  HostArray record = tessel::callFunction("getlocalfilogs", {a})[0].cellAt(0);
  tessel::setProperty(record, "WordLength", HostArray::scalar(32));
  EXPECT_EQ(tessel::getProperty(record, "maxlog").realAt(0), 15.875);
  EXPECT_EQ(tessel::getProperty(record, "noverflows").realAt(0), 1);
  EXPECT_EQ(tessel::getProperty(record, "FractionLength").realAt(0), 3);
  const HostArray logger = classNamed("qlogger").create({a});
  EXPECT_EQ(textOf(tessel::callFunction("struct", {logger})[0]),
            textOf(tessel::callFunction("getqloggerstruct", {a})[0].fieldAt("Assignment")));
}

}  // namespace
